// What is in place already when observers hear of a change, and what is not yet.
#include <gtest/gtest.h>

#include <optional>

#include "TableWorld.h"

namespace TableTests {
namespace {

template <class A>
class ObserverTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(ObserverTest, EntryTables, AdapterNames);

TYPED_TEST(ObserverTest, ANewParkedRecordKnowsItsTableWhenItIsAnnounced) {
  World<TypeParam> w;
  auto const key = w.key(1);
  int told = 0;
  w.onAnnouncement = [&](Vek::AttributeId, auto const& announced) {
    ++told;
    ASSERT_TRUE(w.table->unresolvedEntry(announced));
    EXPECT_EQ(w.table->unresolvedEntry(announced)->table(), w.table.get());
  };
  w.table->unresolvedEntryIs(key);
  EXPECT_EQ(told, 1);
}

TYPED_TEST(ObserverTest, ANewHandleIsCountedWhenItIsAnnounced) {
  World<TypeParam> w;
  auto const key = w.key(1);
  std::optional<std::size_t> counted;
  w.onAnnouncement = [&](Vek::AttributeId attribute, auto const&) {
    if (attribute == TypeParam::Table::Attribute::entryHandle) counted = w.table->entryHandles();
  };
  auto const handle = w.table->entryHandleMutate(key);
  EXPECT_EQ(counted, 1U);
}

TYPED_TEST(ObserverTest, AHandleShowsItsNewModeWhenItAnnouncesIt) {
  using Handle = typename World<TypeParam>::Handle;
  World<TypeParam> w;
  auto const handle = w.handle(w.key(1));
  std::optional<typename Handle::Mode> seen;
  auto const watch = w.watch(handle.get(), "handle", [&] { seen = handle->mode(); });
  handle->modeIs(Handle::del);
  EXPECT_EQ(seen, Handle::del);
}

// A watcher leaves, then its count is raised, then the record is written.
TYPED_TEST(ObserverTest, AWatcherThatCountedIsGoneWhenTheRecordIsWritten) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const slot = static_cast<std::uint32_t>(TypeParam::slots[0]);
  auto const needed = TestHandle::waiting();
  auto const handle = w.handle(key);
  auto const parked = w.park(key, w.entry(7, {needed}));
  ASSERT_TRUE(parked->neededEntryHandleSm(slot));
  int writes = 0;
  w.util->onWrite = [&](auto const&, auto const&) {
    ++writes;
    EXPECT_FALSE(parked->neededEntryHandleSm(slot));
    EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1U);
  };
  needed->program(10);
  EXPECT_EQ(writes, 1);
}

template <class A>
class RawObserverTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(RawObserverTest, RawRegistryTables, AdapterNames);

TYPED_TEST(RawObserverTest, AHandleIsRegisteredWhenItsRegistrationIsAnnounced) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.table->entryHandleFactory(key, w.table.get());
  int told = 0;
  w.onAnnouncement = [&](Vek::AttributeId, auto const& announced) {
    ++told;
    EXPECT_EQ(w.table->rawEntryHandle(announced), handle);
  };
  w.table->rawEntryHandleIs(key, handle.get());
  w.onAnnouncement = nullptr;
  EXPECT_EQ(told, 1);
}

TYPED_TEST(RawObserverTest, AnAllocatorIsInItsPlaceWhenItIsAnnounced) {
  World<TypeParam> w;
  Vek::Ptr<Asic::FirstFreeIndexAllocator> seen;
  Observer::Ptr const watch = Observer::of(w.table.get(), [&](Vek::AttributeId attribute, auto) {
    if (attribute == TypeParam::Table::Attribute::firstFreeIndexAllocator) {
      seen = w.table->firstFreeIndexAllocator();
    }
  });
  auto const made = w.table->firstFreeIndexAllocatorIs(5);
  EXPECT_EQ(seen, made);
}

// Whose rows they are no more is settled before anybody is told.
TYPED_TEST(RawObserverTest, AnAllocatorHasNoParentWhenItsRemovalIsAnnounced) {
  World<TypeParam> w;
  auto const allocator = w.table->firstFreeIndexAllocator();
  ASSERT_EQ(allocator->parent(), w.table.get());
  int told = 0;
  Observer::Ptr const watch = Observer::of(w.table.get(), [&](Vek::AttributeId, auto) {
    ++told;
    EXPECT_EQ(allocator->parent(), nullptr);
    EXPECT_FALSE(w.table->firstFreeIndexAllocator());
  });
  w.table->firstFreeIndexAllocatorDel();
  EXPECT_EQ(told, 1);
}

// The write-response reactor is announced between its insertion or removal and the switch.
TYPED_TEST(RawObserverTest, AWriteResponseReactorIsInItsPlaceAndSwitchedBehindTheAnnouncement) {
  World<TypeParam> w;
  auto const old = w.table->writeResponseSm();
  ASSERT_TRUE(old->hasNotificationActive());
  int told = 0;
  Observer::Ptr watch = Observer::of(w.table.get(), [&](Vek::AttributeId, auto) {
    ++told;
    EXPECT_FALSE(w.table->writeResponseSm());
    EXPECT_TRUE(old->hasNotificationActive());
  });
  w.table->writeResponseSmDel();
  EXPECT_EQ(told, 1);
  EXPECT_FALSE(old->hasNotificationActive());

  Vek::Ptr<OrviaAsicUtils::WriteResponseSm> seen;
  watch = Observer::of(w.table.get(), [&](Vek::AttributeId, auto) {
    seen = w.table->writeResponseSm();
    ASSERT_TRUE(seen);
    EXPECT_FALSE(seen->hasNotificationActive());
  });
  auto const made = w.table->writeResponseSmIs(w.table);
  EXPECT_EQ(seen, made);
  EXPECT_TRUE(made->hasNotificationActive());
}

}  // namespace
}  // namespace TableTests
