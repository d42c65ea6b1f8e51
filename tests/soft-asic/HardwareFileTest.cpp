// A device whose rows are in a file: what the next device on it finds, and what began anew.
#include <gtest/gtest.h>

#include <stdexcept>
#include <variant>
#include <vector>

#include "HardwareFile.h"
#include "HardwarePort.h"
#include "TemporaryFile.h"

namespace SoftAsicTests {
namespace {

using SoftAsic::Call;
using SoftAsic::GroupContents;
using SoftAsic::MemberContents;
using SoftAsic::NextHopContents;
using IngressEntry = IngL3NextHop1Table::Entry;
using EcmpEntry = EcmpIngL3NextHop1Table::Entry;
using GroupEntry = L3EcmpGroupTable::Entry;

// One start after the other of all four tables on one file.
struct Restarts {
  HardwareFile file;
  std::optional<Tables> tables;

  // Ends the tables, if there are any, with the hardware forwarding on, and starts again.
  void start(FaultProfiles const& faults = {}) {
    end();
    tables.emplace(faults, file.path());
  }
  void end() {
    if (!tables) return;
    tables->ingress->hwTableReadyIs(false);
    tables->nextHops->hwTableReadyIs(false);
    tables->members->hwTableReadyIs(false);
    tables->groups->hwTableReadyIs(false);
    tables.reset();
  }
};

struct HardwareFiles : testing::TestWithParam<TableId>, Restarts {
  HardwareFiles() { start(); }

