// The collection of records that are ready for hardware.
#include <gtest/gtest.h>

#include "TableWorld.h"

namespace TableTests {
namespace {

template <class A>
class EntryCollectionTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(EntryCollectionTest, EntryTables, AdapterNames);

TYPED_TEST(EntryCollectionTest, AnInsertedRecordIsWrittenThenAnnounced) {
  World<TypeParam> w;
  auto const key = w.key(1);
  bool stored = false;
  w.util->onWrite = [&](auto const&, auto const& entry) {
    EXPECT_TRUE(entry == w.entry(7));
    stored = w.table->entryExists(key);
  };
  w.table->entryIs(key, w.entry(7));
  EXPECT_TRUE(stored);
  Lines const seen = w.take();
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_TRUE(seen[0].starts_with("hwTableEntryIs ") && seen[0].ends_with(" = 7")) << seen[0];
  EXPECT_EQ(seen[1], "entry key1");
  EXPECT_EQ(w.table->entrys(), 1U);
}

TYPED_TEST(EntryCollectionTest, AnEqualRecordChangesNothing) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.programmed(key, w.entry(7));
  w.table->entryIs(key, w.entry(7));
  EXPECT_EQ(w.take(), Lines{});
  EXPECT_EQ(handle->entryState(), Asic::HwTable::success());
}

TYPED_TEST(EntryCollectionTest, AChangedRecordResetsTheStateThenIsWrittenThenAnnounced) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.programmed(key, w.entry(7));
  auto const watch = w.watch(handle.get());
  w.table->entryIs(key, w.entry(8));
  Lines const seen = w.take();
  ASSERT_EQ(seen.size(), 3U);
  EXPECT_EQ(seen[0], "handle state 0");
  EXPECT_TRUE(seen[1].starts_with("hwTableEntryIs ") && seen[1].ends_with(" = 8")) << seen[1];
  EXPECT_EQ(seen[2], "entry key1");
  EXPECT_EQ(w.table->entrys(), 1U);
  EXPECT_EQ(TypeParam::text(w.table->entry(key)), "8");
}

TYPED_TEST(EntryCollectionTest, TheOverwrittenRecordIsReleasedAfterTheAnnouncement) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto needed = TestHandle::programmed(10);
  w.table->entryIs(key, w.entry(7, {needed}));
  int looked = 0;
  w.util->onWrite = [&](auto const&, auto const&) {
    EXPECT_EQ(needed->references(), 2U);
    ++looked;
  };
  w.onAnnouncement = [&](Vek::AttributeId, auto const&) {
    EXPECT_EQ(needed->references(), 2U);
    ++looked;
  };
  w.table->entryIs(key, w.entry(8));
  EXPECT_EQ(looked, 2);
  EXPECT_EQ(needed->references(), 1U);
}

TYPED_TEST(EntryCollectionTest, ARemovedRecordIsDeletedThenAnnouncedAndReturned) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.programmed(key, w.entry(7));
  bool gone = false;
  w.util->onDelete = [&](auto const&) { gone = !w.table->entryExists(key); };
  auto const taken = w.table->entryDel(key);
  EXPECT_TRUE(taken == w.entry(7));
  EXPECT_TRUE(gone);
  Lines const seen = w.take();
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_TRUE(seen[0].starts_with("hwTableEntryDel ")) << seen[0];
  EXPECT_EQ(seen[1], "entry key1");
  EXPECT_EQ(handle->entryState(), Asic::HwTable::success());  // a deletion asks for no answer
  EXPECT_EQ(w.table->entrys(), 0U);
}

TYPED_TEST(EntryCollectionTest, AnAbsentKeyIsNotDeleted) {
  World<TypeParam> w;
  auto const key = w.key(1);
  EXPECT_FALSE(static_cast<bool>(w.table->entryDel(key)));
  EXPECT_EQ(w.take(), Lines{});
  (void)w.handle(key);  // a key without a record is as absent as an unknown one
  w.journal.clear();
  EXPECT_FALSE(static_cast<bool>(w.table->entryDel(key)));
  EXPECT_EQ(w.take(), Lines{});
}

TYPED_TEST(EntryCollectionTest, NoHardwareCallWhileHardwareIsNotReady) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.programmed(key, w.entry(7));
  w.table->hwTableReadyIs(false);
  w.onAnnouncement = nullptr;
  w.journal.clear();
  auto const watch = w.watch(handle.get());
  w.table->entryIs(key, w.entry(8));
  EXPECT_EQ(w.take(), (Lines{"handle state 0", "entry key1"}));
  EXPECT_EQ(TypeParam::text(w.table->entry(key)), "8");
  w.table->entryDel(key);
  EXPECT_EQ(w.take(), (Lines{"entry key1"}));
}

TYPED_TEST(EntryCollectionTest, NoHardwareCallWithoutAHardwareTable) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.programmed(key, w.entry(7));
  w.table->hwTableIs(nullptr);
  w.journal.clear();
  auto const watch = w.watch(handle.get());
  w.table->entryIs(key, w.entry(8));
  w.table->entryDel(key);
  EXPECT_EQ(w.take(), (Lines{"handle state 0", "entry key1", "entry key1"}));
}

TYPED_TEST(EntryCollectionTest, AnUnknownKeyHasADefaultRecord) {
  World<TypeParam> w;
  EXPECT_FALSE(static_cast<bool>(w.table->entry(w.key(1))));
  EXPECT_FALSE(w.table->entryExists(w.key(1)));
  EXPECT_EQ(w.take(), Lines{});
}

TYPED_TEST(EntryCollectionTest, TheDummyWriteDoesNothing) {
  World<TypeParam> w;
  w.table->entryDummyWrite(Asic::noAutoRemove);
  w.table->entryDummyWrite(Asic::needsAutoRemove());
  EXPECT_EQ(w.take(), Lines{});
}

}  // namespace
}  // namespace TableTests
