// What becomes of groups between the stream and the hardware.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/agent/GroupFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using SoftAsic::TableId;

class GroupsTest : public GroupFixture {};

TEST_F(GroupsTest, BecomeNextHopsABlockAndAGroup) {
  Report const report = run(three + announceGroup(20, {{1, 0}, {2, 0}, {3, 0}}));
  EXPECT_EQ(groupId(report, 20).group, 1U);
  EXPECT_EQ(groupOf(report, 20).state, State::programmed);
  EXPECT_EQ(groupOf(report, 20).row, 1U);
  EXPECT_EQ(groupOf(report, 20).contents, (GroupContents{0, 3, 0}));
  EXPECT_EQ(interfaces(groupOf(report, 20)), (Interfaces{2, 3, 4}));
  for (ShownMember const& member : groupOf(report, 20).members) {
    EXPECT_GT(member.nextHopRow.value(), 0U);
    EXPECT_LT(member.nextHopRow.value(), 32U);
    EXPECT_EQ(member.nextHop.value().mtuProfilePtr, 1);
  }
  EXPECT_EQ(report.groups.nextHopTable.hardware.accepted, 3U);
  EXPECT_EQ(report.groups.memberTable.hardware.accepted, 3U);
  EXPECT_EQ(report.groups.groupTable.hardware.accepted, 1U);
  // No route names a member directly.
  EXPECT_EQ(report.ingressTable.hardware.writes, 0U);
  expectRight();
}

TEST_F(GroupsTest, GiveTheSameNeighbourTheSameNumberInBothViews) {
  Report const report = run(three + announceGroup(20, {{2, 0}}) + announceRoute("10.9.0.0", 16, 2));
  ShownMember const& member = groupOf(report, 20).members.at(0);
  ASSERT_EQ(report.ingress.live.size(), 1U);
  EXPECT_EQ(report.ingress.live.at(0).row, 32U);
  EXPECT_EQ(member.nextHopRow, 1U);
  ASSERT_TRUE(member.nextHop);
  EXPECT_EQ(member.nextHop, replay().hardware().row(32).contents);
  expectRight();
}

TEST_F(GroupsTest, TakeRowsByTheirWeightsWithoutTheCommonDivisor) {
  Report const report = run(three + announceGroup(20, {{2, 5}, {1, 2}}));
  EXPECT_EQ(interfaces(groupOf(report, 20)), (Interfaces{2, 3, 3}));
  EXPECT_EQ(groupOf(report, 20).contents, (GroupContents{0, 3, 0}));
  expectRight();
}

TEST_F(GroupsTest, NameTheWidthOfTheirBlockAndNoLoadBalancing) {
  Report const report = run(three + announceGroup(20, {{1, 255}, {2, 0}}) +
                            announceGroup(21, {{3, 6}}) + announceGroup(22, {{1, 2}, {3, 1}}));
  EXPECT_EQ(groupOf(report, 20).contents, (GroupContents{0, 257, 0}));
  EXPECT_EQ(groupOf(report, 21).contents, (GroupContents{0, 1, 257}));
  EXPECT_EQ(groupOf(report, 22).contents, (GroupContents{0, 5, 258}));
  expectRight();
}

TEST_F(GroupsTest, OrderTheirRowsByIdentityWhateverOrderTheStreamHas) {
  Report const report = run(announce(1, 9, "10.0.1.2") + announce(2, 2, "10.0.9.2") +
                            announce(3, 5) + announceGroup(20, {{3, 0}, {1, 1}, {2, 0}}));
  // Interfaces before gateways, and the rows of one next hop together.
  EXPECT_EQ(interfaces(groupOf(report, 20)), (Interfaces{2, 5, 9, 9}));
  expectRight();
}

// --- One group for equal paths.

TEST_F(GroupsTest, AreOneForIdsOfEqualMembersInAnotherOrder) {
  Report const report =
      run(three + announce(9, 3, "10.0.2.2") + announceGroup(20, {{1, 0}, {2, 1}}) +
          announceGroup(21, {{9, 3}, {1, 1}}));
  ASSERT_EQ(report.groups.live.size(), 1U);
  EXPECT_EQ(groupOf(report, 21).ids, (std::vector<std::uint32_t>{20, 21}));
  EXPECT_EQ(groupOf(report, 20).number, groupOf(report, 21).number);
  EXPECT_EQ(report.groups.blocks, 1U);
  EXPECT_EQ(report.ecmp.live.size(), 2U);
  EXPECT_EQ(report.groups.groupTable.hardware.writes, 1U);
  EXPECT_EQ(report.groups.memberTable.hardware.writes, 3U);
  expectRight();
}

