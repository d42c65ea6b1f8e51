// A restart of the ingress table: its utility puts back what the hardware holds, and the callers
// come with the same records again.
#include <gtest/gtest.h>

#include <map>

#include "NothingLeft.h"
#include "TableWorld.h"

namespace TableTests {
namespace {

using Adapter = IngressAdapter;
using Table = Adapter::Table;
using Key = Adapter::Key;
using Entry = Adapter::Entry;

// Hardware that outlives its agent: refills a table from the rows that it holds, and answers writes
// at once when it is told to.
class LastingUtil final : public Adapter::Util {
 public:
  using HwTable = Vek::Ptr<Asic::HwTable>;

  explicit LastingUtil(Journal& journal) : Adapter::Util("lasting"), journal_(journal) {}

  [[nodiscard]] std::uint32_t minIndex() const override { return 0; }
  [[nodiscard]] std::uint32_t maxIndex() const override { return 0; }
  [[nodiscard]] Asic::Index hwTableEntryIndex(HwTable const&, Key const&) const override {
    return Asic::Index::invalidIndex();
  }
  void hwTableEntryIs(HwTable const&, Key const& key, Entry const& entry) override {
    journal_.add("write " + Adapter::text(key) + " = " + Adapter::text(entry));
    rows[key->hwEntryIndex().value()] = {key, entry};
  }
  void hwTableEntryDel(HwTable const&, Key const& key) override {
    journal_.add("delete " + Adapter::text(key));
    rows.erase(key->hwEntryIndex().value());
  }
  void hwTableEntryDelAll(HwTable const&) override { journal_.add("delete all"); }
  void syncEntries(HwTable const&, Vek::Ptr<OrviaAsicUtils::SwTable> const& swTable) override {
    auto& table = static_cast<Table&>(*swTable);
    for (auto const& [row, held] : rows) {
      Vek::Ptr<Table::EntryHandle> const handle = table.entryHandleIs(held.key, &table);
      table.entryIs(held.key, held.entry);
      handle->hwEntryIndexIs(row);
      handle->entryStateIs(Asic::HwTable::success());
    }
  }

  struct Row {
    Key key;
    Entry entry;
  };
  std::map<std::uint32_t, Row> rows;

 private:
  Journal& journal_;
};

class RefillTest : public RestartTests::NothingLeftTest {
 protected:
  RefillTest() {
    util = new LastingUtil(journal);
    util->rows[1] = {key1, entry1};
    util->rows[2] = {key2, entry2};
    table->hwTableIs(hwTable);
    table->utilIs(util);
    table->syncEntries();  // not ready yet
    table->doInitComplete();
    table->hwTableReadyIs(true);
    observer = Observer::of(table.get(), [this](Vek::AttributeId attribute, void const* key) {
      if (key == nullptr) return;
      journal.add(attributeText<Table>(attribute) + " " +
                  Adapter::text(*static_cast<Key const*>(key)));
    });
  }
  auto handler() {
    return [this](Asic::HwTable::EntryState state) { journal.add("handler " + stateText(state)); };
  }

