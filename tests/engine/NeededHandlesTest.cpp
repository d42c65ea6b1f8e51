// Parked records: when they are written, and when they never are.
#include <gtest/gtest.h>

#include "TableWorld.h"

namespace TableTests {
namespace {

constexpr auto notAnswered = Asic::HwTable::notAnswered;
constexpr auto accepted = Asic::HwTable::accepted;
constexpr auto refused = Asic::HwTable::refused;

constexpr char const* kCompletion =
    "trace8 handleEntryHandleProgramSuccessCount: Unresolved entry processing completed: ";
constexpr char const* kInitialize =
    "trace3 initializeUnresolvedEntry: initializing the unresolvedEntry: ";
constexpr char const* kReturning = "trace3 handleEntryProgramming: returning from ";

template <class A>
std::string initOfSlot(std::size_t i) {
  return "trace3 doEnclosingInit: initializing neededEntryHandleSm: " + std::to_string(A::slots[i]);
}
template <class A>
Vek::AttributeId slot(std::size_t i) {
  return static_cast<std::uint32_t>(A::slots[i]);
}

template <class A>
class NeededHandlesTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(NeededHandlesTest, EntryTables, AdapterNames);

TYPED_TEST(NeededHandlesTest, FindOrCreateOfAParkedRecordAnnouncesOnce) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const parked = w.table->unresolvedEntryIs(key);
  EXPECT_EQ(w.table->unresolvedEntryIs(key), parked);
  EXPECT_EQ(w.take(), (Lines{"unresolvedEntry key1"}));
  EXPECT_EQ(parked->key(), key);
  EXPECT_EQ(parked->table(), w.table.get());
  EXPECT_TRUE(parked->hasNotificationActive());
  EXPECT_EQ(parked->neededEntryHandleCount(), 0U);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 0U);
  EXPECT_FALSE(static_cast<bool>(parked->entry()));
  EXPECT_EQ(w.table->unresolvedEntry(key), parked);
  EXPECT_EQ(w.table->unresolvedEntrys(), 1U);
}

TYPED_TEST(NeededHandlesTest, RemovalAnnouncesAndReturnsAndAnUnknownKeyDoesNeither) {
  World<TypeParam> w;
  auto const key = w.key(1);
  EXPECT_FALSE(w.table->unresolvedEntryDel(key));
  EXPECT_EQ(w.take(), Lines{});
  auto const parked = w.table->unresolvedEntryIs(key);
  w.journal.clear();
  w.onAnnouncement = [&](Vek::AttributeId, auto const&) {
    EXPECT_FALSE(w.table->unresolvedEntry(key));
  };
  EXPECT_EQ(w.table->unresolvedEntryDel(key), parked);
  EXPECT_EQ(w.take(), (Lines{"unresolvedEntry key1"}));
  EXPECT_EQ(parked->table(), nullptr);
  EXPECT_EQ(w.table->unresolvedEntrys(), 0U);
}

TYPED_TEST(NeededHandlesTest, RemovesUnderTheKeyInsideTheParkedRecordItself) {
  World<TypeParam> w;
  auto const* const plain = w.table->unresolvedEntryIs(w.key(1)).get();
  w.table->unresolvedEntryDel(plain->key());
  EXPECT_EQ(w.take(), (Lines{"unresolvedEntry key1", "unresolvedEntry key1"}));
  EXPECT_EQ(w.table->unresolvedEntrys(), 0U);
}

TYPED_TEST(NeededHandlesTest, DelAllAnnouncesEachAndEmptiesWhateverObserversDo) {
  World<TypeParam> w;
  auto const one = w.key(1);
  auto const two = w.key(2);
  auto const three = w.key(3);
  for (auto const& key : {one, two, three}) w.table->unresolvedEntryIs(key);
  w.journal.clear();
  bool first = true;
  w.onAnnouncement = [&](Vek::AttributeId, auto const&) {
    if (!std::exchange(first, false)) return;
    w.table->unresolvedEntryDel(two);
    w.table->unresolvedEntryIs(one);
  };
  w.table->unresolvedEntryDelAll();
  EXPECT_EQ(w.take(), (Lines{"unresolvedEntry key1", "unresolvedEntry key2", "unresolvedEntry key1",
                             "unresolvedEntry key3"}));
  EXPECT_EQ(w.table->unresolvedEntrys(), 0U);
  EXPECT_FALSE(w.table->unresolvedEntry(one));
  w.table->unresolvedEntryDelAll();
  EXPECT_EQ(w.take(), Lines{});
}

