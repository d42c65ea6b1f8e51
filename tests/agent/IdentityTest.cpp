// What makes two ways of a packet the same.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <optional>
#include <string>

#include "agent/Identity.h"
#include "agent/PrefixTable.h"

namespace OrviaL3Agent {
namespace {

std::optional<Fpm::Address> gateway(std::string const& text) { return addressOf(text).value(); }

Fpm::NextHop nextHop(std::uint32_t id, std::uint32_t interface,
                     std::optional<Fpm::Address> const& via = std::nullopt, bool onlink = false) {
  return {id, via ? via->family : std::uint8_t{AF_INET}, interface, via, onlink};
}

TEST(Identity, HoldsEverythingAPacketsWayDependsOn) {
  Identity const identity = identityOf(nextHop(7, 3, gateway("10.0.1.2"), true));
  EXPECT_EQ(identity.vrf(), kVrf);
  EXPECT_EQ(identity.family(), Asic::AddressFamily::ipv4);
  EXPECT_EQ(identity.interfaceIndex(), 3U);
  EXPECT_EQ(identity.gateway(), Asic::GatewayAddress::ipv4({10, 0, 1, 2}));
  EXPECT_TRUE(identity.onlink());
  Identity const ipv6 = identityOf(nextHop(8, 4, gateway("fe80::1")));
  EXPECT_EQ(ipv6.family(), Asic::AddressFamily::ipv6);
  EXPECT_EQ(ipv6.gateway(), Asic::GatewayAddress::ipv6(gateway("fe80::1")->bytes));
  EXPECT_FALSE(ipv6.onlink());
}

TEST(Identity, IsOneForSeveralIds) {
  EXPECT_EQ(identityOf(nextHop(7, 3, gateway("10.0.1.2"))),
            identityOf(nextHop(8, 3, gateway("10.0.1.2"))));
  EXPECT_EQ(identityOf(nextHop(7, 3)), identityOf(nextHop(8, 3)));
}

TEST(Identity, DiffersInEachOfItsParts) {
  Identity const identity = identityOf(nextHop(7, 3, gateway("10.0.1.2")));
  EXPECT_NE(identity, identityOf(nextHop(7, 4, gateway("10.0.1.2"))));
  EXPECT_NE(identity, identityOf(nextHop(7, 3, gateway("10.0.1.3"))));
  EXPECT_NE(identity, identityOf(nextHop(7, 3)));
  EXPECT_NE(identity, identityOf(nextHop(7, 3, gateway("10.0.1.2"), true)));
  Fpm::NextHop connected = nextHop(7, 3);
  Identity const ipv4 = identityOf(connected);
  connected.family = AF_INET6;
  EXPECT_NE(identityOf(connected), ipv4);
}

TEST(Identity, OfAPathIsThatOfANextHopOfItsOwn) {
  Fpm::Route::Path path;
  path.interface = 3;
  path.weightByte = 9;  // says how much, not where
  EXPECT_EQ(identityOf(path, AF_INET), identityOf(nextHop(7, 3)));
  path.gateway = gateway("10.0.1.2");
  EXPECT_EQ(identityOf(path, AF_INET), identityOf(nextHop(7, 3, gateway("10.0.1.2"))));
  path.onlink = true;
  EXPECT_EQ(identityOf(path, AF_INET), identityOf(nextHop(7, 3, gateway("10.0.1.2"), true)));
}

TEST(Identity, OfAPathIsOfTheGatewaysFamilyAndOfTheRoutesWithoutOne) {
  Fpm::Route::Path path;
  path.interface = 3;
  EXPECT_EQ(identityOf(path, AF_INET6).family(), Asic::AddressFamily::ipv6);
  EXPECT_EQ(identityOf(path, AF_INET).family(), Asic::AddressFamily::ipv4);
  path.gateway = gateway("fe80::1");
  EXPECT_EQ(identityOf(path, AF_INET).family(), Asic::AddressFamily::ipv6);
  EXPECT_EQ(identityOf(path, AF_INET), identityOf(nextHop(7, 3, gateway("fe80::1"))));
}

TEST(Identity, OfAnUnknownFamilyIsOfNone) {
  Fpm::NextHop other = nextHop(7, 3);
  other.family = AF_UNSPEC;
  EXPECT_EQ(identityOf(other).family(), Asic::AddressFamily::none);
}

TEST(Identity, IsWrittenForOperators) {
  EXPECT_EQ(text(identityOf(nextHop(7, 3, gateway("10.0.1.2")))), "10.0.1.2 on interface 3");
  EXPECT_EQ(text(identityOf(nextHop(7, 3, gateway("10.0.1.2"), true))),
            "10.0.1.2 onlink on interface 3");
  EXPECT_EQ(text(identityOf(nextHop(7, 3))), "connected on interface 3");
  EXPECT_EQ(text(identityOf(nextHop(7, 4, gateway("fe80::1")))), "fe80::1 on interface 4");
  // An address of zeros is an address.
  EXPECT_EQ(text(identityOf(nextHop(7, 4, gateway("0.0.0.0")))), "0.0.0.0 on interface 4");
}

}  // namespace
}  // namespace OrviaL3Agent
