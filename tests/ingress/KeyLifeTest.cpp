// Keys are handles of another table: this one keeps a key alive as long as it has something for it,
// and no longer.
#include <gtest/gtest.h>

#include <functional>

#include "TableWorld.h"

namespace TableTests {
namespace {

using W = World<IngressAdapter>;

class KeyLifeTest : public LiveObjectsTest {
 protected:
  // What an observer puts back once, when it hears of the collection's change.
  void putBack(Vek::AttributeId attribute, std::function<void()> const& again) {
    w.onAnnouncement = [this, attribute, again](Vek::AttributeId announced, auto const&) {
      if (announced != attribute) return;
      auto const put = again;
      w.onAnnouncement = nullptr;
      put();
    };
  }

  using Attribute = W::Table::Attribute;

  W w{Traced::no};
  TestHandle::Ptr const key = TestHandle::programmed(1);
};

TEST_F(KeyLifeTest, ARemovedRecordLetsItsKeyGo) {
  w.table->entryIs(key, w.entry(7));
  EXPECT_GT(key->references(), 1U);
  w.table->entryDel(key);
  EXPECT_EQ(key->references(), 1U);
}

TEST_F(KeyLifeTest, ARemovedHandleLetsItsKeyGo) {
  w.table->entryHandleMutate(key);
  EXPECT_GT(key->references(), 1U);
  w.table->entryHandleDel(key);
  EXPECT_EQ(key->references(), 1U);
}

TEST_F(KeyLifeTest, ARemovedParkedRecordLetsItsKeyGo) {
  w.table->unresolvedEntryIs(key);
  EXPECT_GT(key->references(), 1U);
  w.table->unresolvedEntryDel(key);
  EXPECT_EQ(key->references(), 1U);
}

TEST_F(KeyLifeTest, ARemovedReactorLetsItsKeyGo) {
  w.table->pendingEntrySmIs(nullptr, key);
  EXPECT_GT(key->references(), 1U);
  w.table->pendingEntrySmDel(key);
  EXPECT_EQ(key->references(), 1U);
}

TEST_F(KeyLifeTest, WhatObserversPutBackWhileAllAreRemovedLetsItsKeyGo) {
  w.table->entryHandleMutate(key);
  putBack(Attribute::entryHandle, [this] { w.table->entryHandleMutate(key); });
  w.table->entryHandleDelAll();
  EXPECT_EQ(key->references(), 1U) << "a handle";
  w.table->pendingEntrySmIs(nullptr, key);
  putBack(Attribute::pendingEntrySm, [this] { w.table->pendingEntrySmIs(nullptr, key); });
  w.table->pendingEntrySmDelAll();
  EXPECT_EQ(key->references(), 1U) << "a reactor";
  w.table->unresolvedEntryIs(key);
  putBack(Attribute::unresolvedEntry, [this] { w.table->unresolvedEntryIs(key); });
  w.table->unresolvedEntryDelAll();
  EXPECT_EQ(key->references(), 1U) << "a parked record";
}

}  // namespace
}  // namespace TableTests
