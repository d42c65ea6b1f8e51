// The reactors that call the callers' response handlers.
#include <gtest/gtest.h>

#include <stdexcept>

#include "TableWorld.h"

namespace TableTests {
namespace {

constexpr auto notAnswered = Asic::HwTable::notAnswered;
constexpr auto accepted = Asic::HwTable::accepted;
constexpr auto refused = Asic::HwTable::refused;

template <class A>
class PendingEntryTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(PendingEntryTest, EntryTables, AdapterNames);

// A world with one key, its handle with a handler that writes "handler <state>", and its reactor.
template <class A>
struct OneReactor {
  World<A> w;
  typename A::Key key = w.key(1);
  Vek::Ptr<typename World<A>::Handle> handle = w.handle(key);
  Vek::Ptr<typename A::Table::PendingEntrySm> sm;

  OneReactor() {
    handle->writeResponseHandlerIs(w.handler());
    sm = w.table->pendingEntrySmIs(handle, key);
    w.journal.clear();
  }
};

TYPED_TEST(PendingEntryTest, CreationRegistersAnnouncesAndSwitchesOn) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  w.journal.clear();
  bool checked = false;
  w.onAnnouncement = [&](Vek::AttributeId, auto const&) {
    auto const inserted = w.table->pendingEntrySm(key);
    ASSERT_TRUE(inserted);
    EXPECT_EQ(inserted->table(), w.table.get());
    EXPECT_FALSE(inserted->hasNotificationActive());  // only after the announcement
    checked = true;
  };
  auto const sm = w.table->pendingEntrySmIs(handle, key);
  EXPECT_TRUE(checked);
  EXPECT_TRUE(sm->hasNotificationActive());
  EXPECT_TRUE(sm->isRegisteredNotifiee());
  EXPECT_EQ(sm->key(), key);
  EXPECT_EQ(sm->notifier(), handle);
  EXPECT_EQ(w.table->pendingEntrySm(key), sm);
  EXPECT_EQ(w.table->pendingEntrySms(), 1U);
  EXPECT_EQ(w.take(), (Lines{"pendingEntrySm key1"}));
}

TYPED_TEST(PendingEntryTest, AskedTwiceForOneKeyGivesOneReactorAndOneAnnouncement) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  w.journal.clear();
  auto const first = w.table->pendingEntrySmIs(handle, key);
  EXPECT_EQ(w.table->pendingEntrySmIs(handle, key), first);
  EXPECT_EQ(w.table->pendingEntrySms(), 1U);
  EXPECT_EQ(w.take(), (Lines{"pendingEntrySm key1"}));
}

TYPED_TEST(PendingEntryTest, LeavesTheLifeOfItsHandleToOthers) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  std::uint32_t const before = handle->references();
  auto const sm = w.table->pendingEntrySmIs(handle, key);
  EXPECT_EQ(handle->references(), before);
  auto const counted = sm->notifier();
  EXPECT_EQ(handle->references(), before + 1);
}

TYPED_TEST(PendingEntryTest, ANewReactorWaitsForAChangeOfAFinalHandle) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  handle->writeResponseHandlerIs(w.handler());
  handle->hwEntryIndexIs(5);
  handle->entryStateIs(accepted);
  auto const sm = w.table->pendingEntrySmIs(handle, key);
  EXPECT_EQ(linesWith(w.take(), "handler"), Lines{});
  handle->hwEntryIndexIs(6);
  EXPECT_EQ(w.take(), (Lines{"handler 1"}));
}

TYPED_TEST(PendingEntryTest, ARetargetedReactorLooksAtAFinalHandleAtOnce) {
  OneReactor<TypeParam> r;
  auto const other = r.w.table->entryHandleFactory(r.w.key(2), r.w.table.get());
  TypeParam::mayEnd(*r.w.table, other);
  other->writeResponseHandlerIs(r.w.handler("other"));
  other->hwEntryIndexIs(8);
  other->entryStateIs(accepted);
  r.w.journal.clear();
  EXPECT_EQ(r.w.table->pendingEntrySmIs(other, r.key), r.sm);
  EXPECT_EQ(r.w.take(), (Lines{"other 1"}));
  EXPECT_EQ(r.sm->notifier(), other);
  // Only the new one is watched.
  r.handle->entryStateIs(refused);
  EXPECT_EQ(r.w.take(), Lines{});
  other->entryStateIs(refused);
  EXPECT_EQ(r.w.take(), (Lines{"other 2"}));
  // The same handle again is no change.
  r.w.table->pendingEntrySmIs(other, r.key);
  EXPECT_EQ(r.w.take(), Lines{});
}

