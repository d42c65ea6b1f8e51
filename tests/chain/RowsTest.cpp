// Rows of the tables that choose them: allocation, row 0, exhaustion, answers, life and end.
#include "Asic/GenericIndexAllocator.h"
#include "ChainTables.h"

namespace ChainTests {
namespace {

template <class A>
class ChainRowsTest : public AllocatedRowTest<A> {};
TYPED_TEST_SUITE(ChainRowsTest, AllocatedRowTables, AdapterName);

TYPED_TEST(ChainRowsTest, RowsStartFromOneAndTheLowestFreeOneIsTaken) {
  std::vector<NeededHandle> handles;
  for (std::uint32_t n = 1; n <= 3; ++n) {
    handles.push_back(this->table.entryRef(this->key(n), this->readyEntry()));
  }
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 1 5/1"), this->named("write 2 5/1"),
                                         this->named("write 3 5/1")}));
  handles[1] = nullptr;
  handles[0] = nullptr;
  this->journal.take();
  auto const four = this->table.entryRef(this->key(4), this->readyEntry());
  auto const five = this->table.entryRef(this->key(5), this->readyEntry());
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 1 5/1"), this->named("write 2 5/1")}));
}

TYPED_TEST(ChainRowsTest, ARowIsFreeOnlyAfterTheHardwareRowWasDeleted) {
  this->table.entryCommit(this->key(), this->readyEntry());
  std::uint32_t inUse = 0;
  this->world.util->onDelete = [&](std::uint32_t) {
    inUse = this->table.firstFreeIndexAllocator()->rowsInUse();
  };
  this->table.entryRemove(this->key());
  EXPECT_EQ(inUse, 1U);
  EXPECT_EQ(this->table.firstFreeIndexAllocator()->rowsInUse(), 0U);
}

TYPED_TEST(ChainRowsTest, AParkedRecordHasNoRow) {
  auto const handle = this->table.entryRef(this->key(), this->parkedEntry());
  EXPECT_EQ(this->table.firstFreeIndexAllocator()->rowsInUse(), 0U);
}

TYPED_TEST(ChainRowsTest, TheAllocatorOfTheSameSizeIsKeptSilently) {
  auto const allocator = this->table.firstFreeIndexAllocator();
  EXPECT_EQ(allocator->size(), 16U);
  EXPECT_EQ(allocator->name(), Vek::String(""));
  EXPECT_EQ(allocator->parent(), &this->table);
  this->world.observe();
  EXPECT_EQ(this->table.firstFreeIndexAllocatorIs(16), allocator);
  EXPECT_EQ(this->journal.take(), Lines{});
}

TYPED_TEST(ChainRowsTest, AnAllocatorOfAnotherSizeTakesThePlaceOfTheOldOne) {
  auto const old = this->table.firstFreeIndexAllocator();
  this->world.observe();
  auto const made = this->table.firstFreeIndexAllocatorIs(8);
  EXPECT_EQ(this->journal.take(), (Lines{this->announces("firstFreeIndexAllocator")}));
  EXPECT_NE(made, old);
  EXPECT_EQ(old->parent(), nullptr);
  EXPECT_EQ(made->parent(), &this->table);
  EXPECT_EQ(made->size(), 8U);
  EXPECT_EQ(made->rowsFree(), 8U) << "nothing is reserved by it";
}

TYPED_TEST(ChainRowsTest, TakingTheAllocatorOutIsAnnouncedOnce) {
  auto const allocator = this->table.firstFreeIndexAllocator();
  this->world.observe();
  EXPECT_EQ(this->table.firstFreeIndexAllocatorDel(), allocator);
  EXPECT_EQ(allocator->parent(), nullptr);
  EXPECT_EQ(this->journal.take(), (Lines{this->announces("firstFreeIndexAllocator")}));
  EXPECT_FALSE(this->table.firstFreeIndexAllocatorDel());
  EXPECT_EQ(this->journal.take(), Lines{});
}

