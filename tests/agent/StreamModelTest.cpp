// What a stream asks for: each rule on its own with a few messages, then recorded streams.
#include <gtest/gtest.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "agent/StreamModel.h"
#include "agent/fpm/FrameFile.h"
#include "agent/fpm/MessageReader.h"

namespace OrviaL3Agent {
namespace {

using Ids = std::vector<std::uint32_t>;
using Members = std::vector<Fpm::NextHopGroup::Member>;

Fpm::Address addressOf(std::array<std::uint8_t, 4> const& bytes) {
  Fpm::Address address{AF_INET, {}};
  std::copy(bytes.begin(), bytes.end(), address.bytes.begin());
  return address;
}

// The gateway of every test's next hop on this interface.
Fpm::Address gatewayOn(std::uint32_t interface) {
  return addressOf({10, 0, static_cast<std::uint8_t>(interface), 2});
}

Fpm::NextHop single(std::uint32_t id, std::uint32_t interface) {
  return {id, AF_INET, interface, gatewayOn(interface), false};
}

Identity on(std::uint32_t interface) { return identityOf(single(1, interface)); }

// Members of weight 1.
Fpm::NextHopGroup group(std::uint32_t id, Ids const& members) {
  Fpm::NextHopGroup made{id, {}};
  for (std::uint32_t const member : members) made.members.push_back({member, 0});
  return made;
}

Fpm::Prefix prefix(std::uint8_t number, std::uint8_t length = 24) {
  return {length, addressOf({192, 0, number, 0})};
}

Fpm::Route routeTo(std::uint8_t number, std::optional<std::uint32_t> id) {
  Fpm::Route route;
  route.destination = prefix(number);
  route.table = 254;
  route.type = RTN_UNICAST;
  route.nextHopId = id;
  return route;
}

Fpm::Route::Path pathOn(std::uint32_t interface, std::uint8_t weightByte = 0) {
  return {interface, gatewayOn(interface), weightByte, false};
}

Fpm::Route routeOver(std::uint8_t number, std::vector<Fpm::Route::Path> const& paths) {
  Fpm::Route route = routeTo(number, std::nullopt);
  route.paths = paths;
  return route;
}

Fpm::NextHopWithdrawal gone(std::uint32_t id) { return {id}; }
Fpm::RouteWithdrawal goneRoute(std::uint8_t number) { return {prefix(number), 254, 0}; }

class StreamModelTest : public testing::Test {
 protected:
  // Messages of one frame.
  template <class... Contents>
  void frame(Contents const&... contents) {
    (model_.messageIs({0, contents}), ...);
    model_.frameEnds();
  }
  // Next hops 1 to `count`, each on the interface of its number.
  void makeSingles(std::uint32_t count) {
    for (std::uint32_t id = 1; id <= count; ++id) frame(single(id, id));
  }
  [[nodiscard]] Wanted wanted(std::set<std::uint32_t> const& down = {},
                              std::uint32_t maxWidth = 512) const {
    return model_.wanted(down, maxWidth);
  }
  // The paths of the groups that are wanted.
  [[nodiscard]] std::vector<Paths> paths() const {
    std::vector<Paths> all;
    for (Wanted::Group const& one : wanted().groups) all.push_back(one.paths);
    return all;
  }
  [[nodiscard]] std::set<Identity> ingress() const {
    std::set<Identity> all;
    for (auto const& [identity, routes] : wanted().ingress) all.insert(identity);
    return all;
  }

