// Turning netlink messages into plain values, and refusing those that lie about their lengths.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "agent/fpm/MessageReader.h"
#include "tests/agent/ParsedStream.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

Fpm::Address addressOf(char const* text) {
  Bytes const bytes = address(text);
  Fpm::Address result;
  result.family = bytes.size() == 4 ? AF_INET : AF_INET6;
  std::memcpy(result.bytes.data(), bytes.data(), bytes.size());
  return result;
}

// The only message of a stream, which has to be of the kind.
template <class Kind>
Kind only(Bytes const& stream) {
  ParsedStream const parsed = parse(stream);
  EXPECT_FALSE(parsed.error) << parsed.error->text;
  EXPECT_EQ(parsed.messages.size(), 1U);
  if (parsed.messages.size() != 1 || !std::holds_alternative<Kind>(parsed.messages[0].content)) {
    ADD_FAILURE() << "not the expected kind of message";
    return {};
  }
  return std::get<Kind>(parsed.messages[0].content);
}

std::string errorOf(Bytes const& stream) {
  ParsedStream const parsed = parse(stream);
  return parsed.error ? parsed.error->text : "(no error)";
}

Bytes newNextHop(Bytes const& attributes, std::uint8_t family = AF_INET) {
  return frame(message(RTM_NEWNEXTHOP, nextHopHeader(family) + attributes));
}
Bytes newRoute(Bytes const& attributes, std::uint8_t prefixLength = 0,
               std::uint8_t family = AF_INET) {
  return frame(message(RTM_NEWROUTE, routeHeader(family, prefixLength) + attributes));
}

// Frame, netlink and next-hop header: where the first attribute of a next-hop message starts.
constexpr int kFirstAttribute = 4 + 16 + 8;

TEST(NextHopMessages, AreReadWithAnIpv4Gateway) {
  Fpm::NextHop const expected{7, AF_INET, 3, addressOf("10.0.2.2"), false};
  EXPECT_EQ(only<Fpm::NextHop>(announce(7, 3, "10.0.2.2")), expected);
}

TEST(NextHopMessages, AreReadWithAnIpv6Gateway) {
  Fpm::NextHop const expected{8, AF_INET6, 4, addressOf("fe80::1"), false};
  EXPECT_EQ(only<Fpm::NextHop>(announce(8, 4, "fe80::1")), expected);
}

TEST(NextHopMessages, AreReadWithoutAGateway) {
  Fpm::NextHop const expected{9, AF_INET, 5, std::nullopt, false};
  EXPECT_EQ(only<Fpm::NextHop>(announce(9, 5)), expected);
}

TEST(NextHopMessages, CarryTheOnlinkFlag) {
  EXPECT_TRUE(only<Fpm::NextHop>(announce(9, 5, "10.9.9.9", RTNH_F_ONLINK)).onlink);
  EXPECT_FALSE(only<Fpm::NextHop>(announce(9, 5, "10.9.9.9", RTNH_F_PERVASIVE)).onlink);
}

TEST(NextHopMessages, AreReadAsGroupsWithTheWeightBytes) {
  Fpm::NextHopGroup const expected{3, {{10, 0}, {11, 9}, {12, 255}}};
  EXPECT_EQ(only<Fpm::NextHopGroup>(announceGroup(3, {{10, 0}, {11, 9}, {12, 255}})), expected);
}

TEST(NextHopMessages, AreReadAsBlackholes) {
  EXPECT_EQ(only<Fpm::BlackholeNextHop>(announceBlackhole(4)), Fpm::BlackholeNextHop{4});
}

TEST(NextHopMessages, AreReadAsWithdrawals) {
  EXPECT_EQ(only<Fpm::NextHopWithdrawal>(withdraw(4)), Fpm::NextHopWithdrawal{4});
}

TEST(NextHopMessages, MayRepeatAnAttributeWhoseLastValueCounts) {
  Bytes const stream =
      newNextHop(u32Attribute(NHA_ID, 1) + u32Attribute(NHA_ID, 2) + u32Attribute(NHA_OIF, 3));
  EXPECT_EQ(only<Fpm::NextHop>(stream).id, 2U);
}

