// The groups of every recorded stream, from the stream's members to the hardware rows.
//
// The numbers were counted by count_streams.py beside this file, which shares no code with the
// agent.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <numeric>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "tests/agent/GroupFixture.h"
#include "tests/agent/ParsedStream.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

struct Calls {
  std::uint64_t writes, deletes;
};

struct Recorded {
  char const* name;
  std::uint64_t waited, unknownWeights;
  struct {
    std::size_t ids, complete, groups, memberRows, nextHops;
  } atEnd;
  // When nothing waits for interfaces or answers.
  Calls nextHops, members, groups;
};

void PrintTo(Recorded const& recorded, std::ostream* out) { *out << recorded.name; }

// One line per stream, as count_streams.py prints them.
// clang-format off
Recorded const kRecorded[] = {
    {"bgp-1k-distinct16-reconn.0.fpm", 569, 0, {0, 0, 0, 0, 0}, {31, 31}, {15507, 15507}, {1000, 1000}},
    {"bgp-1k-distinct16.0.fpm", 0, 0, {1000, 1000, 1000, 15507, 31}, {32, 1}, {23395, 7888}, {1493, 493}},
    {"bgp16-10k.0.fpm", 0, 0, {0, 0, 0, 0, 0}, {17, 17}, {47, 47}, {3, 3}},
    {"churn-500-1to16way.0.fpm", 0, 0, {1, 1, 1, 15, 15}, {16, 1}, {150, 135}, {16, 15}},
    {"flap-static-reconn.0.fpm", 3, 1, {2, 2, 1, 2, 2}, {5, 3}, {7, 5}, {3, 2}},
    {"flap-static.0.fpm", 0, 0, {3, 3, 3, 7, 5}, {12, 7}, {58, 51}, {12, 9}},
    {"forms.0.fpm", 0, 0, {0, 0, 0, 0, 0}, {0, 0}, {0, 0}, {0, 0}},
    {"misc.0.fpm", 0, 0, {2, 2, 2, 10, 8}, {8, 0}, {18, 8}, {5, 3}},
    {"misc.1.fpm", 0, 0, {0, 0, 0, 0, 0}, {10, 10}, {10, 10}, {2, 2}},
    {"w1-static.0.fpm", 0, 0, {3, 3, 3, 14, 8}, {8, 0}, {14, 0}, {3, 0}},
    {"weights.0.fpm", 0, 0, {1, 1, 1, 99, 3}, {4, 1}, {109, 10}, {2, 1}},
    {"wide-static.0.fpm", 0, 0, {0, 0, 0, 0, 0}, {1451, 1451}, {3235, 3235}, {204, 204}},
};
// clang-format on

class RecordedGroups : public GroupFixture, public ::testing::WithParamInterface<Recorded> {
 protected:
  RecordedGroups() { options.rows = 32768; }

  Report replayRecorded(Bytes const& more = {}) {
    return run(contentOf(streamPath(GetParam().name)) + more);
  }

  // What the stream leaves announced.
  struct Left {
    std::map<std::uint32_t, Fpm::NextHopGroup> groups;
    std::map<std::uint32_t, Identity> nextHops;
  };
  static Left left() {
    Left left;
    for (Fpm::Message const& message : parse(contentOf(streamPath(GetParam().name))).messages) {
      if (auto const* group = std::get_if<Fpm::NextHopGroup>(&message.content)) {
        left.groups[group->id] = *group;
      } else if (auto const* nextHop = std::get_if<Fpm::NextHop>(&message.content)) {
        left.nextHops[nextHop->id] = identityOf(*nextHop);
      } else if (auto const* end = std::get_if<Fpm::NextHopWithdrawal>(&message.content)) {
        left.groups.erase(end->id);
        left.nextHops.erase(end->id);
      }
    }
    return left;
  }

