// The ingress table's commit: the handle mirrors its key, and nothing returns early.
#include <gtest/gtest.h>

#include <stdexcept>

#include "TableWorld.h"

namespace TableTests {
namespace {

using W = World<IngressAdapter>;
using Table = OrviaL3Unicast::IngL3NextHop1Table;

constexpr char const* kCreating =
    "trace3 entryCommitWithResponseHandler : Creating a new pending entry: ";
constexpr char const* kInitialize =
    "trace3 initializeUnresolvedEntry: initializing the unresolvedEntry: ";
constexpr char const* kInit9 = "trace3 doEnclosingInit: initializing neededEntryHandleSm: 9";
constexpr char const* kInit12 = "trace3 doEnclosingInit: initializing neededEntryHandleSm: 12";
constexpr char const* kReturning = "trace3 handleEntryProgramming: returning from ";
constexpr char const* kCompletion =
    "trace8 handleEntryHandleProgramSuccessCount: Unresolved entry processing completed: ";
constexpr char const* kFoundPending = "trace3 lookupExistingEntry : Found pending entry: ";
constexpr char const* kFoundExisting = "trace3 lookupExistingEntry : Found an existing entry: ";
constexpr char const* kDeleting = "trace3 lookupExistingEntry : Deleting pending entry: ";

class CommitTest : public LiveObjectsTest {};

TEST_F(CommitTest, ParksARecordWhoseHandlesAreNotProgrammedAndMirrorsTheKey) {
  W w;
  auto const key = w.key(5);
  auto const handle = w.table->entryCommitWithResponseHandler(
      key, w.entry(7, {TestHandle::waiting(), TestHandle::waiting()}), w.handler());
  EXPECT_EQ(w.take(), (Lines{kCreating, "entryHandle key5", "unresolvedEntry key5", kInitialize,
                             kInit9, kReturning, kInit12, kReturning}));
  // Programmed in appearance only: it shows what its key has.
  EXPECT_EQ(handle->hwEntryIndex(), Asic::Index(5));
  EXPECT_EQ(handle->entryState(), Asic::HwTable::success());
  EXPECT_FALSE(w.table->entryExists(key));
  EXPECT_EQ(w.table->entryHandle(key).get(), handle.get());
  w.table->entryRemove(key);
}

TEST_F(CommitTest, WritesAtOnceWhenEverythingIsProgrammed) {
  W w;
  auto const key = w.key(5);
  auto const handle = w.table->entryCommitWithResponseHandler(
      key, w.entry(7, {TestHandle::programmed(10), TestHandle::programmed(11)}), w.handler());
  // The mirror step is what calls the handler here: the hardware has not answered.
  EXPECT_EQ(w.take(),
            (Lines{kCreating, "entryHandle key5", "unresolvedEntry key5", kInitialize, kInit9,
                   kInit12, kCompletion, "pendingEntrySm key5", "hwTableEntryIs key5 = 7",
                   "entry key5", "unresolvedEntry key5", "handler 1"}));
  w.table->entryRemove(key);
}

TEST_F(CommitTest, WritesTheKeysOwnRow) {
  W w;
  auto const key = w.key(0x12345);
  Asic::Index row;
  w.util->onWrite = [&](auto const& where, auto const&) {
    EXPECT_EQ(where, key);
    row = where->hwEntryIndex();
  };
  auto const handle = w.table->entryCommit(key, w.entry(7, {TestHandle::programmed(10)}));
  EXPECT_EQ(row, Asic::Index(0x12345));
  w.table->entryRemove(key);
}

TEST_F(CommitTest, CallsTheHandlerForAnAnswerFromWithinTheWriteAndMirrorsWithoutAnother) {
  W w;
  auto const key = w.key(5);
  w.util->onWrite = [&](auto const& where, auto const&) {
    auto const handle = w.table->entryHandleAccess(where);
    handle->hwEntryIndexIs(5);
    handle->entryStateIs(Asic::HwTable::success());
  };
  auto const handle = w.table->entryCommitWithResponseHandler(
      key, w.entry(7, {TestHandle::programmed(10)}), w.handler());
  EXPECT_EQ(linesWith(w.take(), "handler"), (Lines{"handler 1"}));
  w.table->entryRemove(key);
}

TEST_F(CommitTest, MirrorsSuccessOverARefusalFromWithinTheWrite) {
  W w;
  auto const key = w.key(5);
  w.util->onWrite = [&](auto const& where, auto const&) {
    w.table->entryHandleAccess(where)->entryStateIs(Asic::HwTable::refused);
  };
  auto const handle = w.table->entryCommitWithResponseHandler(
      key, w.entry(7, {TestHandle::programmed(10)}), w.handler());
  // The refusal, then the row that comes while it is refused, then the key's success.
  EXPECT_EQ(linesWith(w.take(), "handler"), (Lines{"handler 2", "handler 2", "handler 1"}));
  EXPECT_EQ(handle->entryState(), Asic::HwTable::success());
  w.table->entryRemove(key);
}

TEST_F(CommitTest, TheSameProgrammedRecordAgainIsParkedAgainWithTheNewHandler) {
  W w;
  auto const key = w.key(5);
  auto const needed = TestHandle::programmed(10);
  auto const first =
      w.table->entryCommitWithResponseHandler(key, w.entry(7, {needed}), w.handler("first"));
  w.journal.clear();
  auto const second =
      w.table->entryCommitWithResponseHandler(key, w.entry(7, {needed}), w.handler("second"));
  EXPECT_EQ(second, first);
  // Parked and resolved again; the equal record makes no hardware call and no announcement.
  EXPECT_EQ(w.take(), (Lines{kFoundExisting, kCreating, "unresolvedEntry key5", kInitialize, kInit9,
                             kCompletion, "unresolvedEntry key5"}));
  w.table->entryHandle(key)->entryStateIs(Asic::HwTable::refused);
  EXPECT_EQ(w.take(), (Lines{"second 2"}));
  w.table->entryRemove(key);
}

TEST_F(CommitTest, TheSameParkedRecordAgainKeepsTheParkedRecordAndTakesTheNewHandler) {
  W w;
  auto const key = w.key(5);
  auto const needed = TestHandle::waiting();
  auto const first =
      w.table->entryCommitWithResponseHandler(key, w.entry(7, {needed}), w.handler("first"));
  auto const parked = w.table->unresolvedEntry(key);
  w.journal.clear();
  auto const second =
      w.table->entryCommitWithResponseHandler(key, w.entry(7, {needed}), w.handler("second"));
  EXPECT_EQ(second, first);
  EXPECT_EQ(w.table->unresolvedEntry(key), parked);
  EXPECT_EQ(w.take(), (Lines{kFoundPending, kCreating, kInitialize}));
  needed->program(10);
  EXPECT_EQ(w.take(), (Lines{kReturning, kCompletion, "pendingEntrySm key5",
                             "hwTableEntryIs key5 = 7", "entry key5", "unresolvedEntry key5"}));
  w.table->entryHandle(key)->entryStateIs(Asic::HwTable::success());
  EXPECT_EQ(w.take(), (Lines{"second 1"}));
  w.table->entryRemove(key);
}

TEST_F(CommitTest, TheSameRecordTwiceCanBeWrittenBeforeItsSecondHandleIsProgrammed) {
  W w;
  auto const key = w.key(5);
  auto const first = TestHandle::waiting();
  auto const second = TestHandle::waiting();
  auto handle = w.table->entryCommit(key, w.entry(7, {first, second}));
  first->program(10);
  EXPECT_EQ(w.table->unresolvedEntry(key)->entryHandleProgramSuccessCount(), 1U);
  EXPECT_FALSE(w.table->entryExists(key));
  handle = w.table->entryCommit(key, w.entry(7, {first, second}));
  EXPECT_TRUE(w.table->entryExists(key));
  EXPECT_FALSE(w.table->unresolvedEntry(key));
  EXPECT_FALSE(second->isProgrammed());
  w.table->entryRemove(key);
}

TEST_F(CommitTest, ADifferentRecordDropsTheParkedOneAndCountsFromZero) {
  W w;
  auto const key = w.key(5);
  auto const ready = TestHandle::programmed(10);
  auto const late = TestHandle::waiting();
  auto const first = w.table->entryCommit(key, w.entry(7, {ready, late}));
  auto const old = w.table->unresolvedEntry(key);
  w.journal.clear();
  auto const second = w.table->entryCommit(key, w.entry(8, {late, late}));
  EXPECT_EQ(second, first);
  EXPECT_EQ(w.take(), (Lines{"unresolvedEntry key5", kDeleting, kCreating, "unresolvedEntry key5",
                             kInitialize, kInit9, kReturning, kInit12, kReturning}));
  EXPECT_NE(w.table->unresolvedEntry(key), old);
  EXPECT_EQ(w.table->unresolvedEntry(key)->entryHandleProgramSuccessCount(), 0U);
  w.journal.clear();
  late->program(11);
  EXPECT_EQ(linesWith(w.take(), "hwTable"), (Lines{"hwTableEntryIs key5 = 8"}));
  w.table->entryRemove(key);
}

TEST_F(CommitTest, AChangedRecordStaysBehindTheProgrammedOneUntilItResolves) {
  W w;
  auto const key = w.key(5);
  auto const late = TestHandle::waiting();
  auto const handle = w.table->entryCommit(key, w.entry(7, {TestHandle::programmed(10)}));
  (void)w.table->entryCommit(key, w.entry(8, {late}));
  EXPECT_EQ(IngressAdapter::text(w.table->entry(key)), "7");
  EXPECT_EQ(IngressAdapter::text(w.table->getEntry(key)), "8");
  auto const watch = w.watch(handle.get());
  w.journal.clear();
  late->program(11);
  EXPECT_EQ(w.take(), (Lines{kReturning, kCompletion, "handle state 0", "hwTableEntryIs key5 = 8",
                             "entry key5", "unresolvedEntry key5"}));
  w.table->entryRemove(key);
}

TEST_F(CommitTest, ALateAnswerForTheOldRecordReachesTheParkedRecordsHandler) {
  W w;
  auto const key = w.key(5);
  (void)w.table->entryCommitWithResponseHandler(key, w.entry(7, {TestHandle::programmed(10)}),
                                                w.handler("old"));
  (void)w.table->entryCommitWithResponseHandler(key, w.entry(8, {TestHandle::waiting()}),
                                                w.handler("parked"));
  w.journal.clear();
  w.table->entryHandleAccess(key)->entryStateIs(Asic::HwTable::refused);
  EXPECT_EQ(w.take(), (Lines{"parked 2"}));
  w.table->entryRemove(key);
}

TEST_F(CommitTest, ARecordWithoutNeededHandlesIsNeverWritten) {
  W w;
  auto const key = w.key(5);
  auto const handle = w.table->entryCommitWithResponseHandler(key, w.entry(7), w.handler());
  EXPECT_EQ(w.take(), (Lines{kCreating, "entryHandle key5", "unresolvedEntry key5", kInitialize}));
  EXPECT_TRUE(w.table->unresolvedEntry(key));
  w.table->entryRemove(key);
}

TEST_F(CommitTest, FollowsItsKeyAtTheNextCommitOnly) {
  W w;
  auto const key = TestHandle::programmed(5);
  auto const entry = w.entry(7, {TestHandle::waiting()});
  auto const handle = w.table->entryCommit(key, entry);
  key->hwEntryIndexIs(6);
  EXPECT_EQ(handle->hwEntryIndex(), Asic::Index(5));
  (void)w.table->entryCommit(key, entry);
  EXPECT_EQ(handle->hwEntryIndex(), Asic::Index(6));
  w.table->entryRemove(key);
}

TEST_F(CommitTest, TheWaysOfWritingDifferInTheHandlerOnly) {
  W w;
  auto const entry = w.entry(7, {TestHandle::waiting()});
  auto const one = w.key(1);
  auto const two = w.key(2);
  auto const three = w.key(3);
  auto const committed = w.table->entryCommit(one, entry);
  auto const written = w.table->entryWrite(two, entry, Asic::noAutoRemove);
  auto const answered =
      w.table->entryWriteWithResponseHandler(three, entry, w.handler(), Asic::noAutoRemove);
  EXPECT_FALSE(w.table->entryHandle(one)->writeResponseHandler());
  EXPECT_FALSE(w.table->entryHandle(two)->writeResponseHandler());
  ASSERT_TRUE(w.table->entryHandle(three)->writeResponseHandler());
  w.journal.clear();
  w.table->entryHandle(three)->writeResponseHandler()(Asic::HwTable::refused);
  EXPECT_EQ(w.take(), (Lines{"handler 2"}));
  for (auto const& key : {one, two, three}) w.table->entryRemove(key);
}

TEST_F(CommitTest, WithoutReadyHardwareTheSoftwareCopyAndTheHandleAreKeptAlone) {
  W w;
  w.table->hwTableReadyIs(false);
  auto const key = w.key(5);
  auto const handle = w.table->entryCommit(key, w.entry(7, {TestHandle::programmed(10)}));
  EXPECT_TRUE(w.table->entryExists(key));
  EXPECT_EQ(handle->entryState(), Asic::HwTable::success());
  w.table->entryRemove(key);
  EXPECT_EQ(linesWith(w.take(), "hwTable"), Lines{});
}

TEST_F(CommitTest, WhatAHandlerThrowsPassesOutOfTheCommit) {
  W w;
  auto const key = w.key(5);
  EXPECT_THROW((void)w.table->entryCommitWithResponseHandler(
                   key, w.entry(7, {TestHandle::programmed(10)}),
                   [](auto) { throw std::runtime_error("from the handler"); }),
               std::runtime_error);
  EXPECT_TRUE(w.table->entryExists(key));
  EXPECT_TRUE(w.table->entryHandleExists(key));
  w.table->entryHandle(key)->writeResponseHandlerIs({});
  w.table->entryRemove(key);
  EXPECT_FALSE(w.table->entryExists(key));
}

TEST_F(CommitTest, FindOrCreateOfAHandleAnnouncesOnce) {
  W w;
  auto const key = w.key(5);
  auto const handle = w.table->entryHandleIs(key, w.table.get());
  EXPECT_EQ(w.table->entryHandleIs(key, w.table.get()), handle);
  EXPECT_EQ(w.table->entryHandleMutate(key), handle);
  EXPECT_EQ(w.take(), (Lines{"entryHandle key5"}));
  EXPECT_EQ(w.table->entryHandles(), 1U);
}

TEST_F(CommitTest, AHandleOfAnotherTableUnderAnExistingKeyIsRefused) {
  W w;
  auto const key = w.key(5);
  auto const other = Table::IngL3NextHop1TableIs();
  auto const handle = w.table->entryHandleIs(key, w.table.get());
  w.journal.clear();
  EXPECT_THROW((void)w.table->entryHandleIs(key, other.get()), Vek::ReinstantiationException);
  EXPECT_EQ(w.table->entryHandle(key), handle);
  EXPECT_EQ(w.take(), Lines{});
}

TEST_F(CommitTest, HasNoEntriesAfterConstructionAndIsReadyForUse) {
  auto const table = Table::IngL3NextHop1TableIs();
  EXPECT_TRUE(table->hasNotificationActive());
  EXPECT_EQ(table->entrys() + table->entryHandles() + table->pendingEntrySms() +
                table->unresolvedEntrys(),
            0U);
  EXPECT_EQ(table->references(), 1U);
}

TEST_F(CommitTest, TypesNameThemselves) {
  W w;
  auto const key = w.key(5);
  EXPECT_STREQ(w.table->fwkType().name(), "OrviaL3Unicast::IngL3NextHop1Table");
  EXPECT_STREQ(w.util->fwkType().name(), "OrviaL3Unicast::IngL3NextHop1TableUtil");
  EXPECT_STREQ(w.handle(key)->fwkType().name(), "OrviaL3Unicast::IngL3NextHop1Table::EntryHandle");
  EXPECT_STREQ(w.table->pendingEntrySmIs(nullptr, key)->fwkType().name(),
               "OrviaL3Unicast::IngL3NextHop1Table::PendingEntrySm");
  auto const parked = w.table->unresolvedEntryIs(key);
  EXPECT_STREQ(parked->fwkType().name(), "OrviaL3Unicast::IngL3NextHop1Table::UnresolvedEntry");
  EXPECT_STREQ(parked->neededEntryHandleSmIs(TestHandle::waiting(), 9)->fwkType().name(),
               "OrviaL3Unicast::IngL3NextHop1Table::UnresolvedEntry::NeededEntryHandleSm");
}

}  // namespace
}  // namespace TableTests
