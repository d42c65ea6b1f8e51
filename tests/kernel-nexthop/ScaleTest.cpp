// Many rows: every one in the kernel, in few sends, in a bounded time.
#include <gmock/gmock.h>

#include "DeviceFixture.h"
#include "Listener.h"

namespace KernelNextHopTests {
namespace {

class Scale : public DeviceFixture {
 protected:
  void SetUp() override {
    DeviceFixture::SetUp();
    if (IsSkipped()) return;
    options.sizes = {.nextHops = 20000, .ecmpNextHops = 15000, .members = 40000, .groups = 2000};
    start();
  }
  std::optional<NextHop> identity(Record const& record) override {
    unsigned const n = record.fields.destination;
    NextHop nextHop{AF_INET, n % 2 == 0 ? d0 : d1, true, {10, 0}, false};
    nextHop.gateway[2] = static_cast<std::uint8_t>(1 + n / 250);
    nextHop.gateway[3] = static_cast<std::uint8_t>(1 + n % 250);
    return nextHop;
  }
};

TEST_F(Scale, TenThousandNextHopsAndAThousandGroups) {
  constexpr unsigned kHops = 10000, kGroups = 1000, kWidth = 16;
  for (unsigned row = 0; row < kHops; ++row) writeHop(row, row);
  auto const members = [](unsigned group, unsigned shift) {
    std::vector<std::uint32_t> rows;
    for (unsigned i = 0; i < kWidth; ++i) rows.push_back((group * kWidth + i + shift) % kHops);
    return rows;
  };
  for (unsigned group = 0; group < kGroups; ++group) {
    writeGroupOf(group, group * kWidth, members(group, 0));
    device->routeIs(route(group), groupRow(group));
  }
  settle();
  EXPECT_EQ(answers.size(), kHops + kGroups);
  EXPECT_EQ(routeAnswers.size(), kGroups);
  EXPECT_EQ(device->counts().refused, 0U);
  EXPECT_EQ(device->counts().overruns, 0U);
  EXPECT_EQ(device->counts().requests, kHops + 2 * kGroups);
  EXPECT_LE(device->counts().sends, (kHops + 2 * kGroups) / 30);
  EXPECT_EQ(device->nextHopsInForce(), kHops);
  EXPECT_EQ(device->groupsInForce(), kGroups);
  EXPECT_EQ(device->routesInForce(), kGroups);
  auto const objects = plane.objects();
  EXPECT_EQ(objects.size(), kHops + kGroups);
  EXPECT_EQ(text(objects, id(groupRow(777))), ids(members(777, 0)));
  EXPECT_EQ(plane.json("route show proto 200").size(), kGroups);
  // All groups change, and nothing is deleted.
  Listener listener(plane.path());
  for (unsigned group = 0; group < kGroups; ++group) {
    writeGroupOf(group, 20000 + group * kWidth, members(group, 1));
  }
  settle();
  EXPECT_EQ(inKernel(groupRow(999)), ids(members(999, 1)));
  auto const heard = listener.heard();
  EXPECT_FALSE(heard.contains(RTM_DELNEXTHOP));
  EXPECT_FALSE(heard.contains(RTM_DELROUTE));
  // A process that finds them begins beside them, and removes what nobody takes back.
  start();
  EXPECT_EQ(device->counts().fromBefore, kHops + 2 * kGroups);
  device->release();
  settle();
  EXPECT_TRUE(plane.objects().empty());
  EXPECT_TRUE(plane.json("route show proto 200").empty());
}

TEST_F(Scale, ASliceEndsInTime) {
  for (unsigned row = 0; row < 10000; ++row) writeHop(row, row);
  unsigned slices = 0;
  KernelDevice::Clock::duration longest{};
  while (device->busy()) {
    auto const begin = KernelDevice::Clock::now();
    device->runSlice(begin + std::chrono::milliseconds(1));
    longest = std::max(longest, KernelDevice::Clock::now() - begin);
    ++slices;
  }
  EXPECT_EQ(answers.size(), 10000U);
  EXPECT_GT(slices, 3U);
  // A batch more than the time it has, on a machine that does other things as well.
  EXPECT_LT(longest, std::chrono::milliseconds(250));
}

}  // namespace
}  // namespace KernelNextHopTests
