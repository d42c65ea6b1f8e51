// The member table: blocks waiting, committed, released; rows; exhaustion; life and end.
#include "Asic/GenericIndexAllocator.h"
#include "ChainTables.h"
#include "Vek/Exception.h"

namespace ChainTests {
namespace {

class ChainMemberTest : public ChainTest {
 protected:
  Journal journal;
  Vek::Ptr<TestHandle> const a = programmedHandle(11);
  Vek::Ptr<TestHandle> const b = programmedHandle(12);
  Vek::Ptr<TestHandle> const late = waitingHandle();
  TableWorld<Members> world{journal, 1024};
  L3EcmpMemberTable& table = *world.table;
};

TEST_F(ChainMemberTest, ANewBlockPassesThroughTheWaitingStateAlsoWhenNothingIsMissing) {
  world.observe();
  ChainTraces const traces(journal);
  auto const handle = table.entryBlockRef(blockOf({a, b}));
  EXPECT_EQ(
      journal.take(),
      (Lines{"3 entryBlockRef", "member announces rawEntryHandle x2",
             "member announces unresolvedEntryBlock x2",
             "3 initializeUnresolvedEntryBlock: initializing the unresolvedEntryBlock, "
             "blockSize 2 entrys: 2",
             "3 doEnclosingInit: initializing neededEntryHandleSm: 0",
             "3 doEnclosingInit: initializing neededEntryHandleSm: 1",
             "8 handleEntryHandleProgramSuccessCount: Unresolved entry processing completed: ",
             "3 handleEntryBlock", "member write 0 11", "member write 1 12",
             "member announces entryBlock x2", "member announces unresolvedEntryBlock x2",
             "3 entryBlockRef : Returning a new unresolved entryBlock: "}));
  EXPECT_EQ(handle->hwEntryIndex(), 0);
  EXPECT_EQ(handle->entryState(), accepted);
  EXPECT_EQ(handle->key(), blockOf({a, b}));
  EXPECT_EQ(handle->swTable(), &table);
  EXPECT_EQ(handle->references(), 1U);
}

TEST_F(ChainMemberTest, AWaitingBlockTracesNothingThatItWaits) {
  ChainTraces const traces(journal);
  auto const handle = table.entryBlockRef(blockOf({late}));
  EXPECT_EQ(journal.take(),
            (Lines{"3 entryBlockRef",
                   "3 initializeUnresolvedEntryBlock: initializing the unresolvedEntryBlock, "
                   "blockSize 1 entrys: 1",
                   "3 doEnclosingInit: initializing neededEntryHandleSm: 0",
                   "3 entryBlockRef : Returning a new unresolved entryBlock: "}));
}

TEST_F(ChainMemberTest, ReferencingAWaitingBlockAgainReturnsItsHandle) {
  auto const first = table.entryBlockRef(blockOf({a, late}));
  auto const parked = table.unresolvedEntryBlock(blockOf({a, late}));
  world.observe();
  ChainTraces const traces(journal);
  EXPECT_EQ(table.entryBlockRef(blockOf({a, late})), first);
  EXPECT_EQ(journal.take(),
            (Lines{"3 entryBlockRef", "3 entryBlockRef : Found unresolved entry: "}));
  EXPECT_EQ(table.unresolvedEntryBlock(blockOf({a, late})), parked);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1);
  EXPECT_EQ(parked->neededEntryHandleCount(), 2);
}

TEST_F(ChainMemberTest, ReferencingACommittedBlockAgainReturnsItsHandle) {
  auto const first = table.entryBlockRef(blockOf({a, b}));
  journal.take();
  world.observe();
  ChainTraces const traces(journal);
  EXPECT_EQ(table.entryBlockRef(blockOf({a, b})), first);
  EXPECT_EQ(journal.take(),
            (Lines{"3 entryBlockRef", "3 entryBlockRef : Found an existing entry: "}));
}

TEST_F(ChainMemberTest, ACommittedBlockWithoutARegisteredHandleYieldsNone) {
  table.entryBlockIs(blockOf({a}));
  EXPECT_EQ(journal.take(), (Lines{"member write 0 11"}));
  EXPECT_FALSE(table.entryBlockRef(blockOf({a})));
}

TEST_F(ChainMemberTest, EntryBlockWriteWithAutoRemoveIsARef) {
  auto const handle = table.entryBlockWrite(blockOf({a}), Asic::needsAutoRemove());
  EXPECT_EQ(table.entryBlockRef(blockOf({a})), handle);
  EXPECT_FALSE(table.responseNeeded());
}

TEST_F(ChainMemberTest, ABlockThatIsNotFullIsRefusedAndNothingChanges) {
  Block block(Asic::BlockSize(3));
  block.entryIs(0, L3EcmpMember(a));
  block.entryIs(1, L3EcmpMember(b));
  world.observe();
  ChainTraces const traces(journal);
  try {
    table.entryBlockRef(block);
    FAIL() << "no exception";
  } catch (Vek::Exception const& refusal) {
    EXPECT_STREQ(refusal.what(), "Unsupported behavior");
  }
  EXPECT_EQ(journal.take(), Lines{});
  EXPECT_FALSE(table.entryHandleExists(block));
}

TEST_F(ChainMemberTest, OnlyTheNumberOfMembersIsTested) {
  // Position 0 is a hole, position 5 lies outside: as many members as the size all the same.
  Block block(Asic::BlockSize(2));
  block.entryInternalIs(1, L3EcmpMember(a));
  block.entryInternalIs(5, L3EcmpMember(b));
  auto const handle = table.entryBlockRef(block);
  EXPECT_TRUE(table.unresolvedEntryBlock(block));
  EXPECT_EQ(table.unresolvedEntryBlock(block)->entryHandleProgramSuccessCount(), 1);
  EXPECT_EQ(journal.take(), Lines{});
  // Committed by hand, the hole is written as an empty member.
  table.entryBlockIs(block);
  EXPECT_EQ(journal.take(), (Lines{"member write 0 none", "member write 1 11"}));
}

TEST_F(ChainMemberTest, OrderOfMembersMakesDifferentBlocks) {
  auto const ab = table.entryBlockRef(blockOf({a, b}));
  auto const ba = table.entryBlockRef(blockOf({b, a}));
  EXPECT_NE(ab, ba);
  EXPECT_EQ(ab->hwEntryIndex(), 0);
  EXPECT_EQ(ba->hwEntryIndex(), 2);
}

TEST_F(ChainMemberTest, AnEmptyBlockNeverCommits) {
  world.observe();
  auto handle = table.entryBlockRef(Block());
  EXPECT_EQ(journal.take(), (Lines{"member announces rawEntryHandle x0",
                                   "member announces unresolvedEntryBlock x0"}));
  EXPECT_EQ(table.unresolvedEntryBlock(Block())->neededEntryHandleCount(), 0);
  EXPECT_EQ(handle->entryState(), notAnswered);
  EXPECT_EQ(handle->hwEntryIndex(), noRow);
  EXPECT_EQ(table.entryBlocks(), 0U);
  EXPECT_EQ(table.indexAllocator()->rowsInUse(), 0U);
  EXPECT_EQ(table.entryBlockRef(Block()), handle);
  handle = nullptr;
  EXPECT_EQ(journal.take(), (Lines{"member announces unresolvedEntryBlock x0",
                                   "member announces rawEntryHandle x0"}));
}

TEST_F(ChainMemberTest, ALateMemberHoldsBackEveryRow) {
  auto const handle = table.entryBlockRef(blockOf({a, late, b}));
  EXPECT_EQ(journal.take(), Lines{});
  EXPECT_EQ(table.indexAllocator()->rowsInUse(), 0U);
  late->entryStateIs(accepted);
  late->entryStateIs(refused);
  late->hwEntryIndexIs(20);
  EXPECT_EQ(journal.take(), Lines{});
  HandleWatch const watch(journal, "block", *handle);
  late->entryStateIs(accepted);
  EXPECT_EQ(journal.take(), (Lines{"member write 0 11", "member write 1 20", "member write 2 12",
                                   "block row 0 state 0", "block row 0 state 1"}));
}

TEST_F(ChainMemberTest, TheSameNextHopTwiceHasTwoWatchers) {
  auto const handle = table.entryBlockRef(blockOf({late, late, a}));
  auto const parked = table.unresolvedEntryBlock(blockOf({late, late, a}));
  EXPECT_TRUE(parked->neededEntryHandleSm(0));
  EXPECT_TRUE(parked->neededEntryHandleSm(1));
  EXPECT_NE(parked->neededEntryHandleSm(0), parked->neededEntryHandleSm(1));
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1);
  program(*late, 30);
  EXPECT_EQ(journal.take(), (Lines{"member write 0 30", "member write 1 30", "member write 2 11"}));
}

