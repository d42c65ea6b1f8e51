// How long the loop listens to nobody: the longest turn while a large network is announced, marked,
// announced again and removed, and while one thing changes that very many have in common.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

#include "tests/serve/LiveAgent.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using Milliseconds = std::chrono::duration<double, std::milli>;

// The full size takes a minute of an optimised build, and is for whoever asks for it.
bool const kIsFull = std::getenv("ORVIA_FULL_SIZE") != nullptr;
std::uint32_t const kIds = kIsFull ? 100000 : 5000;
std::uint32_t const kIdentities = kIds / 2;
std::uint32_t const kGroups = kIds / 10;
std::uint32_t const kRoutes = kIds;
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

// Everything that one message, or one word of an operator, does to many.
class StallOfOne : public ::testing::Test {
 protected:
  inline static std::uint32_t const kManyRoutes = kIsFull ? 200000 : 4000;
  inline static std::uint32_t const kManyGroups = kIsFull ? 3000 : 300;
  inline static std::uint32_t const kManyHops = kIsFull ? 20000 : 1000;
  // What is worked off within a slice time a turn takes many turns; at once, it would take a few.
  static constexpr std::uint64_t kFewTurns = 10;

  static ServeOptions options() {
    ServeOptions options;
    options.listen.port = 0;
    options.hold = std::chrono::hours(1);
    options.rows = 65536;
    options.ecmpRows = 32768;
    options.verify = true;
    return options;
  }

  StallOfOne() : live_(options()), daemon_(live_.port()) {
    // So that the smaller size takes more than a few slices.
    if (!kIsFull) live_.agent().mapping().sliceTimeIs(std::chrono::microseconds(5));
    live_.turnUntil([this] { return live_.status().peer.has_value(); });
  }

  [[nodiscard]] static std::string routeNumber(std::uint32_t i) {
    return "11." + std::to_string(i >> 16U) + "." + std::to_string(i >> 8U & 0xFFU) + "." +
           std::to_string(i & 0xFFU);
  }
  [[nodiscard]] static Bytes routes(std::uint32_t id) {
    Bytes stream;
    for (std::uint32_t i = 0; i < kManyRoutes; ++i) {
      stream += announceRoute(routeNumber(i).c_str(), 32, id);
    }
    return stream;
  }
  // Groups that share the next hop 1 on interface 1, and next hops of their own on interface 2,
  // each with a route.
  [[nodiscard]] static Bytes groups() {
    Bytes stream = announce(1, 1, "10.255.0.1");
    for (std::uint32_t i = 0; i < kManyGroups; ++i) {
      stream += announce(10 + i, 2, gatewayOf(i).c_str());
      stream += announceGroup(100000 + i, {{1, 0}, {10 + i, 0}});
      stream += announceRoute(routeNumber(i).c_str(), 32, 100000 + i);
    }
    return stream;
  }

  void say(Bytes const& stream) { live_.say(daemon_, stream); }
  // Forgets the turns so far.
  void begin() {
    live_.rest();
    (void)longestTurn(live_, "before that");
    turns_ = live_.agent().loopTimes().turns();
  }
  // It took its time, and never long.
  void expectSliced(char const* what) {
    EXPECT_LT(longestTurn(live_, what), 2000) << what;
    EXPECT_GT(live_.agent().loopTimes().turns() - turns_, kFewTurns) << what;
    Differences const differences = live_.agent().differences();
    EXPECT_TRUE(differences.empty()) << text(differences);
    begin();
  }
  [[nodiscard]] Mapping const& mapping() const { return live_.mapping(); }
  [[nodiscard]] std::size_t routesOver(Identity const& identity) const {
    std::size_t count = 0;
    for (auto const& [key, route] : mapping().routes().routes()) {
      if (route.way.hop && route.way.hop->identity == identity) ++count;
    }
    return count;
  }

  LiveAgent live_;
  Daemon daemon_;
  std::uint64_t turns_ = 0;
};

