// Changes replace: the kernel announces no deletion, and packets that have a member keep it.
#include <gmock/gmock.h>

#include <random>
#include <set>

#include "DeviceFixture.h"
#include "Listener.h"

namespace KernelNextHopTests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class Changes : public DeviceFixture {};

TEST_F(Changes, OfNextHopsGroupsAndRoutesDeleteNothing) {
  for (unsigned row = 1; row <= 4; ++row) writeHop(row, row);
  writeGroupOf(1, 10, {1, 2});
  writeGroupOf(2, 20, {3});
  device->routeIs(route(1), groupRow(1));
  settle();
  Listener listener(plane.path());
  writeHop(1, 205);
  settle();
  writeGroupOf(1, 30, {1, 3, 4});
  settle();
  writeMembers(30, {4, 1, 2});
  settle();
  device->routeIs(route(1), groupRow(2));
  settle();
  device->routeIs(route(1), {});
  settle();
  device->routeIs(route(1), groupRow(1));
  settle();
  EXPECT_EQ(inKernel(groupRow(1)), ids({4, 1, 2}));
  auto const heard = listener.heard();
  EXPECT_FALSE(heard.contains(RTM_DELNEXTHOP));
  EXPECT_FALSE(heard.contains(RTM_DELROUTE));
  EXPECT_EQ(heard.at(RTM_NEWNEXTHOP), 3U);
  // Those of a group that is replaced are announced as well.
  EXPECT_GE(heard.at(RTM_NEWROUTE), 3U);
}

TEST_F(Changes, ThatEndAreDeletionsFromTheTop) {
  for (unsigned row = 1; row <= 2; ++row) writeHop(row, row);
  writeGroupOf(1, 10, {1, 2});
  device->routeIs(route(1), groupRow(1));
  settle();
  Listener listener(plane.path());
  // From the bottom.
  device->nextHopDel(1);
  device->nextHopDel(2);
  device->groupDel(1);
  device->routeDel(route(1));
  settle();
  // A next hop that left a group would make it a new one, and a group that went a route.
  EXPECT_THAT(listener.heard(), ElementsAre(Pair(RTM_DELROUTE, 1U), Pair(RTM_DELNEXTHOP, 3U)));
}

// What is asked for, whatever came before, is what is there in the end.
struct Seed {
  unsigned number;
  std::size_t receiveBuffer;
  friend void PrintTo(Seed const& seed, std::ostream* out) {
    *out << seed.number << " with " << seed.receiveBuffer;
  }
};
class RandomChanges : public DeviceFixture, public testing::WithParamInterface<Seed> {
 protected:
  void SetUp() override {
    options.receiveBuffer = GetParam().receiveBuffer;
    DeviceFixture::SetUp();
  }
};

TEST_P(RandomChanges, EndAsAskedFor) {
  std::mt19937 random(GetParam().number);
  auto const upTo = [&](unsigned most) { return static_cast<unsigned>(random() % (most + 1)); };
  std::map<unsigned, unsigned> hops;                      // by row
  std::map<unsigned, std::vector<std::uint32_t>> groups;  // next-hop rows, by row
  std::map<unsigned, unsigned> routes;                    // group rows
  for (unsigned row = 0; row < 12; ++row) writeHop(row, hops[row] = row);
  for (unsigned step = 0; step < 400; ++step) {
    unsigned const row = upTo(29);
    switch (upTo(9)) {
      case 0:
      case 1:
        writeHop(row, hops[row] = upTo(300));
        break;
      case 2: {
        bool const isUsed = std::any_of(groups.begin(), groups.end(), [&](auto const& group) {
          return std::count(group.second.begin(), group.second.end(), row) > 0;
        });
        if (isUsed || hops.erase(row) == 0) break;
        device->nextHopDel(row);
        break;
      }
      case 3:
      case 4:
      case 5: {
        std::vector<std::uint32_t> members;
        for (unsigned left = 1 + upTo(5); left > 0; --left) {
          members.push_back(std::next(hops.begin(), upTo(unsigned(hops.size()) - 1))->first);
        }
        unsigned const group = row % 10;
        groups[group] = members;
        // One of two blocks, so that rows are rewritten under a group and not.
        unsigned const first = 40 * group + 20 * upTo(1);
        writeGroupOf(group, first, members);
        break;
      }
      case 6: {
        unsigned const group = row % 10;
        bool const isUsed = std::any_of(routes.begin(), routes.end(),
                                        [&](auto const& route) { return route.second == group; });
        if (isUsed || groups.erase(group) == 0) break;
        device->groupDel(group);
        break;
      }
      case 7:
        if (!groups.contains(row % 10)) break;
        device->routeIs(route(row), groupRow(routes[row] = row % 10));
        break;
      case 8:
        if (routes.erase(row) > 0) device->routeDel(route(row));
        break;
      default:
        if (upTo(3) == 0) device->recheck();
        device->runSlice(KernelDevice::Clock::now() + std::chrono::microseconds(upTo(100)));
    }
  }
  settle();
  auto const objects = plane.objects();
  EXPECT_EQ(objects.size(), hops.size() + groups.size());
  for (auto const& [row, n] : hops) {
    EXPECT_EQ(text(objects, id(nextHopRow(row))), gateway(n) + (n < 200 ? "@d0" : "@d1"));
  }
  for (auto const& [row, members] : groups) {
    std::vector<std::uint32_t> once;
    for (auto const member : members) {
      if (std::count(once.begin(), once.end(), member) == 0) once.push_back(member);
    }
    std::string expected;
    for (auto const member : once) {
      auto const weight = std::count(members.begin(), members.end(), member);
      expected += (expected.empty() ? "" : " ") + std::to_string(id(nextHopRow(member)));
      if (weight > 1) expected += "x" + std::to_string(weight);
    }
    EXPECT_EQ(text(objects, id(groupRow(row))), expected);
  }
  EXPECT_EQ(plane.json("route show proto 200").size(), routes.size());
  for (auto const& [n, group] : routes) {
    EXPECT_EQ(device->routeInForce(route(n)), groupRow(group));
  }
  EXPECT_EQ(device->counts().refused, 0U);
  if (GetParam().receiveBuffer == 2) {
    EXPECT_GT(device->counts().repeated, 0U);
  }
  EXPECT_EQ(device->routesInForce(), routes.size());
  EXPECT_EQ(device->nextHopsInForce(), hops.size());
  EXPECT_EQ(device->groupsInForce(), groups.size());
  // From the bottom once more: nothing is left.
  for (auto const& [row, n] : hops) device->nextHopDel(row);
  for (auto const& [row, members] : groups) device->groupDel(row);
  for (auto const& [n, group] : routes) device->routeDel(route(n));
  settle();
  EXPECT_THAT(plane.objects(), IsEmpty());
  EXPECT_EQ(device->routesInForce(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomChanges,
                         testing::Values(Seed{1, 0}, Seed{2, 0}, Seed{3, 0}, Seed{4, 0}, Seed{5, 2},
                                         Seed{6, 2}, Seed{7, 2}, Seed{8, 2}, Seed{9, 8192},
                                         Seed{10, 8192}));

}  // namespace
}  // namespace KernelNextHopTests