TYPED_TEST(ChainRowsTest, RowZeroIsWrittenOnRequestOnly) {
  auto const zero =
      this->table.entryWriteAtIndex(0, this->key(9), this->readyEntry(9), Asic::needsAutoRemove());
  auto const one = this->table.entryRef(this->key(1), this->readyEntry(1));
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 0 5/9"), this->named("write 1 5/1")}));
  EXPECT_FALSE(this->table.entryHandle(this->key(9)));
  this->world.answer(0);
  EXPECT_EQ(zero->hwEntryIndex(), 0);
  EXPECT_TRUE(zero->isProgrammed());
}

TYPED_TEST(ChainRowsTest, RowZeroMayBeAskedForAgainByItsKeyAndIsCommittedAsAsked) {
  auto const first =
      this->table.entryWriteAtIndex(0, this->key(9), this->readyEntry(9), Asic::noAutoRemove);
  auto const second =
      this->table.entryWriteAtIndex(0, this->key(9), this->readyEntry(8), Asic::noAutoRemove);
  EXPECT_EQ(first, second);
  EXPECT_EQ(this->table.entryHandle(this->key(9)), first);
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 0 5/9"), this->named("write 0 5/8")}));
}

TYPED_TEST(ChainRowsTest, RowZeroStaysOutOfAllocationAfterItsRelease) {
  this->table.entryWriteAtIndex(0, this->key(9), this->readyEntry(), Asic::noAutoRemove);
  this->table.entryRemove(this->key(9));
  this->journal.take();
  auto const next = this->table.entryRef(this->key(1), this->readyEntry());
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 1 5/1")}));
  auto const again =
      this->table.entryWriteAtIndex(0, this->key(2), this->readyEntry(), Asic::needsAutoRemove());
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 0 5/1")}));
}

TYPED_TEST(ChainRowsTest, ABindingToRowZeroOutlivesARecordThatWasNeverProgrammed) {
  auto handle =
      this->table.entryWriteAtIndex(0, this->key(9), this->parkedEntry(), Asic::needsAutoRemove());
  handle = nullptr;
  EXPECT_EQ(this->table.firstFreeIndexAllocator()->rowsInUse(), 1U);
  handle =
      this->table.entryWriteAtIndex(0, this->key(9), this->readyEntry(), Asic::needsAutoRemove());
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 0 5/1")}));
}

TYPED_TEST(ChainRowsTest, AnAnswerGoesToTheHandleOfTheRowsKey) {
  auto const one = this->table.entryRef(this->key(1), this->readyEntry());
  auto const two = this->table.entryRef(this->key(2), this->readyEntry());
  HandleWatch const first(this->journal, "one", *one);
  HandleWatch const second(this->journal, "two", *two);
  this->journal.take();
  this->world.answer(2);
  EXPECT_EQ(this->journal.take(), (Lines{"two row 2 state 0", "two row 2 state 1"}));
  this->world.answer(1, refused);
  EXPECT_EQ(this->journal.take(), (Lines{"one row 1 state 0", "one row 1 state 2"}));
  EXPECT_EQ(this->table.entryHandleOfRow(2), two);
}

TYPED_TEST(ChainRowsTest, AnAnswerForARowWithoutAnEntryChangesNothing) {
  auto const one = this->table.entryRef(this->key(1), this->readyEntry());
  this->journal.take();
  HandleWatch const watch(this->journal, "one", *one);
  this->world.answer(0);
  this->world.answer(7);
  this->world.answer(16);
  this->world.answer(noRow.value());
  EXPECT_EQ(this->journal.take(), Lines{});
  EXPECT_FALSE(this->table.entryHandleOfRow(7));
}

TYPED_TEST(ChainRowsTest, InitialisationMakesTheAllocatorThenTheReactor) {
  auto const bare = TypeParam::make();
  EXPECT_FALSE(bare->firstFreeIndexAllocator());
  EXPECT_FALSE(bare->writeResponseSm());
  EXPECT_TRUE(bare->hasNotificationActive());
  bare->hwTableIs(new Asic::HwTable);
  bare->numEntriesIs(4);
  TableWatch<TypeParam> const watch(this->journal, *bare);
  bare->doInitComplete();  // the ready flag is not asked
  EXPECT_EQ(this->journal.take(), (Lines{this->announces("firstFreeIndexAllocator"),
                                         this->announces("writeResponseSm")}));
  EXPECT_EQ(bare->firstFreeIndexAllocator()->size(), 4U);
  EXPECT_EQ(bare->firstFreeIndexAllocator()->rowsFree(), 3U);
  EXPECT_EQ(bare->writeResponseSm()->table(), bare.get());
  EXPECT_TRUE(bare->writeResponseSm()->hasNotificationActive());
}

