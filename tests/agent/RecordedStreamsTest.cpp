// Every recorded stream, from its bytes to the hardware rows.
//
// The numbers were counted by count_streams.py beside this file, which shares no code with the
// agent.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

struct Recorded {
  char const* name;
  std::uint64_t bytes, frames, messages;
  struct {
    std::uint64_t single, group, blackhole, delSingle, delGroup, delBlackhole;
  } nextHopMessages;
  struct {
    std::uint64_t byId, withPaths, thatDrop, withdrawn;
  } routes;
  struct {
    std::uint64_t announced, repeated, waited;
  } nextHops;
  struct {
    std::size_t atEnd, peak, peakParked, peakInterfaces;
  } live;
  struct {
    std::uint64_t writes, deletes, overtaken;
  } hardware;
};

void PrintTo(Recorded const& recorded, std::ostream* out) { *out << recorded.name; }

// One line per stream, as count_streams.py prints them.
// clang-format off
Recorded const kRecorded[] = {
    {"bgp-1k-distinct16-reconn.0.fpm", 311316, 4156, 4156, {93, 1000, 0, 31, 1000, 0}, {1032, 0, 0, 1000}, {93, 0, 35}, {62, 93, 20, 32}, {93, 31, 0}},
    {"bgp-1k-distinct16.0.fpm", 376384, 3610, 4103, {96, 1493, 0, 0, 493, 0}, {1527, 0, 0, 494}, {96, 0, 42}, {96, 96, 32, 32}, {96, 0, 0}},
    {"bgp16-10k.0.fpm", 3044720, 40093, 60093, {50, 3, 0, 16, 3, 0}, {30020, 0, 0, 30001}, {50, 0, 32}, {34, 50, 32, 16}, {50, 16, 0}},
    {"churn-500-1to16way.0.fpm", 833700, 8598, 16598, {48, 16, 0, 0, 15, 0}, {8518, 0, 0, 8001}, {48, 0, 32}, {48, 48, 32, 16}, {48, 0, 0}},
    {"flap-static-reconn.0.fpm", 3168, 64, 64, {25, 4, 2, 6, 2, 2}, {16, 0, 2, 5}, {25, 0, 25}, {19, 25, 25, 7}, {25, 6, 0}},
    {"flap-static.0.fpm", 5812, 103, 110, {35, 12, 2, 5, 9, 0}, {33, 0, 2, 12}, {34, 1, 20}, {29, 29, 20, 8}, {34, 5, 0}},
    {"forms.0.fpm", 2232, 42, 43, {13, 0, 1, 4, 0, 0}, {16, 0, 1, 8}, {12, 1, 12}, {8, 11, 11, 4}, {10, 2, 2}},
    {"misc.0.fpm", 3488, 57, 65, {22, 6, 0, 2, 4, 0}, {23, 0, 0, 8}, {22, 0, 16}, {20, 21, 15, 6}, {21, 1, 0}},
    {"misc.1.fpm", 1716, 22, 22, {0, 0, 0, 0, 0, 0}, {0, 15, 0, 7}, {0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0}},
    {"w1-static.0.fpm", 2180, 42, 42, {24, 3, 0, 0, 0, 0}, {12, 0, 0, 3}, {24, 0, 20}, {24, 24, 20, 8}, {24, 0, 0}},
    {"weights.0.fpm", 1812, 34, 36, {15, 2, 0, 3, 1, 0}, {10, 0, 0, 5}, {15, 0, 15}, {12, 15, 15, 4}, {14, 2, 2}},
    {"wide-static.0.fpm", 196580, 3656, 3708, {1467, 204, 0, 1008, 204, 0}, {417, 0, 0, 408}, {1467, 0, 23}, {459, 459, 23, 8}, {1467, 1008, 0}},
};
// clang-format on

class RecordedStreams : public ReplayFixture, public ::testing::WithParamInterface<Recorded> {
 protected:
  Report replayRecorded(Bytes const& more = {}) {
    return run(contentOf(streamPath(GetParam().name)) + more);
  }
};

