// What becomes of next hops between the stream and the hardware.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <system_error>

#include "Vek/Memory.h"
#include "agent/Replay.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using State = ShownNextHop::State;

class ReplayTest : public ReplayFixture {};

TEST_F(ReplayTest, OfAnEmptyStreamDoesNothing) {
  Report const report = run("");
  EXPECT_FALSE(report.error);
  EXPECT_EQ(report.stream.frames, 0U);
  EXPECT_EQ(report.hardware.writes, 0U);
}

// --- Programming.

TEST_F(ReplayTest, ProgramsEachNextHopInTheLowestFreeRow) {
  Report const report =
      run(announce(50, 2, "10.0.1.2") + announce(40, 3, "fe80::1") + announce(60, 4));
  EXPECT_EQ(shown(report, 50).row, 1U);
  EXPECT_EQ(shown(report, 40).row, 2U);
  EXPECT_EQ(shown(report, 60).row, 3U);
  EXPECT_EQ(report.liveIn(State::programmed), 3U);
  EXPECT_EQ(report.hardware.accepted, 3U);
}

TEST_F(ReplayTest, SaysInTheRowHowTheNeighbourIsReached) {
  run(announce(1, 7) + announce(2, 8, "10.0.1.2") + announce(3, 7, "fe80::1"));
  auto const contents = [this](std::uint32_t row) {
    return *replay().hardware().row(row).contents;
  };
  OrviaL3Unicast::NextHopFields fields;
  fields.l2McL3McL2OifSysDstValid = 1;
  fields.destination = 1;
  EXPECT_EQ(contents(1), (SoftAsic::NextHopContents{fields, 1, 1}));
  fields.destination = 2;
  fields.forwardingType = 1;
  EXPECT_EQ(contents(2), (SoftAsic::NextHopContents{fields, 2, 1}));
  fields.destination = 3;
  fields.forwardingType = 2;
  EXPECT_EQ(contents(3), (SoftAsic::NextHopContents{fields, 1, 1}));
}

TEST_F(ReplayTest, UsesTheRowsFromTheFirstOneAskedFor) {
  options.firstRow = 100;
  Report const report = run(announce(1, 2) + announce(2, 2, "10.0.0.1"));
  EXPECT_EQ(shown(report, 1).row, 100U);
  EXPECT_EQ(shown(report, 2).row, 101U);
}

TEST_F(ReplayTest, GivesAWithdrawnRowToTheNextNextHop) {
  Report const report = run(announce(1, 2) + announce(2, 3) + announce(3, 4) + withdraw(2) +
                            announce(4, 5) + announce(5, 6));
  EXPECT_EQ(shown(report, 4).row, 2U);
  EXPECT_EQ(shown(report, 5).row, 4U);
}

TEST_F(ReplayTest, GivesARowOnWhileAnAnswerForItsLastOwnerIsOnItsWay) {
  // All in one turn, with interfaces that are ready: the answer to the first write comes last.
  options.interfaceDelay = 0;
  options.mtuDelay = 0;
  Report const report = run(announce(1, 2) + withdraw(1) + announce(2, 3));
  EXPECT_EQ(shown(report, 2).row, 1U);
  EXPECT_EQ(state(report, 2), State::programmed);
  EXPECT_EQ(report.hardware.writes, 2U);
  EXPECT_EQ(report.hardware.deletes, 1U);
  EXPECT_EQ(report.hardware.overtaken, 1U);
  EXPECT_EQ(report.hardware.accepted, 1U);
}

// --- Parking.

TEST_F(ReplayTest, ParksNextHopsUntilTheirInterfaceIsProgrammed) {
  start(announce(1, 2) + announce(2, 2, "10.0.0.1"));
  ASSERT_TRUE(replay().turn());
  Report report = replay().report();
  EXPECT_EQ(report.liveIn(State::parked), 2U);
  EXPECT_EQ(replay().table().unresolvedEntrys(), 2U);
  EXPECT_EQ(replay().table().entrys(), 0U);
  EXPECT_EQ(report.hardware.writes, 0U);
  EXPECT_EQ(report.rowsInForce, 0U);

  ASSERT_TRUE(replay().turn());  // the MTU profile alone is not enough
  EXPECT_EQ(replay().report().liveIn(State::parked), 2U);
  EXPECT_EQ(replay().report().hardware.writes, 0U);

  EXPECT_FALSE(replay().turn());
  report = replay().report();
  EXPECT_EQ(report.liveIn(State::programmed), 2U);
  EXPECT_EQ(replay().table().unresolvedEntrys(), 0U);
  EXPECT_EQ(report.hardware.writes, 2U);
  EXPECT_EQ(report.nextHops.waited, 2U);
  EXPECT_EQ(report.nextHops.peakParked, 2U);
}

