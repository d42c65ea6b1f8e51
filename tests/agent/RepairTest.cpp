// Groups that go from one block to another under traffic: other contents from the stream, and local
// repair when an interface fails or returns.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/agent/GroupFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using SoftAsic::TableId;

class RepairFixture : public GroupFixture {
 protected:
  RepairFixture() { withJournal(); }

  // Turns until an answer comes, of all tables; nothing is at once.
  void answersAfter(std::optional<std::uint32_t> delay) {
    for (SoftAsic::FaultProfile& profile : options.faults.tables) profile.answerAfter = delay;
  }
  void groupAnswersAfter(std::uint32_t delay) { fault(TableId::groups).answerAfter = delay; }

  // One message per turn, from here on.
  void turnByTurn() { options.slice = 1; }

  std::size_t removals(TableId table) {
    auto const& calls = replay().journal().value().calls();
    return static_cast<std::size_t>(
        std::count_if(calls.begin(), calls.end(), [&](auto const& call) {
          return call.table == table && call.kind == SoftAsic::Call::Kind::remove;
        }));
  }
  std::size_t blocks() { return replay().mapping().tables().members->entryBlocks(); }
  // The blocks that the group of this number may still be led over, its latest one not included.
  std::size_t formerBlocks(std::uint32_t number) {
    return replay().mapping().groups().groups().at(number)->former.size();
  }
  // All of at least one.
  bool routesAreForwarded() {
    RouteReport const routes = replay().report().routes;
    return routes.live > 0 && routes.liveIn(Routes::State::forwarded) == routes.live;
  }
  // Numbers of the groups that the hardware leads over the interface.
  static std::set<std::uint32_t> groupsOver(Report const& report, std::uint32_t interface) {
    std::set<std::uint32_t> found;
    for (ShownGroup const& group : report.groups.live) {
      Interfaces const all = interfaces(group);
      if (std::find(all.begin(), all.end(), interface) != all.end()) found.insert(group.number);
    }
    return found;
  }
  Interfaces inHardware(std::uint32_t id) { return interfaces(groupOf(replay().report(), id)); }
};

// --- Other contents from the stream, however fast the hardware answers.

struct Pace {
  char const* name;
  std::optional<std::uint32_t> answers;
};

class Swaps : public RepairFixture, public ::testing::WithParamInterface<Pace> {
 protected:
  Swaps() { answersAfter(GetParam().answers); }
};

TEST_P(Swaps, KeepNumberAndRowAndLetTheOldBlockGo) {
  Report const report = run(three + announceGroup(20, {{1, 0}, {2, 0}}) + idleTurns(8) +
                            announceGroup(20, {{2, 0}, {3, 0}}));
  EXPECT_EQ(report.groupIds.changed, 1U);
  EXPECT_EQ(report.groups.counts.swaps, 1U);
  EXPECT_EQ(report.groups.counts.made, 1U);
  EXPECT_EQ(groupId(report, 20).group, 1U);
  EXPECT_EQ(groupOf(report, 20).state, State::programmed);
  EXPECT_EQ(groupOf(report, 20).row, 1U);
  EXPECT_EQ(inHardware(20), (Interfaces{3, 4}));
  EXPECT_EQ(groupOf(report, 20).contents.value().ecmpBlockPtr, 2U);  // both blocks were there
  EXPECT_EQ(report.groups.groupTable.hardware.deletes, 0U);
  EXPECT_EQ(report.groups.blocks, 1U);
  EXPECT_EQ(report.ecmp.live.size(), 2U);
  EXPECT_EQ(formerBlocks(1), 0U);
  expectRight();
}

TEST_P(Swaps, FollowAMemberThatChanges) {
  Report const report =
      run(three + announceGroup(20, {{1, 0}, {2, 0}}) + announceGroup(21, {{1, 0}, {3, 0}}) +
          announceGroup(22, {{3, 0}}) + idleTurns(8) + announce(1, 9, "10.0.9.9"));
  EXPECT_EQ(inHardware(20), (Interfaces{3, 9}));
  EXPECT_EQ(inHardware(21), (Interfaces{4, 9}));
  EXPECT_EQ(report.nextHopIds.changed, 1U);
  EXPECT_EQ(report.groups.counts.swaps, 2U);
  EXPECT_EQ(report.groups.groupTable.hardware.writes, 5U);
  EXPECT_EQ(report.ecmp.live.size(), 3U);
  expectRight();
}

TEST_P(Swaps, OfRoutesWithPathsOfTheirOwnKeepNumberAndRow) {
  Report const report =
      run(announceRoute("10.7.0.0", 16, routeByPaths({{2, "10.0.1.2"}, {3, "10.0.2.2"}})) +
          idleTurns(8) +
          announceRoute("10.7.0.0", 16, routeByPaths({{2, "10.0.1.2"}, {4, "10.0.3.2"}})));
  EXPECT_EQ(report.groups.counts.made, 1U);
  EXPECT_EQ(report.groups.counts.swaps, 1U);
  EXPECT_EQ(group(report, 1).row, 1U);
  EXPECT_EQ(interfaces(group(report, 1)), (Interfaces{2, 4}));
  EXPECT_EQ(report.routes.liveIn(Routes::State::forwarded), 1U);
  EXPECT_EQ(report.ecmp.live.size(), 2U);
  expectRight();
}

