// What whoever watches a device sees of its calls, and when.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

#include "HardwarePort.h"

namespace SoftAsicTests {
namespace {

using SoftAsic::Call;
using SoftAsic::CallObserver;
using SoftAsic::GroupContents;
using SoftAsic::MemberContents;
using SoftAsic::NextHopContents;
using Kind = Call::Kind;
using Rows = std::vector<std::uint32_t>;
using EcmpEntry = EcmpIngL3NextHop1Table::Entry;

struct Watcher final : CallObserver {
  void callIs(Call const& call) override {
    calls.push_back(call);
    if (then) then(call);
  }
  std::vector<Call> calls;
  std::function<void(Call const&)> then;
};

struct Observers : testing::Test {
  Observers() { tables.device.observerIs(&watcher); }

  Tables tables{Delivery::whenDrained};
  Watcher watcher;
  std::vector<Call> const& calls = watcher.calls;
};

// A call without its contents, for comparison.
struct Seen {
  std::uint64_t serial;
  TableId table;
  Kind kind;
  std::uint32_t row;
  Fate fate;
  friend bool operator==(Seen const&, Seen const&) = default;
};
Seen seen(Call const& call) { return {call.serial, call.table, call.kind, call.row, call.fate}; }

TEST_F(Observers, SeeTheCallsOfAllTablesInOneOrder) {
  for (TableId const table : SoftAsic::allTables) {
    HardwarePort const port(tables, table);
    port.write(port.first() + 1, 10);
    port.erase(port.first() + 1);
    port.eraseAll();
  }
  ASSERT_EQ(calls.size(), 12U);
  std::uint64_t serial = 0;
  for (TableId const table : SoftAsic::allTables) {
    std::uint32_t const first = HardwarePort(tables, table).first();
    for (auto const& [kind, row] :
         {std::pair(Kind::write, first + 1), {Kind::remove, first + 1}, {Kind::removeAll, first}}) {
      EXPECT_EQ(seen(calls[serial]), (Seen{serial + 1, table, kind, row, Fate::taken}));
      ++serial;
    }
  }
}

TEST_F(Observers, SeeCallsOutsideOfTheWindow) {
  HardwarePort const port(tables, TableId::ecmpNextHops);
  port.write(6, 10);
  port.erase(6);
  port.erase(Asic::Index::invalidIndex().value());
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(seen(calls[0]), (Seen{1, TableId::ecmpNextHops, Kind::write, 6, Fate::noSuchRow}));
  EXPECT_EQ(seen(calls[1]), (Seen{2, TableId::ecmpNextHops, Kind::remove, 6, Fate::noSuchRow}));
  EXPECT_EQ(seen(calls[2]),
            (Seen{3, TableId::ecmpNextHops, Kind::remove, 0xFFFFFFFFU, Fate::noSuchRow}));
  EXPECT_EQ(std::get<NextHopContents>(calls[0].contents).fields.destination, 10U);
}

TEST_F(Observers, SeeWhatBecameOfAWrite) {
  HardwarePort const port(tables, TableId::groups);
  tables.device.faultIs(TableId::groups, {.refuseEvery = 2, .loseWriteEvery = 3});
  for (int i = 1; i <= 3; ++i) port.write(1, 10);
  tables.device.faultIs(TableId::groups, {.loseAnswerEvery = 1});
  port.write(1, 10);
  ASSERT_EQ(calls.size(), 4U);
  EXPECT_EQ(calls[0].fate, Fate::taken);
  EXPECT_EQ(calls[1].fate, Fate::refused);
  EXPECT_EQ(calls[2].fate, Fate::lost);
  EXPECT_EQ(calls[3].fate, Fate::taken);
}

// Also when the answer comes within the write.
TEST_F(Observers, SeeTheRowAfterTheCallAndBeforeTheAnswer) {
  for (TableId const table : SoftAsic::allTables) {
    tables.device.faultIs(table, {.answerAfter = {}});
    HardwarePort const port(tables, table);
    std::uint32_t const row = port.first() + 1;
    std::optional<std::uint32_t> value;
    auto answer = Answer::none;
    watcher.then = [&](Call const&) {
      value = port.value(row);
      answer = port.answer(row);
    };
    port.write(row, 10);
    EXPECT_EQ(value, 10U);
    EXPECT_EQ(answer, Answer::awaited);
    EXPECT_EQ(port.answer(row), Answer::accepted);
    port.erase(row);
    EXPECT_EQ(value, std::nullopt);
    port.write(row, 11);
    EXPECT_EQ(value, 11U);
    port.eraseAll();
    EXPECT_EQ(value, std::nullopt);
    watcher.then = nullptr;
  }
}

TEST_F(Observers, SeeTheRecordWithItsDerivedValuesOfThatMoment) {
  Handle const interface = programmed(21);
  EcmpEntry const entry = nextHop<EcmpEntry>(7, interface, programmed(4));
  auto const hop = tables.nextHops->entryCommit(via(1), entry);
  interface->hwEntryIndexIs(22);
  runTurn(tables);
  auto const block = tables.members->entryBlockRef(blockOf({hop, hop}));
  tables.groups->entryCommit(L3EcmpGroupTable::Index(70), {0, block, 5, 2});
  ASSERT_EQ(calls.size(), 4U);
  EXPECT_EQ(std::get<NextHopContents>(calls[0].contents), (NextHopContents{entry.fields(), 21, 4}));
  EXPECT_EQ(std::get<MemberContents>(calls[1].contents), MemberContents{1});
  EXPECT_EQ(std::get<MemberContents>(calls[2].contents), MemberContents{1});
  EXPECT_EQ(std::get<GroupContents>(calls[3].contents), (GroupContents{5, 2, 0}));
  for (Call const& call : calls) EXPECT_EQ(call.unprogrammedHandles, 0U);
  tables.groups->entryRemove(L3EcmpGroupTable::Index(70));
  EXPECT_EQ(calls.back().kind, Kind::remove);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(calls.back().contents));
}

TEST_F(Observers, SeeHowManyHandlesOfARecordWereNotProgrammed) {
  auto const write = [this](auto const& table, auto const& key, auto const& record) {
    table->util()->hwTableEntryIs(table->hwTable(), key, record);
    return calls.back().unprogrammedHandles;
  };
  Handle const ready = programmed(1);
  Handle const rowless = unprogrammed();
  Handle const refused = programmed(2);
  refused->entryStateIs(Asic::HwTable::refused);
  using IngressEntry = IngL3NextHop1Table::Entry;
  EXPECT_EQ(write(tables.nextHops, 1U, nextHop<EcmpEntry>(7, ready, ready)), 0U);
  EXPECT_EQ(write(tables.nextHops, 1U, nextHop<EcmpEntry>(7, ready, rowless)), 1U);
  EXPECT_EQ(write(tables.nextHops, 1U, nextHop<EcmpEntry>(7, refused, rowless)), 2U);
  EXPECT_EQ(write(tables.nextHops, 1U, EcmpEntry()), 0U);
  EXPECT_EQ(write(tables.ingress, programmed(7), nextHop<IngressEntry>(7, rowless, refused)), 2U);
  EXPECT_EQ(write(tables.members, 1U, L3EcmpMember(ready)), 0U);
  EXPECT_EQ(write(tables.members, 1U, L3EcmpMember(refused)), 1U);
  EXPECT_EQ(write(tables.members, 1U, L3EcmpMember()), 0U);
  using GroupEntry = L3EcmpGroupTable::Entry;
  EXPECT_EQ(write(tables.groups, 1U, GroupEntry(0, ready, 0, 1)), 0U);
  EXPECT_EQ(write(tables.groups, 1U, GroupEntry(0, rowless, 0, 1)), 1U);
  EXPECT_EQ(write(tables.groups, 1U, GroupEntry()), 0U);
}

TEST_F(Observers, SeeTheNextHopRowsOfAGroupsMembersByPosition) {
  auto const block = tables.members->entryBlockRef(
      blockOf({programmed(5), programmed(3), programmed(5), programmed(70000)}));
  tables.groups->entryCommit(L3EcmpGroupTable::Index(70), {0, block, 0, 4});
  EXPECT_EQ(calls.back().nextHopRows, Rows({5, 3, 5, 70000}));
  tables.groups->entryRemove(L3EcmpGroupTable::Index(70));
  EXPECT_EQ(calls.back().nextHopRows, Rows());
}

TEST_F(Observers, SeeThePositionsWithoutANextHop) {
  L3EcmpEntryBlock block(Asic::BlockSize(3));
  block.entryIs(1, L3EcmpMember(programmed(5)));
  block.entryIs(2, L3EcmpMember());
  block.entryInternalIs(7, L3EcmpMember(programmed(6)));
  ConstHandle const handle = L3EcmpMemberTable::EntryHandle::EntryHandleIs(block, nullptr);
  tables.groups->util()->hwTableEntryIs(tables.groups->hwTable(), 1,
                                        L3EcmpGroupTable::Entry(0, handle, 0, 3));
  EXPECT_EQ(calls.back().nextHopRows, Rows({0xFFFFFFFFU, 5, 0xFFFFFFFFU}));
  EXPECT_EQ(calls.back().unprogrammedHandles, 1U);
}

TEST_F(Observers, SeeNoMembersOfAHandleThatIsOfNoBlock) {
  auto const hop = tables.nextHops->entryCommit(via(1), nextHop<EcmpEntry>(7));
  for (ConstHandle const& handle : {ConstHandle(programmed(4)), ConstHandle(hop), ConstHandle()}) {
    tables.groups->util()->hwTableEntryIs(tables.groups->hwTable(), 1,
                                          L3EcmpGroupTable::Entry(0, handle, 0, 2));
    EXPECT_EQ(calls.back().nextHopRows, Rows());
  }
}

TEST_F(Observers, HearOfNothingThatIsNotACall) {
  tables.members->util()->hwTableEntryDelAll({});
  runTurn(tables);
  EXPECT_TRUE(calls.empty());
}

TEST_F(Observers, MayLeaveAndComeBackToNumbersThatWentOn) {
  HardwarePort const port(tables, TableId::groups);
  port.write(1, 10);
  tables.device.observerDel(&watcher);
  tables.device.observerDel(&watcher);
  port.write(1, 11);
  port.erase(1);
  tables.device.observerIs(&watcher);
  port.write(1, 12);
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[1].serial, 4U);
}

