// Routes: what they point to, how they move, and which one an address takes.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "agent/Replay.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using State = Routes::State;
using Texts = std::vector<std::string>;

class RoutesTest : public ReplayFixture {
 protected:
  RoutesTest() {
    withGroups();
    withoutWaiting();
    withJournal();
  }

  // Of the best route in the first table that has one.
  [[nodiscard]] State state(char const* destination) {
    Routes const& routes = replay().mapping().routes();
    auto const keys = routes.lookup(addressOf(destination).value());
    if (keys.empty()) throw std::out_of_range(std::string("no route to ") + destination);
    return routes.state(routes.routes().at(keys[0]));
  }
  // The destinations of the routes that an address takes, one for each table.
  [[nodiscard]] Texts taken(char const* destination) {
    Texts texts;
    for (RouteKey const& key : replay().mapping().routes().lookup(addressOf(destination).value())) {
      texts.push_back(text(key));
    }
    return texts;
  }
  // A frame of several messages.
  static Bytes both(Bytes const& first, Bytes const& second) { return frame(first + second); }

  Bytes const hops =
      announce(1, 2, "10.0.1.2") + announce(2, 3, "10.0.2.2") + announce(3, 4, "fe80::3");
  Bytes const group = hops + announceGroup(20, {{1, 0}, {2, 0}});
};

// --- What routes point to.

TEST_F(RoutesTest, LeadOverTheNextHopOfAnId) {
  Report const report = run(hops + routeTo(1));
  EXPECT_EQ(state("10.0.1.1"), State::forwarded);
  EXPECT_EQ(report.routes.live, 1U);
  EXPECT_EQ(report.routes.liveIn(State::forwarded), 1U);
  EXPECT_EQ(report.stream.routesById, 1U);
  EXPECT_EQ(calls(), (Texts{"ingress write 32"}));
}

TEST_F(RoutesTest, LeadOverTheGroupOfAnIdWithoutARowOfTheirOwn) {
  Report const report = run(group + routeTo(20));
  EXPECT_EQ(state("10.0.20.1"), State::forwarded);
  EXPECT_TRUE(report.ingress.live.empty());
  EXPECT_EQ(report.ecmp.live.size(), 2U);
  EXPECT_EQ(report.groups.live.size(), 1U);
}

TEST_F(RoutesTest, LeadOverAPathOfTheirOwn) {
  Report const report = run(announceRoute("10.1.0.0", 16, routeByPath(2, "10.0.1.2")) +
                            announceRoute("10.2.0.0", 16, routeByPath(3)) +
                            announceRoute("2001:db8::", 32, routeByPath(3)));
  EXPECT_EQ(report.stream.routesWithPaths, 3U);
  EXPECT_EQ(report.routes.liveIn(State::forwarded), 3U);
  EXPECT_EQ(ingress(report, via(2, "10.0.1.2")).row, 32U);
  EXPECT_EQ(ingress(report, connected(3)).row, 33U);
  // What has no gateway is of the route's family.
  EXPECT_EQ(ingress(report, connected(3, Asic::AddressFamily::ipv6)).row, 34U);
}

TEST_F(RoutesTest, LeadOverPathsOfTheirOwn) {
  Bytes const paths = routeByPaths({{2, "10.0.1.2", 0}, {3, nullptr, 1}});
  Report const report = run(announceRoute("10.1.0.0", 16, paths));
  ASSERT_EQ(report.groups.live.size(), 1U);
  ShownGroup const& own = report.groups.live[0];
  EXPECT_EQ(own.routes, 1U);
  EXPECT_TRUE(own.ids.empty());
  EXPECT_EQ(own.paths, (Paths{{via(2, "10.0.1.2"), 1}, {connected(3), 2}}));
  EXPECT_EQ(own.contents.value().numPaths, 3U);
  EXPECT_EQ(state("10.1.0.1"), State::forwarded);
  EXPECT_EQ(way("10.1.0.1"),
            "10.1.0.0/16 metric 20 -> group 1 (row 1) {10.0.1.2 on interface 2, 2 x connected on "
            "interface 3}: programmed\n");
}