TEST(NextHopMessages, NeedAnId) {
  EXPECT_EQ(errorOf(newNextHop(u32Attribute(NHA_OIF, 3))),
            "offset 20: next-hop announcement without NHA_ID");
  EXPECT_EQ(errorOf(frame(message(RTM_DELNEXTHOP, nextHopHeader(0)))),
            "offset 20: next-hop withdrawal without NHA_ID");
  EXPECT_EQ(errorOf(announce(0, 3)), "offset 28: NHA_ID is 0, which names no next hop");
}

TEST(NextHopMessages, NeedAnInterfaceOrMembersOrABlackhole) {
  EXPECT_EQ(errorOf(newNextHop(u32Attribute(NHA_ID, 3))),
            "offset 20: next-hop announcement without NHA_OIF, NHA_GROUP or NHA_BLACKHOLE");
  EXPECT_EQ(
      errorOf(newNextHop(u32Attribute(NHA_ID, 3) + attribute(NHA_GATEWAY, address("10.0.0.1")))),
      "offset 20: next-hop announcement without NHA_OIF, NHA_GROUP or NHA_BLACKHOLE");
  EXPECT_EQ(errorOf(announce(3, 0)), "offset 36: NHA_OIF is 0, which names no interface");
}

TEST(NextHopMessages, AreOneThingOnly) {
  std::string const expected =
      "offset 20: next-hop announcement that is more than one of a group, a blackhole and a single "
      "next hop";
  Bytes const id = u32Attribute(NHA_ID, 3);
  Bytes const group = attribute(NHA_GROUP, Bytes(8, '\1'));
  Bytes const blackhole = attribute(NHA_BLACKHOLE, "");
  EXPECT_EQ(errorOf(newNextHop(id + group + blackhole)), expected);
  EXPECT_EQ(errorOf(newNextHop(id + group + u32Attribute(NHA_OIF, 3))), expected);
  EXPECT_EQ(errorOf(newNextHop(id + blackhole + attribute(NHA_GATEWAY, address("10.0.0.1")))),
            expected);
}

TEST(NextHopMessages, HaveAGatewayOfTheirFamily) {
  Bytes const rest = u32Attribute(NHA_ID, 3) + u32Attribute(NHA_OIF, 3);
  EXPECT_EQ(errorOf(newNextHop(rest + attribute(NHA_GATEWAY, address("fe80::1")))),
            "offset 44: NHA_GATEWAY has 16 bytes of payload, expected 4 for IPv4");
  EXPECT_EQ(errorOf(newNextHop(rest + attribute(NHA_GATEWAY, address("10.0.0.1")), AF_INET6)),
            "offset 44: NHA_GATEWAY has 4 bytes of payload, expected 16 for IPv6");
  EXPECT_EQ(errorOf(newNextHop(rest, AF_UNSPEC)),
            "offset 20: single next hop of family 0, expected 2 or 10");
}

TEST(NextHopMessages, RefuseAttributesOfTheWrongSize) {
  Bytes const oif = u32Attribute(NHA_OIF, 3);
  Bytes const id = u32Attribute(NHA_ID, 3);
  for (std::size_t const size : {0U, 1U, 2U, 3U, 5U, 8U}) {
    std::string const tail = " has " + std::to_string(size) + " bytes of payload, expected 4";
    EXPECT_EQ(errorOf(newNextHop(attribute(NHA_ID, Bytes(size, '\1')) + oif)),
              "offset 28: NHA_ID" + tail);
    EXPECT_EQ(errorOf(newNextHop(id + attribute(NHA_OIF, Bytes(size, '\1')))),
              "offset 36: NHA_OIF" + tail);
  }
  for (std::size_t const size : {0U, 1U, 7U, 9U, 12U}) {
    EXPECT_EQ(errorOf(newNextHop(id + attribute(NHA_GROUP, Bytes(size, '\1')))),
              "offset 36: NHA_GROUP has " + std::to_string(size) +
                  " bytes of payload, expected a multiple of 8");
  }
  EXPECT_EQ(errorOf(newNextHop(id + attribute(NHA_BLACKHOLE, "x"))),
            "offset 36: NHA_BLACKHOLE has 1 bytes of payload, expected 0");
}