TEST_P(RecordedStreams, EndWithTheCountedTotals) {
  Recorded const& expected = GetParam();
  Report const report = replayRecorded();
  EXPECT_FALSE(report.error) << *report.error;
  EXPECT_EQ(report.fileSize, expected.bytes);

  StreamCounts const& stream = report.stream;
  EXPECT_EQ(stream.frames, expected.frames);
  EXPECT_EQ(stream.messages, expected.messages);
  EXPECT_EQ(stream.nextHops, expected.nextHopMessages.single);
  EXPECT_EQ(stream.groups, expected.nextHopMessages.group);
  EXPECT_EQ(stream.blackholes, expected.nextHopMessages.blackhole);
  EXPECT_EQ(stream.nextHopWithdrawals, expected.nextHopMessages.delSingle);
  EXPECT_EQ(stream.groupWithdrawals, expected.nextHopMessages.delGroup);
  EXPECT_EQ(stream.blackholeWithdrawals, expected.nextHopMessages.delBlackhole);
  EXPECT_EQ(stream.unknownWithdrawals, 0U);
  EXPECT_EQ(stream.routesById, expected.routes.byId);
  EXPECT_EQ(stream.routesWithPaths, expected.routes.withPaths);
  EXPECT_EQ(stream.routesThatDrop, expected.routes.thatDrop);
  EXPECT_EQ(stream.routeWithdrawals, expected.routes.withdrawn);
  EXPECT_EQ(stream.skippedMessages, 0U);
  EXPECT_TRUE(stream.skips.empty());

  EXPECT_EQ(report.nextHops.announced, expected.nextHops.announced);
  EXPECT_EQ(report.nextHops.repeated, expected.nextHops.repeated);
  EXPECT_EQ(report.nextHops.changed, 0U);
  EXPECT_EQ(report.nextHops.withdrawn, expected.nextHopMessages.delSingle);
  EXPECT_EQ(report.nextHops.waited, expected.nextHops.waited);
  EXPECT_EQ(report.nextHops.notPlaced, 0U);
  EXPECT_EQ(report.nextHops.peak, expected.live.peak);
  EXPECT_EQ(report.nextHops.peakParked, expected.live.peakParked);
  EXPECT_EQ(report.interfacesPeak, expected.live.peakInterfaces);
  EXPECT_EQ(report.liveGroups, expected.nextHopMessages.group - expected.nextHopMessages.delGroup);
  EXPECT_EQ(report.liveBlackholes,
            expected.nextHopMessages.blackhole - expected.nextHopMessages.delBlackhole);

  EXPECT_EQ(report.live.size(), expected.live.atEnd);
  EXPECT_EQ(report.liveIn(ShownNextHop::State::programmed), expected.live.atEnd);
  EXPECT_EQ(report.hardware.writes, expected.hardware.writes);
  EXPECT_EQ(report.hardware.deletes, expected.hardware.deletes);
  EXPECT_EQ(report.hardware.overtaken, expected.hardware.overtaken);
  EXPECT_EQ(report.hardware.accepted, expected.hardware.writes - expected.hardware.overtaken);
  EXPECT_EQ(report.hardware.refused, 0U);
  EXPECT_EQ(report.hardware.unclaimed, 0U);
  EXPECT_EQ(report.hardware.noSuchRow, 0U);
  EXPECT_EQ(report.rowsInForce, expected.live.atEnd);
  EXPECT_EQ(report.commit.count(), expected.nextHops.announced);
  EXPECT_EQ(report.remove.count(), expected.nextHopMessages.delSingle);
}

TEST_P(RecordedStreams, WriteEveryNextHopOnceWhenNothingWaits) {
  Recorded const& expected = GetParam();
  withoutWaiting();
  Report const report = replayRecorded();
  EXPECT_EQ(report.hardware.writes, expected.nextHops.announced);
  EXPECT_EQ(report.hardware.accepted, expected.nextHops.announced);
  EXPECT_EQ(report.hardware.deletes, expected.nextHopMessages.delSingle);
  EXPECT_EQ(report.hardware.overtaken, 0U);
  EXPECT_EQ(report.nextHops.waited, 0U);
  EXPECT_EQ(report.rowsInForce, expected.live.atEnd);
}