TEST_F(RoutesTest, ShareAGroupWithIdsAndOtherRoutesOfEqualPaths) {
  Bytes const paths = routeByPaths({{3, "10.0.2.2"}, {2, "10.0.1.2"}});
  Report report =
      run(group + announceRoute("10.1.0.0", 16, paths) + announceRoute("10.2.0.0", 16, paths));
  ASSERT_EQ(report.groups.live.size(), 1U);
  EXPECT_EQ(report.groups.live[0].ids, (std::vector<std::uint32_t>{20}));
  EXPECT_EQ(report.groups.live[0].routes, 2U);
  EXPECT_EQ(report.groups.counts.made, 1U);
  report = run(group + announceRoute("10.1.0.0", 16, paths) + withdraw(20) +
               withdrawRoute("10.1.0.0", 16));
  EXPECT_TRUE(report.groups.live.empty());
}

TEST_F(RoutesTest, DropByTheirType) {
  Report const report = run(hops + announceRoute("10.1.0.0", 16, "", {.type = RTN_BLACKHOLE}) +
                            announceRoute("10.2.0.0", 16, "", {.type = RTN_UNREACHABLE}) +
                            announceRoute("10.3.0.0", 16, "", {.type = RTN_PROHIBIT}) +
                            // Whatever else they say.
                            announceRoute("10.4.0.0", 16, routeById(1), {.type = RTN_BLACKHOLE}));
  EXPECT_EQ(report.stream.routesThatDrop, 4U);
  EXPECT_EQ(report.routes.liveIn(State::drop), 4U);
  EXPECT_EQ(replay().hardware().calls(), 0U);
  EXPECT_EQ(way("10.2.3.4"), "10.2.0.0/16 metric 20 -> drop\n");
  EXPECT_EQ(text(report).find("Routes that are not forwarded as asked"), std::string::npos);
}

TEST_F(RoutesTest, DropOverAnIdThatDrops) {
  Report const report = run(announceBlackhole(7) + routeTo(7));
  EXPECT_EQ(report.routes.liveIn(State::drop), 1U);
  EXPECT_EQ(report.liveBlackholes, 1U);
  EXPECT_EQ(replay().hardware().calls(), 0U);
  EXPECT_EQ(way("10.0.7.1"), "10.0.7.0/24 metric 20 -> id 7, drop\n");
}

TEST_F(RoutesTest, DropOverAGroupWhoseMembersAllDrop) {
  run(announceBlackhole(7) + announceGroup(20, {{7, 0}}) + routeTo(20));
  EXPECT_EQ(state("10.0.20.1"), State::drop);
  EXPECT_EQ(replay().hardware().calls(), 0U);
  EXPECT_EQ(way("10.0.20.1"), "10.0.20.0/24 metric 20 -> id 20, drop\n");
}

TEST_F(RoutesTest, WaitForAnUnknownIdAndAreResolvedWhenItIsAnnounced) {
  Report report = run(routeTo(1));
  EXPECT_EQ(state("10.0.1.1"), State::unknownId);
  EXPECT_EQ(report.routes.counts.waitedForId, 1U);
  EXPECT_EQ(replay().hardware().calls(), 0U);
  EXPECT_NE(text(report).find("Routes that are not forwarded as asked\n"
                              "  10.0.1.0/24 metric 20 -> id 1 is not announced\n"),
            std::string::npos)
      << text(report);
  report = run(routeTo(1) + announce(1, 2, "10.0.1.2"));
  EXPECT_EQ(state("10.0.1.1"), State::forwarded);
  EXPECT_EQ(calls(), (Texts{"ingress write 32"}));
  // Whatever the id turns out to be.
  run(routeTo(1) + announceBlackhole(1));
  EXPECT_EQ(state("10.0.1.1"), State::drop);
  run(routeTo(20) + group);
  EXPECT_EQ(state("10.0.20.1"), State::forwarded);
  run(routeTo(20) + announceGroup(20, {{1, 0}, {2, 0}}) + hops);
  EXPECT_EQ(state("10.0.20.1"), State::forwarded);
}

TEST_F(RoutesTest, ForgetAnUnknownIdWhenTheyGo) {
  run(routeTo(1) + withdrawRouteTo(1));
  expectNothingLeft(replay());
  Report const report = run(routeTo(1) + withdrawRouteTo(1) + announce(1, 2));
  EXPECT_EQ(report.unusedNextHopIds, 1U);
  EXPECT_EQ(replay().hardware().calls(), 0U);
}

