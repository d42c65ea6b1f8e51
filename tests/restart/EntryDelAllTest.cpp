// Emptying an entry table of its records, whatever its observers do meanwhile.
#include <gtest/gtest.h>

#include "NothingLeft.h"
#include "TableWorld.h"

namespace TableTests {
namespace {

template <class A>
class EntryDelAllTest : public RestartTests::NothingLeftTest {
 protected:
  using W = World<A>;
  using Key = typename W::Key;

  EntryDelAllTest() {
    for (unsigned number = 1; number <= 3; ++number) {
      keys.push_back(A::key(number));
      handles.push_back(w.programmed(keys.back(), w.entry(number, {needed})));
      rows.push_back(A::whereText(A::whereOf(*w.table, keys.back())));
    }
  }
  ~EntryDelAllTest() override { w.onAnnouncement = nullptr; }

  // Runs `action` at the announcement that the n-th key's record is gone.
  void atDeletionOf(std::size_t n, std::function<void()> action) {
    w.onAnnouncement = [this, n, action = std::move(action)](Vek::AttributeId attribute,
                                                             Key const& key) {
      if (attribute != W::Table::Attribute::entry || !(key == keys[n])) return;
      if (w.table->entryExists(key)) return;
      if (std::exchange(done, true)) return;
      action();
    };
  }
  // What the deletion of the n-th key's record alone puts into the journal.
  Lines deletionOf(std::size_t n) const {
    return {"hwTableEntryDel " + rows[n], "entry " + A::text(keys[n])};
  }
  Lines take() { return linesWithout(w.take(), "trace"); }
  static Lines linesWithout(Lines const& lines, std::string_view start) {
    Lines result;
    for (auto const& line : lines) {
      if (!line.starts_with(start)) result.push_back(line);
    }
    return result;
  }