TYPED_TEST(PendingEntryTest, ARetargetedReactorThatIsMarkedForDeletionDoesNotLook) {
  OneReactor<TypeParam> r;
  auto const other = r.w.table->entryHandleFactory(r.w.key(2), r.w.table.get());
  TypeParam::mayEnd(*r.w.table, other);
  other->writeResponseHandlerIs(r.w.handler("other"));
  other->entryStateIs(refused);
  r.sm->vekDoZombieReactors(true);
  r.w.journal.clear();
  r.sm->notifierIs(other);
  EXPECT_EQ(r.w.take(), Lines{});
  EXPECT_EQ(r.sm->notifier(), other);
}

TYPED_TEST(PendingEntryTest, StateSuccessWithoutARowIsNoOutcomeUntilTheRowComes) {
  OneReactor<TypeParam> r;
  r.handle->entryStateIs(accepted);
  EXPECT_EQ(r.w.take(), Lines{});
  r.handle->hwEntryIndexIs(4);
  EXPECT_EQ(r.w.take(), (Lines{"handler 1"}));
}

TYPED_TEST(PendingEntryTest, RefusalWithoutARowIsReported) {
  OneReactor<TypeParam> r;
  r.handle->entryStateIs(refused);
  EXPECT_EQ(r.w.take(), (Lines{"handler 2"}));
}

TYPED_TEST(PendingEntryTest, StateNotAnsweredIsNeverReported) {
  OneReactor<TypeParam> r;
  r.handle->hwEntryIndexIs(4);
  EXPECT_EQ(r.w.take(), Lines{});
  r.handle->entryStateIs(accepted);
  r.w.journal.clear();
  r.handle->entryStateIs(notAnswered);
  r.handle->hwEntryIndexIs(5);
  EXPECT_EQ(r.w.take(), Lines{});
}

TYPED_TEST(PendingEntryTest, EveryChangeThatLeavesAnOutcomeIsReported) {
  OneReactor<TypeParam> r;
  r.handle->hwEntryIndexIs(4);
  r.handle->entryStateIs(accepted);
  r.handle->hwEntryIndexIs(5);
  r.handle->entryStateIs(refused);
  r.handle->hwEntryIndexIs(Asic::Index::invalidIndex());
  r.handle->entryStateIs(accepted);
  EXPECT_EQ(r.w.take(), (Lines{"handler 1", "handler 1", "handler 2", "handler 2"}));
  EXPECT_EQ(r.w.table->pendingEntrySm(r.key), r.sm);  // it does not remove itself
}

TYPED_TEST(PendingEntryTest, OtherAttributesOfTheHandleAreIgnored) {
  OneReactor<TypeParam> r;
  using Handle = typename World<TypeParam>::Handle;
  r.handle->entryStateIs(refused);
  r.w.journal.clear();
  r.handle->modeIs(Handle::del);
  r.sm->onAttribute(Handle::keyAttribute, nullptr);
  EXPECT_EQ(r.w.take(), Lines{});
  r.sm->onAttribute(Handle::hwEntryIndexAttribute, nullptr);
  r.sm->onAttribute(Handle::entryStateAttribute, nullptr);
  EXPECT_EQ(r.w.take(), (Lines{"handler 2", "handler 2"}));
}

TYPED_TEST(PendingEntryTest, AnEmptyHandlerMakesCompletionANoOp) {
  OneReactor<TypeParam> r;
  r.handle->writeResponseHandlerIs({});
  r.handle->hwEntryIndexIs(4);
  r.handle->entryStateIs(accepted);
  r.handle->entryStateIs(refused);
  EXPECT_EQ(r.w.take(), Lines{});
  EXPECT_TRUE(r.w.table->pendingEntrySm(r.key));
}

TYPED_TEST(PendingEntryTest, AHandlerMayReplaceItselfWhileItRuns) {
  OneReactor<TypeParam> r;
  std::string const longName(64, 'x');  // what the running handler holds must stay until it ends
  r.handle->writeResponseHandlerIs([&r, longName](auto) {
    r.handle->writeResponseHandlerIs(r.w.handler("second"));
    r.w.journal.add("first " + longName);
  });
  r.handle->entryStateIs(refused);
  EXPECT_EQ(r.w.take(), (Lines{"first " + longName}));
  r.handle->hwEntryIndexIs(4);
  EXPECT_EQ(r.w.take(), (Lines{"second 2"}));
}