TEST_F(RoutesTest, MayBeManyThatWaitForOneId) {
  Bytes stream;
  for (std::uint32_t i = 0; i < 300; ++i) {
    stream += announceRoute(destinationOf(i).c_str(), 24, 9000);
  }
  EXPECT_EQ(run(stream).routes.liveIn(State::unknownId), 300U);
  Report const report = run(stream + announce(9000, 2));
  EXPECT_EQ(report.routes.liveIn(State::forwarded), 300U);
  EXPECT_EQ(report.ingressTable.hardware.writes, 1U);
}

TEST_F(RoutesTest, AreNotPossibleWithoutAWay) {
  Report const report = run(announceRoute("10.1.0.0", 16, Bytes()) +
                            announceRoute("10.2.0.0", 16, routeByPath(0, "10.0.0.1")) +
                            announceRoute("10.3.0.0", 16, routeByPaths({{2}, {0, "10.0.0.1"}})));
  EXPECT_EQ(report.routes.liveIn(State::notPossible), 3U);
  EXPECT_EQ(replay().hardware().calls(), 0U);
  EXPECT_NE(text(report).find("Routes that are not forwarded as asked\n"
                              "  10.1.0.0/16 metric 20 -> neither a next-hop id nor a path\n"
                              "  10.2.0.0/16 metric 20 -> a path without an interface\n"
                              "  10.3.0.0/16 metric 20 -> a path without an interface\n"),
            std::string::npos)
      << text(report);
}

TEST_F(RoutesTest, AreNotPossibleWithMorePathsThanABlockMayHave) {
  options.maxWidth = 2;
  Report const report =
      run(announceRoute("10.1.0.0", 16, routeByPaths({{2}, {3}, {4}})) +
          announceRoute("10.2.0.0", 16, routeByPaths({{2, nullptr, 9}, {3, nullptr, 0}})));
  EXPECT_EQ(state("10.1.0.1"), State::notPossible);
  EXPECT_EQ(way("10.1.0.1"), "10.1.0.0/16 metric 20 -> 3 paths, a block has at most 2 rows\n");
  // Few paths with large weights are scaled down.
  EXPECT_EQ(state("10.2.0.1"), State::forwarded);
  EXPECT_EQ(report.groups.scaling.scaled, 1U);
  EXPECT_NEAR(report.groups.scaling.worst, 10.0 / 11 - 0.5, 1e-9);
}

TEST_F(RoutesTest, AreNotInForceOverAGroupThatWaitsForMembers) {
  run(announceGroup(20, {{1, 0}, {2, 0}}) + announce(1, 2) + routeTo(20));
  EXPECT_EQ(state("10.0.20.1"), State::notInForce);
}

TEST_F(RoutesTest, AreNotPossibleOverAGroupWhoseMemberIsAGroup) {
  Report const report = run(group + announceGroup(21, {{1, 0}, {20, 0}}) + routeTo(21) +
                            announceGroup(22, {{22, 0}}) + routeTo(22));
  EXPECT_EQ(state("10.0.21.1"), State::notPossible);
  EXPECT_EQ(state("10.0.22.1"), State::notPossible);
  EXPECT_EQ(groupId(report, 21).reason, "member 20 is a group");
  EXPECT_EQ(groupId(report, 22).reason, "member 22 is a group");
  EXPECT_EQ(way("10.0.22.1"), "10.0.22.0/24 metric 20 -> id 22, member 22 is a group\n");
  expectNothingLeftAfter("");
}

TEST_F(RoutesTest, LeaveNothingBehindOfGroupsThatNameThemselvesOrAMemberTwice) {
  Bytes const stream = hops + announceGroup(20, {{20, 0}, {1, 0}}) + routeTo(20) +
                       announceGroup(21, {{1, 0}, {2, 0}, {1, 0}}) + routeTo(21);
  Report const report = run(stream);
  EXPECT_EQ(groupOf(report, 21).paths, (Paths{{via(2, "10.0.1.2"), 2}, {via(3, "10.0.2.2"), 1}}));
  EXPECT_EQ(state("10.0.21.1"), State::forwarded);
  expectNothingLeftAfter("");
  // And when the ids are withdrawn first, in every order.
  run(stream + withdraw(20) + withdraw(21) + withdraw(1) + withdraw(2) + withdraw(3) +
      withdrawRouteTo(21) + withdrawRouteTo(20));
  expectNothingLeft(replay());
  run(stream + withdraw(1) + withdraw(20) + withdrawRouteTo(20) + withdraw(2) + withdraw(21) +
      withdrawRouteTo(21) + withdraw(3));
  expectNothingLeft(replay());
}