TEST_F(StallOfOne, IsShortWhenAnIdOfManyRoutesChanges) {
  say(announce(1, 1, "10.0.0.1") + announce(2, 2, "10.0.0.2"));
  say(routes(7));
  begin();
  say(announce(7, 1, "10.0.1.1"));
  EXPECT_EQ(routesOver(via(1, "10.0.1.1")), kManyRoutes);
  expectSliced("an id of many routes is announced");
  say(announce(7, 2, "10.0.1.2"));
  EXPECT_EQ(routesOver(via(2, "10.0.1.2")), kManyRoutes);
  EXPECT_EQ(mapping().ingress().hops().size(), 1U);
  expectSliced("and is another next hop");
  say(announceGroup(7, {{1, 0}, {2, 0}}));
  EXPECT_EQ(mapping().groups().groups().size(), 1U);
  EXPECT_EQ(mapping().ingress().hops().size(), 0U);
  expectSliced("and is a group");
  say(announce(7, 1, "10.0.1.1"));
  EXPECT_EQ(routesOver(via(1, "10.0.1.1")), kManyRoutes);
  EXPECT_EQ(mapping().groups().groups().size(), 0U);
  expectSliced("and is a next hop again");
  say(announceBlackhole(7));
  EXPECT_EQ(mapping().ingress().hops().size(), 0U);
  expectSliced("and drops");
}

TEST_F(StallOfOne, IsShortWhenTheHardwareAcceptsWhatManyRoutesWaitFor) {
  say(announce(7, 1, "10.0.1.1"));
  say(routes(7));
  // All routes are told before the answer comes, and none can leave its former way.
  SoftAsic::FaultProfile silent;
  silent.loseAnswerEvery = 1;
  live_.agent().hardware().device().faultIs(SoftAsic::TableId::ingressNextHops, silent);
  say(announce(7, 2, "10.0.1.2"));
  EXPECT_EQ(mapping().ingress().hops().size(), 2U);
  live_.agent().hardware().device().faultsDel();
  begin();
  live_.agent().mapping().retry(true);
  live_.rest();
  EXPECT_EQ(mapping().ingress().hops().size(), 1U);
  expectSliced("what many routes wait for is accepted");
}

TEST_F(StallOfOne, IsShortWhenANextHopOfManyGroupsChanges) {
  say(groups());
  ASSERT_EQ(mapping().groups().groups().size(), kManyGroups);
  begin();
  std::uint64_t const swaps = mapping().groups().counts().swaps;
  say(announce(1, 3, "10.255.0.3"));
  EXPECT_EQ(mapping().groups().counts().swaps, swaps + kManyGroups);
  expectSliced("a next hop of many groups changes");
}

TEST_F(StallOfOne, IsShortWhenAnInterfaceOfManyGroupsAndNextHopsFails) {
  Bytes stream = groups();
  for (std::uint32_t i = 0; i < kManyHops; ++i) {
    stream += announce(200000 + i, 1, gatewayOf(100000 + i).c_str());
    stream += announceRoute(routeNumber(100000 + i).c_str(), 32, 200000 + i);
  }
  say(stream);
  ASSERT_EQ(mapping().ingress().hops().size(), kManyHops);
  begin();
  live_.agent().mapping().interfaceIs(1, false);
  live_.rest();
  EXPECT_EQ(mapping().groups().counts().repairs, kManyGroups);
  expectSliced("an interface of many groups fails");
  live_.agent().mapping().interfaceIs(1, true);
  live_.rest();
  EXPECT_EQ(mapping().groups().counts().restores, kManyGroups);
  expectSliced("and returns");
}

TEST_F(StallOfOne, IsShortWhenManyNextHopsAreRefusedAndRowsComeFree) {
  Bytes stream;
  for (std::uint32_t i = 0; i < kManyHops; ++i) {
    stream += announce(200000 + i, 1, gatewayOf(100000 + i).c_str());
    stream += announceRoute(routeNumber(100000 + i).c_str(), 32, 200000 + i);
  }
  say(announce(7, 1, "10.0.1.1") + announceRoute("12.0.0.0", 24, 7) + announce(8, 1, "10.0.1.2") +
      announceRoute("12.0.1.0", 24, 8));
  SoftAsic::FaultProfile refuses;
  refuses.refuseEvery = 1;
  live_.agent().hardware().device().faultIs(SoftAsic::TableId::ingressNextHops, refuses);
  say(stream);
  begin();
  std::uint64_t const retried = mapping().ingress().counts().retried;
  say(withdrawRoute("12.0.0.0", 24));
  EXPECT_EQ(mapping().ingress().counts().retried, retried + kManyHops);
  EXPECT_LT(longestTurn(live_, "many refused next hops are tried again"), 2000);
  live_.agent().hardware().device().faultsDel();
  begin();
  say(withdrawRoute("12.0.1.0", 24));
  expectSliced("and accepted");
  EXPECT_EQ(live_.agent().hardware().rowsInForce(), kManyHops);
}

}  // namespace
}  // namespace OrviaL3Agent
