// Tables that wait for one another: keys and needed handles that are handles of an ingress table.
#include <gtest/gtest.h>

#include "TableWorld.h"

namespace TableTests {
namespace {

using A = IngressAdapter;
using W = World<A>;
using Table = A::Table;

// A second table that writes into the journal of the first.
Vek::Ptr<Table> secondTable(W& w, Vek::Ptr<RecordingUtil<A>> const& util) {
  auto const table = Table::IngL3NextHop1TableIs();
  util->expectedHwTable = w.hwTable.get();
  table->utilIs(util);
  table->hwTableIs(w.hwTable);
  table->hwTableReadyIs(true);
  return table;
}

class TwoTablesTest : public LiveObjectsTest {};

TEST_F(TwoTablesTest, ARecordWaitsForARecordOfAnotherTable) {
  W w;
  Vek::Ptr<RecordingUtil<A>> const util = new RecordingUtil<A>(w.journal, "second ");
  auto const second = secondTable(w, util);
  auto const late = TestHandle::waiting();
  auto const keyOfFirst = w.key(1);
  auto const keyOfSecond = w.key(2);
  auto const needed = second->entryHandleMutate(keyOfSecond);
  auto const handle =
      w.table->entryCommitWithResponseHandler(keyOfFirst, w.entry(7, {needed}), w.handler());
  auto const parked = w.table->unresolvedEntry(keyOfFirst);
  w.journal.clear();
  // The commit in the second table mirrors its key's success onto the handle that the first waits
  // for: that is enough, parked or not.
  (void)second->entryCommit(keyOfSecond, w.entry(8, {late}));
  EXPECT_EQ(linesWith(w.take(), "hwTable"), (Lines{"hwTableEntryIs key1 = 7"}));
  late->program(11);
  EXPECT_EQ(linesWith(w.take(), "second"), (Lines{"second hwTableEntryIs key2 = 8"}));
  w.table->entryRemove(keyOfFirst);
  second->entryRemove(keyOfSecond);
}

TEST_F(TwoTablesTest, RecordsThatNeedEachOtherAreNeitherWrittenNorLeaked) {
  W w;
  Vek::Ptr<RecordingUtil<A>> const util = new RecordingUtil<A>(w.journal, "second ");
  auto const second = secondTable(w, util);
  auto const keyOfFirst = w.key(1);
  auto const keyOfSecond = w.key(2);
  auto ofFirst = w.table->entryHandleMutate(keyOfFirst);
  auto ofSecond = second->entryHandleMutate(keyOfSecond);
  w.park(keyOfFirst, w.entry(7, {ofSecond}));
  second->unresolvedEntryIs(keyOfSecond)->initializeUnresolvedEntry(w.entry(8, {ofFirst}));
  EXPECT_EQ(linesWith(w.take(), "hwTable"), Lines{});
  w.table->entryRemove(keyOfFirst);
  second->entryRemove(keyOfSecond);
  ofFirst = nullptr;
  ofSecond = nullptr;
  EXPECT_EQ(w.table->unresolvedEntrys() + second->unresolvedEntrys(), 0U);
}

TEST_F(TwoTablesTest, AHandleOfOneTableIsTheKeyOfTheOther) {
  W w;
  Vek::Ptr<RecordingUtil<A>> const util = new RecordingUtil<A>(w.journal, "second ");
  auto const second = secondTable(w, util);
  auto const row = w.key(9);
  auto const needed = TestHandle::programmed(10);
  auto key = Needed(second->entryCommit(row, w.entry(8, {needed})));
  auto handle = w.table->entryCommit(key, w.entry(7, {needed}));
  EXPECT_EQ(handle->hwEntryIndex(), Asic::Index(9));
  w.journal.clear();
  // The first table's record keeps its key, and so the second table's record, in place.
  second->entryRemove(row);
  key = nullptr;
  EXPECT_TRUE(second->entryExists(row));
  auto const plainKey = handle->key();
  w.table->entryRemove(plainKey);
  handle = nullptr;
  EXPECT_EQ(linesWith(w.take(), "hwTable"), (Lines{"hwTableEntryDel key9"}));
  EXPECT_FALSE(w.table->entryExists(plainKey));
}

TEST_F(TwoTablesTest, TheLastReferenceToAKeyGoesWithTheHandleThatItNames) {
  W w;
  Vek::Ptr<RecordingUtil<A>> const util = new RecordingUtil<A>(w.journal, "second ");
  auto const second = secondTable(w, util);
  auto const row = w.key(9);
  auto const needed = TestHandle::programmed(10);
  auto const* const handle =
      w.table
          ->entryCommit(Needed(second->entryCommit(row, w.entry(8, {needed}))),
                        w.entry(7, {needed}))
          .get();
  second->entryRemove(row);
  w.journal.clear();
  w.table->entryRemove(handle->key());
  Lines const seen = w.take();
  EXPECT_EQ(linesWith(seen, "hwTable"), (Lines{"hwTableEntryDel key9"}));
  EXPECT_EQ(linesWith(seen, "second"), (Lines{"second hwTableEntryDel key9"}));
  EXPECT_FALSE(second->entryExists(row));
}

TEST_F(TwoTablesTest, ARecordOfTheSameTableIsNeeded) {
  W w;
  auto const one = w.key(1);
  auto const two = w.key(2);
  auto needed = w.table->entryHandleMutate(one);
  auto handle = w.table->entryCommit(two, w.entry(7, {needed}));
  needed = nullptr;
  w.journal.clear();
  (void)w.table->entryCommit(one, w.entry(8, {TestHandle::programmed(10)}));
  EXPECT_EQ(linesWith(w.take(), "hwTable"),
            (Lines{"hwTableEntryIs key1 = 8", "hwTableEntryIs key2 = 7"}));
  w.table->entryRemove(one);  // the record of the other key still needs it
  EXPECT_TRUE(w.table->entryExists(one));
  handle = nullptr;
  w.table->entryRemove(two);
  EXPECT_EQ(linesWith(w.take(), "hwTable"),
            (Lines{"hwTableEntryDel key2", "hwTableEntryDel key1"}));
  EXPECT_EQ(w.table->entrys(), 0U);
}

TEST_F(TwoTablesTest, EitherTableMayEndFirst) {
  for (bool const firstGoesFirst : {true, false}) {
    W w;
    Vek::Ptr<RecordingUtil<A>> const util = new RecordingUtil<A>(w.journal, "second ");
    auto second = secondTable(w, util);
    auto const row = w.key(9);
    auto const needed = TestHandle::programmed(10);
    auto const waiting = TestHandle::waiting();
    (void)w.table->entryCommit(Needed(second->entryCommit(row, w.entry(8, {needed}))),
                               w.entry(7, {needed, waiting}));
    if (firstGoesFirst) w.table = nullptr;
    second = nullptr;
    waiting->program(11);
    w.table = nullptr;
    EXPECT_EQ(needed->references(), 1U);
  }
}

}  // namespace
}  // namespace TableTests