// --- Repetitions and withdrawals.

TEST_F(RoutesTest, AreCountedByWhatTheirAnnouncementsChange) {
  Report const report = run(hops + routeTo(1) + routeTo(1) + announceRoute("10.0.1.0", 24, 2) +
                            announceRoute("10.0.1.0", 24, routeById(2) + routeMtu(1400)) +
                            withdrawRouteTo(1) + withdrawRouteTo(1) + withdrawRouteTo(2));
  EXPECT_EQ(report.routes.counts.announced, 1U);
  EXPECT_EQ(report.routes.counts.repeated, 1U);
  EXPECT_EQ(report.routes.counts.changed, 2U);
  EXPECT_EQ(report.routes.counts.withdrawn, 1U);
  EXPECT_EQ(report.routes.counts.unknownWithdrawals, 2U);
  EXPECT_EQ(report.routes.counts.peak, 1U);
}

TEST_F(RoutesTest, TouchNoHardwareWhenTheyAreAnnouncedAgain) {
  Bytes const paths = announceRoute("10.1.0.0", 16, routeByPaths({{2}, {3}}));
  Bytes const path = announceRoute("10.2.0.0", 16, routeByPath(2));
  run(group + routeTo(1) + routeTo(20) + path + paths);
  std::uint64_t const once = replay().hardware().calls();
  run(group + routeTo(1) + routeTo(20) + path + paths + paths + path + routeTo(20) + routeTo(1));
  EXPECT_EQ(replay().hardware().calls(), once);
}

TEST_F(RoutesTest, IgnoreTheBitsBeyondTheirLength) {
  Report const report =
      run(hops + announceRoute("10.1.2.3", 16, 1) + announceRoute("10.1.9.9", 16, 2));
  EXPECT_EQ(report.routes.live, 1U);
  EXPECT_EQ(report.routes.counts.changed, 1U);
  EXPECT_EQ(taken("10.1.200.1"), Texts{"10.1.0.0/16 metric 20"});
  expectNothingLeftAfter(withdrawRoute("10.1.77.77", 16));
  EXPECT_EQ(replay().report().routes.counts.withdrawn, 1U);
}

// --- Moving.

TEST_F(RoutesTest, KeepTheirRowWhenAFrameWithdrawsAndAnnouncesThem) {
  Bytes const again = both(routeMessage(RTM_DELROUTE, "10.0.1.0", 24, {}),
                           routeMessage(RTM_NEWROUTE, "10.0.1.0", 24, routeById(1)));
  Report const report = run(hops + routeTo(1) + again);
  EXPECT_EQ(calls(), (Texts{"ingress write 32"}));
  EXPECT_EQ(report.routes.counts.repeated, 1U);
  EXPECT_EQ(report.routes.live, 1U);
  // Also under another id of the same identity.
  run(hops + announce(9, 2, "10.0.1.2") + routeTo(1) +
      both(routeMessage(RTM_DELROUTE, "10.0.1.0", 24, {}),
           routeMessage(RTM_NEWROUTE, "10.0.1.0", 24, routeById(9))));
  EXPECT_EQ(calls(), (Texts{"ingress write 32"}));
  EXPECT_EQ(way("10.0.1.1"),
            "10.0.1.0/24 metric 20 -> id 9, row 32, 10.0.1.2 on interface 2: programmed\n");
}

TEST_F(RoutesTest, GoWithTheFrameThatWithdrawsThemLast) {
  Bytes const del = routeMessage(RTM_DELROUTE, "10.0.1.0", 24, {});
  Bytes const add = routeMessage(RTM_NEWROUTE, "10.0.1.0", 24, routeById(1));
  Report const report = run(hops + routeTo(1) + frame(del + add + del));
  EXPECT_EQ(report.routes.live, 0U);
  EXPECT_EQ(calls(), (Texts{"ingress write 32", "ingress remove 32"}));
  EXPECT_EQ(report.routes.counts.withdrawn, 1U);
  // Two withdrawals of one frame are one that means something.
  EXPECT_EQ(run(hops + routeTo(1) + frame(del + del)).routes.counts.unknownWithdrawals, 1U);
}