TEST_F(GroupsTest, AreOneForIdsAndRoutesOfEqualPaths) {
  Bytes const routes =
      announceRoute("10.7.0.0", 16, routeByPaths({{3, "10.0.2.2"}, {2, "10.0.1.2"}})) +
      announceRoute("10.8.0.0", 16, routeByPaths({{2, "10.0.1.2", 4}, {3, "10.0.2.2", 4}}));
  for (bool const routesFirst : {false, true}) {
    Bytes const ids = three + announceGroup(20, {{1, 0}, {2, 0}});
    Report const report = run(routesFirst ? routes + ids : ids + routes);
    ASSERT_EQ(report.groups.live.size(), 1U);
    EXPECT_EQ(groupOf(report, 20).ids, (std::vector<std::uint32_t>{20}));
    EXPECT_EQ(groupOf(report, 20).routes, 2U);
    EXPECT_EQ(report.groups.groupTable.hardware.writes, 1U);
    EXPECT_EQ(report.routes.liveIn(Routes::State::forwarded), 2U);
    expectRight();
    expectNothingLeftAfter({});
  }
}

TEST_F(GroupsTest, StayWhileAnyOfTheirHoldersDoes) {
  Bytes const route =
      announceRoute("10.7.0.0", 16, routeByPaths({{2, "10.0.1.2"}, {3, "10.0.2.2"}}));
  Bytes const all = three + announceGroup(20, {{1, 0}, {2, 0}}) +
                    announceGroup(21, {{2, 0}, {1, 0}}) + route + idleTurns(4);
  Report const byRoute = run(all + withdraw(20) + withdraw(21));
  ASSERT_EQ(byRoute.groups.live.size(), 1U);
  EXPECT_EQ(byRoute.groups.live.at(0).state, State::programmed);
  EXPECT_EQ(byRoute.groups.groupTable.hardware.writes, 1U);
  EXPECT_EQ(byRoute.groups.groupTable.hardware.deletes, 0U);
  expectRight();
  Report const byId = run(all + withdraw(20) + withdrawRoute("10.7.0.0", 16));
  EXPECT_EQ(groupOf(byId, 21).ids, (std::vector<std::uint32_t>{21}));
  EXPECT_EQ(byId.groups.groupTable.hardware.deletes, 0U);
  expectRight();
  Report const none = run(all + withdraw(20) + withdraw(21) + withdrawRoute("10.7.0.0", 16));
  EXPECT_TRUE(none.groups.live.empty());
  EXPECT_EQ(none.groups.groupTable.hardware.deletes, 1U);
  expectRight();
}

TEST_F(GroupsTest, TakeTheLowestFreeNumber) {
  Report const report = run(three + announceGroup(20, {{1, 0}}) + announceGroup(21, {{2, 0}}) +
                            announceGroup(22, {{3, 0}}) + withdraw(21) + withdraw(20) +
                            announceGroup(23, {{1, 0}, {2, 0}}));
  EXPECT_EQ(groupId(report, 22).group, 3U);
  EXPECT_EQ(groupId(report, 23).group, 1U);
  EXPECT_EQ(report.groups.counts.made, 4U);
  EXPECT_EQ(report.groups.counts.ended, 2U);
  EXPECT_EQ(report.groups.counts.peak, 3U);
  expectRight();
}

TEST_F(GroupsTest, OfRoutesAreParkedUntilTheirInterfacesAreThere) {
  options.interfaceDelay = 5;
  start(announceRoute("10.7.0.0", 16, routeByPaths({{2, "10.0.1.2"}, {3, "10.0.2.2"}})));
  turns(3);
  Report const waiting = replay().report();
  EXPECT_EQ(group(waiting, 1).state, State::parked);
  EXPECT_EQ(waiting.routes.liveIn(Routes::State::notInForce), 1U);
  finish();
  Report const report = replay().report();
  EXPECT_EQ(group(report, 1).state, State::programmed);
  EXPECT_EQ(report.routes.liveIn(Routes::State::forwarded), 1U);
  expectRight();
}

// --- Weights.