TEST_P(Swaps, LeaveTheOldBlockInForceWhileTheNewOneIsParked) {
  options.interfaceDelay = 8;
  start(three + announceGroup(20, {{1, 0}, {2, 0}}) + idleTurns(16) + announce(9, 9) +
        announceGroup(20, {{2, 0}, {9, 0}}));
  while (replay().mapping().groups().counts().swaps == 0) ASSERT_TRUE(replay().turn());
  for (int i = 0; i < 6; ++i) {
    Report const report = replay().report();
    EXPECT_EQ(groupOf(report, 20).state, State::parked);
    EXPECT_TRUE(groupOf(report, 20).olderInRow);
    EXPECT_EQ(inHardware(20), (Interfaces{2, 3}));
    EXPECT_EQ(removals(TableId::members), 0U);
    turns(1);
  }
  finish();
  Report const report = replay().report();
  EXPECT_EQ(groupOf(report, 20).state, State::programmed);
  EXPECT_EQ(inHardware(20), (Interfaces{3, 9}));
  EXPECT_EQ(report.groups.blocks, 1U);
  EXPECT_EQ(report.ecmp.live.size(), 2U);
  EXPECT_EQ(formerBlocks(1), 0U);
  expectRight();
}

TEST_P(Swaps, KeepTheOldBlockWhenTheRowRefusesTheNewOne) {
  start(three + announceGroup(20, {{1, 0}, {2, 0}}) + announceRoute("10.7.0.0", 16, 20) +
        idleTurns(10) + announceGroup(20, {{3, 0}}));
  while (replay().report().groups.groupTable.hardware.accepted == 0) ASSERT_TRUE(replay().turn());
  device().groups().rowRefusesIs(1, true);
  settle();
  Report const report = replay().report();
  EXPECT_EQ(groupOf(report, 20).state, State::refused);
  EXPECT_TRUE(groupOf(report, 20).olderInRow);
  EXPECT_EQ(inHardware(20), (Interfaces{2, 3}));
  EXPECT_EQ(report.groups.blocks, 2U);
  EXPECT_EQ(formerBlocks(1), 1U);
  EXPECT_TRUE(routesAreForwarded());
  expectNoInstant();
  // Asked again in vain, and then with success.
  retry();
  settle();
  EXPECT_EQ(inHardware(20), (Interfaces{2, 3}));
  EXPECT_EQ(blocks(), 2U);
  faultsOff();
  retry();
  settle();
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::programmed);
  EXPECT_EQ(inHardware(20), (Interfaces{4}));
  EXPECT_EQ(blocks(), 1U);
  expectRight();
}

TEST_P(Swaps, GoBackToTheOldBlockWhenTheStreamDoes) {
  start(three + announceGroup(20, {{1, 0}, {2, 0}}) + idleTurns(10) + announceGroup(20, {{3, 0}}) +
        idleTurns(10) + announceGroup(20, {{2, 0}, {1, 0}}));
  while (replay().report().groups.groupTable.hardware.accepted == 0) ASSERT_TRUE(replay().turn());
  device().groups().rowRefusesIs(1, true);
  while (replay().report().groups.groupTable.hardware.refused == 0) ASSERT_TRUE(replay().turn());
  device().groups().rowRefusesIs(1, false);
  settle();
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::programmed);
  EXPECT_EQ(inHardware(20), (Interfaces{2, 3}));
  EXPECT_EQ(blocks(), 1U);
  EXPECT_EQ(formerBlocks(1), 0U);
  expectRight();
}

TEST_P(Swaps, BackAndForthWhileNothingIsReadyLeaveOneBlock) {
  Bytes const a = announceGroup(20, {{1, 0}, {2, 0}});
  Bytes const b = announceGroup(20, {{2, 0}, {3, 0}});
  for (std::uint32_t const slice : {16U, 1U}) {
    options.slice = slice;
    Report const report = run(three + a + b + a + b + idleTurns(4) + a + b + a);
    EXPECT_EQ(groupOf(report, 20).state, State::programmed);
    EXPECT_EQ(inHardware(20), (Interfaces{2, 3}));
    EXPECT_EQ(report.groups.blocks, 1U);
    EXPECT_EQ(report.ecmp.live.size(), 2U);
    EXPECT_EQ(formerBlocks(1), 0U);
    expectRight();
  }
}

TEST_P(Swaps, ToFewerPathsLeadOverRowsThatAreThere) {
  Report const report = run(three + announceGroup(20, {{1, 0}, {2, 0}, {3, 0}}) + idleTurns(8) +
                            announceGroup(20, {{1, 0}, {3, 0}}));
  EXPECT_EQ(inHardware(20), (Interfaces{2, 4}));
  // The next hops that stay are not written again.
  EXPECT_EQ(report.groups.nextHopTable.hardware.writes, 3U);
  EXPECT_EQ(report.groups.nextHopTable.hardware.deletes, 1U);
  expectRight();
}

TEST_P(Swaps, MoveAnIdOutOfAGroupThatOthersHold) {
  Bytes const shared = three + announceGroup(20, {{1, 0}, {2, 0}}) +
                       announceGroup(21, {{2, 0}, {1, 0}}) + announceRoute("10.7.0.0", 16, 20);
  Report const report = run(shared + idleTurns(8) + announceGroup(20, {{3, 0}}));
  EXPECT_EQ(groupId(report, 20).group, 2U);
  EXPECT_EQ(groupId(report, 21).group, 1U);
  EXPECT_EQ(inHardware(20), (Interfaces{4}));
  EXPECT_EQ(inHardware(21), (Interfaces{2, 3}));
  EXPECT_EQ(group(report, 1).ids, (std::vector<std::uint32_t>{21}));
  EXPECT_EQ(report.groups.counts.swaps, 0U);
  EXPECT_TRUE(routesAreForwarded());
  expectRight();
}

