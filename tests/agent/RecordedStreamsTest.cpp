// Every recorded stream, from its bytes to the rows of its ids and routes.
//
// The numbers were counted by count_streams.py beside this file, which shares no code with the
// agent.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "agent/RouteText.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

struct Recorded {
  char const* name;
  std::uint64_t bytes, frames, messages;
  struct {
    std::uint64_t single, group, blackhole, delSingle, delGroup, delBlackhole;
  } idMessages;
  struct {
    std::uint64_t byId, withPaths, thatDrop, withdrawn;
  } routeMessages;
  struct {
    std::uint64_t newNextHops, nextHopsAgain, newGroups, groupsAgain;
  } ids;
  struct {
    std::uint64_t announced, again, changed, unknownWithdrawals;
  } routes;
  struct {
    std::size_t nextHops, identities, unused, blackholes, withdrawnInUse;
  } idsAtEnd;
  struct {
    std::size_t all, forwarded, drop, unknownId, notPossible;
  } routesAtEnd;
  std::size_t rowsAtEnd;  // of the ingress table
  // When nothing waits for interfaces or answers.
  struct {
    std::uint64_t deferredWithdrawals, cameBeforeTheirId;
    std::size_t ids, routes, interfaces;  // most at once
  } onTheWay;
  struct {
    std::uint64_t writes, deletes;
    std::size_t peak;
  } calls;
};

void PrintTo(Recorded const& recorded, std::ostream* out) { *out << recorded.name; }

// One line per stream, as count_streams.py prints them.
// clang-format off
Recorded const kRecorded[] = {
    {"bgp-1k-distinct16-reconn.0.fpm", 311316, 4156, 4156, {93, 1000, 0, 31, 1000, 0}, {1032, 0, 0, 1000}, {93, 0, 1000, 0}, {1032, 0, 0, 0}, {62, 62, 30, 0, 0}, {32, 32, 0, 0, 0}, 32, {0, 0, 93, 1032, 31}, {32, 0, 32}},
    {"bgp-1k-distinct16.0.fpm", 376384, 3610, 4103, {96, 1493, 0, 0, 493, 0}, {1527, 0, 0, 494}, {96, 0, 1493, 0}, {1033, 1, 493, 0}, {96, 96, 33, 0, 0}, {1032, 1032, 0, 0, 0}, 32, {0, 0, 96, 1033, 32}, {33, 1, 33}},
    {"bgp16-10k.0.fpm", 3044720, 40093, 60093, {50, 3, 0, 16, 3, 0}, {30020, 0, 0, 30001}, {50, 0, 3, 0}, {10018, 2, 20000, 0}, {34, 33, 17, 0, 0}, {17, 17, 0, 0, 0}, 17, {0, 0, 50, 10017, 16}, {18, 1, 17}},
    {"churn-500-1to16way.0.fpm", 833700, 8598, 16598, {48, 16, 0, 0, 15, 0}, {8518, 0, 0, 8001}, {48, 0, 16, 0}, {517, 1, 8000, 0}, {48, 48, 17, 0, 0}, {516, 516, 0, 0, 0}, 16, {0, 0, 48, 517, 16}, {18, 2, 18}},
    {"flap-static-reconn.0.fpm", 3168, 64, 64, {25, 4, 2, 6, 2, 2}, {16, 0, 2, 5}, {25, 0, 4, 0}, {18, 0, 0, 0}, {19, 16, 5, 0, 0}, {13, 13, 0, 0, 0}, 10, {0, 0, 25, 18, 7}, {10, 0, 10}},
    {"flap-static.0.fpm", 5812, 103, 110, {35, 12, 2, 5, 9, 0}, {33, 0, 2, 12}, {34, 1, 12, 0}, {23, 5, 7, 0}, {29, 22, 11, 2, 0}, {18, 15, 2, 1, 0}, 10, {0, 1, 29, 18, 8}, {13, 3, 10}},
    {"forms.0.fpm", 2232, 42, 43, {13, 0, 1, 4, 0, 0}, {16, 0, 1, 8}, {12, 1, 0, 0}, {11, 6, 0, 1}, {8, 8, 3, 1, 0}, {5, 5, 0, 0, 0}, 5, {0, 0, 11, 10, 4}, {9, 4, 8}},
    {"misc.0.fpm", 3488, 57, 65, {22, 6, 0, 2, 4, 0}, {23, 0, 0, 8}, {22, 0, 6, 0}, {15, 0, 8, 0}, {20, 18, 4, 0, 0}, {15, 15, 0, 0, 0}, 8, {0, 0, 21, 15, 6}, {9, 1, 8}},
    {"misc.1.fpm", 1716, 22, 22, {0, 0, 0, 0, 0, 0}, {0, 15, 0, 7}, {0, 0, 0, 0}, {15, 0, 0, 0}, {0, 0, 0, 0, 0}, {8, 8, 0, 0, 0}, 7, {0, 0, 0, 15, 6}, {8, 1, 8}},
    {"w1-static.0.fpm", 2180, 42, 42, {24, 3, 0, 0, 0, 0}, {12, 0, 0, 3}, {24, 0, 3, 0}, {12, 0, 0, 0}, {24, 24, 7, 0, 0}, {9, 9, 0, 0, 0}, 9, {0, 0, 24, 12, 8}, {9, 0, 9}},
    {"weights.0.fpm", 1812, 34, 36, {15, 2, 0, 3, 1, 0}, {10, 0, 0, 5}, {15, 0, 2, 0}, {7, 1, 2, 0}, {12, 12, 5, 0, 0}, {4, 4, 0, 0, 0}, 4, {0, 0, 15, 7, 4}, {5, 1, 5}},
    {"wide-static.0.fpm", 196580, 3656, 3708, {1467, 204, 0, 1008, 204, 0}, {417, 0, 0, 408}, {1467, 0, 204, 0}, {364, 1, 52, 0}, {459, 459, 451, 0, 0}, {8, 8, 0, 0, 0}, 8, {0, 0, 459, 208, 8}, {10, 2, 9}},
};
// clang-format on

