// The watchers of needed handles: when they look, for whom they count, and how they end.
#include <gtest/gtest.h>

#include "TableWorld.h"

namespace TableTests {
namespace {

template <class A>
class WatcherTest : public LiveObjectsTest {
 protected:
  static constexpr Vek::AttributeId slot{40};

  // A parked record that its table has let go: it counts, and nothing is written for it.
  static auto apart(World<A>& w) {
    auto const key = w.key(1);
    w.table->unresolvedEntryIs(key);
    return w.table->unresolvedEntryDel(key);
  }
};
TYPED_TEST_SUITE(WatcherTest, EntryTables, AdapterNames);

TYPED_TEST(WatcherTest, ARetargetedOneWaitsForItsNewHandle) {
  World<TypeParam> w;
  auto const tally = this->apart(w);
  auto const first = TestHandle::waiting();
  auto const second = TestHandle::waiting();
  auto const watcher = tally->neededEntryHandleSmIs(first, this->slot);
  EXPECT_EQ(tally->neededEntryHandleSmIs(second, this->slot), watcher);
  first->program(1);
  EXPECT_EQ(tally->entryHandleProgramSuccessCount(), 0U);
  second->program(2);
  EXPECT_EQ(tally->entryHandleProgramSuccessCount(), 1U);
}

TYPED_TEST(WatcherTest, ADeletedOneCountsForNobodyWhoeverHoldsIt) {
  World<TypeParam> w;
  auto const tally = this->apart(w);
  auto const watcher = tally->neededEntryHandleSmIs(TestHandle::waiting(), this->slot);
  EXPECT_EQ(watcher->enclosing(), tally.get());
  tally->neededEntryHandleSmDel(this->slot);
  EXPECT_EQ(watcher->enclosing(), nullptr);
  watcher->notifierIs(TestHandle::programmed(3));
  EXPECT_EQ(tally->entryHandleProgramSuccessCount(), 0U);
}

// It registers first, then looks: who registers while its look has consequences comes behind it,
// and hears of the handle's next change behind it.
TYPED_TEST(WatcherTest, ANewOneRegistersBeforeItLooks) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const needed = TestHandle::programmed(10);
  auto const handle = w.handle(key);
  auto const parked = w.table->unresolvedEntryIs(key);
  Observer::Ptr watch;
  unsigned counted = 0;
  w.util->onWrite = [&](auto const&, auto const&) {
    watch = Observer::of(needed.get(),
                         [&](auto, auto) { counted = parked->entryHandleProgramSuccessCount(); });
  };
  parked->initializeUnresolvedEntry(w.entry(7, {needed}));
  ASSERT_TRUE(watch);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1U);
  needed->hwEntryIndexIs(11);
  EXPECT_EQ(counted, 2U);
}

// The look of a new watcher can lead to another one for the same attribute. There is one for each,
// and the one that goes counts no more.
TYPED_TEST(WatcherTest, ANewOneTakesThePlaceOfOneThatItsOwnLookLedTo) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const first = static_cast<std::uint32_t>(TypeParam::slots[0]);
  auto const needed = TestHandle::programmed(10);
  auto const other = TestHandle::waiting();
  auto const handle = w.handle(key);
  auto const parked = w.table->unresolvedEntryIs(key);
  typename TypeParam::Table::UnresolvedEntry::NeededEntryHandleSm::Ptr replaced;
  w.util->onWrite = [&](auto const&, auto const&) {
    replaced = parked->neededEntryHandleSmIs(other, first);
  };
  parked->initializeUnresolvedEntry(w.entry(7, {needed}));
  ASSERT_TRUE(replaced);
  ASSERT_TRUE(parked->neededEntryHandleSm(first));
  EXPECT_EQ(parked->neededEntryHandleSm(first)->notifier(), needed);
  EXPECT_FALSE(replaced->hasNotificationActive());
  EXPECT_EQ(replaced->enclosing(), nullptr);
  other->program(11);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1U);
}

// A handle whose end is still announced.
class EndingHandle final : public Vek::Tracked<EndingHandle, Asic::SwTable::EntryHandle> {
 public:
  static constexpr char const* typeName() { return "TableTests::EndingHandle"; }
  ~EndingHandle() override {
    hwEntryIndexIs(1);
    entryStateIs(Asic::HwTable::success());
  }
};

TYPED_TEST(WatcherTest, OneThatDiesWithItsHandleDoesNotHearOfTheEnd) {
  World<TypeParam> w;
  auto const tally = this->apart(w);
  using Watcher = typename TypeParam::Table::UnresolvedEntry::NeededEntryHandleSm;
  Vek::Ptr<EndingHandle> handle = new EndingHandle;
  typename Watcher::Ptr watcher = Watcher::NeededEntryHandleSmIs(handle, this->slot, tally.get());
  watcher->hasNotificationActiveIs(true);
  handle = nullptr;
  EXPECT_EQ(watcher->notifier()->references(), 2U) << "the watcher is not the last to hold it";
  watcher = nullptr;
  EXPECT_EQ(tally->entryHandleProgramSuccessCount(), 0U);
}

template <class A>
class ReactorTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(ReactorTest, EntryTables, AdapterNames);

TYPED_TEST(ReactorTest, OneWithoutAHandleHasNothingToReport) {
  World<TypeParam> w;
  auto const reactor = w.table->pendingEntrySmIs(nullptr, w.key(1));
  w.journal.clear();
  reactor->processEntryHandleCompletion();
  EXPECT_EQ(w.take(), Lines{});
}

// The hardware's delete may lead to the same record again, and to its removal again.
TYPED_TEST(ReactorTest, ARecordThatComesAndGoesWithinItsDeletionLeavesNothing) {
  World<TypeParam> w{Traced::no};
  auto const key = w.key(1);
  auto const record = w.entry(7);
  w.table->entryIs(key, record);
  w.journal.clear();
  w.util->onDelete = [&](auto const&) {
    w.util->onDelete = nullptr;
    w.table->entryIs(key, record);
    w.table->entryDel(key);
  };
  EXPECT_EQ(w.table->entryDel(key), record);
  EXPECT_EQ(w.table->entrys(), 0U);
  EXPECT_FALSE(w.table->entryExists(key));
  w.table->entryIs(key, record);
  EXPECT_EQ(w.table->entry(key), record);
  EXPECT_EQ(w.table->entrys(), 1U);
}

}  // namespace
}  // namespace TableTests