TEST_P(Swaps, MoveAnIdIntoAGroupThatIsThere) {
  Report const report =
      run(three + announceGroup(20, {{1, 0}, {2, 0}}) + announceGroup(21, {{2, 0}, {3, 0}}) +
          announceRoute("10.7.0.0", 16, 20) + idleTurns(8) + announceGroup(20, {{3, 0}, {2, 0}}));
  ASSERT_EQ(report.groups.live.size(), 1U);
  EXPECT_EQ(groupId(report, 20).group, 2U);
  EXPECT_EQ(groupOf(report, 20).ids, (std::vector<std::uint32_t>{20, 21}));
  EXPECT_EQ(report.groups.groupTable.hardware.writes, 2U);
  EXPECT_EQ(report.groups.groupTable.hardware.deletes, 1U);
  EXPECT_TRUE(routesAreForwarded());
  expectRight();
}

TEST_P(Swaps, KeepTheOldGroupOfAnIdUntilTheNewOneIsInForce) {
  options.interfaceDelay = 8;
  start(three + announceGroup(20, {{1, 0}, {2, 0}}) + announceGroup(21, {{2, 0}, {1, 0}}) +
        announceRoute("10.7.0.0", 16, 20) + idleTurns(16) + announce(9, 9) +
        announceGroup(20, {{9, 0}}) + withdraw(21));
  while (replay().mapping().groups().counts().made < 2) ASSERT_TRUE(replay().turn());
  for (int i = 0; i < 6; ++i) {
    Report const report = replay().report();
    EXPECT_EQ(groupOf(report, 20).state, State::parked);
    EXPECT_EQ(group(report, 1).ids, (std::vector<std::uint32_t>{20}));
    EXPECT_EQ(interfaces(group(report, 1)), (Interfaces{2, 3}));
    EXPECT_TRUE(routesAreForwarded());
    turns(1);
  }
  finish();
  Report const report = replay().report();
  ASSERT_EQ(report.groups.live.size(), 1U);
  EXPECT_EQ(groupOf(report, 20).number, 2U);
  EXPECT_EQ(inHardware(20), (Interfaces{9}));
  EXPECT_EQ(report.groups.blocks, 1U);
  EXPECT_EQ(report.ecmp.live.size(), 1U);
  expectRight();
}

TEST_P(Swaps, KeepTheOldGroupOfAnIdWhenTheNewOneIsRefused) {
  fault(TableId::groups).refusedRows = {2};
  startAndSettle(three + announceGroup(20, {{1, 0}, {2, 0}}) + announceGroup(21, {{2, 0}, {1, 0}}) +
                 announceRoute("10.7.0.0", 16, 20) + idleTurns(12) + announceGroup(20, {{3, 0}}) +
                 withdraw(21));
  Report const report = replay().report();
  EXPECT_EQ(groupId(report, 20).group, 2U);
  EXPECT_EQ(group(report, 2).state, State::refused);
  EXPECT_EQ(interfaces(group(report, 1)), (Interfaces{2, 3}));
  EXPECT_TRUE(routesAreForwarded());
  expectNoInstant();
  faultsOff();
  retry();
  settle();
  EXPECT_EQ(replay().report().groups.live.size(), 1U);
  EXPECT_EQ(inHardware(20), (Interfaces{4}));
  expectRight();
}

INSTANTIATE_TEST_SUITE_P(Answered, Swaps,
                         ::testing::Values(Pace{"AtOnce", std::nullopt}, Pace{"InTheSameTurn", 0},
                                           Pace{"ThreeTurnsLater", 3}),
                         [](auto const& tested) { return tested.param.name; });

// --- Answers that are lost, late, overtaken or said twice.

class AnswersToSwaps : public RepairFixture {
 protected:
  // Answers are all that is waited for.
  AnswersToSwaps() {
    options.interfaceDelay = 0;
    options.mtuDelay = 0;
  }
};

TEST_F(AnswersToSwaps, KeepBothBlocksUntilTheyCome) {
  turnByTurn();
  groupAnswersAfter(6);
  start(three + announceGroup(20, {{1, 0}, {2, 0}}) + announceGroup(21, {{3, 0}}) +
        idleTurns(20, 1) + announceGroup(20, {{2, 0}, {3, 0}}));
  while (replay().mapping().groups().counts().swaps == 0) ASSERT_TRUE(replay().turn());
  // The row names the new block from now on, and the answer comes six turns later.
  for (int i = 0; i < 6; ++i) {
    Report const report = replay().report();
    EXPECT_EQ(groupOf(report, 20).state, State::unanswered);
    EXPECT_EQ(inHardware(20), (Interfaces{3, 4}));
    EXPECT_EQ(blocks(), 3U);
    EXPECT_EQ(removals(TableId::members), 0U);
    EXPECT_EQ(removals(TableId::ecmpNextHops), 0U);
    turns(1);
  }
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::programmed);
  EXPECT_EQ(blocks(), 2U);
  EXPECT_EQ(removals(TableId::members), 2U);
  EXPECT_EQ(removals(TableId::ecmpNextHops), 1U);
  expectRight();
}

TEST_F(AnswersToSwaps, KeepEveryBlockWhenTheyAreLost) {
  fault(TableId::groups).loseAnswerEvery = 2;
  startAndSettle(three + announceGroup(20, {{1, 0}, {2, 0}}) + idleTurns(6) +
                 announceGroup(20, {{2, 0}, {3, 0}}));
  Report const report = replay().report();
  EXPECT_EQ(report.groups.groupTable.hardware.lostAnswers, 1U);
  EXPECT_EQ(groupOf(report, 20).state, State::unanswered);
  EXPECT_EQ(inHardware(20), (Interfaces{3, 4}));
  EXPECT_EQ(blocks(), 2U);
  EXPECT_EQ(formerBlocks(1), 1U);
  EXPECT_EQ(removals(TableId::members), 0U);
  // Another write of the same record is answered.
  retry();
  settle();
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::programmed);
  EXPECT_EQ(blocks(), 1U);
  expectRight();
}

