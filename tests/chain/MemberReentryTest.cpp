// The member table when something runs inside its operations, and what it leaves behind.
#include <utility>

#include "ChainTables.h"

namespace ChainTests {
namespace {

class ChainMemberReentryTest : public FewMemberRowsTest {
 protected:
  // What runs the first time only.
  template <class Action>
  static auto once(Action action) {
    return [action, done = false](auto const&...) mutable {
      if (!std::exchange(done, true)) action();
    };
  }
  // Runs `action` at the next announcement of that attribute.
  void onceAt(std::string const& attribute, std::function<void()> const& action) {
    world.watch->onAnnouncement = [attribute,
                                   run = once(action)](std::string const& announced) mutable {
      if (announced == attribute) run();
    };
  }
  // A block of two whose first row has just been written gives both back: the hardware of these
  // tests insists on rows that are there.
  void secondRowMayGo() { world.util->rows[1] = "not written yet"; }
};

TEST_F(ChainMemberReentryTest, ABlockThatIsReferencedAgainFromWithinItsDeletionKeepsItsRows) {
  auto const block = blockOf({a, b});
  auto handle = table.entryBlockRef(block);
  Handle again;
  world.util->onDelete = once([&] { again = table.entryBlockRef(block); });
  handle = nullptr;
  ASSERT_TRUE(again);
  EXPECT_EQ(world.util->rows, (Rows{{0, "11"}, {1, "12"}}));
  EXPECT_EQ(table.indexAllocator()->rowsInUse(), 2U);
  EXPECT_EQ(again->hwEntryIndex(), 0);
  EXPECT_TRUE(again->isProgrammed());
  EXPECT_EQ(table.rawEntryHandle(block), again);
}

TEST_F(ChainMemberReentryTest, ABlockThatIsReferencedAnewWhenItsWaitingRecordGoesStays) {
  auto const block = blockOf({late});
  auto handle = table.entryBlockRef(block);
  Handle again;
  world.observe();
  onceAt("unresolvedEntryBlock", [&] {
    program(*late, 20);
    again = table.entryBlockRef(block);
  });
  handle = nullptr;
  ASSERT_TRUE(again);
  EXPECT_TRUE(table.entryBlockExists(block));
  EXPECT_EQ(world.util->rows, (Rows{{0, "20"}}));
  EXPECT_EQ(table.rawEntryHandle(block), again);
}

TEST_F(ChainMemberReentryTest, AWriteThatEndsItsBlockWritesNoFurtherRow) {
  auto handle = table.entryBlockRef(blockOf({late, a}));
  world.util->onWrite = [&](std::uint32_t) {
    secondRowMayGo();
    handle = nullptr;
  };
  program(*late, 20);
  EXPECT_EQ(journal.take(), (Lines{"member write 0 20", "member delete 0", "member delete 1"}));
  EXPECT_EQ(table.indexAllocator()->rowsInUse(), 0U);
}

TEST_F(ChainMemberReentryTest, AWriteThatBeginsItsBlockAnewElsewhereLeavesItsOldRowsToTheirOwner) {
  auto const block = blockOf({late, a});
  auto handle = table.entryBlockRef(block);
  Handle other;
  world.util->onWrite = once([&] {
    secondRowMayGo();
    handle = nullptr;
    other = table.entryBlockRef(blockOf({b, b}));
    handle = table.entryBlockRef(block);
  });
  program(*late, 20);
  EXPECT_EQ(world.util->rows, (Rows{{0, "12"}, {1, "12"}, {2, "20"}, {3, "11"}}));
  EXPECT_EQ(other->hwEntryIndex(), 0);
  EXPECT_EQ(handle->hwEntryIndex(), 2);
}

TEST_F(ChainMemberReentryTest, ACommittedBlockIsCountedWhenItsRowsAreWritten) {
  std::vector<std::size_t> counts;
  world.util->onWrite = [&](std::uint32_t) { counts.push_back(table.entryBlocks()); };
  auto const handle = table.entryBlockRef(blockOf({a, b}));
  EXPECT_EQ(counts, (std::vector<std::size_t>{1, 1}));
}

TEST_F(ChainMemberReentryTest, ABlockThatComesAndGoesWithinItsDeletionLeavesNothing) {
  auto const block = blockOf({a});
  table.entryBlockIs(block);
  world.util->onDelete = once([&] {
    table.entryBlockIs(block);
    table.entryBlockDel(block);
  });
  EXPECT_TRUE(table.entryBlockDel(block));
  EXPECT_EQ(table.entryBlocks(), 0U);
  EXPECT_EQ(table.indexAllocator()->rowsInUse(), 0U);
  table.entryBlockIs(block);
  EXPECT_TRUE(table.entryBlockExists(block));
  EXPECT_EQ(table.entryBlocks(), 1U);
}

TEST_F(ChainMemberReentryTest, AWaitingBlockIsReadyForUseAndKnowsItsTableWhenItIsAnnounced) {
  auto const block = blockOf({late});
  L3EcmpMemberTable const* seen = nullptr;
  world.observe();
  onceAt("unresolvedEntryBlock", [&] { seen = table.unresolvedEntryBlock(block)->table(); });
  auto const waiting = table.unresolvedEntryBlockIs(block);
  EXPECT_EQ(seen, &table);
  EXPECT_TRUE(waiting->hasNotificationActive());
}

TEST_F(ChainMemberReentryTest, AnAllocatorIsInItsPlaceWhenItIsAnnouncedAndHasNoParentWhenItGoes) {
  Vek::Ptr<Asic::AnySizedBlockAllocator> seen;
  world.observe();
  onceAt("indexAllocator", [&] { seen = table.indexAllocator(); });
  auto const made = table.indexAllocatorIs(L3EcmpMemberTraits::keyType(), 8);
  EXPECT_EQ(seen, made);
  ASSERT_EQ(made->parent(), &table);
  Vek::PtrInterface const* parent = &table;
  onceAt("indexAllocator", [&] { parent = made->parent(); });
  table.indexAllocatorDel();
  EXPECT_EQ(parent, nullptr);
}

// A block names its members' handles; where nothing is left for it, nothing may keep them alive.
TEST_F(ChainMemberReentryTest, ABlockThatTheTableHasNothingForKeepsNoMemberAlive) {
  auto const held = table.entryBlockRef(blockOf({b}));
  auto* const registered = const_cast<L3EcmpMemberTable::EntryHandle*>(held.get());
  world.observe();
  {
    auto const block = blockOf({a});
    table.entryBlockIs(block);
    table.entryBlockDel(block);
  }
  EXPECT_EQ(a->references(), 1U) << "a committed block";
  {
    auto const block = blockOf({a});
    table.unresolvedEntryBlockIs(block);
    table.unresolvedEntryBlockDel(block);
  }
  EXPECT_EQ(a->references(), 1U) << "a waiting block";
  {
    auto const block = blockOf({a});
    table.rawEntryHandleDel(held->key());
    table.rawEntryHandleIs(block, registered);
    onceAt("rawEntryHandle", [&] { table.rawEntryHandleIs(block, registered); });
    table.rawEntryHandleDelAll();
    EXPECT_FALSE(table.rawEntryHandleHas(block));
  }
  EXPECT_EQ(a->references(), 1U) << "a registration that an observer put back";
  table.rawEntryHandleIs(held->key(), registered);
}

TEST_F(ChainMemberReentryTest, AWatcherThatOutlivesItsWaitingBlockCountsForNobody) {
  auto handle = table.entryBlockRef(blockOf({late}));
  auto const watcher = table.unresolvedEntryBlock(blockOf({late}))->neededEntryHandleSm(0);
  ASSERT_TRUE(watcher);
  ASSERT_TRUE(watcher->enclosing());
  handle = nullptr;
  EXPECT_EQ(watcher->enclosing(), nullptr);
  EXPECT_FALSE(watcher->hasNotificationActive());
}

// A member table that goes while its observers let handles go.
class ChainMemberTeardownTest : public ChainTest {
 protected:
  Journal journal;
  Vek::Ptr<TestHandle> const a = programmedHandle(11);
  Vek::Ptr<TestHandle> const late = waitingHandle();
  std::unique_ptr<TableWorld<Members>> own = std::make_unique<TableWorld<Members>>(journal, 16);
  Vek::Ptr<RecordingUtil<Members>> const util = own->util;
};

TEST_F(ChainMemberTeardownTest, AHandleThatGoesWithTheAllocatorIsNoWorkForTheHardware) {
  auto handle = own->table->entryBlockRef(blockOf({a}));
  own->observe();
  auto const watch = own->watch;
  watch->onAnnouncement = [&](std::string const& attribute) {
    if (attribute == "indexAllocator") handle = nullptr;
  };
  journal.take();
  own.reset();
  EXPECT_FALSE(handle);
  EXPECT_EQ(journal.take(),
            (Lines{"member announces indexAllocator", "member announces entryBlock x1",
                   "member announces rawEntryHandle x1"}));
  EXPECT_EQ(util->rows.size(), 1U) << "what the hardware holds stays in it";
}

TEST_F(ChainMemberTeardownTest, HandlesHaveTheirTableWhileItsWaitingBlocksGo) {
  auto const handle = own->table->entryBlockRef(blockOf({late}));
  L3EcmpMemberTable const* const table = own->table.get();
  L3EcmpMemberTable const* seen = nullptr;
  own->observe();
  auto const watch = own->watch;
  watch->onAnnouncement = [&](std::string const& attribute) {
    if (attribute == "unresolvedEntryBlock") seen = handle->swTable();
  };
  own.reset();
  EXPECT_EQ(seen, table);
  EXPECT_EQ(handle->swTable(), nullptr);
}

// The last of a next hop goes with the block that names it. Whoever lets a handle of the dying
// table go then must not reach into collections that are half gone.
TEST_F(ChainMemberTeardownTest, HandlesAreCutOffBeforeTheCollectionsAreEmptied) {
  TableWorld<NextHops> hops(journal);
  hops.answerAtOnce();
  auto hop = hops.table->entryRef(NextHops::key(1), NextHops::entry(a, 1));
  auto handle = own->table->entryBlockRef(blockOf({a}));
  own->table->entryBlockIs(blockOf({hop}));
  hop = nullptr;
  hops.observe();
  hops.watch->onAnnouncement = [&](std::string const&) { handle = nullptr; };
  journal.take();
  own.reset();
  EXPECT_FALSE(handle);
  EXPECT_EQ(util->rows.size(), 2U);
  EXPECT_EQ(hops.table->entrys(), 0U);
}

TEST_F(ChainMemberReentryTest, ADeletionWhoseRowsWentToAnotherBlockLeavesThemToIt) {
  auto const block = blockOf({a, b});
  auto handle = table.entryBlockRef(block);
  Handle other;
  world.util->onDelete = once([&] {
    table.entryBlockRef(block);  // committed in the same rows, and given up at once
    other = table.entryBlockRef(blockOf({b, b}));
  });
  handle = nullptr;
  ASSERT_TRUE(other);
  EXPECT_EQ(other->hwEntryIndex(), 0);
  EXPECT_EQ(world.util->rows, (Rows{{0, "12"}, {1, "12"}}));
  EXPECT_EQ(table.indexAllocator()->rowsInUse(), 2U);
}

}  // namespace
}  // namespace ChainTests