TEST(NextHopMessages, SkipAndCountAttributesThatNobodyKnows) {
  Bytes const unknown = attribute(NHA_ENCAP, "whatever this is") + u32Attribute(4000, 1) +
                        attribute(4000 | NLA_F_NESTED, "x");
  ParsedStream const parsed =
      parse(newNextHop(unknown + u32Attribute(NHA_ID, 1) + u32Attribute(NHA_OIF, 3)));
  ASSERT_FALSE(parsed.error) << parsed.error->text;
  EXPECT_EQ(parsed.messages, parse(announce(1, 3)).messages);
  // The flag bits are no part of the number.
  EXPECT_EQ(parsed.skips.nextHopAttributes,
            (std::map<std::uint16_t, std::uint64_t>{{NHA_ENCAP, 1}, {4000, 2}}));
}

TEST(RouteMessages, AreReadWithTheirNextHopId) {
  Fpm::Route const route =
      only<Fpm::Route>(newRoute(attribute(RTA_DST, address("10.1.2.0")) +
                                    u32Attribute(RTA_PRIORITY, 20) + u32Attribute(RTA_NH_ID, 77),
                                24));
  EXPECT_EQ(text(route.destination), "10.1.2.0/24");
  EXPECT_EQ(route.table, 254U);
  EXPECT_EQ(route.priority, 20U);
  EXPECT_EQ(route.protocol, 196);
  EXPECT_EQ(route.type, RTN_UNICAST);
  EXPECT_EQ(route.nextHopId, 77U);
  EXPECT_TRUE(route.paths.empty());
  EXPECT_FALSE(route.preferredSource);
  EXPECT_FALSE(route.mtu);
}

TEST(RouteMessages, AreReadWithoutAnAddressForTheDefaultRoute) {
  EXPECT_EQ(text(only<Fpm::Route>(newRoute(u32Attribute(RTA_NH_ID, 1))).destination), "0.0.0.0/0");
  EXPECT_EQ(text(only<Fpm::Route>(newRoute(attribute(RTA_DST, ""), 0, AF_INET6)).destination),
            "::/0");
  EXPECT_EQ(text(only<Fpm::Route>(newRoute(attribute(RTA_DST, address("0.0.0.0")))).destination),
            "0.0.0.0/0");
}

TEST(RouteMessages, TakeTheTableNumberFromItsAttribute) {
  EXPECT_EQ(only<Fpm::Route>(newRoute(u32Attribute(RTA_TABLE, 1000))).table, 1000U);
}

TEST(RouteMessages, CarryOnePathOfTheirOwn) {
  Fpm::Route const route = only<Fpm::Route>(
      newRoute(u32Attribute(RTA_OIF, 4) + attribute(RTA_GATEWAY, address("10.0.3.2"))));
  EXPECT_EQ(route.paths, (std::vector<Fpm::Route::Path>{{4, addressOf("10.0.3.2"), 0, false}}));
  EXPECT_FALSE(route.nextHopId);
}

TEST(RouteMessages, CarryAMultipathAttribute) {
  auto const path = [](int interface, std::uint8_t hops, Bytes const& attributes,
                       std::uint8_t flags = 0) {
    rtnexthop header{};
    header.rtnh_len = static_cast<std::uint16_t>(sizeof header + attributes.size());
    header.rtnh_ifindex = interface;
    header.rtnh_hops = hops;
    header.rtnh_flags = flags;
    return raw(header) + attributes;
  };
  Bytes const via = attribute(RTA_VIA, raw(std::uint16_t{AF_INET6}) + address("fe80::7"));
  Fpm::Route const route = only<Fpm::Route>(
      newRoute(attribute(RTA_MULTIPATH, path(4, 0, attribute(RTA_GATEWAY, address("10.0.3.2"))) +
                                            path(5, 9, "") + path(6, 1, via, RTNH_F_ONLINK))));
  EXPECT_EQ(route.paths, (std::vector<Fpm::Route::Path>{{4, addressOf("10.0.3.2"), 0, false},
                                                        {5, std::nullopt, 9, false},
                                                        {6, addressOf("fe80::7"), 1, true}}));
}