TEST_F(ReplayTest, DoesNotParkANextHopOnAnInterfaceThatIsReady) {
  options.slice = 1;
  Report const report = run(announce(1, 2) + frame("") + announce(2, 3) + announce(3, 4) +
                            announce(4, 2, "10.0.0.1"));
  // The last one comes when interface 2 has long been programmed.
  EXPECT_EQ(report.nextHops.announced, 4U);
  EXPECT_EQ(report.nextHops.waited, 3U);
}

TEST_F(ReplayTest, EndsWithParkedNextHopsWhenTheInterfaceIsNeverProgrammed) {
  options.interfaceDelay.reset();
  Report const report = run(announce(1, 2) + announce(2, 3));
  EXPECT_EQ(report.liveIn(State::parked), 2U);
  EXPECT_EQ(report.hardware.writes, 0U);
}

TEST_F(ReplayTest, EndsWithParkedNextHopsWhenTheMtuProfileIsNeverProgrammed) {
  options.mtuDelay.reset();
  Report const report = run(announce(1, 2));
  EXPECT_EQ(report.liveIn(State::parked), 1U);
  EXPECT_EQ(report.hardware.writes, 0U);
}

TEST_F(ReplayTest, DoesNotWriteAParkedNextHopBecauseItIsAnnouncedAgain) {
  // Committing the same record once more would count the programmed interface twice.
  options.mtuDelay.reset();
  options.interfaceDelay = 0;
  Report const report = run(announce(1, 2) + announce(1, 2));
  EXPECT_EQ(report.nextHops.repeated, 1U);
  EXPECT_EQ(report.commit.count(), 1U);
  EXPECT_EQ(state(report, 1), State::parked);
  EXPECT_EQ(report.hardware.writes, 0U);
}

// --- Withdrawals.

TEST_F(ReplayTest, LeavesNothingBehindOfWithdrawnNextHops) {
  Report const report = run(announce(1, 2) + announce(2, 3) + withdraw(1) + withdraw(2));
  EXPECT_EQ(report.nextHops.withdrawn, 2U);
  expectNothingLeft(replay());
}

TEST_F(ReplayTest, LeavesNothingBehindOfWithdrawnNextHopsThatWereProgrammed) {
  withoutWaiting();
  Report const report = run(announce(1, 2) + announce(2, 3) + withdraw(1) + withdraw(2));
  EXPECT_EQ(report.hardware.writes, 2U);
  EXPECT_EQ(report.hardware.deletes, 2U);
  expectNothingLeft(replay());
}

TEST_F(ReplayTest, MakesNoHardwareCallForANextHopThatNeverLeftItsParking) {
  Report const report = run(announce(1, 2) + withdraw(1));
  EXPECT_EQ(report.hardware.writes, 0U);
  EXPECT_EQ(report.hardware.deletes, 0U);
}

TEST_F(ReplayTest, ProgramsANextHopThatComesBack) {
  Report const report = run(announce(1, 2) + withdraw(1) + announce(1, 2));
  EXPECT_EQ(report.nextHops.announced, 2U);
  EXPECT_EQ(state(report, 1), State::programmed);
  EXPECT_EQ(report.rowsInForce, 1U);
}

TEST_F(ReplayTest, CountsWithdrawalsByWhatTheIdWas) {
  Report const report = run(announce(1, 2) + announceGroup(2, {{1, 0}}) + announceBlackhole(3) +
                            withdraw(1) + withdraw(2) + withdraw(3) + withdraw(4) + withdraw(1));
  EXPECT_EQ(report.stream.nextHopWithdrawals, 1U);
  EXPECT_EQ(report.stream.groupWithdrawals, 1U);
  EXPECT_EQ(report.stream.blackholeWithdrawals, 1U);
  EXPECT_EQ(report.stream.unknownWithdrawals, 2U);
  EXPECT_EQ(report.liveGroups, 0U);
  EXPECT_EQ(report.liveBlackholes, 0U);
}

TEST_F(ReplayTest, EndsASingleNextHopWhoseIdBecomesAGroup) {
  Report const report = run(announce(1, 2) + announce(2, 3) + announceGroup(1, {{2, 0}}));
  EXPECT_EQ(report.live.size(), 1U);
  EXPECT_EQ(report.liveGroups, 1U);
  EXPECT_EQ(report.rowsInForce, 1U);
  Report const back = run(announce(1, 2) + announceBlackhole(1) + announce(1, 3));
  EXPECT_EQ(back.live.size(), 1U);
  EXPECT_EQ(back.liveBlackholes, 0U);
  EXPECT_EQ(state(back, 1), State::programmed);
}

