// Writing, reading and removing in the tables that choose rows for single entries.
#include "ChainTables.h"

namespace ChainTests {
namespace {

template <class A>
class ChainWritePathTest : public AllocatedRowTest<A> {};
TYPED_TEST_SUITE(ChainWritePathTest, AllocatedRowTables, AdapterName);

TYPED_TEST(ChainWritePathTest, CommittingAParkedRecordAnnouncesHandleRegistrationAndParking) {
  this->world.observe();
  auto const handle = this->table.entryCommit(this->key(), this->parkedEntry());
  EXPECT_EQ(this->journal.take(),
            (Lines{this->announces("entryHandle 1"), this->announces("rawEntryHandle 1"),
                   this->announces("unresolvedEntry 1")}));
  EXPECT_EQ(this->table.entryHandle(this->key()), handle);
  EXPECT_EQ(this->table.rawEntryHandle(this->key()), handle);
  EXPECT_EQ(handle->key(), this->key());
  EXPECT_EQ(handle->swTable(), &this->table);
  EXPECT_EQ(handle->entryState(), notAnswered);
  EXPECT_EQ(handle->hwEntryIndex(), noRow);
  EXPECT_TRUE(handle->hasNotificationActive());
  EXPECT_FALSE(this->table.entryExists(this->key()));
  EXPECT_FALSE(this->table.pendingEntrySm(this->key()));
  EXPECT_EQ(this->table.unresolvedEntry(this->key())->entry(), this->parkedEntry());
}

TYPED_TEST(ChainWritePathTest, ReferencingAParkedRecordRegistersTheHandleRawOnly) {
  this->world.observe();
  auto const handle = this->table.entryRef(this->key(), this->parkedEntry());
  EXPECT_EQ(this->journal.take(),
            (Lines{this->announces("rawEntryHandle 1"), this->announces("unresolvedEntry 1")}));
  EXPECT_FALSE(this->table.entryHandle(this->key()));
  EXPECT_EQ(this->table.rawEntryHandle(this->key()), handle);
  EXPECT_EQ(handle->references(), 1U);
}

TYPED_TEST(ChainWritePathTest, CommittingAReadyRecordProgramsItWithinTheCall) {
  this->world.observe();
  ChainTraces const traces(this->journal);
  auto const handle = this->table.entryCommitWithResponseHandler(this->key(), this->readyEntry(7),
                                                                 this->handler("caller"));
  EXPECT_EQ(
      this->journal.take(),
      (Lines{
          "3 entryCommitWithResponseHandler : Creating a new pending entry: ",
          this->announces("entryHandle 1"), this->announces("rawEntryHandle 1"),
          this->announces("unresolvedEntry 1"),
          "3 initializeUnresolvedEntry: initializing the unresolvedEntry: ",
          "3 doEnclosingInit: initializing neededEntryHandleSm: " + std::to_string(TypeParam::slot),
          "8 handleEntryHandleProgramSuccessCount: Unresolved entry processing completed: ",
          this->announces("pendingEntrySm 1"), this->named("write 1 5/7"),
          this->announces("entry 1"), this->announces("unresolvedEntry 1")}));
  EXPECT_TRUE(this->table.pendingEntrySm(this->key()));
  EXPECT_FALSE(this->table.unresolvedEntry(this->key()));
  EXPECT_EQ(this->table.entry(this->key()), this->readyEntry(7));
  this->world.answer(1);
  EXPECT_EQ(this->journal.take(), (Lines{"caller answered 1"}));
  EXPECT_EQ(handle->hwEntryIndex(), 1);
  EXPECT_EQ(handle->entryState(), accepted);
}

TYPED_TEST(ChainWritePathTest, ReferencingAWaitingRecordTracesThatItReturns) {
  ChainTraces const traces(this->journal);
  auto const handle = this->table.entryRef(this->key(), this->parkedEntry());
  EXPECT_EQ(this->journal.take(),
            (Lines{"3 entryRefWithResponseHandler : Returning a new pending entry: ",
                   "3 initializeUnresolvedEntry: initializing the unresolvedEntry: ",
                   "3 doEnclosingInit: initializing neededEntryHandleSm: " +
                       std::to_string(TypeParam::slot),
                   "3 handleEntryProgramming: returning from "}));
}

TYPED_TEST(ChainWritePathTest, CommittingTheSameProgrammedRecordAgainReturnsTheHandleOnly) {
  auto const first = this->table.entryCommitWithResponseHandler(this->key(), this->readyEntry(),
                                                                this->handler("first"));
  this->journal.take();
  this->world.observe();
  ChainTraces const traces(this->journal);
  auto const second = this->table.entryCommitWithResponseHandler(this->key(), this->readyEntry(),
                                                                 this->handler("second"));
  EXPECT_EQ(second, first);
  EXPECT_EQ(this->journal.take(), (Lines{"3 lookupExistingEntry : Found an existing entry: ",
                                         this->announces("entryHandle 1")}));
  EXPECT_FALSE(this->table.unresolvedEntry(this->key()));
  this->world.answer(1);
  EXPECT_EQ(this->journal.take(), (Lines{"first answered 1"}));
}

TYPED_TEST(ChainWritePathTest, CommittingTheSameParkedRecordAgainKeepsItParkedOnce) {
  auto const first = this->table.entryCommitWithResponseHandler(this->key(), this->parkedEntry(),
                                                                this->handler("first"));
  auto const parked = this->table.unresolvedEntry(this->key());
  this->world.observe();
  ChainTraces const traces(this->journal);
  auto const second = this->table.entryCommitWithResponseHandler(this->key(), this->parkedEntry(),
                                                                 this->handler("second"));
  EXPECT_EQ(second, first);
  EXPECT_EQ(this->journal.take(), (Lines{"3 lookupExistingEntry : Found pending entry: ",
                                         this->announces("entryHandle 1")}));
  EXPECT_EQ(this->table.unresolvedEntry(this->key()), parked);
  EXPECT_EQ(this->table.unresolvedEntrys(), 1U);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 0);
}

TYPED_TEST(ChainWritePathTest, ReferencingTheSameRecordAgainReplacesTheHandler) {
  auto const first = this->table.entryRefWithResponseHandler(this->key(), this->readyEntry(),
                                                             this->handler("first"));
  this->journal.take();
  this->world.observe();
  auto const second = this->table.entryRefWithResponseHandler(this->key(), this->readyEntry(),
                                                              this->handler("second"));
  EXPECT_EQ(second, first);
  EXPECT_EQ(this->journal.take(), Lines{});
  EXPECT_FALSE(this->table.entryHandle(this->key()));
  this->world.answer(1);
  EXPECT_EQ(this->journal.take(), (Lines{"second answered 1"}));
}

TYPED_TEST(ChainWritePathTest, ReferencingTheSameRecordWithoutAHandlerTakesTheHandlerAway) {
  auto const first = this->table.entryRefWithResponseHandler(this->key(), this->readyEntry(),
                                                             this->handler("first"));
  auto const second = this->table.entryRef(this->key(), this->readyEntry());
  this->journal.take();
  this->world.answer(1);
  EXPECT_EQ(this->journal.take(), Lines{});
  EXPECT_EQ(first->entryState(), accepted);
}

TYPED_TEST(ChainWritePathTest, CommittingAReferencedRecordMakesItStay) {
  auto handle = this->table.entryRef(this->key(), this->readyEntry());
  this->table.entryCommit(this->key(), this->readyEntry());
  EXPECT_EQ(this->table.entryHandle(this->key()), handle);
  this->world.answer(1);
  this->journal.take();
  handle = nullptr;
  EXPECT_EQ(this->journal.take(), Lines{});
  EXPECT_TRUE(this->table.entryExists(this->key()));
  EXPECT_TRUE(this->table.entryHandleExists(this->key()));
}

TYPED_TEST(ChainWritePathTest, CommittingAReferencedParkedRecordMakesItStay) {
  auto handle = this->table.entryRef(this->key(), this->parkedEntry());
  this->table.entryCommit(this->key(), this->parkedEntry());
  handle = nullptr;
  EXPECT_TRUE(this->table.unresolvedEntry(this->key()));
  EXPECT_TRUE(this->table.entryHandleExists(this->key()));
}

TYPED_TEST(ChainWritePathTest, CommittingAChangedRecordLeavesAReferencedHandleAutoRemoved) {
  auto handle = this->table.entryRef(this->key(), this->readyEntry(1));
  auto const again = this->table.entryCommit(this->key(), this->readyEntry(2)).get();
  EXPECT_EQ(again, handle.get());
  EXPECT_FALSE(this->table.entryHandle(this->key()));
  this->journal.take();
  handle = nullptr;
  EXPECT_EQ(this->journal.take(), (Lines{this->named("delete 1")}));
  EXPECT_FALSE(this->table.entryHandleExists(this->key()));
}

TYPED_TEST(ChainWritePathTest, ReferencingACommittedRecordLeavesItToTheTable) {
  this->table.entryCommit(this->key(), this->readyEntry(1));
  {
    auto const same = this->table.entryRef(this->key(), this->readyEntry(1));
    auto const changed = this->table.entryRef(this->key(), this->readyEntry(2));
    EXPECT_EQ(same, changed);
  }
  EXPECT_TRUE(this->table.entryHandle(this->key()));
  EXPECT_EQ(this->table.entry(this->key()), this->readyEntry(2));
}

TYPED_TEST(ChainWritePathTest, ADifferentRecordReplacesTheParkedOne) {
  auto const first = this->table.entryCommit(this->key(), this->parkedEntry(1));
  auto const old = this->table.unresolvedEntry(this->key());
  this->world.observe();
  ChainTraces const traces(this->journal);
  auto const second = this->table.entryCommit(this->key(), this->parkedEntry(2));
  EXPECT_EQ(second, first);
  EXPECT_EQ(
      this->journal.take(),
      (Lines{
          this->announces("unresolvedEntry 1"), "3 lookupExistingEntry : Deleting pending entry: ",
          "3 entryCommitWithResponseHandler : Creating a new pending entry: ",
          this->announces("unresolvedEntry 1"),
          "3 initializeUnresolvedEntry: initializing the unresolvedEntry: ",
          "3 doEnclosingInit: initializing neededEntryHandleSm: " + std::to_string(TypeParam::slot),
          "3 handleEntryProgramming: returning from "}));
  EXPECT_NE(this->table.unresolvedEntry(this->key()), old);
  EXPECT_EQ(this->table.getEntry(this->key()), this->parkedEntry(2));
  EXPECT_EQ(old->table(), nullptr);
}

TYPED_TEST(ChainWritePathTest, WritingTheProgrammedRecordOverADifferentParkedOneOnlyDropsThat) {
  auto const handle = this->table.entryCommit(this->key(), this->readyEntry(1));
  this->table.entryCommit(this->key(), this->parkedEntry(2));
  ASSERT_TRUE(this->table.unresolvedEntry(this->key()));
  this->journal.take();
  ChainTraces const traces(this->journal);
  EXPECT_EQ(this->table.entryCommit(this->key(), this->readyEntry(1)), handle);
  EXPECT_EQ(this->journal.take(), (Lines{"3 lookupExistingEntry : Deleting pending entry: ",
                                         "3 lookupExistingEntry : Found an existing entry: "}));
  EXPECT_FALSE(this->table.unresolvedEntry(this->key()));
}

TYPED_TEST(ChainWritePathTest, AChangedRecordKeepsTheRowAndTheHardwareUntilItResolves) {
  auto const handle = this->table.entryCommit(this->key(), this->readyEntry(1));
  this->world.answer(1);
  auto const later = waitingHandle();
  this->journal.take();
  HandleWatch const watch(this->journal, "handle", *handle);
  this->table.entryCommit(this->key(), TypeParam::entry(later, 2));
  EXPECT_EQ(this->journal.take(), Lines{});
  EXPECT_EQ(this->table.entry(this->key()), this->readyEntry(1));
  EXPECT_EQ(this->world.util->rows.at(1), "5/1");
  EXPECT_EQ(handle->entryState(), accepted);
  program(*later, 6);
  EXPECT_EQ(this->journal.take(), (Lines{"handle row 1 state 0", this->named("write 1 6/2")}));
  this->world.answer(1);
  EXPECT_EQ(this->journal.take(), (Lines{"handle row 1 state 1"}));
}

TYPED_TEST(ChainWritePathTest, AnAnswerAtOnceReachesTheHandlerBeforeTheCallerHasTheHandle) {
  this->world.answerAtOnce();
  bool written = false;
  bool answeredBefore = false;
  auto const handle = this->table.entryRefWithResponseHandler(
      this->key(), this->readyEntry(), [&](State) { answeredBefore = !written; });
  written = true;
  EXPECT_TRUE(answeredBefore);
  EXPECT_TRUE(handle->isProgrammed());
}

TYPED_TEST(ChainWritePathTest, EntryWriteDispatchesOnTheAutoRemoveType) {
  auto const ref =
      this->table.entryWrite(this->key(1), this->readyEntry(), Asic::needsAutoRemove());
  auto const commit = this->table.entryWrite(this->key(2), this->readyEntry(), Asic::noAutoRemove);
  EXPECT_FALSE(this->table.entryHandle(this->key(1)));
  EXPECT_EQ(this->table.entryHandle(this->key(2)), commit);
  auto const refWith = this->table.entryWriteWithResponseHandler(
      this->key(3), this->readyEntry(), this->handler("ref"), Asic::needsAutoRemove());
  auto const commitWith = this->table.entryWriteWithResponseHandler(
      this->key(4), this->readyEntry(), this->handler("commit"), Asic::noAutoRemove);
  EXPECT_FALSE(this->table.entryHandle(this->key(3)));
  EXPECT_EQ(this->table.entryHandle(this->key(4)), commitWith);
  this->journal.take();
  this->world.answer(3);
  this->world.answer(4);
  EXPECT_EQ(this->journal.take(), (Lines{"ref answered 1", "commit answered 1"}));
}

TYPED_TEST(ChainWritePathTest, EntryDummyWriteDoesNothing) {
  this->world.observe();
  std::as_const(this->table).entryDummyWrite(Asic::noAutoRemove);
  std::as_const(this->table).entryDummyWrite(Asic::needsAutoRemove());
  EXPECT_EQ(this->journal.take(), Lines{});
}

TYPED_TEST(ChainWritePathTest, LookupReturnsTheHandleOfAnIdenticalRecordOnly) {
  EXPECT_FALSE(this->table.lookupExistingEntry(this->key(), this->readyEntry()));
  auto const handle = this->table.entryRef(this->key(), this->readyEntry());
  EXPECT_EQ(this->table.lookupExistingEntry(this->key(), this->readyEntry()), handle);
  EXPECT_FALSE(this->table.lookupExistingEntry(this->key(), this->readyEntry(2)));
  EXPECT_EQ(this->table.entry(this->key()), this->readyEntry());
  Vek::Ptr<TestHandle> const twin = programmedHandle(5);
  EXPECT_FALSE(this->table.lookupExistingEntry(this->key(), TypeParam::entry(twin, 1)))
      << "needed handles count by identity";
}

TYPED_TEST(ChainWritePathTest, GetEntryPrefersTheParkedRecordAndTracesWhichItFound) {
  ChainTraces const traces(this->journal);
  EXPECT_EQ(this->table.getEntry(this->key()), typename TypeParam::Entry());
  EXPECT_EQ(this->journal.take(), (Lines{"3 getEntry : Found an existing entry: "}));
  auto const handle = this->table.entryRef(this->key(), this->readyEntry(1));
  this->table.entryRef(this->key(), this->parkedEntry(2));
  this->journal.take();
  EXPECT_EQ(this->table.getEntry(this->key()), this->parkedEntry(2));
  EXPECT_EQ(this->journal.take(), (Lines{"3 getEntry : Found unresolved entry: "}));
  EXPECT_EQ(this->table.entry(this->key()), this->readyEntry(1));
  this->table.unresolvedEntryDel(this->key());
  EXPECT_EQ(this->table.getEntry(this->key()), this->readyEntry(1));
  EXPECT_EQ(this->journal.take(), (Lines{"3 getEntry : Found an existing entry: "}));
}

TYPED_TEST(ChainWritePathTest, TheRecordOfAnUnknownKeyIsADefaultFalseOne) {
  EXPECT_FALSE(this->table.entry(this->key()));
  EXPECT_EQ(this->table.entry(this->key()), typename TypeParam::Entry());
}

TYPED_TEST(ChainWritePathTest, RemovingAnUnknownKeyIsTracedAndChangesNothing) {
  this->world.observe();
  ChainTraces const traces(this->journal);
  this->table.entryRemove(this->key());
  EXPECT_EQ(this->journal.take(), (Lines{"3 entryRemove: No entry found: "}));
}

TYPED_TEST(ChainWritePathTest, RemovingACommittedEntryNobodyHoldsTakesEverythingAtOnce) {
  this->table.entryCommit(this->key(), this->readyEntry());
  this->journal.take();
  this->world.observe();
  this->table.entryRemove(this->key());
  EXPECT_EQ(this->journal.take(),
            (Lines{this->announces("pendingEntrySm 1"), this->announces("entryHandle 1"),
                   this->named("delete 1"), this->announces("entry 1"),
                   this->announces("rawEntryHandle 1")}));
  EXPECT_EQ(this->table.entrys(), 0U);
  EXPECT_EQ(this->table.firstFreeIndexAllocator()->rowsInUse(), 0U);
}

TYPED_TEST(ChainWritePathTest, ARemovedEntryStaysInHardwareWhileACallerHoldsItsHandle) {
  auto handle = this->table.entryCommit(this->key(), this->readyEntry());
  this->journal.take();
  this->table.entryRemove(this->key());
  EXPECT_EQ(this->journal.take(), Lines{});
  EXPECT_TRUE(this->table.entryExists(this->key()));
  EXPECT_FALSE(this->table.pendingEntrySm(this->key()));
  EXPECT_FALSE(this->table.entryHandle(this->key()));
  EXPECT_TRUE(this->table.rawEntryHandleHas(this->key()));
  handle = nullptr;
  EXPECT_EQ(this->journal.take(), (Lines{this->named("delete 1")}));
  EXPECT_FALSE(this->table.rawEntryHandleHas(this->key()));
}

TYPED_TEST(ChainWritePathTest, RemovingAReferencedEntryTakesTheParkedRecordAndTheReactorOnly) {
  auto const handle = this->table.entryRef(this->key(), this->readyEntry(1));
  this->table.entryRef(this->key(), this->parkedEntry(2));
  this->journal.take();
  this->world.observe();
  this->table.entryRemove(this->key());
  EXPECT_EQ(this->journal.take(),
            (Lines{this->announces("unresolvedEntry 1"), this->announces("pendingEntrySm 1"),
                   this->announces("entryHandle 1")}));
  EXPECT_EQ(this->table.entry(this->key()), this->readyEntry(1));
  EXPECT_TRUE(this->table.entryHandleExists(this->key()));
}

TYPED_TEST(ChainWritePathTest, DroppingAReferencedHandleTakesAParkedRecordAndItsRegistration) {
  auto handle = this->table.entryRef(this->key(), this->parkedEntry());
  this->world.observe();
  handle = nullptr;
  EXPECT_EQ(this->journal.take(),
            (Lines{this->announces("unresolvedEntry 1"), this->announces("rawEntryHandle 1")}));
  EXPECT_EQ(this->table.unresolvedEntrys(), 0U);
}

TYPED_TEST(ChainWritePathTest, DroppingAReferencedHandleWithARewriteOnTheWayTakesBothRecords) {
  auto handle = this->table.entryRef(this->key(), this->readyEntry(1));
  this->world.answer(1);
  this->table.entryRef(this->key(), this->parkedEntry(2));
  this->journal.take();
  this->world.observe();
  handle = nullptr;
  EXPECT_EQ(this->journal.take(),
            (Lines{this->announces("unresolvedEntry 1"), this->named("delete 1"),
                   this->announces("entry 1"), this->announces("rawEntryHandle 1")}));
}

TYPED_TEST(ChainWritePathTest, DroppingAReferencedHandleAfterARewriteDeletesItsOneRow) {
  auto handle = this->table.entryRef(this->key(), this->readyEntry(1));
  this->table.entryRef(this->key(), this->readyEntry(2));
  this->journal.take();
  handle = nullptr;
  EXPECT_EQ(this->journal.take(), (Lines{this->named("delete 1")}));
  EXPECT_TRUE(this->world.util->rows.empty());
}

TYPED_TEST(ChainWritePathTest, TheReactorOfAnAutoRemovedKeyServesTheKeysNextHandle) {
  auto handle = this->table.entryRef(this->key(), this->readyEntry());
  handle = nullptr;
  // Only removal takes a pending reactor out, so it is still there, without a handle to watch.
  auto const left = this->table.pendingEntrySm(this->key());
  ASSERT_TRUE(left);
  EXPECT_FALSE(left->notifier());
  auto const next = this->table.entryRefWithResponseHandler(this->key(), this->readyEntry(),
                                                            this->handler("next"));
  EXPECT_EQ(this->table.pendingEntrySm(this->key()), left);
  EXPECT_EQ(left->notifier(), next);
  this->journal.take();
  this->world.answer(1);
  EXPECT_EQ(this->journal.take(), (Lines{"next answered 1"}));
}

TYPED_TEST(ChainWritePathTest, RefusalReachesTheHandlerAsTwoAndARewriteMayMendIt) {
  auto const handle = this->table.entryCommitWithResponseHandler(this->key(), this->readyEntry(1),
                                                                 this->handler("caller"));
  this->journal.take();
  this->world.answer(1, refused);
  // The row comes first and is no outcome yet.
  EXPECT_EQ(this->journal.take(), (Lines{"caller answered 2"}));
  this->table.entryCommitWithResponseHandler(this->key(), this->readyEntry(2),
                                             this->handler("again"));
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 1 5/2")}));
  this->world.answer(1);
  EXPECT_EQ(this->journal.take(), (Lines{"again answered 1"}));
}

TYPED_TEST(ChainWritePathTest, WithoutAReadyHardwareTableOnlyTheSoftwareCopyChanges) {
  this->table.hwTableReadyIs(false);
  auto const handle = this->table.entryCommit(this->key(), this->readyEntry(1));
  EXPECT_EQ(this->table.entry(this->key()), this->readyEntry(1));
  EXPECT_EQ(this->table.firstFreeIndexAllocator()->rowsInUse(), 1U);
  EXPECT_EQ(handle->entryState(), notAnswered);
  EXPECT_EQ(handle->hwEntryIndex(), noRow);
  const_cast<typename TypeParam::Table::EntryHandle&>(*handle).entryStateIs(accepted);
  this->table.entryCommit(this->key(), this->readyEntry(2));
  EXPECT_EQ(handle->entryState(), notAnswered);
  this->table.entryRemove(this->key());
  EXPECT_EQ(this->journal.take(), Lines{});
}

TYPED_TEST(ChainWritePathTest, WithoutAHardwareTableOnlyTheSoftwareCopyChanges) {
  this->table.hwTableIs(nullptr);
  this->table.entryCommit(this->key(), this->readyEntry(1));
  EXPECT_EQ(this->table.entry(this->key()), this->readyEntry(1));
  this->table.entryRemove(this->key());
  EXPECT_EQ(this->journal.take(), Lines{});
  EXPECT_EQ(this->table.entrys(), 0U);
}

TYPED_TEST(ChainWritePathTest, StoringTheStoredRecordAgainDoesNothing) {
  auto const handle = this->table.entryCommit(this->key(), this->readyEntry(1));
  this->journal.take();
  this->world.observe();
  this->table.entryIs(this->key(), this->readyEntry(1));
  EXPECT_EQ(this->journal.take(), Lines{});
  this->table.entryIs(this->key(), this->readyEntry(2));
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 1 5/2"), this->announces("entry 1")}));
}

TYPED_TEST(ChainWritePathTest, DeletingAnAbsentRecordReturnsADefaultOneAndDoesNothing) {
  this->world.observe();
  EXPECT_EQ(this->table.entryDel(this->key()), typename TypeParam::Entry());
  EXPECT_EQ(this->journal.take(), Lines{});
}

TYPED_TEST(ChainWritePathTest, DeletingARecordReturnsItAndFreesItsRow) {
  auto const handle = this->table.entryCommit(this->key(), this->readyEntry(3));
  this->journal.take();
  this->world.observe();
  EXPECT_EQ(this->table.entryDel(this->key()), this->readyEntry(3));
  EXPECT_EQ(this->journal.take(), (Lines{this->named("delete 1"), this->announces("entry 1")}));
  EXPECT_EQ(this->table.firstFreeIndexAllocator()->rowsInUse(), 0U);
  EXPECT_TRUE(this->table.entryHandleExists(this->key()));
}

TYPED_TEST(ChainWritePathTest, TheKeyMayLiveInWhatTheOperationRemoves) {
  auto handle = this->table.entryCommit(this->key(), this->readyEntry());
  auto const& keyOfHandle = handle->key();
  auto* const plain = &keyOfHandle;
  handle = nullptr;
  this->table.entryRemove(*plain);
  EXPECT_EQ(this->table.entrys(), 0U);
  EXPECT_FALSE(this->table.rawEntryHandleHas(this->key()));
}

TYPED_TEST(ChainWritePathTest, ARecordWithoutNeededHandlesIsNeverWritten) {
  auto const handle = this->table.entryCommit(this->key(), TypeParam::entry(nullptr, 4));
  EXPECT_EQ(this->table.unresolvedEntry(this->key())->neededEntryHandleCount(), 0);
  EXPECT_FALSE(this->table.entryExists(this->key()));
  EXPECT_EQ(this->journal.take(), Lines{});
}

}  // namespace
}  // namespace ChainTests