TEST_F(RoutesTest, AreReplacedInFramesOfTheirOwnWithARemovalBetween) {
  run(hops + routeTo(1) + withdrawRouteTo(1) + routeTo(1));
  EXPECT_EQ(calls(), (Texts{"ingress write 32", "ingress remove 32", "ingress write 32"}));
}

TEST_F(RoutesTest, MoveToAnotherWayBeforeTheyLeaveTheOldOne) {
  run(group + announceGroup(21, {{3, 0}}) + withdraw(21) + announceRoute("10.0.1.0", 24, 1));
  std::size_t const before = calls().size();
  // Each from the one before it.
  struct {
    Bytes way;
    Texts calls;
  } const steps[] = {
      {routeById(2), {"ingress write 33", "ingress remove 32"}},
      {routeByPath(9), {"ingress write 32", "ingress remove 33"}},
      {routeByPaths({{8}, {9}}),
       {"ecmp write 3", "ecmp write 4", "member write 2", "member write 3", "group write 2",
        "ingress remove 32"}},
      {routeById(20),
       {"group remove 2", "member remove 2", "member remove 3", "ecmp remove 3", "ecmp remove 4"}},
      {routeById(1), {"ingress write 32"}},
  };
  Bytes stream =
      group + announceGroup(21, {{3, 0}}) + withdraw(21) + announceRoute("10.0.1.0", 24, 1);
  std::size_t seen = before;
  for (auto const& step : steps) {
    stream += announceRoute("10.0.1.0", 24, step.way);
    run(stream);
    EXPECT_EQ(calls(seen), step.calls);
    EXPECT_EQ(state("10.0.1.1"), State::forwarded);
    seen = calls().size();
  }
}

TEST_F(RoutesTest, KeepAGroupUntilTheNextHopIsInForce) {
  options.refusedRows = {32};
  Bytes const stream = group + announceRoute("10.1.0.0", 16, routeByPaths({{8}, {9}})) +
                       announceRoute("10.1.0.0", 16, 1);
  Report report = run(stream);
  EXPECT_EQ(state("10.1.0.1"), State::formerWay);
  EXPECT_EQ(report.groups.live.size(), 2U);
  EXPECT_NE(way("10.1.0.1").find("; until then group 2 (row 2) "), std::string::npos)
      << way("10.1.0.1");
  options.events = {eventOf("at end faults off"), eventOf("at end retry")};
  report = run(stream);
  EXPECT_EQ(state("10.1.0.1"), State::forwarded);
  EXPECT_EQ(report.groups.live.size(), 1U);
}

TEST_F(RoutesTest, KeepANextHopUntilTheGroupIsInForce) {
  for (char const* fault : {"group:refuse-every=1", "group:lose-answer-every=1",
                            "ecmp:refuse-every=1", "group:lose-write-every=1"}) {
    options.faults = {};
    options.events.clear();
    SoftAsic::faultIs(options.faults, fault);
    Bytes const stream =
        group + announceRoute("10.1.0.0", 16, 1) + announceRoute("10.1.0.0", 16, 20);
    Report report = run(stream);
    EXPECT_EQ(state("10.1.0.1"), State::formerWay) << fault;
    EXPECT_EQ(ingress(report, via(2, "10.0.1.2")).state, NextHopState::programmed) << fault;
    options.events = {eventOf("at end faults off"), eventOf("at end retry")};
    report = run(stream);
    EXPECT_EQ(state("10.1.0.1"), State::forwarded) << fault;
    EXPECT_TRUE(report.ingress.live.empty()) << fault;
  }
}

TEST_F(RoutesTest, KeepTheirNextHopWhileTheNewIdIsUnknown) {
  Bytes const stream = hops + announceRoute("10.1.0.0", 16, 1) + announceRoute("10.1.0.0", 16, 77);
  Report report = run(stream);
  EXPECT_EQ(state("10.1.0.1"), State::formerWay);
  EXPECT_EQ(ingress(report, via(2, "10.0.1.2")).state, NextHopState::programmed);
  report = run(stream + announce(77, 9));
  EXPECT_EQ(state("10.1.0.1"), State::forwarded);
  EXPECT_EQ(report.ingress.live.size(), 1U);
}

