// The registry of the handles that a table owns.
#include <gtest/gtest.h>

#include "TableWorld.h"

namespace TableTests {
namespace {

template <class A>
class HandleRegistryTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(HandleRegistryTest, EntryTables, AdapterNames);

TYPED_TEST(HandleRegistryTest, IsEmptyAtTheStart) {
  World<TypeParam> w;
  EXPECT_EQ(w.table->entryHandles(), 0U);
  EXPECT_EQ(w.table->entrys(), 0U);
  EXPECT_EQ(w.table->pendingEntrySms(), 0U);
  EXPECT_EQ(w.table->unresolvedEntrys(), 0U);
  auto const key = w.key(1);
  EXPECT_FALSE(w.table->entryHandle(key));
  EXPECT_FALSE(w.table->entryHandleAccess(key));
  EXPECT_FALSE(w.table->entryHandleExists(key));
}

TYPED_TEST(HandleRegistryTest, KeepsOneHandlePerKey) {
  World<TypeParam> w;
  auto const one = w.key(1);
  auto const two = w.key(2);
  auto const handleOfOne = w.handle(one);
  auto const handleOfTwo = w.handle(two);
  EXPECT_NE(handleOfOne, handleOfTwo);
  EXPECT_EQ(w.table->entryHandle(one), handleOfOne);
  EXPECT_EQ(w.table->entryHandleAccess(two), handleOfTwo);
  EXPECT_TRUE(w.table->entryHandleExists(two));
  EXPECT_EQ(w.table->entryHandles(), 2U);
}

TYPED_TEST(HandleRegistryTest, AccessHandsOutACountedReference) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  std::uint32_t const before = handle->references();
  auto const access = w.table->entryHandleAccess(key);
  EXPECT_EQ(handle->references(), before + 1);
}

TYPED_TEST(HandleRegistryTest, AnnouncesTheRemovalOfAnAbsentKeyToo) {
  World<TypeParam> w;
  w.table->entryHandleDel(w.key(3));
  EXPECT_EQ(w.take(), (Lines{"entryHandle key3"}));
  EXPECT_EQ(w.table->entryHandles(), 0U);
}

TYPED_TEST(HandleRegistryTest, RemovesThenAnnouncesThenReleases) {
  World<TypeParam> w;
  auto const key = w.key(1);
  (void)w.programmed(key, w.entry(1));
  std::string const deletion =
      "hwTableEntryDel " + TypeParam::whereText(TypeParam::whereOf(*w.table, key));
  bool checked = false;
  w.onAnnouncement = [&](Vek::AttributeId attribute, auto const&) {
    if (attribute != TypeParam::Table::Attribute::entryHandle) return;
    EXPECT_FALSE(w.table->entryHandle(key));
    EXPECT_TRUE(w.table->entryExists(key));
    checked = true;
  };
  w.table->entryHandleDel(key);
  EXPECT_TRUE(checked);
  EXPECT_EQ(w.take(),
            joined({"entryHandle key1", deletion, "entry key1"}, TypeParam::unregistered("key1")));
}

TYPED_TEST(HandleRegistryTest, RemovesUnderTheKeyInsideTheHandleItself) {
  World<TypeParam> w;
  auto const* const plain = w.programmed(w.key(1), w.entry(1)).get();
  w.table->entryHandleDel(plain->key());
  EXPECT_EQ(w.table->entryHandles(), 0U);
  EXPECT_EQ(w.table->entrys(), 0U);
}

TYPED_TEST(HandleRegistryTest, DelAllOnAnEmptyRegistryDoesNothing) {
  World<TypeParam> w;
  w.table->entryHandleDelAll();
  EXPECT_EQ(w.take(), Lines{});
}

TYPED_TEST(HandleRegistryTest, DelAllAnnouncesEveryKeyAndRemovesWhatOnlyTheTableHeld) {
  World<TypeParam> w;
  auto const held = w.programmed(w.key(1), w.entry(1));
  (void)w.programmed(w.key(2), w.entry(2));
  (void)w.programmed(w.key(3), w.entry(3));
  w.table->entryHandleDelAll();
  Lines const seen = w.take();
  EXPECT_EQ(linesWith(seen, "entryHandle "),
            (Lines{"entryHandle key1", "entryHandle key2", "entryHandle key3"}));
  EXPECT_EQ(linesWith(seen, "entry "), (Lines{"entry key2", "entry key3"}));
  EXPECT_EQ(w.table->entryHandles(), 0U);
  EXPECT_EQ(w.table->entrys(), 1U);  // the one that a caller holds
}

TYPED_TEST(HandleRegistryTest, DelAllClearsWhatObserversAddAndSkipsWhatTheyRemove) {
  World<TypeParam> w;
  auto const one = w.key(1);
  auto const two = w.key(2);
  auto const three = w.key(3);
  auto const four = w.key(4);
  (void)w.handle(one);
  (void)w.handle(two);
  (void)w.handle(three);
  bool first = true;
  w.onAnnouncement = [&](Vek::AttributeId attribute, auto const& key) {
    if (attribute != TypeParam::Table::Attribute::entryHandle || !first) return;
    first = false;
    EXPECT_EQ(key, one);
    w.table->entryHandleDel(two);
    (void)TypeParam::own(*w.table, one);
    (void)TypeParam::own(*w.table, four);
  };
  w.journal.clear();
  w.table->entryHandleDelAll();
  EXPECT_EQ(w.table->entryHandles(), 0U);
  for (auto const& key : {one, two, three, four}) EXPECT_FALSE(w.table->entryHandle(key));
  // Removed by the walk, removed by the observer, added back twice, and the last one by the walk;
  // the newcomers are cleared without a word.
  EXPECT_EQ(linesWith(w.take(), "entryHandle "),
            (Lines{"entryHandle key1", "entryHandle key2", "entryHandle key1", "entryHandle key4",
                   "entryHandle key3"}));
}

TYPED_TEST(HandleRegistryTest, MutateMakesAHandleOfThisTableThatIsReadyForUse) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.table->entryHandleMutate(key);
  EXPECT_EQ(handle->swTable(), w.table.get());
  EXPECT_TRUE(handle->hasNotificationActive());
  EXPECT_EQ(w.table->entryHandle(key), handle);
  EXPECT_EQ(w.table->entryHandleAccess(key), handle);
  EXPECT_EQ(w.take(), TypeParam::created("key1"));
}

TYPED_TEST(HandleRegistryTest, MutateFindsAHandleOrAlwaysMakesOne) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const* const first = w.table->entryHandleMutate(key).get();
  w.table->entryHandle(key)->modeIs(World<TypeParam>::Handle::del);  // a mark of the first one
  w.journal.clear();
  auto const second = w.table->entryHandleMutate(key);
  EXPECT_EQ(w.table->entryHandle(key), second);
  EXPECT_EQ(w.table->entryHandleAccess(key), second);
  EXPECT_EQ(w.table->entryHandles(), 1U);
  if constexpr (TypeParam::rawRegistry) {
    // The first one ends as soon as the second is owned; only then is the second registered.
    EXPECT_EQ(second->mode(), World<TypeParam>::Handle::add);
    EXPECT_EQ(w.take(), (Lines{"entryHandle key1", "rawEntryHandle key1", "rawEntryHandle key1"}));
  } else {
    EXPECT_EQ(second.get(), first);
    EXPECT_EQ(w.take(), Lines{});
  }
}

}  // namespace
}  // namespace TableTests