TYPED_TEST(ChainRowsTest, WithoutAHardwareTableThereIsNoWriteResponseReactor) {
  auto const bare = TypeParam::make();
  bare->numEntriesIs(4);
  TableWatch<TypeParam> const watch(this->journal, *bare);
  bare->doInitComplete();
  EXPECT_EQ(this->journal.take(), (Lines{this->announces("firstFreeIndexAllocator")}));
  EXPECT_FALSE(bare->writeResponseSm());
}

TYPED_TEST(ChainRowsTest, TheWriteResponseReactorOfTheTableIsKept) {
  auto const reactor = this->table.writeResponseSm();
  this->world.observe();
  EXPECT_EQ(this->table.writeResponseSmIs(this->world.table), reactor);
  EXPECT_EQ(this->journal.take(), Lines{});
  EXPECT_EQ(this->table.writeResponseSmDel(), reactor);
  EXPECT_EQ(this->journal.take(), (Lines{this->announces("writeResponseSm")}));
  EXPECT_FALSE(reactor->hasNotificationActive());
  EXPECT_FALSE(this->table.writeResponseSmDel());
  EXPECT_EQ(this->journal.take(), Lines{});
  auto const made = this->table.writeResponseSmIs(this->world.table);
  EXPECT_NE(made, reactor);
  EXPECT_EQ(this->journal.take(), (Lines{this->announces("writeResponseSm")}));
}

// Rows 1 and 2 are all there is.
template <class A>
class ChainFullTableTest : public AllocatedRowTest<A> {
 protected:
  ChainFullTableTest() { this->table.firstFreeIndexAllocatorIs(3)->reserveIndices(0, 0); }
  void fill() {
    this->table.entryCommit(this->key(1), this->readyEntry());
    this->table.entryCommit(this->key(2), this->readyEntry());
    this->journal.take();
  }
};
TYPED_TEST_SUITE(ChainFullTableTest, AllocatedRowTables, AdapterName);

TYPED_TEST(ChainFullTableTest, TheExceptionLeavesTheCallersCommit) {
  this->fill();
  try {
    this->table.entryCommit(this->key(3), this->readyEntry(3));
    FAIL() << "no exception";
  } catch (Asic::NoRowException const& full) {
    EXPECT_EQ(full.tableSize(), 3U);
    EXPECT_EQ(full.rowsFree(), 0U);
    EXPECT_EQ(full.largestFreeRun(), 0U);
    EXPECT_EQ(full.width(), 1U);
    EXPECT_NE(std::string(full.what()).find("table size 3, free rows 0, largest free run 0"),
              std::string::npos)
        << full.what();
  }
  // The record stays where it had been put, and an identical write does not retry.
  EXPECT_TRUE(this->table.entryExists(this->key(3)));
  EXPECT_EQ(this->journal.take(), Lines{});
  this->table.entryRemove(this->key(1));
  auto const same = this->table.entryCommit(this->key(3), this->readyEntry(3));
  EXPECT_EQ(this->journal.take(), (Lines{this->named("delete 1")}));
  EXPECT_EQ(same->hwEntryIndex(), noRow);
}

