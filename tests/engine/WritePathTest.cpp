// What callers see of a write, in every table: where the tables agree, and where they do not.
#include <gtest/gtest.h>

#include "TableWorld.h"

namespace TableTests {
namespace {

constexpr auto notAnswered = Asic::HwTable::notAnswered;
constexpr auto accepted = Asic::HwTable::accepted;

template <class A>
class WritePathTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(WritePathTest, EntryTables, AdapterNames);

TYPED_TEST(WritePathTest, AnIdenticalParkedRecordIsParkedAgainOnlyWhereKeysBringTheirRows) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const entry = w.entry(7, {TestHandle::waiting(), TestHandle::waiting()});
  auto const handle = w.table->entryCommitWithResponseHandler(key, entry, w.handler("first"));
  auto const parked = w.table->unresolvedEntry(key);
  ASSERT_TRUE(parked);
  w.journal.clear();
  EXPECT_EQ(w.table->entryCommitWithResponseHandler(key, entry, w.handler("second")), handle);
  EXPECT_EQ(w.table->unresolvedEntry(key), parked);
  Lines const seen = w.take();
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(seen[0], "trace3 lookupExistingEntry : Found pending entry: ");
  EXPECT_EQ(linesWith(seen, "trace3 initializeUnresolvedEntry").size(),
            TypeParam::rawRegistry ? 0U : 1U);
  // Answered with the existing handle, the write leaves the handler as it was.
  handle->writeResponseHandler()(accepted);
  EXPECT_EQ(w.take(), (Lines{TypeParam::rawRegistry ? "first 1" : "second 1"}));
}

TYPED_TEST(WritePathTest, ASecondIdenticalWriteCompletesTheTallyOnlyWhereItParksAgain) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const first = TestHandle::waiting();
  auto const entry = w.entry(7, {first, TestHandle::waiting()});
  auto const handle = w.table->entryCommit(key, entry);
  first->program(10);
  EXPECT_FALSE(w.table->entryExists(key));
  (void)w.table->entryCommit(key, entry);
  EXPECT_EQ(w.table->entryExists(key), !TypeParam::rawRegistry);
  EXPECT_EQ(w.table->unresolvedEntry(key) == nullptr, !TypeParam::rawRegistry);
}

TYPED_TEST(WritePathTest, AnIdenticalProgrammedRecordIsWrittenToHardwareOnce) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const entry = w.entry(7, {TestHandle::programmed(10)});
  auto const handle = w.table->entryCommit(key, entry);
  EXPECT_EQ(w.table->entryCommit(key, entry), handle);
  Lines const seen = w.take();
  EXPECT_EQ(linesWith(seen, "hwTableEntryIs").size(), 1U);
  // Parked a second time, or answered with the handle, which the table then owns anew.
  EXPECT_EQ(linesWith(seen, "unresolvedEntry").size(), TypeParam::rawRegistry ? 2U : 4U);
  EXPECT_EQ(linesWith(seen, "entryHandle ").size(), TypeParam::rawRegistry ? 2U : 1U);
}

TYPED_TEST(WritePathTest, TheHandleMirrorsItsKeyOrWaitsForTheAnswer) {
  World<TypeParam> w;
  auto const key = w.key(5);
  auto const needed = TestHandle::waiting();
  auto const handle =
      w.table->entryCommitWithResponseHandler(key, w.entry(7, {needed}), w.handler());
  if constexpr (TypeParam::rawRegistry) {
    EXPECT_EQ(handle->hwEntryIndex(), Asic::Index::invalidIndex());
    EXPECT_EQ(handle->entryState(), notAnswered);
  } else {
    EXPECT_EQ(handle->hwEntryIndex(), 5U);
    EXPECT_EQ(handle->entryState(), accepted);
  }
  needed->program(10);
  EXPECT_EQ(handle->entryState(), notAnswered);
  w.journal.clear();
  auto const where = TypeParam::whereOf(*w.table, key);
  TypeParam::answer(*w.table, *w.hwTable, where);
  EXPECT_EQ(handle->entryState(), accepted);
  // The lowest free row, or the key's own.
  EXPECT_EQ(handle->hwEntryIndex(), TypeParam::rawRegistry ? 1U : 5U);
  EXPECT_EQ(w.take(), (Lines{"handler 1"}));
}

TYPED_TEST(WritePathTest, ARewriteKeepsTheRow) {
  World<TypeParam> w;
  auto const one = w.key(1);
  auto const two = w.key(2);
  auto const ready = TestHandle::programmed(10);
  auto const handleOfOne = w.table->entryCommit(one, w.entry(7, {ready}));
  auto const handleOfTwo = w.table->entryCommit(two, w.entry(7, {ready}));
  w.journal.clear();
  EXPECT_EQ(w.table->entryCommit(one, w.entry(8, {ready})), handleOfOne);
  EXPECT_EQ(linesWith(w.take(), "hwTableEntryIs"),
            (Lines{"hwTableEntryIs " + TypeParam::whereText(TypeParam::whereOf(*w.table, one)) +
                   " = 8"}));
}

// Where callers can own what they write.
template <class A>
class RawRegistryTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(RawRegistryTest, RawRegistryTables, AdapterNames);

TYPED_TEST(RawRegistryTest, AReferencedHandleIsRegisteredAndNotOwned) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto handle = w.table->entryRef(key, w.entry(7, {TestHandle::programmed(10)}));
  EXPECT_EQ(w.table->entryHandles(), 0U);
  EXPECT_FALSE(w.table->entryHandle(key));
  EXPECT_EQ(w.table->entryHandleAccess(key), handle);
  EXPECT_TRUE(w.table->entryHandleExists(key));
  EXPECT_EQ(handle->references(), 1U);
  w.journal.clear();
  handle = nullptr;
  EXPECT_EQ(w.take(), (Lines{"hwTableEntryDel row1", "entry key1", "rawEntryHandle key1"}));
  EXPECT_FALSE(w.table->entryHandleExists(key));
}

