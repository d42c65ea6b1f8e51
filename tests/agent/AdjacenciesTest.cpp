// Numbers for neighbours.
#include <gtest/gtest.h>

#include <optional>

#include "agent/Adjacencies.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

TEST(Adjacencies, AreSharedByEqualNeighbours) {
  Adjacencies adjacencies;
  Adjacencies::Use const first = adjacencies.use(via(2, "10.0.0.9"));
  EXPECT_EQ(adjacencies.use(via(2, "10.0.0.9")), first);
  EXPECT_EQ(*first, 1);
  EXPECT_EQ(adjacencies.size(), 1U);
}

TEST(Adjacencies, TellNeighboursApart) {
  Adjacencies adjacencies;
  Adjacencies::Use const uses[] = {adjacencies.use(via(2, "10.0.0.9")),
                                   adjacencies.use(via(3, "10.0.0.9")),
                                   adjacencies.use(via(2, "10.0.0.8")),
                                   adjacencies.use(connected(2)),
                                   adjacencies.use(via(2, "10.0.0.9", true)),
                                   adjacencies.use(via(2, "a00:9::")),
                                   adjacencies.use(connected(2, Asic::AddressFamily::ipv6)),
                                   adjacencies.use({1, Asic::AddressFamily::ipv4, 2})};
  std::uint16_t expected = 1;
  for (Adjacencies::Use const& use : uses) EXPECT_EQ(*use, expected++);
}

TEST(Adjacencies, GiveANumberBackWithItsLastUse) {
  Adjacencies adjacencies;
  Adjacencies::Use first = adjacencies.use(via(2, "10.0.0.1"));
  Adjacencies::Use again = adjacencies.use(via(2, "10.0.0.1"));
  Adjacencies::Use const second = adjacencies.use(via(2, "10.0.0.2"));
  first.reset();
  EXPECT_EQ(*adjacencies.use(via(2, "10.0.0.3")), 3);
  again.reset();
  EXPECT_EQ(*adjacencies.use(via(2, "10.0.0.3")), 1);
  EXPECT_EQ(adjacencies.size(), 1U);
}

TEST(Adjacencies, SayWhoseANumberIs) {
  Adjacencies adjacencies;
  Adjacencies::Use use = adjacencies.use(via(2, "10.0.0.1"));
  Adjacencies::Use const other = adjacencies.use(connected(3));
  EXPECT_EQ(adjacencies.neighbour(*use), via(2, "10.0.0.1"));
  EXPECT_EQ(adjacencies.neighbour(*other), connected(3));
  EXPECT_EQ(adjacencies.neighbour(0), std::nullopt);
  use.reset();
  EXPECT_EQ(adjacencies.neighbour(1), std::nullopt);
  EXPECT_EQ(adjacencies.neighbour(*other), connected(3));
}

TEST(Adjacencies, HaveNoMoreNumbersThanTheFieldCanSay) {
  Adjacencies adjacencies(1);
  Adjacencies::Use first = adjacencies.use(connected(2));
  EXPECT_FALSE(adjacencies.use(connected(3)));
  first.reset();
  EXPECT_TRUE(adjacencies.use(connected(3)));
}

TEST(Adjacencies, MayEndBeforeTheirUses) {
  Adjacencies::Use use;
  {
    Adjacencies adjacencies;
    use = adjacencies.use(connected(2));
  }
  EXPECT_EQ(*use, 1);
}

}  // namespace
}  // namespace OrviaL3Agent
