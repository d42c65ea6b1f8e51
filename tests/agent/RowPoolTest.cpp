// Handing out rows, the lowest free one first.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>

#include "agent/RowPool.h"

namespace OrviaL3Agent {
namespace {

TEST(RowPool, HandsOutTheLowestFreeRow) {
  RowPool rows(10, 13);
  EXPECT_EQ(rows.size(), 4U);
  EXPECT_EQ(rows.take(), 10U);
  EXPECT_EQ(rows.take(), 11U);
  EXPECT_EQ(rows.take(), 12U);
  rows.giveBack(11);
  rows.giveBack(10);
  EXPECT_EQ(rows.taken(), 1U);
  EXPECT_EQ(rows.take(), 10U);
  EXPECT_EQ(rows.take(), 11U);
  EXPECT_EQ(rows.take(), 13U);
  EXPECT_EQ(rows.take(), std::nullopt);
  EXPECT_EQ(rows.taken(), 4U);
}

TEST(RowPool, MayBeEmpty) {
  RowPool rows(5, 4);
  EXPECT_EQ(rows.size(), 0U);
  EXPECT_EQ(rows.take(), std::nullopt);
}

TEST(RowPool, ReachesTheLastRowThereIs) {
  RowPool rows(0xFFFFFFFF, 0xFFFFFFFF);
  EXPECT_EQ(rows.take(), 0xFFFFFFFFU);
  EXPECT_EQ(rows.take(), std::nullopt);
}

TEST(RowPool, RefusesToTakeBackWhatIsNotTaken) {
  RowPool rows(10, 13);
  EXPECT_THROW(rows.giveBack(10), std::invalid_argument);
  ASSERT_EQ(rows.take(), 10U);
  EXPECT_THROW(rows.giveBack(9), std::invalid_argument);
  EXPECT_THROW(rows.giveBack(11), std::invalid_argument);
  rows.giveBack(10);
  EXPECT_THROW(rows.giveBack(10), std::invalid_argument);
}

TEST(RowPool, TakesARowThatIsNamed) {
  RowPool rows(10, 13);
  EXPECT_TRUE(rows.reserve(12));
  EXPECT_FALSE(rows.reserve(12));
  EXPECT_FALSE(rows.reserve(9));
  EXPECT_FALSE(rows.reserve(14));
  EXPECT_EQ(rows.taken(), 1U);
  EXPECT_EQ(rows.take(), 10U);
  EXPECT_TRUE(rows.reserve(11));
  EXPECT_EQ(rows.take(), 13U);
  EXPECT_EQ(rows.take(), std::nullopt);
  rows.giveBack(12);
  EXPECT_TRUE(rows.reserve(12));
}

TEST(RowPool, AgreesWithAPlainSetOverARandomHistory) {
  RowPool rows(3, 52);
  std::set<std::uint32_t> free;
  for (std::uint32_t row = 3; row <= 52; ++row) free.insert(row);
  std::set<std::uint32_t> taken;
  std::mt19937 random(7);
  for (int step = 0; step < 5000; ++step) {
    if (random() % 2 == 0) {
      auto const row = rows.take();
      ASSERT_EQ(row.has_value(), !free.empty());
      if (!row) continue;
      ASSERT_EQ(*row, *free.begin());
      taken.insert(free.extract(free.begin()));
    } else if (!taken.empty()) {
      auto row = taken.begin();
      std::advance(row, static_cast<std::ptrdiff_t>(random() % taken.size()));
      rows.giveBack(*row);
      free.insert(taken.extract(row));
    }
    ASSERT_EQ(rows.taken(), taken.size());
  }
}

}  // namespace
}  // namespace OrviaL3Agent