TYPED_TEST(NeededHandlesTest, WritesWithinTheCallWhenEverythingIsProgrammedAlready) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  auto const needed = TestHandle::programmed(10);
  w.journal.clear();
  w.park(key, w.entry(7, {needed}));
  EXPECT_TRUE(w.table->entry(key) == w.entry(7, {needed}));
  EXPECT_FALSE(w.table->unresolvedEntry(key));
  ASSERT_TRUE(w.table->pendingEntrySm(key));
  EXPECT_EQ(w.table->pendingEntrySm(key)->notifier(), handle);
  Lines const seen = w.take();
  ASSERT_EQ(seen.size(), 8U);
  EXPECT_EQ(Lines(seen.begin(), seen.begin() + 5),
            (Lines{"unresolvedEntry key1", kInitialize, initOfSlot<TypeParam>(0), kCompletion,
                   "pendingEntrySm key1"}));
  EXPECT_EQ(linesWith({seen[5]}, "hwTableEntryIs").size(), 1U);
  EXPECT_EQ(Lines(seen.begin() + 6, seen.end()), (Lines{"entry key1", "unresolvedEntry key1"}));
}

TYPED_TEST(NeededHandlesTest, OneOfTwoIsNotEnough) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  auto const first = TestHandle::waiting();
  auto const second = TestHandle::waiting();
  w.journal.clear();
  auto const parked = w.park(key, w.entry(7, {first, second}));
  EXPECT_EQ(w.take(), (Lines{"unresolvedEntry key1", kInitialize, initOfSlot<TypeParam>(0),
                             kReturning, initOfSlot<TypeParam>(1), kReturning}));
  EXPECT_EQ(parked->neededEntryHandleCount(), 2U);
  first->program(10);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1U);
  EXPECT_FALSE(parked->neededEntryHandleSm(slot<TypeParam>(0)));
  EXPECT_TRUE(parked->neededEntryHandleSm(slot<TypeParam>(1)));
  EXPECT_FALSE(w.table->entryExists(key));
  EXPECT_EQ(w.take(), (Lines{kReturning}));  // the row came before the state
  first->hwEntryIndexIs(11);                 // has counted and left
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1U);
  EXPECT_EQ(w.take(), Lines{});
  second->program(12);
  EXPECT_TRUE(w.table->entryExists(key));
  EXPECT_FALSE(w.table->unresolvedEntry(key));
  EXPECT_EQ(linesWith(w.take(), "hwTableEntryIs").size(), 1U);
}

TYPED_TEST(NeededHandlesTest, AHandleWithoutARowDoesNotCountUntilItHasOne) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  auto const needed = TestHandle::waiting();
  auto const parked = w.park(key, w.entry(7, {needed}));
  w.journal.clear();
  needed->entryStateIs(accepted);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 0U);
  EXPECT_EQ(w.take(), (Lines{kReturning}));
  needed->hwEntryIndexIs(10);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1U);
  EXPECT_TRUE(w.table->entryExists(key));
}

TYPED_TEST(NeededHandlesTest, ARefusedHandleNeverCounts) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  auto const needed = TestHandle::waiting();
  needed->hwEntryIndexIs(10);
  needed->entryStateIs(refused);
  auto const parked = w.park(key, w.entry(7, {needed}));
  needed->hwEntryIndexIs(11);
  needed->entryStateIs(notAnswered);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 0U);
  EXPECT_FALSE(w.table->entryExists(key));
  EXPECT_FALSE(w.table->pendingEntrySm(key));
}

TYPED_TEST(NeededHandlesTest, AWatcherKeepsItsHandleAlive) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto needed = TestHandle::waiting();
  auto const parked = w.table->unresolvedEntryIs(key);
  parked->neededEntryHandleSmIs(needed, slot<TypeParam>(0));
  EXPECT_EQ(needed->references(), 2U);
  parked->neededEntryHandleSmDelAll();
  EXPECT_EQ(needed->references(), 1U);
}

