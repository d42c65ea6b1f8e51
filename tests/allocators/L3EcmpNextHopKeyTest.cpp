#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Asic/L3EcmpNextHopKey.h"
#include "Vek/Format.h"
#include "Vek/VekValueOps.h"

namespace {

using Asic::AddressFamily;
using Asic::GatewayAddress;
using Asic::L3EcmpNextHopKey;

std::string text(L3EcmpNextHopKey const& key) {
  std::ostringstream out;
  out << key;
  return out.str();
}

constexpr GatewayAddress router4 = GatewayAddress::ipv4({10, 0, 1, 2});
constexpr GatewayAddress router6 =
    GatewayAddress::ipv6({0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});

// Each differs from the first one in one thing, or is made of the same numbers in other places.
std::vector<L3EcmpNextHopKey> differentKeys() {
  return {
      {0, AddressFamily::ipv4, 3, router4, false},
      {1, AddressFamily::ipv4, 3, router4, false},
      {3, AddressFamily::ipv4, 0, router4, false},
      {0, AddressFamily::none, 3, router4, false},
      {0, AddressFamily::ipv6, 3, router4, false},
      {0, AddressFamily::ipv4, 4, router4, false},
      {0, AddressFamily::ipv4, 3, GatewayAddress::ipv4({10, 0, 1, 3}), false},
      {0, AddressFamily::ipv4, 3, GatewayAddress::ipv4({0, 0, 0, 0}), false},
      {0, AddressFamily::ipv4, 3, {}, false},
      {0, AddressFamily::ipv4, 3, router6, false},
      {0, AddressFamily::ipv4, 3, GatewayAddress::ipv6({10, 0, 1, 2}), false},
      {0, AddressFamily::ipv4, 3, router4, true},
      {0, AddressFamily::ipv6, 3, router6, false},
      {0, AddressFamily::ipv6, 3, {}, false},
      {},
      {0, AddressFamily::none, 3},
  };
}

TEST(L3EcmpNextHopKey, TellsWhatItWasMadeOf) {
  constexpr L3EcmpNextHopKey key(7, AddressFamily::ipv4, 3, router6, true);
  EXPECT_EQ(key.vrf(), 7U);
  EXPECT_EQ(key.family(), AddressFamily::ipv4);
  EXPECT_EQ(key.interfaceIndex(), 3U);
  EXPECT_EQ(key.gateway(), router6);
  EXPECT_EQ(key.gateway().family(), AddressFamily::ipv6);
  EXPECT_EQ(key.gateway().bytes()[15], 1U);
  EXPECT_TRUE(key.onlink());
  EXPECT_EQ(L3EcmpNextHopKey::viaGateway(7, router4, 3),
            L3EcmpNextHopKey(7, AddressFamily::ipv4, 3, router4, false));
  EXPECT_EQ(L3EcmpNextHopKey(), L3EcmpNextHopKey(0, AddressFamily::none, 0));
  EXPECT_FALSE(GatewayAddress());
  EXPECT_TRUE(router4);
}

TEST(L3EcmpNextHopKey, IsOneLineOfText) {
  EXPECT_EQ(text(L3EcmpNextHopKey::viaGateway(0, router4, 3, true)),
            "vrf 0 via 10.0.1.2 dev 3 onlink");
  EXPECT_EQ(text(L3EcmpNextHopKey::viaGateway(12, router6, 4)), "vrf 12 via fe80::1 dev 4");
  EXPECT_EQ(text({0, AddressFamily::ipv4, 3}), "vrf 0 inet dev 3");
  EXPECT_EQ(text({0, AddressFamily::ipv6, 3}), "vrf 0 inet6 dev 3");
  EXPECT_EQ(text({0, AddressFamily::ipv4, 3, router6}), "vrf 0 inet via fe80::1 dev 3");
  EXPECT_EQ(text({0, AddressFamily::none, 3, router4}), "vrf 0 unspec via 10.0.1.2 dev 3");
  EXPECT_EQ(text({}), "vrf 0 dev 0");
  EXPECT_EQ(Vek::format("%s", GatewayAddress()), "none");
}

TEST(L3EcmpNextHopKey, DifferentKeysDifferInEverythingThatTellsThemApart) {
  auto const keys = differentKeys();
  std::set<std::string> texts;
  std::set<std::uint32_t> hashes;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    texts.insert(text(keys[i]));
    hashes.insert(keys[i].hash(1));
    for (std::size_t j = 0; j < keys.size(); ++j) {
      EXPECT_EQ(keys[i] == keys[j], i == j) << text(keys[i]) << " and " << text(keys[j]);
      EXPECT_EQ((keys[i] < keys[j]) + (keys[j] < keys[i]), i == j ? 0 : 1);
    }
  }
  EXPECT_EQ(texts.size(), keys.size());
  EXPECT_EQ(hashes.size(), keys.size());
}

TEST(L3EcmpNextHopKey, EqualKeysHashAlikeAndSeedsMakeHashesDifferent) {
  auto const keys = differentKeys();
  auto const copies = differentKeys();
  for (std::size_t i = 0; i < keys.size(); ++i) {
    EXPECT_EQ(keys[i].hash(1), copies[i].hash(1));
    EXPECT_NE(keys[i].hash(1), keys[i].hash(2));
  }
}

TEST(L3EcmpNextHopKey, HashesOfNeighboursSpreadOverAllBits) {
  // 65,536 routers of one network: a table of 65,536 places should be used as if by chance, where
  // about 41,430 places get one or more.
  std::set<std::uint32_t> low;
  std::set<std::uint32_t> high;
  for (unsigned i = 0; i < 65'536; ++i) {
    auto const key =
        L3EcmpNextHopKey::viaGateway(0,
                                     GatewayAddress::ipv4({10, 1, static_cast<std::uint8_t>(i >> 8),
                                                           static_cast<std::uint8_t>(i)}),
                                     3);
    low.insert(key.hash(5) & 0xFFFFU);
    high.insert(key.hash(5) >> 16);
  }
  EXPECT_NEAR(static_cast<double>(low.size()), 41'430, 800);
  EXPECT_NEAR(static_cast<double>(high.size()), 41'430, 800);
}

TEST(L3EcmpNextHopKey, IsOrderedByVrfFirst) {
  L3EcmpNextHopKey const low(1, AddressFamily::ipv6, 9, router6, true);
  L3EcmpNextHopKey const high(2, AddressFamily::ipv4, 1, router4, false);
  EXPECT_LT(low, high);
  EXPECT_FALSE(high < low);
  EXPECT_FALSE(low < low);
}

TEST(L3EcmpNextHopKey, IsDescribedAsAValue) {
  Vek::VekType const type = L3EcmpNextHopKey::classType();
  EXPECT_STREQ(type.name(), "Asic::L3EcmpNextHopKey");
  Vek::VekValueOps const* const ops = type.valueOps();
  ASSERT_NE(ops, nullptr);
  auto const key = L3EcmpNextHopKey::viaGateway(0, router4, 3);
  EXPECT_EQ(ops->size, sizeof(L3EcmpNextHopKey));
  EXPECT_LE(ops->size, 32U);
  EXPECT_EQ(ops->hash(&key, 9), key.hash(9));
  EXPECT_EQ(ops->text(&key), "vrf 0 via 10.0.1.2 dev 3");
}

}  // namespace