TEST_F(GroupsTest, CountWeightsThatAreNotKnown) {
  Report const report = run(three + announceGroup(20, {{1, 255}, {2, 255}}) +
                            announceGroup(21, {{1, 254}, {2, 254}}));
  EXPECT_EQ(report.groups.idCounts.unknownWeights, 1U);
  EXPECT_EQ(interfaces(groupOf(report, 20)), (Interfaces{2, 3}));
  EXPECT_NE(text(report).find("  weights     1 group announced with unknown weights (255)\n"),
            std::string::npos)
      << text(report);
  expectRight();
}

TEST_F(GroupsTest, AreScaledToTheMostRowsThatABlockMayHave) {
  options.maxWidth = 10;
  Report const report = run(three + announceGroup(20, {{1, 199}, {2, 98}, {3, 0}}));
  EXPECT_EQ(report.groups.scaling.scaled, 1U);
  EXPECT_EQ(interfaces(groupOf(report, 20)), (Interfaces{2, 2, 2, 2, 2, 2, 3, 3, 3, 4}));
  // The one that had a row of 300 has one of 10.
  EXPECT_NEAR(report.groups.scaling.worst, 1.0 / 10 - 1.0 / 300, 1e-9);
  EXPECT_NE(text(report).find("  scaled      1 block that would have been too wide; a share of "
                              "traffic changed by up to 9.67 %\n"),
            std::string::npos)
      << text(report);
  expectRight();
}

TEST_F(GroupsTest, OfRoutesAreScaledAndCountedAsWell) {
  options.maxWidth = 4;
  Report const report =
      run(announceRoute("10.7.0.0", 16, routeByPaths({{2, "10.0.1.2", 5}, {3, "10.0.2.2", 0}})));
  EXPECT_EQ(report.groups.scaling.scaled, 1U);
  EXPECT_EQ(interfaces(group(report, 1)), (Interfaces{2, 2, 2, 3}));
  EXPECT_NEAR(report.groups.scaling.worst, 1.0 / 4 - 1.0 / 7, 1e-9);
  expectRight();
}

TEST_F(GroupsTest, WithMoreMembersThanABlockMayHaveAreNotPossible) {
  options.maxWidth = 2;
  Report const report = run(three + announceGroup(20, {{1, 0}, {2, 0}, {3, 0}}));
  EXPECT_EQ(groupId(report, 20).state, IdState::notPossible);
  EXPECT_EQ(groupId(report, 20).reason, "3 members, a block has at most 2 rows");
  EXPECT_TRUE(report.groups.live.empty());
  EXPECT_NE(text(report).find("Group ids without a group of their contents\n"
                              "  id 20: 3 members, a block has at most 2 rows\n"),
            std::string::npos)
      << text(report);
  EXPECT_EQ(replay().hardware().calls(), 0U);
  expectVerified();
}

// --- Members.

TEST_F(GroupsTest, WaitForTheirMembersOutsideOfTheTables) {
  Bytes const before = announceGroup(20, {{1, 0}, {2, 0}}) + announce(1, 2, "10.0.1.2");
  Report const waiting = run(before);
  EXPECT_EQ(groupId(waiting, 20).state, IdState::missingMembers);
  EXPECT_EQ(groupId(waiting, 20).ids, (std::vector<std::uint32_t>{2}));
  EXPECT_TRUE(waiting.groups.live.empty());
  EXPECT_TRUE(waiting.ecmp.live.empty());
  EXPECT_EQ(replay().mapping().tables().groups->entryHandles(), 0U);
  EXPECT_NE(text(waiting).find("Group ids without a group of their contents\n"
                               "  id 20: waits for members 2\n"),
            std::string::npos)
      << text(waiting);
  Report const report = run(before + announce(2, 3));
  EXPECT_EQ(groupOf(report, 20).state, State::programmed);
  EXPECT_EQ(report.groups.idCounts.waited, 1U);
  EXPECT_EQ(interfaces(groupOf(report, 20)), (Interfaces{2, 3}));
  expectRight();
}

TEST_F(GroupsTest, LeaveTheirRoutesWaitingUntilTheirMembersAreThere) {
  Bytes const before = announceGroup(20, {{1, 0}, {2, 0}}) + announceRoute("10.7.0.0", 16, 20) +
                       announce(1, 2, "10.0.1.2");
  Report const waiting = run(before);
  EXPECT_EQ(waiting.routes.liveIn(Routes::State::notInForce), 1U);
  Report const report = run(before + announce(2, 3));
  EXPECT_EQ(report.routes.liveIn(Routes::State::forwarded), 1U);
  expectRight();
}