class RecordedStreams : public ReplayFixture, public ::testing::WithParamInterface<Recorded> {
 protected:
  RecordedStreams() { options.ecmpRows.reset(); }

  Report replayRecorded(Bytes const& more = {}) {
    return run(contentOf(streamPath(GetParam().name)) + more);
  }

  static void expectMessages(StreamCounts const& stream) {
    Recorded const& expected = GetParam();
    EXPECT_EQ(stream.frames, expected.frames);
    EXPECT_EQ(stream.messages, expected.messages);
    EXPECT_EQ(stream.nextHops, expected.idMessages.single);
    EXPECT_EQ(stream.groups, expected.idMessages.group);
    EXPECT_EQ(stream.blackholes, expected.idMessages.blackhole);
    EXPECT_EQ(stream.nextHopWithdrawals, expected.idMessages.delSingle);
    EXPECT_EQ(stream.groupWithdrawals, expected.idMessages.delGroup);
    EXPECT_EQ(stream.blackholeWithdrawals, expected.idMessages.delBlackhole);
    EXPECT_EQ(stream.unknownWithdrawals, 0U);
    EXPECT_EQ(stream.routesById, expected.routeMessages.byId);
    EXPECT_EQ(stream.routesWithPaths, expected.routeMessages.withPaths);
    EXPECT_EQ(stream.routesThatDrop, expected.routeMessages.thatDrop);
    EXPECT_EQ(stream.routeWithdrawals, expected.routeMessages.withdrawn);
    EXPECT_EQ(stream.skippedMessages, 0U);
    EXPECT_TRUE(stream.skips.empty());
  }

  static void expectIds(Report const& report) {
    Recorded const& expected = GetParam();
    EXPECT_EQ(report.nextHopIds.announced, expected.ids.newNextHops);
    EXPECT_EQ(report.nextHopIds.repeated, expected.ids.nextHopsAgain);
    EXPECT_EQ(report.nextHopIds.changed, 0U);
    EXPECT_EQ(report.nextHopIds.withdrawn, expected.idMessages.delSingle);
    EXPECT_EQ(report.groupIds.announced, expected.ids.newGroups);
    EXPECT_EQ(report.groupIds.repeated, expected.ids.groupsAgain);
    EXPECT_EQ(report.groupIds.changed, 0U);
    EXPECT_EQ(report.groupIds.withdrawn, expected.idMessages.delGroup);
    EXPECT_EQ(report.liveNextHopIds, expected.idsAtEnd.nextHops);
    EXPECT_EQ(report.identities, expected.idsAtEnd.identities);
    EXPECT_EQ(report.unusedNextHopIds, expected.idsAtEnd.unused);
    EXPECT_EQ(report.liveBlackholes, expected.idsAtEnd.blackholes);
    EXPECT_EQ(report.withdrawnInUse, expected.idsAtEnd.withdrawnInUse);
  }

  static void expectRoutes(RouteReport const& routes) {
    Recorded const& expected = GetParam();
    EXPECT_EQ(routes.counts.announced, expected.routes.announced);
    EXPECT_EQ(routes.counts.repeated, expected.routes.again);
    EXPECT_EQ(routes.counts.changed, expected.routes.changed);
    EXPECT_EQ(routes.counts.unknownWithdrawals, expected.routes.unknownWithdrawals);
    // A route that its frame withdraws and announces again is not withdrawn.
    EXPECT_EQ(routes.counts.withdrawn, expected.routes.announced - expected.routesAtEnd.all);
    EXPECT_EQ(routes.live, expected.routesAtEnd.all);
    EXPECT_EQ(routes.liveIn(Routes::State::forwarded), expected.routesAtEnd.forwarded);
    EXPECT_EQ(routes.liveIn(Routes::State::drop), expected.routesAtEnd.drop);
    EXPECT_EQ(routes.liveIn(Routes::State::unknownId), expected.routesAtEnd.unknownId);
    EXPECT_EQ(routes.liveIn(Routes::State::notPossible), expected.routesAtEnd.notPossible);
    EXPECT_EQ(routes.liveIn(Routes::State::notInForce), 0U);
  }

