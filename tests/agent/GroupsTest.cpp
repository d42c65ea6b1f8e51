// What becomes of groups between the stream and the hardware.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "agent/Replay.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using State = ShownGroup::State;

class GroupsTest : public ReplayFixture {
 protected:
  GroupsTest() {
    options.rows = 64;
    options.ecmpRows.reset();
  }

  static ShownGroup const& group(Report const& report, std::uint32_t id) {
    for (ShownGroup const& group : report.groups.live) {
      if (group.id == id) return group;
    }
    throw std::out_of_range("no live group " + std::to_string(id));
  }
  static ShownGroup::State state(Report const& report, std::uint32_t id) {
    return group(report, id).state;
  }
  // The interfaces of the rows of a group's block, as the hardware has them.
  static std::vector<std::uint32_t> interfaces(ShownGroup const& group) {
    std::vector<std::uint32_t> found;
    for (ShownMember const& member : group.members) {
      found.push_back(member.contents.value().interface);
    }
    return found;
  }
  using Interfaces = std::vector<std::uint32_t>;

  // Turns in which nothing new is said.
  static Bytes idle(int turns) {
    Bytes bytes;
    for (int i = 0; i < 16 * turns; ++i) bytes += announceRoute("10.0.0.0", 8, 1);
    return bytes;
  }

  Bytes const three =
      announce(1, 2, "10.0.1.2") + announce(2, 3, "10.0.2.2") + announce(3, 4, "fe80::3");
};

TEST_F(GroupsTest, BecomeNextHopsABlockAndAGroup) {
  Report const report = run(three + announceGroup(20, {{1, 0}, {2, 0}, {3, 0}}));
  EXPECT_EQ(state(report, 20), State::programmed);
  EXPECT_EQ(group(report, 20).row, 1U);
  EXPECT_EQ(group(report, 20).contents, (SoftAsic::GroupContents{0, 3, 0}));
  EXPECT_EQ(interfaces(group(report, 20)), (Interfaces{2, 3, 4}));
  for (ShownMember const& member : group(report, 20).members) {
    EXPECT_LT(member.nextHopRow.value(), 32U);
    EXPECT_EQ(member.nextHop.value().mtuProfilePtr, 1);
  }
  EXPECT_EQ(report.groups.nextHopTable.hardware.accepted, 3U);
  EXPECT_EQ(report.groups.memberTable.hardware.accepted, 3U);
  EXPECT_EQ(report.groups.groupTable.hardware.accepted, 1U);
}

TEST_F(GroupsTest, GiveTheSameNeighbourTheSameNumberInBothViews) {
  Report const report = run(three + announceGroup(20, {{2, 0}}));
  ShownMember const& member = group(report, 20).members.at(0);
  EXPECT_EQ(shown(report, 2).row, 33U);
  EXPECT_EQ(member.nextHopRow, 1U);
  EXPECT_EQ(member.nextHop, replay().hardware().row(33).contents);
}

TEST_F(GroupsTest, TakeRowsByTheirWeightsWithoutTheCommonDivisor) {
  Report const report = run(three + announceGroup(20, {{2, 5}, {1, 2}}));
  EXPECT_EQ(interfaces(group(report, 20)), (Interfaces{2, 3, 3}));
  EXPECT_EQ(group(report, 20).contents.value().numPaths, 3U);
}

TEST_F(GroupsTest, ShareABlockWhenTheyAreEqualInAnotherOrder) {
  Report const report =
      run(three + announce(9, 3, "10.0.2.2") + announceGroup(20, {{1, 0}, {2, 1}}) +
          announceGroup(21, {{9, 3}, {1, 1}}));
  EXPECT_EQ(report.groups.blocks, 1U);
  EXPECT_EQ(report.groups.nextHops, 2U);
  EXPECT_EQ(group(report, 20).contents, group(report, 21).contents);
  EXPECT_NE(group(report, 20).row, group(report, 21).row);
}

TEST_F(GroupsTest, CountWeightsThatAreNotKnown) {
  Report const report = run(three + announceGroup(20, {{1, 255}, {2, 255}}));
  EXPECT_EQ(report.groups.counts.unknownWeights, 1U);
  EXPECT_EQ(interfaces(group(report, 20)), (Interfaces{2, 3}));
}

