// The end of a table.
#include <gtest/gtest.h>

#include "PlatformObjects.h"
#include "TableWorld.h"

namespace TableTests {
namespace {

using W = World<IngressAdapter>;

class TeardownTest : public LiveObjectsTest {};

// One key that is programmed and whose next record is parked, so that it has one of everything.
void oneOfEverything(W& w, unsigned row) {
  auto const key = w.key(row);
  (void)w.table->entryCommitWithResponseHandler(key, w.entry(7, {TestHandle::programmed(10)}),
                                                w.handler());
  (void)w.table->entryCommitWithResponseHandler(key, w.entry(8, {TestHandle::waiting()}),
                                                w.handler());
}

TEST_F(TeardownTest, EndsHandlesThenReactorsThenParkedRecordsWithoutAHandlerCall) {
  W w;
  oneOfEverything(w, 1);
  oneOfEverything(w, 2);
  auto const without = w.key(3);
  w.table->unresolvedEntryIs(without);
  w.journal.clear();
  w.table = nullptr;
  EXPECT_EQ(w.take(),
            (Lines{"entryHandle key1", "unresolvedEntry key1", "hwTableEntryDel key1", "entry key1",
                   "entryHandle key2", "unresolvedEntry key2", "hwTableEntryDel key2", "entry key2",
                   "pendingEntrySm key1", "pendingEntrySm key2", "unresolvedEntry key3"}));
}

TEST_F(TeardownTest, DeletesNoRowsWhenHardwareIsNotReady) {
  W w;
  oneOfEverything(w, 1);
  w.table->hwTableReadyIs(false);
  w.journal.clear();
  w.table = nullptr;
  EXPECT_EQ(w.take(), (Lines{"entryHandle key1", "unresolvedEntry key1", "entry key1",
                             "pendingEntrySm key1"}));
}

TEST_F(TeardownTest, DeletesNoRowsWithoutAHardwareTable) {
  W w;
  oneOfEverything(w, 1);
  w.table->hwTableIs(nullptr);
  w.journal.clear();
  w.table = nullptr;
  EXPECT_EQ(linesWith(w.take(), "hwTable"), Lines{});
}

TEST_F(TeardownTest, LeavesTheRowOfAHandleThatOutlivesTheTable) {
  W w;
  auto const key = w.key(1);
  auto handle = w.table->entryCommitWithResponseHandler(
      key, w.entry(7, {TestHandle::programmed(10)}), w.handler());
  w.journal.clear();
  w.table = nullptr;
  EXPECT_EQ(w.take(), (Lines{"entryHandle key1", "pendingEntrySm key1"}));
  EXPECT_EQ(handle->swTable(), nullptr);
  handle = nullptr;
  EXPECT_EQ(w.take(), Lines{});
}

TEST_F(TeardownTest, LetsGoOfKeysAndNeededHandles) {
  W w;
  auto const key = TestHandle::programmed(1);
  auto const needed = TestHandle::programmed(10);
  auto const waiting = TestHandle::waiting();
  auto const handle = w.table->entryCommit(key, w.entry(7, {needed}));
  (void)w.table->entryCommit(key, w.entry(8, {waiting}));
  w.table = nullptr;
  EXPECT_EQ(key->references(), 2U);  // and the key of the handle that lives on
  EXPECT_EQ(needed->references(), 1U);
  EXPECT_EQ(waiting->references(), 1U);
}

TEST_F(TeardownTest, SurvivesObserversThatUseTheDyingTable) {
  for (int point = 0; point < 8; ++point) {
    SCOPED_TRACE(point);
    W w;
    oneOfEverything(w, 1);
    oneOfEverything(w, 2);
    auto* const table = w.table.get();
    auto const key = w.key(3);
    auto const needed = TestHandle::programmed(11);
    int count = 0;
    w.onAnnouncement = [&](auto, auto const& announced) {
      if (count++ != point) return;
      Vek::Ptr<W::Table> const counted(table);  // must not destroy it a second time
      (void)counted->entryCommit(key, w.entry(9, {needed}));
      (void)counted->entryCommit(announced, w.entry(9, {TestHandle::waiting()}));
    };
    w.table = nullptr;
    EXPECT_GT(count, point);
  }
}

TEST_F(TeardownTest, ParkedRecordsAndWatchersThatOutliveTheTableAreHarmless) {
  W w;
  auto const key = w.key(1);
  auto const needed = TestHandle::waiting();
  auto const handle = w.table->entryCommit(key, w.entry(7, {needed}));
  auto const parked = w.table->unresolvedEntry(key);
  auto const watcher = parked->neededEntryHandleSm(9);
  auto const pending = w.table->pendingEntrySmIs(w.table->entryHandle(key), key);
  w.table = nullptr;
  w.journal.clear();
  needed->program(10);
  parked->handleEntryHandleProgramSuccessCount();
  parked->initializeUnresolvedEntry(w.entry(8, {TestHandle::programmed(11)}));
  watcher->handleEntryProgramming();
  pending->processEntryHandleCompletion();
  EXPECT_EQ(linesWith(w.take(), "hwTable"), Lines{});
  EXPECT_EQ(parked->table(), nullptr);
  EXPECT_EQ(pending->table(), nullptr);
}

TEST_F(TeardownTest, HandlesHaveTheirTableWhileItsParkedRecordsGo) {
  W w;
  auto const handle = w.table->entryCommit(w.key(1), w.entry(7, {TestHandle::waiting()}));
  auto const* const table = w.table.get();
  W::Table const* seen = nullptr;
  w.onAnnouncement = [&](Vek::AttributeId attribute, auto const&) {
    if (attribute == W::Table::Attribute::unresolvedEntry) seen = handle->swTable();
  };
  w.table = nullptr;
  EXPECT_EQ(seen, table);
  EXPECT_EQ(handle->swTable(), nullptr);
}

// The last of a needed handle goes with the record that names it. Whoever lets a handle of the
// dying table go then ends nothing that the hardware holds.
TEST_F(TeardownTest, HandlesAreCutOffBeforeTheRecordsAreDropped) {
  W w;
  auto needed = TestHandle::programmed(10);
  auto const first = w.table->entryCommit(w.key(1), w.entry(7, {needed}));
  auto second = w.table->entryCommit(w.key(2), w.entry(8, {TestHandle::programmed(11)}));
  Vek::Ptr<TestSupport::TestReactor> const mourner = TestSupport::watcherOf(*needed);
  mourner->farewell = [&](auto&) { second = nullptr; };
  needed = nullptr;
  w.journal.clear();
  w.table = nullptr;
  EXPECT_FALSE(second);
  EXPECT_EQ(linesWith(w.take(), "hwTableEntryDel"), Lines{});
}

}  // namespace
}  // namespace TableTests
