// Numbers for neighbours.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "agent/Adjacencies.h"

namespace OrviaL3Agent {
namespace {

Fpm::NextHop nextHop(std::uint32_t interface, std::uint8_t lastByte = 0, bool onlink = false) {
  Fpm::NextHop result{1, AF_INET, interface, std::nullopt, onlink};
  if (lastByte != 0) {
    result.gateway = Fpm::Address{AF_INET, {10, 0, 0, lastByte}};
  }
  return result;
}

TEST(Adjacencies, AreSharedByEqualNeighboursWhateverTheNextHopId) {
  Adjacencies adjacencies;
  Fpm::NextHop other = nextHop(2, 9);
  other.id = 77;
  Adjacencies::Use const first = adjacencies.use(nextHop(2, 9));
  EXPECT_EQ(adjacencies.use(other), first);
  EXPECT_EQ(*first, 1);
  EXPECT_EQ(adjacencies.size(), 1U);
}

TEST(Adjacencies, TellNeighboursApart) {
  Adjacencies adjacencies;
  Fpm::NextHop overIpv6 = nextHop(2);
  overIpv6.family = AF_INET6;
  Adjacencies::Use const uses[] = {
      adjacencies.use(nextHop(2, 9)),       adjacencies.use(nextHop(3, 9)),
      adjacencies.use(nextHop(2, 8)),       adjacencies.use(nextHop(2)),
      adjacencies.use(nextHop(2, 9, true)), adjacencies.use(overIpv6)};
  std::uint16_t expected = 1;
  for (Adjacencies::Use const& use : uses) EXPECT_EQ(*use, expected++);
}

TEST(Adjacencies, GiveANumberBackWithItsLastUse) {
  Adjacencies adjacencies;
  Adjacencies::Use first = adjacencies.use(nextHop(2, 1));
  Adjacencies::Use again = adjacencies.use(nextHop(2, 1));
  Adjacencies::Use const second = adjacencies.use(nextHop(2, 2));
  first.reset();
  EXPECT_EQ(*adjacencies.use(nextHop(2, 3)), 3);
  again.reset();
  EXPECT_EQ(*adjacencies.use(nextHop(2, 3)), 1);
  EXPECT_EQ(adjacencies.size(), 1U);
}

TEST(Adjacencies, HaveNoMoreNumbersThanTheFieldCanSay) {
  Adjacencies adjacencies(1);
  Adjacencies::Use first = adjacencies.use(nextHop(2));
  EXPECT_FALSE(adjacencies.use(nextHop(3)));
  first.reset();
  EXPECT_TRUE(adjacencies.use(nextHop(3)));
}

TEST(Adjacencies, MayEndBeforeTheirUses) {
  Adjacencies::Use use;
  {
    Adjacencies adjacencies;
    use = adjacencies.use(nextHop(2));
  }
  EXPECT_EQ(*use, 1);
}

}  // namespace
}  // namespace OrviaL3Agent
