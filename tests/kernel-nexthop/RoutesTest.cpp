// Routes are led by the ids of rows.
#include <gmock/gmock.h>

#include <cerrno>

#include "DeviceFixture.h"

namespace KernelNextHopTests {
namespace {

using testing::IsEmpty;

class Routes : public DeviceFixture {
 protected:
  void SetUp() override {
    DeviceFixture::SetUp();
    if (IsSkipped()) return;
    for (unsigned row = 1; row <= 4; ++row) writeHop(row, row);
    writeHop(kIngress + 1, 9);
    writeGroupOf(1, 10, {1, 2});
    writeGroupOf(2, 20, {3, 4});
    settle();
    answers.clear();
  }
  [[nodiscard]] std::string idText(Target const& target) const {
    return "nhid " + std::to_string(id(target));
  }
};

TEST_F(Routes, LeadToGroupsNextHopsAndNowhere) {
  device->routeIs(route(1), groupRow(1));
  device->routeIs(route(2), nextHopRow(kIngress + 1));
  device->routeIs(route(3), {});
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), "none");
  settle();
  ASSERT_EQ(routeAnswers.size(), 3U);
  for (auto const& [place, answer] : routeAnswers) {
    EXPECT_TRUE(answer.accepted);
    EXPECT_FALSE(answer.isDelete);
  }
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), idText(groupRow(1)));
  EXPECT_EQ(routeInKernel("192.0.2.0/24"), idText(nextHopRow(kIngress + 1)));
  EXPECT_EQ(routeInKernel("192.0.3.0/24"), "blackhole");
  EXPECT_EQ(device->routesInForce(), 3U);
  EXPECT_EQ(device->routeInForce(route(1)), groupRow(1));
  EXPECT_EQ(device->routeInForce(route(3)), Target{});
}

TEST_F(Routes, MoveInPlaceAndEnd) {
  for (Target const& target : {groupRow(1), Target{}, groupRow(2), nextHopRow(1)}) {
    device->routeIs(route(1), target);
    settle();
    EXPECT_EQ(routeInKernel("192.0.1.0/24"),
              target.kind == Target::Kind::blackhole ? "blackhole" : idText(target));
    EXPECT_EQ(device->routesInForce(), 1U);
  }
  routeAnswers.clear();
  device->routeDel(route(1));
  settle();
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), "none");
  ASSERT_EQ(routeAnswers.size(), 1U);
  EXPECT_TRUE(routeAnswers[0].second.isDelete);
  EXPECT_TRUE(routeAnswers[0].second.accepted);
  EXPECT_EQ(device->routesInForce(), 0U);
}

TEST_F(Routes, OfIPv6MoveInPlaceAndEnd) {
  for (Target const& target : {Target{}, Target{}, Target{}}) {
    device->routeIs(route6(1), target);
    settle();
  }
  EXPECT_EQ(plane.json("-6 route show proto 200").size(), 1U);
  // Without a metric the kernel gives it its own, and so does the device.
  Route named = route6(1);
  named.priority = 1024;
  EXPECT_EQ(device->routeInForce(named), Target{});
  device->routeDel(route6(1));
  settle();
  EXPECT_THAT(plane.json("-6 route show proto 200"), IsEmpty());
}

TEST_F(Routes, WaitForTheirTarget) {
  device->routeIs(route(1), groupRow(9));
  settle();
  EXPECT_THAT(routeAnswers, IsEmpty());
  EXPECT_FALSE(device->busy());
  writeGroupOf(9, 30, {1, 4});
  settle();
  ASSERT_EQ(routeAnswers.size(), 1U);
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), idText(groupRow(9)));
}

TEST_F(Routes, ThatWaitLeadWhereTheyLedBefore) {
  device->routeIs(route(1), groupRow(1));
  settle();
  device->routeIs(route(1), groupRow(9));
  settle();
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), idText(groupRow(1)));
  // Another mind: what they waited for does not bring them back.
  device->routeIs(route(1), groupRow(2));
  settle();
  writeGroupOf(9, 30, {1, 4});
  settle();
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), idText(groupRow(2)));
}

TEST_F(Routes, ThatWaitAndEndAreForgotten) {
  device->routeIs(route(1), groupRow(9));
  settle();
  device->routeDel(route(1));
  settle();
  ASSERT_EQ(routeAnswers.size(), 1U);
  EXPECT_TRUE(routeAnswers[0].second.isDelete);
  writeGroupOf(9, 30, {1, 4});
  settle();
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), "none");
}

TEST_F(Routes, KeepTheirObjectsUntilTheyMove) {
  device->routeIs(route(1), groupRow(1));
  settle();
  device->groupDel(1);
  device->nextHopDel(1);
  settle();
  EXPECT_EQ(inKernel(groupRow(1)), ids({1, 2}));
  device->routeIs(route(1), groupRow(2));
  settle();
  EXPECT_EQ(inKernel(groupRow(1)), "none");
  EXPECT_EQ(inKernel(nextHopRow(1)), "none");
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), idText(groupRow(2)));
}

TEST_F(Routes, OfOthersAreNeitherReplacedNorDeleted) {
  plane.run("ip route add 192.0.1.0/24 via 10.0.0.9 metric 20 proto 50");
  device->routeIs(route(1), groupRow(1));
  settle();
  ASSERT_EQ(routeAnswers.size(), 1U);
  EXPECT_FALSE(routeAnswers[0].second.accepted);
  EXPECT_EQ(routeAnswers[0].second.error, EEXIST);
  device->routeDel(route(1));
  settle();
  EXPECT_EQ(plane.json("route show proto 50").size(), 1U);
}

TEST_F(Routes, ThatWereRefusedCanBeTriedAgain) {
  plane.run("ip route add 192.0.1.0/24 via 10.0.0.9 metric 20 proto 50");
  device->routeIs(route(1), groupRow(1));
  settle();
  plane.run("ip route del 192.0.1.0/24");
  device->routeRetry(route(1));
  settle();
  ASSERT_EQ(routeAnswers.size(), 2U);
  EXPECT_TRUE(routeAnswers[1].second.accepted);
  device->routeRetry(route(1));
  EXPECT_FALSE(device->busy());
}

TEST_F(Routes, OfOtherMetricsAndTablesAreOthers) {
  Route other = route(1);
  other.table = 1000;
  device->routeIs(other, groupRow(1));
  device->routeIs(route(1, 20), groupRow(1));
  device->routeIs(route(1, 30), groupRow(2));
  settle();
  EXPECT_EQ(device->routesInForce(), 3U);
  device->routeDel(route(1, 30));
  device->routeDel(other);
  settle();
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), idText(groupRow(1)));
  EXPECT_THAT(plane.json("route show table 1000"), IsEmpty());
}

TEST_F(Routes, ToARowThatThereIsNotAreRefused) {
  device->routeIs(route(1), groupRow(100));
  settle();
  ASSERT_EQ(routeAnswers.size(), 1U);
  EXPECT_EQ(routeAnswers[0].second.error, ERANGE);
}

TEST_F(Routes, WrittenTwiceAreAnsweredForTheLatest) {
  device->routeIs(route(1), groupRow(1));
  device->routeIs(route(1), groupRow(2));
  settle();
  ASSERT_EQ(routeAnswers.size(), 1U);
  EXPECT_EQ(routeInKernel("192.0.1.0/24"), idText(groupRow(2)));
}

}  // namespace
}  // namespace KernelNextHopTests