TYPED_TEST(PendingEntryTest, AHandlerMayClearItselfWhileItRuns) {
  OneReactor<TypeParam> r;
  std::string const longName(64, 'x');
  r.handle->writeResponseHandlerIs([&r, longName](auto) {
    r.handle->writeResponseHandlerIs({});
    r.w.journal.add(longName);
  });
  r.handle->entryStateIs(refused);
  r.handle->hwEntryIndexIs(4);
  EXPECT_EQ(r.w.take(), (Lines{longName}));
}

TYPED_TEST(PendingEntryTest, WhatAHandlerThrowsPassesOutOfTheSetter) {
  OneReactor<TypeParam> r;
  r.handle->writeResponseHandlerIs([](auto) { throw std::runtime_error("from the handler"); });
  EXPECT_THROW(r.handle->entryStateIs(refused), std::runtime_error);
  // The reactor and the collection are as before, and so it goes on reporting.
  EXPECT_EQ(r.w.table->pendingEntrySm(r.key), r.sm);
  EXPECT_EQ(r.handle->entryState(), refused);
  EXPECT_TRUE(r.sm->hasNotificationActive());
  r.handle->writeResponseHandlerIs(r.w.handler());
  r.handle->hwEntryIndexIs(4);
  EXPECT_EQ(r.w.take(), (Lines{"handler 2"}));
}

TYPED_TEST(PendingEntryTest, ReportsLaterChangesOfAHandleWhoseFirstLookThrew) {
  OneReactor<TypeParam> r;
  auto const other = r.w.table->entryHandleFactory(r.w.key(2), r.w.table.get());
  TypeParam::mayEnd(*r.w.table, other);
  other->entryStateIs(refused);
  other->writeResponseHandlerIs([](auto) { throw std::runtime_error("from the handler"); });
  EXPECT_THROW(r.w.table->pendingEntrySmIs(other, r.key), std::runtime_error);
  EXPECT_EQ(r.w.table->pendingEntrySm(r.key), r.sm);
  other->writeResponseHandlerIs(r.w.handler("other"));
  r.w.journal.clear();
  other->hwEntryIndexIs(4);
  EXPECT_EQ(r.w.take(), (Lines{"other 2"}));
}

TYPED_TEST(PendingEntryTest, AZombieStaysSilentUntilItIsTakenBack) {
  OneReactor<TypeParam> r;
  r.sm->vekDoZombieReactors(true);
  EXPECT_TRUE(r.sm->markedForDeletion());
  EXPECT_FALSE(r.sm->hasNotificationActive());
  r.handle->entryStateIs(refused);
  r.sm->onAttribute(World<TypeParam>::Handle::entryStateAttribute, nullptr);
  EXPECT_EQ(r.w.take(), Lines{});
  r.sm->vekDoZombieReactors(false);
  EXPECT_TRUE(r.sm->hasNotificationActive());
  r.handle->hwEntryIndexIs(4);
  EXPECT_EQ(r.w.take(), (Lines{"handler 2"}));
  // Asked for what it is already, it leaves the switch alone.
  r.sm->hasNotificationActiveIs(false);
  r.sm->vekDoZombieReactors(false);
  EXPECT_FALSE(r.sm->hasNotificationActive());
}

TYPED_TEST(PendingEntryTest, ANotifierOfAnotherTypeIsNoNotifier) {
  OneReactor<TypeParam> r;
  Vek::Ptr<TestHandle> const stranger = TestHandle::programmed(9);
  r.sm->notifierIs(stranger);
  EXPECT_FALSE(r.sm->notifier());
  EXPECT_FALSE(r.sm->isRegisteredNotifiee());
  stranger->entryStateIs(refused);
  r.handle->entryStateIs(refused);
  EXPECT_EQ(r.w.take(), Lines{});
  r.sm->notifierIs(r.handle);  // a change, so it is looked at once
  EXPECT_EQ(r.w.take(), (Lines{"handler 2"}));
}

TYPED_TEST(PendingEntryTest, StaysWithAnEmptyNotifierWhenItsHandleDies) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto handle = w.handle(key);
  auto const sm = w.table->pendingEntrySmIs(handle, key);
  w.table->entryHandleDel(key);
  w.journal.clear();
  handle = nullptr;
  EXPECT_EQ(linesWith(w.take(), "pendingEntrySm"), Lines{});
  EXPECT_EQ(w.table->pendingEntrySm(key), sm);
  EXPECT_FALSE(sm->notifier());
  // A new handle of the key becomes its notifier.
  auto const next = w.handle(key);
  EXPECT_EQ(w.table->pendingEntrySmIs(next, key), sm);
  EXPECT_EQ(sm->notifier(), next);
  next->writeResponseHandlerIs(w.handler());
  w.journal.clear();
  next->entryStateIs(refused);
  EXPECT_EQ(w.take(), (Lines{"handler 2"}));
}