TEST_P(RecordedStreams, EndInTheSameTableHoweverTheTurnsFall) {
  auto const tableOf = [this] {
    std::vector<std::string> lines;
    Report const report = replayRecorded();
    for (ShownNextHop const& nextHop : report.live) {
      // Rows and slots are given out in the order of events; what they say is the same.
      EXPECT_EQ(nextHop.state, ShownNextHop::State::programmed) << nextHop.contents.id;
      lines.push_back(std::to_string(nextHop.contents.id) + " " + gatewayText(nextHop.contents) +
                      " " + std::to_string(nextHop.contents.interface));
    }
    end();
    return lines;
  };
  std::vector<std::string> const expected = tableOf();
  EXPECT_EQ(expected.size(), GetParam().live.atEnd);
  for (std::uint32_t const slice : {1U, 7U, 100000U}) {
    options.slice = slice;
    EXPECT_EQ(tableOf(), expected) << slice;
  }
  withoutWaiting();
  EXPECT_EQ(tableOf(), expected);
}

TEST_P(RecordedStreams, FillTheHardwareRowsWithWhatTheTableHolds) {
  Report const report = replayRecorded();
  std::set<std::uint32_t> rows;
  for (ShownNextHop const& nextHop : report.live) {
    ASSERT_TRUE(nextHop.row && nextHop.record);
    EXPECT_TRUE(rows.insert(*nextHop.row).second) << "row used twice: " << *nextHop.row;
    auto const& contents = replay().hardware().row(*nextHop.row).contents;
    ASSERT_TRUE(contents) << *nextHop.row;
    ASSERT_TRUE(nextHop.record->l3Oif1 && nextHop.record->mtuProfilePtr);
    SoftAsic::NextHopContents const expected{nextHop.record->fields, *nextHop.record->l3Oif1,
                                             *nextHop.record->mtuProfilePtr};
    EXPECT_EQ(*contents, expected) << *nextHop.row;
    EXPECT_NE(contents->l3Oif1, 0);
    EXPECT_NE(contents->l3Oif1, 0xFFFF);
    EXPECT_EQ(contents->mtuProfilePtr, 1);
    EXPECT_NE(contents->fields.destination, 0);
  }
  EXPECT_EQ(report.rowsInForce, rows.size());
}

TEST_P(RecordedStreams, LeaveNothingBehindWhenTheRestIsWithdrawn) {
  Report const before = replayRecorded();
  Bytes withdrawals;
  for (ShownNextHop const& nextHop : before.live) withdrawals += withdraw(nextHop.contents.id);
  for (ShownGroup const& group : before.groups.live) withdrawals += withdraw(group.id);
  end();
  Report const report = replayRecorded(withdrawals);
  EXPECT_EQ(report.nextHops.withdrawn, report.nextHops.announced);
  expectNothingLeft(replay());
}

INSTANTIATE_TEST_SUITE_P(All, RecordedStreams, ::testing::ValuesIn(kRecorded),
                         [](::testing::TestParamInfo<Recorded> const& tested) {
                           std::string name = tested.param.name;
                           std::erase_if(name,
                                         [](unsigned char c) { return std::isalnum(c) == 0; });
                           return name;
                         });

TEST(RecordedStreamFiles, AreAllInTheTable) {
  std::set<std::string> expected;
  for (Recorded const& recorded : kRecorded) expected.insert(recorded.name);
  std::set<std::string> found;
  for (auto const& entry : std::filesystem::directory_iterator(streamPath(""))) {
    if (entry.path().extension() == ".fpm") found.insert(entry.path().filename().string());
  }
  EXPECT_EQ(found, expected);
}

}  // namespace
}  // namespace OrviaL3Agent