TEST_F(RoutesTest, KeepTheirNextHopWhenTheNewOneIsNeverProgrammed) {
  // A delay of 5 turns lets the stream end on interface 2 before interface 9 is asked for.
  options.answer = ReplayOptions::Answer::loop;
  options.interfaceDelay = 5;
  options.slice = 1;
  start(hops + announceRoute("10.1.0.0", 16, 1) + filler(9) +
        announceRoute("10.1.0.0", 16, routeByPath(9)) + filler(1) +
        announceRoute("10.1.0.0", 16, 1));
  runUntil(15);
  EXPECT_EQ(state("10.1.0.1"), State::formerWay);
  EXPECT_EQ(replay().report().ingress.live.size(), 2U);
  finish();
  // Back on the old way, which never left.
  EXPECT_EQ(state("10.1.0.1"), State::forwarded);
  EXPECT_EQ(calls(), (Texts{"ingress write 32"}));
  EXPECT_EQ(replay().report().ingress.live.size(), 1U);
}

TEST_F(RoutesTest, MoveAtOnceToADrop) {
  run(hops + announceRoute("10.1.0.0", 16, 1) +
      announceRoute("10.1.0.0", 16, "", {.type = RTN_UNREACHABLE}));
  EXPECT_EQ(state("10.1.0.1"), State::drop);
  EXPECT_EQ(calls(), (Texts{"ingress write 32", "ingress remove 32"}));
}

TEST_F(RoutesTest, GoOnDroppingUntilTheNewWayIsInForce) {
  options.refusedRows = {32};
  run(hops + announceRoute("10.1.0.0", 16, "", {.type = RTN_BLACKHOLE}) +
      announceRoute("10.1.0.0", 16, 1));
  EXPECT_EQ(way("10.1.0.1"),
            "10.1.0.0/16 metric 20 -> id 1, row 32, 10.0.1.2 on interface 2: refused; until then "
            "drop\n");
}

TEST_F(RoutesTest, StayOnTheirGroupUntilTheNextHopThatItsIdBecomesIsInForce) {
  options.refusedRows = {32};
  run(group + routeTo(20) + announce(20, 9));
  EXPECT_EQ(state("10.0.20.1"), State::formerWay);
  EXPECT_EQ(replay().report().groups.live.size(), 1U);
  EXPECT_EQ(replay().report().groups.groupTable.rowsInForce, 1U);
}

TEST_F(RoutesTest, SayWhichWayPacketsTakeMeanwhile) {
  // Another group, because an id shares the one before.
  options.faults.of(SoftAsic::TableId::groups).refusedRows = {2};
  run(group + announceGroup(21, {{1, 0}, {2, 0}}) + routeTo(20) + announceGroup(20, {{3, 0}}));
  EXPECT_EQ(state("10.0.20.1"), State::forwarded);
  EXPECT_EQ(way("10.0.20.1"),
            "10.0.20.0/24 metric 20 -> id 20, group 2 (row 2) {fe80::3 on interface 4}: refused; "
            "until then group 1 (row 1) {10.0.1.2 on interface 2, 10.0.2.2 on interface 3}: "
            "programmed\n");
  // The same group with other paths.
  options.faults = {};
  options.faults.of(SoftAsic::TableId::groups).refuseEvery = 2;
  run(group + routeTo(20) + announceGroup(20, {{3, 0}}));
  EXPECT_EQ(state("10.0.20.1"), State::forwarded);
  EXPECT_EQ(
      way("10.0.20.1"),
      "10.0.20.0/24 metric 20 -> id 20, group 1 (row 1) {fe80::3 on interface 4}: refused (an "
      "older record is in the row)\n");
}

TEST_F(RoutesTest, SayThatPathsAreDown) {
  options.events = {eventOf("at end interface 3 down")};
  run(group + routeTo(20));
  EXPECT_EQ(way("10.0.20.1"),
            "10.0.20.0/24 metric 20 -> id 20, group 1 (row 1) {10.0.1.2 on interface 2}: "
            "programmed; without 1 path over interfaces that are down\n");
  options.events = {eventOf("at end interface 3 down"), eventOf("at end interface 2 down")};
  run(group + routeTo(20));
  EXPECT_TRUE(way("10.0.20.1").ends_with(": programmed; all its interfaces are down\n"));
}