  [[nodiscard]] HardwarePort port() { return HardwarePort(*tables, GetParam()); }
  [[nodiscard]] std::uint32_t row() { return port().first() + 2; }
  [[nodiscard]] std::uint64_t fromBefore() const {
    SoftDevice const& device = tables->device;
    switch (GetParam()) {
      case TableId::ingressNextHops:
        return device.ingressNextHops().rowsFromBefore();
      case TableId::ecmpNextHops:
        return device.ecmpNextHops().rowsFromBefore();
      case TableId::members:
        return device.members().rowsFromBefore();
      case TableId::groups:
        break;
    }
    return device.groups().rowsFromBefore();
  }
  // A row that was written before the start.
  void writeBefore(std::uint16_t value, FaultProfiles const& faults = {}) {
    port().write(row(), value);
    start(faults);
    ASSERT_EQ(port().value(row()), value);
    ASSERT_EQ(fromBefore(), 1U);
  }
};

TEST_P(HardwareFiles, BringRowsBackAsTakenAndAnswered) {
  port().write(row(), 21);
  EXPECT_EQ(port().answer(row()), Answer::awaited);
  EXPECT_EQ(fromBefore(), 0U);
  start();
  EXPECT_EQ(port().value(row()), 21U);
  EXPECT_EQ(port().answer(row()), Answer::accepted);
  EXPECT_EQ(port().fate(row()), Fate::taken);
  EXPECT_EQ(fromBefore(), 1U);
  EXPECT_FALSE(port().value(row() + 1));
  EXPECT_EQ(port().answer(row() + 1), Answer::none);
  EXPECT_EQ(port().counts().writes, 0U);
  EXPECT_EQ(tables->device.answers()->waiting(), 0U);
  // And over a start in which nobody did anything.
  start();
  EXPECT_EQ(port().value(row()), 21U);
  EXPECT_EQ(fromBefore(), 1U);
}

TEST_P(HardwareFiles, ForgetThatARowIsFromBeforeWhenItIsWritten) {
  writeBefore(21);
  port().write(row(), 21);
  EXPECT_EQ(fromBefore(), 0U);
  EXPECT_EQ(port().answer(row()), Answer::awaited);
  start();
  EXPECT_EQ(port().value(row()), 21U);
  EXPECT_EQ(fromBefore(), 1U);
}

TEST_P(HardwareFiles, LoseARowThatIsDeleted) {
  writeBefore(21);
  port().erase(row());
  EXPECT_EQ(fromBefore(), 0U);
  EXPECT_FALSE(port().value(row()));
  start();
  EXPECT_FALSE(port().value(row()));
  EXPECT_EQ(fromBefore(), 0U);
}

TEST_P(HardwareFiles, LoseAllRowsOfATableThatIsEmptied) {
  writeBefore(21);
  port().write(row() + 1, 22);
  port().eraseAll();
  EXPECT_EQ(fromBefore(), 0U);
  start();
  EXPECT_FALSE(port().value(row()));
  EXPECT_FALSE(port().value(row() + 1));
}

TEST_P(HardwareFiles, KeepWhatARefusedWriteDidNotChange) {
  writeBefore(21);
  port().rowRefusesIs(row());
  port().write(row(), 22);
  EXPECT_EQ(fromBefore(), 1U);
  EXPECT_EQ(port().fate(row()), Fate::refused);
  start();
  EXPECT_EQ(port().value(row()), 21U);
  // Refusing is the process's.
  EXPECT_EQ(port().fate(row()), Fate::taken);
  port().write(row(), 22);
  EXPECT_EQ(port().fate(row()), Fate::taken);
  start();
  EXPECT_EQ(port().value(row()), 22U);
}

TEST_P(HardwareFiles, KeepWhatALostWriteDidNotChange) {
  FaultProfile losing;
  losing.loseWriteEvery = 1;
  writeBefore(21, onlyOf(GetParam(), losing));
  port().write(row(), 22);
  EXPECT_EQ(fromBefore(), 1U);
  EXPECT_EQ(port().fate(row()), Fate::lost);
  start();
  EXPECT_EQ(port().value(row()), 21U);
  EXPECT_EQ(port().counts().lostWrites, 0U);
}

TEST_P(HardwareFiles, AnswerTheFirstWriteOfARowFromBefore) {
  writeBefore(21);
  port().write(row(), 22);
  EXPECT_EQ(runTurn(*tables), 1U);
  EXPECT_EQ(port().answer(row()), Answer::accepted);
  EXPECT_EQ(port().heard(), 1U);
  EXPECT_EQ(port().counts().overtaken, 0U);
}

INSTANTIATE_TEST_SUITE_P(EveryTable, HardwareFiles, testing::ValuesIn(SoftAsic::allTables),
                         [](auto const& each) { return std::string(name(each.param)); });

// What was written through the tables, of all three kinds at once.
TEST(AHardwareFile, HoldsAWholeChain) {
  Restarts restarts;
  restarts.start();
  Tables& tables = *restarts.tables;
  auto const first = tables.nextHops->entryCommit(via(1), nextHop<EcmpEntry>(11));
  auto const second = tables.nextHops->entryCommit(via(2), nextHop<EcmpEntry>(12));
  ConstHandle const block = tables.members->entryBlockRef(blockOf({first, second}));
  tables.groups->entryCommit({1}, GroupEntry(3, block, 0, 2));
  Handle const key = programmed(7);
  tables.ingress->entryCommit(key, nextHop<IngressEntry>(13));
  while (tables.device.answers()->waiting() > 0) tables.device.answers()->drain();
  auto const nextHops = std::vector{tables.device.nextHops().row(1).contents,
                                    tables.device.nextHops().row(2).contents,
                                    tables.device.nextHops().row(7).contents};
  auto const base = block->hwEntryIndex();
  auto const members = std::vector{tables.device.members().row(base).contents,
                                   tables.device.members().row(base + 1).contents};
  auto const group = tables.device.groups().row(1).contents;
  ASSERT_TRUE(nextHops[0] && nextHops[1] && nextHops[2] && members[0] && members[1] && group);

  restarts.start();
  SoftDevice const& device = restarts.tables->device;
  EXPECT_EQ(device.nextHops().row(1).contents, nextHops[0]);
  EXPECT_EQ(device.nextHops().row(2).contents, nextHops[1]);
  EXPECT_EQ(device.nextHops().row(7).contents, nextHops[2]);
  EXPECT_EQ(device.members().row(base).contents, members[0]);
  EXPECT_EQ(device.members().row(base + 1).contents, members[1]);
  EXPECT_EQ(device.groups().row(1).contents, group);
  EXPECT_EQ(device.ecmpNextHops().rowsFromBefore(), 2U);
  EXPECT_EQ(device.ingressNextHops().rowsFromBefore(), 1U);
  EXPECT_EQ(device.members().rowsFromBefore(), 2U);
  EXPECT_EQ(device.groups().rowsFromBefore(), 1U);
}

// The ingress table's end deletes what nobody else holds, while hardware is ready; a clean shutdown
// says that it is not.
TEST(AHardwareFile, LosesTheIngressRowsOfATableThatEndsWhileHardwareIsReady) {
  Restarts restarts;
  restarts.start();
  Handle const key = programmed(7);
  restarts.tables->ingress->entryCommit(key, nextHop<IngressEntry>(13));
  restarts.start();
  EXPECT_EQ(restarts.tables->device.ingressNextHops().rowsFromBefore(), 1U);
  restarts.tables->ingress->entryCommit(key, nextHop<IngressEntry>(14));
  restarts.tables.reset();
  restarts.start();
  EXPECT_FALSE(restarts.tables->device.nextHops().row(7).contents);
}

TEST(AHardwareFile, IsInUseUntilTheLastAttachedTableIsGone) {
  HardwareFile const file;
  auto device = std::make_unique<SoftDevice>(Tables::sizes, FaultProfiles{}, file.path());
  auto table = IngL3NextHop1Table::IngL3NextHop1TableIs();
  device->attach(*table);
  device.reset();
  EXPECT_EQ(thrown<std::runtime_error>([&] { SoftDevice(Tables::sizes, {}, file.path()); }),
            file.path() + ": in use by another process");
  table = nullptr;
  EXPECT_NO_THROW(SoftDevice(Tables::sizes, {}, file.path()));
}

TEST(AHardwareFile, IsNotMadeForSizesThatMakeNoDevice) {
  HardwareFile const file;
  EXPECT_THROW(SoftDevice({.nextHops = 4, .ecmpNextHops = 5}, {}, file.path()), std::out_of_range);
  EXPECT_EQ(file.names(), std::vector<std::string>{});
}

TEST(AHardwareFile, MayBeOfTheUsualSizes) {
  HardwareFile const file;
  constexpr SoftAsic::DeviceSizes usual;
  {
    SoftDevice const device(usual, {}, file.path());
    device.groups().write(usual.groups - 1, wholly<GroupContents>(9));
    device.members().write(usual.members - 1, wholly<MemberContents>(9));
    device.ingressNextHops().write(usual.nextHops - 1, wholly<NextHopContents>(9));
  }
  SoftDevice const device(usual, {}, file.path());
  EXPECT_EQ(device.groups().row(usual.groups - 1).contents, wholly<GroupContents>(9));
  EXPECT_EQ(device.members().row(usual.members - 1).contents, wholly<MemberContents>(9));
  EXPECT_EQ(device.nextHops().row(usual.nextHops - 1).contents, wholly<NextHopContents>(9));
  EXPECT_EQ(device.groups().rowsFromBefore(), 1U);
}

TEST(ADeviceInMemory, BeginsEmptyEachTimeAndHasNothingFromBefore) {
  for (int start = 0; start < 2; ++start) {
    Tables tables(FaultProfiles{}, "");
    for (TableId const table : SoftAsic::allTables) {
      HardwarePort const port(tables, table);
      std::uint32_t const row = port.first() + 2;
      EXPECT_FALSE(port.value(row));
      port.write(row, 21);
      EXPECT_EQ(port.value(row), 21U);
    }
    EXPECT_EQ(tables.device.ingressNextHops().rowsFromBefore(), 0U);
    EXPECT_EQ(tables.device.ecmpNextHops().rowsFromBefore(), 0U);
    EXPECT_EQ(tables.device.members().rowsFromBefore(), 0U);
    EXPECT_EQ(tables.device.groups().rowsFromBefore(), 0U);
  }
}

// --- telling rows ---

struct Listener final : SoftAsic::CallObserver {
  void callIs(Call const& call) override { calls.push_back(call); }
  std::vector<Call> calls;
};

struct TellingRows : testing::Test, Restarts {
  TellingRows() { start(); }
  [[nodiscard]] std::vector<Call> told() const {
    Listener listener;
    tables->device.tellRows(listener);
    return listener.calls;
  }
};

TEST_F(TellingRows, SaysNothingOfAnEmptyDevice) { EXPECT_TRUE(told().empty()); }

TEST_F(TellingRows, GoesFromNextHopsOverMembersToGroupsEachInRowOrder) {
  SoftDevice const& device = tables->device;
  device.groups().write(2, {1, 2, 4});
  device.groups().write(0, {0, 1, 5});
  device.members().write(5, {8});
  device.members().write(4, {3});
  device.ingressNextHops().write(9, wholly<NextHopContents>(9));
  device.ingressNextHops().write(6, wholly<NextHopContents>(6));
  device.ecmpNextHops().write(5, wholly<NextHopContents>(5));
  device.ecmpNextHops().write(0, wholly<NextHopContents>(1));
  // What it says is the same in this process and in the next.
  for (int round = 0; round < 2; ++round) {
    std::vector<Call> const calls = told();
    ASSERT_EQ(calls.size(), 8U);
    std::vector<std::pair<TableId, std::uint32_t>> places;
    for (Call const& call : calls) {
      EXPECT_EQ(call.serial, 0U);
      EXPECT_EQ(call.kind, Call::Kind::write);
      EXPECT_EQ(call.fate, Fate::taken);
      EXPECT_EQ(call.unprogrammedHandles, 0U);
      EXPECT_EQ(call.nextHopRows.empty(), call.table != TableId::groups);
      places.emplace_back(call.table, call.row);
    }
    EXPECT_EQ(places, (decltype(places){{TableId::ecmpNextHops, 0},
                                        {TableId::ecmpNextHops, 5},
                                        {TableId::ingressNextHops, 6},
                                        {TableId::ingressNextHops, 9},
                                        {TableId::members, 4},
                                        {TableId::members, 5},
                                        {TableId::groups, 0},
                                        {TableId::groups, 2}}));
    EXPECT_EQ(std::get<NextHopContents>(calls[0].contents), wholly<NextHopContents>(1));
    EXPECT_EQ(std::get<NextHopContents>(calls[3].contents), wholly<NextHopContents>(9));
    EXPECT_EQ(std::get<MemberContents>(calls[4].contents), MemberContents{3});
    EXPECT_EQ(std::get<GroupContents>(calls[7].contents), (GroupContents{1, 2, 4}));
    EXPECT_EQ(calls[6].nextHopRows, std::vector<std::uint32_t>{8});
    EXPECT_EQ(calls[7].nextHopRows, (std::vector<std::uint32_t>{3, 8}));
    start();
  }
}

TEST_F(TellingRows, KnowsNoNextHopOfAMemberRowThatIsEmptyOrNotThere) {
  constexpr std::uint32_t none = 0xFFFFFFFFU;
  tables->device.members().write(10, {3});
  tables->device.groups().write(1, {0, 4, 9});  // member rows 9 to 12; the last is 11
  std::vector<Call> const calls = told();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[1].nextHopRows, (std::vector<std::uint32_t>{none, 3, none, none}));
}

TEST_F(TellingRows, LeavesOutWhatTheHardwareDidNotTake) {
  tables->device.groups().rowRefusesIs(1, true);
  tables->device.groups().write(1, {0, 0, 0});
  EXPECT_TRUE(told().empty());
}

TEST_F(TellingRows, IsNoCallOfTheTables) {
  Listener watching;
  tables->device.observerIs(&watching);
  tables->device.groups().write(1, {0, 0, 0});
  EXPECT_EQ(told().size(), 1U);
  EXPECT_TRUE(watching.calls.empty()) << "nor do others hear of it";
  HardwarePort(*tables, TableId::groups).erase(1);
  ASSERT_EQ(watching.calls.size(), 1U);
  EXPECT_EQ(watching.calls[0].serial, 1U);
}

// Whoever joins late knows what an early one knows.
TEST_F(TellingRows, SaysOfAChainWhatItsWritesSaid) {
  Listener watching;
  tables->device.observerIs(&watching);
  auto const first = tables->nextHops->entryCommit(via(1), nextHop<EcmpEntry>(11));
  auto const second = tables->nextHops->entryCommit(via(2), nextHop<EcmpEntry>(12));
  tables->device.answers()->drain();
  ConstHandle const block = tables->members->entryBlockRef(blockOf({second, first}));
  tables->groups->entryCommit({1}, GroupEntry(3, block, 0, 2));
  tables->ingress->entryCommit(programmed(7), nextHop<IngressEntry>(13));
  while (tables->device.answers()->waiting() > 0) tables->device.answers()->drain();
  tables->device.observerDel(&watching);
  std::vector<Call> const calls = told();
  ASSERT_EQ(calls.size(), 6U);
  ASSERT_EQ(watching.calls.size(), 6U);
  for (Call const& call : calls) {
    auto const same =
        std::find_if(watching.calls.begin(), watching.calls.end(), [&](Call const& other) {
          return other.table == call.table && other.row == call.row && other.kind == call.kind &&
                 other.fate == call.fate && other.contents == call.contents &&
                 other.nextHopRows == call.nextHopRows;
        });
    EXPECT_NE(same, watching.calls.end()) << name(call.table) << " " << call.row;
  }
}

}  // namespace
}  // namespace SoftAsicTests