// --- Changes.

TEST_F(ReplayTest, WritesAChangedNextHopIntoItsRow) {
  withoutWaiting();
  Report const report = run(announce(1, 2, "10.0.0.1") + announce(1, 3, "10.0.0.9"));
  EXPECT_EQ(report.nextHops.changed, 1U);
  EXPECT_EQ(report.hardware.writes, 2U);
  EXPECT_EQ(report.hardware.deletes, 0U);
  EXPECT_EQ(shown(report, 1).row, 1U);
  EXPECT_EQ(gatewayText(shown(report, 1).contents), "10.0.0.9");
  EXPECT_EQ(replay().hardware().row(1).contents->l3Oif1, 2);
  EXPECT_EQ(replay().hardware().row(1).contents->fields.destination, 2);
  EXPECT_EQ(report.interfaces, 1U);  // the old one is not used any more
}

TEST_F(ReplayTest, WritesANextHopOfWhichOnlyTheGatewayChanges) {
  withoutWaiting();
  Report const report = run(announce(1, 2, "10.0.0.1") + announce(1, 2, "10.0.0.9"));
  EXPECT_EQ(report.hardware.writes, 2U);
}

TEST_F(ReplayTest, KeepsTheOldRecordInTheRowWhileTheChangedOneWaits) {
  options.slice = 1;
  options.interfaceDelay = 3;
  start(announce(1, 2) + announce(9, 9) + announce(9, 9) + announce(9, 9) + announce(1, 3) +
        announce(1, 3));
  while (replay().nextHops().counts().changed == 0) ASSERT_TRUE(replay().turn());
  Report report = replay().report();
  EXPECT_EQ(state(report, 1), State::parked);
  EXPECT_TRUE(shown(report, 1).olderInRow);
  EXPECT_EQ(replay().hardware().row(1).contents->l3Oif1, 1);
  EXPECT_EQ(report.interfaces, 3U);  // the row still names the old one
  finish();
  report = replay().report();
  EXPECT_EQ(state(report, 1), State::programmed);
  EXPECT_FALSE(shown(report, 1).olderInRow);
  EXPECT_EQ(replay().hardware().row(1).contents->l3Oif1, 3);
  EXPECT_EQ(report.interfaces, 2U);
}

TEST_F(ReplayTest, RemovesTheOldRecordWithANextHopWhoseChangeStillWaits) {
  options.slice = 1;
  options.interfaceDelay = 2;
  Report const report = run(announce(1, 2) + announce(9, 9) + announce(9, 9) + announce(1, 3) +
                            withdraw(1) + withdraw(9));
  EXPECT_EQ(report.nextHops.changed, 1U);
  EXPECT_EQ(report.hardware.writes, 2U);
  EXPECT_EQ(report.hardware.deletes, 2U);
  expectNothingLeft(replay());
}

TEST_F(ReplayTest, GivesANeighbourNumberOnWhenNoRowNamesItAnyMore) {
  withoutWaiting();
  run(announce(1, 2, "10.0.0.1") + announce(1, 2, "10.0.0.9") + announce(2, 3, "10.0.0.5"));
  EXPECT_EQ(replay().hardware().row(1).contents->fields.destination, 2);
  EXPECT_EQ(replay().hardware().row(2).contents->fields.destination, 1);
}

TEST_F(ReplayTest, KeepsANeighbourNumberWhileARowStillNamesIt) {
  options.slice = 2;
  options.interfaceDelay = 1;
  // The second turn finds next hop 1 in its row, and parks its change.
  run(announce(1, 2, "10.0.0.1") + frame(message(16, "")) + announce(1, 3, "10.0.0.9") +
      announce(2, 3, "10.0.0.5"));
  EXPECT_EQ(replay().nextHops().counts().changed, 1U);
  EXPECT_EQ(replay().report().hardware.writes, 3U);
  EXPECT_EQ(replay().hardware().row(1).contents->fields.destination, 2);
  EXPECT_EQ(replay().hardware().row(2).contents->fields.destination, 3);
}

TEST_F(ReplayTest, DoesNotTouchTheHardwareForAnUnchangedNextHop) {
  withoutWaiting();
  Report const report = run(announce(1, 2, "10.0.0.1") + announce(1, 2, "10.0.0.1"));
  EXPECT_EQ(report.nextHops.repeated, 1U);
  EXPECT_EQ(report.hardware.writes, 1U);
}

// --- Refusals and shortage.

class RefusedRows : public ReplayFixture,
                    public ::testing::WithParamInterface<ReplayOptions::Answer> {};