TEST_F(GroupsTest, AreScaledToTheMostRowsThatABlockMayHave) {
  options.maxWidth = 10;
  Report const report = run(three + announceGroup(20, {{1, 199}, {2, 98}, {3, 0}}));
  EXPECT_EQ(report.groups.counts.scaled, 1U);
  EXPECT_EQ(interfaces(group(report, 20)), (Interfaces{2, 2, 2, 2, 2, 2, 3, 3, 3, 4}));
  EXPECT_NEAR(report.groups.counts.worstScaling, 1.0 / 10 - 1.0 / 300, 1e-9);
}

TEST_F(GroupsTest, WithMoreMembersThanABlockMayHaveAreNotPlaced) {
  options.maxWidth = 2;
  Report const report = run(three + announceGroup(20, {{1, 0}, {2, 0}, {3, 0}}));
  EXPECT_EQ(state(report, 20), State::notPlaced);
  EXPECT_EQ(group(report, 20).reason, "3 members, a block has at most 2 rows");
}

TEST_F(GroupsTest, WaitForTheirMembersOutsideOfTheTables) {
  Bytes const before = announceGroup(20, {{1, 0}, {2, 0}}) + announce(1, 2, "10.0.1.2");
  Report const waiting = run(before);
  EXPECT_EQ(state(waiting, 20), State::missingMembers);
  EXPECT_EQ(group(waiting, 20).ids, (std::vector<std::uint32_t>{2}));
  EXPECT_EQ(waiting.groups.nextHops, 0U);
  EXPECT_EQ(replay().groupTable().entryHandles(), 0U);
  EXPECT_NE(text(waiting).find("Groups that are not programmed\n  group 20: waits for members 2\n"),
            std::string::npos)
      << text(waiting);
  Report const report = run(before + announce(2, 3));
  EXPECT_EQ(state(report, 20), State::programmed);
  EXPECT_EQ(report.groups.counts.waited, 1U);
  EXPECT_EQ(interfaces(group(report, 20)), (Interfaces{2, 3}));
}

TEST_F(GroupsTest, AreParkedInTheirTableUntilInterfacesAreThere) {
  options.interfaceDelay.reset();
  Report const report = run(three + announceGroup(20, {{1, 0}, {2, 0}}));
  EXPECT_EQ(state(report, 20), State::parked);
  EXPECT_EQ(report.groups.waitingBlocks, 1U);
  EXPECT_EQ(report.groups.groupTable.hardware.writes, 0U);
  EXPECT_EQ(replay().groupTable().unresolvedEntrys(), 1U);
  expectNothingLeftAfter(withdraw(20));
}

TEST_F(GroupsTest, WithMembersThatDropAreNotProgrammed) {
  Report const report = run(three + announceBlackhole(8) + announceGroup(20, {{1, 0}, {8, 0}}));
  EXPECT_EQ(state(report, 20), State::blackhole);
  EXPECT_EQ(group(report, 20).ids, (std::vector<std::uint32_t>{8}));
  EXPECT_EQ(report.groups.nextHopTable.hardware.writes, 0U);
  EXPECT_NE(text(report).find("  group 20: not programmed, drops over members 8\n"),
            std::string::npos);
  // A member that comes to drop takes the group out of the hardware; one that comes back brings it.
  withoutWaiting();
  Bytes const group = announceGroup(20, {{1, 0}, {2, 0}});
  Report const gone = run(three + group + announceBlackhole(1));
  EXPECT_EQ(state(gone, 20), State::blackhole);
  EXPECT_EQ(gone.groups.groupTable.rowsInForce, 0U);
  EXPECT_EQ(gone.groups.nextHops, 0U);
  EXPECT_EQ(state(run(three + group + announceBlackhole(1) + announce(1, 7)), 20),
            State::programmed);
}

TEST_F(GroupsTest, LeaveFromTheTop) {
  Report const report = run(three + announceGroup(20, {{1, 0}, {2, 0}}) +
                            announceGroup(21, {{2, 0}, {3, 0}}) + idle(4) + withdraw(20));
  EXPECT_EQ(report.groups.blocks, 1U);
  EXPECT_EQ(report.groups.nextHops, 2U);
  EXPECT_EQ(report.groups.nextHopTable.hardware.deletes, 1U);
  EXPECT_EQ(report.groups.memberTable.hardware.deletes, 2U);
  EXPECT_EQ(report.groups.groupTable.hardware.deletes, 1U);
  EXPECT_EQ(interfaces(group(report, 21)), (Interfaces{3, 4}));
}

TEST_F(GroupsTest, KeepAMemberThatIsWithdrawnUnderThem) {
  Report const report = run(three + announceGroup(20, {{1, 0}, {2, 0}}) + idle(4) + withdraw(1));
  EXPECT_EQ(state(report, 20), State::programmed);
  EXPECT_EQ(interfaces(group(report, 20)), (Interfaces{2, 3}));
  EXPECT_EQ(report.groups.counts.membersKept, 1U);
}

