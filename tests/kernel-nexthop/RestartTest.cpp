// What the kernel holds from a process before.
#include <gmock/gmock.h>

#include "DeviceFixture.h"

namespace KernelNextHopTests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Restart : public DeviceFixture {
 protected:
  // Two next hops of a group with a route, and two ingress rows of which one has a route.
  void fill() {
    writeHop(1, 1);
    writeHop(2, 2);
    writeGroupOf(1, 10, {1, 2});
    writeHop(kIngress + 1, 11);
    writeHop(kIngress + 2, 12);
    device->routeIs(route(1), groupRow(1));
    device->routeIs(route(2), nextHopRow(kIngress + 1));
    settle();
    answers.clear();
    routeAnswers.clear();
  }
};

TEST_F(Restart, FindsWhatIsThereAndLeavesIt) {
  fill();
  auto const before = plane.objects();
  start();
  settle();
  EXPECT_EQ(device->counts().fromBefore, 7U);
  EXPECT_EQ(device->counts().requests, 0U);
  EXPECT_EQ(plane.objects(), before);
  EXPECT_EQ(device->routesInForce(), 2U);
}

TEST_F(Restart, OffersTheIngressRowsInOrder) {
  fill();
  start();
  std::vector<std::string> rows;
  device->ingressFromBefore([&](std::uint32_t row, NextHop const& nextHop) {
    rows.push_back(fmt::format("{} 10.0.{}.{} on {}", row, nextHop.gateway[2], nextHop.gateway[3],
                               nextHop.interface == d0 ? "d0" : "another"));
  });
  EXPECT_THAT(rows, ElementsAre("601 10.0.0.13 on d0", "602 10.0.0.14 on d0"));
}

TEST_F(Restart, ReleaseRemovesWhatNobodyTookBack) {
  fill();
  start();
  device->nextHopRestored(kIngress + 1, hop(11), tell("next hop", kIngress + 1));
  device->routeIs(route(2), nextHopRow(kIngress + 1));
  EXPECT_FALSE(device->isReleased());
  device->release();
  settle();
  EXPECT_EQ(plane.objects().size(), 1U);
  EXPECT_EQ(inKernel(nextHopRow(kIngress + 1)), gateway(11) + "@d0");
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), "none");
  EXPECT_EQ(routeInKernel("192.0.2.0/24"), "nhid " + std::to_string(kFirst + kIngress + 1));
  // It is as it was asked for: nothing was sent for it, and the route's asker was told.
  EXPECT_THAT(answers, IsEmpty());
  ASSERT_EQ(routeAnswers.size(), 1U);
}

TEST_F(Restart, ARestoredRowThatIsWrittenAgainIsReplaced) {
  fill();
  start();
  device->nextHopRestored(kIngress + 1, hop(11), tell("next hop", kIngress + 1));
  writeHop(kIngress + 1, 15);
  settle();
  EXPECT_EQ(inKernel(nextHopRow(kIngress + 1)), gateway(15) + "@d0");
  EXPECT_THAT(answers, ElementsAre("next hop 601: 1"));
}

TEST_F(Restart, TheEcmpTablesBeginAnewBesideWhatRoutesStillUse) {
  fill();
  std::uint32_t const oldGroup = id(groupRow(1));
  start();
  EXPECT_NE(id(groupRow(1)), oldGroup);
  EXPECT_EQ(device->groupsInForce(), 0U);
  // Row 1 means something else now.
  writeHop(1, 101);
  writeHop(2, 102);
  writeGroupOf(1, 10, {2, 1});
  settle();
  auto const between = plane.objects();
  EXPECT_EQ(text(between, oldGroup), fmt::format("{} {}", kFirst + 1, kFirst + 2));
  EXPECT_EQ(text(between, kFirst + 1), gateway(1) + "@d0");
  EXPECT_EQ(text(between, id(groupRow(1))), ids({2, 1}));
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), "nhid " + std::to_string(oldGroup));
  device->routeIs(route(1), groupRow(1));
  device->release();
  settle();
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), "nhid " + std::to_string(id(groupRow(1))));
  EXPECT_EQ(plane.objects().size(), 3U);
  // And back.
  start();
  EXPECT_EQ(id(groupRow(1)), oldGroup);
}

TEST_F(Restart, AKillInTheMiddleKeepsTheBankThatMoreRoutesUse) {
  fill();
  std::uint32_t const oldGroup = id(groupRow(1));
  device->routeIs(route(3), groupRow(1));
  settle();
  start();
  writeHop(1, 101);
  writeGroupOf(1, 10, {1});
  device->routeIs(route(1), groupRow(1));
  settle();
  start();
  // One route is led by the first bank, one by the second: the first is used now.
  device->routeIs(route(3), {});
  settle();
  start();
  EXPECT_EQ(id(groupRow(1)), oldGroup);
}

TEST_F(Restart, ClearingATableTakesItsObjectsOfBothBanksAndNoOthers) {
  fill();
  start();
  writeHop(1, 101);
  writeGroupOf(1, 10, {1});
  settle();
  device->groupsDel();
  device->membersDel();
  device->nextHopsDel(0, kIngress);
  settle();
  auto const objects = plane.objects();
  EXPECT_EQ(objects.size(), 2U);
  EXPECT_TRUE(objects.contains(kFirst + kIngress + 1));
  // The kernel takes the routes of an object with it, and the device knows.
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), "none");
  EXPECT_EQ(device->routesInForce(), 1U);
}

TEST_F(Restart, ARouteWhoseObjectWasClearedComesBackWithIt) {
  fill();
  device->groupsDel();
  settle();
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), "none");
  writeGroupOf(1, 20, {2, 1});
  settle();
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), "nhid " + std::to_string(id(groupRow(1))));
}

TEST_F(Restart, ObjectsOfOtherSizesMakeRoom) {
  fill();
  // What was the group's id is that of an ingress row now.
  options.sizes.nextHops = 1003;
  start();
  ASSERT_EQ(id(nextHopRow(1001)), kFirst + 1001);
  writeHop(1001, 5);
  settle();
  // The kernel replaces neither by the other, and the group still leads a route.
  EXPECT_THAT(answers, IsEmpty());
  device->release();
  settle();
  EXPECT_THAT(answers, ElementsAre("next hop 1001: 1"));
  EXPECT_EQ(inKernel(nextHopRow(1001)), gateway(5) + "@d0");
}

}  // namespace
}  // namespace KernelNextHopTests