TEST_F(AnswersToSwaps, KeepTheBlockThatTheRowStillNamesWhenTheWriteIsLost) {
  fault(TableId::groups).loseWriteEvery = 2;
  startAndSettle(three + announceGroup(20, {{1, 0}, {2, 0}}) + idleTurns(6) +
                 announceGroup(20, {{3, 0}}));
  EXPECT_EQ(inHardware(20), (Interfaces{2, 3}));
  EXPECT_EQ(blocks(), 2U);
  expectNoInstant();
  retry();
  settle();
  EXPECT_EQ(inHardware(20), (Interfaces{4}));
  EXPECT_EQ(blocks(), 1U);
  expectRight();
}

TEST_F(AnswersToSwaps, ReleaseNothingWhenTheyWereOvertaken) {
  turnByTurn();
  groupAnswersAfter(8);
  start(three + announceGroup(20, {{1, 0}, {2, 0}}) + idleTurns(20, 1) +
        announceGroup(20, {{2, 0}, {3, 0}}) + idleTurns(4, 1) + announceGroup(20, {{3, 0}}));
  while (replay().mapping().groups().counts().swaps < 2) ASSERT_TRUE(replay().turn());
  EXPECT_EQ(formerBlocks(1), 2U);
  // In the fourth turn from here the answer to the second record is due: it says nothing about the
  // third.
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(blocks(), 3U) << i;
    EXPECT_EQ(removals(TableId::members), 0U) << i;
    EXPECT_EQ(groupOf(replay().report(), 20).state, State::unanswered) << i;
    turns(1);
  }
  Report const report = replay().report();
  EXPECT_EQ(report.groups.groupTable.hardware.overtaken, 1U);
  EXPECT_EQ(groupOf(report, 20).state, State::programmed);
  EXPECT_EQ(blocks(), 1U);
  EXPECT_EQ(inHardware(20), (Interfaces{4}));
  expectRight();
}

TEST_F(AnswersToSwaps, ReleaseNothingWhenANewerRecordIsParked) {
  turnByTurn();
  groupAnswersAfter(6);
  options.interfaceDelay = 20;
  start(three + announceGroup(20, {{1, 0}, {2, 0}}) + announceGroup(21, {{3, 0}}) +
        idleTurns(40, 1) + announce(9, 9) + announceGroup(20, {{2, 0}, {3, 0}}) +
        announceGroup(20, {{3, 0}, {9, 0}}));
  while (replay().mapping().groups().counts().swaps < 2) ASSERT_TRUE(replay().turn());
  turns(10);
  Report const report = replay().report();
  // Answered for the second record; the third has not reached the row.
  EXPECT_EQ(report.groups.groupTable.hardware.accepted, 3U);
  EXPECT_EQ(groupOf(report, 20).state, State::parked);
  EXPECT_EQ(inHardware(20), (Interfaces{3, 4}));
  EXPECT_EQ(removals(TableId::members), 0U);
  settle();
  EXPECT_EQ(inHardware(20), (Interfaces{4, 9}));
  EXPECT_EQ(blocks(), 2U);
  expectRight();
}

TEST_F(AnswersToSwaps, MayComeTwice) {
  for (std::uint32_t const delay : {0U, 1U, 5U}) {
    options.faults = {};
    for (SoftAsic::FaultProfile& profile : options.faults.tables) {
      profile.answerAfter = delay;
      profile.answerTwiceEvery = 1;
    }
    Bytes stream = three + announceGroup(20, {{1, 0}, {2, 0}});
    for (int i = 0; i < 5; ++i) {
      stream += idleTurns(i) + announceGroup(20, {{2, 0}, {3, 0}}) + idleTurns(5 - i) +
                announceGroup(20, {{1, 0}, {2, 0}});
    }
    Report const report = run(stream);
    EXPECT_GT(report.groups.groupTable.hardware.repeated, 0U);
    EXPECT_EQ(inHardware(20), (Interfaces{2, 3}));
    EXPECT_EQ(report.groups.blocks, 1U);
    EXPECT_EQ(formerBlocks(1), 0U);
    expectRight();
  }
}

TEST_F(AnswersToSwaps, MayComeInAnyOrder) {
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    options.faults.seed = seed;
    for (SoftAsic::FaultProfile& profile : options.faults.tables) {
      profile.answerAfter = 2;
      profile.order = SoftAsic::FaultProfile::Order::random;
      profile.lateEvery = 3;
      profile.lateBy = 4;
    }
    Bytes stream = three;
    for (std::uint32_t id = 20; id < 26; ++id) stream += announceGroup(id, {{1 + id % 3, 0}});
    for (std::uint32_t i = 0; i < 12; ++i) {
      std::uint8_t const weight = static_cast<std::uint8_t>(i);
      stream += announceGroup(20 + i % 6, {{1 + i % 3, weight}, {1 + (i + 1) % 3, 4}}) +
                idleTurns(static_cast<int>(i % 4));
    }
    run(stream);
    EXPECT_EQ(blocks(), replay().mapping().groups().groups().size());
    expectRight();
    expectNothingLeftAfter({});
  }
}

TEST_F(AnswersToSwaps, DoNotMakeARouteForwardedThatNeverWas) {
  // Neither record of the group was ever taken.
  fault(TableId::groups).refusedRows = {1};
  startAndSettle(three + announceGroup(20, {{1, 0}, {2, 0}}) + announceRoute("10.7.0.0", 16, 20) +
                 idleTurns(6) + announceGroup(20, {{2, 0}, {3, 0}}));
  Report const report = replay().report();
  EXPECT_EQ(report.groups.groupTable.rowsInForce, 0U);
  EXPECT_EQ(groupOf(report, 20).state, State::refused);
  EXPECT_EQ(report.routes.liveIn(Routes::State::notInForce), 1U) << way("10.7.0.1");
}