TEST_F(GroupsTest, AreParkedInTheirTableUntilInterfacesAreThere) {
  options.interfaceDelay.reset();
  Report const report = run(three + announceGroup(20, {{1, 0}, {2, 0}}));
  EXPECT_EQ(groupOf(report, 20).state, State::parked);
  EXPECT_EQ(report.groups.waitingBlocks, 1U);
  EXPECT_EQ(report.groups.groupTable.hardware.writes, 0U);
  EXPECT_EQ(replay().mapping().tables().groups->unresolvedEntrys(), 1U);
  EXPECT_NE(text(report).find("Groups that are not in hardware as asked\n"
                              "  group 1 (id 20): parked, waits for its next hops\n"),
            std::string::npos)
      << text(report);
  expectNothingLeftAfter(withdraw(20));
}

TEST_F(GroupsTest, WithMembersThatDropAreNotProgrammed) {
  Report const report = run(three + announceBlackhole(8) + announceGroup(20, {{1, 0}, {8, 0}}));
  EXPECT_EQ(groupId(report, 20).state, IdState::dropsInPart);
  EXPECT_EQ(groupId(report, 20).ids, (std::vector<std::uint32_t>{8}));
  EXPECT_EQ(report.groups.nextHopTable.hardware.writes, 0U);
  EXPECT_NE(text(report).find("  id 20: not programmed, drops over members 8\n"), std::string::npos)
      << text(report);
  expectVerified();
  // A member that comes to drop takes the group out of the hardware; one that comes back brings it.
  withoutWaiting();
  Bytes const members = announceGroup(20, {{1, 0}, {2, 0}});
  Report const gone = run(three + members + announceBlackhole(1));
  EXPECT_EQ(groupId(gone, 20).state, IdState::dropsInPart);
  EXPECT_TRUE(gone.groups.live.empty());
  EXPECT_EQ(gone.groups.groupTable.rowsInForce, 0U);
  EXPECT_TRUE(gone.ecmp.live.empty());
  expectRight();
  Report const back = run(three + members + announceBlackhole(1) + announce(1, 7));
  EXPECT_EQ(groupOf(back, 20).state, State::programmed);
  EXPECT_EQ(interfaces(groupOf(back, 20)), (Interfaces{3, 7}));
  expectRight();
}

TEST_F(GroupsTest, WhoseMembersAllDropLetTheirRoutesDrop) {
  Report const report =
      run(announceBlackhole(8) + announceBlackhole(9) + announceGroup(20, {{8, 0}, {9, 0}}) +
          announceRoute("10.7.0.0", 16, 20));
  EXPECT_EQ(groupId(report, 20).state, IdState::drops);
  EXPECT_EQ(report.routes.liveIn(Routes::State::drop), 1U);
  EXPECT_TRUE(report.groups.live.empty());
}

TEST_F(GroupsTest, KeepAMemberThatIsWithdrawnUnderThem) {
  Bytes const stream = three + announceGroup(20, {{1, 0}, {2, 0}}) + idleTurns(4) + withdraw(1);
  Report const report = run(stream);
  EXPECT_EQ(groupOf(report, 20).state, State::programmed);
  EXPECT_EQ(interfaces(groupOf(report, 20)), (Interfaces{2, 3}));
  EXPECT_EQ(report.deferredWithdrawals, 1U);
  EXPECT_EQ(report.withdrawnInUse, 1U);
  EXPECT_EQ(report.groups.groupTable.hardware.writes, 1U);
  expectRight();
  // It goes with the group.
  Report const gone = run(stream + withdraw(20));
  EXPECT_EQ(gone.withdrawnInUse, 0U);
  EXPECT_EQ(gone.liveNextHopIds, 2U);
  EXPECT_TRUE(gone.ecmp.live.empty());
  expectRight();
}

