// The tables that choose rows for single entries when they go while others use them.
#include "ChainTables.h"

namespace ChainTests {
namespace {

template <class A>
class ChainTeardownReentryTest : public ChainTest {
 protected:
  using Table = typename A::Table;
  using World = TableWorld<A>;

  static std::string announces(std::string const& what) {
    return std::string(A::name) + " announces " + what;
  }
  // The world ends; `action` runs at every announcement of that attribute until then.
  template <class Action>
  void end(std::string const& attribute, Action action) {
    world->observe();
    auto const watch = world->watch;
    auto const util = world->util;
    watch->onAnnouncement = [&](std::string const& announced) {
      if (announced == attribute) action();
    };
    journal.take();
    world.reset();
  }

  Journal journal;
  NeededHandle const waiting = waitingHandle();
  NeededHandle const ready = programmedHandle(5);
  std::unique_ptr<World> world = std::make_unique<World>(journal);
  Table& table = *world->table;
};
TYPED_TEST_SUITE(ChainTeardownReentryTest, AllocatedRowTables, AdapterName);

TYPED_TEST(ChainTeardownReentryTest, AHandleThatGoesWithTheAllocatorIsNoWorkForTheHardware) {
  auto handle = this->table.entryRef(TypeParam::key(1), TypeParam::entry(this->ready, 1));
  auto const util = this->world->util;
  this->end("firstFreeIndexAllocator", [&] { handle = nullptr; });
  EXPECT_FALSE(handle);
  EXPECT_EQ(this->journal.take(),
            (Lines{this->announces("firstFreeIndexAllocator"), this->announces("entry 1"),
                   this->announces("rawEntryHandle 1"), this->announces("writeResponseSm"),
                   this->announces("pendingEntrySm 1")}));
  EXPECT_EQ(util->rows.size(), 1U) << "what the hardware holds stays in it";
}

TYPED_TEST(ChainTeardownReentryTest, TheRecordsAreThereUntilTheReactorsAreGone) {
  this->table.entryCommit(TypeParam::key(1), TypeParam::entry(this->ready, 1));
  int told = 0;
  this->end("pendingEntrySm", [&] {
    ++told;
    EXPECT_TRUE(this->table.entryExists(TypeParam::key(1)));
  });
  EXPECT_EQ(told, 1);
}

// Its numbers go on telling what can be found in it: keys with a record or without, with a handle
// that it owns or without.
TYPED_TEST(ChainTeardownReentryTest, TheTableCountsWhatIsLeftWhileItsHandlesGo) {
  auto const held = this->table.entryRef(TypeParam::key(1), TypeParam::entry(this->ready, 1));
  this->table.entryCommit(TypeParam::key(2), TypeParam::entry(this->waiting, 2));
  this->table.entryCommit(TypeParam::key(3), TypeParam::entry(this->ready, 3));
  ASSERT_EQ(this->table.entrys(), 2U);
  ASSERT_EQ(this->table.entryHandles(), 2U);
  std::vector<std::size_t> left;
  this->end("rawEntryHandle", [&] {
    std::size_t records = 0;
    std::size_t handles = 0;
    for (std::uint32_t n = 1; n <= 3; ++n) {
      records += this->table.entryExists(TypeParam::key(n)) ? 1U : 0U;
      handles += this->table.entryHandle(TypeParam::key(n)) ? 1U : 0U;
    }
    EXPECT_EQ(this->table.entrys(), records);
    EXPECT_EQ(this->table.entryHandles(), handles);
    left.push_back(handles);
  });
  EXPECT_EQ(left, (std::vector<std::size_t>{1, 0}));
}

TYPED_TEST(ChainTeardownReentryTest, WhatIsParkedWhileTheHandlesGoHasNoTableAfterwards) {
  this->table.entryCommit(TypeParam::key(1), TypeParam::entry(this->ready, 1));
  auto const late = waitingHandle();
  typename TypeParam::Table::UnresolvedEntry::Ptr parked;
  this->end("rawEntryHandle", [&] {
    parked = this->table.unresolvedEntryIs(TypeParam::key(2));
    parked->initializeUnresolvedEntry(TypeParam::entry(late, 2));
  });
  ASSERT_TRUE(parked);
  ASSERT_EQ(parked->table(), nullptr);
  program(*late, 9);
  EXPECT_EQ(parked->entryHandleProgramSuccessCount(), 1U);
}

// Other operations that a handle's end runs into.
template <class A>
class ChainHandleEndTest : public AllocatedRowTest<A> {};
TYPED_TEST_SUITE(ChainHandleEndTest, AllocatedRowTables, AdapterName);

TYPED_TEST(ChainHandleEndTest, ARecordThatIsWrittenWhenTheOldHandlesParkedOneGoesStays) {
  auto handle = this->table.entryRef(this->key(), this->parkedEntry());
  typename TypeParam::Table::EntryHandle::PtrConst again;
  bool done = false;
  this->world.observe();
  this->world.watch->onAnnouncement = [&](std::string const& attribute) {
    if (attribute != "unresolvedEntry" || done) return;
    done = true;
    again = this->table.entryRef(this->key(), this->readyEntry(2));
  };
  handle = nullptr;
  ASSERT_TRUE(again);
  EXPECT_EQ(this->table.entry(this->key()), this->readyEntry(2));
  EXPECT_EQ(this->world.util->rows.size(), 1U);
  EXPECT_EQ(this->table.rawEntryHandle(this->key()), again);
}

}  // namespace
}  // namespace ChainTests
