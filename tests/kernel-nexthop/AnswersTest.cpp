// Answers: one for each write, none from within it, none lost.
#include <gmock/gmock.h>

#include <stdexcept>

#include "DeviceFixture.h"

namespace KernelNextHopTests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Answers : public DeviceFixture {
 protected:
  // Sends, and reads the kernel's answers, but gives none to anyone.
  void sendOnly() {
    std::size_t const before = answers.size();
    while (device->counts().accepted + device->counts().refused == 0) {
      device->runSlice(KernelDevice::Clock::time_point::min());
    }
    EXPECT_EQ(answers.size(), before);
  }
};

TEST_F(Answers, ToAnOverwrittenWriteAreDropped) {
  writeHop(7, 3);
  sendOnly();
  writeHop(7, 4);
  settle();
  EXPECT_THAT(answers, ElementsAre("next hop 7: 1"));
  EXPECT_EQ(device->counts().overtaken, 1U);
  EXPECT_EQ(inKernel(nextHopRow(7)), gateway(4) + "@d0");
}

TEST_F(Answers, ToADeletedWriteAreDropped) {
  writeHop(7, 3);
  sendOnly();
  device->nextHopDel(7);
  settle();
  EXPECT_THAT(answers, IsEmpty());
  EXPECT_EQ(inKernel(nextHopRow(7)), "none");
}

TEST_F(Answers, AreOneForAWriteThatNeverWentOut) {
  writeHop(7, 3);
  writeHop(7, 400);
  writeHop(7, 5);
  settle();
  EXPECT_THAT(answers, ElementsAre("next hop 7: 1"));
  EXPECT_EQ(device->counts().requests, 1U);
}

TEST_F(Answers, ADeletionAndAWriteBeforeItGoesOutAreOneReplacement) {
  writeHop(7, 3);
  settle();
  auto const before = device->counts().requests;
  device->nextHopDel(7);
  writeHop(7, 4);
  settle();
  EXPECT_EQ(device->counts().requests, before + 1);
  EXPECT_THAT(answers, ElementsAre("next hop 7: 1", "next hop 7: 1"));
}

TEST_F(Answers, MayWriteOnAndOn) {
  onAnswer = [this, n = 0U]() mutable {
    if (++n < 50) writeHop(n % 5, n);
  };
  writeHop(0, 0);
  settle();
  EXPECT_EQ(answers.size(), 50U);
}

TEST_F(Answers, ThatThrowAreGoneAndTheOthersStay) {
  onAnswer = [this] {
    if (answers.size() == 2) throw std::runtime_error("no room");
  };
  for (unsigned row = 0; row < 4; ++row) writeHop(row, row);
  EXPECT_THROW(
      while (device->busy()) device->runSlice(KernelDevice::Clock::now() + std::chrono::seconds(1)),
      std::runtime_error);
  EXPECT_EQ(answers.size(), 2U);
  settle();
  EXPECT_EQ(answers.size(), 4U);
}

TEST_F(Answers, MayEndTheDevicesLastReference) {
  onAnswer = [this] { device = nullptr; };
  writeHop(1, 1);
  writeHop(2, 2);
  Vek::Ptr<KernelDevice> const alive = device;
  while (alive->busy()) {
    alive->runSlice(KernelDevice::Clock::now() + std::chrono::milliseconds(1));
  }
  EXPECT_EQ(answers.size(), 2U);
}

// The deletion is with the kernel, and its answer is behind so many others that it is read later.
TEST_F(Answers, OfWhatNeedsARowThatComesBackWaitForIt) {
  for (unsigned row = 1; row <= 2; ++row) writeHop(row, row);
  settle();
  for (unsigned row = 10; row < 60; ++row) writeHop(row, row);
  device->nextHopDel(2);
  device->runSlice(KernelDevice::Clock::time_point::min());
  EXPECT_EQ(inKernel(nextHopRow(2)), "none");
  EXPECT_TRUE(device->isInForce(nextHopRow(2)));
  writeHop(2, 5);
  writeGroupOf(3, 10, {1, 2});
  device->routeIs(route(1), nextHopRow(2));
  settle();
  EXPECT_THAT(answers, testing::IsSupersetOf({"next hop 2: 1", "group 3: 1"}));
  ASSERT_EQ(routeAnswers.size(), 1U);
  EXPECT_TRUE(routeAnswers[0].second.accepted);
  EXPECT_EQ(device->counts().refused, 0U);
}