TYPED_TEST(ChainFullTableTest, RemovingWhatGotNoRowAndWritingAgainWorks) {
  this->fill();
  EXPECT_THROW(this->table.entryCommit(this->key(3), this->readyEntry(3)), Asic::NoRowException);
  this->table.entryRemove(this->key(3));
  EXPECT_EQ(this->journal.take(), (Lines{this->named("ignored delete")}));
  EXPECT_EQ(this->table.firstFreeIndexAllocator()->rowsInUse(), 2U);
  EXPECT_EQ(this->table.entrys(), 2U);
  EXPECT_EQ(this->table.unresolvedEntrys(), 0U);
  EXPECT_FALSE(this->table.entryHandleExists(this->key(3)));
  this->table.entryRemove(this->key(2));
  this->table.entryCommit(this->key(3), this->readyEntry(3));
  EXPECT_EQ(this->journal.take(), (Lines{this->named("delete 2"), this->named("write 2 5/3")}));
  EXPECT_EQ(this->table.firstFreeIndexAllocator()->rowsFree(), 0U);
}

TYPED_TEST(ChainFullTableTest, TheExceptionLeavesTheCallersReferenceWithNothingLeft) {
  this->fill();
  EXPECT_THROW(this->table.entryRef(this->key(3), this->readyEntry(3)), Asic::NoRowException);
  EXPECT_EQ(this->journal.take(), (Lines{this->named("ignored delete")}));
  EXPECT_FALSE(this->table.entryExists(this->key(3)));
  EXPECT_FALSE(this->table.unresolvedEntry(this->key(3)));
  EXPECT_FALSE(this->table.entryHandleExists(this->key(3)));
  this->table.entryRemove(this->key(1));
  auto const handle = this->table.entryRef(this->key(3), this->readyEntry(3));
  EXPECT_EQ(this->journal.take(), (Lines{this->named("delete 1"), this->named("write 1 5/3")}));
}

TYPED_TEST(ChainFullTableTest, TheExceptionLeavesTheSetterAfterEveryReactorWasServed) {
  auto const needed = waitingHandle();
  std::vector<NeededHandle> handles;
  for (std::uint16_t n = 1; n <= 4; ++n) {
    handles.push_back(this->table.entryRef(this->key(n), TypeParam::entry(needed, n)));
  }
  HandleWatch last(this->journal, "needed", *needed);
  last.onChange = [&] {
    if (needed->isProgrammed()) throw std::runtime_error("a later exception");
  };
  needed->hwEntryIndexIs(9);
  this->journal.take();
  EXPECT_THROW(needed->entryStateIs(accepted), Asic::NoRowException);
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 1 9/1"), this->named("write 2 9/2"),
                                         "needed row 9 state 1"}));
  EXPECT_EQ(this->table.entrys(), 4U);
  handles[0] = nullptr;
  handles[2] = nullptr;
  handles[3] = nullptr;
  EXPECT_EQ(this->journal.take(), (Lines{this->named("delete 1"), this->named("ignored delete"),
                                         this->named("ignored delete")}));
  handles[3] = this->table.entryRef(this->key(4), TypeParam::entry(needed, 4));
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 1 9/4")}));
}

TYPED_TEST(ChainFullTableTest, AnEarlierExceptionIsTheOneThatLeaves) {
  auto const needed = waitingHandle();
  HandleWatch first(this->journal, "needed", *needed);
  first.onChange = [&] {
    if (needed->isProgrammed()) throw std::runtime_error("the first exception");
  };
  this->fill();
  auto const handle = this->table.entryRef(this->key(3), TypeParam::entry(needed, 3));
  needed->hwEntryIndexIs(9);
  EXPECT_THROW(
      {
        try {
          needed->entryStateIs(accepted);
        } catch (std::runtime_error const& error) {
          EXPECT_STREQ(error.what(), "the first exception");
          throw;
        }
      },
      std::runtime_error);
  EXPECT_TRUE(this->table.entryExists(this->key(3))) << "the second reactor was served, too";
}

TYPED_TEST(ChainFullTableTest, RewritingAKeyThatHasARowNeedsNone) {
  this->fill();
  this->table.entryCommit(this->key(1), this->readyEntry(8));
  EXPECT_EQ(this->journal.take(), (Lines{this->named("write 1 5/8")}));
}

