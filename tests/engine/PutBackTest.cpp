// Observers that put back what a collective removal takes out, and records that came back to
// storage which held one before.
#include <gtest/gtest.h>

#include "TableWorld.h"

namespace TableTests {
namespace {

template <class A>
class PutBackTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(PutBackTest, EntryTables, AdapterNames);

// One is enough: the number that is left then is the smallest. A key that has no handle at all is
// no handle less.
TYPED_TEST(PutBackTest, OneHandleThatAnObserverPutsBackGoesToo) {
  World<TypeParam> w{Traced::no};
  auto const key = w.key(1);
  auto const parkedOnly = w.key(2);
  w.table->unresolvedEntryIs(parkedOnly);
  auto const outside = w.table->entryHandleMutate(key);
  w.onAnnouncement = [&](Vek::AttributeId attribute, auto const&) {
    if (attribute != TypeParam::Table::Attribute::entryHandle) return;
    w.onAnnouncement = nullptr;
    TypeParam::own(*w.table, key);
  };
  w.table->entryHandleDelAll();
  EXPECT_EQ(w.table->entryHandles(), 0U);
  EXPECT_FALSE(w.table->entryHandle(key));
  EXPECT_TRUE(w.table->unresolvedEntry(parkedOnly));
}

TYPED_TEST(PutBackTest, AReactorThatAnObserverPutsBackIsSwitchedOffAndHasNoTable) {
  World<TypeParam> w{Traced::no};
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  w.table->pendingEntrySmIs(handle, key);
  typename TypeParam::Table::PendingEntrySm::Ptr back;
  w.onAnnouncement = [&](auto, auto const&) {
    w.onAnnouncement = nullptr;
    back = w.table->pendingEntrySmIs(handle, key);
  };
  w.table->pendingEntrySmDelAll();
  ASSERT_TRUE(back);
  EXPECT_FALSE(w.table->pendingEntrySm(key));
  EXPECT_EQ(w.table->pendingEntrySms(), 0U);
  EXPECT_EQ(back->table(), nullptr);
  EXPECT_FALSE(back->hasNotificationActive());
}

TYPED_TEST(PutBackTest, ARecordThatLeftTheCollectionIsNotFoundByALookup) {
  World<TypeParam> w{Traced::no};
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  w.table->entryIs(key, w.entry(7));
  EXPECT_EQ(w.table->lookupExistingEntry(key, w.entry(7)), handle);
  w.table->entryDel(key);
  EXPECT_FALSE(w.table->lookupExistingEntry(key, w.entry(7)));
}

template <class A>
class RawPutBackTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(RawPutBackTest, RawRegistryTables, AdapterNames);

TYPED_TEST(RawPutBackTest, ARegistrationThatAnObserverPutsBackGoesToo) {
  World<TypeParam> w{Traced::no};
  auto const key = w.key(1);
  auto const handle = w.table->entryHandleFactory(key, w.table.get());
  w.table->rawEntryHandleIs(key, handle.get());
  w.onAnnouncement = [&](auto, auto const&) {
    w.onAnnouncement = nullptr;
    w.table->rawEntryHandleIs(key, handle.get());
  };
  w.table->rawEntryHandleDelAll();
  EXPECT_FALSE(w.table->rawEntryHandleHas(key));
  w.table->rawEntryHandleIs(key, handle.get());  // in which it may end
}

// A parked record can be the last to hold its own key's handle. Both go before the trace, and what
// the table has for the key is looked up behind that.
template <class A>
struct OwnHandle {
  World<A> w;
  typename A::Key key = w.key(1);
  Needed const ready = TestHandle::programmed(10);
  Needed const waiting = TestHandle::waiting();

  OwnHandle() {
    auto const own = w.table->entryRef(key, w.entry(7, {ready}));
    w.table->entryRef(key, w.entry(8, {own, waiting}));
    w.journal.clear();
  }
};

TYPED_TEST(RawPutBackTest, AParkedRecordTakesItsKeysOwnHandleAlongBeforeItIsTraced) {
  OwnHandle<TypeParam> r;
  auto& w = r.w;
  EXPECT_FALSE(w.table->lookupExistingEntry(r.key, w.entry(7, {r.ready})));
  EXPECT_EQ(w.take(), (Lines{"unresolvedEntry key1", "hwTableEntryDel row1", "entry key1",
                             "rawEntryHandle key1",
                             "trace3 lookupExistingEntry : Deleting pending entry: "}));
  w.table->pendingEntrySmDel(r.key);
}

TYPED_TEST(RawPutBackTest, WhatComesUnderAnotherKeyWhenAParkedRecordGoesIsNotTakenForItsKeys) {
  OwnHandle<TypeParam> r;
  auto& w = r.w;
  w.table->pendingEntrySmDel(r.key);
  auto const record = w.entry(9, {r.ready});
  w.onAnnouncement = [&](Vek::AttributeId attribute, auto const&) {
    if (attribute != TypeParam::Table::Attribute::rawEntryHandle) return;
    w.onAnnouncement = nullptr;
    w.table->entryCommit(w.key(2), record);
  };
  EXPECT_FALSE(w.table->lookupExistingEntry(r.key, record));
  EXPECT_EQ(w.table->entry(w.key(2)), record);
}

}  // namespace
}  // namespace TableTests