  W w{Traced::no};
  Needed needed = TestHandle::programmed(10);
  std::vector<Key> keys;
  std::vector<Vek::Ptr<typename W::Handle>> handles;
  std::vector<std::string> rows;
  bool done = false;
};
TYPED_TEST_SUITE(EntryDelAllTest, EntryTables, AdapterNames);

TYPED_TEST(EntryDelAllTest, DeletesEachRecordInTheOrderOfTheCollection) {
  this->w.table->entryDelAll();
  EXPECT_EQ(this->take(), joined(this->deletionOf(0), this->deletionOf(1), this->deletionOf(2)));
  EXPECT_EQ(this->w.table->entrys(), 0U);
  EXPECT_EQ(this->needed->references(), 1U) << "the records are discarded";
}

TYPED_TEST(EntryDelAllTest, AnEmptyTableStaysAsItIs) {
  World<TypeParam> empty(Traced::no);
  empty.take();
  empty.table->entryDelAll();
  EXPECT_EQ(empty.take(), Lines{});
  this->w.table->entryDelAll();
  this->take();
  this->w.table->entryDelAll();
  EXPECT_EQ(this->take(), Lines{});
}

TYPED_TEST(EntryDelAllTest, HandlesReactorsAndParkedRecordsStay) {
  auto& table = *this->w.table;
  table.pendingEntrySmIs(this->handles[0], this->keys[0]);
  auto const parked = this->w.park(this->keys[1], this->w.entry(8, {TestHandle::waiting()}));
  table.entryDelAll();
  EXPECT_EQ(table.entrys(), 0U);
  EXPECT_EQ(table.pendingEntrySms(), 1U);
  EXPECT_EQ(table.unresolvedEntrys(), 1U);
  EXPECT_EQ(table.unresolvedEntry(this->keys[1]), parked);
  for (std::size_t n = 0; n < 3; ++n) {
    EXPECT_EQ(table.entryHandleAccess(this->keys[n]), this->handles[n]);
    EXPECT_TRUE(this->handles[n]->isProgrammed()) << "deleting a record does not touch its handle";
  }
}

TYPED_TEST(EntryDelAllTest, CallsNoHardwareThatIsNotReady) {
  this->w.table->hwTableReadyIs(false);
  this->w.take();
  this->w.table->entryDelAll();
  EXPECT_EQ(this->take(), (Lines{"entry key1", "entry key2", "entry key3"}));
}

TYPED_TEST(EntryDelAllTest, ADeletedKeyMayBeWrittenAgain) {
  this->w.table->entryDelAll();
  this->take();
  this->w.table->entryIs(this->keys[2], this->w.entry(9));
  EXPECT_EQ(this->w.table->entrys(), 1U);
  EXPECT_EQ(linesWith(this->take(), "hwTableEntryIs").size(), 1U);
}

TYPED_TEST(EntryDelAllTest, AKeyThatAnObserverBringsMeanwhileStays) {
  auto const fresh = TypeParam::key(9);
  this->atDeletionOf(0, [&] { this->w.table->entryIs(fresh, this->w.entry(9)); });
  this->w.table->entryDelAll();
  EXPECT_TRUE(this->done);
  EXPECT_EQ(this->w.table->entrys(), 1U);
  EXPECT_TRUE(this->w.table->entryExists(fresh));
  EXPECT_EQ(linesWith(this->take(), "hwTableEntryDel").size(), 3U);
  this->w.table->entryDelAll();
  EXPECT_EQ(this->w.table->entrys(), 0U);
}

TYPED_TEST(EntryDelAllTest, AKeyThatAnObserverWritesAgainAfterItsTurnStays) {
  this->atDeletionOf(0, [&] { this->w.table->entryIs(this->keys[0], this->w.entry(9)); });
  this->w.table->entryDelAll();
  EXPECT_TRUE(this->done);
  EXPECT_EQ(this->w.table->entrys(), 1U);
  EXPECT_EQ(this->w.table->entry(this->keys[0]), this->w.entry(9));
}

TYPED_TEST(EntryDelAllTest, AKeyThatAnObserverDeletesMeanwhileIsDeletedOnce) {
  this->atDeletionOf(0, [&] {
    this->w.table->entryDel(this->keys[1]);
    this->w.table->entryDel(this->keys[2]);
  });
  this->w.table->entryDelAll();
  EXPECT_EQ(this->take(), joined(this->deletionOf(0), this->deletionOf(1), this->deletionOf(2)));
}

TYPED_TEST(EntryDelAllTest, AKeyThatAnObserverRemovesWithItsHandleIsDeletedOnce) {
  this->atDeletionOf(0, [&] {
    this->w.table->entryRemove(this->keys[1]);
    this->handles[1] = nullptr;  // the last reference
  });
  this->w.table->entryDelAll();
  EXPECT_EQ(linesWith(this->take(), "hwTableEntryDel"),
            (Lines{"hwTableEntryDel " + this->rows[0], "hwTableEntryDel " + this->rows[1],
                   "hwTableEntryDel " + this->rows[2]}));
  EXPECT_EQ(this->w.table->entrys(), 0U);
  EXPECT_FALSE(this->w.table->entryHandleAccess(this->keys[1]));
}

TYPED_TEST(EntryDelAllTest, AKeyMayEndWithItsHandleInItsOwnDeletion) {
  this->atDeletionOf(1, [&] {
    this->w.table->entryRemove(this->keys[1]);
    this->handles[1] = nullptr;
  });
  this->w.table->entryDelAll();
  EXPECT_EQ(linesWith(this->take(), "hwTableEntryDel").size(), 3U);
  EXPECT_EQ(this->w.table->entrys(), 0U);
}

TYPED_TEST(EntryDelAllTest, NestsInItself) {
  this->atDeletionOf(0, [&] { this->w.table->entryDelAll(); });
  this->w.table->entryDelAll();
  EXPECT_EQ(this->take(), joined(this->deletionOf(0), this->deletionOf(1), this->deletionOf(2)));
}

TYPED_TEST(EntryDelAllTest, AnObserverMayDropTheLastReferenceToTheTable) {
  auto* const table = this->w.table.get();
  this->atDeletionOf(0, [&] { this->w.table = nullptr; });
  // Afterwards the hook would ask a table that is gone.
  auto const hook = std::exchange(this->w.onAnnouncement, nullptr);
  this->w.onAnnouncement = [&](Vek::AttributeId attribute, auto const& key) {
    if (!this->done) hook(attribute, key);
  };
  table->entryDelAll();
  EXPECT_TRUE(this->done);
  EXPECT_EQ(linesWith(this->take(), "hwTableEntryDel").size(), 3U);
  for (auto const& handle : this->handles) EXPECT_EQ(handle->swTable(), nullptr);
}

// What is there only where the table chooses rows and takes entries that their callers keep alive.
template <class A>
class EntryDelAllRowsTest : public RestartTests::NothingLeftTest {};
TYPED_TEST_SUITE(EntryDelAllRowsTest, RawRegistryTables, AdapterNames);

TYPED_TEST(EntryDelAllRowsTest, FreesEveryRow) {
  World<TypeParam> w(Traced::no, 3);
  for (unsigned number = 1; number <= 3; ++number) {
    w.table->entryIs(TypeParam::key(number), w.entry(number));
  }
  EXPECT_EQ(w.table->firstFreeIndexAllocator()->rowsFree(), 0U);
  w.table->entryDelAll();
  EXPECT_EQ(w.table->firstFreeIndexAllocator()->rowsFree(), 3U);
}

TYPED_TEST(EntryDelAllRowsTest, WhatARecordKeptAliveEndsWithIt) {
  World<TypeParam> w(Traced::no);
  auto const key = w.key(2);
  auto handle = w.table->entryRef(key, w.entry(2, {TestHandle::programmed(11)}));
  w.table->entryIs(w.key(1), w.entry(1, {handle}));
  handle = nullptr;
  EXPECT_EQ(w.table->entrys(), 2U);
  w.take();
  w.table->entryDelAll();
  EXPECT_EQ(linesWith(w.take(), "hwTableEntryDel"),
            (Lines{"hwTableEntryDel row1", "hwTableEntryDel row2"}));
  EXPECT_EQ(w.table->entrys(), 0U);
  EXPECT_FALSE(w.table->entryHandleExists(key));
}

}  // namespace
}  // namespace TableTests