  StreamModel model_;
};

TEST_F(StreamModelTest, AnEmptyStreamAsksForNothing) {
  Wanted const nothing = wanted();
  EXPECT_TRUE(nothing.groups.empty());
  EXPECT_TRUE(nothing.ecmp.empty());
  EXPECT_TRUE(nothing.ingress.empty());
  EXPECT_EQ(nothing.counts, Wanted::Counts());
}

TEST_F(StreamModelTest, ASingleNextHopThatNobodyUsesNeedsNoRow) {
  makeSingles(2);
  EXPECT_EQ(model_.ids(), 2U);
  EXPECT_TRUE(wanted().ecmp.empty());
  EXPECT_TRUE(wanted().ingress.empty());
}

TEST_F(StreamModelTest, ARouteNamesAnIngressNextHop) {
  makeSingles(2);
  frame(routeTo(1, 2));
  frame(routeTo(2, 2));
  EXPECT_EQ(wanted().ingress, (std::map<Identity, std::uint64_t>{{on(2), 2}}));
  EXPECT_TRUE(wanted().ecmp.empty());
}

TEST_F(StreamModelTest, SeveralIdsMayNameOneIdentity) {
  frame(single(1, 7), single(2, 7));
  frame(routeTo(1, 1), routeTo(2, 2));
  EXPECT_EQ(wanted().ingress, (std::map<Identity, std::uint64_t>{{on(7), 2}}));
  frame(group(3, {1, 2}));
  EXPECT_EQ(paths(), (std::vector<Paths>{{{on(7), 2}}}));
}

TEST_F(StreamModelTest, AGroupIsWantedWhetherARouteUsesItOrNot) {
  makeSingles(2);
  frame(group(9, {1, 2}));
  Wanted const now = wanted();
  ASSERT_EQ(now.groups.size(), 1U);
  EXPECT_EQ(now.groups[0].paths, (Paths{{on(1), 1}, {on(2), 1}}));
  EXPECT_EQ(now.groups[0].groupIds, (Ids{9}));
  EXPECT_EQ(now.groups[0].routes, 0U);
  EXPECT_EQ(now.ecmp, (std::set<Identity>{on(1), on(2)}));
  EXPECT_TRUE(now.ingress.empty());
}

TEST_F(StreamModelTest, AnIdentityMayStandInBothViews) {
  makeSingles(2);
  frame(group(9, {1, 2}), routeTo(1, 9), routeTo(2, 1));
  EXPECT_EQ(wanted().ecmp, (std::set<Identity>{on(1), on(2)}));
  EXPECT_EQ(ingress(), (std::set<Identity>{on(1)}));
}

TEST_F(StreamModelTest, EqualPathsAreOneGroupWithAllWhoAsk) {
  makeSingles(2);
  frame(group(9, {2, 1}), group(8, {1, 2}));
  frame(routeOver(1, {pathOn(1), pathOn(2)}), routeOver(2, {pathOn(2), pathOn(1)}));
  frame(routeTo(3, 9));  // asks for the id, not for paths
  Wanted const now = wanted();
  ASSERT_EQ(now.groups.size(), 1U);
  EXPECT_EQ(now.groups[0].groupIds, (Ids{8, 9}));
  EXPECT_EQ(now.groups[0].routes, 2U);
}

TEST_F(StreamModelTest, AWeightIsTheByteAndOne) {
  makeSingles(2);
  frame(Fpm::NextHopGroup{9, {{1, 1}, {2, 5}}});
  EXPECT_EQ(paths(), (std::vector<Paths>{{{on(1), 1}, {on(2), 3}}}));
  frame(routeOver(1, {pathOn(1, 0), pathOn(2, 2)}));
  EXPECT_EQ(wanted().groups.size(), 1U);
  EXPECT_EQ(wanted().groups[0].routes, 1U);
}

TEST_F(StreamModelTest, AGroupIsNoWiderThanTheMaximum) {
  makeSingles(3);
  frame(Fpm::NextHopGroup{9, {{1, 0}, {2, 254}}});
  Wanted const scaled = wanted({}, 4);
  ASSERT_EQ(scaled.groups.size(), 1U);
  EXPECT_EQ(scaled.groups[0].paths, (Paths{{on(1), 1}, {on(2), 3}}));
  frame(group(8, {1, 2, 3}), routeOver(1, {pathOn(1), pathOn(2), pathOn(3)}));
  EXPECT_EQ(wanted({}, 3).groups.size(), 2U);
  Wanted const narrow = wanted({}, 2);
  EXPECT_EQ(narrow.groups.size(), 1U);
  EXPECT_EQ(narrow.counts.tooWideGroups, 1U);
  EXPECT_EQ(narrow.counts.tooWideRoutes, 1U);
}

TEST_F(StreamModelTest, AGroupWaitsForItsMembers) {
  makeSingles(1);
  frame(group(9, {1, 2}));
  EXPECT_TRUE(paths().empty());
  EXPECT_EQ(wanted().counts.waitingGroups, 1U);
  EXPECT_TRUE(wanted().ecmp.empty());
  frame(single(2, 2));
  EXPECT_EQ(paths(), (std::vector<Paths>{{{on(1), 1}, {on(2), 1}}}));
  EXPECT_EQ(wanted().counts, Wanted::Counts());
}

TEST_F(StreamModelTest, AGroupOfUnknownMembersOnlyWaitsToo) {
  frame(group(9, {1, 2}));
  EXPECT_EQ(wanted().counts.waitingGroups, 1U);
  EXPECT_EQ(model_.ids(), 1U);
}

TEST_F(StreamModelTest, AGroupWithABlackholeIsNotProgrammed) {
  makeSingles(1);
  frame(Fpm::BlackholeNextHop{5}, group(9, {1, 5}), group(8, {5, 77}));
  EXPECT_TRUE(paths().empty());
  EXPECT_EQ(wanted().counts.blackholeGroups, 2U);
  EXPECT_EQ(wanted().counts.waitingGroups, 0U);
}

TEST_F(StreamModelTest, AGroupOfGroupsIsNotProgrammed) {
  makeSingles(2);
  frame(group(9, {1, 2}), group(8, {9, 1}), group(7, {7, 1}));
  EXPECT_EQ(wanted().counts.nestedGroups, 2U);
  EXPECT_EQ(wanted().groups.size(), 1U);
}

TEST_F(StreamModelTest, AGroupIsNotKeptByGroupsThatNameIt) {
  makeSingles(2);
  frame(group(9, {8, 1}), group(8, {9, 2}));
  frame(Fpm::NextHopWithdrawal{9});
  frame(Fpm::NextHopWithdrawal{8}, Fpm::NextHopWithdrawal{1}, Fpm::NextHopWithdrawal{2});
  EXPECT_EQ(model_.ids(), 0U);
}

TEST_F(StreamModelTest, AGroupWithoutMembersIsNotProgrammed) {
  frame(group(9, {}));
  EXPECT_EQ(wanted().counts.emptyGroups, 1U);
  EXPECT_TRUE(paths().empty());
}

TEST_F(StreamModelTest, RoutesDropByTypeOverABlackholeOrWithoutAWay) {
  makeSingles(1);
  frame(Fpm::BlackholeNextHop{5});
  frame(routeTo(1, 5));
  std::uint8_t number = 2;
  for (int const type :
       {RTN_UNSPEC, RTN_LOCAL, RTN_BROADCAST, RTN_BLACKHOLE, RTN_UNREACHABLE, RTN_PROHIBIT}) {
    Fpm::Route route = routeTo(number++, 1);
    route.type = static_cast<std::uint8_t>(type);
    frame(route);
  }
  frame(routeOver(number, {}));
  EXPECT_EQ(wanted().counts.droppingRoutes, 8U);
  EXPECT_TRUE(ingress().empty());
}

TEST_F(StreamModelTest, ARouteThatDropsDoesNotKeepAnId) {
  makeSingles(1);
  Fpm::Route route = routeTo(1, 1);
  route.type = RTN_BLACKHOLE;
  frame(route, gone(1));
  EXPECT_EQ(model_.ids(), 0U);
}

TEST_F(StreamModelTest, ARouteWaitsForItsIdWhateverThatBecomes) {
  frame(routeTo(1, 1), routeTo(2, 9));
  EXPECT_EQ(wanted().counts.waitingRoutes, 2U);
  frame(single(1, 1), group(9, {1, 2}));
  EXPECT_EQ(ingress(), (std::set<Identity>{on(1)}));
  EXPECT_EQ(wanted().counts.waitingRoutes, 0U);
  EXPECT_EQ(wanted().counts.waitingGroups, 1U);
}

TEST_F(StreamModelTest, ARouteMayCarryItsPathsItself) {
  frame(routeOver(1, {pathOn(3)}));
  frame(routeOver(2, {pathOn(4), pathOn(5)}));
  EXPECT_EQ(ingress(), (std::set<Identity>{on(3)}));
  EXPECT_EQ(paths(), (std::vector<Paths>{{{on(4), 1}, {on(5), 1}}}));
  EXPECT_EQ(wanted().ecmp, (std::set<Identity>{on(4), on(5)}));
}

TEST_F(StreamModelTest, AConnectedPathIsOfTheRoutesFamily) {
  frame(routeOver(1, {{3, std::nullopt, 0, false}}));
  EXPECT_EQ(ingress(), (std::set<Identity>{{kVrf, Asic::AddressFamily::ipv4, 3}}));
}

TEST_F(StreamModelTest, APathWithoutAnInterfaceIsNotProgrammed) {
  frame(routeOver(1, {pathOn(0)}), routeOver(2, {pathOn(1), pathOn(0)}));
  EXPECT_EQ(wanted().counts.withoutInterface, 2U);
  EXPECT_TRUE(paths().empty());
  EXPECT_TRUE(ingress().empty());
}

TEST_F(StreamModelTest, ARouteReplacesTheOneOfTheSameTablePrefixAndPriority) {
  makeSingles(2);
  frame(routeTo(1, 1));
  frame(routeTo(1, 2));
  EXPECT_EQ(ingress(), (std::set<Identity>{on(2)}));
  Fpm::Route other = routeTo(1, 1);
  other.priority = 20;
  frame(other);
  EXPECT_EQ(ingress(), (std::set<Identity>{on(1), on(2)}));
  frame(Fpm::RouteWithdrawal{prefix(1), 254, 20});
  EXPECT_EQ(ingress(), (std::set<Identity>{on(2)}));
  other = routeTo(1, 1);
  other.table = 10;
  frame(other);
  other.table = 254;
  other.destination = prefix(1, 25);
  frame(other);
  EXPECT_EQ(model_.routes(), 3U);
}

TEST_F(StreamModelTest, BitsBeyondThePrefixMakeNoOtherRoute) {
  makeSingles(2);
  Fpm::Route route = routeTo(0, 1);
  route.destination = {20, addressOf({192, 0, 0x10, 0})};
  frame(route);
  route.destination.address = addressOf({192, 0, 0x1F, 9});
  route.nextHopId = 2;
  frame(route);
  EXPECT_EQ(model_.routes(), 1U);
  route.destination.address = addressOf({192, 0, 0x20, 0});
  frame(route);
  EXPECT_EQ(model_.routes(), 2U);
  frame(Fpm::RouteWithdrawal{{20, addressOf({192, 0, 0x2A, 1})}, 254, 0});
  EXPECT_EQ(model_.routes(), 1U);
}

TEST_F(StreamModelTest, AWithdrawnRouteAsksForNothing) {
  makeSingles(1);
  frame(routeTo(1, 1), routeOver(2, {pathOn(4), pathOn(5)}));
  frame(goneRoute(1));
  frame(goneRoute(2), goneRoute(3));
  EXPECT_EQ(model_.routes(), 0U);
  EXPECT_TRUE(paths().empty());
  EXPECT_TRUE(ingress().empty());
}

TEST_F(StreamModelTest, AWithdrawalAndAnAnnouncementInOneFrameAreAReplacement) {
  makeSingles(1);
  frame(routeTo(1, 1));
  frame(gone(1));
  EXPECT_EQ(ingress(), (std::set<Identity>{on(1)}));
  // The id is in use before, during and after.
  frame(goneRoute(1), routeTo(1, 1));
  EXPECT_EQ(ingress(), (std::set<Identity>{on(1)}));
  // In two frames it is not.
  frame(goneRoute(1));
  frame(routeTo(1, 1));
  EXPECT_TRUE(ingress().empty());
  EXPECT_EQ(wanted().counts.waitingRoutes, 1U);
}

TEST_F(StreamModelTest, AnotherRouteOfTheSameFrameDoesNotUndoAWithdrawal) {
  makeSingles(1);
  frame(routeTo(1, 1), gone(1));
  frame(goneRoute(1), routeTo(2, std::nullopt));
  EXPECT_TRUE(ingress().empty());
  EXPECT_EQ(model_.ids(), 0U);
}

TEST_F(StreamModelTest, ARouteAnnouncedAndThenWithdrawnInOneFrameIsGone) {
  makeSingles(1);
  frame(goneRoute(1), routeTo(1, 1), goneRoute(1));
  EXPECT_EQ(model_.routes(), 0U);
}

TEST_F(StreamModelTest, TheOldRouteLetsGoOnlyWhenTheNewOneHolds) {
  makeSingles(1);
  frame(routeTo(1, 1), gone(1));
  frame(routeTo(1, 1));
  EXPECT_EQ(ingress(), (std::set<Identity>{on(1)}));
}

TEST_F(StreamModelTest, AnIdThatNobodyUsesGoesWithItsWithdrawal) {
  makeSingles(2);
  frame(gone(1), gone(77));
  EXPECT_EQ(model_.ids(), 1U);
}

TEST_F(StreamModelTest, AnIdInUseStaysUntilItsLastUserGoes) {
  makeSingles(1);
  frame(routeTo(1, 1), routeTo(2, 1), gone(1));
  frame(goneRoute(1));
  EXPECT_EQ(ingress(), (std::set<Identity>{on(1)}));
  frame(goneRoute(2));
  EXPECT_EQ(model_.ids(), 0U);
}

TEST_F(StreamModelTest, AGroupKeepsItsMembers) {
  makeSingles(2);
  frame(group(9, {1, 2}), gone(1), gone(2));
  EXPECT_EQ(paths(), (std::vector<Paths>{{{on(1), 1}, {on(2), 1}}}));
  EXPECT_EQ(model_.ids(), 3U);
  frame(gone(9));
  EXPECT_EQ(model_.ids(), 0U);
}

TEST_F(StreamModelTest, AGroupThatOnlyARouteKeepsKeepsItsMembers) {
  makeSingles(2);
  frame(group(9, {1, 2}), routeTo(1, 9));
  frame(gone(9), gone(1), gone(2));
  Wanted const kept = wanted();
  ASSERT_EQ(kept.groups.size(), 1U);
  EXPECT_EQ(kept.groups[0].groupIds, (Ids{9}));
  frame(goneRoute(1));
  EXPECT_EQ(model_.ids(), 0U);
  EXPECT_TRUE(paths().empty());
}

TEST_F(StreamModelTest, GroupsOfGroupsAreNotKeptByOneAnother) {
  constexpr std::uint32_t kDeep = 1'000;
  makeSingles(1);
  for (std::uint32_t id = 2; id <= kDeep; ++id) frame(group(id, {id - 1}));
  for (std::uint32_t id = 1; id < kDeep; ++id) frame(gone(id));
  EXPECT_EQ(model_.ids(), 1U);
  frame(gone(kDeep));
  EXPECT_EQ(model_.ids(), 0U);
}

TEST_F(StreamModelTest, AMemberNamedTwiceIsHeldOnce) {
  makeSingles(1);
  frame(group(9, {1, 1}), gone(1));
  EXPECT_EQ(model_.ids(), 2U);
  frame(gone(9));
  EXPECT_EQ(model_.ids(), 0U);
}

TEST_F(StreamModelTest, AGroupDoesNotKeepItself) {
  makeSingles(1);
  frame(group(9, {9, 1}), gone(9));
  EXPECT_EQ(model_.ids(), 1U);
}

TEST_F(StreamModelTest, AKeptMemberIsKnownToItsGroupWhenThatIsAnnouncedAgain) {
  makeSingles(3);
  frame(group(9, {1, 2}), gone(1));
  frame(group(9, {1, 3}));
  EXPECT_EQ(paths(), (std::vector<Paths>{{{on(1), 1}, {on(3), 1}}}));
  frame(group(9, {2, 3}));
  EXPECT_EQ(model_.ids(), 3U);  // and goes when the group does not name it any more
  frame(group(9, {1, 3}));
  EXPECT_EQ(wanted().counts.waitingGroups, 1U);
}

TEST_F(StreamModelTest, AKeptIdIsKnownToNewUsersToo) {
  makeSingles(2);
  frame(group(9, {1, 2}), gone(1));
  frame(group(8, {1}), routeTo(1, 1));
  EXPECT_EQ(wanted().groups.size(), 2U);
  frame(gone(9), gone(8));
  EXPECT_EQ(ingress(), (std::set<Identity>{on(1)}));
  frame(goneRoute(1));
  EXPECT_EQ(model_.ids(), 1U);
}

TEST_F(StreamModelTest, AKeptIdIsLiveAgainWhenItIsAnnouncedAgain) {
  makeSingles(2);
  frame(group(9, {1, 2}), gone(1));
  frame(single(1, 3));
  EXPECT_EQ(paths(), (std::vector<Paths>{{{on(2), 1}, {on(3), 1}}}));
  frame(gone(9));
  EXPECT_EQ(model_.ids(), 2U);
}

TEST_F(StreamModelTest, AnIdAnnouncedWithOtherContentsChangesAllThatNameIt) {
  makeSingles(2);
  frame(group(9, {1, 2}), routeTo(1, 1));
  frame(single(1, 5));
  EXPECT_EQ(paths(), (std::vector<Paths>{{{on(2), 1}, {on(5), 1}}}));
  EXPECT_EQ(ingress(), (std::set<Identity>{on(5)}));
}

TEST_F(StreamModelTest, AnIdAnnouncedAsAnotherKindEndsWhatItWas) {
  makeSingles(2);
  frame(group(9, {1, 2}), routeTo(1, 9), gone(1));
  frame(single(9, 6));
  EXPECT_TRUE(paths().empty());
  EXPECT_EQ(ingress(), (std::set<Identity>{on(6)}));
  EXPECT_EQ(model_.ids(), 2U);  // member 1 had no other user
  frame(Fpm::BlackholeNextHop{9});
  EXPECT_TRUE(ingress().empty());
  EXPECT_EQ(wanted().counts.droppingRoutes, 1U);
  frame(group(9, {2}));
  EXPECT_EQ(paths(), (std::vector<Paths>{{{on(2), 1}}}));
  EXPECT_EQ(wanted().counts, Wanted::Counts());
}

TEST_F(StreamModelTest, FailedInterfacesArePrunedFromGroups) {
  makeSingles(3);
  frame(group(9, {1, 2}), group(8, {2, 3}), routeTo(1, 1), routeOver(2, {pathOn(1), pathOn(4)}));
  Wanted const now = wanted({1});
  ASSERT_EQ(now.groups.size(), 3U);
  EXPECT_EQ(now.groups[0].asked, (Paths{{on(1), 1}, {on(2), 1}}));
  EXPECT_EQ(now.groups[0].paths, (Paths{{on(2), 1}}));
  EXPECT_EQ(now.groups[1].paths, (Paths{{on(4), 1}}));
  EXPECT_EQ(now.groups[2].paths, (Paths{{on(2), 1}, {on(3), 1}}));
  EXPECT_EQ(now.ecmp, (std::set<Identity>{on(2), on(3), on(4)}));
  // A route that names a next hop directly has no other.
  EXPECT_EQ(now.ingress, (std::map<Identity, std::uint64_t>{{on(1), 1}}));
}

TEST_F(StreamModelTest, GroupsThatBecomeEqualByPruningAreStillTwo) {
  makeSingles(3);
  frame(group(9, {1, 2}), group(8, {2, 3}));
  Wanted const now = wanted({1, 3});
  ASSERT_EQ(now.groups.size(), 2U);
  EXPECT_EQ(now.groups[0].paths, (Paths{{on(2), 1}}));
  EXPECT_EQ(now.groups[1].paths, (Paths{{on(2), 1}}));
}

TEST_F(StreamModelTest, AGroupOfFailedInterfacesOnlyKeepsItsPaths) {
  makeSingles(2);
  frame(group(9, {1, 2}));
  EXPECT_EQ(wanted({1, 2}).groups[0].paths, (Paths{{on(1), 1}, {on(2), 1}}));
}

TEST_F(StreamModelTest, SkippedMessagesAskForNothing) {
  frame(Fpm::SkippedMessage{16});
  EXPECT_EQ(model_.ids() + model_.routes(), 0U);
}

struct Recorded {
  char const* name;
  std::uint64_t frames;
  std::size_t ids, routes, groups, memberRows, ecmp, ingress;
  std::uint64_t waitingGroups, blackholeGroups, droppingRoutes, waitingRoutes, multipathRoutes,
      withoutInterface;
};
void PrintTo(Recorded const& recorded, std::ostream* out) {
  *out << recorded.name << " up to frame " << recorded.frames;
}

class RecordedStreamModel : public testing::TestWithParam<Recorded> {};

// The numbers were counted by a program that reads the bytes itself, and that looks for unused ids
// by a walk over everything after every message.
TEST_P(RecordedStreamModel, AsksForWhatIsInTheBytes) {
  Recorded const& expected = GetParam();
  Fpm::FrameFile file(std::string(ORVIA_SOURCE_DIR "/examples/streams/") + expected.name);
  Fpm::SkipCounts skips;
  StreamModel model;
  for (std::uint64_t i = 0; i < expected.frames; ++i) {
    auto const frame = file.next();
    ASSERT_TRUE(frame) << "the stream has only " << i << " frames";
    Fpm::MessageReader messages(*frame, skips);
    while (auto const message = messages.next()) model.messageIs(*message);
    model.frameEnds();
  }
  Wanted const wanted = model.wanted({}, 512);
  std::size_t memberRows = 0;
  std::uint64_t multipathRoutes = 0;
  for (Wanted::Group const& group : wanted.groups) {
    memberRows += widthOf(group.paths);
    multipathRoutes += group.routes;
  }
  EXPECT_EQ(model.ids(), expected.ids);
  EXPECT_EQ(model.routes(), expected.routes);
  EXPECT_EQ(wanted.groups.size(), expected.groups);
  EXPECT_EQ(memberRows, expected.memberRows);
  EXPECT_EQ(wanted.ecmp.size(), expected.ecmp);
  EXPECT_EQ(wanted.ingress.size(), expected.ingress);
  EXPECT_EQ(wanted.counts.waitingGroups, expected.waitingGroups);
  EXPECT_EQ(wanted.counts.blackholeGroups, expected.blackholeGroups);
  EXPECT_EQ(wanted.counts.droppingRoutes, expected.droppingRoutes);
  EXPECT_EQ(wanted.counts.waitingRoutes, expected.waitingRoutes);
  EXPECT_EQ(wanted.counts.withoutInterface, expected.withoutInterface);
  EXPECT_EQ(multipathRoutes, expected.multipathRoutes);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Streams, RecordedStreamModel, testing::Values(
    Recorded{"bgp-1k-distinct16-reconn.0.fpm", 2078, 1093, 985, 1000, 15507, 31, 31, 0, 0, 0, 0, 0, 0},
    Recorded{"bgp-1k-distinct16-reconn.0.fpm", 4156, 62, 32, 0, 0, 0, 32, 0, 0, 0, 0, 0, 0},
    Recorded{"bgp-1k-distinct16.0.fpm", 1805, 934, 871, 838, 13408, 32, 33, 0, 0, 0, 0, 0, 0},
    Recorded{"bgp-1k-distinct16.0.fpm", 3610, 1096, 1032, 1000, 15507, 31, 32, 0, 0, 0, 0, 0, 0},
    Recorded{"bgp16-10k.0.fpm", 20046, 50, 10016, 2, 31, 16, 16, 0, 0, 0, 0, 0, 0},
    Recorded{"bgp16-10k.0.fpm", 40093, 34, 17, 0, 0, 0, 17, 0, 0, 0, 0, 0, 0},
    Recorded{"churn-500-1to16way.0.fpm", 4299, 45, 517, 4, 30, 9, 17, 0, 0, 0, 0, 0, 0},
    Recorded{"churn-500-1to16way.0.fpm", 8598, 49, 516, 1, 15, 15, 16, 0, 0, 0, 0, 0, 0},
    Recorded{"flap-static-reconn.0.fpm", 32, 31, 1, 3, 7, 5, 1, 0, 0, 0, 0, 0, 0},
    Recorded{"flap-static-reconn.0.fpm", 64, 21, 13, 1, 2, 2, 10, 0, 0, 0, 0, 0, 0},
    Recorded{"flap-static.0.fpm", 103, 34, 18, 3, 7, 5, 10, 0, 0, 2, 1, 0, 0},
    Recorded{"flap-static.0.fpm", 51, 30, 12, 4, 16, 8, 9, 0, 0, 0, 0, 0, 0},
    Recorded{"forms.0.fpm", 21, 12, 9, 0, 0, 0, 8, 0, 0, 1, 0, 0, 0},
    Recorded{"forms.0.fpm", 42, 9, 5, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0},
    Recorded{"misc.0.fpm", 28, 16, 9, 1, 4, 4, 7, 0, 0, 0, 0, 0, 0},
    Recorded{"misc.0.fpm", 57, 22, 15, 2, 10, 8, 8, 0, 0, 0, 0, 0, 0},
    Recorded{"misc.1.fpm", 11, 0, 11, 1, 6, 6, 7, 0, 0, 0, 0, 2, 0},
    Recorded{"misc.1.fpm", 22, 0, 8, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0},
    Recorded{"w1-static.0.fpm", 21, 16, 5, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0},
    Recorded{"w1-static.0.fpm", 42, 27, 9, 3, 14, 8, 9, 0, 0, 0, 0, 0, 0},
    Recorded{"weights.0.fpm", 17, 12, 5, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0},
    Recorded{"weights.0.fpm", 34, 13, 4, 1, 99, 3, 4, 0, 0, 0, 0, 0, 0},
    Recorded{"wide-static.0.fpm", 1828, 343, 82, 38, 532, 273, 8, 0, 0, 0, 0, 0, 0},
    Recorded{"wide-static.0.fpm", 3656, 459, 8, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0}
));
// clang-format on

}  // namespace
}  // namespace OrviaL3Agent