TYPED_TEST(NeededHandlesTest, OtherAttributesOfANeededHandleAreIgnored) {
  World<TypeParam> w;
  auto const parked = w.table->unresolvedEntryIs(w.key(1));
  auto const needed = TestHandle::waiting();
  auto const sm = parked->neededEntryHandleSmIs(needed, slot<TypeParam>(0));
  w.journal.clear();
  sm->onAttribute(3, nullptr);
  EXPECT_EQ(w.take(), Lines{});
  sm->onAttribute(TestHandle::entryStateAttribute, nullptr);
  sm->onAttribute(TestHandle::hwEntryIndexAttribute, nullptr);
  EXPECT_EQ(w.take(), (Lines{kReturning, kReturning}));
}

TYPED_TEST(NeededHandlesTest, CountsDuringConstructionThenInsertsAndMayCountAgain) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const parked = w.table->unresolvedEntryIs(key);
  auto const needed = TestHandle::programmed(10);
  auto const sm = parked->neededEntryHandleSmIs(needed, slot<TypeParam>(0));
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1U);
  EXPECT_EQ(parked->neededEntryHandleSm(slot<TypeParam>(0)), sm);
  EXPECT_TRUE(sm->hasNotificationActive());
  needed->hwEntryIndexIs(11);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 2U);
  EXPECT_FALSE(parked->neededEntryHandleSm(slot<TypeParam>(0)));
  EXPECT_FALSE(sm->hasNotificationActive());
  needed->hwEntryIndexIs(12);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 2U);
}

TYPED_TEST(NeededHandlesTest, ADoubleCountCompletesTheTallyEarly) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  auto const first = TestHandle::programmed(10);
  auto const second = TestHandle::waiting();
  auto const parked = w.park(key, w.entry(7, {first, second}));
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1U);
  first->hwEntryIndexIs(11);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 2U);
  EXPECT_TRUE(w.table->entryExists(key));
  EXPECT_FALSE(w.table->unresolvedEntry(key));
}

TYPED_TEST(NeededHandlesTest, ACountThatPassesTheNeededNumberNeverResolves) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const needed = TestHandle::waiting();
  auto const parked = w.park(key, w.entry(7, {needed}));
  parked->entryHandleProgramSuccessCountIs(5);
  EXPECT_FALSE(w.table->entryExists(key));
  needed->program(10);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 6U);
  EXPECT_FALSE(w.table->entryExists(key));
  EXPECT_EQ(w.table->unresolvedEntry(key), parked);
}

TYPED_TEST(NeededHandlesTest, SettingTheCountToItsValueTriesNothing) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const needed = TestHandle::waiting();
  auto const parked = w.park(key, w.entry(7, {needed}));
  parked->entryHandleProgramSuccessCountIs(1);
  EXPECT_TRUE(w.table->entryExists(key));
  // Parked again with a count that is already complete.
  auto const again = w.table->unresolvedEntryIs(key);
  again->entryHandleProgramSuccessCountIs(1);
  again->initializeUnresolvedEntry(w.entry(8, {needed}));
  w.journal.clear();
  again->entryHandleProgramSuccessCountIs(1);
  again->entryHandleProgramSuccessCountInc(0);
  EXPECT_EQ(w.take(), Lines{});
  EXPECT_EQ(TypeParam::text(w.table->entry(key)), "7");
  again->handleEntryHandleProgramSuccessCount();
  EXPECT_EQ(TypeParam::text(w.table->entry(key)), "8");
}

TYPED_TEST(NeededHandlesTest, TheCountWrapsAroundAtSixteenBits) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const needed = TestHandle::waiting();
  auto const parked = w.park(key, w.entry(7, {needed}));
  parked->entryHandleProgramSuccessCountIs(0xFFFF);
  parked->entryHandleProgramSuccessCountInc(1);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 0U);
  EXPECT_FALSE(w.table->entryExists(key));
  parked->entryHandleProgramSuccessCountIs(0xFFFE);
  parked->entryHandleProgramSuccessCountInc(3);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1U);
  EXPECT_TRUE(w.table->entryExists(key));
}

