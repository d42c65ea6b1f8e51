// Ordinary next hops over the simulated hardware.
#include <gtest/gtest.h>

#include <stdexcept>

#include "SoftTables.h"

namespace SoftAsicTests {
namespace {

using SoftAsic::NextHopContents;
using SoftAsic::NextHopHwTable;
using Entry = IngL3NextHop1Table::Entry;

// The table alone on a hardware table of 8 rows.
struct Ingress : testing::Test {
  void attach(Delivery delivery) {
    answers = new SoftAsic::AnswerQueue(delivery);
    table->utilIs(new SoftAsic::IngL3NextHop1SoftUtil(*table, answers));
    table->hwTableIs(hardware);
    table->hwTableReadyIs(true);
  }
  // Commits, and forgets what the handler heard before the call returned: the table first shows the
  // key's own row and state on the handle, and the hardware's answer is what comes after.
  ConstHandle commit(Handle const& at, Entry const& entry, States& heard) {
    auto const handle = table->entryCommitWithResponseHandler(at, entry, into(heard));
    heard.clear();
    return handle;
  }
  std::optional<NextHopContents> const& contents(std::uint32_t row) const {
    return hardware->row(row).contents;
  }

  Vek::Ptr<SoftAsic::AnswerQueue> answers;
  Vek::Ptr<NextHopHwTable> const hardware = new NextHopHwTable(8);
  Vek::Ptr<IngL3NextHop1Table> table = IngL3NextHop1Table::IngL3NextHop1TableIs();
  Handle const key = programmed(3);
  States states;
};

TEST_F(Ingress, HoldsTheDerivedRowsOfTheMomentOfTheWrite) {
  attach(Delivery::whenDrained);
  Handle const interface = programmed(21);
  Entry const entry = nextHop<Entry>(9, interface, programmed(4));
  auto const handle = commit(key, entry, states);
  interface->hwEntryIndexIs(22);
  NextHopContents const expected{entry.fields(), 21, 4};
  EXPECT_EQ(contents(3), expected);
  EXPECT_EQ(hardware->row(3).answer, Answer::awaited);

  EXPECT_EQ(answers->drain(), 1U);
  EXPECT_TRUE(handle->isProgrammed());
  EXPECT_EQ(handle->hwEntryIndex(), 3U);
  EXPECT_EQ(hardware->row(3).answer, Answer::accepted);
  EXPECT_EQ(hardware->counts().writes, 1U);
  EXPECT_EQ(hardware->counts().accepted, 1U);
}

TEST_F(Ingress, AnswersAtOnceWhenToldTo) {
  attach(Delivery::atOnce);
  ConstHandle const handle = commit(key, nextHop<Entry>(9), states);
  EXPECT_TRUE(handle->isProgrammed());
  EXPECT_EQ(hardware->row(3).answer, Answer::accepted);
  EXPECT_EQ(answers->waiting(), 0U);
}

TEST_F(Ingress, KeepsTheOldContentsAfterARefusal) {
  attach(Delivery::whenDrained);
  commit(key, nextHop<Entry>(1), states);
  answers->drain();
  hardware->rowRefusesIs(3, true);
  ConstHandle const handle = commit(key, nextHop<Entry>(2), states);
  answers->drain();
  EXPECT_EQ(states, States({2}));
  EXPECT_EQ(handle->entryState(), Asic::HwTable::refused);
  EXPECT_EQ(contents(3)->fields.destination, 1U);
  EXPECT_EQ(hardware->row(3).answer, Answer::refused);
  EXPECT_EQ(hardware->counts().refused, 1U);

  hardware->rowRefusesIs(3, false);
  commit(key, nextHop<Entry>(3), states);
  answers->drain();
  EXPECT_EQ(contents(3)->fields.destination, 3U);
  EXPECT_EQ(hardware->row(3).answer, Answer::accepted);
}

TEST_F(Ingress, DecidesARefusalWhenTheWriteStarts) {
  attach(Delivery::whenDrained);
  commit(key, nextHop<Entry>(1), states);
  hardware->rowRefusesIs(3, true);
  answers->drain();
  EXPECT_EQ(hardware->row(3).answer, Answer::accepted);
  EXPECT_TRUE(states.empty());
}

TEST_F(Ingress, DropsTheAnswerToAnOverwrittenWrite) {
  attach(Delivery::whenDrained);
  hardware->rowRefusesIs(3, true);
  commit(key, nextHop<Entry>(1), states);
  hardware->rowRefusesIs(3, false);
  commit(key, nextHop<Entry>(2), states);
  EXPECT_EQ(answers->drain(1), 1U);
  EXPECT_TRUE(states.empty());
  EXPECT_EQ(hardware->counts().overtaken, 1U);
  EXPECT_EQ(hardware->row(3).answer, Answer::awaited);
  answers->drain();
  EXPECT_EQ(hardware->row(3).answer, Answer::accepted);
  EXPECT_TRUE(states.empty());
  EXPECT_EQ(hardware->counts().refused, 0U);
}

TEST_F(Ingress, DropsTheAnswerToADeletedWrite) {
  attach(Delivery::whenDrained);
  commit(key, nextHop<Entry>(1), states);
  table->entryRemove(key);
  EXPECT_FALSE(contents(3));
  EXPECT_EQ(hardware->counts().deletes, 1U);
  answers->drain();
  EXPECT_TRUE(states.empty());
  EXPECT_EQ(hardware->counts().overtaken, 1U);
  EXPECT_EQ(hardware->row(3).answer, Answer::none);
}

TEST_F(Ingress, NeverCreditsAnAnswerToTheRowsNextOwner) {
  attach(Delivery::whenDrained);
  States second;
  Handle const other = programmed(3);
  hardware->rowRefusesIs(3, true);
  commit(key, nextHop<Entry>(1), states);
  table->entryRemove(key);
  hardware->rowRefusesIs(3, false);
  ConstHandle const handle = commit(other, nextHop<Entry>(2), second);
  answers->drain();
  EXPECT_TRUE(states.empty());
  EXPECT_TRUE(second.empty());
  EXPECT_TRUE(handle->isProgrammed());
  EXPECT_EQ(hardware->counts().overtaken, 1U);
  EXPECT_EQ(hardware->counts().refused, 0U);
}

TEST_F(Ingress, CountsAnAnswerThatNoHandleIsThereFor) {
  attach(Delivery::whenDrained);
  auto const util = table->util();
  util->hwTableEntryIs(hardware, key, nextHop<Entry>(1));
  answers->drain();
  EXPECT_EQ(hardware->counts().unclaimed, 1U);
  EXPECT_EQ(hardware->counts().accepted, 1U);
}

TEST_F(Ingress, RefusesWritesAndIgnoresDeletesOutsideTheTable) {
  attach(Delivery::whenDrained);
  Handle const beyond = programmed(8);
  ConstHandle const handle = commit(beyond, nextHop<Entry>(1), states);
  answers->drain();
  EXPECT_EQ(states, States({2}));
  EXPECT_EQ(handle->entryState(), Asic::HwTable::refused);
  EXPECT_EQ(hardware->counts().noSuchRow, 1U);
  table->util()->hwTableEntryDel(hardware, beyond);
  EXPECT_EQ(hardware->counts().noSuchRow, 2U);
  EXPECT_EQ(hardware->counts().withoutRow, 0U);
  EXPECT_THROW(hardware->rowRefusesIs(8, true), std::out_of_range);
  EXPECT_THROW((void)hardware->row(8), std::out_of_range);
}

TEST_F(Ingress, CountsADeleteOfAKeyThatHasNoRow) {
  attach(Delivery::atOnce);
  Handle const rowless = new Asic::SwTable::EntryHandle;
  table->util()->hwTableEntryDel(hardware, rowless);
  EXPECT_EQ(hardware->counts().deletes, 1U);
  EXPECT_EQ(hardware->counts().noSuchRow, 1U);
  EXPECT_EQ(hardware->counts().withoutRow, 1U);
}

TEST_F(Ingress, TellsItsRowsAndWhatTheyHold) {
  attach(Delivery::atOnce);
  auto const util = table->util();
  EXPECT_EQ(util->minIndex(), 0U);
  EXPECT_EQ(util->maxIndex(), 7U);
  EXPECT_EQ(util->hwTableEntryIndex(hardware, key), Asic::Index::invalidIndex());
  table->entryCommit(key, nextHop<Entry>(1));
  EXPECT_EQ(util->hwTableEntryIndex(hardware, key), 3U);
  EXPECT_EQ(hardware->rowsAnswered(Answer::accepted), 1U);
  EXPECT_EQ(hardware->rowsAnswered(Answer::none), 7U);
  util->hwTableEntryDelAll(hardware);
  EXPECT_EQ(util->hwTableEntryIndex(hardware, key), Asic::Index::invalidIndex());
  EXPECT_EQ(hardware->counts().deleteAlls, 1U);
}

TEST_F(Ingress, TakesWritesFromInsideADrainedAnswer) {
  attach(Delivery::whenDrained);
  Handle const next = programmed(5);
  hardware->rowRefusesIs(3, true);
  std::size_t nested = 0;
  table->entryCommitWithResponseHandler(key, nextHop<Entry>(1), [&](EntryState state) {
    if (state != Asic::HwTable::refused) return;
    table->entryCommit(next, nextHop<Entry>(2));
    nested = answers->drain();
  });
  EXPECT_EQ(answers->drain(), 1U);
  EXPECT_EQ(nested, 1U);
  EXPECT_EQ(contents(5)->fields.destination, 2U);
  EXPECT_EQ(hardware->row(5).answer, Answer::accepted);
}

TEST_F(Ingress, DeliversToNobodyOnceTheTableIsGone) {
  attach(Delivery::whenDrained);
  hardware->rowRefusesIs(3, true);
  auto const handle = commit(key, nextHop<Entry>(1), states);
  auto const util = table->util();
  table = nullptr;
  EXPECT_EQ(answers->drain(), 1U);
  EXPECT_TRUE(states.empty());
  EXPECT_NE(handle->entryState(), Asic::HwTable::refused);
  EXPECT_EQ(hardware->counts().unclaimed, 1U);
  EXPECT_EQ(util->maxIndex(), 0U);
  EXPECT_EQ(util->hwTableEntryIndex(hardware, key), Asic::Index::invalidIndex());
}

}  // namespace
}  // namespace SoftAsicTests
