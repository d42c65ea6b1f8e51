// Handles, registries, pending reactors and parked records of the tables that choose rows.
#include "ChainTables.h"

namespace ChainTests {
namespace {

template <class A>
class ChainRegistryTest : public AllocatedRowTest<A> {};
TYPED_TEST_SUITE(ChainRegistryTest, AllocatedRowTables, AdapterName);

TYPED_TEST(ChainRegistryTest, EntryHandleMutateAlwaysCreates) {
  this->world.observe();
  auto first = this->table.entryHandleMutate(this->key());
  EXPECT_EQ(this->journal.take(),
            (Lines{this->announces("entryHandle 1"), this->announces("rawEntryHandle 1")}));
  auto second = this->table.entryHandleMutate(this->key());
  EXPECT_NE(first, second);
  EXPECT_EQ(this->table.entryHandle(this->key()), second);
  EXPECT_EQ(this->table.rawEntryHandle(this->key()), second);
  EXPECT_EQ(this->table.entryHandles(), 1U);
  // Each handle's end must find the key registered.
  this->table.entryHandleDel(this->key());
  second = nullptr;
  this->table.rawEntryHandleIs(this->key(), first.get());
}

TYPED_TEST(ChainRegistryTest, TwoKeysHaveTwoHandles) {
  auto const one = this->table.entryRef(this->key(1), this->parkedEntry());
  auto const two = this->table.entryRef(this->key(2), this->parkedEntry());
  EXPECT_NE(one, two);
  EXPECT_TRUE(this->table.entryHandleExists(this->key(1)));
  EXPECT_FALSE(this->table.entryHandleExists(this->key(3)));
  EXPECT_EQ(this->table.entryHandleAccess(this->key(2)), two);
  EXPECT_FALSE(this->table.entryHandleAccess(this->key(3)));
}

TYPED_TEST(ChainRegistryTest, EntryHandleIsReplacesAndAnEmptyOneDeletes) {
  auto const handle = this->table.entryRef(this->key(), this->parkedEntry());
  this->world.observe();
  this->table.entryHandleIs(this->key(), this->table.rawEntryHandle(this->key()));
  EXPECT_EQ(this->table.entryHandles(), 1U);
  this->table.entryHandleIs(this->key(), this->table.rawEntryHandle(this->key()));
  EXPECT_EQ(this->table.entryHandles(), 1U);
  this->table.entryHandleIs(this->key(), nullptr);
  EXPECT_EQ(this->table.entryHandles(), 0U);
  EXPECT_EQ(this->journal.take(), Lines(3, this->announces("entryHandle 1")));
}

TYPED_TEST(ChainRegistryTest, DeletingAnAbsentKeyIsAnnouncedAndNothingElse) {
  this->world.observe();
  this->table.entryHandleDel(this->key());
  this->table.rawEntryHandleDel(this->key());
  this->table.rawEntryHandleIs(this->key(), nullptr);
  EXPECT_EQ(this->journal.take(),
            (Lines{this->announces("entryHandle 1"), this->announces("rawEntryHandle 1"),
                   this->announces("rawEntryHandle 1")}));
}

TYPED_TEST(ChainRegistryTest, DeletingAllOfNothingDoesNothing) {
  this->world.observe();
  this->table.entryHandleDelAll();
  this->table.rawEntryHandleDelAll();
  this->table.pendingEntrySmDelAll();
  this->table.unresolvedEntryDelAll();
  EXPECT_EQ(this->journal.take(), Lines{});
}

TYPED_TEST(ChainRegistryTest, EntryHandleDelAllEndsEveryEntryNobodyElseHolds) {
  for (std::uint32_t n = 1; n <= 3; ++n) this->table.entryCommit(this->key(n), this->readyEntry());
  auto const held = this->table.rawEntryHandle(this->key(2));
  this->journal.take();
  this->table.entryHandleDelAll();
  EXPECT_EQ(this->journal.take(), (Lines{this->named("delete 1"), this->named("delete 3")}));
  EXPECT_EQ(this->table.entryHandles(), 0U);
  EXPECT_EQ(this->table.entrys(), 1U);
}

TYPED_TEST(ChainRegistryTest, RawEntryHandleDelAllAnnouncesEachKey) {
  auto const one = this->table.entryRef(this->key(1), this->parkedEntry());
  auto const two = this->table.entryRef(this->key(2), this->parkedEntry());
  this->world.observe();
  this->table.rawEntryHandleDelAll();
  EXPECT_EQ(this->journal.take(),
            (Lines{this->announces("rawEntryHandle 1"), this->announces("rawEntryHandle 2")}));
  EXPECT_FALSE(this->table.entryHandleExists(this->key(1)));
  // Their ends look for them.
  this->table.rawEntryHandleIs(this->key(1),
                               const_cast<typename TypeParam::Table::EntryHandle*>(one.get()));
  this->table.rawEntryHandleIs(this->key(2),
                               const_cast<typename TypeParam::Table::EntryHandle*>(two.get()));
}

TYPED_TEST(ChainRegistryTest, EntryLookupTakesTheRegisteredHandleBeforeTheOwnedOne) {
  EXPECT_FALSE(this->table.entryLookup(this->key()));
  auto owned = this->table.entryHandleMutate(this->key());
  EXPECT_EQ(this->table.entryLookup(this->key()), owned);
  auto raw = this->table.entryHandleFactory(this->key(), &this->table);
  this->table.rawEntryHandleIs(this->key(), raw.get());
  EXPECT_EQ(this->table.entryLookup(this->key()), raw);
  this->table.rawEntryHandleDel(this->key());
  EXPECT_EQ(this->table.entryLookup(this->key()), owned);
  // Each handle's end must find the key registered.
  this->table.rawEntryHandleIs(this->key(), raw.get());
  raw = nullptr;
  this->table.rawEntryHandleIs(this->key(), owned.get());
}

TYPED_TEST(ChainRegistryTest, AFactoryHandleIsReadyForUseAndRegisteredNowhere) {
  this->world.observe();
  auto const handle = this->table.entryHandleFactory(this->key(), &this->table);
  EXPECT_EQ(this->journal.take(), Lines{});
  EXPECT_TRUE(handle->hasNotificationActive());
  EXPECT_EQ(handle->mode(), TypeParam::Table::EntryHandle::add);
  EXPECT_FALSE(handle->writeResponseHandler());
  EXPECT_FALSE(this->table.entryHandleExists(this->key()));
  this->table.rawEntryHandleIs(this->key(), handle.get());
}

TYPED_TEST(ChainRegistryTest, ModeIsAnnouncedWhenItChanges) {
  using HandleOfTable = typename TypeParam::Table::EntryHandle;
  static_assert(sizeof(typename HandleOfTable::Mode) == 1 && HandleOfTable::add == 0 &&
                HandleOfTable::del == 1);
  Vek::Ptr<HandleOfTable> const handle = this->table.entryHandleMutate(this->key());
  HandleWatch const watch(this->journal, "handle", *handle);
  handle->modeIs(HandleOfTable::add);
  EXPECT_EQ(this->journal.take(), Lines{});
  handle->modeIs(HandleOfTable::del);
  EXPECT_EQ(handle->mode(), HandleOfTable::del);
  EXPECT_EQ(this->journal.take(), (Lines{"handle row none state 0"}));
}

TYPED_TEST(ChainRegistryTest, TheModePlaysNoPartInReuse) {
  using HandleOfTable = typename TypeParam::Table::EntryHandle;
  auto const handle = this->table.entryRef(this->key(), this->readyEntry());
  this->table.rawEntryHandle(this->key())->modeIs(HandleOfTable::del);
  EXPECT_EQ(this->table.entryRef(this->key(), this->readyEntry()), handle);
}

template <class A>
class ChainPendingTest : public AllocatedRowTest<A> {
 protected:
  using Handle = typename A::Table::EntryHandle;
  Vek::Ptr<Handle> handleWith(std::string const& name) {
    Vek::Ptr<Handle> const handle = this->table.entryHandleMutate(this->key());
    handle->writeResponseHandlerIs(this->handler(name));
    return handle;
  }
};
TYPED_TEST_SUITE(ChainPendingTest, AllocatedRowTables, AdapterName);

TYPED_TEST(ChainPendingTest, TheTableWantsTheHardwaresAnswers) {
  EXPECT_TRUE(this->table.responseNeeded());
}

TYPED_TEST(ChainPendingTest, CreatingOneTwiceMakesOneReactorAndOneAnnouncement) {
  auto const handle = this->handleWith("caller");
  this->world.observe();
  auto const sm = this->table.pendingEntrySmIs(handle, this->key());
  EXPECT_EQ(this->table.pendingEntrySmIs(handle, this->key()), sm);
  EXPECT_EQ(this->journal.take(), (Lines{this->announces("pendingEntrySm 1")}));
  EXPECT_EQ(sm->key(), this->key());
  EXPECT_EQ(sm->table(), &this->table);
  EXPECT_EQ(sm->notifier(), handle);
  EXPECT_TRUE(sm->hasNotificationActive());
}

TYPED_TEST(ChainPendingTest, DeletingAnUnknownOneIsEmptyAndSilent) {
  this->world.observe();
  EXPECT_FALSE(this->table.pendingEntrySmDel(this->key()));
  EXPECT_EQ(this->journal.take(), Lines{});
}

TYPED_TEST(ChainPendingTest, DeletingOneAnnouncesAndSwitchesItOff) {
  auto const handle = this->handleWith("caller");
  auto const sm = this->table.pendingEntrySmIs(handle, this->key());
  this->world.observe();
  EXPECT_EQ(this->table.pendingEntrySmDel(this->key()), sm);
  EXPECT_EQ(this->journal.take(), (Lines{this->announces("pendingEntrySm 1")}));
  EXPECT_FALSE(sm->hasNotificationActive());
  EXPECT_EQ(sm->table(), nullptr);
  program(*handle, 4);
  EXPECT_EQ(this->journal.take(), Lines{});
}

TYPED_TEST(ChainPendingTest, ANewReactorDoesNotLookAtAFinalHandleUntilItChanges) {
  auto const handle = this->handleWith("caller");
  program(*handle, 4);
  this->table.pendingEntrySmIs(handle, this->key());
  EXPECT_EQ(this->journal.take(), Lines{});
  handle->hwEntryIndexIs(5);
  EXPECT_EQ(this->journal.take(), (Lines{"caller answered 1"}));
  handle->hwEntryIndexIs(6);
  EXPECT_EQ(this->journal.take(), (Lines{"caller answered 1"}));
}

TYPED_TEST(ChainPendingTest, ARetargetedReactorLooksAtAFinalHandleAtOnce) {
  auto first = this->handleWith("first");
  auto const sm = this->table.pendingEntrySmIs(first, this->key());
  auto second = this->handleWith("second");
  program(*second, 4);
  EXPECT_EQ(this->table.pendingEntrySmIs(second, this->key()), sm);
  EXPECT_EQ(this->journal.take(), (Lines{"second answered 1"}));
  program(*first, 4);
  EXPECT_EQ(this->journal.take(), Lines{}) << "the first one is not watched any more";
  // Each handle's end must find the key registered.
  this->table.entryHandleDel(this->key());
  second = nullptr;
  this->table.rawEntryHandleIs(this->key(), first.get());
}

TYPED_TEST(ChainPendingTest, OnlyFinalCombinationsAreReported) {
  auto const handle = this->handleWith("caller");
  this->table.pendingEntrySmIs(handle, this->key());
  handle->entryStateIs(accepted);  // no row yet
  EXPECT_EQ(this->journal.take(), Lines{});
  handle->hwEntryIndexIs(7);
  EXPECT_EQ(this->journal.take(), (Lines{"caller answered 1"}));
  handle->entryStateIs(notAnswered);
  EXPECT_EQ(this->journal.take(), Lines{});
  handle->hwEntryIndexIs(noRow);
  EXPECT_EQ(this->journal.take(), Lines{});
  handle->entryStateIs(refused);
  EXPECT_EQ(this->journal.take(), (Lines{"caller answered 2"}));
  handle->modeIs(TypeParam::Table::EntryHandle::del);
  EXPECT_EQ(this->journal.take(), Lines{});
}

TYPED_TEST(ChainPendingTest, AnEmptyHandlerIsNotCalledAndOneSetLaterIs) {
  auto const handle = this->handleWith("caller");
  handle->writeResponseHandlerIs({});
  this->table.pendingEntrySmIs(handle, this->key());
  program(*handle, 4);
  handle->entryStateIs(refused);
  EXPECT_EQ(this->journal.take(), Lines{});
  handle->writeResponseHandlerIs(this->handler("later"));
  handle->entryStateIs(accepted);
  EXPECT_EQ(this->journal.take(), (Lines{"later answered 1"}));
}

TYPED_TEST(ChainPendingTest, AHandlerMayReplaceItselfDuringItsCall) {
  auto const handle = this->handleWith("caller");
  auto* const plain = handle.get();
  auto token = std::make_shared<int>(1);
  handle->writeResponseHandlerIs([plain, this, token](State) {
    plain->writeResponseHandlerIs({});
    this->journal.add("still here " + std::to_string(*token));
  });
  this->table.pendingEntrySmIs(handle, this->key());
  program(*handle, 4);
  handle->hwEntryIndexIs(5);
  EXPECT_EQ(this->journal.take(), (Lines{"still here 1"}));
  EXPECT_EQ(token.use_count(), 1);
}

TYPED_TEST(ChainPendingTest, WhatAHandlerThrowsPassesOutAndTheReactorGoesOn) {
  auto const handle = this->handleWith("caller");
  handle->writeResponseHandlerIs([](State) { throw std::runtime_error("from the handler"); });
  auto const sm = this->table.pendingEntrySmIs(handle, this->key());
  handle->hwEntryIndexIs(4);
  EXPECT_THROW(handle->entryStateIs(accepted), std::runtime_error);
  EXPECT_EQ(this->table.pendingEntrySm(this->key()), sm);
  handle->writeResponseHandlerIs(this->handler("caller"));
  handle->entryStateIs(refused);
  EXPECT_EQ(this->journal.take(), (Lines{"caller answered 2"}));
}

TYPED_TEST(ChainPendingTest, AZombieReportsNothing) {
  auto const handle = this->handleWith("caller");
  auto const sm = this->table.pendingEntrySmIs(handle, this->key());
  sm->vekDoZombieReactors(true);
  EXPECT_TRUE(sm->markedForDeletion());
  EXPECT_FALSE(sm->hasNotificationActive());
  program(*handle, 4);
  EXPECT_EQ(this->journal.take(), Lines{});
  sm->vekDoZombieReactors(false);
  handle->entryStateIs(refused);
  EXPECT_EQ(this->journal.take(), (Lines{"caller answered 2"}));
}

TYPED_TEST(ChainPendingTest, ANotifierOfAnotherTypeCountsAsNone) {
  auto const handle = this->handleWith("caller");
  auto const sm = this->table.pendingEntrySmIs(handle, this->key());
  sm->notifierIs(this->ready);
  EXPECT_FALSE(sm->notifier());
  program(*handle, 4);
  EXPECT_EQ(this->journal.take(), Lines{});
}

template <class A>
class ChainParkedTest : public AllocatedRowTest<A> {};
TYPED_TEST_SUITE(ChainParkedTest, AllocatedRowTables, AdapterName);

TYPED_TEST(ChainParkedTest, FindingOneAnnouncesNothing) {
  this->world.observe();
  auto const parked = this->table.unresolvedEntryIs(this->key());
  EXPECT_EQ(this->table.unresolvedEntryIs(this->key()), parked);
  EXPECT_EQ(this->journal.take(), (Lines{this->announces("unresolvedEntry 1")}));
  EXPECT_TRUE(parked->hasNotificationActive());
  EXPECT_EQ(parked->table(), &this->table);
  EXPECT_EQ(parked->key(), this->key());
  EXPECT_EQ(parked->entry(), typename TypeParam::Entry());
  EXPECT_EQ(parked->neededEntryHandleCount(), 0);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 0);
  EXPECT_EQ(this->table.unresolvedEntryDel(this->key()), parked);
  EXPECT_EQ(this->journal.take(), (Lines{this->announces("unresolvedEntry 1")}));
  EXPECT_FALSE(this->table.unresolvedEntryDel(this->key()));
  EXPECT_EQ(this->journal.take(), Lines{});
}

TYPED_TEST(ChainParkedTest, DeletingAllAnnouncesEach) {
  auto const one = this->table.unresolvedEntryIs(this->key(1));
  auto const two = this->table.unresolvedEntryIs(this->key(2));
  this->world.observe();
  this->table.unresolvedEntryDelAll();
  EXPECT_EQ(this->journal.take(),
            (Lines{this->announces("unresolvedEntry 1"), this->announces("unresolvedEntry 2")}));
  EXPECT_EQ(this->table.unresolvedEntrys(), 0U);
}

TYPED_TEST(ChainParkedTest, ANeededHandleCountsOnlyWhenProgrammedInAKnownRow) {
  auto const needed = waitingHandle();
  auto const handle = this->table.entryRef(this->key(), TypeParam::entry(needed, 1));
  auto const parked = this->table.unresolvedEntry(this->key());
  EXPECT_EQ(parked->neededEntryHandleCount(), 1);
  needed->entryStateIs(refused);
  needed->hwEntryIndexIs(9);
  needed->hwEntryIndexIs(noRow);
  needed->entryStateIs(accepted);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 0);
  EXPECT_EQ(this->journal.take(), Lines{});
  needed->hwEntryIndexIs(9);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1);
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 1 9/1")}));
}

