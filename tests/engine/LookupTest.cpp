// What a table finds and reads for a key, and how it removes one.
#include <gtest/gtest.h>

#include <optional>

#include "TableWorld.h"

namespace TableTests {
namespace {

template <class A>
class LookupTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(LookupTest, EntryTables, AdapterNames);

TYPED_TEST(LookupTest, FindsAnIdenticalParkedRecord) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const needed = TestHandle::waiting();
  auto const handle = w.handle(key);
  auto const parked = w.park(key, w.entry(7, {needed}));
  w.journal.clear();
  EXPECT_EQ(w.table->lookupExistingEntry(key, w.entry(7, {needed})), handle);
  EXPECT_EQ(w.take(), (Lines{"trace3 lookupExistingEntry : Found pending entry: "}));
  EXPECT_EQ(w.table->unresolvedEntry(key), parked);
}

TYPED_TEST(LookupTest, DropsAParkedRecordThatDiffersAndSaysSoAfterwards) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const needed = TestHandle::waiting();
  auto const handle = w.handle(key);
  w.park(key, w.entry(7, {needed}));
  w.journal.clear();
  EXPECT_FALSE(w.table->lookupExistingEntry(key, w.entry(8, {needed})));
  EXPECT_EQ(w.take(), (Lines{"unresolvedEntry key1",
                             "trace3 lookupExistingEntry : Deleting pending entry: "}));
  EXPECT_FALSE(w.table->unresolvedEntry(key));
  EXPECT_EQ(needed->references(), 1U);
}

TYPED_TEST(LookupTest, ComparesTheNeededHandlesToo) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const needed = TestHandle::waiting();
  auto const other = TestHandle::waiting();
  auto const handle = w.handle(key);
  w.park(key, w.entry(7, {needed}));
  EXPECT_FALSE(w.table->lookupExistingEntry(key, w.entry(7, {other})));
  EXPECT_FALSE(w.table->unresolvedEntry(key));
}

TYPED_TEST(LookupTest, FindsAnIdenticalProgrammedRecordBehindADroppedParkedOne) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.programmed(key, w.entry(7));
  w.park(key, w.entry(8, {TestHandle::waiting()}));
  w.journal.clear();
  EXPECT_EQ(w.table->lookupExistingEntry(key, w.entry(7)), handle);
  EXPECT_EQ(w.take(),
            (Lines{"unresolvedEntry key1", "trace3 lookupExistingEntry : Deleting pending entry: ",
                   "trace3 lookupExistingEntry : Found an existing entry: "}));
}

TYPED_TEST(LookupTest, LeavesADifferentProgrammedRecordAlone) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.programmed(key, w.entry(7));
  EXPECT_FALSE(w.table->lookupExistingEntry(key, w.entry(8)));
  EXPECT_EQ(w.take(), Lines{});
  EXPECT_EQ(TypeParam::text(w.table->entry(key)), "7");
  EXPECT_FALSE(w.table->lookupExistingEntry(w.key(2), w.entry(7)));
  EXPECT_EQ(w.take(), Lines{});
}

TYPED_TEST(LookupTest, DoesNotLookAtTheMode) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.programmed(key, w.entry(7));
  handle->modeIs(World<TypeParam>::Handle::del);
  EXPECT_EQ(w.table->lookupExistingEntry(key, w.entry(7)), handle);
}

TYPED_TEST(LookupTest, ToleratesAKeyInsideTheParkedRecordThatItDrops) {
  World<TypeParam> w;
  typename World<TypeParam>::Handle const* handle = nullptr;
  typename TypeParam::Table::UnresolvedEntry const* parked = nullptr;
  {
    auto const key = w.key(1);
    handle = w.programmed(key, w.entry(7)).get();
    parked = w.park(key, w.entry(8, {TestHandle::waiting()})).get();
  }
  EXPECT_EQ(w.table->lookupExistingEntry(parked->key(), w.entry(7)).get(), handle);
}

TYPED_TEST(LookupTest, ToleratesTheLossOfItsTable) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const entry = w.entry(8);
  auto const handle = w.programmed(key, w.entry(7));
  w.park(key, w.entry(9, {TestHandle::waiting()}));
  w.onAnnouncement = [&](Vek::AttributeId, auto const&) { w.table = nullptr; };
  EXPECT_FALSE(w.table->lookupExistingEntry(key, entry));
  EXPECT_FALSE(w.table);
}