TEST_F(RoutesTest, ChangeTheGroupOfTheirPathsInItsRow) {
  Report const report = run(announceRoute("10.1.0.0", 16, routeByPaths({{2}, {3}})) +
                            announceRoute("10.1.0.0", 16, routeByPaths({{2}, {4}})));
  EXPECT_EQ(report.groups.live.size(), 1U);
  EXPECT_EQ(report.groups.counts.swaps, 1U);
  EXPECT_EQ(calls(3), (Texts{"member write 1", "group write 1", "ecmp write 3", "member write 2",
                             "member write 3", "group write 1", "member remove 0",
                             "member remove 1", "ecmp remove 2"}));
}

TEST_F(RoutesTest, LeaveASharedGroupToTheOthers) {
  Bytes const two = routeByPaths({{2}, {3}});
  Report const report =
      run(announceRoute("10.1.0.0", 16, two) + announceRoute("10.2.0.0", 16, two) +
          announceRoute("10.1.0.0", 16, routeByPaths({{2}, {4}})));
  EXPECT_EQ(report.groups.live.size(), 2U);
  EXPECT_EQ(report.groups.counts.swaps, 0U);
  EXPECT_EQ(report.routes.liveIn(State::forwarded), 2U);
}

// --- Withdrawals of ids in use.

TEST_F(RoutesTest, KeepAnIdThatIsWithdrawnWhileTheyUseIt) {
  Report report = run(hops + routeTo(1) + withdraw(1));
  EXPECT_EQ(state("10.0.1.1"), State::forwarded);
  EXPECT_EQ(report.deferredWithdrawals, 1U);
  EXPECT_EQ(report.withdrawnInUse, 1U);
  EXPECT_EQ(report.stream.nextHopWithdrawals, 1U);
  EXPECT_EQ(calls(), (Texts{"ingress write 32"}));
  report = run(hops + routeTo(1) + withdraw(1) + withdrawRouteTo(1));
  EXPECT_EQ(report.withdrawnInUse, 0U);
  EXPECT_EQ(report.liveNextHopIds, 2U);
  EXPECT_EQ(calls(), (Texts{"ingress write 32", "ingress remove 32"}));
}

TEST_F(RoutesTest, KeepAGroupThatIsWithdrawnWhileTheyUseItAndItsMembers) {
  Bytes const stream = group + routeTo(20) + withdraw(1) + withdraw(20) + withdraw(2) + withdraw(3);
  Report report = run(stream);
  EXPECT_EQ(state("10.0.20.1"), State::forwarded);
  EXPECT_EQ(report.deferredWithdrawals, 3U);
  EXPECT_EQ(report.withdrawnInUse, 3U);
  std::size_t const before = calls().size();
  run(stream + withdrawRouteTo(20));
  // From the top: group, block, next hops.
  EXPECT_EQ(calls(before), (Texts{"group remove 1", "member remove 0", "member remove 1",
                                  "ecmp remove 1", "ecmp remove 2"}));
  expectNothingLeft(replay());
}

TEST_F(RoutesTest, FindAnIdThatIsAnnouncedAgainBeforeTheyLetGoOfIt) {
  Report report = run(hops + routeTo(1) + withdraw(1) + announce(1, 2, "10.0.1.2"));
  EXPECT_EQ(report.withdrawnInUse, 0U);
  EXPECT_EQ(calls(), (Texts{"ingress write 32"}));
  report = run(hops + routeTo(1) + withdraw(1) + announce(1, 2, "10.0.1.2") + withdrawRouteTo(1));
  EXPECT_EQ(report.liveNextHopIds, 3U);
}

TEST_F(RoutesTest, MoveWithAnIdThatComesBackAsSomethingElse) {
  run(hops + routeTo(1) + withdraw(1) + announce(1, 9));
  EXPECT_EQ(state("10.0.1.1"), State::forwarded);
  EXPECT_EQ(calls(), (Texts{"ingress write 32", "ingress write 33", "ingress remove 32"}));
  run(group + routeTo(20) + withdraw(20) + announce(20, 9));
  EXPECT_EQ(state("10.0.20.1"), State::forwarded);
  EXPECT_TRUE(replay().report().groups.live.empty());
  run(group + routeTo(20) + withdraw(20) + announceBlackhole(20));
  EXPECT_EQ(state("10.0.20.1"), State::drop);
  EXPECT_EQ(replay().hardware().rowsInForce(), 0U);
}

TEST_F(RoutesTest, CanNameAnIdThatOnlyOtherUsersKeep) {
  // Withdrawn, and yet known to everybody until its last user goes.
  run(hops + routeTo(1) + withdraw(1) + announceRoute("10.9.0.0", 16, 1) + withdrawRouteTo(1));
  EXPECT_EQ(state("10.9.0.1"), State::forwarded);
  EXPECT_EQ(calls(), (Texts{"ingress write 32"}));
}