// --- Local repair.

class Repairs : public RepairFixture {
 protected:
  // Groups over interfaces 2 and 3, 2 and 4, 3 and 4, 2 alone, and 2, 3 and 4.
  Bytes const groups = announceGroup(20, {{1, 0}, {2, 0}}) + announceGroup(21, {{1, 0}, {3, 0}}) +
                       announceGroup(22, {{2, 0}, {3, 0}}) + announceGroup(23, {{1, 0}}) +
                       announceGroup(24, {{1, 0}, {2, 0}, {3, 0}});
  Bytes const stream = three + groups;
};

class RepairsAtAnyPace : public Repairs, public ::testing::WithParamInterface<Pace> {
 protected:
  RepairsAtAnyPace() { answersAfter(GetParam().answers); }
};

TEST_P(RepairsAtAnyPace, LeaveOutThePathsOfEveryGroupWithinTheEvent) {
  startAndSettle(stream);
  std::uint64_t const writes = replay().report().groups.groupTable.hardware.writes;
  interfaceIs(2, false);
  // No turn passed: the rows have it already.
  Report const repaired = replay().report();
  EXPECT_EQ(inHardware(20), (Interfaces{3}));
  EXPECT_EQ(inHardware(21), (Interfaces{4}));
  EXPECT_EQ(inHardware(22), (Interfaces{3, 4}));
  EXPECT_EQ(inHardware(24), (Interfaces{3, 4}));
  EXPECT_EQ(repaired.groups.groupTable.hardware.writes, writes + 3);
  EXPECT_EQ(repaired.groups.counts.repairs, 3U);
  EXPECT_EQ(repaired.groups.counts.swaps, 3U);
  EXPECT_EQ(groupOf(repaired, 24).pathsDown, 1U);
  settle();
  EXPECT_EQ(groupsOver(replay().report(), 2), (std::set<std::uint32_t>{4}));
  expectRight();
  interfaceIs(2, true);
  Report const restored = replay().report();
  EXPECT_EQ(inHardware(20), (Interfaces{2, 3}));
  EXPECT_EQ(inHardware(21), (Interfaces{2, 4}));
  EXPECT_EQ(inHardware(24), (Interfaces{2, 3, 4}));
  EXPECT_EQ(restored.groups.counts.restores, 3U);
  EXPECT_EQ(groupOf(restored, 24).pathsDown, 0U);
  settle();
  EXPECT_EQ(replay().report().groups.liveIn(State::programmed), 5U);
  EXPECT_EQ(blocks(), 5U);
  expectRight();
}

TEST_P(RepairsAtAnyPace, KeepTheOldBlocksUntilTheAnswers) {
  startAndSettle(stream);
  interfaceIs(2, false);
  if (GetParam().answers) {
    // Blocks of five groups, and of what is new of the repaired ones: {3} and {4}.
    EXPECT_EQ(blocks(), 7U);
    EXPECT_EQ(removals(TableId::members), 0U);
    turns(static_cast<int>(*GetParam().answers));
    EXPECT_EQ(removals(TableId::members), 0U);
    turns(1);
  }
  // {2, 3}, {2, 4} and {2, 3, 4} went.
  EXPECT_EQ(blocks(), 4U);
  EXPECT_EQ(removals(TableId::members), 7U);
  expectRight();
}

TEST_P(RepairsAtAnyPace, ShareBlocksThatBecameEqualAndStayGroupsOfTheirOwn) {
  startAndSettle(stream);
  interfaceIs(2, false);
  settle();
  Report const report = replay().report();
  ASSERT_EQ(report.groups.live.size(), 5U);
  EXPECT_NE(groupOf(report, 22).number, groupOf(report, 24).number);
  EXPECT_NE(groupOf(report, 22).row, groupOf(report, 24).row);
  EXPECT_EQ(groupOf(report, 22).contents, groupOf(report, 24).contents);
  EXPECT_EQ(blocks(), 4U);
  expectRight();
}

TEST_P(RepairsAtAnyPace, UndoneBeforeTheAnswersLeaveOneBlockForEachGroup) {
  startAndSettle(stream);
  for (int i = 0; i < 3; ++i) {
    interfaceIs(2, false);
    interfaceIs(2, true);
    turns(i);
  }
  EXPECT_EQ(groupsOver(replay().report(), 2), (std::set<std::uint32_t>{1, 2, 4, 5}));
  settle();
  Report const report = replay().report();
  EXPECT_EQ(report.groups.liveIn(State::programmed), 5U);
  EXPECT_EQ(blocks(), 5U);
  for (std::uint32_t number = 1; number <= 5; ++number) EXPECT_EQ(formerBlocks(number), 0U);
  expectRight();
  expectNothingLeftAfter({});
}

TEST_P(RepairsAtAnyPace, HappenWhileASwapIsUnderWay) {
  options.interfaceDelay = 6;
  start(stream + idleTurns(16) + announce(9, 9) + announceGroup(20, {{1, 0}, {9, 0}}) +
        announceGroup(21, {{2, 0}, {9, 0}}));
  while (replay().mapping().groups().counts().swaps < 2) ASSERT_TRUE(replay().turn());
  interfaceIs(2, false);
  // 20 and 21 wait for 9; the others do not wait for them.
  EXPECT_EQ(inHardware(24), (Interfaces{3, 4}));
  settle();
  EXPECT_EQ(inHardware(20), (Interfaces{9}));
  EXPECT_EQ(inHardware(21), (Interfaces{3, 9}));
  expectRight();
  interfaceIs(2, true);
  settle();
  EXPECT_EQ(inHardware(20), (Interfaces{2, 9}));
  expectRight();
}

