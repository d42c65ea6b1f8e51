// What a new connection of the routing daemon does to what was there: nothing, for all that is said
// again, and removal for what is not.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/serve/LiveAgent.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

// Frames that a daemon says, to be said again in any order.
using Frames = std::vector<Bytes>;

Bytes joined(Frames const& frames) {
  Bytes all;
  for (Bytes const& frame : frames) all += frame;
  return all;
}

// A bit of everything: a routed next hop, an IPv6 one, a shared and a weighted group, routes with
// paths of their own, one that drops, and next hops and a group that no route uses.
Frames world() {
  return {announce(1, 2, "10.0.0.1"),
          announce(2, 3, "10.0.1.1"),
          announce(3, 4, "10.0.2.1"),
          announce(4, 4, "fe80::1"),
          announce(5, 5),
          announceBlackhole(6),
          announceGroup(10, {{1, 0}, {2, 0}}),
          announceGroup(11, {{1, 0}, {2, 2}, {3, 0}}),
          announceGroup(12, {{2, 0}, {3, 0}}),
          announceRoute("10.1.0.0", 16, 1),
          announceRoute("10.2.0.0", 16, 10),
          announceRoute("10.3.0.0", 16, 10),
          announceRoute("10.4.0.0", 16, 11),
          announceRoute("10.5.0.0", 16, 6),
          announceRoute("2001:db8::", 32, 4),
          announceRoute("10.6.0.0", 16, routeByPath(2, "10.0.0.1")),
          announceRoute("10.7.0.0", 16, routeByPaths({{2, "10.0.0.1"}, {3, "10.0.1.1"}})),
          announceRoute("10.8.0.0", 16, routeByPaths({{4, "10.0.2.1", 1}, {3, "10.0.1.1"}}))};
}

TEST(Resync, WritesNothingForWhatIsSaidAgainInAnyOrder) {
  LiveAgent live(checkedOptions());
  {
    Daemon daemon(live.port());
    live.say(daemon, joined(world()));
    live.hangUp(daemon);
  }
  ASSERT_EQ(live.wrong(), "");
  std::string const routes = routesText(live.mapping());
  std::size_t const calls = live.calls();
  ASSERT_GT(calls, 10U);

  std::mt19937 random(1);
  for (int round = 0; round < 20; ++round) {
    Frames frames = world();
    if (round == 1) std::reverse(frames.begin(), frames.end());
    if (round > 1) std::shuffle(frames.begin(), frames.end(), random);
    Daemon daemon(live.port());
    live.say(daemon, joined(frames));
    EXPECT_EQ(live.status().stale, 0U);
    live.sweep();
    EXPECT_EQ(live.callsFrom(calls), "") << "round " << round;
    EXPECT_EQ(routesText(live.mapping()), routes);
    EXPECT_EQ(live.wrong(), "");
    live.hangUp(daemon);
  }
  EXPECT_EQ(live.status().swept, 0U);
  EXPECT_EQ(live.mapping().routes().counts().announced, 9U);
  EXPECT_EQ(live.mapping().routes().counts().repeated, 20 * 9U);
}

TEST(Resync, KeepsEverythingUntilTheSweepAndRemovesWhatWasNotSaidAgain) {
  LiveAgent live(checkedOptions());
  Daemon first(live.port());
  live.say(first, joined(world()));
  live.hangUp(first);
  std::size_t const calls = live.calls();

  Daemon second(live.port());
  live.say(second, announce(1, 2, "10.0.0.1") + announceRoute("10.1.0.0", 16, 1));
  EXPECT_EQ(live.callsFrom(calls), "");
  EXPECT_EQ(live.wrong(), "");
  EXPECT_EQ(live.status().stale, 8U);
  EXPECT_EQ(live.state("10.1.0.1"), Routes::State::forwarded);
  EXPECT_EQ(live.state("10.2.0.1"), Routes::State::formerWay);
  EXPECT_EQ(live.state("2001:db8::1"), Routes::State::formerWay);

  live.sweep();
  EXPECT_EQ(live.status().stale, 0U);
  EXPECT_EQ(live.status().swept, 8U);
  EXPECT_EQ(live.mapping().routes().routes().size(), 1U);
  EXPECT_EQ(live.mapping().groups().groups().size(), 0U);
  EXPECT_EQ(live.mapping().ecmp().hops().size(), 0U);
  EXPECT_EQ(live.mapping().ingress().hops().size(), 1U);
  EXPECT_EQ(live.agent().hardware().rowsInForce(), 1U);
  EXPECT_EQ(live.wrong(), "");
}

