// The reactor that carries the hardware's answers to the handles of a table.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "OrviaAsicUtils/WriteResponseSm.h"
#include "PlatformObjects.h"
#include "TableDoubles.h"

namespace {

using Asic::HwTable;
using Asic::Index;
using OrviaAsicUtils::WriteResponseSm;
using PlatformTests::PlainTable;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::LiveObjects;
using Vek::Ptr;
using EntryHandle = Asic::SwTable::EntryHandle;

class WriteResponseTest : public testing::Test {
 protected:
  WriteResponseTest() {
    table->hwTableIs(hwTable);
    table->rows[7] = handle;
    responses = WriteResponseSm::WriteResponseSmIs(table);
    responses->hasNotificationActiveIs(true);
  }
  void expectUntouched() {
    EXPECT_EQ(handle->hwEntryIndex(), Index::invalidIndex());
    EXPECT_EQ(handle->entryState(), HwTable::notAnswered);
    EXPECT_THAT(announced, IsEmpty());
  }

  Ptr<HwTable> hwTable = new HwTable;
  Ptr<PlainTable> table = new PlainTable;
  Ptr<EntryHandle> handle = new EntryHandle;
  std::vector<Vek::AttributeId> announced;
  Ptr<TestSupport::TestReactor> reactor = TestSupport::watcherOf(
      *handle, [this](Vek::AttributeId id, void const*) { announced.push_back(id); });
  Ptr<WriteResponseSm> responses;
};

TEST_F(WriteResponseTest, AnAnswerSetsTheRowAndThenTheStateOfTheRowsHandle) {
  hwTable->writeResponseIs(7, HwTable::success());
  EXPECT_EQ(handle->hwEntryIndex(), Index(7));
  EXPECT_EQ(handle->entryState(), HwTable::success());
  EXPECT_THAT(announced,
              ElementsAre(EntryHandle::hwEntryIndexAttribute, EntryHandle::entryStateAttribute));
}

TEST_F(WriteResponseTest, ARefusalIsAnAnswerToo) {
  hwTable->writeResponseIs(7, HwTable::refused);
  EXPECT_EQ(handle->hwEntryIndex(), Index(7));
  EXPECT_EQ(handle->entryState(), HwTable::refused);
}

TEST_F(WriteResponseTest, AnAnswerForARowThatNoEntryOwnsChangesNothing) {
  hwTable->writeResponseIs(8, HwTable::success());
  hwTable->writeResponseIs(Index::invalidIndex(), HwTable::success());
  expectUntouched();
}

TEST_F(WriteResponseTest, IsMadeInactiveAndHearsNothingUntilItIsSwitchedOn) {
  responses = WriteResponseSm::WriteResponseSmIs(table);
  EXPECT_FALSE(responses->hasNotificationActive());
  hwTable->writeResponseIs(7, HwTable::success());
  expectUntouched();
  responses->hasNotificationActiveIs(true);
  hwTable->writeResponseIs(7, HwTable::success());
  EXPECT_EQ(handle->entryState(), HwTable::success());
}

TEST_F(WriteResponseTest, SwitchedOffItHearsNothing) {
  responses->hasNotificationActiveIs(false);
  hwTable->writeResponseIs(7, HwTable::success());
  expectUntouched();
}

TEST_F(WriteResponseTest, AZombieHearsNothingEvenWhenItIsSwitchedOnAgain) {
  responses->vekDoZombieReactors(true);
  hwTable->writeResponseIs(7, HwTable::success());
  expectUntouched();
  responses->hasNotificationActiveIs(true);
  hwTable->writeResponseIs(7, HwTable::success());
  expectUntouched();
  responses->vekDoZombieReactors(false);
  hwTable->writeResponseIs(7, HwTable::success());
  EXPECT_EQ(handle->entryState(), HwTable::success());
}

TEST_F(WriteResponseTest, OtherAnnouncementsOfTheHardwareTableAreIgnored) {
  HwTable::WriteResponse const response{7, HwTable::success()};
  hwTable->notifieeList()->visit(2, &response);
  hwTable->notifieeList()->visit(HwTable::writeResponseAttribute, nullptr);
  expectUntouched();
}

TEST_F(WriteResponseTest, DroppedItHearsNothing) {
  responses = nullptr;
  hwTable->writeResponseIs(7, HwTable::success());
  expectUntouched();
  EXPECT_TRUE(hwTable->notifieeList()->empty());
}

TEST_F(WriteResponseTest, KeepsNeitherTableNorHardwareTableAlive) {
  EXPECT_EQ(table->references(), 1U);
  EXPECT_EQ(hwTable->references(), 2U);  // the test's and the table's
  EXPECT_EQ(responses->table(), table.get());
  EXPECT_EQ(responses->notifier(), hwTable);
}

TEST_F(WriteResponseTest, WithoutAHardwareTableOrATableItWatchesNothing) {
  table->hwTableIs({});
  auto const noHardware = WriteResponseSm::WriteResponseSmIs(table);
  EXPECT_EQ(noHardware->notifier(), nullptr);
  EXPECT_FALSE(noHardware->isRegisteredNotifiee());
  auto const noTable = WriteResponseSm::WriteResponseSmIs({});
  EXPECT_EQ(noTable->table(), nullptr);
  EXPECT_EQ(noTable->notifier(), nullptr);
}

TEST_F(WriteResponseTest, TheHardwareTablesEndLeavesItWithoutNotifier) {
  table->hwTableIs({});
  hwTable = nullptr;
  EXPECT_EQ(responses->notifier(), nullptr);
  EXPECT_FALSE(responses->isRegisteredNotifiee());
}

TEST_F(WriteResponseTest, AnAnswerMayTakeTheTableTheReactorAndTheHandle) {
  LiveObjects const live(PlainTable::typeName());
  reactor->reaction = [&](Vek::AttributeId id, void const*) {
    announced.push_back(id);
    responses = nullptr;
    table = nullptr;
    handle = nullptr;
  };
  hwTable->writeResponseIs(7, HwTable::success());
  EXPECT_EQ(live.more(), -1);
  EXPECT_THAT(announced,
              ElementsAre(EntryHandle::hwEntryIndexAttribute, EntryHandle::entryStateAttribute));
  EXPECT_EQ(reactor->notifier(), nullptr);
}

TEST_F(WriteResponseTest, AReactorThatOutlivesItsTableHasNoneAndAnswersChangeNothing) {
  table = nullptr;
  ASSERT_EQ(responses->table(), nullptr) << "refers to a table that is gone";
  hwTable->writeResponseIs(7, HwTable::success());
  expectUntouched();
}

TEST_F(WriteResponseTest, TablesOnOneHardwareTableEachAnswerForTheirOwnRows) {
  Ptr<PlainTable> const other = new PlainTable;
  Ptr<EntryHandle> const otherHandle = new EntryHandle;
  other->hwTableIs(hwTable);
  other->rows[8] = otherHandle;
  auto const otherResponses = WriteResponseSm::WriteResponseSmIs(other);
  otherResponses->hasNotificationActiveIs(true);
  hwTable->writeResponseIs(8, HwTable::success());
  expectUntouched();
  EXPECT_EQ(otherHandle->hwEntryIndex(), Index(8));
  EXPECT_EQ(otherHandle->entryState(), HwTable::success());
}

}  // namespace
