// When a resynchronisation ends, and what is told of it until then.
#include <gtest/gtest.h>

#include "tests/serve/ControlFixture.h"
#include "tests/serve/LiveAgent.h"

namespace OrviaL3Agent::Testing {
namespace {

TEST(ResyncEnd, ComesForADaemonThatIsNeverSilentAsWell) {
  using Clock = std::chrono::steady_clock;
  ServeOptions options = checkedOptions();
  options.hold = std::chrono::milliseconds(100);
  auto const most = ServeOptions::kMostHolds * options.hold;
  LiveAgent live(options);
  Daemon first(live.port());
  live.say(first, announceRouted(1, 2, "10.0.0.1") + announceRouted(2, 2, "10.0.0.2"));
  live.hangUp(first);

  Clock::time_point const begin = Clock::now();
  Daemon second(live.port());
  live.say(second, announceRouted(1, 2, "10.0.0.1"));
  ASSERT_EQ(live.status().stale, 1U);
  Clock::time_point last = begin;
  Clock::duration longestGap{0};
  bool isSwept = false;
  while (!isSwept && Clock::now() - begin < 10 * most) {
    live.say(second, filler(1));
    longestGap = std::max(longestGap, Clock::now() - std::exchange(last, Clock::now()));
    isSwept = live.status().stale == 0;
    live.turnOnce();
  }
  EXPECT_TRUE(isSwept);
  // On a machine that has much else to do there may have been a silence.
  if (longestGap < options.hold / 2) {
    EXPECT_GE(Clock::now() - begin, most);
  }
  live.turnUntil([&] { return !live.status().resynchronising; });
  live.rest();
  EXPECT_EQ(live.status().swept, 1U);
  EXPECT_EQ(live.mapping().held().groups().size() + live.mapping().held().hops().size(), 0U);
  EXPECT_EQ(live.wrong(), "");
}

TEST(ResyncEnd, IsNotThereWhileAnythingIsStaleAlsoWithoutADaemon) {
  LiveAgent live(checkedOptions());
  {
    Daemon first(live.port());
    live.say(first, announceRouted(1, 2, "10.0.0.1"));
    EXPECT_FALSE(live.status().resynchronising);
    live.hangUp(first);
  }
  EXPECT_FALSE(live.status().resynchronising);
  {
    Daemon second(live.port());
    live.say(second, "");
    EXPECT_TRUE(live.status().resynchronising);
    live.hangUp(second);
  }
  EXPECT_EQ(live.status().stale, 1U);
  EXPECT_TRUE(live.status().resynchronising);
  // Nothing is stale any longer, and something is held.
  Daemon third(live.port());
  live.say(third, announceRouted(1, 2, "10.0.0.1"));
  EXPECT_EQ(live.status().stale, 0U);
  EXPECT_TRUE(live.status().resynchronising);
  live.sweep();
  EXPECT_FALSE(live.status().resynchronising);
}

class ResyncShown : public ControlFixture {
 protected:
  // Of the list and of the group by itself, which say the same.
  Json routesOfGroup(std::uint32_t number) {
    Json const listed = ask({"show", "groups"}).row("groups", number)["routes"];
    EXPECT_EQ(ask({"show", "group", std::to_string(number)}).object("group")["routes"], listed);
    return listed;
  }
};

TEST_F(ResyncShown, WhatIsHeldIsNoRouteOfAGroup) {
  start();
  // Group 1 has no route, group 2 one by its id.
  feed(announce(1, 2, "10.0.0.1") + announce(2, 3, "10.0.1.1") + announce(3, 4, "10.0.2.1") +
       announceGroup(10, {{1, 0}, {2, 0}}) + announceGroup(11, {{2, 0}, {3, 0}}) +
       announceRoute("10.2.0.0", 16, 11));
  EXPECT_EQ(routesOfGroup(1), 0);
  EXPECT_EQ(routesOfGroup(2), 0);
  agent->mark();
  while (!agent->markSlice(Deadline(std::chrono::milliseconds(1)))) {
  }
  EXPECT_EQ(routesOfGroup(1), 0);
  // The route has no id any longer, and is still led over the group.
  EXPECT_EQ(routesOfGroup(2), 1);
  feed(announce(2, 3, "10.0.1.1") + announce(3, 4, "10.0.2.1") +
       announceGroup(11, {{2, 0}, {3, 0}}) + announceRoute("10.2.0.0", 16, 11));
  EXPECT_EQ(routesOfGroup(1), 0);
  EXPECT_EQ(routesOfGroup(2), 0);
}

}  // namespace
}  // namespace OrviaL3Agent::Testing