TYPED_TEST(LookupTest, ReadsTheParkedRecordBeforeTheProgrammedOne) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.programmed(key, w.entry(7));
  w.park(key, w.entry(8, {TestHandle::waiting()}));
  w.journal.clear();
  EXPECT_EQ(TypeParam::text(w.table->getEntry(key)), "8");
  EXPECT_EQ(w.take(), (Lines{"trace3 getEntry : Found unresolved entry: "}));
  EXPECT_EQ(TypeParam::text(w.table->entry(key)), "7");
  w.table->unresolvedEntryDel(key);
  w.journal.clear();
  EXPECT_EQ(TypeParam::text(w.table->getEntry(key)), "7");
  EXPECT_EQ(w.take(), (Lines{"trace3 getEntry : Found an existing entry: "}));
}

TYPED_TEST(LookupTest, AnUnknownKeyIsReadAsADefaultRecordThatItClaimsToFind) {
  World<TypeParam> w;
  EXPECT_FALSE(static_cast<bool>(w.table->getEntry(w.key(1))));
  EXPECT_EQ(w.take(), (Lines{"trace3 getEntry : Found an existing entry: "}));
}

TYPED_TEST(LookupTest, RemovalOfAnUnknownKeyIsTracedOnly) {
  World<TypeParam> w;
  auto const key = w.key(1);
  w.table->entryRemove(key);
  EXPECT_EQ(w.take(), (Lines{"trace3 entryRemove: No entry found: "}));
  // Without a handle there is nothing to remove, whatever else the key has.
  auto const parked = w.park(key, w.entry(7, {TestHandle::waiting()}));
  w.journal.clear();
  w.table->entryRemove(key);
  EXPECT_EQ(w.take(), (Lines{"trace3 entryRemove: No entry found: "}));
  EXPECT_EQ(w.table->unresolvedEntry(key), parked);
}

TYPED_TEST(LookupTest, RemovalTakesEverythingWhenNobodyElseHoldsTheHandle) {
  World<TypeParam> w;
  auto const key = w.key(1);
  (void)w.handle(key);
  w.park(key, w.entry(6, {TestHandle::programmed(10)}));
  w.park(key, w.entry(7, {TestHandle::waiting()}));
  std::string const deletion =
      "hwTableEntryDel " + TypeParam::whereText(TypeParam::whereOf(*w.table, key));
  w.journal.clear();
  w.table->entryRemove(key);
  EXPECT_EQ(w.take(), joined({"unresolvedEntry key1", "pendingEntrySm key1", "entryHandle key1",
                              deletion, "entry key1"},
                             TypeParam::unregistered("key1")));
  EXPECT_EQ(w.table->entrys() + w.table->entryHandles() + w.table->pendingEntrySms() +
                w.table->unresolvedEntrys(),
            0U);
}

TYPED_TEST(LookupTest, RemovalLeavesTheProgrammedRecordToTheLastHolderOfTheHandle) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto handle = w.programmed(key, w.entry(7));
  w.table->entryRemove(key);
  EXPECT_EQ(w.take(), (Lines{"entryHandle key1"}));
  EXPECT_TRUE(w.table->entryExists(key));
  std::string const deletion =
      "hwTableEntryDel " + TypeParam::whereText(TypeParam::whereOf(*w.table, key));
  handle = nullptr;
  EXPECT_EQ(w.take(), joined({deletion, "entry key1"}, TypeParam::unregistered("key1")));
  EXPECT_FALSE(w.table->entryExists(key));
}

TYPED_TEST(LookupTest, RemovesUnderTheKeyInsideTheHandleItself) {
  World<TypeParam> w;
  auto const* const handle = w.programmed(w.key(1), w.entry(7)).get();
  w.table->entryRemove(handle->key());
  EXPECT_EQ(w.table->entrys(), 0U);
  EXPECT_EQ(w.table->entryHandles(), 0U);
}

TYPED_TEST(LookupTest, RemovalWithoutReadyHardwareCallsNothing) {
  World<TypeParam> w;
  auto const key = w.key(1);
  (void)w.programmed(key, w.entry(7));
  w.table->hwTableReadyIs(false);
  w.table->entryRemove(key);
  EXPECT_EQ(linesWith(w.take(), "hwTable"), Lines{});
  EXPECT_EQ(w.table->entrys(), 0U);
}

TYPED_TEST(LookupTest, TraceLinesNameTheTable) {
  World<TypeParam> w;
  w.table->entryRemove(w.key(1));
  ASSERT_EQ(w.traces->places().size(), 1U);
  std::string const line = w.traces->places()[0];
  std::string const start = std::string(TypeParam::Traits::traceHandleName()) + " 3 " +
                            TypeParam::Traits::sourceUnit() + ":";
  EXPECT_TRUE(line.starts_with(start)) << line;
  EXPECT_TRUE(line.ends_with(" entryRemove] entryRemove: No entry found: ")) << line;
}

}  // namespace
}  // namespace TableTests
