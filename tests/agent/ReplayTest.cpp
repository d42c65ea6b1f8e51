// What becomes of a stream on its way to the hardware: turns, parking, faults of the stream, parts
// of it, and the end.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <system_error>
#include <vector>

#include "Vek/Memory.h"
#include "agent/Replay.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using State = NextHopState;
using Texts = std::vector<std::string>;

class ReplayTest : public ReplayFixture {};

TEST_F(ReplayTest, OfAnEmptyStreamDoesNothing) {
  Report const report = run("");
  EXPECT_FALSE(report.error);
  EXPECT_EQ(report.stream.frames, 0U);
  EXPECT_EQ(replay().hardware().calls(), 0U);
  expectNothingLeft(replay());
}

// --- Programming.

TEST_F(ReplayTest, ProgramsEachNextHopOfARouteInTheLowestFreeRow) {
  Report const report = run(announceRouted(50, 2, "10.0.1.2") + announceRouted(40, 3, "fe80::1") +
                            announceRouted(60, 4));
  EXPECT_EQ(ingress(report, via(2, "10.0.1.2")).row, 1U);
  EXPECT_EQ(ingress(report, via(3, "fe80::1")).row, 2U);
  EXPECT_EQ(ingress(report, connected(4)).row, 3U);
  EXPECT_EQ(report.ingress.liveIn(State::programmed), 3U);
  EXPECT_EQ(report.ingressTable.hardware.accepted, 3U);
  EXPECT_EQ(report.ingressTable.rowsInForce, 3U);
}

TEST_F(ReplayTest, CountsNextHopsThatNothingUsesAndProgramsNone) {
  Report const report = run(announce(1, 2) + announce(2, 2) + announceRouted(3, 4));
  EXPECT_EQ(report.liveNextHopIds, 3U);
  EXPECT_EQ(report.identities, 2U);
  EXPECT_EQ(report.unusedNextHopIds, 2U);
  EXPECT_EQ(report.ingress.live.size(), 1U);
  EXPECT_EQ(replay().hardware().calls(), 1U);
  EXPECT_EQ(report.interfaces, 1U);
}

TEST_F(ReplayTest, SaysInTheRowHowTheNeighbourIsReached) {
  run(announceRouted(1, 7) + announceRouted(2, 8, "10.0.1.2") + announceRouted(3, 7, "fe80::1"));
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
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 2, "10.0.0.1"));
  EXPECT_EQ(ingress(report, connected(2)).row, 100U);
  EXPECT_EQ(ingress(report, via(2, "10.0.0.1")).row, 101U);
}

TEST_F(ReplayTest, GivesTheRowOfWhatIsGoneToTheNextNextHop) {
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3) + announceRouted(3, 4) +
                            withdrawRouteTo(2) + announceRouted(4, 5) + announceRouted(5, 6));
  EXPECT_EQ(ingress(report, connected(5)).row, 2U);
  EXPECT_EQ(ingress(report, connected(6)).row, 4U);
}

TEST_F(ReplayTest, GivesARowOnWhileAnAnswerForItsLastOwnerIsOnItsWay) {
  // All in one turn, with interfaces that are ready: the answer to the first write comes last.
  options.interfaceDelay = 0;
  options.mtuDelay = 0;
  Report const report = run(announceRouted(1, 2) + withdrawRouteTo(1) + announceRouted(2, 3));
  EXPECT_EQ(ingress(report, connected(3)).row, 1U);
  EXPECT_EQ(ingress(report, connected(3)).state, State::programmed);
  SoftAsic::Counts const& counts = report.ingressTable.hardware;
  EXPECT_EQ(counts.writes, 2U);
  EXPECT_EQ(counts.deletes, 1U);
  EXPECT_EQ(counts.overtaken, 1U);
  EXPECT_EQ(counts.accepted, 1U);
}

// --- Parking.

