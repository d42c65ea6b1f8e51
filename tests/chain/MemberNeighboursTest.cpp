// The member table when blocks come and go beside the one that it works on.
#include "ChainTables.h"
#include "Vek/Walker.h"

namespace ChainTests {
namespace {

class ChainMemberNeighboursTest : public FewMemberRowsTest {};

TEST_F(ChainMemberNeighboursTest, AnUnknownBlockIsNotDeletedAndNothingIsSaid) {
  world.observe();
  EXPECT_FALSE(table.entryBlockDel(blockOf({a})));
  EXPECT_EQ(journal.take(), Lines{});
}

TEST_F(ChainMemberNeighboursTest, AWriteThatBringsAnotherBlockGoesOnWithItsRows) {
  auto const handle = table.entryBlockRef(blockOf({late, a}));
  L3EcmpMemberTable::EntryHandle::PtrConst other;
  world.util->onWrite = [&](std::uint32_t row) {
    if (row == 0) other = table.entryBlockRef(blockOf({b}));
  };
  program(*late, 20);
  EXPECT_EQ(world.util->rows, (Rows{{0, "20"}, {1, "11"}, {2, "12"}}));
  EXPECT_EQ(handle->hwEntryIndex(), 0);
  EXPECT_TRUE(handle->isProgrammed());
  ASSERT_TRUE(other);
  EXPECT_EQ(other->hwEntryIndex(), 2);
}

TEST_F(ChainMemberNeighboursTest, AWaitingBlockThatAnObserverPutsBackGoesToo) {
  auto const block = blockOf({late});
  auto const handle = table.entryBlockRef(block);
  world.observe();
  int times = 0;
  world.watch->onAnnouncement = [&](std::string const& announced) {
    if (announced != "unresolvedEntryBlock" || table.unresolvedEntryBlock(block)) return;
    if (++times < 4) table.unresolvedEntryBlockIs(block);
  };
  table.unresolvedEntryBlockDelAll();
  EXPECT_EQ(times, 1) << "what was put back goes without another word";
  EXPECT_EQ(table.unresolvedEntryBlocks(), 0U);
  EXPECT_FALSE(table.unresolvedEntryBlock(block));
}

TEST_F(ChainMemberNeighboursTest, AWatcherThatWasTakenOutCountsForNobody) {
  auto const block = blockOf({late});
  auto const handle = table.entryBlockRef(block);
  auto const waiting = table.unresolvedEntryBlock(block);
  auto const watcher = waiting->neededEntryHandleSmDel(0);
  ASSERT_TRUE(watcher);
  program(*late, 20);
  watcher->handleEntryProgramming();
  EXPECT_EQ(waiting->entryHandleProgramSuccessCount(), 0);
  EXPECT_FALSE(table.entryBlockExists(block));
}

TEST_F(ChainMemberNeighboursTest, ARestartByNameClearsTheHardware) {
  Vek::Walker(world.table).call("syncEntries");
  EXPECT_EQ(journal.take(), (Lines{"member delete all"}));
}

}  // namespace
}  // namespace ChainTests