TEST_F(GroupsTest, StayWithAllOfTheirMembersWhileARouteNamesTheirWithdrawnId) {
  Bytes const stream = three + announceGroup(20, {{1, 0}, {2, 0}}) +
                       announceRoute("10.7.0.0", 16, 20) + idleTurns(4) + withdraw(20) +
                       withdraw(1) + withdraw(2);
  Report const report = run(stream);
  EXPECT_EQ(groupOf(report, 20).state, State::programmed);
  EXPECT_EQ(report.deferredWithdrawals, 3U);
  EXPECT_EQ(report.withdrawnInUse, 3U);
  EXPECT_EQ(report.routes.liveIn(Routes::State::forwarded), 1U);
  EXPECT_EQ(report.groups.groupTable.hardware.deletes, 0U);
  expectRight();
  Report const gone = run(stream + withdrawRoute("10.7.0.0", 16));
  EXPECT_EQ(gone.withdrawnInUse, 0U);
  EXPECT_EQ(gone.liveNextHopIds, 1U);
  EXPECT_TRUE(gone.groups.live.empty());
  expectRight();
}

TEST_F(GroupsTest, ForgetAWithdrawnMemberThatTheirNewContentsDoNotName) {
  Report const report = run(three + announceGroup(20, {{1, 0}, {2, 0}}) + idleTurns(4) +
                            withdraw(1) + announceGroup(20, {{2, 0}, {3, 0}}) + idleTurns(4));
  EXPECT_EQ(report.withdrawnInUse, 0U);
  EXPECT_EQ(report.liveNextHopIds, 2U);
  EXPECT_EQ(interfaces(groupOf(report, 20)), (Interfaces{3, 4}));
  expectRight();
}

TEST_F(GroupsTest, AreNotTouchedWhenTheyAreAnnouncedAgainAsTheyWere) {
  Bytes const members = announceGroup(20, {{1, 0}, {2, 0}});
  Report const report = run(three + members + idleTurns(4) + members + three);
  EXPECT_EQ(report.groupIds.repeated, 1U);
  EXPECT_EQ(report.groups.counts.swaps, 0U);
  EXPECT_EQ(report.groups.groupTable.hardware.writes, 1U);
  EXPECT_EQ(report.groups.memberTable.hardware.writes, 2U);
  EXPECT_EQ(report.groups.nextHopTable.hardware.writes, 2U);
  expectRight();
}

TEST_F(GroupsTest, MayBeANextHopAfterwards) {
  Report const report = run(three + announceGroup(20, {{1, 0}}) + announce(20, 9) +
                            announceRoute("10.7.0.0", 16, 20));
  EXPECT_TRUE(report.groups.live.empty());
  EXPECT_TRUE(report.groups.ids.empty());
  EXPECT_TRUE(report.ecmp.live.empty());
  ASSERT_EQ(report.ingress.live.size(), 1U);
  EXPECT_EQ(report.ingress.live.at(0).identity.interfaceIndex(), 9U);
  EXPECT_EQ(report.ingress.live.at(0).state, NextHopState::programmed);
  expectRight();
}

TEST_F(GroupsTest, LeaveFromTheTop) {
  withJournal();
  Report const report = run(three + announceGroup(20, {{1, 0}, {2, 0}}) +
                            announceGroup(21, {{2, 0}, {3, 0}}) + idleTurns(4) + withdraw(20));
  std::vector<std::string> removals = calls();
  std::erase_if(removals,
                [](std::string const& call) { return call.find("remove") == std::string::npos; });
  EXPECT_EQ(removals, (std::vector<std::string>{"group remove 1", "member remove 0",
                                                "member remove 1", "ecmp remove 1"}));
  EXPECT_EQ(report.groups.blocks, 1U);
  EXPECT_EQ(report.ecmp.live.size(), 2U);
  EXPECT_EQ(interfaces(groupOf(report, 21)), (Interfaces{3, 4}));
  expectRight();
}

// --- Full tables.