TEST_P(RefusedRows, AreListedAndDoNotHoldUpTheOthers) {
  options.answer = GetParam();
  options.refusedRows = {2};
  Report const report = run(announce(1, 2) + announce(2, 3, "10.0.0.2") + announce(3, 4));
  EXPECT_EQ(state(report, 1), State::programmed);
  EXPECT_EQ(state(report, 2), State::refused);
  EXPECT_EQ(state(report, 3), State::programmed);
  EXPECT_EQ(report.hardware.refused, 1U);
  EXPECT_EQ(report.hardware.accepted, 2U);
  EXPECT_EQ(report.rowsInForce, 2U);
  EXPECT_NE(text(report).find("Refused by the hardware\n"
                              "  id 2, row 2, 10.0.0.2 on interface 3: refused\n"),
            std::string::npos)
      << text(report);
}

INSTANTIATE_TEST_SUITE_P(Answered, RefusedRows,
                         ::testing::Values(ReplayOptions::Answer::now, ReplayOptions::Answer::loop),
                         [](::testing::TestParamInfo<ReplayOptions::Answer> const& tested) {
                           return tested.param == ReplayOptions::Answer::now ? "AtOnce" : "Later";
                         });

TEST_F(ReplayTest, LeavesNothingBehindOfARefusedNextHop) {
  options.refusedRows = {1, 2};
  Bytes const announced = announce(1, 2) + announce(2, 3);
  Bytes idle;  // turns for the answers
  for (int i = 0; i < 100; ++i) idle += announceRoute("10.0.0.0", 8, 1);
  Report const report = run(announced + idle + withdraw(1) + withdraw(2));
  EXPECT_EQ(report.hardware.refused, 2U);
  EXPECT_EQ(report.hardware.deletes, 2U);
  expectNothingLeft(replay());
}

TEST_F(ReplayTest, KeepsTheOldRecordInARowThatRefusesTheNewOne) {
  // A row that starts to refuse between two writes.
  withoutWaiting();
  options.slice = 1;
  start(announce(1, 2) + announce(1, 3));
  replay().turn();
  Vek::Ptr<Asic::HwTable> const hardware = replay().table().hwTable();
  static_cast<SoftAsic::NextHopHwTable&>(*hardware).rowRefusesIs(1, true);
  finish();
  Report const report = replay().report();
  EXPECT_EQ(state(report, 1), State::refused);
  EXPECT_TRUE(shown(report, 1).olderInRow);
  EXPECT_EQ(report.rowsInForce, 1U);
}

TEST_F(ReplayTest, ListsNextHopsForWhichThereIsNoRow) {
  options.rows = 3;  // rows 1 and 2
  Report const report =
      run(announce(1, 2) + announce(2, 3) + announce(3, 4, "10.0.0.9") + announce(4, 5));
  EXPECT_EQ(report.liveIn(State::programmed), 2U);
  EXPECT_EQ(state(report, 3), State::notPlaced);
  EXPECT_EQ(shown(report, 3).obstacle, NextHops::Obstacle::row);
  EXPECT_FALSE(shown(report, 3).row);
  EXPECT_EQ(report.nextHops.notPlaced, 2U);
  EXPECT_EQ(report.interfaces, 2U);  // what has no row needs no interface
  EXPECT_NE(text(report).find("Not placed\n"
                              "  id 3, 10.0.0.9 on interface 4: no free row\n"
                              "  id 4, connected on interface 5: no free row\n"),
            std::string::npos)
      << text(report);
}

TEST_F(ReplayTest, PlacesANextHopThatIsAnnouncedAgainWhenThereIsARow) {
  options.rows = 2;
  Report const report = run(announce(1, 2) + announce(2, 3) + withdraw(1) + announce(2, 3));
  EXPECT_EQ(report.nextHops.notPlaced, 1U);
  EXPECT_EQ(report.nextHops.repeated, 1U);
  EXPECT_EQ(state(report, 2), State::programmed);
  EXPECT_EQ(shown(report, 2).row, 1U);
}

TEST_F(ReplayTest, UnderstandsTheWithdrawalOfANextHopThatHasNoRow) {
  options.rows = 2;
  Report const report = run(announce(1, 2) + announce(2, 3) + withdraw(2) + withdraw(1));
  EXPECT_EQ(report.nextHops.withdrawn, 2U);
  EXPECT_EQ(report.stream.unknownWithdrawals, 0U);
  expectNothingLeft(replay());
}

// --- Faults of the stream.

