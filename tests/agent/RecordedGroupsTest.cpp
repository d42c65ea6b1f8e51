// The groups of every recorded stream, from the stream's members to the hardware rows.
//
// The numbers were counted by count_streams.py beside this file, which shares no code with the
// agent.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <numeric>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/agent/ParsedStream.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

struct Calls {
  std::uint64_t writes, deletes;
};

struct Recorded {
  char const* name;
  std::uint64_t waited;
  struct {
    std::size_t groups, programmed, blocks, memberRows, nextHops;
  } live;
  // When nothing waits for interfaces or answers.
  Calls nextHops, members, groups;
};

void PrintTo(Recorded const& recorded, std::ostream* out) { *out << recorded.name; }

// One line per stream, as count_streams.py prints them.
// clang-format off
Recorded const kRecorded[] = {
    {"bgp-1k-distinct16-reconn.0.fpm", 569, {0, 0, 0, 0, 0}, {31, 31}, {15507, 15507}, {1000, 1000}},
    {"bgp-1k-distinct16.0.fpm", 0, {1000, 1000, 1000, 15507, 31}, {32, 1}, {23395, 7888}, {1493, 493}},
    {"bgp16-10k.0.fpm", 0, {0, 0, 0, 0, 0}, {17, 17}, {47, 47}, {3, 3}},
    {"churn-500-1to16way.0.fpm", 0, {1, 1, 1, 15, 15}, {16, 1}, {150, 135}, {16, 15}},
    {"flap-static-reconn.0.fpm", 3, {2, 2, 1, 2, 2}, {5, 3}, {7, 5}, {4, 2}},
    {"flap-static.0.fpm", 0, {3, 3, 3, 7, 5}, {12, 7}, {58, 51}, {12, 9}},
    {"forms.0.fpm", 0, {0, 0, 0, 0, 0}, {0, 0}, {0, 0}, {0, 0}},
    {"misc.0.fpm", 0, {2, 2, 2, 10, 8}, {8, 0}, {18, 8}, {6, 4}},
    {"misc.1.fpm", 0, {0, 0, 0, 0, 0}, {0, 0}, {0, 0}, {0, 0}},
    {"w1-static.0.fpm", 0, {3, 3, 3, 14, 8}, {8, 0}, {14, 0}, {3, 0}},
    {"weights.0.fpm", 0, {1, 1, 1, 99, 3}, {4, 1}, {109, 10}, {2, 1}},
    {"wide-static.0.fpm", 0, {0, 0, 0, 0, 0}, {1451, 1451}, {3235, 3235}, {204, 204}},
};
// clang-format on

using Contents = std::tuple<std::uint16_t, std::uint16_t, std::uint16_t, unsigned>;
Contents tupleOf(SoftAsic::NextHopContents const& contents) {
  return {contents.fields.destination, contents.l3Oif1, contents.mtuProfilePtr,
          contents.fields.forwardingType.value()};
}

class RecordedGroups : public ReplayFixture, public ::testing::WithParamInterface<Recorded> {
 protected:
  RecordedGroups() { options.ecmpRows.reset(); }

  Report replayRecorded(Bytes const& more = {}) {
    return run(contentOf(streamPath(GetParam().name)) + more);
  }

  // The groups that the stream leaves.
  static std::map<std::uint32_t, Fpm::NextHopGroup> liveGroups() {
    std::map<std::uint32_t, Fpm::NextHopGroup> groups;
    for (Fpm::Message const& message : parse(contentOf(streamPath(GetParam().name))).messages) {
      if (auto const* group = std::get_if<Fpm::NextHopGroup>(&message.content)) {
        groups[group->id] = *group;
      } else if (auto const* withdrawal = std::get_if<Fpm::NextHopWithdrawal>(&message.content)) {
        groups.erase(withdrawal->id);
      }
    }
    return groups;
  }

  void expectEndState(Report const& report) {
    auto const& live = GetParam().live;
    GroupReport const& groups = report.groups;
    EXPECT_EQ(groups.counts.announced, report.stream.groups);
    EXPECT_EQ(groups.counts.withdrawn, report.stream.groupWithdrawals);
    EXPECT_EQ(groups.counts.waited, GetParam().waited);
    EXPECT_EQ(groups.counts.notPlaced, 0U);
    EXPECT_EQ(groups.live.size(), live.groups);
    EXPECT_EQ(groups.liveIn(ShownGroup::State::programmed), live.programmed);
    EXPECT_EQ(groups.blocks, live.blocks);
    EXPECT_EQ(groups.waitingBlocks, 0U);
    EXPECT_EQ(groups.nextHops, live.nextHops);
    EXPECT_EQ(groups.nextHopTable.inUse, live.nextHops);
    EXPECT_EQ(groups.nextHopTable.rowsInForce, live.nextHops);
    EXPECT_EQ(groups.memberTable.inUse, live.memberRows);
    EXPECT_EQ(groups.memberTable.rowsInForce, live.memberRows);
    EXPECT_EQ(groups.groupTable.inUse, live.programmed);
    EXPECT_EQ(groups.groupTable.rowsInForce, live.programmed);
    for (TableUse const* use : {&groups.nextHopTable, &groups.memberTable, &groups.groupTable}) {
      EXPECT_EQ(use->hardware.refused, 0U);
      EXPECT_EQ(use->hardware.noSuchRow, 0U);
      EXPECT_EQ(use->hardware.writes, use->hardware.accepted + use->hardware.overtaken);
    }
  }
};