TYPED_TEST(ChainParkedTest, SettingTheCountToItselfOrAddingNothingResolvesNothing) {
  auto const handle = this->table.entryRef(this->key(), this->parkedEntry());
  auto const parked = this->table.unresolvedEntry(this->key());
  parked->entryHandleProgramSuccessCountIs(0);
  parked->entryHandleProgramSuccessCountInc(0);
  EXPECT_EQ(this->journal.take(), Lines{});
  parked->entryHandleProgramSuccessCountIs(2);  // past the needed number: equality decides
  EXPECT_EQ(this->journal.take(), Lines{});
  parked->entryHandleProgramSuccessCountInc(0xFFFF);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1) << "wraps around at 16 bits";
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 1 65535/1")}));
}

TYPED_TEST(ChainParkedTest, AWatcherThatCountedLaterIsGoneAndOneThatCountedAtOnceStays) {
  auto const needed = waitingHandle();
  auto const handle = this->table.entryRef(this->key(), TypeParam::entry(needed, 1));
  auto const parked = this->table.unresolvedEntry(this->key());
  ASSERT_TRUE(parked->neededEntryHandleSm(TypeParam::slot));
  EXPECT_EQ(parked->neededEntryHandleSm(TypeParam::slot)->notifier(), needed);
  program(*needed, 2);
  EXPECT_FALSE(parked->neededEntryHandleSm(TypeParam::slot));

  auto const apart = this->table.unresolvedEntryIs(this->key(2));
  this->table.unresolvedEntryDel(this->key(2));  // nothing is written for it any more
  auto const sm = apart->neededEntryHandleSmIs(needed, 40);
  EXPECT_EQ(apart->entryHandleProgramSuccessCount(), 1);
  EXPECT_EQ(apart->neededEntryHandleSm(40), sm);
  EXPECT_TRUE(sm->hasNotificationActive());
  needed->hwEntryIndexIs(3);
  EXPECT_EQ(apart->entryHandleProgramSuccessCount(), 2) << "counts a second time";
  EXPECT_FALSE(apart->neededEntryHandleSm(40));
}