TEST_F(GroupsTest, AreNotTouchedWhenTheyAreAnnouncedAgainAsTheyWere) {
  Bytes const group = announceGroup(20, {{1, 0}, {2, 0}});
  Report const report = run(three + group + idle(4) + group + three);
  EXPECT_EQ(report.groups.counts.repeated, 1U);
  EXPECT_EQ(report.groups.counts.swaps, 0U);
  EXPECT_EQ(report.groups.groupTable.hardware.writes, 1U);
  EXPECT_EQ(report.groups.memberTable.hardware.writes, 2U);
}

TEST_F(GroupsTest, MayBeANextHopAfterwards) {
  Report const report = run(three + announceGroup(20, {{1, 0}}) + announce(20, 9));
  EXPECT_TRUE(report.groups.live.empty());
  EXPECT_EQ(report.groups.nextHops, 0U);
  EXPECT_EQ(shown(report, 20).state, ShownNextHop::State::programmed);
}

// --- Other contents.

class Swaps : public GroupsTest, public ::testing::WithParamInterface<ReplayOptions::Answer> {
 protected:
  Swaps() { options.answer = GetParam(); }
};

TEST_P(Swaps, KeepTheRowAndLetTheOldBlockGo) {
  Report const report = run(three + announceGroup(20, {{1, 0}, {2, 0}}) + idle(4) +
                            announceGroup(20, {{2, 0}, {3, 0}}));
  EXPECT_EQ(report.groups.counts.swaps, 1U);
  EXPECT_EQ(state(report, 20), State::programmed);
  EXPECT_EQ(group(report, 20).row, 1U);
  EXPECT_EQ(interfaces(group(report, 20)), (Interfaces{3, 4}));
  EXPECT_EQ(group(report, 20).contents.value().ecmpBlockPtr, 2U);  // both blocks were there
  EXPECT_EQ(report.groups.blocks, 1U);
  EXPECT_EQ(report.groups.nextHops, 2U);
  EXPECT_TRUE(replay().groups().groups().at(20).former.empty());
}

TEST_P(Swaps, FollowAMemberThatChanges) {
  Report const report =
      run(three + announceGroup(20, {{1, 0}, {2, 0}}) + idle(4) + announce(1, 9, "10.0.9.9"));
  EXPECT_EQ(state(report, 20), State::programmed);
  EXPECT_EQ(interfaces(group(report, 20)), (Interfaces{3, 9}));
  EXPECT_EQ(report.groups.nextHops, 2U);
}

TEST_P(Swaps, LeaveTheOldBlockInForceUntilTheNewOneIs) {
  options.slice = 16;
  options.interfaceDelay = 3;
  start(three + announceGroup(20, {{1, 0}, {2, 0}}) + idle(6) + announce(9, 9) +
        announceGroup(20, {{2, 0}, {9, 0}}));
  while (replay().groups().counts().swaps == 0) ASSERT_TRUE(replay().turn());
  Report report = replay().report();
  EXPECT_EQ(state(report, 20), State::parked);
  EXPECT_TRUE(group(report, 20).olderInRow);
  EXPECT_EQ(interfaces(group(report, 20)), (Interfaces{2, 3}));
  finish();
  report = replay().report();
  EXPECT_EQ(state(report, 20), State::programmed);
  EXPECT_EQ(interfaces(group(report, 20)), (Interfaces{3, 9}));
  EXPECT_EQ(report.groups.blocks, 1U);
  EXPECT_EQ(report.groups.nextHops, 2U);
  EXPECT_TRUE(replay().groups().groups().at(20).former.empty());
}

TEST_P(Swaps, KeepTheOldBlockWhenTheRowRefusesTheNewOne) {
  start(three + announceGroup(20, {{1, 0}, {2, 0}}) + idle(6) + announceGroup(20, {{3, 0}}) +
        idle(6) + withdraw(20) + withdraw(1) + withdraw(2) + withdraw(3));
  while (replay().report().groups.groupTable.rowsInForce == 0) ASSERT_TRUE(replay().turn());
  replay().hardware().device().groups().rowRefusesIs(1, true);
  while (replay().groups().counts().swaps == 0) ASSERT_TRUE(replay().turn());
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(replay().turn());
  Report const report = replay().report();
  EXPECT_EQ(state(report, 20), State::refused);
  EXPECT_TRUE(group(report, 20).olderInRow);
  EXPECT_EQ(interfaces(group(report, 20)), (Interfaces{2, 3}));
  EXPECT_EQ(report.groups.blocks, 2U);
  finish();
  expectNothingLeft(replay());
}