TEST_P(RecordedGroups, EndWithTheCountedTotals) {
  Report const report = replayRecorded();
  EXPECT_FALSE(report.error);
  expectEndState(report);
}

TEST_P(RecordedGroups, MakeTheCountedHardwareCallsWhenNothingWaits) {
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

TEST_P(RecordedGroups, LeadInHardwareToTheMembersOfTheStream) {
  for (std::uint32_t const slice : {16U, 1U, 100000U}) {
    options.slice = slice;
    Report const report = replayRecorded();
    SoftAsic::SoftDevice const& device = replay().hardware().device();
    auto const groups = liveGroups();
    ASSERT_EQ(report.groups.live.size(), groups.size());
    for (ShownGroup const& shownGroup : report.groups.live) {
      // What the rows of the same neighbours say in the other view of the next-hop table.
      Fpm::NextHopGroup const& group = groups.at(shownGroup.id);
      std::uint32_t divisor = 0;
      for (auto const& member : group.members) {
        divisor = std::gcd(divisor, member.weightByte + 1U);
      }
      std::vector<Contents> expected;
      for (auto const& member : group.members) {
        auto const& row = device.nextHops().row(shown(report, member.id).row.value());
        expected.insert(expected.end(), (member.weightByte + 1U) / divisor,
                        tupleOf(row.contents.value()));
      }

      OrviaL3Unicast::L3EcmpGroupTable::Index const key(shownGroup.id);
      auto const handle = replay().groupTable().entryLookup(key);
      ASSERT_TRUE(handle && handle->isProgrammed()) << shownGroup.id;
      SoftAsic::GroupContents const inForce =
          device.groups().row(handle->hwEntryIndex()).contents.value();
      EXPECT_EQ(inForce.lbMode, 0U);
      std::vector<Contents> found;
      std::vector<std::uint32_t> rows;
      for (std::uint32_t i = 0; i < inForce.numPaths; ++i) {
        auto const row =
            device.members().row(inForce.ecmpBlockPtr + i).contents.value().nextHopEntry;
        ASSERT_LT(row.value(), device.ecmpNextHops().rows());
        ASSERT_GT(row.value(), 0U);
        rows.push_back(row.value());
        found.push_back(tupleOf(device.nextHops().row(row).contents.value()));
      }
      // Repetitions of one next hop are neighbours in the block.
      rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
      std::sort(rows.begin(), rows.end());
      EXPECT_EQ(std::unique(rows.begin(), rows.end()), rows.end());
      std::sort(expected.begin(), expected.end());
      std::sort(found.begin(), found.end());
      EXPECT_EQ(found, expected) << shownGroup.id;
    }
    end();
  }
}

TEST_P(RecordedGroups, LeaveNothingBehindWhenTheRestIsWithdrawn) {
  Report const before = replayRecorded();
  Bytes groups;
  Bytes members;
  for (ShownGroup const& group : before.groups.live) groups += withdraw(group.id);
  for (ShownNextHop const& nextHop : before.live) members += withdraw(nextHop.contents.id);
  end();
  replayRecorded(groups + members);
  expectNothingLeft(replay());
  end();
  // Also when the members go first.
  Report const report = replayRecorded(members + groups);
  expectNothingLeft(replay());
  EXPECT_EQ(report.groups.counts.membersKept > 0, GetParam().live.groups > 0);
}

TEST_P(RecordedGroups, RunSmallTablesFullAndLeaveNothingBehind) {
  Report const before = replayRecorded();
  Bytes withdrawals;
  for (ShownGroup const& group : before.groups.live) withdrawals += withdraw(group.id);
  for (ShownNextHop const& nextHop : before.live) withdrawals += withdraw(nextHop.contents.id);
  end();
  ReplayOptions const normal = options;
  for (bool const waiting : {true, false}) {
    for (int table = 0; table < 3; ++table) {
      options = normal;
      if (!waiting) withoutWaiting();
      if (table == 0) options.ecmpRows = 3;
      if (table == 1) options.memberRows = 5;
      if (table == 2) options.groupRows = 2;
      // One group after another may have the room, so streams with few groups may do with it.
      Report const report = replayRecorded();
      EXPECT_EQ(report.groups.live.size(), GetParam().live.groups);
      EXPECT_EQ(report.groups.liveIn(ShownGroup::State::programmed) +
                    report.groups.liveIn(ShownGroup::State::notPlaced),
                GetParam().live.groups);
      if (GetParam().live.groups > 1) {
        EXPECT_GT(report.groups.counts.notPlaced, 0U) << table;
      }
      EXPECT_EQ(report.liveIn(ShownNextHop::State::programmed), report.live.size());
      end();
      replayRecorded(withdrawals);
      expectNothingLeft(replay());
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