TYPED_TEST(ChainParkedTest, AnExistingWatcherIsRetargeted) {
  auto const parked = this->table.unresolvedEntryIs(this->key());
  this->table.unresolvedEntryDel(this->key());
  auto const first = waitingHandle();
  auto const sm = parked->neededEntryHandleSmIs(first, 40);
  EXPECT_EQ(parked->neededEntryHandleSmIs(this->ready, 40), sm);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1);
  program(*first, 1);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1);
}

TYPED_TEST(ChainParkedTest, DeletedWatchersCountNoMore) {
  auto const parked = this->table.unresolvedEntryIs(this->key());
  auto const needed = waitingHandle();
  parked->neededEntryHandleSmIs(needed, 40);
  parked->neededEntryHandleSmIs(needed, 41);
  EXPECT_TRUE(parked->neededEntryHandleSmDel(40));
  EXPECT_FALSE(parked->neededEntryHandleSmDel(40));
  parked->neededEntryHandleSmDelAll();
  program(*needed, 1);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 0);
}

TYPED_TEST(ChainParkedTest, AnObserverSeesTheRecordStoredBeforeItsAnnouncement) {
  this->world.observe();
  typename TypeParam::Entry seen;
  bool parkedStill = false;
  this->world.watch->onAnnouncement = [&](std::string const& attribute) {
    if (attribute != "entry") return;
    seen = this->table.entry(this->key());
    parkedStill = this->table.unresolvedEntry(this->key()) != nullptr;
  };
  auto const handle = this->table.entryRef(this->key(), this->readyEntry(3));
  this->world.watch->onAnnouncement = nullptr;
  EXPECT_EQ(seen, this->readyEntry(3));
  EXPECT_TRUE(parkedStill);
}