TEST_F(ReplayTest, ParksNextHopsUntilTheirInterfaceIsProgrammed) {
  start(announceRouted(1, 2) + announceRouted(2, 2, "10.0.0.1"));
  auto const& table = *replay().mapping().tables().ingress;
  ASSERT_TRUE(replay().turn());
  Report report = replay().report();
  EXPECT_EQ(report.ingress.liveIn(State::parked), 2U);
  EXPECT_EQ(report.routes.liveIn(Routes::State::notInForce), 2U);
  EXPECT_EQ(table.unresolvedEntrys(), 2U);
  EXPECT_EQ(table.entrys(), 0U);
  EXPECT_EQ(replay().hardware().calls(), 0U);
  EXPECT_EQ(replay().hardware().rowsInForce(), 0U);

  ASSERT_TRUE(replay().turn());  // the MTU profile alone is not enough
  EXPECT_EQ(replay().report().ingress.liveIn(State::parked), 2U);
  EXPECT_EQ(replay().hardware().calls(), 0U);

  EXPECT_FALSE(replay().turn());
  report = replay().report();
  EXPECT_EQ(report.ingress.liveIn(State::programmed), 2U);
  EXPECT_EQ(report.routes.liveIn(Routes::State::forwarded), 2U);
  EXPECT_EQ(table.unresolvedEntrys(), 0U);
  EXPECT_EQ(report.ingressTable.hardware.writes, 2U);
  EXPECT_EQ(report.ingress.counts.waited, 2U);
  EXPECT_EQ(report.ingress.counts.peakParked, 2U);
}

TEST_F(ReplayTest, DoesNotParkANextHopOnAnInterfaceThatIsReady) {
  options.slice = 1;
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3) + announceRouted(3, 4) +
                            announceRouted(4, 2, "10.0.0.1"));
  // The last one comes when interface 2 has long been programmed.
  EXPECT_EQ(report.ingress.counts.made, 4U);
  EXPECT_EQ(report.ingress.counts.waited, 3U);
}

TEST_F(ReplayTest, EndsWithParkedNextHopsWhenTheInterfaceIsNeverProgrammed) {
  options.interfaceDelay.reset();
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3));
  EXPECT_EQ(report.ingress.liveIn(State::parked), 2U);
  EXPECT_EQ(replay().hardware().calls(), 0U);
}

TEST_F(ReplayTest, EndsWithParkedNextHopsWhenTheMtuProfileIsNeverProgrammed) {
  options.mtuDelay.reset();
  Report const report = run(announceRouted(1, 2));
  EXPECT_EQ(report.ingress.liveIn(State::parked), 1U);
  EXPECT_EQ(replay().hardware().calls(), 0U);
}

TEST_F(ReplayTest, DoesNotWriteAParkedNextHopBecauseItIsAnnouncedAgain) {
  // Committing the same record once more would count the programmed interface twice.
  options.mtuDelay.reset();
  options.interfaceDelay = 0;
  Report const report = run(announceRouted(1, 2) + announceRouted(1, 2));
  EXPECT_EQ(report.nextHopIds.repeated, 1U);
  EXPECT_EQ(report.routes.counts.repeated, 1U);
  EXPECT_EQ(report.commit.count(), 1U);
  EXPECT_EQ(ingress(report, connected(2)).state, State::parked);
  EXPECT_EQ(replay().hardware().calls(), 0U);
}

// --- Withdrawals.

TEST_F(ReplayTest, LeavesNothingBehindOfWhatIsWithdrawn) {
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3) + withdrawRouteTo(1) +
                            withdrawRouteTo(2) + withdraw(1) + withdraw(2));
  EXPECT_EQ(report.nextHopIds.withdrawn, 2U);
  EXPECT_EQ(report.routes.counts.withdrawn, 2U);
  expectNothingLeft(replay());
}

TEST_F(ReplayTest, LeavesNothingBehindOfWhatIsWithdrawnInTheOtherOrder) {
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3) + withdraw(1) +
                            withdraw(2) + withdrawRouteTo(1) + withdrawRouteTo(2));
  EXPECT_EQ(report.deferredWithdrawals, 2U);
  expectNothingLeft(replay());
}

TEST_F(ReplayTest, LeavesNothingBehindOfWhatWasProgrammed) {
  withoutWaiting();
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3) + withdrawRouteTo(1) +
                            withdrawRouteTo(2) + withdraw(1) + withdraw(2));
  EXPECT_EQ(report.ingressTable.hardware.writes, 2U);
  EXPECT_EQ(report.ingressTable.hardware.deletes, 2U);
  expectNothingLeft(replay());
}