TEST_F(Observers, HearOnceHoweverOftenTheyJoined) {
  tables.device.observerIs(&watcher);
  HardwarePort(tables, TableId::groups).write(1, 10);
  EXPECT_EQ(calls.size(), 1U);
}

TEST_F(Observers, HearOneAfterTheOther) {
  std::vector<int> order;
  Watcher second;
  tables.device.observerIs(&second);
  watcher.then = [&](Call const&) { order.push_back(1); };
  second.then = [&](Call const&) { order.push_back(2); };
  HardwarePort(tables, TableId::groups).write(1, 10);
  EXPECT_EQ(order, std::vector<int>({1, 2}));
}

TEST_F(Observers, MayLeaveAndJoinWhileTheyHear) {
  Watcher second;
  Watcher third;
  Watcher joining;
  tables.device.observerIs(&second);
  tables.device.observerIs(&third);
  watcher.then = [&](Call const&) {
    tables.device.observerDel(&watcher);
    tables.device.observerDel(&second);
    tables.device.observerIs(&joining);
  };
  HardwarePort const port(tables, TableId::groups);
  port.write(1, 10);
  EXPECT_EQ(watcher.calls.size(), 1U);
  EXPECT_EQ(second.calls.size(), 0U);
  EXPECT_EQ(third.calls.size(), 1U);
  EXPECT_EQ(joining.calls.size(), 0U);
  port.write(1, 11);
  EXPECT_EQ(watcher.calls.size(), 1U);
  EXPECT_EQ(third.calls.size(), 2U);
  EXPECT_EQ(joining.calls.size(), 1U);
}

}  // namespace
}  // namespace SoftAsicTests