TEST(RouteMessages, RefuseAPathThatDoesNotFit) {
  Bytes const whole = raw(rtnexthop{}) + Bytes(8, '\0');
  for (std::uint16_t const length :
       {std::uint16_t{0}, std::uint16_t{7}, std::uint16_t{17}, std::uint16_t{65535}}) {
    rtnexthop header{};
    header.rtnh_len = length;
    EXPECT_EQ(errorOf(newRoute(attribute(RTA_MULTIPATH, raw(header) + Bytes(8, '\0')))),
              "offset 36: path of " + std::to_string(length) +
                  " bytes does not fit into the remaining 16 of RTA_MULTIPATH");
  }
  EXPECT_EQ(errorOf(newRoute(attribute(RTA_MULTIPATH, whole.substr(0, 5)))),
            "offset 36: 5 bytes are too few for the path of RTA_MULTIPATH of 8 bytes");
}

TEST(RouteMessages, CarryAnMtuAmongTheirMetricsAndAPreferredSource) {
  Bytes const metrics = u32Attribute(RTAX_WINDOW, 5) + u32Attribute(RTAX_MTU, 1400);
  Fpm::Route const route = only<Fpm::Route>(
      newRoute(attribute(RTA_METRICS, metrics) + attribute(RTA_PREFSRC, address("10.0.0.9"))));
  EXPECT_EQ(route.mtu, 1400U);
  EXPECT_EQ(route.preferredSource, addressOf("10.0.0.9"));
  EXPECT_EQ(errorOf(newRoute(attribute(RTA_METRICS, attribute(RTAX_MTU, "ab")))),
            "offset 36: RTAX_MTU has 2 bytes of payload, expected 4");
}

TEST(RouteMessages, AreReadAsWithdrawals) {
  Fpm::RouteWithdrawal const withdrawal = only<Fpm::RouteWithdrawal>(frame(message(
      RTM_DELROUTE, routeHeader(AF_INET6, 64, 0) + attribute(RTA_DST, address("2001:db8::")) +
                        u32Attribute(RTA_PRIORITY, 30))));
  EXPECT_EQ(text(withdrawal.destination), "2001:db8::/64");
  EXPECT_EQ(withdrawal.priority, 30U);
}

TEST(RouteMessages, RefuseAPrefixThatCannotBe) {
  EXPECT_EQ(errorOf(newRoute(attribute(RTA_DST, address("10.0.0.0")), 33)),
            "offset 20: prefix length 33 is too long for IPv4");
  EXPECT_EQ(errorOf(newRoute(attribute(RTA_DST, address("::")), 129, AF_INET6)),
            "offset 20: prefix length 129 is too long for IPv6");
  EXPECT_EQ(errorOf(newRoute("", 8)), "offset 20: route of prefix length 8 without an address");
  EXPECT_EQ(errorOf(newRoute(attribute(RTA_DST, ""), 8)),
            "offset 32: route of prefix length 8 without an address");
  EXPECT_EQ(errorOf(newRoute(attribute(RTA_DST, "abc"), 8)),
            "offset 32: RTA_DST has 3 bytes of payload, expected 4 for IPv4");
}

TEST(RouteMessages, OfOtherFamiliesAreSkippedAndCounted) {
  constexpr std::uint8_t mpls = 28;
  ParsedStream const parsed = parse(newRoute("not even attributes", 20, mpls) + withdraw(1));
  ASSERT_FALSE(parsed.error) << parsed.error->text;
  ASSERT_EQ(parsed.messages.size(), 2U);
  EXPECT_EQ(std::get<Fpm::SkippedMessage>(parsed.messages[0].content).type, RTM_NEWROUTE);
  EXPECT_EQ(parsed.skips.routeFamilies, (std::map<std::uint8_t, std::uint64_t>{{mpls, 1}}));
}

TEST(Messages, ShareAFrame) {
  Bytes const payload = message(RTM_DELNEXTHOP, nextHopHeader(0) + u32Attribute(NHA_ID, 1)) +
                        message(RTM_DELNEXTHOP, nextHopHeader(0) + u32Attribute(NHA_ID, 2));
  ParsedStream const parsed = parse(frame(payload));
  ASSERT_EQ(parsed.messages.size(), 2U);
  EXPECT_EQ(parsed.messages[0].offset, 4U);
  EXPECT_EQ(parsed.messages[1].offset, 36U);
  EXPECT_EQ(std::get<Fpm::NextHopWithdrawal>(parsed.messages[1].content).id, 2U);
}

