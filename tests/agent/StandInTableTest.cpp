// The agent's stand-ins for the tables that next hops refer to.
#include <gtest/gtest.h>

#include <optional>

#include "Vek/Memory.h"
#include "agent/StandInTable.h"

namespace OrviaL3Agent {
namespace {

std::uint64_t liveEntries() { return Vek::vekLiveObjects("OrviaL3Agent::StandInTable::Entry"); }

TEST(StandInTable, ProgramsAnEntrySomeTurnsAfterItsFirstUse) {
  EventLoop loop;
  StandInTable table(loop, 2);
  StandInTable::Handle const handle = table.entry(7);
  ASSERT_TRUE(handle);
  EXPECT_EQ(handle->entryState(), 0);
  EXPECT_EQ(handle->hwEntryIndex(), Asic::Index::invalidIndex());
  loop.turn();
  EXPECT_FALSE(handle->isProgrammed());
  EXPECT_EQ(table.programmed(), 0U);
  loop.turn();
  EXPECT_TRUE(handle->isProgrammed());
  EXPECT_EQ(handle->hwEntryIndex(), 1U);
  EXPECT_EQ(table.programmed(), 1U);
}

TEST(StandInTable, GivesOneHandlePerKeyAndTheLowestFreeSlot) {
  EventLoop loop;
  StandInTable table(loop, 0);
  StandInTable::Handle const first = table.entry(70);
  StandInTable::Handle second = table.entry(80);
  StandInTable::Handle const third = table.entry(90);
  EXPECT_EQ(table.entry(70), first);
  EXPECT_EQ(first->hwEntryIndex(), 1U);
  EXPECT_EQ(second->hwEntryIndex(), 2U);
  EXPECT_EQ(third->hwEntryIndex(), 3U);
  second = nullptr;
  EXPECT_EQ(table.size(), 2U);
  EXPECT_EQ(table.entry(95)->hwEntryIndex(), 2U);
  EXPECT_EQ(table.peak(), 3U);
}

TEST(StandInTable, TellsKeysApartByAllOfTheirBits) {
  EventLoop loop;
  StandInTable table(loop, 0);
  StandInTable::Handle const first = table.entry(7);
  StandInTable::Handle const second = table.entry(StandInTable::Key{1} << 32U | 7U);
  EXPECT_NE(first, second);
  EXPECT_EQ(table.size(), 2U);
}

TEST(StandInTable, SaysTheSlotOfAnEntryInUse) {
  EventLoop loop;
  StandInTable table(loop, 3);
  EXPECT_EQ(table.slot(70), std::nullopt);
  StandInTable::Handle first = table.entry(70);
  StandInTable::Handle const second = table.entry(80);
  // Before it is programmed, too.
  EXPECT_EQ(table.slot(70), 1U);
  EXPECT_EQ(table.slot(80), 2U);
  first = nullptr;
  EXPECT_EQ(table.slot(70), std::nullopt);
  EXPECT_EQ(table.slot(80), 2U);
}

TEST(StandInTable, ProgramsAtOnceWithoutADelay) {
  EventLoop loop;
  StandInTable table(loop, 0);
  EXPECT_TRUE(table.entry(1)->isProgrammed());
  EXPECT_FALSE(loop.busy());
}

TEST(StandInTable, NeverProgramsWhenToldSo) {
  EventLoop loop;
  StandInTable table(loop, std::nullopt);
  StandInTable::Handle const handle = table.entry(1);
  EXPECT_FALSE(loop.busy());
  EXPECT_FALSE(handle->isProgrammed());
}

TEST(StandInTable, ForgetsAnEntryThatNobodyHolds) {
  EventLoop loop;
  StandInTable table(loop, 3);
  table.entry(1) = nullptr;
  EXPECT_EQ(table.size(), 0U);
  EXPECT_FALSE(loop.busy());  // and its timer with it
  EXPECT_EQ(liveEntries(), 0U);
}

TEST(StandInTable, HasNoMoreEntriesThanSlots) {
  EventLoop loop;
  StandInTable table(loop, 0, 2);
  StandInTable::Handle const first = table.entry(1);
  StandInTable::Handle second = table.entry(2);
  EXPECT_FALSE(table.entry(3));
  EXPECT_EQ(table.entry(1), first);
  second = nullptr;
  EXPECT_TRUE(table.entry(3));
}

TEST(StandInTable, MayEndBeforeItsHandles) {
  EventLoop loop;
  StandInTable::Handle programmed;
  StandInTable::Handle waiting;
  {
    StandInTable table(loop, 1);
    programmed = table.entry(1);
    loop.run();
    waiting = table.entry(2);
    EXPECT_TRUE(loop.busy());
  }
  EXPECT_FALSE(loop.busy());
  EXPECT_TRUE(programmed->isProgrammed());
  EXPECT_FALSE(waiting->isProgrammed());
  programmed = nullptr;
  waiting = nullptr;
  EXPECT_EQ(liveEntries(), 0U);
}

// Lets go of the last reference while the handle announces its state.
class LetsGo final : public Vek::NotifieeConst {
 public:
  explicit LetsGo(StandInTable::Handle& held) : held_(held) {
    notifierIs(held_.get());
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }
  void onAttribute(Vek::AttributeId attributeId, void const*) override {
    if (attributeId != Asic::SwTable::EntryHandle::entryStateAttribute) return;
    seenRow = held_->hwEntryIndex();
    held_ = nullptr;
  }
  Asic::Index seenRow;

 private:
  StandInTable::Handle& held_;
};

TEST(StandInTable, LetsAWatcherDropTheHandleThatIsBeingProgrammed) {
  EventLoop loop;
  StandInTable table(loop, 1);
  StandInTable::Handle handle = table.entry(1);
  Vek::Ptr<LetsGo> const watcher(new LetsGo(handle));
  loop.run();
  // The row is there before the state says that it is programmed.
  EXPECT_EQ(watcher->seenRow, 1U);
  EXPECT_FALSE(handle);
  EXPECT_EQ(table.size(), 0U);
  EXPECT_EQ(liveEntries(), 0U);
}

}  // namespace
}  // namespace OrviaL3Agent
