// What somebody else, or the kernel itself, took away comes back after a recheck.
#include <gmock/gmock.h>

#include "DeviceFixture.h"

namespace KernelNextHopTests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Recheck : public DeviceFixture {
 protected:
  void SetUp() override {
    DeviceFixture::SetUp();
    if (IsSkipped()) return;
    writeHop(1, 1);
    writeHop(2, 202);
    writeGroupOf(1, 10, {1, 2});
    writeGroupOf(2, 20, {2});
    device->routeIs(route(1), groupRow(1));
    device->routeIs(route(2), groupRow(2));
    settle();
    answers.clear();
    routeAnswers.clear();
  }
  void expectAllInForce() const {
    EXPECT_EQ(inKernel(nextHopRow(1)), gateway(1) + "@d0");
    EXPECT_EQ(inKernel(nextHopRow(2)), gateway(202) + "@d1");
    EXPECT_EQ(inKernel(groupRow(1)), ids({1, 2}));
    EXPECT_EQ(inKernel(groupRow(2)), ids({2}));
    EXPECT_EQ(routeInKernel("192.0.1.0/24"), "nhid " + std::to_string(id(groupRow(1))));
    EXPECT_EQ(routeInKernel("192.0.2.0/24"), "nhid " + std::to_string(id(groupRow(2))));
  }
};

TEST_F(Recheck, OfWhatIsAsItShouldBeSendsNothing) {
  auto const before = device->counts().requests;
  device->recheck();
  EXPECT_TRUE(device->busy());
  settle();
  EXPECT_EQ(device->counts().requests, before);
  EXPECT_THAT(answers, IsEmpty());
  EXPECT_THAT(routeAnswers, IsEmpty());
}

TEST_F(Recheck, BringsBackWhatWentWithALink) {
  plane.run("ip link set d1 down");
  EXPECT_EQ(inKernel(groupRow(1)), ids({1}));
  EXPECT_EQ(inKernel(groupRow(2)), "none");
  plane.linkUp(1);
  device->recheck();
  settle();
  expectAllInForce();
}

TEST_F(Recheck, TellsWhatIsGoneAndWhatIsBack) {
  plane.run("ip link set d1 down");
  device->recheck();
  settle();
  EXPECT_THAT(answers, testing::UnorderedElementsAre("next hop 2: 2", "group 1: 2", "group 2: 2"));
  EXPECT_EQ(device->refusal(nextHopRow(2)), "Nexthop device is not up");
  EXPECT_EQ(device->nextHopsInForce(), 1U);
  answers.clear();
  plane.linkUp(1);
  device->recheck();
  settle();
  EXPECT_THAT(answers, testing::UnorderedElementsAre("next hop 2: 1", "group 1: 1", "group 2: 1"));
  expectAllInForce();
}

TEST_F(Recheck, HappensWhenTheKernelHasLostWhatTheBooksHave) {
  plane.run("ip link set d1 down");
  plane.linkUp(1);
  // Nobody says so, but a group over the lost next hop is refused.
  writeGroupOf(3, 30, {2, 1});
  settle();
  EXPECT_THAT(answers, testing::Contains("group 3: 1"));
  EXPECT_EQ(inKernel(groupRow(3)), ids({2, 1}));
  expectAllInForce();
}

TEST_F(Recheck, FollowsAnInterfaceThatHasAnotherNumber) {
  plane.run("ip link del d1");
  plane.addLink(1);
  ASSERT_NE(plane.index("d1"), d1);
  d1 = plane.index("d1");
  device->recheck();
  settle();
  expectAllInForce();
}

TEST_F(Recheck, PutsRightWhatSomebodyElseChanged) {
  plane.run(fmt::format("ip nexthop replace id {} via 10.0.0.99 dev d0", id(nextHopRow(1))));
  plane.run(fmt::format("ip nexthop replace id {} group {}", id(groupRow(1)), id(nextHopRow(1))));
  plane.run(fmt::format("ip nexthop add id {} via 10.0.0.98 dev d0", id(nextHopRow(50))));
  plane.run("ip route del 192.0.2.0/24 proto 200");
  device->release();
  device->recheck();
  settle();
  expectAllInForce();
  // Its ids are the device's own.
  EXPECT_EQ(inKernel(nextHopRow(50)), "none");
}

TEST_F(Recheck, LooksForANextHopThatWasUnknown) {
  // Of two rows: hop 400 has no interface yet.
  writeHop(5, 400);
  settle();
  EXPECT_THAT(answers, ElementsAre("next hop 5: 2"));
  device->identitiesIs([this](Record const& record) {
    Record known = record;
    if (known.fields.destination == 400) known.fields.destination = 50;
    return identity(known);
  });
  device->recheck();
  settle();
  EXPECT_THAT(answers, ElementsAre("next hop 5: 2", "next hop 5: 1"));
  EXPECT_EQ(inKernel(nextHopRow(5)), gateway(50) + "@d0");
}

TEST_F(Recheck, WhileWritesGoOnMissesNone) {
  for (unsigned n = 0; n < 200; ++n) {
    writeHop(10 + n, n);
    if (n % 10 == 0) device->recheck();
    device->runSlice(KernelDevice::Clock::now());
  }
  settle();
  EXPECT_EQ(device->nextHopsInForce(), 202U);
  EXPECT_EQ(answers.size(), 200U);
}

}  // namespace
}  // namespace KernelNextHopTests