TEST_F(ChainMemberTest, AWatcherCountsOnceWhateverItsHandleDoesLater) {
  auto const handle = table.entryBlockRef(blockOf({a, b, late}));
  auto const parked = table.unresolvedEntryBlock(blockOf({a, b, late}));
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 2);
  EXPECT_TRUE(parked->neededEntryHandleSm(0)) << "counted during construction, inserted after it";
  a->hwEntryIndexIs(40);
  a->entryStateIs(notAnswered);
  a->entryStateIs(accepted);
  b->hwEntryIndexIs(41);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 2);
  EXPECT_EQ(journal.take(), Lines{});
  program(*late, 42);
  EXPECT_EQ(journal.take(), (Lines{"member write 0 40", "member write 1 41", "member write 2 42"}));
}

TEST_F(ChainMemberTest, AWatcherThatCountedLaterDoesNotCountAgain) {
  Vek::Ptr<TestHandle> const other = waitingHandle();
  auto const handle = table.entryBlockRef(blockOf({late, other}));
  auto const parked = table.unresolvedEntryBlock(blockOf({late, other}));
  program(*late, 42);
  EXPECT_FALSE(parked->neededEntryHandleSm(0));
  late->hwEntryIndexIs(43);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1);
}

TEST_F(ChainMemberTest, AMemberWithoutAHandleMakesTheBlockWaitForEver) {
  auto const block = blockOf({a, nullptr});
  auto handle = table.entryBlockRef(block);
  auto const parked = table.unresolvedEntryBlock(block);
  ASSERT_TRUE(parked->neededEntryHandleSm(1));
  EXPECT_FALSE(parked->neededEntryHandleSm(1)->notifier());
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1);
  a->hwEntryIndexIs(50);
  EXPECT_EQ(table.entryBlocks(), 0U);
  handle = nullptr;
  EXPECT_FALSE(table.entryHandleExists(block));
  EXPECT_EQ(journal.take(), Lines{});
}