TEST_F(RoutesTest, TakeEverythingFromTheTopWhenAllOfItWasWithdrawnFromTheBottom) {
  Bytes const stream = hops + routeTo(1) + announceGroup(20, {{1, 0}, {2, 0}}) + routeTo(20);
  run(stream);
  std::size_t const before = calls().size();
  run(stream + withdraw(1) + withdraw(2) + withdraw(3) + withdraw(20) + withdrawRouteTo(20) +
      withdrawRouteTo(1));
  EXPECT_EQ(calls(before), (Texts{"group remove 1", "member remove 0", "member remove 1",
                                  "ecmp remove 1", "ecmp remove 2", "ingress remove 32"}));
  expectNothingLeft(replay());
}

// --- Lookup.

TEST_F(RoutesTest, AreTakenByLongestMatch) {
  run(hops + announceRoute("0.0.0.0", 0, 1) + announceRoute("10.0.0.0", 8, 2) +
      announceRoute("10.1.0.0", 16, 1) + announceRoute("10.1.2.0", 24, 2) +
      announceRoute("10.1.2.3", 32, 1) + announceRoute("2001:db8::", 32, 3));
  EXPECT_EQ(taken("10.1.2.3"), Texts{"10.1.2.3/32 metric 20"});
  EXPECT_EQ(taken("10.1.2.4"), Texts{"10.1.2.0/24 metric 20"});
  EXPECT_EQ(taken("10.1.3.4"), Texts{"10.1.0.0/16 metric 20"});
  EXPECT_EQ(taken("10.2.3.4"), Texts{"10.0.0.0/8 metric 20"});
  EXPECT_EQ(taken("192.0.2.1"), Texts{"0.0.0.0/0 metric 20"});
  EXPECT_EQ(taken("2001:db8::7"), Texts{"2001:db8::/32 metric 20"});
  EXPECT_EQ(taken("2001:db9::7"), Texts{});
  EXPECT_EQ(way("2001:db9::7"), "no route\n");
}

TEST_F(RoutesTest, AreTakenByTheLowestPriorityValue) {
  Bytes const stream = hops + announceRoute("10.1.0.0", 16, 1, {.priority = 30}) +
                       announceRoute("10.1.0.0", 16, 2, {.priority = 10}) +
                       announceRoute("10.1.0.0", 16, 3, {.priority = 0x80000000U});
  Report const report = run(stream);
  EXPECT_EQ(report.routes.live, 3U);
  EXPECT_EQ(taken("10.1.0.1"), Texts{"10.1.0.0/16 metric 10"});
  run(stream + withdrawRoute("10.1.0.0", 16, {.priority = 10}));
  EXPECT_EQ(taken("10.1.0.1"), Texts{"10.1.0.0/16 metric 30"});
  run(stream + announceRoute("10.1.0.0", 16, 3, {.priority = 0}));
  EXPECT_EQ(taken("10.1.0.1"), Texts{"10.1.0.0/16"});
}

TEST_F(RoutesTest, AreTakenInEachTableThatHasOne) {
  run(hops + announceRoute("10.1.0.0", 16, 1) + announceRoute("10.0.0.0", 8, 2, {.table = 100}) +
      announceRoute("10.1.0.0", 16, 3, {.table = 1000}) +
      announceRoute("192.0.2.0", 24, 3, {.table = 7}));
  EXPECT_EQ(taken("10.1.0.1"), (Texts{"10.0.0.0/8 table 100 metric 20", "10.1.0.0/16 metric 20",
                                      "10.1.0.0/16 table 1000 metric 20"}));
  EXPECT_EQ(taken("192.0.2.200"), Texts{"192.0.2.0/24 table 7 metric 20"});
  expectNothingLeftAfter("");
}

TEST_F(RoutesTest, AreNotTakenOnceTheyAreWithdrawn) {
  run(hops + announceRoute("10.0.0.0", 8, 1) + announceRoute("10.1.0.0", 16, 1) +
      withdrawRoute("10.1.0.0", 16));
  EXPECT_EQ(taken("10.1.0.1"), Texts{"10.0.0.0/8 metric 20"});
}

}  // namespace
}  // namespace OrviaL3Agent