INSTANTIATE_TEST_SUITE_P(Answered, RepairsAtAnyPace,
                         ::testing::Values(Pace{"AtOnce", std::nullopt}, Pace{"InTheSameTurn", 0},
                                           Pace{"ThreeTurnsLater", 3}),
                         [](auto const& tested) { return tested.param.name; });

TEST_F(Repairs, LeaveGroupsWithoutAnotherPathAsTheyAre) {
  startAndSettle(stream);
  interfaceIs(2, false);
  interfaceIs(3, false);
  interfaceIs(4, false);
  settle();
  EXPECT_EQ(inHardware(23), (Interfaces{2}));
  // The last path that was left went down: all are as good as none, and all are asked for again.
  EXPECT_EQ(inHardware(24), (Interfaces{2, 3, 4}));
  expectRight();
  interfaceIs(3, true);
  settle();
  EXPECT_EQ(inHardware(20), (Interfaces{3}));
  EXPECT_EQ(inHardware(21), (Interfaces{2, 4}));
  EXPECT_EQ(inHardware(22), (Interfaces{3}));
  EXPECT_EQ(inHardware(23), (Interfaces{2}));
  EXPECT_EQ(inHardware(24), (Interfaces{3}));
  expectRight();
}

TEST_F(Repairs, KeepTheWeightsOfWhatIsLeft) {
  startAndSettle(three + announceGroup(20, {{1, 1}, {2, 3}, {3, 1}}));
  EXPECT_EQ(inHardware(20), (Interfaces{2, 3, 3, 4}));
  interfaceIs(2, false);
  EXPECT_EQ(inHardware(20), (Interfaces{3, 3, 4}));
  settle();
  expectRight();
}

TEST_F(Repairs, ReachGroupsOfRoutes) {
  startAndSettle(announceRoute("10.7.0.0", 16, routeByPaths({{2, "10.0.1.2"}, {3, "10.0.2.2"}})));
  interfaceIs(3, false);
  EXPECT_EQ(interfaces(group(replay().report(), 1)), (Interfaces{2}));
  settle();
  EXPECT_TRUE(routesAreForwarded());
  expectRight();
}

TEST_F(Repairs, HoldForGroupsThatComeWhileTheInterfaceIsDown) {
  options.events = {eventOf("at 3 interface 2 down")};
  Report const report =
      run(stream + announceRoute("10.7.0.0", 16, routeByPaths({{2, "10.0.1.9"}, {3, "10.0.2.2"}})));
  EXPECT_EQ(inHardware(20), (Interfaces{3}));
  EXPECT_EQ(inHardware(23), (Interfaces{2}));
  EXPECT_EQ(inHardware(24), (Interfaces{3, 4}));
  EXPECT_EQ(report.groups.counts.repairs, 0U);
  EXPECT_EQ(report.groups.counts.swaps, 0U);
  expectRight();
  interfaceIs(2, true);
  settle();
  EXPECT_EQ(inHardware(20), (Interfaces{2, 3}));
  EXPECT_EQ(inHardware(24), (Interfaces{2, 3, 4}));
  expectRight();
}

TEST_F(Repairs, HoldForContentsThatComeWhileTheInterfaceIsDown) {
  startAndSettle(stream);
  end();
  options.events = {eventOf("at 8 interface 2 down")};
  run(stream + idleTurns(6) + announceGroup(22, {{1, 0}, {3, 0}, {2, 2}}) +
      announce(3, 2, "10.0.1.7"));
  // What was over 4 is over 2 now.
  EXPECT_EQ(inHardware(22), (Interfaces{3, 3, 3}));
  EXPECT_EQ(inHardware(21), (Interfaces{2, 2}));
  EXPECT_EQ(inHardware(24), (Interfaces{3}));
  expectRight();
  interfaceIs(2, true);
  settle();
  EXPECT_EQ(inHardware(24), (Interfaces{2, 2, 3}));
  expectRight();
}

TEST_F(Repairs, BeforeAnythingIsAnnouncedHoldFromTheStart) {
  options.events = {eventOf("at 0 interface 2 down")};
  Report const report = run(stream);
  EXPECT_EQ(groupsOver(report, 2), (std::set<std::uint32_t>{4}));
  EXPECT_EQ(report.groups.counts.swaps, 0U);
  expectRight();
}

TEST_F(Repairs, ChangeNothingTheSecondTime) {
  startAndSettle(stream);
  interfaceIs(2, false);
  settle();
  std::uint64_t const calls = replay().hardware().calls();
  interfaceIs(2, false);
  settle();
  EXPECT_EQ(replay().hardware().calls(), calls);
  EXPECT_EQ(replay().report().groups.counts.repairs, 3U);
  interfaceIs(2, true);
  settle();
  EXPECT_EQ(inHardware(20), (Interfaces{2, 3}));
  expectRight();
}

TEST_F(Repairs, ChangeNothingWhenAnInterfaceReturnsThatWasNotDown) {
  startAndSettle(stream);
  std::uint64_t const calls = replay().hardware().calls();
  interfaceIs(2, true);
  interfaceIs(99, true);
  interfaceIs(98, false);
  settle();
  EXPECT_EQ(replay().hardware().calls(), calls);
  EXPECT_EQ(replay().report().groups.counts.restores, 0U);
  expectRight();
}