TEST_F(ReplayTest, MakesNoHardwareCallForANextHopThatNeverLeftItsParking) {
  run(announceRouted(1, 2) + withdrawRouteTo(1));
  EXPECT_EQ(replay().hardware().calls(), 0U);
}

TEST_F(ReplayTest, ProgramsANextHopThatComesBack) {
  Report const report =
      run(announceRouted(1, 2) + withdrawRouteTo(1) + withdraw(1) + announceRouted(1, 2));
  EXPECT_EQ(report.nextHopIds.announced, 2U);
  EXPECT_EQ(ingress(report, connected(2)).state, State::programmed);
  EXPECT_EQ(report.ingressTable.rowsInForce, 1U);
}

TEST_F(ReplayTest, CountsWithdrawalsByWhatTheIdWas) {
  Report const report = run(announce(1, 2) + announceGroup(2, {{1, 0}}) + announceBlackhole(3) +
                            withdraw(2) + withdraw(1) + withdraw(3) + withdraw(4) + withdraw(1));
  EXPECT_EQ(report.stream.nextHopWithdrawals, 1U);
  EXPECT_EQ(report.stream.groupWithdrawals, 1U);
  EXPECT_EQ(report.stream.blackholeWithdrawals, 1U);
  EXPECT_EQ(report.stream.unknownWithdrawals, 2U);
  EXPECT_EQ(report.groupIds.withdrawn, 1U);
  EXPECT_EQ(report.liveBlackholes, 0U);
  expectNothingLeft(replay());
}

TEST_F(ReplayTest, CountsAnnouncementsByWhatTheyChange) {
  Report const report = run(announce(1, 2) + announce(1, 2) + announce(1, 3) + announce(2, 3) +
                            announceGroup(9, {{1, 0}}) + announceGroup(9, {{1, 0}}) +
                            announceGroup(9, {{1, 0}, {2, 0}}) + withdraw(2));
  EXPECT_EQ(report.nextHopIds.announced, 2U);
  EXPECT_EQ(report.nextHopIds.repeated, 1U);
  EXPECT_EQ(report.nextHopIds.changed, 1U);
  EXPECT_EQ(report.nextHopIds.withdrawn, 1U);
  EXPECT_EQ(report.nextHopIds.peak, 2U);
  EXPECT_EQ(report.groupIds.announced, 1U);
  EXPECT_EQ(report.groupIds.repeated, 1U);
  EXPECT_EQ(report.groupIds.changed, 1U);
  EXPECT_EQ(report.groupIds.peak, 1U);
}

// --- Faults of the stream.

TEST_F(ReplayTest, KeepsEverythingBeforeAFaultProgrammed) {
  Bytes const before = announceRouted(1, 2) + announceRouted(2, 3) + withdrawRouteTo(1);
  Report const report = run(before + frame("", 1, 9) + announceRouted(3, 4));
  ASSERT_TRUE(report.error);
  EXPECT_EQ(*report.error, "offset " + std::to_string(before.size()) +
                               ": not a frame header: version 9, expected 1");
  EXPECT_EQ(report.stream.messages, 5U);
  EXPECT_EQ(report.ingress.live.size(), 1U);
  EXPECT_EQ(ingress(report, connected(3)).state, State::programmed);
  EXPECT_EQ(report.ingressTable.rowsInForce, 1U);
  EXPECT_EQ(replay().mapping().tables().ingress->entrys(), 1U);
  EXPECT_EQ(replay().mapping().tables().ingress->unresolvedEntrys(), 0U);
  EXPECT_NE(text(report).find("Stopped at a fault of the stream: offset "), std::string::npos);
}

TEST_F(ReplayTest, EndsTheFrameInWhichTheStreamFails) {
  // What the frame had withdrawn by then is withdrawn.
  Bytes const bad = message(RTM_DELNEXTHOP, "", 4000);
  Report const report =
      run(announceRouted(1, 2) + frame(routeMessage(RTM_DELROUTE, "10.0.1.0", 24, {}) + bad));
  ASSERT_TRUE(report.error);
  EXPECT_EQ(report.routes.live, 0U);
  EXPECT_EQ(report.ingressTable.rowsInForce, 0U);
}