  static void expectEndState(Report const& report) {
    auto const& atEnd = GetParam().atEnd;
    GroupReport const& groups = report.groups;
    EXPECT_EQ(groups.idCounts.waited, GetParam().waited);
    EXPECT_EQ(groups.idCounts.unknownWeights, GetParam().unknownWeights);
    EXPECT_EQ(groups.scaling.scaled, 0U);
    EXPECT_EQ(groups.counts.notPlaced, 0U);
    EXPECT_EQ(groups.ids.size(), atEnd.ids);
    EXPECT_EQ(groups.idsIn(ShownGroupId::State::group), atEnd.complete);
    EXPECT_EQ(groups.idsIn(ShownGroupId::State::missingMembers), atEnd.ids - atEnd.complete);
    EXPECT_EQ(groups.live.size(), atEnd.groups);
    EXPECT_EQ(groups.liveIn(ShownGroup::State::programmed), atEnd.groups);
    EXPECT_EQ(groups.counts.made - groups.counts.ended, atEnd.groups);
    EXPECT_EQ(groups.blocks, atEnd.groups);
    EXPECT_EQ(groups.waitingBlocks, 0U);
    EXPECT_EQ(report.ecmp.live.size(), atEnd.nextHops);
    EXPECT_EQ(report.ecmp.liveIn(NextHopState::programmed), atEnd.nextHops);
    auto const expectUse = [](TableUse const& use, std::size_t rows) {
      EXPECT_EQ(use.inUse, rows);
      EXPECT_EQ(use.rowsInForce, rows);
      EXPECT_EQ(use.hardware.writes, use.hardware.accepted + use.hardware.overtaken);
      EXPECT_EQ(use.hardware.refused, 0U);
      EXPECT_EQ(use.hardware.noSuchRow, 0U);
    };
    expectUse(groups.nextHopTable, atEnd.nextHops);
    expectUse(groups.memberTable, atEnd.memberRows);
    expectUse(groups.groupTable, atEnd.groups);
  }
};

TEST_P(RecordedGroups, EndWithTheCountedTotals) {
  Report const report = replayRecorded();
  EXPECT_FALSE(report.error);
  expectEndState(report);
}

TEST_P(RecordedGroups, MakeTheCountedCallsWhenNothingWaits) {
  withoutWaiting();
  Report const report = replayRecorded();
  expectEndState(report);
  auto const expectCalls = [](TableUse const& use, Calls const& expected) {
    EXPECT_EQ(use.hardware.writes, expected.writes);
    EXPECT_EQ(use.hardware.deletes, expected.deletes);
    EXPECT_EQ(use.hardware.overtaken, 0U);
  };
  expectCalls(report.groups.nextHopTable, GetParam().nextHops);
  expectCalls(report.groups.memberTable, GetParam().members);
  expectCalls(report.groups.groupTable, GetParam().groups);
}

// Without the means of --verify: over the agent's own rows and the stream's own messages.
TEST_P(RecordedGroups, LeadInHardwareToTheMembersOfTheStream) {
  Left const stream = left();
  for (std::uint32_t const slice : {16U, 1U, 100000U}) {
    options.slice = slice;
    Report const report = replayRecorded();
    SoftAsic::SoftDevice const& device = replay().hardware().device();
    // Different rows of the ECMP view say different things, and what the other view says of the
    // same neighbour.
    std::map<Identity, std::uint32_t> rows;
    std::set<std::uint16_t> destinations;
    for (ShownNextHop const& nextHop : report.ecmp.live) {
      rows[nextHop.identity] = nextHop.row.value();
      auto const& contents = device.nextHops().row(nextHop.row.value()).contents.value();
      EXPECT_TRUE(destinations.insert(contents.fields.destination).second);
      EXPECT_NE(contents.l3Oif1, 0);
      for (ShownNextHop const& other : report.ingress.live) {
        if (other.identity != nextHop.identity) continue;
        EXPECT_EQ(device.nextHops().row(other.row.value()).contents, contents);
      }
    }
    ASSERT_EQ(report.groups.ids.size(), stream.groups.size());
    for (ShownGroupId const& id : report.groups.ids) {
      if (id.state != IdState::group) continue;
      Fpm::NextHopGroup const& announced = stream.groups.at(id.id);
      std::uint32_t divisor = 0;
      for (auto const& member : announced.members) {
        divisor = std::gcd(divisor, member.weightByte + 1U);
      }
      std::vector<std::uint32_t> expected;
      for (auto const& member : announced.members) {
        expected.insert(expected.end(), (member.weightByte + 1U) / divisor,
                        rows.at(stream.nextHops.at(member.id)));
      }
      auto const handle =
          replay().mapping().tables().groups->entryLookup(Groups::Table::Index(id.group.value()));
      ASSERT_TRUE(handle && handle->isProgrammed()) << id.id;
      GroupContents const inForce = device.groups().row(handle->hwEntryIndex()).contents.value();
      EXPECT_EQ(inForce.lbMode, 0U);
      std::vector<std::uint32_t> found;
      for (std::uint32_t i = 0; i < inForce.numPaths; ++i) {
        found.push_back(
            device.members().row(inForce.ecmpBlockPtr + i).contents.value().nextHopEntry.value());
        ASSERT_LT(found.back(), device.ecmpNextHops().rows());
        ASSERT_GT(found.back(), 0U);
      }
      // Repetitions of one next hop are neighbours in the block.
      std::vector<std::uint32_t> distinct = found;
      distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
      std::sort(distinct.begin(), distinct.end());
      EXPECT_EQ(std::unique(distinct.begin(), distinct.end()), distinct.end());
      std::sort(expected.begin(), expected.end());
      std::sort(found.begin(), found.end());
      EXPECT_EQ(found, expected) << id.id;
    }
    end();
  }
}