TEST_F(Repairs, TakeTheNextHopsOfTheInterfaceOutOfTheHardware) {
  startAndSettle(three + announceGroup(20, {{1, 0}, {2, 0}}) + announceGroup(21, {{1, 0}, {3, 0}}));
  EXPECT_EQ(replay().report().ecmp.live.size(), 3U);
  interfaceIs(2, false);
  settle();
  EXPECT_EQ(replay().report().ecmp.live.size(), 2U);
  EXPECT_EQ(removals(TableId::ecmpNextHops), 1U);
  interfaceIs(2, true);
  settle();
  EXPECT_EQ(replay().report().ecmp.live.size(), 3U);
  expectRight();
}

TEST_F(Repairs, WithoutRoomForTheNewBlockKeepTheOldOne) {
  options.memberRows = 11;  // 2 + 2 + 2 + 1 + 3 are in use
  startAndSettle(stream);
  ASSERT_EQ(replay().report().groups.memberTable.free, 1U);
  interfaceIs(3, false);
  // There is room for one of {2} and {4}, and {2} is there already.
  Report const report = replay().report();
  EXPECT_EQ(inHardware(20), (Interfaces{2}));
  EXPECT_EQ(inHardware(22), (Interfaces{4}));
  EXPECT_EQ(inHardware(24), (Interfaces{2, 4}));
  EXPECT_EQ(report.groups.counts.repairs, 3U);
  settle();
  expectRight();
  end();

  options.memberRows = 10;
  startAndSettle(stream);
  interfaceIs(3, false);
  Report const full = replay().report();
  EXPECT_EQ(inHardware(20), (Interfaces{2}));
  EXPECT_EQ(inHardware(22), (Interfaces{3, 4}));
  EXPECT_EQ(groupOf(full, 22).state, State::notPlaced);
  EXPECT_EQ(groupOf(full, 22).reason,
            "no room in the member table: 1 needed, 0 of 10 rows free, longest run 0");
  EXPECT_EQ(inHardware(24), (Interfaces{2, 4}));
  EXPECT_EQ(full.groups.counts.repairs, 2U);
  // The answers of the others free rows, which it takes.
  settle();
  EXPECT_EQ(inHardware(22), (Interfaces{4}));
  expectRight();
}

TEST_F(Repairs, WithoutRoomAreUndoneByTheInterfacesReturn) {
  options.memberRows = 3;
  startAndSettle(three + announceGroup(20, {{1, 0}, {2, 0}, {3, 0}}));
  interfaceIs(3, false);
  settle();
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::notPlaced);
  EXPECT_EQ(inHardware(20), (Interfaces{2, 3, 4}));
  expectNoInstant();
  interfaceIs(3, true);
  settle();
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::programmed);
  EXPECT_EQ(groupOf(replay().report(), 20).reason, "");
  expectRight();
}

TEST_F(Repairs, ThatARowRefusesKeepTheOldBlock) {
  startAndSettle(stream);
  device().groups().rowRefusesIs(groupOf(replay().report(), 20).row.value(), true);
  interfaceIs(3, false);
  settle();
  Report const report = replay().report();
  EXPECT_EQ(inHardware(20), (Interfaces{2, 3}));
  EXPECT_EQ(groupOf(report, 20).state, State::refused);
  EXPECT_EQ(inHardware(22), (Interfaces{4}));
  EXPECT_EQ(inHardware(24), (Interfaces{2, 4}));
  expectNoInstant();
  faultsOff();
  retry();
  settle();
  EXPECT_EQ(inHardware(20), (Interfaces{2}));
  expectRight();
  interfaceIs(3, true);
  settle();
  EXPECT_EQ(inHardware(20), (Interfaces{2, 3}));
  expectRight();
}

TEST_F(Repairs, ThatARowRefusesAreUndoneByTheInterfacesReturn) {
  startAndSettle(stream);
  device().groups().rowRefusesIs(groupOf(replay().report(), 20).row.value(), true);
  interfaceIs(3, false);
  settle();
  device().groups().rowRefusesIs(groupOf(replay().report(), 20).row.value(), false);
  interfaceIs(3, true);
  settle();
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::programmed);
  EXPECT_EQ(inHardware(20), (Interfaces{2, 3}));
  EXPECT_EQ(formerBlocks(1), 0U);
  EXPECT_EQ(blocks(), 5U);
  expectRight();
}

TEST_F(Repairs, OfGroupsThatAreParkedTakeEffectWithThem) {
  options.interfaceDelay = 10;
  start(stream);
  turns(3);
  EXPECT_EQ(replay().report().groups.liveIn(State::parked), 5U);
  interfaceIs(2, false);
  settle();
  EXPECT_EQ(groupsOver(replay().report(), 2), (std::set<std::uint32_t>{4}));
  // What never reached a row left nothing to be deleted there.
  EXPECT_EQ(replay().report().groups.groupTable.hardware.writes, 5U);
  expectRight();
}

TEST_F(Repairs, BringAGroupInForceThatWaitedForARefusedNextHop) {
  fault(TableId::ecmpNextHops).refusedRows = {1};
  startAndSettle(three + announceGroup(20, {{1, 0}, {2, 0}}));
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::parked);
  interfaceIs(2, false);
  settle();
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::programmed);
  EXPECT_EQ(inHardware(20), (Interfaces{3}));
  expectRight();
  // Back again: the refused one keeps the group from its new block, not from the one in force.
  interfaceIs(2, true);
  settle();
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::parked);
  EXPECT_EQ(inHardware(20), (Interfaces{3}));
  expectNoInstant();
  expectNothingLeftAfter({});
}