TYPED_TEST(RawRegistryTest, AnOwnedHandleThatIsNotRegisteredIsNotFound) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  w.table->rawEntryHandleDel(key);
  EXPECT_EQ(w.table->entryHandle(key), handle);
  EXPECT_FALSE(w.table->entryHandleExists(key));
  EXPECT_FALSE(w.table->entryHandleAccess(key));
  w.journal.clear();
  w.table->entryRemove(key);
  EXPECT_EQ(w.take(), (Lines{"trace3 entryRemove: No entry found: "}));
  TypeParam::mayEnd(*w.table, handle);
}

TYPED_TEST(RawRegistryTest, AnOwnedHandleIsReplacedAndAnEmptyOneTakesItAway) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.table->entryRef(key, w.entry(7, {TestHandle::waiting()}));
  w.journal.clear();
  Vek::Ptr<typename World<TypeParam>::Handle> const access = w.table->entryHandleAccess(key);
  w.table->entryHandleIs(key, access);
  EXPECT_EQ(w.table->entryHandle(key), handle);
  EXPECT_EQ(w.table->entryHandles(), 1U);
  w.table->entryHandleIs(key, nullptr);
  EXPECT_EQ(w.table->entryHandles(), 0U);
  EXPECT_EQ(w.take(), (Lines{"entryHandle key1", "entryHandle key1"}));
}

TYPED_TEST(RawRegistryTest, RemovalGoesOnWhenAnObserverTakesTheOwnedHandle) {
  World<TypeParam> w;
  auto const key = w.key(1);
  (void)w.handle(key);
  w.park(key, w.entry(7, {TestHandle::waiting()}));
  w.onAnnouncement = [&](Vek::AttributeId attribute, auto const&) {
    if (attribute == TypeParam::Table::Attribute::unresolvedEntry) w.table->entryHandleDel(key);
  };
  w.journal.clear();
  w.table->entryRemove(key);
  EXPECT_EQ(w.take(), (Lines{"unresolvedEntry key1", "entryHandle key1", "entryHandle key1",
                             "rawEntryHandle key1"}));
}

// An observer of the answer's withdrawal may remove the key and let go of its handle: the row that
// was about to be written goes back, and is neither written nor kept.
TYPED_TEST(RawRegistryTest, AHandleThatEndsWhileItsStateIsResetTakesItsRowAlong) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const ready = TestHandle::programmed(10);
  Vek::Ptr<typename World<TypeParam>::Handle const> held =
      w.table->entryCommit(key, w.entry(7, {ready}));
  TypeParam::answer(*w.table, *w.hwTable, TypeParam::whereOf(*w.table, key));
  auto const watch = w.watch(held.get(), "handle", [&] {
    w.table->entryRemove(key);
    held = nullptr;
  });
  w.journal.clear();
  (void)w.table->entryIs(key, w.entry(8, {ready}));
  EXPECT_EQ(linesWith(w.take(), "hwTable"), (Lines{"hwTableEntryDel row1"}));
  EXPECT_EQ(TypeParam::whereOf(*w.table, key), Asic::Index::invalidIndex()) << "the row leaked";
  EXPECT_EQ(w.table->firstFreeIndexAllocator()->rowsInUse(), 0U);
}

// A utility, or what it calls, may write the key again while it deletes the key's row.
TYPED_TEST(RawRegistryTest, AKeyThatIsWrittenAgainWhileItsRowIsDeletedHasARow) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const ready = TestHandle::programmed(10);
  auto const handle = w.programmed(key, w.entry(7, {ready}));
  w.util->onDelete = [&](auto const&) {
    w.util->onDelete = nullptr;
    w.table->entryIs(key, w.entry(8, {ready}));
  };
  w.table->entryDel(key);
  ASSERT_TRUE(w.table->entryExists(key));
  auto const row = TypeParam::whereOf(*w.table, key);
  EXPECT_NE(row, Asic::Index::invalidIndex()) << "in hardware, and free for another key";
  EXPECT_EQ(linesWith(w.take(), "hwTableEntryIs").back(),
            "hwTableEntryIs " + TypeParam::whereText(row) + " = 8");
}

// A handle at its end is no handle for another record of its key.
TYPED_TEST(RawRegistryTest, AWriteWhileTheKeysHandleEndsLeavesNothingWithoutAHandle) {
  for (std::string const announced : {"unresolvedEntry", "entry", "rawEntryHandle"}) {
    SCOPED_TRACE("at the announcement of " + announced);
    World<TypeParam> w;
    auto const key = w.key(1);
    auto held = w.table->entryRef(key, w.entry(7, {TestHandle::programmed(10)}));
    w.park(key, w.entry(8, {TestHandle::waiting()}));
    auto const never = TestHandle::waiting();
    w.onAnnouncement = [&](Vek::AttributeId attribute, auto const&) {
      if (attributeText<typename TypeParam::Table>(attribute) != announced) return;
      w.onAnnouncement = nullptr;
      (void)w.table->entryCommit(key, w.entry(9, {never}));
    };
    held = nullptr;
    bool const keepsARecord = w.table->entryExists(key) || w.table->unresolvedEntry(key);
    EXPECT_EQ(w.table->entryHandleExists(key), keepsARecord);
    EXPECT_EQ(w.table->entryHandles(), keepsARecord ? 1U : 0U);
  }
}

}  // namespace
}  // namespace TableTests