TEST_F(ReplayTest, StaysConsistentWhereverARecordedStreamBreaks) {
  Bytes const stream = contentOf(streamPath("forms.0.fpm"));
  for (std::size_t length = 1; length < stream.size(); length += 37) {
    Report const report = run(stream.substr(0, length));
    auto const& table = *replay().mapping().tables().ingress;
    ASSERT_EQ(report.ingress.liveIn(State::programmed), report.ingress.live.size()) << length;
    ASSERT_EQ(report.ingressTable.rowsInForce, report.ingress.live.size()) << length;
    ASSERT_EQ(table.entrys(), report.ingress.live.size()) << length;
    ASSERT_EQ(table.entryHandles(), report.ingress.live.size()) << length;
    ASSERT_EQ(report.nextHopIds.announced, report.liveNextHopIds + report.nextHopIds.withdrawn)
        << length;
  }
}

TEST_F(ReplayTest, StaysConsistentWhenABitOfAStreamIsWrong) {
  // Next hops, groups and routes; every row that there is must be wanted, and the other way round.
  Bytes const stream = contentOf(streamPath("weights.0.fpm"));
  withGroups();
  options.memberRows = 1024;
  options.groupRows = 64;
  options.verify = true;
  options.checkForwarding = true;
  int faults = 0;
  for (std::size_t at = 0; at < stream.size(); at += 7) {
    Bytes changed = stream;
    changed[at] = static_cast<char>(changed[at] ^ (1 << (at % 8)));
    Report const report = run(changed);
    faults += report.error ? 1 : 0;
    ASSERT_EQ(report.ingress.liveIn(State::programmed), report.ingress.live.size()) << at;
    ASSERT_EQ(report.ecmp.liveIn(State::programmed), report.ecmp.live.size()) << at;
    ASSERT_EQ(report.ingressTable.rowsInForce, report.ingress.live.size()) << at;
    ASSERT_TRUE(replay().differences().empty()) << at << "\n" << text(replay().differences());
    ASSERT_EQ(replay().forwardingCheck()->total(), 0U) << at;
  }
  EXPECT_GT(faults, 10);
}

TEST_F(ReplayTest, SkipsAndCountsWhatItDoesNotKnow) {
  Bytes const extended = frame(
      message(RTM_NEWNEXTHOP, nextHopHeader(AF_INET) + u32Attribute(NHA_ID, 1) +
                                  u32Attribute(NHA_OIF, 2) + attribute(77, "from the future")));
  Report const report =
      run(frame(message(16, "a link")) + frame("protobuf", 2) + extended + routeTo(1));
  EXPECT_FALSE(report.error);
  EXPECT_EQ(report.stream.skippedMessages, 1U);
  EXPECT_EQ(ingress(report, connected(2)).state, State::programmed);
  EXPECT_NE(text(report).find("Skipped as unknown\n"
                              "  frame type 2: 1\n"
                              "  message type 16: 1\n"
                              "  next-hop attribute 77: 1\n"),
            std::string::npos)
      << text(report);
}

// --- Events.

TEST_F(ReplayTest, LetsEventsHappenWhenThatManyMessagesHaveBeenHandled) {
  withGroups();
  withoutWaiting();
  withJournal();
  options.events = {eventOf("at 3 interface 2 down"), eventOf("at end interface 2 up")};
  run(announce(1, 2) + announce(2, 3) + announceGroup(20, {{1, 0}, {2, 0}}) + announceRouted(9, 9));
  // The block without interface 2 comes before the next hop of the route; the end comes last.
  Texts const seen = calls();
  Texts const expected{"ecmp write 1",    "ecmp write 2",   "member write 0",  "member write 1",
                       "group write 1",   "member write 2", "group write 1",   "member remove 0",
                       "member remove 1", "ecmp remove 1",  "ingress write 32"};
  ASSERT_GE(seen.size(), expected.size());
  EXPECT_EQ(Texts(seen.begin(), seen.begin() + static_cast<std::ptrdiff_t>(expected.size())),
            expected);
  EXPECT_EQ(replay().report().groups.counts.repairs, 1U);
  EXPECT_EQ(replay().report().groups.counts.restores, 1U);
  EXPECT_TRUE(replay().events().unreached().empty());
}