TYPED_TEST(NeededHandlesTest, ARecordWithoutNeededHandlesIsNeverWritten) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  w.journal.clear();
  auto const parked = w.park(key, w.entry(7));
  parked->handleEntryHandleProgramSuccessCount();
  parked->entryHandleProgramSuccessCountIs(1);
  parked->entryHandleProgramSuccessCountIs(0);
  EXPECT_EQ(w.take(), (Lines{"unresolvedEntry key1", kInitialize}));
  EXPECT_FALSE(w.table->entryExists(key));
  EXPECT_EQ(w.table->unresolvedEntry(key), parked);
}

TYPED_TEST(NeededHandlesTest, ResolutionWithoutAHandleMakesAReactorWithoutNotifier) {
  World<TypeParam> w;
  auto const key = w.key(1);
  w.park(key, w.entry(7, {TestHandle::programmed(10)}));
  auto const sm = w.table->pendingEntrySm(key);
  ASSERT_TRUE(sm);
  EXPECT_FALSE(sm->notifier());
  EXPECT_TRUE(w.table->entryExists(key));
}

TYPED_TEST(NeededHandlesTest, TheSameRecordTwiceCountsWhatHasCountedAgain) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  auto const first = TestHandle::waiting();
  auto const second = TestHandle::waiting();
  auto const parked = w.park(key, w.entry(7, {first, second}));
  auto const secondSm = parked->neededEntryHandleSm(slot<TypeParam>(1));
  first->program(10);
  w.journal.clear();
  EXPECT_EQ(w.park(key, w.entry(7, {first, second})), parked);
  EXPECT_TRUE(w.table->entryExists(key));
  EXPECT_FALSE(w.table->unresolvedEntry(key));
  Lines const seen = w.take();
  ASSERT_GE(seen.size(), 3U);
  // The second slot's watcher is found and keeps waiting for the same handle: not a word.
  EXPECT_EQ(linesWith(seen, "trace"), (Lines{kInitialize, initOfSlot<TypeParam>(0), kCompletion}));
  EXPECT_EQ(parked->neededEntryHandleSm(slot<TypeParam>(1)), secondSm);
}

TYPED_TEST(NeededHandlesTest, ARetargetedWatcherLooksAtTheNewHandleAtOnce) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const waiting = TestHandle::waiting();
  auto const parked = w.park(key, w.entry(7, {waiting}));
  auto const sm = parked->neededEntryHandleSm(slot<TypeParam>(0));
  auto const other = TestHandle::waiting();
  w.journal.clear();
  EXPECT_EQ(parked->neededEntryHandleSmIs(other, slot<TypeParam>(0)), sm);
  EXPECT_EQ(w.take(), (Lines{kReturning}));
  EXPECT_EQ(sm->notifier(), other);
  waiting->program(3);
  EXPECT_EQ(w.take(), Lines{});
  parked->neededEntryHandleSmIs(TestHandle::programmed(4), slot<TypeParam>(0));
  EXPECT_TRUE(w.table->entryExists(key));
}

TYPED_TEST(NeededHandlesTest, AWatcherOfAnotherTypeOrAZombieDoesNotLook) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const needed = TestHandle::waiting();
  auto const parked = w.park(key, w.entry(7, {needed}));
  auto const sm = parked->neededEntryHandleSm(slot<TypeParam>(0));
  w.journal.clear();
  sm->vekDoZombieReactors(true);
  EXPECT_FALSE(sm->hasNotificationActive());
  sm->onAttribute(TestHandle::entryStateAttribute, nullptr);
  sm->notifierIs(TestHandle::programmed(5));
  EXPECT_EQ(w.take(), Lines{});
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 0U);
  sm->vekDoZombieReactors(false);
  sm->notifierIs(w.table);
  EXPECT_FALSE(sm->notifier());
  EXPECT_EQ(w.take(), Lines{});
  sm->handleEntryProgramming();
  EXPECT_EQ(w.take(), (Lines{kReturning}));
}