TEST(Resync, RemovesFromTheTop) {
  LiveAgent live(checkedOptions());
  Daemon first(live.port());
  live.say(first, joined(world()));
  live.hangUp(first);
  std::size_t const calls = live.calls();
  Daemon second(live.port());
  live.say(second, "");
  live.sweep();
  EXPECT_EQ(live.agent().hardware().rowsInForce(), 0U);
  // All groups go before the first next hop of a route does.
  auto const& journal = live.agent().journal().value().calls();
  std::size_t lastGroup = 0;
  std::size_t firstHop = journal.size();
  for (std::size_t i = calls; i < journal.size(); ++i) {
    EXPECT_EQ(journal[i].kind, SoftAsic::Call::Kind::remove) << text(journal[i]);
    if (journal[i].table == SoftAsic::TableId::groups) lastGroup = i;
    if (journal[i].table == SoftAsic::TableId::ingressNextHops) firstHop = std::min(firstHop, i);
  }
  EXPECT_GT(lastGroup, 0U);
  EXPECT_LT(lastGroup, firstHop);
}

TEST(Resync, KnowsIdsByWhatTheyAreNowWhenTheDaemonWasRestarted) {
  LiveAgent live(checkedOptions());
  Daemon first(live.port());
  live.say(first, announce(1, 2, "10.0.0.1") + announce(2, 3, "10.0.1.1") +
                      announceGroup(3, {{1, 0}, {2, 0}}) + announceRoute("10.1.0.0", 16, 1) +
                      announceRoute("10.2.0.0", 16, 3));
  live.hangUp(first);
  std::size_t const calls = live.calls();

  // The same things under numbers that meant others.
  Daemon second(live.port());
  live.say(second, announce(3, 2, "10.0.0.1") + announce(1, 3, "10.0.1.1") +
                       announceGroup(2, {{1, 0}, {3, 0}}));
  EXPECT_EQ(live.callsFrom(calls), "") << "routes of before changed with the ids";
  EXPECT_EQ(live.status().stale, 2U);
  live.say(second, announceRoute("10.1.0.0", 16, 3) + announceRoute("10.2.0.0", 16, 2));
  live.sweep();
  EXPECT_EQ(live.callsFrom(calls), "");
  EXPECT_EQ(live.wrong(), "");
  EXPECT_EQ(live.state("10.1.0.1"), Routes::State::forwarded);
  EXPECT_EQ(live.state("10.2.0.1"), Routes::State::forwarded);
}

TEST(Resync, MovesARouteThatIsSaidAgainWithAnotherWay) {
  LiveAgent live(checkedOptions());
  Daemon first(live.port());
  live.say(first, announceRouted(1, 2, "10.0.0.1"));
  live.hangUp(first);
  Daemon second(live.port());
  // Its id is unknown yet.
  live.say(second, routeTo(1));
  EXPECT_EQ(live.state("10.0.1.1"), Routes::State::formerWay);
  EXPECT_EQ(live.wrong(), "");
  live.say(second, announce(1, 3, "10.0.1.1"));
  EXPECT_EQ(live.state("10.0.1.1"), Routes::State::forwarded);
  live.sweep();
  EXPECT_EQ(live.mapping().ingress().hops().size(), 1U);
  EXPECT_EQ(live.mapping().ingress().hops().begin()->first, via(3, "10.0.1.1"));
  EXPECT_EQ(live.wrong(), "");
}