// A receive buffer that has room for a few answers only.
class FullBuffer : public DeviceFixture {
 protected:
  void SetUp() override {
    options.receiveBuffer = 2;  // the least that the kernel gives
    DeviceFixture::SetUp();
  }
};

TEST_F(FullBuffer, LosesNoWriteAndNoAnswer) {
  for (unsigned row = 0; row < 390; ++row) writeHop(row, row);
  for (unsigned row = 390; row < 400; ++row) writeHop(row, 400);
  settle();
  EXPECT_GT(device->counts().overruns, 0U);
  EXPECT_GT(device->counts().repeated, 0U);
  EXPECT_EQ(answers.size(), 400U);
  EXPECT_EQ(device->nextHopsInForce(), 390U);
  auto const objects = plane.objects();
  EXPECT_EQ(objects.size(), 390U);
  for (unsigned row = 0; row < 390; ++row) {
    EXPECT_EQ(text(objects, kFirst + row), gateway(row) + (row < 200 ? "@d0" : "@d1"));
  }
}

TEST_F(FullBuffer, LosesNoGroupNoRouteAndNoDeletion) {
  for (unsigned row = 0; row < 100; ++row) writeHop(row, row);
  for (unsigned group = 0; group < 90; ++group) {
    writeGroupOf(group, 10 * group, {group, group + 1, group + 1});
    device->routeIs(route(group), groupRow(group));
  }
  settle();
  EXPECT_EQ(device->groupsInForce(), 90U);
  EXPECT_EQ(routeAnswers.size(), 90U);
  EXPECT_EQ(plane.json("route show proto 200").size(), 90U);
  for (unsigned group = 0; group < 90; ++group) {
    writeGroupOf(group, 10 * group, {group + 2, group + 1, group + 2});
    if (group % 2 == 0) device->routeDel(route(group));
  }
  settle();
  EXPECT_EQ(inKernel(groupRow(30)), fmt::format("{}x2 {}", kFirst + 32, kFirst + 31));
  for (unsigned group = 0; group < 90; ++group) {
    device->routeDel(route(group));
    device->groupDel(group);
  }
  for (unsigned row = 0; row < 100; ++row) device->nextHopDel(row);
  settle();
  EXPECT_THAT(plane.objects(), IsEmpty());
  EXPECT_THAT(plane.json("route show proto 200"), IsEmpty());
  EXPECT_GT(device->counts().overruns, 0U);
}

TEST_F(FullBuffer, TellsAnotherOnesRouteFromItsOwn) {
  for (unsigned row = 0; row < 4; ++row) writeHop(row, row);
  writeGroupOf(1, 10, {1, 2});
  settle();
  for (unsigned n = 0; n < 200; n += 2) {
    plane.run(fmt::format("ip route add 192.0.{}.0/24 via 10.0.0.9 metric 20 proto 50", n));
  }
  for (unsigned n = 0; n < 200; ++n) device->routeIs(route(n), groupRow(1));
  settle();
  ASSERT_EQ(routeAnswers.size(), 200U);
  for (auto const& [place, answer] : routeAnswers) {
    EXPECT_EQ(answer.accepted, place.prefix[2] % 2 == 1) << unsigned{place.prefix[2]};
  }
  EXPECT_GT(device->counts().overruns, 0U);
  EXPECT_EQ(plane.json("route show proto 50").size(), 100U);
  EXPECT_EQ(plane.json("route show proto 200").size(), 100U);
}

}  // namespace
}  // namespace KernelNextHopTests