TEST_F(ReplayTest, KeepsEverythingBeforeAFaultProgrammed) {
  Bytes const before = announce(1, 2) + announce(2, 3) + withdraw(1);
  Report const report = run(before + frame("", 1, 9) + announce(3, 4));
  ASSERT_TRUE(report.error);
  EXPECT_EQ(*report.error, "offset " + std::to_string(before.size()) +
                               ": not a frame header: version 9, expected 1");
  EXPECT_EQ(report.stream.messages, 3U);
  EXPECT_EQ(report.live.size(), 1U);
  EXPECT_EQ(state(report, 2), State::programmed);
  EXPECT_EQ(report.rowsInForce, 1U);
  EXPECT_EQ(replay().table().entrys(), 1U);
  EXPECT_EQ(replay().table().unresolvedEntrys(), 0U);
  EXPECT_NE(text(report).find("Stopped at a fault of the stream: offset "), std::string::npos);
}

TEST_F(ReplayTest, StaysConsistentWhereverARecordedStreamBreaks) {
  Bytes const stream = contentOf(streamPath("forms.0.fpm"));
  for (std::size_t length = 1; length < stream.size(); length += 37) {
    Report const report = run(stream.substr(0, length));
    ASSERT_EQ(report.liveIn(State::programmed), report.live.size()) << length;
    ASSERT_EQ(report.rowsInForce, report.live.size()) << length;
    ASSERT_EQ(replay().table().entrys(), report.live.size()) << length;
    ASSERT_EQ(replay().table().entryHandles(), report.live.size()) << length;
    ASSERT_EQ(report.nextHops.announced, report.live.size() + report.nextHops.withdrawn) << length;
    end();
  }
}

TEST_F(ReplayTest, StaysConsistentWhenABitOfAStreamIsWrong) {
  Bytes const stream = contentOf(streamPath("weights.0.fpm"));
  int faults = 0;
  for (std::size_t at = 0; at < stream.size(); at += 7) {
    Bytes changed = stream;
    changed[at] = static_cast<char>(changed[at] ^ (1 << (at % 8)));
    Report const report = run(changed);
    faults += report.error ? 1 : 0;
    ASSERT_EQ(report.liveIn(State::programmed), report.live.size()) << at;
    ASSERT_EQ(report.rowsInForce, report.live.size()) << at;
    end();
  }
  EXPECT_GT(faults, 10);
}

TEST_F(ReplayTest, SkipsAndCountsWhatItDoesNotKnow) {
  Bytes const extended = frame(
      message(RTM_NEWNEXTHOP, nextHopHeader(AF_INET) + u32Attribute(NHA_ID, 1) +
                                  u32Attribute(NHA_OIF, 2) + attribute(77, "from the future")));
  Report const report = run(frame(message(16, "a link")) + frame("protobuf", 2) + extended);
  EXPECT_FALSE(report.error);
  EXPECT_EQ(report.stream.skippedMessages, 1U);
  EXPECT_EQ(state(report, 1), State::programmed);
  EXPECT_NE(text(report).find("Skipped as unknown\n"
                              "  frame type 2: 1\n"
                              "  message type 16: 1\n"
                              "  next-hop attribute 77: 1\n"),
            std::string::npos)
      << text(report);
}

// --- Looking at a part, and the end.

TEST_F(ReplayTest, StopsReadingAfterTheAskedNumberOfMessages) {
  options.until = 2;
  Report const report = run(announce(1, 2) + announce(2, 3) + announce(3, 4));
  EXPECT_EQ(report.stream.messages, 2U);
  EXPECT_EQ(report.live.size(), 2U);
  EXPECT_EQ(report.liveIn(State::programmed), 2U);
  options.until = 0;
  EXPECT_EQ(run(announce(1, 2)).stream.messages, 0U);
}

TEST_F(ReplayTest, RefusesAFileThatIsNotThere) {
  options.file = streamPath("no-such-stream.fpm");
  EXPECT_THROW(Replay{options}, std::system_error);
}

TEST_F(ReplayTest, TakesEverythingWithItAtItsEnd) {
  auto const liveObjects = [] {
    std::uint64_t count = 0;
    for (auto const& type : Vek::vekTypeAllocations()) count += type.liveObjects;
    return count;
  };
  std::uint64_t const before = liveObjects();
  options.interfaceDelay = 1;
  run(announce(1, 2) + announce(2, 3) + withdraw(1));
  EXPECT_GT(liveObjects(), before);
  end();
  EXPECT_EQ(liveObjects(), before);
  options.interfaceDelay.reset();
  run(announce(1, 2) + announce(2, 3));
  end();
  EXPECT_EQ(liveObjects(), before);
}

}  // namespace
}  // namespace OrviaL3Agent