TEST(Resync, TakesTheWithdrawalOfWhatIsStale) {
  LiveAgent live(checkedOptions());
  Daemon first(live.port());
  live.say(first, announceRouted(1, 2, "10.0.0.1") + announceRouted(2, 2, "10.0.0.2"));
  live.hangUp(first);
  Daemon second(live.port());
  live.say(second, withdrawRouteTo(1) + withdraw(1));
  EXPECT_EQ(live.status().stale, 1U);
  EXPECT_EQ(live.mapping().routes().counts().withdrawn, 1U);
  EXPECT_EQ(live.agent().streamCounts().unknownWithdrawals, 1U);
  EXPECT_EQ(live.wrong(), "");
  live.sweep();
  EXPECT_EQ(live.status().swept, 1U);
  EXPECT_EQ(live.agent().hardware().rowsInForce(), 0U);
}

TEST(Resync, KeepsWhatIsStaleOverSeveralConnections) {
  LiveAgent live(checkedOptions());
  Daemon first(live.port());
  live.say(first, joined(world()));
  live.hangUp(first);
  std::size_t const calls = live.calls();
  for (int i = 0; i < 5; ++i) {
    Daemon daemon(live.port());
    // Each says something else again, and a part of it as something else.
    live.say(daemon, announce(1, 2, "10.0.0.1") + announce(2, 3, "10.0.1.1") +
                         (i % 2 == 0 ? announceGroup(3, {{1, 0}, {2, 0}}) : Bytes()) +
                         announceRoute("10.2.0.0", 16, i % 2 == 0 ? 3 : 1));
    EXPECT_EQ(live.wrong(), "");
    live.hangUp(daemon);
  }
  EXPECT_EQ(live.callsFrom(calls), "");
  Daemon last(live.port());
  live.say(last, joined(world()));
  EXPECT_EQ(live.status().stale, 0U);
  live.sweep();
  EXPECT_EQ(live.callsFrom(calls), "");
  EXPECT_EQ(live.wrong(), "");
}

TEST(Resync, EndsWithWhatIsThereWhenTheAgentEndsInTheMiddle) {
  ServeOptions const options = checkedOptions();
  {
    LiveAgent live(options);
    Daemon first(live.port());
    live.say(first, joined(world()));
    live.hangUp(first);
    Daemon second(live.port());
    live.say(second, announce(1, 9, "10.9.9.9") + announceRoute("10.1.0.0", 16, 1));
    EXPECT_GT(live.status().stale, 0U);
  }
  EXPECT_EQ(Vek::vekLiveObjects("OrviaL3Agent::RowKey"), 0U);
  EXPECT_EQ(Vek::vekLiveObjects("OrviaL3Agent::StandInTable::Entry"), 0U);
}

TEST(Resync, GoesOnWithoutThePathsOverAnInterfaceThatIsDown) {
  LiveAgent live(checkedOptions());
  Daemon first(live.port());
  live.say(first, joined(world()));
  live.agent().mapping().interfaceIs(3, false);
  live.rest();
  live.hangUp(first);
  std::size_t const calls = live.calls();
  Daemon second(live.port());
  live.say(second, joined(world()));
  live.sweep();
  EXPECT_EQ(live.callsFrom(calls), "");
  EXPECT_TRUE(live.mapping().groups().downInterfaces().contains(3));
  EXPECT_EQ(live.wrong(), "");
}