  Journal journal;
  Vek::Ptr<TestHandle> const interface = TestHandle::programmed(70);
  Vek::Ptr<TestHandle> const mtuProfile = TestHandle::programmed(3);
  Key const key1 = Adapter::key(1);
  Key const key2 = Adapter::key(2);
  Entry const entry1 = Adapter::entry(11, std::vector<Needed>{interface, mtuProfile});
  Entry const entry2 = Adapter::entry(12, std::vector<Needed>{interface, mtuProfile});
  Vek::Ptr<Asic::HwTable> const hwTable = new TestHwTable;
  Vek::Ptr<LastingUtil> util;
  Vek::Ptr<Table> table = Adapter::make();
  Observer::Ptr observer;
};

TEST_F(RefillTest, PutsRecordsRowsAndStatesBackWithoutAHardwareCall) {
  EXPECT_EQ(journal.take(), Lines{});
  EXPECT_EQ(table->entrys(), 2U);
  EXPECT_EQ(table->entryHandles(), 2U);
  EXPECT_EQ(table->unresolvedEntrys(), 0U);
  EXPECT_EQ(table->pendingEntrySms(), 0U);
  EXPECT_EQ(table->getEntry(key1), entry1);
  EXPECT_EQ(table->getEntry(key2), entry2);
  for (Key const& key : {key1, key2}) {
    auto const handle = table->entryHandleAccess(key);
    ASSERT_TRUE(handle);
    EXPECT_TRUE(handle->isProgrammed());
    EXPECT_EQ(handle->hwEntryIndex(), key->hwEntryIndex());
    EXPECT_EQ(handle->key(), key);
  }
}

TEST_F(RefillTest, MayNotBeRepeated) {
  EXPECT_DEATH(table->syncEntries(), " non-empty swTable before syncing from hwTable");
}

TEST_F(RefillTest, WhatWaitsForARestoredEntryResolves) {
  // A table of its own, whose record points at the restored entry.
  World<GroupAdapter> groups(Traced::no);
  auto const group =
      groups.table->entryCommit(groups.key(1), groups.entry(1, {table->entryHandleAccess(key1)}));
  EXPECT_EQ(groups.table->unresolvedEntrys(), 0U);
  EXPECT_EQ(groups.table->entrys(), 1U);
}

// The record comes and goes as a parked one, within the call; there is nothing to write. The
// handler stays silent: the handle showed success before, and no change of it is left to report.
TEST_F(RefillTest, CommittingTheSameRecordDisturbsNothing) {
  auto const restored = table->entryHandleAccess(key1);
  auto const changes = Observer::of(
      restored.get(), [this](Vek::AttributeId, void const*) { journal.add("the handle changed"); });
  auto const handle = table->entryCommitWithResponseHandler(key1, entry1, handler());
  EXPECT_EQ(handle, restored);
  EXPECT_TRUE(handle->isProgrammed());
  EXPECT_EQ(journal.take(),
            (Lines{"unresolvedEntry key1", "pendingEntrySm key1", "unresolvedEntry key1"}));
  EXPECT_EQ(table->entrys(), 2U);
  EXPECT_EQ(table->unresolvedEntrys(), 0U);
  // From now on the handler hears what happens to the entry.
  restored->entryStateIs(Asic::HwTable::refused);
  EXPECT_EQ(journal.take(), (Lines{"the handle changed", "handler 2"}));
}

TEST_F(RefillTest, CommittingTheSameRecordAgainAndAgainDisturbsNothing) {
  for (int i = 0; i < 3; ++i) (void)table->entryCommit(key1, entry1);
  EXPECT_EQ(linesWith(journal.lines(), "write"), Lines{});
  EXPECT_EQ(linesWith(journal.lines(), "delete"), Lines{});
  EXPECT_EQ(table->pendingEntrySms(), 1U);
}

TEST_F(RefillTest, TheSameRecordMayWaitForItsInterfaceAndStillWritesNothing) {
  interface->entryStateIs(Asic::HwTable::notAnswered);
  auto const handle = table->entryCommitWithResponseHandler(key1, entry1, handler());
  EXPECT_EQ(table->unresolvedEntrys(), 1U);
  EXPECT_TRUE(table->entryExists(key1)) << "the hardware goes on with what it has";
  EXPECT_TRUE(handle->isProgrammed());
  journal.take();
  interface->entryStateIs(Asic::HwTable::success());
  EXPECT_EQ(table->unresolvedEntrys(), 0U);
  EXPECT_EQ(journal.take(), (Lines{"pendingEntrySm key1", "unresolvedEntry key1"}));
}

TEST_F(RefillTest, AChangedRecordIsWrittenOnce) {
  auto const changed = Adapter::entry(99, std::vector<Needed>{interface, mtuProfile});
  (void)table->entryCommitWithResponseHandler(key1, changed, handler());
  EXPECT_EQ(linesWith(journal.take(), "write"), (Lines{"write key1 = 99"}));
  EXPECT_EQ(table->getEntry(key1), changed);
  EXPECT_EQ(table->getEntry(key2), entry2);
}

TEST_F(RefillTest, RemovingARestoredEntryDeletesItsRow) {
  table->entryRemove(key1);
  EXPECT_EQ(journal.take(), (Lines{"entryHandle key1", "delete key1", "entry key1"}));
  EXPECT_FALSE(table->entryExists(key1));
  EXPECT_TRUE(table->entryExists(key2));
  EXPECT_EQ(util->rows.size(), 1U);
}

TEST_F(RefillTest, RemovingAfterTheSameRecordWasCommittedDeletesItsRow) {
  auto handle = table->entryCommitWithResponseHandler(key1, entry1, handler());
  table->entryRemove(key1);
  journal.take();
  EXPECT_TRUE(table->entryExists(key1)) << "the caller still holds the handle";
  handle = nullptr;
  EXPECT_EQ(journal.take(), (Lines{"delete key1", "entry key1"}));
  EXPECT_FALSE(table->entryExists(key1));
}

TEST_F(RefillTest, RowsThatNobodyClaimsCanGoTogether) {
  table->entryDelAll();
  EXPECT_EQ(journal.take(), (Lines{"delete key1", "entry key1", "delete key2", "entry key2"}));
  EXPECT_TRUE(util->rows.empty());
}

// The agent goes and leaves the hardware forwarding, then comes back to it.
TEST_F(RefillTest, RowsSurviveATableWhoseHardwareIsTakenAwayFirst) {
  (void)table->entryCommit(key1, entry1);
  table->hwTableReadyIs(false);
  journal.take();
  table = nullptr;
  EXPECT_EQ(linesWith(journal.take(), "delete"), Lines{});
  EXPECT_EQ(util->rows.size(), 2U);
  table = Adapter::make();
  table->hwTableIs(hwTable);
  table->utilIs(util);
  table->syncEntries();
  EXPECT_EQ(table->entrys(), 2U);
  EXPECT_EQ(table->getEntry(key1), entry1);
  EXPECT_EQ(linesWith(journal.take(), "write"), Lines{});
}

// What goes wrong when the ready flag is on meanwhile: the rows are written once more.
TEST_F(RefillTest, WithHardwareReadyEachRestoredRowIsWrittenAgain) {
  Vek::Ptr<Table> const other = Adapter::make();
  auto const writing = Vek::Ptr<LastingUtil>(new LastingUtil(journal));
  writing->rows = util->rows;
  other->hwTableIs(hwTable);
  other->utilIs(writing);
  other->hwTableReadyIs(true);
  other->syncEntries();
  EXPECT_EQ(journal.take(), (Lines{"write key1 = 11", "write key2 = 12"}));
  other->hwTableReadyIs(false);
}

}  // namespace
}  // namespace TableTests