  static void expectRows(Report const& report) {
    std::size_t const rows = GetParam().rowsAtEnd;
    SoftAsic::Counts const& calls = report.ingressTable.hardware;
    EXPECT_EQ(report.ingress.live.size(), rows);
    EXPECT_EQ(report.ingress.liveIn(NextHopState::programmed), rows);
    EXPECT_EQ(report.ingress.counts.notPlaced, 0U);
    EXPECT_EQ(report.ingress.counts.made - report.ingress.counts.ended, rows);
    EXPECT_EQ(report.ingressTable.rowsInForce, rows);
    EXPECT_EQ(calls.writes - calls.deletes, rows);
    EXPECT_EQ(calls.writes, calls.accepted + calls.overtaken);
    EXPECT_EQ(calls.refused, 0U);
    EXPECT_EQ(calls.unclaimed, 0U);
    EXPECT_EQ(calls.noSuchRow, 0U);
    EXPECT_EQ(report.commit.count(), report.ingress.counts.made);
    EXPECT_EQ(report.remove.count(), report.ingress.counts.ended);
  }
};

TEST_P(RecordedStreams, EndWithTheCountedTotals) {
  Report const report = replayRecorded();
  EXPECT_FALSE(report.error) << *report.error;
  EXPECT_EQ(report.fileSize, GetParam().bytes);
  expectMessages(report.stream);
  expectIds(report);
  expectRoutes(report.routes);
  expectRows(report);
}

TEST_P(RecordedStreams, MakeTheCountedCallsWhenNothingWaits) {
  Recorded const& expected = GetParam();
  withoutWaiting();
  Report const report = replayRecorded();
  expectIds(report);
  expectRoutes(report.routes);
  expectRows(report);
  EXPECT_EQ(report.deferredWithdrawals, expected.onTheWay.deferredWithdrawals);
  EXPECT_EQ(report.routes.counts.waitedForId, expected.onTheWay.cameBeforeTheirId);
  EXPECT_EQ(report.nextHopIds.peak, expected.onTheWay.ids);
  EXPECT_EQ(report.routes.counts.peak, expected.onTheWay.routes);
  EXPECT_EQ(report.interfacesPeak, expected.onTheWay.interfaces);
  EXPECT_EQ(report.ingress.counts.peak, expected.calls.peak);
  EXPECT_EQ(report.ingress.counts.waited, 0U);
  EXPECT_EQ(report.ingressTable.hardware.writes, expected.calls.writes);
  EXPECT_EQ(report.ingressTable.hardware.deletes, expected.calls.deletes);
  EXPECT_EQ(report.ingressTable.hardware.overtaken, 0U);
}

TEST_P(RecordedStreams, EndInTheSameTablesHoweverTheTurnsFall) {
  auto const tablesOf = [this] {
    std::vector<std::string> lines;
    Report const report = replayRecorded();
    // Rows and slots are given out in the order of events; what they say is the same.
    for (NextHopReport const* hops : {&report.ingress, &report.ecmp}) {
      for (ShownNextHop const& nextHop : hops->live) {
        EXPECT_EQ(nextHop.state, NextHopState::programmed) << text(nextHop.identity);
        lines.push_back(std::to_string(nextHop.ids) + " " + text(nextHop.identity));
      }
    }
    for (auto const& [key, route] : replay().mapping().routes().routes()) {
      lines.push_back(text(key) + " " +
                      std::to_string(static_cast<int>(replay().mapping().routes().state(route))));
    }
    end();
    return lines;
  };
  std::vector<std::string> const expected = tablesOf();
  EXPECT_GE(expected.size(), GetParam().routesAtEnd.all + GetParam().rowsAtEnd);
  for (std::uint32_t const slice : {1U, 7U, 100000U}) {
    options.slice = slice;
    EXPECT_EQ(tablesOf(), expected) << slice;
  }
  withoutWaiting();
  EXPECT_EQ(tablesOf(), expected);
}

TEST_P(RecordedStreams, FillTheHardwareRowsWithWhatTheTableHolds) {
  Report const report = replayRecorded();
  std::set<std::uint32_t> rows;
  for (ShownNextHop const& nextHop : report.ingress.live) {
    ASSERT_TRUE(nextHop.row && nextHop.record);
    EXPECT_TRUE(rows.insert(*nextHop.row).second) << "row used twice: " << *nextHop.row;
    EXPECT_GE(*nextHop.row, options.firstIngressRow());
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
  EXPECT_EQ(report.ingressTable.rowsInForce, rows.size());
}

TEST_P(RecordedStreams, LeaveNothingBehindWhenTheRestIsWithdrawn) {
  replayRecorded();
  expectNothingLeftAfter({});
  EXPECT_EQ(replay().report().withdrawnInUse, 0U);
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