TEST_F(ChainMemberTest, ReleasingAWaitingBlockOnlyDropsIt) {
  auto handle = table.entryBlockRef(blockOf({late}));
  world.observe();
  handle = nullptr;
  EXPECT_EQ(journal.take(), (Lines{"member announces unresolvedEntryBlock x1",
                                   "member announces rawEntryHandle x1"}));
  program(*late, 3);
  EXPECT_EQ(journal.take(), Lines{});
}

TEST_F(ChainMemberTest, ReleasingACommittedBlockClearsItsRowsThenFreesThem) {
  auto handle = table.entryBlockRef(blockOf({a, b}));
  journal.take();
  world.observe();
  std::vector<std::uint32_t> inUse;
  world.util->onDelete = [&](std::uint32_t) {
    inUse.push_back(table.indexAllocator()->rowsInUse());
  };
  ChainTraces const traces(journal);
  handle = nullptr;
  EXPECT_EQ(journal.take(),
            (Lines{"3 handleEntryBlock", "member delete 0", "member delete 1",
                   "member announces entryBlock x2", "member announces rawEntryHandle x2"}));
  world.util->onDelete = nullptr;
  EXPECT_EQ(inUse, (std::vector<std::uint32_t>{2, 2}));
  EXPECT_EQ(table.indexAllocator()->rowsInUse(), 0U);
  handle = table.entryBlockRef(blockOf({a, b}));
  EXPECT_EQ(handle->hwEntryIndex(), 0);
}

TEST_F(ChainMemberTest, BlocksOfEverySizeArePlacedWrittenAndReleased) {
  std::vector<NeededHandle> hops;
  for (std::uint32_t n = 0; n < 512; ++n) hops.push_back(programmedHandle(1000 + n));
  std::vector<NeededHandle> handles;
  std::uint32_t total = 0;
  for (std::uint32_t const size : {1U, 2U, 3U, 64U, 512U}) {
    auto const block = blockOf(std::vector<NeededHandle>(hops.begin(), hops.begin() + size));
    journal.take();
    handles.push_back(table.entryBlockRef(block));
    auto const base = handles.back()->hwEntryIndex().value();
    Lines expected;
    for (std::uint32_t i = 0; i < size; ++i) {
      expected.push_back("member write " + std::to_string(base + i) + " " +
                         std::to_string(1000 + i));
    }
    EXPECT_EQ(journal.take(), expected);
    total += size;
    EXPECT_EQ(table.indexAllocator()->rowsInUse(), total);
  }
  EXPECT_EQ(world.util->rows.size(), total);
  handles.clear();
  EXPECT_TRUE(world.util->rows.empty());
  EXPECT_EQ(table.indexAllocator()->largestFreeRun(), 1024U);
}