class ChainTwoHandlesTest : public AllocatedRowTest<NextHops> {
 protected:
  Vek::Ptr<TestHandle> const oif = waitingHandle();
  Vek::Ptr<TestHandle> const mtu = waitingHandle();
  Entry both() const {
    Entry entry = NextHops::entry(oif, 1);
    entry.mtuProfilePtrHandleIs(mtu);
    return entry;
  }
};

TEST_F(ChainTwoHandlesTest, ARecordWaitsForBothAndCountsOneByOne) {
  auto const handle = table.entryRef(key(), both());
  auto const parked = table.unresolvedEntry(key());
  EXPECT_EQ(parked->neededEntryHandleCount(), 2);
  program(*mtu, 8);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1);
  EXPECT_FALSE(table.entryExists(key()));
  program(*oif, 9);
  EXPECT_EQ(journal.take(), (Lines{"hop write 1 9/1"}));
  EXPECT_EQ(table.entry(key()).mtuProfilePtr(), 8);
}

TEST_F(ChainTwoHandlesTest, TheSameRecordWrittenAgainRecountsNothing) {
  auto const handle = table.entryRef(key(), both());
  program(*oif, 9);
  table.entryRef(key(), both());
  table.entryCommit(key(), both());
  EXPECT_EQ(table.unresolvedEntry(key())->entryHandleProgramSuccessCount(), 1);
  EXPECT_FALSE(table.entryExists(key()));
}