TYPED_TEST(PendingEntryTest, RemovalAnnouncesSwitchesOffAndReturnsTheReactor) {
  OneReactor<TypeParam> r;
  bool checked = false;
  r.w.onAnnouncement = [&](Vek::AttributeId, auto const&) {
    EXPECT_FALSE(r.w.table->pendingEntrySm(r.key));
    EXPECT_TRUE(r.sm->hasNotificationActive());
    checked = true;
  };
  auto const removed = r.w.table->pendingEntrySmDel(r.key);
  EXPECT_TRUE(checked);
  EXPECT_EQ(removed, r.sm);
  EXPECT_FALSE(removed->hasNotificationActive());
  EXPECT_EQ(r.w.table->pendingEntrySms(), 0U);
  EXPECT_EQ(r.w.take(), (Lines{"pendingEntrySm key1"}));
  r.handle->entryStateIs(refused);
  EXPECT_EQ(r.w.take(), Lines{});
}

TYPED_TEST(PendingEntryTest, RemovalOfAnUnknownKeyIsEmptyAndUnannounced) {
  World<TypeParam> w;
  EXPECT_FALSE(w.table->pendingEntrySmDel(w.key(1)));
  EXPECT_EQ(w.take(), Lines{});
}

TYPED_TEST(PendingEntryTest, RemovesUnderTheKeyInsideTheReactorItself) {
  World<TypeParam> w;
  typename TypeParam::Table::PendingEntrySm* plain = nullptr;
  {
    auto const key = w.key(1);
    plain = w.table->pendingEntrySmIs(nullptr, key).get();
  }
  w.table->pendingEntrySmDel(plain->key());
  EXPECT_EQ(w.take(), (Lines{"pendingEntrySm key1", "pendingEntrySm key1"}));
}

TYPED_TEST(PendingEntryTest, DelAllRemovesEachWithItsAnnouncement) {
  World<TypeParam> w;
  auto const held = w.table->pendingEntrySmIs(w.handle(w.key(1)), w.key(1));
  w.table->pendingEntrySmIs(nullptr, w.key(2));
  w.table->pendingEntrySmIs(nullptr, w.key(3));
  w.journal.clear();
  w.table->pendingEntrySmDelAll();
  EXPECT_EQ(w.take(), (Lines{"pendingEntrySm key1", "pendingEntrySm key2", "pendingEntrySm key3"}));
  EXPECT_EQ(w.table->pendingEntrySms(), 0U);
  EXPECT_FALSE(held->hasNotificationActive());
  EXPECT_EQ(held->table(), nullptr);
  w.table->pendingEntrySmDelAll();
  EXPECT_EQ(w.take(), Lines{});
}

TYPED_TEST(PendingEntryTest, DelAllEmptiesTheCollectionWhateverObserversDo) {
  World<TypeParam> w;
  auto const one = w.key(1);
  auto const two = w.key(2);
  w.table->pendingEntrySmIs(nullptr, one);
  w.table->pendingEntrySmIs(nullptr, two);
  int calls = 0;
  w.onAnnouncement = [&](Vek::AttributeId, auto const& key) {
    if (++calls > 2) return;
    w.table->pendingEntrySmIs(nullptr, key);
    w.table->pendingEntrySmDel(two);
  };
  w.table->pendingEntrySmDelAll();
  EXPECT_EQ(w.table->pendingEntrySms(), 0U);
  EXPECT_FALSE(w.table->pendingEntrySm(one));
  EXPECT_FALSE(w.table->pendingEntrySm(two));
}

TYPED_TEST(PendingEntryTest, AReactorThatOutlivesItsTableStaysHarmless) {
  OneReactor<TypeParam> r;
  r.w.table = nullptr;
  r.w.journal.clear();
  EXPECT_EQ(r.sm->table(), nullptr);
  r.handle->entryStateIs(refused);
  EXPECT_EQ(r.w.take(), Lines{});
}

TYPED_TEST(PendingEntryTest, TheTableWantsResponses) {
  World<TypeParam> w;
  OrviaAsicUtils::SwTable const& asPlatformSeesIt = *w.table;
  EXPECT_TRUE(asPlatformSeesIt.responseNeeded());
}

}  // namespace
}  // namespace TableTests
