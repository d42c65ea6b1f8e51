// What the platform attaches to a table, and what the bases of tables and utilities do by
// themselves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "PlatformObjects.h"
#include "TableDoubles.h"

namespace {

using OrviaAsicUtils::SwTable;
using PlatformTests::PlainTable;
using PlatformTests::PlainUtil;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::watcherOf;
using Vek::Ptr;

class SwTableTest : public testing::Test {
 protected:
  Ptr<PlainTable> table = new PlainTable;
  std::vector<Vek::AttributeId> announced;
  Ptr<TestSupport::TestReactor> reactor =
      watcherOf(*table, [this](Vek::AttributeId id, void const*) { announced.push_back(id); });
};

TEST_F(SwTableTest, StartsWithNothingAttached) {
  EXPECT_EQ(table->hwTable(), nullptr);
  EXPECT_FALSE(table->hwTableReady());
  EXPECT_EQ(table->util(), nullptr);
  EXPECT_EQ(table->numEntries(), 0U);
  EXPECT_EQ(table->name(), "plain");
  EXPECT_FALSE(table->mayCallHardware());
}

TEST_F(SwTableTest, SettersStoreAndAnnounceChangedValuesOnly) {
  Ptr<Asic::HwTable> const hwTable = new Asic::HwTable;
  Ptr<PlainUtil> const util = new PlainUtil;
  table->hwTableIs({});
  table->hwTableReadyIs(false);
  table->utilIs({});
  table->numEntriesIs(0);
  EXPECT_THAT(announced, IsEmpty());
  for (int time = 0; time < 2; ++time) {
    table->hwTableIs(hwTable);
    table->hwTableReadyIs(true);
    table->utilIs(util);
    table->numEntriesIs(512);
  }
  EXPECT_THAT(announced, ElementsAre(SwTable::hwTableAttribute, SwTable::hwTableReadyAttribute,
                                     SwTable::utilAttribute, SwTable::numEntriesAttribute));
  EXPECT_EQ(table->hwTable(), hwTable);
  EXPECT_TRUE(table->hwTableReady());
  EXPECT_EQ(table->util(), util);
  EXPECT_EQ(table->numEntries(), 512U);
}

TEST_F(SwTableTest, HoldsCountedReferencesToHardwareTableAndUtility) {
  Ptr<Asic::HwTable> const hwTable = new Asic::HwTable;
  Ptr<PlainUtil> const util = new PlainUtil;
  table->hwTableIs(hwTable);
  table->utilIs(util);
  EXPECT_EQ(hwTable->references(), 2U);
  EXPECT_EQ(util->references(), 2U);
  table = nullptr;
  EXPECT_EQ(hwTable->references(), 1U);
  EXPECT_EQ(util->references(), 1U);
}

TEST_F(SwTableTest, TheOldHardwareTableIsReleasedAfterTheAnnouncement) {
  TestSupport::LiveObjects const live("Asic::HwTable");
  table->hwTableIs(new Asic::HwTable);
  reactor->reaction = [&](Vek::AttributeId, void const*) {
    EXPECT_EQ(table->hwTable(), nullptr);
    EXPECT_EQ(live.more(), 1);
    announced.emplace_back(99U);
  };
  table->hwTableIs({});
  EXPECT_THAT(announced, ElementsAre(SwTable::hwTableAttribute, Vek::AttributeId(99)));
  EXPECT_EQ(live.more(), 0);
}

TEST_F(SwTableTest, HardwareMayBeCalledWhenThereIsSomeAndItIsReady) {
  table->hwTableReadyIs(true);
  EXPECT_FALSE(table->mayCallHardware());
  table->hwTableIs(new Asic::HwTable);
  EXPECT_TRUE(table->mayCallHardware());
  table->hwTableReadyIs(false);
  EXPECT_FALSE(table->mayCallHardware());
}

TEST_F(SwTableTest, TheBasesOperationsDoNothing) {
  SwTable& base = *table;
  base.doCreateHwTable();
  base.doCreateHwTableResponse();
  base.doInitComplete();
  base.syncEntries();
  base.handleParent({});
  EXPECT_FALSE(base.responseNeeded());
  EXPECT_EQ(base.getEntryHandle(new Vek::GenericIf({}, nullptr)), nullptr);
  EXPECT_EQ(base.SwTable::entryHandleOfRow(1), nullptr);
  EXPECT_THAT(announced, IsEmpty());
}

TEST_F(SwTableTest, TheStateOfAResponseHandlerHasTheNumbersOfTheHardwareTable) {
  EXPECT_EQ(SwTable::EntryState::accepted, 1);
  EXPECT_EQ(SwTable::EntryState::refused, 2);
  EXPECT_EQ(sizeof(SwTable::EntryState), 1U);
}

TEST(SwTableUtilTest, IsAFeatureOfItsNameWhoseOtherOperationsDoNothing) {
  Ptr<PlainUtil> const util = new PlainUtil;
  Ptr<PlainTable> const table = new PlainTable;
  Ptr<Asic::HwTable> const hwTable = new Asic::HwTable;
  EXPECT_EQ(util->name(), "plainUtil");
  EXPECT_EQ(util->featureName(), "plainUtil");
  EXPECT_EQ(util->fwkType(), OrviaAsicUtils::SwTableUtil::classType());
  int const key = 1;
  util->doCreateHwTable(table);
  util->doCreateHwTableResponse(table);
  util->doDeleteHwTable(table);
  util->doInitComplete(table);
  util->doReadEntry(&key, hwTable);
  util->doResync(hwTable, table);
  util->doNotifyReadResponse(&key, hwTable, table);
  EXPECT_EQ(util->swTableKeyPtr(&key), nullptr);
  EXPECT_EQ(table->references(), 1U);
  EXPECT_EQ(hwTable->references(), 1U);
}

}  // namespace