TEST_F(GroupsTest, WithoutRoomForNextHopsAreListedAndTriedAgainWhenRowsAreFreed) {
  options.ecmpRows = 3;  // rows 1 and 2
  Bytes const big = announceGroup(20, {{1, 0}, {2, 0}, {3, 0}});
  Bytes const small = announceGroup(21, {{1, 0}, {2, 0}});
  Report const report = run(three + big + idleTurns(4) + small + idleTurns(2));
  EXPECT_EQ(groupOf(report, 20).state, State::notPlaced);
  EXPECT_EQ(groupOf(report, 20).reason,
            "no room in the ECMP next-hop table: 1 needed, 0 of 2 rows free, longest run 0");
  EXPECT_EQ(groupOf(report, 21).state, State::programmed);
  EXPECT_EQ(report.groups.nextHopTable.inUse, 2U);
  EXPECT_NE(text(report).find("Groups that are not in hardware as asked\n"
                              "  group 1 (id 20): no room in the ECMP next-hop table: 1 needed, 0 "
                              "of 2 rows free, longest run 0\n"),
            std::string::npos)
      << text(report);
  expectNoInstant();
  Report const again =
      run(three + small + idleTurns(4) + announceGroup(20, {{3, 0}}) + idleTurns(4) + withdraw(21));
  EXPECT_GE(again.groups.counts.notPlaced, 1U);
  EXPECT_EQ(groupOf(again, 20).state, State::programmed);
  expectRight();
}

TEST_F(GroupsTest, WithoutRoomForTheirBlockAreTriedAgainWhenRowsAreFreed) {
  options.memberRows = 3;
  Bytes const before = three + announceGroup(20, {{1, 0}, {2, 0}}) + idleTurns(4) +
                       announceGroup(21, {{2, 0}, {3, 0}}) + idleTurns(2);
  Report const full = run(before);
  EXPECT_EQ(groupOf(full, 21).state, State::notPlaced);
  EXPECT_EQ(groupOf(full, 21).reason,
            "no room in the member table: 2 needed, 1 of 3 rows free, longest run 1");
  EXPECT_EQ(groupOf(full, 20).state, State::programmed);
  // Nothing of the group that found no room holds rows.
  EXPECT_EQ(full.ecmp.live.size(), 2U);
  expectNoInstant();
  Report const report = run(before + withdraw(20));
  EXPECT_EQ(groupOf(report, 21).state, State::programmed);
  EXPECT_EQ(interfaces(groupOf(report, 21)), (Interfaces{3, 4}));
  expectRight();
}

TEST_F(GroupsTest, WithoutARowOfTheirOwnAreTriedAgainWhenOneIsFreed) {
  options.groupRows = 2;  // row 1
  Bytes const before = three + announceGroup(20, {{1, 0}, {2, 0}}) + idleTurns(4) +
                       announceGroup(21, {{2, 0}, {3, 0}}) + idleTurns(2);
  Report const full = run(before);
  EXPECT_EQ(groupOf(full, 21).state, State::notPlaced);
  EXPECT_EQ(groupOf(full, 21).reason,
            "no room in the group table: 1 needed, 0 of 1 rows free, longest run 0");
  EXPECT_EQ(full.groups.blocks, 1U);
  expectNoInstant();
  Report const report = run(before + withdraw(20));
  EXPECT_EQ(groupOf(report, 21).state, State::programmed);
  expectRight();
}

TEST_F(GroupsTest, WithoutRoomAreTriedAgainWhenTheyAreAnnouncedAgain) {
  options.memberRows = 4;
  Bytes const wide = announceGroup(20, {{1, 0}, {2, 0}, {3, 0}});
  Report const report = run(three + announceGroup(21, {{1, 0}, {2, 0}}) + idleTurns(4) + wide +
                            idleTurns(4) + wide + idleTurns(4));
  EXPECT_EQ(groupOf(report, 20).state, State::notPlaced);
  EXPECT_EQ(report.groups.counts.notPlaced, 2U);
  expectNoInstant();
}

TEST_F(GroupsTest, WithoutRoomAreTriedAgainOnRequest) {
  options.memberRows = 4;
  startAndSettle(three + announceGroup(21, {{1, 0}, {2, 0}}) + idleTurns(4) +
                 announceGroup(20, {{1, 0}, {2, 0}, {3, 0}}));
  std::uint64_t const before = replay().report().groups.counts.notPlaced;
  EXPECT_EQ(before, 1U);
  retry();
  settle();
  EXPECT_EQ(replay().report().groups.counts.notPlaced, before + 1);
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::notPlaced);
  expectNoInstant();
}