TEST_F(ChainMemberTest, AWideBlockWaitsForEveryOneOfItsMembersInAnyOrder) {
  std::vector<Vek::Ptr<TestHandle>> hops;
  for (std::uint32_t n = 0; n < 512; ++n) hops.push_back(waitingHandle());
  std::vector<NeededHandle> const members(hops.begin(), hops.end());
  auto const handle = table.entryBlockRef(blockOf(members));
  for (std::uint32_t n = 0; n < 512; ++n) {
    EXPECT_TRUE(journal.take().empty());
    program(*hops[(n * 77 + 5) % 512], n + 1);
  }
  EXPECT_EQ(journal.take().size(), 512U);
  EXPECT_TRUE(handle->isProgrammed());
}

TEST_F(ChainMemberTest, BlocksThatShareNextHopsResolveTogether) {
  auto const one = table.entryBlockRef(blockOf({late}));
  auto const two = table.entryBlockRef(blockOf({a, late}));
  auto const three = table.entryBlockRef(blockOf({late, b, late}));
  program(*late, 60);
  EXPECT_EQ(journal.take(), (Lines{"member write 0 60", "member write 1 11", "member write 2 60",
                                   "member write 3 60", "member write 4 12", "member write 5 60"}));
  EXPECT_EQ(one->hwEntryIndex(), 0);
  EXPECT_EQ(two->hwEntryIndex(), 1);
  EXPECT_EQ(three->hwEntryIndex(), 3);
}

TEST_F(ChainMemberTest, AnswersForMemberRowsChangeNoHandle) {
  auto const handle = table.entryBlockRef(blockOf({a, b}));
  HandleWatch const watch(journal, "block", *handle);
  journal.take();
  world.answer(0, refused);
  world.answer(1, accepted);
  EXPECT_EQ(journal.take(), Lines{});
}

TEST_F(ChainMemberTest, CommittingACommittedBlockDoesNothing) {
  auto const handle = table.entryBlockRef(blockOf({a}));
  journal.take();
  world.observe();
  ChainTraces const traces(journal);
  table.entryBlockIs(blockOf({a}));
  EXPECT_EQ(journal.take(), Lines{});
}

TEST_F(ChainMemberTest, DeletingABlockSaysWhetherItWasCommitted) {
  auto const handle = table.entryBlockRef(blockOf({a}));
  journal.take();
  world.observe();
  EXPECT_TRUE(table.entryBlockDel(blockOf({a})));
  EXPECT_EQ(journal.take(), (Lines{"member delete 0", "member announces entryBlock x1"}));
  EXPECT_FALSE(table.entryBlockDel(blockOf({a})));
  EXPECT_EQ(journal.take(), Lines{});
}

TEST_F(ChainMemberTest, DeletingAllBlocksClearsEachOfThem) {
  auto const one = table.entryBlockRef(blockOf({a}));
  auto const two = table.entryBlockRef(blockOf({a, b}));
  journal.take();
  table.entryBlockDelAll();
  EXPECT_EQ(journal.take(), (Lines{"member delete 0", "member delete 1", "member delete 2"}));
  EXPECT_EQ(table.entryBlocks(), 0U);
  EXPECT_TRUE(table.entryHandleExists(blockOf({a})));
}

