// How long the loop listens to nobody: the longest turn while a large network is announced, marked,
// announced again and removed.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <iostream>
#include <string>

#include "tests/serve/LiveAgent.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using Milliseconds = std::chrono::duration<double, std::milli>;

// The full size where the optimiser has been at work.
#if defined(NDEBUG) && !defined(__SANITIZE_ADDRESS__)
constexpr std::uint32_t kIds = 100000;
#else
constexpr std::uint32_t kIds = 5000;
#endif
constexpr std::uint32_t kIdentities = kIds / 2;
constexpr std::uint32_t kGroups = kIds / 10;
constexpr std::uint32_t kRoutes = kIds;
constexpr std::uint32_t kInterfaces = 32;
// Next hops that groups are made of.
constexpr std::uint32_t kMembers = 64;

std::string gatewayOf(std::uint32_t number) {
  return "10." + std::to_string(number >> 16U) + "." + std::to_string(number >> 8U & 0xFFU) + "." +
         std::to_string(number & 0xFFU);
}

Bytes network() {
  Bytes stream;
  for (std::uint32_t i = 0; i < kIds; ++i) {
    std::uint32_t const identity = i % kIdentities;
    stream += announce(1 + i, 1 + identity % kInterfaces, gatewayOf(identity).c_str());
  }
  for (std::uint32_t i = 0; i < kGroups; ++i) {
    // No two groups have the same members.
    std::uint32_t const first = i % kMembers;
    std::uint32_t const step = 1 + i / kMembers % 63;
    std::uint32_t const weight = i / kMembers / 63;
    stream += announceGroup(kIds + 1 + i, {{1 + first, static_cast<std::uint8_t>(weight)},
                                           {1 + (first + step) % kMembers, 0},
                                           {1 + kMembers + i % kMembers, 1}});
  }
  for (std::uint32_t i = 0; i < kRoutes; ++i) {
    std::string const destination = "11." + std::to_string(i >> 16U) + "." +
                                    std::to_string(i >> 8U & 0xFFU) + "." +
                                    std::to_string(i & 0xFFU);
    std::uint32_t const id = i % 2 == 0 ? 1 + i : kIds + 1 + i / 2 % kGroups;
    stream += announceRoute(destination.c_str(), 32, id);
  }
  return stream;
}

// What happened since the last call, as a line of figures. Returns the milliseconds.
double longestTurn(LiveAgent& live, char const* what) {
  static auto begin = std::chrono::steady_clock::now();
  auto const now = std::chrono::steady_clock::now();
  LoopTimes& times = live.agent().loopTimes();
  double const longest = Milliseconds(times.longest()).count();
  double const busy = Milliseconds(live.takeLongestTurn()).count();
  ::testing::Test::RecordProperty(std::string("longest turn ") + what, std::to_string(longest));
  std::cout << "  " << what << ": longest turn " << longest << " ms, of the processor's time "
            << busy << " ms; all in " << Milliseconds(now - begin).count() << " ms\n";
  times.longestDel();
  begin = now;
  return longest;
}

TEST(Stall, IsShortWhateverTheSizeOfTheNetwork) {
  ServeOptions options;
  options.listen.port = 0;
  // Longer than anything takes between two messages here.
  options.hold = std::chrono::seconds(3);
  options.rows = 65536;
  options.ecmpRows = 8192;
  LiveAgent live(options);
  Bytes const stream = network();
  std::cout << "  " << kIds << " next-hop ids, " << kGroups << " groups, " << kRoutes << " routes, "
            << stream.size() << " bytes\n";
  (void)longestTurn(live, "before");

  Daemon first(live.port());
  live.say(first, stream);
  // Generous: whatever else the machine does in the middle of a turn is a part of it.
  constexpr double kMost = 2000;
  EXPECT_LT(longestTurn(live, "announced"), kMost);
  EXPECT_EQ(live.mapping().routes().routes().size(), kRoutes);
  std::uint64_t const rows = live.agent().hardware().rowsInForce();
  EXPECT_GT(rows, kIdentities / 2);
  EXPECT_EQ(live.mapping().groups().groups().size(), kGroups);
  std::uint64_t const calls = live.agent().hardware().calls();
  live.hangUp(first);

  Daemon second(live.port());
  live.turnUntil([&] { return live.status().connections == 2; });
  live.turnUntil([&] { return live.status().stale == kRoutes; });
  live.rest();
  EXPECT_LT(longestTurn(live, "marked"), kMost);
  live.say(second, stream);
  EXPECT_LT(longestTurn(live, "announced again"), kMost);
  EXPECT_EQ(live.agent().hardware().calls(), calls);
  EXPECT_EQ(live.status().stale, 0U);
  live.turnUntil([&] { return !live.status().resynchronising; });
  EXPECT_LT(longestTurn(live, "nothing to sweep"), kMost);
  EXPECT_EQ(live.agent().hardware().calls(), calls);
  live.hangUp(second);

  Daemon third(live.port());
  live.say(third, announce(1, 1, gatewayOf(0).c_str()));
  (void)longestTurn(live, "marked once more");
  live.turnUntil([&] { return !live.status().resynchronising; });
  live.rest();
  EXPECT_LT(longestTurn(live, "swept"), kMost);
  EXPECT_EQ(live.status().swept, kRoutes);
  EXPECT_EQ(live.agent().hardware().rowsInForce(), 0U);
}

}  // namespace
}  // namespace OrviaL3Agent