TEST(Messages, BeforeAMalformedOneOfTheSameFrameAreHandedOut) {
  Bytes const payload = message(RTM_DELNEXTHOP, nextHopHeader(0) + u32Attribute(NHA_ID, 1)) +
                        message(RTM_DELNEXTHOP, nextHopHeader(0));
  ParsedStream const parsed = parse(frame(payload));
  EXPECT_EQ(parsed.messages.size(), 1U);
  ASSERT_TRUE(parsed.error);
  EXPECT_EQ(parsed.error->offset, 52U);
}

TEST(Messages, OfUnknownTypesAreSkippedAndCounted) {
  ParsedStream const parsed = parse(
      frame(message(16, "anything") + message(16, "") + message(NLMSG_DONE, "")) + withdraw(5));
  ASSERT_FALSE(parsed.error) << parsed.error->text;
  ASSERT_EQ(parsed.messages.size(), 4U);
  EXPECT_EQ(parsed.skips.messageTypes,
            (std::map<std::uint16_t, std::uint64_t>{{16, 2}, {NLMSG_DONE, 1}}));
  EXPECT_EQ(std::get<Fpm::NextHopWithdrawal>(parsed.messages[3].content).id, 5U);
}

TEST(Messages, InFramesOfAnotherTypeAreSkippedAndTheFrameCounted) {
  ParsedStream const parsed = parse(frame("no netlink at all", 2) + withdraw(5));
  ASSERT_FALSE(parsed.error) << parsed.error->text;
  EXPECT_EQ(parsed.frames, 2U);
  EXPECT_EQ(parsed.messages.size(), 1U);
  EXPECT_EQ(parsed.skips.frameTypes, (std::map<std::uint8_t, std::uint64_t>{{2, 1}}));
}

TEST(Messages, HaveAWholeHeader) {
  EXPECT_EQ(errorOf(frame("0123456789abcde")),
            "offset 4: 15 bytes are too few for the netlink header of 16 bytes");
  EXPECT_EQ(errorOf(frame(message(RTM_DELNEXTHOP, "1234567"))),
            "offset 20: 7 bytes are too few for the next-hop header of 8 bytes");
  EXPECT_EQ(errorOf(frame(message(RTM_NEWROUTE, "12345678901"))),
            "offset 20: 11 bytes are too few for the route header of 12 bytes");
}

TEST(Messages, RefuseALengthThatIsSmallerThanTheirHeader) {
  for (std::int64_t const length : {0, 1, 15}) {
    EXPECT_EQ(errorOf(frame(message(RTM_DELNEXTHOP, Bytes(16, '\0'), length))),
              "offset 4: netlink message of " + std::to_string(length) +
                  " bytes is smaller than its header of 16 bytes");
  }
}

TEST(Messages, RefuseALengthBeyondTheirFrame) {
  // The top bit would make the length negative where it is taken for a signed number.
  for (std::int64_t const length :
       {33LL, 65536LL, 0x7FFFFFFFLL, 0x80000000LL, 0x80000010LL, 0xFFFFFFFFLL}) {
    EXPECT_EQ(errorOf(frame(message(RTM_DELNEXTHOP, Bytes(16, '\0'), length))),
              "offset 4: netlink message of " + std::to_string(length) +
                  " bytes does not fit into the remaining 32 of its frame");
  }
}

TEST(Messages, MayComeWithoutTheirLastPadding) {
  Bytes const body = nextHopHeader(0) + u32Attribute(NHA_ID, 1) + attribute(4000, "x").substr(0, 5);
  Bytes const whole = message(RTM_DELNEXTHOP, body);
  Bytes const bare = whole.substr(0, 16 + body.size());
  ASSERT_EQ(whole.size() - bare.size(), 3U);
  EXPECT_EQ(only<Fpm::NextHopWithdrawal>(frame(bare)).id, 1U);
  EXPECT_EQ(only<Fpm::NextHopWithdrawal>(frame(whole)).id, 1U);
}