TEST_F(ReplayTest, KnowsTheEventsThatTheStreamWasTooShortFor) {
  options.events = {eventOf("at 0 retry"), eventOf("at 2 retry"), eventOf("at 3 retry")};
  run(announce(1, 2) + announce(2, 3));
  ASSERT_EQ(replay().events().unreached().size(), 1U);
  EXPECT_EQ(text(replay().events().unreached()[0]), "at 3 retry");
}

TEST_F(ReplayTest, AsksForAnswersOnceMoreWhenToldToRetry) {
  options.faults.of(SoftAsic::TableId::ingressNextHops).loseAnswerEvery = 1;
  Bytes const stream = announceRouted(1, 2) + announceRouted(2, 3);
  Report report = run(stream);
  EXPECT_EQ(report.ingress.liveIn(State::unanswered), 2U);
  EXPECT_EQ(report.ingressTable.rowsInForce, 2U);
  options.events = {eventOf("at end faults off"), eventOf("at end retry")};
  report = run(stream);
  EXPECT_EQ(report.ingress.liveIn(State::programmed), 2U);
  EXPECT_EQ(report.ingress.counts.retried, 2U);
}

// --- Looking at a part, and the end.

TEST_F(ReplayTest, StopsReadingAfterTheAskedNumberOfMessages) {
  options.until = 4;
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3) + announceRouted(3, 4));
  EXPECT_EQ(report.stream.messages, 4U);
  EXPECT_EQ(report.liveNextHopIds, 2U);
  EXPECT_EQ(report.ingress.liveIn(State::programmed), 2U);
  options.until = 0;
  EXPECT_EQ(run(announce(1, 2)).stream.messages, 0U);
}

TEST_F(ReplayTest, EndsTheFrameInWhichItStopsReading) {
  options.until = 3;
  Report const report =
      run(announceRouted(1, 2) + frame(routeMessage(RTM_DELROUTE, "10.0.1.0", 24, {}) +
                                       routeMessage(RTM_NEWROUTE, "10.0.1.0", 24, routeById(1))));
  EXPECT_EQ(report.stream.messages, 3U);
  EXPECT_EQ(report.routes.live, 0U);
  EXPECT_EQ(report.ingressTable.rowsInForce, 0U);
}

TEST_F(ReplayTest, RefusesAFileThatIsNotThere) {
  options.file = streamPath("no-such-stream.fpm");
  EXPECT_THROW(Replay{options}, std::system_error);
}

TEST_F(ReplayTest, LooksTheSameWhateverTheSlice) {
  // The state at the end depends on what was said, not on how it was cut into turns.
  Bytes const stream = contentOf(streamPath("flap-static.0.fpm"));
  options.ecmpRows.reset();
  withoutWaiting();
  options.slice = 1000;
  std::string const whole = showText(run(stream));
  for (std::uint32_t const slice : {1U, 3U, 16U}) {
    options.slice = slice;
    EXPECT_EQ(showText(run(stream)), whole) << slice;
  }
}

TEST_F(ReplayTest, TakesEverythingWithItAtItsEnd) {
  auto const liveObjects = [] {
    std::uint64_t count = 0;
    for (auto const& type : Vek::vekTypeAllocations()) count += type.liveObjects;
    return count;
  };
  std::uint64_t const before = liveObjects();
  withGroups();
  Bytes const stream = announceRouted(1, 2) + announceRouted(2, 3) +
                       announceGroup(20, {{1, 0}, {2, 0}}) + routeTo(20) + withdraw(1) +
                       withdrawRouteTo(1) + routeTo(77);
  options.interfaceDelay = 1;
  run(stream);
  EXPECT_GT(liveObjects(), before);
  end();
  EXPECT_EQ(liveObjects(), before);
  options.interfaceDelay.reset();
  run(stream);
  end();
  EXPECT_EQ(liveObjects(), before);
  // In the middle of everything.
  options.interfaceDelay = 0;
  options.faults.of(SoftAsic::TableId::groups).answerAfter = 5;
  start(stream + announceGroup(20, {{1, 0}}));
  replay().turn();
  end();
  EXPECT_EQ(liveObjects(), before);
}

}  // namespace
}  // namespace OrviaL3Agent
