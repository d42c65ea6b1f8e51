#include <gtest/gtest.h>

#include "agent/serve/EntryCounts.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent::Testing {
namespace {

// Held against the summary of a replay, which counts in its own way.
class EntryCountsTest : public ReplayFixture {
 protected:
  EntryCounts::Result counted() {
    EntryCounts counts(replay().agent(), slice);
    while (!counts.runSlice()) ++slices;
    return counts.result();
  }
  void expectAsReported() {
    EntryCounts::Result const counts = counted();
    Report const report = replay().report();
    for (std::size_t i = 0; i < EntryCounts::kStates; ++i) {
      auto const hopState = static_cast<NextHopState>(i);
      EXPECT_EQ(counts.ingress.at(i), report.ingress.liveIn(hopState)) << i;
      EXPECT_EQ(counts.ecmp.at(i), report.ecmp.liveIn(hopState)) << i;
      EXPECT_EQ(counts.groups.at(i), report.groups.liveIn(static_cast<Groups::State>(i))) << i;
    }
    for (std::size_t i = 0; i < EntryCounts::kRouteStates; ++i) {
      EXPECT_EQ(counts.routes.at(i), report.routes.liveIn(static_cast<Routes::State>(i))) << i;
    }
    for (std::size_t i = 0; i < EntryCounts::kGroupIdStates; ++i) {
      EXPECT_EQ(counts.groupIds.at(i), report.groups.idsIn(static_cast<ShownGroupId::State>(i)))
          << i;
    }
    EXPECT_EQ(counts.unusedNextHopIds, report.unusedNextHopIds);
    EXPECT_EQ(counts.blackholes, report.liveBlackholes);
    EXPECT_EQ(counts.rowsInForce[0], report.ingressTable.rowsInForce);
    EXPECT_EQ(counts.rowsInForce[1], report.groups.nextHopTable.rowsInForce);
    EXPECT_EQ(counts.rowsInForce[2], report.groups.memberTable.rowsInForce);
    EXPECT_EQ(counts.rowsInForce[3], report.groups.groupTable.rowsInForce);
  }
  // The sample up to that message, where much is there.
  void replaySample(char const* name, std::uint64_t until) {
    options.ecmpRows.reset();
    options.until = until;
    run(contentOf(std::string(ORVIA_SOURCE_DIR "/examples/streams/") + name));
  }

  std::chrono::microseconds slice = Control::SliceTime::kSlice;
  std::size_t slices = 0;
};

TEST_F(EntryCountsTest, AreThoseOfTheSummaryOfARecordedStream) {
  replaySample("forms.0.fpm", 25);
  EXPECT_GT(replay().report().routes.live, 0U);
  expectAsReported();
}

TEST_F(EntryCountsTest, AreThoseOfTheSummaryWhenTheHardwareRefusesAndLoses) {
  options.faults.of(SoftAsic::TableId::ecmpNextHops).refuseEvery = 20;
  options.faults.of(SoftAsic::TableId::members).loseWriteEvery = 7;
  options.faults.of(SoftAsic::TableId::groups).loseAnswerEvery = 3;
  replaySample("bgp-1k-distinct16.0.fpm", 1500);
  EntryCounts::Result const counts = counted();
  EXPECT_GT(counts.groups[static_cast<std::size_t>(Groups::State::unanswered)], 0U);
  EXPECT_GT(counts.ecmp[static_cast<std::size_t>(NextHopState::refused)], 0U);
  EXPECT_GT(counts.groupsWithMissingMembers, 0U);
  EXPECT_GT(counts.blocks.unanswered, 0U);
  EXPECT_EQ(counts.blocks.refused, 0U);
  EXPECT_EQ(counts.blocks.programmed + counts.blocks.unanswered,
            replay().mapping().tables().members->entryBlocks());
  EXPECT_GT(counts.causes[static_cast<std::size_t>(Insight::Cause::Kind::refused)], 0U);
  EXPECT_GT(counts.causes[static_cast<std::size_t>(Insight::Cause::Kind::unanswered)], 0U);
  expectAsReported();
}

TEST_F(EntryCountsTest, AreThoseOfTheSummaryWhenTablesAreFull) {
  options.rows = 32;
  options.memberRows = 64;
  replaySample("bgp-1k-distinct16.0.fpm", 1500);
  EntryCounts::Result const counts = counted();
  EXPECT_GT(counts.groups[static_cast<std::size_t>(Groups::State::notPlaced)], 0U);
  EXPECT_GT(counts.causes[static_cast<std::size_t>(Insight::Cause::Kind::noRoom)], 0U);
  expectAsReported();
}

TEST_F(EntryCountsTest, AnInterfaceThatNeverComesIsOneCauseForAllThatWait) {
  options.interfaceDelay.reset();
  run(announce(1, 2, "10.0.0.1") + announce(2, 2, "10.0.0.2") + announceRoute("10.1.0.0", 16, 1) +
      announceRoute("10.2.0.0", 16, 2));
  EntryCounts::Result const counts = counted();
  EXPECT_EQ(counts.ingress[static_cast<std::size_t>(NextHopState::parked)], 2U);
  EXPECT_EQ(counts.causes[static_cast<std::size_t>(Insight::Cause::Kind::notProgrammed)], 1U);
}

TEST_F(EntryCountsTest, AnIdThatNobodyAnnouncedIsMissing) {
  run(announceRoute("10.1.0.0", 16, 7));
  EntryCounts::Result const counts = counted();
  EXPECT_EQ(counts.missingIds, 1U);
  EXPECT_EQ(counts.routes[static_cast<std::size_t>(Routes::State::unknownId)], 1U);
  EXPECT_EQ(counts.causes[static_cast<std::size_t>(Insight::Cause::Kind::notAnnounced)], 1U);
}

TEST_F(EntryCountsTest, ManyEntriesAreCountedInSeveralSlices) {
  replaySample("bgp16-10k.0.fpm", 10040);
  slice = {};
  expectAsReported();
  EXPECT_GT(counted().routes[static_cast<std::size_t>(Routes::State::forwarded)], 9000U);
  EXPECT_GT(slices, 100U);
}

}  // namespace
}  // namespace OrviaL3Agent::Testing