TEST_F(ChainMemberTest, WaitingBlocksAreFoundMadeAndDeletedLikeParkedRecords) {
  auto const block = blockOf({late});
  world.observe();
  EXPECT_FALSE(table.unresolvedEntryBlock(block));
  auto const parked = table.unresolvedEntryBlockIs(block);
  EXPECT_EQ(table.unresolvedEntryBlockIs(block), parked);
  EXPECT_EQ(parked->key(), block);
  EXPECT_EQ(parked->table(), &table);
  EXPECT_EQ(journal.take(), (Lines{"member announces unresolvedEntryBlock x1"}));
  EXPECT_EQ(table.unresolvedEntryBlockDel(block), parked);
  EXPECT_EQ(parked->table(), nullptr);
  EXPECT_FALSE(table.unresolvedEntryBlockDel(block));
  EXPECT_EQ(journal.take(), (Lines{"member announces unresolvedEntryBlock x1"}));
  table.unresolvedEntryBlockIs(block);
  table.unresolvedEntryBlockIs(blockOf({late, late}));
  journal.take();
  table.unresolvedEntryBlockDelAll();
  EXPECT_EQ(journal.take(), (Lines{"member announces unresolvedEntryBlock x1",
                                   "member announces unresolvedEntryBlock x2"}));
}

TEST_F(ChainMemberTest, WithoutReadyHardwareRowsAreReservedAndTheHandleStaysUnprogrammed) {
  table.hwTableReadyIs(false);
  auto handle = table.entryBlockRef(blockOf({a, b}));
  EXPECT_TRUE(table.entryBlockExists(blockOf({a, b})));
  EXPECT_EQ(table.indexAllocator()->rowsInUse(), 2U);
  EXPECT_EQ(handle->entryState(), notAnswered);
  EXPECT_EQ(handle->hwEntryIndex(), noRow);
  handle = nullptr;
  EXPECT_EQ(table.indexAllocator()->rowsInUse(), 0U);
  EXPECT_EQ(journal.take(), Lines{});
}

TEST_F(ChainMemberTest, ABlockProgrammedWithoutARegisteredHandlePublishesNothing) {
  auto const handle = table.entryBlockRef(blockOf({late}));
  table.rawEntryHandleDel(blockOf({late}));
  program(*late, 7);
  EXPECT_EQ(journal.take(), (Lines{"member write 0 7"}));
  EXPECT_EQ(handle->hwEntryIndex(), noRow);
  EXPECT_EQ(handle->entryState(), notAnswered);
  table.rawEntryHandleIs(blockOf({late}),
                         const_cast<L3EcmpMemberTable::EntryHandle*>(handle.get()));
}

TEST_F(ChainMemberTest, TheAllocatorIsKeptOrReplacedByTypeAndSize) {
  auto const old = table.indexAllocator();
  EXPECT_EQ(old->size(), 1024U);
  EXPECT_EQ(old->parent(), &table);
  EXPECT_EQ(old->name(), Vek::String(""));
  EXPECT_EQ(old->blockType().number, 3);
  EXPECT_EQ(old->blockType().module, &_L3EcmpMemberTable_f39f0387_vekModule);
  EXPECT_TRUE(old->hasNotificationActive());
  world.observe();
  EXPECT_EQ(table.indexAllocatorIs(L3EcmpMemberTraits::keyType(), 1024), old);
  EXPECT_EQ(journal.take(), Lines{});
  auto const made = table.indexAllocatorIs(L3EcmpMemberTraits::keyType(), 512);
  EXPECT_EQ(journal.take(), (Lines{"member announces indexAllocator"}));
  EXPECT_EQ(old->parent(), nullptr);
  EXPECT_EQ(made->parent(), &table);
  EXPECT_EQ(made->rowsFree(), 512U);
  auto const otherType = table.indexAllocatorIs(Asic::L3EcmpNextHopKey::classType(), 512);
  EXPECT_NE(otherType, made);
  journal.take();
  EXPECT_EQ(table.indexAllocatorDel(), otherType);
  EXPECT_EQ(otherType->parent(), nullptr);
  EXPECT_EQ(journal.take(), (Lines{"member announces indexAllocator"}));
  EXPECT_FALSE(table.indexAllocatorDel());
  EXPECT_EQ(journal.take(), Lines{});
}

TEST_F(ChainMemberTest, InitialisationMakesTheAllocatorAndNothingElse) {
  auto const bare = Members::make();
  EXPECT_FALSE(bare->indexAllocator());
  EXPECT_TRUE(bare->hasNotificationActive());
  bare->numEntriesIs(8);
  bare->hwTableIs(new Asic::HwTable);
  TableWatch<Members> const watch(journal, *bare);
  bare->doInitComplete();
  EXPECT_EQ(journal.take(), (Lines{"member announces indexAllocator"}));
  EXPECT_EQ(bare->indexAllocator()->rowsFree(), 8U) << "row 0 is not reserved here";
}