TEST_F(GroupsTest, KeepTheOldBlockWhenTheNewOneDoesNotFit) {
  options.memberRows = 4;
  Bytes const before = three + announceGroup(20, {{1, 0}, {2, 0}}) + idleTurns(4);
  Bytes const wider = announceGroup(20, {{1, 0}, {2, 0}, {3, 0}});
  for (bool const newInterface : {false, true}) {
    // With an interface that is not there yet the block fails to fit later, out of its turn.
    Bytes const last = newInterface ? announce(3, 77) : Bytes();
    Report const report = run(before + last + wider);
    EXPECT_EQ(groupOf(report, 20).state, State::notPlaced);
    EXPECT_EQ(groupOf(report, 20).reason,
              "no room in the member table: 3 needed, 2 of 4 rows free, longest run 2");
    EXPECT_TRUE(groupOf(report, 20).olderInRow);
    EXPECT_EQ(interfaces(groupOf(report, 20)), (Interfaces{2, 3}));
    EXPECT_EQ(report.groups.blocks, 1U);
    EXPECT_EQ(report.groups.waitingBlocks, 0U);
    EXPECT_EQ(replay().mapping().tables().groups->unresolvedEntrys(), 0U);
    EXPECT_EQ(report.ecmp.live.size(), 2U);
    expectNoInstant();
    expectNothingLeftAfter(withdraw(20));
  }
}

TEST_F(GroupsTest, LetTheOldBlockGoWhenTheNewOneFitsAfterAll) {
  options.memberRows = 5;
  Bytes const before = three + announceGroup(21, {{3, 0}}) + announceGroup(20, {{1, 0}, {2, 0}}) +
                       idleTurns(4) + announceGroup(20, {{1, 0}, {2, 0}, {3, 0}}) + idleTurns(4);
  Report const full = run(before);
  EXPECT_EQ(groupOf(full, 20).state, State::notPlaced);
  EXPECT_EQ(interfaces(groupOf(full, 20)), (Interfaces{2, 3}));
  // Rows 0 and 3, 4 make no run of three: the group goes on with its old block.
  Report const stillFull = run(before + withdraw(20));
  EXPECT_EQ(stillFull.groups.memberTable.inUse, 1U);
  options.memberRows = 6;
  Report const report = run(before + withdraw(21));
  EXPECT_EQ(groupOf(report, 20).state, State::programmed);
  EXPECT_EQ(interfaces(groupOf(report, 20)), (Interfaces{2, 3, 4}));
  EXPECT_EQ(report.groups.blocks, 1U);
  expectRight();
}

TEST_F(GroupsTest, ShowTheWayFromTheGroupToTheInterface) {
  options.interfaceDelay = 0;
  Report const report =
      run(three + announceGroup(20, {{1, 1}, {2, 0}}) + announceGroup(30, {{1, 0}, {77, 0}}));
  EXPECT_EQ(showText(report.groups),
            "id 30: waits for members 77\n"
            "group 1 (id 20), row 1: programmed; 3 paths from member row 0\n"
            "  member rows 0 to 1 -> next-hop row 1 -> 10.0.1.2 on interface 2, l3Oif1 1\n"
            "  member row 2 -> next-hop row 2 -> 10.0.2.2 on interface 3, l3Oif1 2\n");
}

// --- Next hops that the hardware refuses.

TEST_F(GroupsTest, OverARefusedNextHopAreParkedAndItIsListed) {
  fault(TableId::ecmpNextHops).refusedRows = {1};
  Bytes const stream = three + announceGroup(20, {{1, 0}, {2, 0}}) +
                       announceGroup(21, {{2, 0}, {3, 0}}) + announceRoute("10.7.0.0", 16, 20);
  startAndSettle(stream);
  Report const report = replay().report();
  EXPECT_EQ(groupOf(report, 20).state, State::parked);
  ASSERT_EQ(groupOf(report, 20).refused.size(), 1U);
  EXPECT_EQ(groupOf(report, 20).refused.at(0).interfaceIndex(), 2U);
  EXPECT_EQ(groupOf(report, 21).state, State::programmed);
  EXPECT_EQ(ecmp(report, via(2, "10.0.1.2")).state, NextHopState::refused);
  EXPECT_EQ(report.routes.liveIn(Routes::State::notInForce), 1U);
  EXPECT_EQ(report.groups.groupTable.rowsInForce, 1U);
  std::string const summary = text(report);
  EXPECT_NE(summary.find("Next hops of groups that are not programmed\n"
                         "  row 1, 10.0.1.2 on interface 2: refused\n"),
            std::string::npos)
      << summary;
  EXPECT_NE(summary.find("Groups that are not in hardware as asked\n"
                         "  group 1 (id 20): parked, waits for its next hops; refused: 10.0.1.2 on "
                         "interface 2\n"),
            std::string::npos)
      << summary;
  EXPECT_NE(summary.find("Routes that are not forwarded as asked\n  10.7.0.0/16"),
            std::string::npos)
      << summary;
  expectNoInstant();
  // Nothing changes by asking again while the row goes on refusing.
  retry();
  settle();
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::parked);
  faultsOff();
  retry();
  settle();
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::programmed);
  EXPECT_EQ(replay().report().routes.liveIn(Routes::State::forwarded), 1U);
  expectRight();
}