TYPED_TEST(ChainFullTableTest, ADifferentRecordForAKeyThatGotNoRowTriesAgain) {
  this->fill();
  EXPECT_THROW(this->table.entryCommit(this->key(3), this->readyEntry(3)), Asic::NoRowException);
  EXPECT_THROW(this->table.entryCommit(this->key(3), this->readyEntry(4)), Asic::NoRowException);
  this->table.entryRemove(this->key(2));
  this->table.entryCommit(this->key(3), this->readyEntry(5));
  EXPECT_EQ(this->journal.take(), (Lines{this->named("delete 2"), this->named("write 2 5/5")}));
}

// A table that goes while it holds entries at every stage of their life.
template <class A>
class ChainTeardownTest : public ChainTest {
 protected:
  Journal journal;
};
TYPED_TEST_SUITE(ChainTeardownTest, AllocatedRowTables, AdapterName);

TYPED_TEST(ChainTeardownTest, ReleasesEverythingInOrderWithoutHardwareCallsOrHandlers) {
  auto const announces = [](std::string const& what) {
    return std::string(TypeParam::name) + " announces " + what;
  };
  NeededHandle const waiting = waitingHandle();
  NeededHandle const ready = programmedHandle(5);
  auto const handler = recordingHandler(this->journal, "handler");
  auto world = std::make_unique<TableWorld<TypeParam>>(this->journal);
  auto& table = *world->table;
  table.entryCommitWithResponseHandler(TypeParam::key(1), TypeParam::entry(waiting, 1), handler);
  table.entryCommitWithResponseHandler(TypeParam::key(2), TypeParam::entry(ready, 2), handler);
  auto held =
      table.entryRefWithResponseHandler(TypeParam::key(3), TypeParam::entry(ready, 3), handler);
  auto parked = table.entryRef(TypeParam::key(4), TypeParam::entry(waiting, 4));
  world->observe();
  auto const watch = world->watch;
  auto const hwTable = world->hwTable;
  auto const util = world->util;
  this->journal.take();
  world.reset();
  EXPECT_EQ(this->journal.take(),
            (Lines{announces("firstFreeIndexAllocator"), announces("writeResponseSm"),
                   announces("unresolvedEntry 1"), announces("unresolvedEntry 4"),
                   announces("pendingEntrySm 2"), announces("pendingEntrySm 3"),
                   announces("rawEntryHandle 1"), announces("rawEntryHandle 2")}));
  EXPECT_EQ(util->rows.size(), 2U) << "what the hardware holds stays in it";
  // Handles that outlive their table are harmless, and so is a late answer.
  EXPECT_EQ(held->swTable(), nullptr);
  hwTable->writeResponseIs(1, accepted);
  held = nullptr;
  parked = nullptr;
  EXPECT_EQ(this->journal.take(), Lines{});
}

TYPED_TEST(ChainTeardownTest, AHandlerMayDropTheLastReferenceToTheTable) {
  NeededHandle const ready = programmedHandle(5);
  Vek::Ptr<RecordingUtil<TypeParam>> const util = new RecordingUtil<TypeParam>(this->journal);
  Vek::Ptr<Asic::HwTable> const hwTable = new Asic::HwTable;
  util->expectedHwTable = hwTable.get();
  auto table = TypeParam::make();
  table->hwTableIs(hwTable);
  table->utilIs(util);
  table->numEntriesIs(4);
  table->hwTableReadyIs(true);
  table->doInitComplete();
  table->entryCommitWithResponseHandler(TypeParam::key(1), TypeParam::entry(ready, 1),
                                        [&](State) { table = nullptr; });
  hwTable->writeResponseIs(1, accepted);
  EXPECT_FALSE(table);
  EXPECT_EQ(this->journal.take(), (Lines{std::string(TypeParam::name) + " write 1 5/1"}));
}

TYPED_TEST(ChainTeardownTest, ATableThatWasNeverInitialisedGoesQuietly) {
  auto table = TypeParam::make();
  NeededHandle const waiting = waitingHandle();
  auto const handle = table->entryRef(TypeParam::key(1), TypeParam::entry(waiting, 1));
  table->entryCommit(TypeParam::key(2), TypeParam::entry(waiting, 1));
  table = nullptr;
  EXPECT_EQ(handle->swTable(), nullptr);
}

}  // namespace
}  // namespace ChainTests
