// The handle that a write returns: its life, its mode, its end.
#include <gtest/gtest.h>

#include <memory>

#include "TableWorld.h"

namespace TableTests {
namespace {

template <class A>
class EntryHandleTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(EntryHandleTest, EntryTables, AdapterNames);

TYPED_TEST(EntryHandleTest, StartsWithoutRowUnansweredInModeAddWithoutHandler) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.table->entryHandleFactory(key, w.table.get());
  EXPECT_EQ(handle->key(), key);
  EXPECT_EQ(handle->swTable(), w.table.get());
  EXPECT_EQ(static_cast<unsigned>(handle->mode()), 0U);
  EXPECT_FALSE(handle->writeResponseHandler());
  EXPECT_EQ(handle->hwEntryIndex(), Asic::Index::invalidIndex());
  EXPECT_EQ(handle->entryState(), Asic::HwTable::notAnswered);
  EXPECT_TRUE(handle->hasNotificationActive());
  EXPECT_EQ(handle->references(), 1U);
  TypeParam::mayEnd(*w.table, handle);
}

TYPED_TEST(EntryHandleTest, FactoriesRegisterNothingAndAnnounceNothing) {
  World<TypeParam> w;
  auto const key = w.key(1);
  {
    auto const first = World<TypeParam>::Handle::EntryHandleIs(key, w.table.get());
    EXPECT_TRUE(first->hasNotificationActive());
    EXPECT_FALSE(w.table->entryHandleExists(key));
    EXPECT_FALSE(w.table->entryHandleAccess(key));
    EXPECT_FALSE(w.table->entryHandle(key));
    EXPECT_EQ(w.take(), Lines{});
    TypeParam::mayEnd(*w.table, first);
  }
}

TYPED_TEST(EntryHandleTest, AnnouncesAChangedModeOnceAndAnEqualOneNever) {
  World<TypeParam> w;
  auto const handle = w.handle(w.key(1));
  using Handle = typename World<TypeParam>::Handle;
  int announced = 0;
  auto const observer = Observer::of(handle.get(), [&](Vek::AttributeId attribute, void const*) {
    EXPECT_EQ(attribute, Handle::modeAttribute);
    ++announced;
  });
  handle->modeIs(Handle::add);
  EXPECT_EQ(announced, 0);
  handle->modeIs(Handle::del);
  EXPECT_EQ(announced, 1);
  EXPECT_EQ(static_cast<unsigned>(handle->mode()), 1U);
  handle->modeIs(Handle::del);
  EXPECT_EQ(announced, 1);
  handle->modeIs(Handle::add);
  EXPECT_EQ(announced, 2);
}

TYPED_TEST(EntryHandleTest, AnnouncesChangedRowsAndStatesOnly) {
  World<TypeParam> w;
  auto const handle = w.handle(w.key(1));
  auto const observer = w.watch(handle.get());
  w.journal.clear();
  handle->hwEntryIndexIs(Asic::Index::invalidIndex());
  handle->entryStateIs(Asic::HwTable::notAnswered);
  EXPECT_EQ(w.take(), Lines{});
  handle->hwEntryIndexIs(7);
  handle->hwEntryIndexIs(7);
  handle->entryStateIs(Asic::HwTable::refused);
  handle->entryStateIs(Asic::HwTable::refused);
  EXPECT_EQ(w.take(), (Lines{"handle row 7", "handle state 2"}));
}

TYPED_TEST(EntryHandleTest, DoesNotKeepItsTableAlive) {
  World<TypeParam> w;
  std::uint32_t const before = w.table->references();
  auto const handle = w.handle(w.key(1));
  EXPECT_EQ(w.table->references(), before);
}

TYPED_TEST(EntryHandleTest, RemovesTheParkedThenTheProgrammedRecordAtItsEnd) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto handle = w.programmed(key, w.entry(1));
  auto const needed = TestHandle::waiting();
  w.park(key, w.entry(2, {needed}));
  std::string const deletion =
      "hwTableEntryDel " + TypeParam::whereText(TypeParam::whereOf(*w.table, key));
  w.table->entryHandleDel(key);
  w.journal.clear();
  handle = nullptr;
  EXPECT_EQ(w.take(), joined({"unresolvedEntry key1", deletion, "entry key1"},
                             TypeParam::unregistered("key1")));
  EXPECT_EQ(w.table->entrys(), 0U);
  EXPECT_EQ(w.table->unresolvedEntrys(), 0U);
  EXPECT_FALSE(w.table->entryHandleExists(key));
}

TYPED_TEST(EntryHandleTest, CleansUpBeforeItLetsGoOfItsHandler) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto handle = w.programmed(key, w.entry(1));
  handle->writeResponseHandlerIs([token = std::shared_ptr<void>(nullptr, [&w](void*) {
                                    w.journal.add("handler gone");
                                  })](auto) {});
  w.table->entryHandleDel(key);
  w.journal.clear();
  handle = nullptr;
  Lines const seen = w.take();
  EXPECT_EQ(seen.back(), "handler gone");
  // The row's deletion and the announcements come first.
  EXPECT_EQ(seen.size(), 3U + TypeParam::unregistered("key1").size());
}

TYPED_TEST(EntryHandleTest, LetsGoOfTheReplacedHandlerWhenTheNewOneIsInPlace) {
  World<TypeParam> w;
  auto const handle = w.handle(w.key(1));
  bool newOneInPlace = false;
  handle->writeResponseHandlerIs([token = std::shared_ptr<void>(nullptr, [&](void*) {
                                    newOneInPlace =
                                        static_cast<bool>(handle->writeResponseHandler());
                                    EXPECT_EQ(w.journal.lines().size(), 0U);
                                    handle->writeResponseHandler()(Asic::HwTable::refused);
                                  })](auto) {});
  w.journal.clear();
  handle->writeResponseHandlerIs(w.handler("second"));
  EXPECT_TRUE(newOneInPlace);
  EXPECT_EQ(w.take(), (Lines{"second 2"}));
}

TYPED_TEST(EntryHandleTest, StaysAlongWhenItsTableIsGone) {
  World<TypeParam> w;
  auto handle = w.programmed(w.key(1), w.entry(1));
  w.table = nullptr;
  EXPECT_EQ(handle->swTable(), nullptr);
  w.journal.clear();
  handle->cleanup();
  handle->entryStateIs(Asic::HwTable::refused);
  handle = nullptr;
  EXPECT_EQ(w.take(), Lines{});
}

}  // namespace
}  // namespace TableTests