TEST_F(GroupsTest, OverARefusedNextHopAreTriedAgainWithTheirId) {
  fault(TableId::ecmpNextHops).refuseEvery = 3;
  Bytes const members = announceGroup(20, {{1, 0}, {2, 0}, {3, 0}});
  Report const refused = run(three + members + idleTurns(4));
  EXPECT_EQ(groupOf(refused, 20).state, State::parked);
  // The fourth write is taken.
  Report const report = run(three + members + idleTurns(4) + members);
  EXPECT_EQ(groupOf(report, 20).state, State::programmed);
  EXPECT_EQ(report.groups.nextHopTable.hardware.refused, 1U);
  expectRight();
}

TEST_F(GroupsTest, OverARefusedNextHopAreTriedAgainWithItsId) {
  fault(TableId::ecmpNextHops).refuseEvery = 3;
  Bytes const before = three + announceGroup(20, {{1, 0}, {2, 0}, {3, 0}}) + idleTurns(4);
  Report const report = run(before + announce(3, 4, "fe80::3"));
  EXPECT_EQ(groupOf(report, 20).state, State::programmed);
  expectRight();
}

TEST_F(GroupsTest, OverARefusedNextHopAreTriedAgainWhenRowsAreFreed) {
  fault(TableId::ecmpNextHops).refuseEvery = 3;
  Report const report = run(three + announce(4, 9) + announceGroup(20, {{1, 0}, {2, 0}, {3, 0}}) +
                            announceGroup(21, {{4, 0}}) + idleTurns(4) + withdraw(21));
  EXPECT_EQ(groupOf(report, 20).state, State::programmed);
  EXPECT_EQ(report.ecmp.counts.retried, 1U);
  expectRight();
}

TEST_F(GroupsTest, ThatAreRefusedAreListedAndTriedAgain) {
  fault(TableId::groups).refusedRows = {1};
  startAndSettle(three + announceGroup(20, {{1, 0}, {2, 0}}) + announceRoute("10.7.0.0", 16, 20));
  Report const refused = replay().report();
  EXPECT_EQ(groupOf(refused, 20).state, State::refused);
  EXPECT_EQ(refused.groups.groupTable.rowsInForce, 0U);
  EXPECT_EQ(refused.routes.liveIn(Routes::State::notInForce), 1U);
  EXPECT_NE(text(refused).find(
                "Groups that are not in hardware as asked\n  group 1 (id 20), row 1: refused\n"),
            std::string::npos)
      << text(refused);
  faultsOff();
  retry();
  settle();
  EXPECT_EQ(groupOf(replay().report(), 20).state, State::programmed);
  expectRight();
}

TEST_F(GroupsTest, WhoseMemberRowsWereRefusedSaySo) {
  fault(TableId::members).refusedRows = {1};
  startAndSettle(three + announceGroup(20, {{1, 0}, {2, 0}}));
  Report const published = replay().report();
  EXPECT_EQ(groupOf(published, 20).state, State::programmed);
  EXPECT_EQ(groupOf(published, 20).missingMemberRows, 1U);
  EXPECT_NE(
      text(published).find("group 1 (id 20), row 1: programmed; 1 member row published, not in "
                           "hardware"),
      std::string::npos)
      << text(published);
  ForwardingCheck const& check = replay().forwardingCheck().value();
  EXPECT_EQ(check.total(), 1U) << text(check);
  EXPECT_EQ(check.count(ForwardingCheck::Kind::notInHardware), 1U);
  EXPECT_EQ(check.wrongGroups(), 1U);
  EXPECT_FALSE(replay().differences().empty());
  faultsOff();
  retry();
  settle();
  EXPECT_EQ(groupOf(replay().report(), 20).missingMemberRows, 0U);
  EXPECT_EQ(check.wrongGroups(), 0U);
  expectVerified();
}

}  // namespace
}  // namespace OrviaL3Agent