TEST(Resync, SweepsByItselfWhenTheConnectionIsSilentForTheHoldTime) {
  ServeOptions options = checkedOptions();
  options.hold = std::chrono::milliseconds(300);
  LiveAgent live(options);
  Daemon first(live.port());
  live.say(first, announceRouted(1, 2, "10.0.0.1") + announceRouted(2, 2, "10.0.0.2"));
  live.hangUp(first);
  // Nobody is connected: nothing is removed.
  auto const until = std::chrono::steady_clock::now() + 2 * options.hold;
  live.turnUntil([&] { return std::chrono::steady_clock::now() > until; });
  EXPECT_EQ(live.mapping().routes().routes().size(), 2U);

  Daemon second(live.port());
  live.say(second, announceRouted(1, 2, "10.0.0.1"));
  EXPECT_TRUE(live.status().resynchronising);
  // Any message makes it wait anew.
  auto const begin = std::chrono::steady_clock::now();
  for (int i = 0; i < 4; ++i) {
    std::this_thread::sleep_for(options.hold / 3);
    live.say(second, filler(1));
  }
  if (std::chrono::steady_clock::now() - begin < 4 * options.hold) {
    EXPECT_EQ(live.status().stale, 1U);
  }
  live.turnUntil([&] { return live.status().stale == 0; });
  live.turnUntil([&] { return !live.status().resynchronising; });
  EXPECT_EQ(live.status().swept, 1U);
  live.rest();
  EXPECT_EQ(live.wrong(), "");
  EXPECT_TRUE(
      live.logged("resynchronising: 2 routes, 0 groups and 2 next hops are to be announced "
                  "again"))
      << live.log();
  EXPECT_TRUE(
      live.logged("resynchronised: 1 routes were announced again or withdrawn; swept 1 "
                  "routes, 0 groups and 1 next hops"))
      << live.log();
}

TEST(Resync, GivesWhatTheHardwareRefusedASecondChance) {
  ServeOptions options = checkedOptions();
  options.verify = false;
  SoftAsic::faultIs(options.faults, "ingress:refuse-every=1");
  LiveAgent live(options);
  Daemon first(live.port());
  live.say(first, announceRouted(1, 2, "10.0.0.1"));
  EXPECT_EQ(live.state("10.0.1.1"), Routes::State::notInForce);
  live.hangUp(first);
  live.agent().hardware().device().faultsDel();
  Daemon second(live.port());
  live.say(second, announceRouted(1, 2, "10.0.0.1"));
  EXPECT_EQ(live.state("10.0.1.1"), Routes::State::notInForce);
  live.sweep();
  EXPECT_EQ(live.state("10.0.1.1"), Routes::State::forwarded);
}

// Frames of any kind, said by a daemon that is cut off again and again and restarted with other
// numbers now and then; what it says last is what must be there.
TEST(Resync, EndsWithWhatWasSaidLastWhateverWasSaidBefore) {
  constexpr int kRounds = kIsSlow ? 10 : 60;
  std::mt19937 random(7);
  LiveAgent live(checkedOptions());
  for (int round = 0; round < kRounds; ++round) {
    Frames frames = world();
    std::shuffle(frames.begin(), frames.end(), random);
    frames.resize(frames.size() - random() % frames.size());
    Bytes said = joined(frames);
    if (random() % 2 == 0) said.resize(random() % (said.size() + 1));
    Daemon daemon(live.port());
    live.say(daemon, said);
    if (random() % 3 == 0) live.sweep();
    ASSERT_EQ(live.wrong(), "") << "round " << round;
    if (random() % 2 == 0) {
      daemon.reset();
    } else {
      daemon.close();
    }
    live.turnUntil([&] { return !live.status().peer; });
  }
  Daemon last(live.port());
  live.say(last, "");
  live.sweep();
  EXPECT_EQ(live.agent().hardware().rowsInForce(), 0U);
  EXPECT_TRUE(live.mapping().ids().ids().empty());
  EXPECT_TRUE(live.mapping().groups().groups().empty());
  EXPECT_TRUE(live.mapping().ingress().hops().empty());
}

}  // namespace
}  // namespace OrviaL3Agent