TEST(Attributes, RefuseALengthThatDoesNotFit) {
  Bytes const id = u32Attribute(NHA_ID, 3);
  for (int const length : {0, 1, 2, 3}) {
    EXPECT_EQ(errorOf(newNextHop(attribute(NHA_OIF, "abcd", length) + id)),
              "offset " + std::to_string(kFirstAttribute) + ": attribute 5 has length " +
                  std::to_string(length) + ", smaller than its header of 4 bytes");
  }
  for (int const length : {17, 20, 65535}) {
    EXPECT_EQ(errorOf(newNextHop(attribute(NHA_OIF, "abcd", length) + id)),
              "offset " + std::to_string(kFirstAttribute) + ": attribute 5 of " +
                  std::to_string(length) + " bytes does not fit into the remaining 16");
  }
}

TEST(Attributes, RefuseStrayBytesAtTheEnd) {
  for (std::size_t count = 1; count < 4; ++count) {
    EXPECT_EQ(
        errorOf(
            newNextHop(u32Attribute(NHA_ID, 3) + u32Attribute(NHA_OIF, 3) + Bytes(count, '\0'))),
        "offset 44: " + std::to_string(count) + " stray bytes where an attribute should start");
  }
}

TEST(Attributes, RefuseAnAttributeThatLeavesItsNest) {
  // The inner attribute claims bytes of the outer one's successor.
  Bytes const metrics = attribute(RTA_METRICS, attribute(RTAX_MTU, "abcd", 12));
  EXPECT_EQ(errorOf(newRoute(metrics + u32Attribute(RTA_PRIORITY, 1))),
            "offset 36: attribute 2 of 12 bytes does not fit into the remaining 8");
}

TEST(Attributes, RefuseAGatewayOfAFamilyWithoutAddresses) {
  Bytes const via = attribute(RTA_VIA, raw(std::uint16_t{AF_UNIX}) + address("10.0.0.1"));
  EXPECT_EQ(errorOf(newRoute(via)),
            "offset 32: RTA_VIA address has 4 bytes of payload, expected 0 for family 1");
  EXPECT_EQ(errorOf(newRoute(attribute(RTA_VIA, "x"))),
            "offset 36: 1 bytes are too few for the RTA_VIA family of 2 bytes");
}

// Every single-byte change of a stream: either a clear error or a reading in which everything
// before the changed byte's message is what it was.
void flipEveryByte(Bytes const& stream, std::vector<unsigned char> const& masks) {
  ParsedStream const whole = parse(stream);
  ASSERT_FALSE(whole.error);
  int errors = 0;
  for (std::size_t at = 0; at < stream.size(); ++at) {
    std::size_t const before = static_cast<std::size_t>(std::count_if(
        whole.messages.begin(), whole.messages.end(), [&](Fpm::Message const& message) {
          std::uint32_t length = 0;
          std::memcpy(&length, stream.data() + message.offset, sizeof length);
          std::uint64_t const end = message.offset + length;
          return end <= at;
        }));
    for (unsigned char const mask : masks) {
      Bytes changed = stream;
      changed[at] = static_cast<char>(static_cast<unsigned char>(changed[at]) ^ mask);
      ParsedStream const parsed = parse(changed);
      ASSERT_GE(parsed.messages.size(), before) << at;
      ASSERT_TRUE(std::equal(whole.messages.begin(),
                             whole.messages.begin() + static_cast<std::ptrdiff_t>(before),
                             parsed.messages.begin()))
          << at;
      if (parsed.error) {
        ++errors;
        ASSERT_LE(parsed.error->offset, stream.size()) << at;
        ASSERT_TRUE(
            parsed.error->text.starts_with("offset " + std::to_string(parsed.error->offset) + ": "))
            << parsed.error->text;
      }
    }
  }
  EXPECT_GT(errors, 0);
}

TEST(Streams, SurviveTheChangeOfAnyByteToAnyValue) {
  std::vector<unsigned char> masks;
  for (int mask = 1; mask < 256; ++mask) masks.push_back(static_cast<unsigned char>(mask));
  flipEveryByte(announce(1, 2, "10.0.1.2") + announceGroup(3, {{1, 0}, {2, 9}}) +
                    announceRoute("10.1.0.0", 16, 3) + withdraw(1),
                masks);
}

TEST(Streams, SurviveTheChangeOfAnyBitOfARecording) {
  for (char const* name : {"forms.0.fpm", "misc.1.fpm"}) {
    flipEveryByte(contentOf(streamPath(name)), {1, 2, 4, 8, 16, 32, 64, 128});
  }
}

}  // namespace
}  // namespace OrviaL3Agent