TEST_F(ChainMemberTest, AFullTableLetsTheExceptionPassAndKeepsNothing) {
  table.indexAllocatorIs(L3EcmpMemberTraits::keyType(), 3);
  auto one = table.entryBlockRef(blockOf({a, b}));
  journal.take();
  try {
    table.entryBlockRef(blockOf({b, a}));
    FAIL() << "no exception";
  } catch (Asic::NoRowException const& full) {
    EXPECT_EQ(full.tableSize(), 3U);
    EXPECT_EQ(full.rowsFree(), 1U);
    EXPECT_EQ(full.largestFreeRun(), 1U);
    EXPECT_EQ(full.width(), 2U);
    EXPECT_NE(std::string(full.what()).find("table size 3, free rows 1, largest free run 1"),
              std::string::npos)
        << full.what();
  }
  EXPECT_EQ(journal.take(), (Lines{"member ignored delete", "member ignored delete"}));
  EXPECT_FALSE(table.entryHandleExists(blockOf({b, a})));
  EXPECT_FALSE(table.entryBlockExists(blockOf({b, a})));
  EXPECT_FALSE(table.unresolvedEntryBlock(blockOf({b, a})));
  EXPECT_EQ(table.indexAllocator()->rowsInUse(), 2U);
  one = nullptr;
  journal.take();
  auto const again = table.entryBlockRef(blockOf({b, a}));
  EXPECT_EQ(journal.take(), (Lines{"member write 0 12", "member write 1 11"}));
}

TEST_F(ChainMemberTest, AFullTableThrowsFromTheSetterAfterTheOtherBlocksWereServed) {
  table.indexAllocatorIs(L3EcmpMemberTraits::keyType(), 3);
  auto const two = table.entryBlockRef(blockOf({a, late}));
  auto three = table.entryBlockRef(blockOf({late, b}));
  auto const one = table.entryBlockRef(blockOf({late}));
  late->hwEntryIndexIs(70);
  EXPECT_THROW(late->entryStateIs(accepted), Asic::NoRowException);
  EXPECT_EQ(journal.take(), (Lines{"member write 0 11", "member write 1 70", "member write 2 70"}));
  EXPECT_TRUE(one->isProgrammed());
  EXPECT_FALSE(three->isProgrammed());
  EXPECT_TRUE(table.entryBlockExists(blockOf({late, b})));
  EXPECT_EQ(table.entryBlockRef(blockOf({late, b})), three) << "an identical write does not retry";
  EXPECT_EQ(journal.take(), Lines{});
  three = nullptr;
  EXPECT_EQ(journal.take(), (Lines{"member ignored delete", "member ignored delete"}));
  EXPECT_EQ(table.indexAllocator()->rowsFree(), 0U);
}

TEST_F(ChainMemberTest, GoesInOrderWithoutHardwareCallsAndHandlesOutliveItHarmlessly) {
  auto own = std::make_unique<TableWorld<Members>>(journal, 8);
  auto committed = own->table->entryBlockRef(blockOf({a, b}));
  auto waiting = own->table->entryBlockRef(blockOf({late}));
  own->observe();
  auto const watch = own->watch;
  auto const util = own->util;
  journal.take();
  own.reset();
  EXPECT_EQ(journal.take(),
            (Lines{"member announces indexAllocator", "member announces unresolvedEntryBlock x1"}));
  EXPECT_EQ(util->rows.size(), 2U);
  EXPECT_EQ(committed->swTable(), nullptr);
  program(*late, 1);
  committed = nullptr;
  waiting = nullptr;
  EXPECT_EQ(journal.take(), Lines{});
}

TEST_F(ChainMemberTest, ModeIsThereForToolsOnly) {
  using Handle = L3EcmpMemberTable::EntryHandle;
  auto const held = table.entryBlockRef(blockOf({late}));
  auto const handle = table.rawEntryHandle(held->key());
  HandleWatch const watch(journal, "block", *handle);
  handle->modeIs(Handle::add);
  EXPECT_EQ(journal.take(), Lines{});
  handle->modeIs(Handle::del);
  EXPECT_EQ(journal.take().size(), 1U);
  EXPECT_EQ(table.entryBlockRef(blockOf({late})), held);
}

}  // namespace
}  // namespace ChainTests