TEST_F(ChainTwoHandlesTest, AHandleThatCountedAtOnceCountsAgainWhenItsRowChanges) {
  program(*oif, 9);
  auto const handle = table.entryRef(key(), both());
  EXPECT_EQ(table.unresolvedEntry(key())->entryHandleProgramSuccessCount(), 1);
  oif->hwEntryIndexIs(10);
  EXPECT_EQ(journal.take(), (Lines{"hop write 1 10/1"}))
      << "the tally was complete although the profile is not programmed";
}

TEST_F(ChainTwoHandlesTest, AHandleThatCountedLaterCountsOnce) {
  auto const handle = table.entryRef(key(), both());
  program(*oif, 9);
  oif->hwEntryIndexIs(10);
  EXPECT_EQ(table.unresolvedEntry(key())->entryHandleProgramSuccessCount(), 1);
}

TEST_F(ChainTwoHandlesTest, ADifferentRecordStartsTheCountAnew) {
  auto const handle = table.entryRef(key(), both());
  program(*oif, 9);
  auto other = both();
  other.dvpIs(4);
  program(*mtu, 8);
  journal.take();
  auto const late = waitingHandle();
  other.l3Oif1HandleIs(late);
  table.entryRef(key(), other);
  EXPECT_EQ(table.unresolvedEntry(key())->entryHandleProgramSuccessCount(), 1);
  EXPECT_EQ(journal.take(), Lines{});
  program(*late, 11);
  EXPECT_EQ(journal.take(), (Lines{"hop write 1 11/1"}));
}

TEST_F(ChainTwoHandlesTest, OneHandleInBothSlotsIsWatchedTwice) {
  Entry entry = NextHops::entry(oif, 1);
  entry.mtuProfilePtrHandleIs(oif);
  auto const handle = table.entryRef(key(), entry);
  EXPECT_EQ(table.unresolvedEntry(key())->neededEntryHandleCount(), 2);
  program(*oif, 9);
  EXPECT_EQ(journal.take(), (Lines{"hop write 1 9/1"}));
}

}  // namespace
}  // namespace ChainTests