TEST_F(Repairs, ReachTheOldGroupOfAnIdWhoseNewOneWaits) {
  options.interfaceDelay = 30;
  start(three + announceGroup(20, {{1, 0}, {2, 0}}) + announceGroup(21, {{2, 0}, {1, 0}}) +
        idleTurns(40) + announce(9, 9) + announceGroup(20, {{9, 0}}) + withdraw(21));
  while (replay().mapping().groups().counts().made < 2) ASSERT_TRUE(replay().turn());
  interfaceIs(2, false);
  EXPECT_EQ(interfaces(group(replay().report(), 1)), (Interfaces{3}));
  settle();
  EXPECT_EQ(inHardware(20), (Interfaces{9}));
  expectRight();
}

TEST_F(Repairs, ReachTheBlockThatIsInForceWhileTheNewOneWaits) {
  options.interfaceDelay = 30;
  start(three + announceGroup(20, {{1, 0}, {2, 0}}) + idleTurns(40) + announce(9, 9) +
        announceGroup(20, {{9, 0}, {3, 0}}));
  while (replay().mapping().groups().counts().swaps < 1) ASSERT_TRUE(replay().turn());
  ASSERT_EQ(inHardware(20), (Interfaces{2, 3}));
  interfaceIs(2, false);
  EXPECT_EQ(inHardware(20), (Interfaces{3}));
  settle();
  EXPECT_EQ(inHardware(20), (Interfaces{4, 9}));
  expectRight();
}

TEST_F(Repairs, OfGroupsThatEndMeanwhileLeaveNothing) {
  answersAfter(4);
  options.events = {eventOf("at 200 interface 2 down"), eventOf("at 203 interface 3 down"),
                    eventOf("at 205 interface 2 up")};
  run(stream + idleTurns(12) + withdraw(20) + idleTurns(1) + withdraw(21) + withdraw(22) +
      withdraw(23) + withdraw(24) + withdraw(1) + withdraw(2) + withdraw(3));
  EXPECT_TRUE(replay().events().unreached().empty());
  expectNoInstant();
  expectNothingLeft(replay());
}

// --- Local repair in the middle of a recorded stream.

struct Failure {
  char const* name;
  std::optional<std::uint32_t> answers;
  SoftAsic::FaultProfile::Order order;
};

class RecordedRepairs : public RepairFixture, public ::testing::WithParamInterface<Failure> {
 protected:
  RecordedRepairs() {
    options.rows = 32768;
    options.journalFile.clear();
    answersAfter(GetParam().answers);
    for (SoftAsic::FaultProfile& profile : options.faults.tables) profile.order = GetParam().order;
  }
};

// Numbers of the groups that ask for a path over the interface.
std::size_t groupsAskingFor(Report const& report, std::uint32_t interface) {
  auto const& live = report.groups.live;
  return static_cast<std::size_t>(
      std::count_if(live.begin(), live.end(), [interface](ShownGroup const& group) {
        return std::any_of(group.paths.begin(), group.paths.end(), [interface](auto const& path) {
          return path.first.interfaceIndex() == interface;
        });
      }));
}

TEST_P(RecordedRepairs, PruneAThousandGroupsInOneEventAndRestoreThem) {
  start(contentOf(streamPath("bgp-1k-distinct16.0.fpm")));
  turns(150);
  Report const before = replay().report();
  ASSERT_EQ(before.stream.messages, 2400U);
  std::size_t const affected = groupsOver(before, 5).size();
  EXPECT_GT(affected, 300U);
  interfaceIs(5, false);
  Report const pruned = replay().report();
  EXPECT_GE(pruned.groups.counts.repairs, affected);
  EXPECT_TRUE(groupsOver(pruned, 5).empty());
  settle();
  Report const settled = replay().report();
  EXPECT_TRUE(groupsOver(settled, 5).empty());
  EXPECT_EQ(settled.groups.liveIn(State::programmed), 1000U);
  expectRight();
  interfaceIs(5, true);
  settle();
  Report const restored = replay().report();
  EXPECT_GT(groupsAskingFor(restored, 5), 300U);
  EXPECT_EQ(groupsOver(restored, 5).size(), groupsAskingFor(restored, 5));
  EXPECT_EQ(restored.groups.liveIn(State::programmed), 1000U);
  expectRight();
}

TEST_P(RecordedRepairs, OfSeveralInterfacesEndWithTheRightRows) {
  options.events = {
      eventOf("at 500 interface 7 down"),   eventOf("at 1500 interface 9 down"),
      eventOf("at 2000 interface 7 up"),    eventOf("at 2500 interface 2 down"),
      eventOf("at 3300 interface 11 down"), eventOf("at 3500 interface 9 up"),
      eventOf("at end interface 2 up"),
  };
  Report const report = run(contentOf(streamPath("bgp-1k-distinct16.0.fpm")));
  EXPECT_TRUE(replay().events().unreached().empty());
  EXPECT_GT(report.groups.counts.repairs, 0U);
  EXPECT_GT(report.groups.counts.restores, 0U);
  EXPECT_EQ(report.groups.liveIn(State::programmed), 1000U);
  EXPECT_TRUE(groupsOver(report, 11).empty());
  EXPECT_FALSE(groupsOver(report, 9).empty());
  expectRight();
}

INSTANTIATE_TEST_SUITE_P(
    Answered, RecordedRepairs,
    ::testing::Values(Failure{"AtOnce", std::nullopt, SoftAsic::FaultProfile::Order::inOrder},
                      Failure{"InTheSameTurn", 0, SoftAsic::FaultProfile::Order::inOrder},
                      Failure{"TenTurnsLater", 10, SoftAsic::FaultProfile::Order::inOrder},
                      Failure{"InAnyOrder", 3, SoftAsic::FaultProfile::Order::random}),
    [](auto const& tested) { return tested.param.name; });

}  // namespace
}  // namespace OrviaL3Agent
