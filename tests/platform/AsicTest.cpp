// Rows, states, ownership values and entry handles.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <type_traits>
#include <utility>
#include <vector>

#include "Asic/AutoRemoveType.h"
#include "Asic/BlockSize.h"
#include "Asic/Feature.h"
#include "Asic/HwTable.h"
#include "Asic/Index.h"
#include "Asic/SwTable.h"
#include "PlatformObjects.h"

namespace {

using Asic::HwTable;
using Asic::Index;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::watcherOf;
using EntryHandle = Asic::SwTable::EntryHandle;

TEST(IndexTest, TheInvalidRowIsAllOnes) {
  EXPECT_EQ(Index::invalidIndex().value(), 0xFFFFFFFFU);
  EXPECT_EQ(Index::invalidIndex(), Index(0xFFFFFFFFU));
  EXPECT_EQ(sizeof(Index), 4U);
}

TEST(IndexTest, NoRowPlusAnythingIsNoRow) {
  EXPECT_EQ(Index(5) + 3, Index(8));
  EXPECT_EQ(Index(0) + 0, Index(0));
  EXPECT_EQ(Index::invalidIndex() + 0, Index::invalidIndex());
  EXPECT_EQ(Index::invalidIndex() + 1, Index::invalidIndex());
  EXPECT_EQ(Index::invalidIndex() + 0xFFFFFFFFU, Index::invalidIndex());
}

TEST(IndexTest, OrdersAndPrintsAsANumber) {
  EXPECT_LT(Index(9), Index(10));
  EXPECT_LT(Index(10), Index::invalidIndex());
  std::ostringstream out;
  out << Index(7) << ' ' << Index::invalidIndex();
  EXPECT_EQ(out.str(), "7 4294967295");
}

TEST(BlockSizeTest, IsASixteenBitCount) {
  EXPECT_EQ(Asic::BlockSize().value(), 0U);
  EXPECT_EQ(Asic::BlockSize(0xFFFF).value(), 0xFFFFU);
  EXPECT_EQ(sizeof(Asic::BlockSize), 2U);
  EXPECT_LT(Asic::BlockSize(9), Asic::BlockSize(10));
  std::ostringstream out;
  out << Asic::BlockSize(64);
  EXPECT_EQ(out.str(), "64");
}

TEST(AutoRemoveTypeTest, HasItsValuesInOneByte) {
  EXPECT_EQ(Asic::needsAutoRemove(), 0);
  EXPECT_EQ(Asic::noAutoRemove, 1);
  EXPECT_EQ(sizeof(Asic::AutoRemoveType), 1U);
}

TEST(HwTableTest, StatesHaveTheirValuesInOneByte) {
  EXPECT_EQ(HwTable::notAnswered, 0);
  EXPECT_EQ(HwTable::success(), 1);
  EXPECT_EQ(HwTable::refused, 2);
  EXPECT_EQ(sizeof(HwTable::EntryState), 1U);
}

TEST(HwTableTest, AnnouncesEachAnswerWithItsRowAndState) {
  Vek::Ptr<HwTable> const table = new HwTable;
  std::vector<std::pair<Index, int>> answers;
  auto const reactor = watcherOf(*table, [&](Vek::AttributeId id, void const* key) {
    ASSERT_EQ(id, HwTable::writeResponseAttribute);
    auto const& response = *static_cast<HwTable::WriteResponse const*>(key);
    answers.emplace_back(response.row, response.state);
  });
  table->writeResponseIs(3, HwTable::success());
  table->writeResponseIs(3, HwTable::success());  // an answer is no value: never swallowed
  table->writeResponseIs(4, HwTable::refused);
  EXPECT_THAT(answers,
              ElementsAre(std::pair(Index(3), 1), std::pair(Index(3), 1), std::pair(Index(4), 2)));
}

TEST(FeatureTest, IsOfferedUnderItsNameAndNotShared) {
  struct Plain : Asic::Feature {
    Plain() : Feature("plain") {}
  };
  Vek::Ptr<Plain> const feature = new Plain;
  EXPECT_EQ(feature->featureName(), "plain");
  EXPECT_EQ(feature->name(), "plain");
  EXPECT_FALSE(feature->shared(Asic::SwTable::classType()));
}

class EntryHandleTest : public testing::Test {
 protected:
  Vek::Ptr<EntryHandle> handle = new EntryHandle;
  std::vector<Vek::AttributeId> announced;
  Vek::Ptr<TestSupport::TestReactor> reactor =
      watcherOf(*handle, [this](Vek::AttributeId id, void const* key) {
        EXPECT_EQ(key, nullptr);
        announced.push_back(id);
      });
};

TEST_F(EntryHandleTest, StartsWithoutARowAndNotAnswered) {
  EXPECT_EQ(handle->hwEntryIndex(), Index::invalidIndex());
  EXPECT_EQ(handle->entryState(), 0);
  EXPECT_FALSE(handle->isProgrammed());
  static_assert(std::is_default_constructible_v<EntryHandle>);
}

TEST_F(EntryHandleTest, SettersAnnounceChangedValuesOnly) {
  handle->hwEntryIndexIs(Index::invalidIndex());
  handle->entryStateIs(HwTable::notAnswered);
  EXPECT_THAT(announced, IsEmpty());
  handle->hwEntryIndexIs(5);
  EXPECT_THAT(announced, ElementsAre(EntryHandle::hwEntryIndexAttribute));
  handle->entryStateIs(HwTable::success());
  EXPECT_THAT(announced,
              ElementsAre(EntryHandle::hwEntryIndexAttribute, EntryHandle::entryStateAttribute));
  handle->hwEntryIndexIs(5);
  handle->entryStateIs(HwTable::success());
  EXPECT_EQ(announced.size(), 2U);
  EXPECT_NE(EntryHandle::hwEntryIndexAttribute, EntryHandle::entryStateAttribute);
}

TEST_F(EntryHandleTest, AnnouncesWhenTheNewValueCanBeRead) {
  reactor->reaction = [&](Vek::AttributeId id, void const*) {
    announced.push_back(id);
    if (id == EntryHandle::hwEntryIndexAttribute) {
      EXPECT_EQ(handle->hwEntryIndex(), Index(9));
    } else {
      EXPECT_EQ(handle->entryState(), HwTable::refused);
    }
  };
  handle->hwEntryIndexIs(9);
  handle->entryStateIs(HwTable::refused);
  EXPECT_EQ(announced.size(), 2U);
}

TEST_F(EntryHandleTest, ASetterMayRunInsideTheAnnouncementOfAnother) {
  reactor->reaction = [&](Vek::AttributeId id, void const*) {
    announced.push_back(id);
    handle->entryStateIs(HwTable::success());
  };
  handle->hwEntryIndexIs(1);
  EXPECT_THAT(announced,
              ElementsAre(EntryHandle::hwEntryIndexAttribute, EntryHandle::entryStateAttribute));
}

TEST_F(EntryHandleTest, ASetterMayTakeTheLastReference) {
  reactor->reaction = [&](Vek::AttributeId, void const*) { handle = nullptr; };
  handle->hwEntryIndexIs(1);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(reactor->notifier(), nullptr);
}

TEST_F(EntryHandleTest, IsProgrammedWithARowAndSuccessOnly) {
  for (Index const row : {Index(0), Index(7), Index::invalidIndex()}) {
    for (auto const state : {HwTable::notAnswered, HwTable::accepted, HwTable::refused}) {
      handle->hwEntryIndexIs(row);
      handle->entryStateIs(state);
      EXPECT_EQ(handle->isProgrammed(),
                row != Index::invalidIndex() && state == HwTable::success());
    }
  }
}

}  // namespace