TEST_P(RecordedGroups, LeaveNothingBehindInWhateverOrderTheRestIsWithdrawn) {
  replayRecorded();
  Withdrawals const rest = withdrawalsOf(replay());
  end();
  replayRecorded(rest.routes + rest.groups + rest.nextHops);
  expectNothingLeft(replay());
  EXPECT_EQ(replay().report().withdrawnInUse, 0U);
  expectNoInstant();
  end();
  // Also when what others use goes first, and waits for them.
  Report const report = replayRecorded(rest.nextHops + rest.groups + rest.routes);
  expectNothingLeft(replay());
  EXPECT_EQ(report.deferredWithdrawals > 0, GetParam().atEnd.ids > 0 || !rest.nextHops.empty());
  expectNoInstant();
}

TEST_P(RecordedGroups, RunSmallTablesFullAndLeaveNothingBehind) {
  replayRecorded();
  Withdrawals const rest = withdrawalsOf(replay());
  end();
  ReplayOptions const normal = options;
  for (bool const waiting : {true, false}) {
    for (int table = 0; table < 4; ++table) {
      // Ten thousand routes that keep what they have for the rest of the stream take minutes here.
      if (table == 2 && GetParam().name == std::string("bgp16-10k.0.fpm")) continue;
      bool const isLarge = std::filesystem::file_size(streamPath(GetParam().name)) > 100'000;
      if (kIsSlow && isLarge && (waiting || table != 1)) continue;
      options = normal;
      if (!waiting) withoutWaiting();
      if (table == 0) options.ecmpRows = 3;
      if (table == 1) options.memberRows = 5;
      if (table == 2) options.groupRows = 2;
      if (table == 3) options.firstRow = options.rows - 2;
      // One group after another may have the room, so streams with few groups may do with it.
      Report const report = replayRecorded();
      expectNoInstant();
      std::size_t const groups = GetParam().atEnd.groups;
      // Those included that routes keep because the one that is to replace them has no room.
      EXPECT_GE(report.groups.live.size(), groups);
      EXPECT_EQ(report.groups.liveIn(State::programmed) + report.groups.liveIn(State::notPlaced),
                report.groups.live.size());
      if (groups > 1 && table < 3) {
        EXPECT_GT(report.groups.counts.notPlaced, 0U) << table;
        EXPECT_GT(report.groups.liveIn(State::notPlaced), 0U) << table;
      }
      std::size_t const hops = report.ingress.live.size();
      std::size_t const placed = table == 3 ? std::min<std::size_t>(hops, 2) : hops;
      EXPECT_EQ(report.ingress.liveIn(NextHopState::programmed), placed);
      EXPECT_EQ(report.ingress.liveIn(NextHopState::notPlaced), hops - placed);
      end();
      replayRecorded(rest.routes + rest.groups + rest.nextHops);
      expectNothingLeft(replay());
      expectNoInstant();
      end();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, RecordedGroups, ::testing::ValuesIn(kRecorded),
                         [](::testing::TestParamInfo<Recorded> const& tested) {
                           std::string name = tested.param.name;
                           std::erase_if(name,
                                         [](unsigned char c) { return std::isalnum(c) == 0; });
                           return name;
                         });

}  // namespace
}  // namespace OrviaL3Agent