TYPED_TEST(NeededHandlesTest, TheRemovalOfAWatcherIsUnannouncedAndSwitchesItOff) {
  World<TypeParam> w;
  auto const parked = w.park(w.key(1), w.entry(7, {TestHandle::waiting()}));
  auto const sm = parked->neededEntryHandleSm(slot<TypeParam>(0));
  w.journal.clear();
  EXPECT_EQ(parked->neededEntryHandleSmDel(slot<TypeParam>(0)), sm);
  EXPECT_FALSE(sm->hasNotificationActive());
  EXPECT_FALSE(parked->neededEntryHandleSm(slot<TypeParam>(0)));
  EXPECT_FALSE(parked->neededEntryHandleSmDel(slot<TypeParam>(0)));
  EXPECT_EQ(w.take(), Lines{});
}

TYPED_TEST(NeededHandlesTest, ARemovedRecordThatSomebodyHoldsIsNeverWritten) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const needed = TestHandle::waiting();
  auto const parked = w.park(key, w.entry(7, {needed}));
  w.table->unresolvedEntryDel(key);
  w.journal.clear();
  needed->program(10);
  parked->entryHandleProgramSuccessCountIs(0);
  parked->entryHandleProgramSuccessCountIs(1);
  parked->handleEntryHandleProgramSuccessCount();
  EXPECT_EQ(linesWith(w.take(), "trace8"), Lines{});
  EXPECT_FALSE(w.table->entryExists(key));
  EXPECT_FALSE(w.table->pendingEntrySm(key));
}

TYPED_TEST(NeededHandlesTest, ReactorsThatOutliveWhatTheyServeStayHarmless) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const needed = TestHandle::waiting();
  auto parked = w.park(key, w.entry(7, {needed}));
  auto const sm = parked->neededEntryHandleSm(slot<TypeParam>(0));
  w.table->unresolvedEntryDel(key);
  parked = nullptr;
  EXPECT_EQ(sm->enclosing(), nullptr);
  EXPECT_FALSE(sm->hasNotificationActive());
  needed->program(10);
  sm->handleEntryProgramming();
  EXPECT_FALSE(w.table->entryExists(key));

  auto const last = w.park(key, w.entry(8, {TestHandle::waiting()}));
  w.table = nullptr;
  EXPECT_EQ(last->table(), nullptr);
  last->entryHandleProgramSuccessCountIs(1);
}

TYPED_TEST(NeededHandlesTest, AnotherRecordThatAHandlerParksMeanwhileStays) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  auto const later = TestHandle::waiting();
  bool once = true;
  w.util->onWrite = [&](auto const&, auto const&) {
    if (!std::exchange(once, false)) return;
    w.table->unresolvedEntryDel(key);
    w.park(key, w.entry(8, {later}));
  };
  w.park(key, w.entry(7, {TestHandle::programmed(10)}));
  ASSERT_TRUE(w.table->unresolvedEntry(key));
  EXPECT_EQ(TypeParam::text(w.table->unresolvedEntry(key)->entry()), "8");
  EXPECT_EQ(TypeParam::text(w.table->entry(key)), "7");
  later->program(11);
  EXPECT_EQ(TypeParam::text(w.table->entry(key)), "8");
  EXPECT_FALSE(w.table->unresolvedEntry(key));
}

TYPED_TEST(NeededHandlesTest, AKeyThatIsRemovedWhileItResolvesIsNotWritten) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const needed = TestHandle::waiting();
  (void)w.handle(key);
  w.park(key, w.entry(7, {needed}));
  w.onAnnouncement = [&](Vek::AttributeId attribute, auto const&) {
    if (attribute != TypeParam::Table::Attribute::pendingEntrySm) return;
    w.onAnnouncement = nullptr;
    w.table->entryRemove(key);
  };
  w.journal.clear();
  needed->program(10);
  // Removed is removed: nobody holds a handle that could ever take the record out again.
  EXPECT_FALSE(w.table->entryExists(key));
  EXPECT_EQ(linesWith(w.take(), "hwTableEntryIs"), Lines{});
}

TYPED_TEST(NeededHandlesTest, ANeededHandleThatItsOwnerDropsLeavesTheRecordWaiting) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto needed = TestHandle::waiting();
  auto const parked = w.park(key, w.entry(7, {needed}));
  needed = nullptr;
  EXPECT_EQ(w.table->unresolvedEntry(key), parked);
  EXPECT_FALSE(w.table->entryExists(key));
}

}  // namespace
}  // namespace TableTests