TEST_P(Swaps, BackAndForthWhileNothingIsReadyLeaveOneBlock) {
  Bytes const a = announceGroup(20, {{1, 0}, {2, 0}});
  Bytes const b = announceGroup(20, {{2, 0}, {3, 0}});
  Report const report = run(three + a + b + a + b + idle(4) + a + b + a);
  EXPECT_EQ(state(report, 20), State::programmed);
  EXPECT_EQ(interfaces(group(report, 20)), (Interfaces{2, 3}));
  EXPECT_EQ(report.groups.blocks, 1U);
  EXPECT_EQ(report.groups.nextHops, 2U);
  EXPECT_TRUE(replay().groups().groups().at(20).former.empty());
}

INSTANTIATE_TEST_SUITE_P(Answered, Swaps,
                         ::testing::Values(ReplayOptions::Answer::now, ReplayOptions::Answer::loop),
                         [](auto const& tested) {
                           return tested.param == ReplayOptions::Answer::now ? "AtOnce" : "Later";
                         });

// --- Full tables.

TEST_F(GroupsTest, WithoutRoomForNextHopsAreListedAndTriedAgain) {
  options.ecmpRows = 3;  // rows 1 and 2
  Bytes const big = announceGroup(20, {{1, 0}, {2, 0}, {3, 0}});
  Bytes const small = announceGroup(21, {{1, 0}, {2, 0}});
  Report const report = run(three + big + idle(4) + small + idle(2));
  EXPECT_EQ(state(report, 20), State::notPlaced);
  EXPECT_EQ(group(report, 20).reason,
            "no room in the ECMP next-hop table: 1 needed, 0 of 3 rows free, longest run 0");
  EXPECT_EQ(state(report, 21), State::programmed);
  EXPECT_EQ(report.groups.nextHopTable.inUse, 2U);
  EXPECT_EQ(report.groups.nextHopTable.hardware.withoutRow, 1U);
  Report const again = run(three + small + idle(4) + announceGroup(20, {{3, 0}}) + withdraw(21) +
                           announceGroup(20, {{3, 0}}));
  EXPECT_EQ(again.groups.counts.notPlaced, 1U);
  EXPECT_EQ(state(again, 20), State::programmed);
}

TEST_F(GroupsTest, KeepTheOldBlockWhenTheNewOneDoesNotFit) {
  options.memberRows = 4;
  Bytes const before = three + announceGroup(20, {{1, 0}, {2, 0}}) + idle(4);
  Bytes const wider = announceGroup(20, {{1, 0}, {2, 0}, {3, 0}});
  for (bool const newInterface : {false, true}) {
    // With an interface that is not there yet the block fails to fit later, out of its turn.
    Bytes const last = newInterface ? announce(3, 77) : Bytes();
    Report const report = run(before + last + wider);
    EXPECT_EQ(state(report, 20), State::notPlaced);
    EXPECT_EQ(group(report, 20).reason,
              "no room in the member table: 3 needed, 2 of 4 rows free, longest run 2");
    EXPECT_TRUE(group(report, 20).olderInRow);
    EXPECT_EQ(interfaces(group(report, 20)), (Interfaces{2, 3}));
    EXPECT_EQ(report.groups.blocks, 1U);
    EXPECT_EQ(report.groups.waitingBlocks, 0U);
    EXPECT_EQ(replay().groupTable().unresolvedEntrys(), 0U);
    EXPECT_EQ(report.groups.nextHops, 2U);
    expectNothingLeftAfter(withdraw(20));
  }
}

TEST_F(GroupsTest, ShowTheWayFromTheGroupToTheInterface) {
  options.interfaceDelay = 0;
  Report const report =
      run(three + announceGroup(20, {{1, 1}, {2, 0}}) + announceGroup(30, {{1, 0}, {77, 0}}));
  EXPECT_EQ(showText(report.groups),
            "group 20, row 1: programmed; 3 paths from member row 0\n"
            "  member row 0 -> next-hop row 1 (10.0.1.2) -> interface 2, l3Oif1 1\n"
            "  member row 1 -> next-hop row 1 (10.0.1.2) -> interface 2, l3Oif1 1\n"
            "  member row 2 -> next-hop row 2 (10.0.2.2) -> interface 3, l3Oif1 2\n"
            "group 30: waits for members 77\n");
}

}  // namespace
}  // namespace OrviaL3Agent
