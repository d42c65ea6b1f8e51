#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "AllocatorKeys.h"
#include "Asic/AnySizedBlockAllocator.h"

namespace {

using namespace AllocatorTests;  // NOLINT(google-build-using-namespace)
using Asic::AnySizedBlockAllocator;
using Asic::Index;
using Asic::NoRowException;

constexpr Index noRow = Index::invalidIndex();

AnySizedBlockAllocator::Ptr allocatorOf(std::uint32_t rows) {
  auto allocator = AnySizedBlockAllocator::AnySizedBlockAllocatorIs("", blockType, rows);
  allocator->handleInitialized();
  return allocator;
}

class AnySizedBlockAllocatorTest : public testing::Test {
 protected:
  Index take(std::uint16_t size, std::uint32_t id) {
    Block const block(size, id);
    return runs_->newIndexForBlock(&block);
  }
  Index find(std::uint16_t size, std::uint32_t id) {
    Block const block(size, id);
    return runs_->indexForBlock(&block);
  }
  void release(std::uint16_t size, std::uint32_t id) {
    Block const block(size, id);
    runs_->releaseIndexForBlock(&block);
  }
  void TearDown() override {
    runs_ = nullptr;
    EXPECT_EQ(Key::alive, 0);
  }

  AnySizedBlockAllocator::Ptr runs_ = allocatorOf(64);
};

TEST_F(AnySizedBlockAllocatorTest, KnowsWhatItWasMadeFor) {
  auto const fresh = AnySizedBlockAllocator::AnySizedBlockAllocatorIs("runs", blockType, 100);
  EXPECT_EQ(fresh->name(), "runs");
  EXPECT_EQ(fresh->blockType(), blockType);
  EXPECT_EQ(fresh->size(), 100U);
  EXPECT_EQ(fresh->rowsFree(), 0U);
  EXPECT_EQ(fresh->rowsInUse(), 0U);
  EXPECT_EQ(fresh->largestFreeRun(), 0U);
  EXPECT_STREQ(fresh->fwkType().name(), "Asic::AnySizedBlockAllocator");
  EXPECT_TRUE(fresh->fwkType().isA(Asic::GenericIndexAllocator::classType()));
  fresh->handleInitialized();
  EXPECT_EQ(fresh->rowsFree(), 100U);
  EXPECT_EQ(fresh->largestFreeRun(), 100U);
}

TEST_F(AnySizedBlockAllocatorTest, BeingInitializedAgainFreesNothing) {
  take(4, 1);
  runs_->handleInitialized();
  EXPECT_EQ(find(4, 1), Index(0));
  EXPECT_EQ(runs_->rowsFree(), 60U);
}

TEST_F(AnySizedBlockAllocatorTest, ABlockGetsConsecutiveRowsAndKeepsThem) {
  EXPECT_EQ(take(3, 1), Index(0));
  EXPECT_EQ(take(1, 2), Index(3));
  EXPECT_EQ(take(3, 1), Index(0));
  EXPECT_EQ(find(1, 2), Index(3));
  EXPECT_EQ(runs_->rowsInUse(), 4U);
  EXPECT_EQ(runs_->rowsFree(), 60U);
}

TEST_F(AnySizedBlockAllocatorTest, BlocksAreToldApartByValue) {
  EXPECT_EQ(take(2, 1), Index(0));
  EXPECT_EQ(take(3, 1), Index(2));
  EXPECT_EQ(take(2, 2), Index(5));
  release(3, 1);
  EXPECT_EQ(find(3, 1), noRow);
  EXPECT_EQ(find(2, 1), Index(0));
}

TEST_F(AnySizedBlockAllocatorTest, AnUnboundBlockHasNoRunAndIsReleasedToNoEffect) {
  EXPECT_EQ(find(2, 1), noRow);
  release(2, 1);
  EXPECT_EQ(runs_->rowsFree(), 64U);
}

TEST_F(AnySizedBlockAllocatorTest, TheSmallestExtentThatFitsIsUsed) {
  // Free extents of 8, 4 and 6 rows, then none but the rest.
  for (std::uint32_t id = 0; auto const size : {8, 1, 4, 1, 6, 1}) {
    take(static_cast<std::uint16_t>(size), id++);
  }
  release(8, 0);
  release(4, 2);
  release(6, 4);
  EXPECT_EQ(take(4, 10), Index(9));
  EXPECT_EQ(take(5, 11), Index(14));
  EXPECT_EQ(take(1, 12), Index(19));
  EXPECT_EQ(take(2, 13), Index(0));
  EXPECT_EQ(take(7, 14), Index(21));
}

TEST_F(AnySizedBlockAllocatorTest, TheLowestOfEquallySmallExtentsIsUsed) {
  for (std::uint32_t id = 0; id < 32; ++id) take(2, id);
  for (std::uint32_t const id : {20U, 4U, 30U, 12U}) release(2, id);
  EXPECT_EQ(take(1, 100), Index(8));
  EXPECT_EQ(take(1, 101), Index(9));
  EXPECT_EQ(take(2, 102), Index(24));
  EXPECT_EQ(take(2, 103), Index(40));
  EXPECT_EQ(take(2, 104), Index(60));
}

TEST_F(AnySizedBlockAllocatorTest, ReleasedRunsJoinTheirNeighbours) {
  for (std::uint32_t id = 0; id < 4; ++id) take(16, id);
  EXPECT_EQ(runs_->largestFreeRun(), 0U);
  release(16, 0);
  release(16, 2);
  EXPECT_EQ(runs_->largestFreeRun(), 16U);
  release(16, 1);
  EXPECT_EQ(runs_->largestFreeRun(), 48U);
  release(16, 3);
  EXPECT_EQ(runs_->largestFreeRun(), 64U);
  EXPECT_EQ(take(64, 9), Index(0));
}

TEST_F(AnySizedBlockAllocatorTest, ABlockWithoutRowsIsRefused) {
  try {
    take(0, 1);
    FAIL() << "a block of size 0 has no rows";
  } catch (Vek::RangeException const& refused) {
    EXPECT_STREQ(refused.what(), "a block of size 0 has no rows");
  }
  EXPECT_EQ(find(0, 1), noRow);
  release(0, 1);
  EXPECT_EQ(runs_->rowsFree(), 64U);
}

TEST_F(AnySizedBlockAllocatorTest, ExhaustionTellsTheNumbersAndChangesNothing) {
  for (std::uint32_t id = 0; id < 8; ++id) take(8, id);
  release(8, 1);
  release(8, 5);
  release(8, 6);
  try {
    take(17, 100);
    FAIL() << "rows came from nowhere";
  } catch (NoRowException const& none) {
    EXPECT_STREQ(none.what(),
                 "no free run of width 17: table size 64, free rows 24, largest free run 16");
    EXPECT_EQ(none.tableSize(), 64U);
    EXPECT_EQ(none.rowsFree(), 24U);
    EXPECT_EQ(none.largestFreeRun(), 16U);
    EXPECT_EQ(none.width(), 17U);
  }
  EXPECT_EQ(find(17, 100), noRow);
  EXPECT_EQ(runs_->rowsFree(), 24U);
  EXPECT_EQ(Key::alive, 5);
  EXPECT_EQ(take(16, 101), Index(40));
}

TEST_F(AnySizedBlockAllocatorTest, ACopyThatThrowsGivesTheRunBack) {
  Block const block(5, 1);
  Key::copyThrows = true;
  EXPECT_THROW(runs_->newIndexForBlock(&block), std::runtime_error);
  Key::copyThrows = false;
  EXPECT_EQ(runs_->rowsFree(), 64U);
  EXPECT_EQ(runs_->largestFreeRun(), 64U);
  EXPECT_EQ(runs_->indexForBlock(&block), noRow);
  EXPECT_EQ(runs_->newIndexForBlock(&block), Index(0));
}

TEST_F(AnySizedBlockAllocatorTest, ATableWithoutRowsHoldsNothing) {
  runs_ = allocatorOf(0);
  EXPECT_THROW(take(1, 1), NoRowException);
  EXPECT_EQ(runs_->largestFreeRun(), 0U);
  runs_ = allocatorOf(1);
  EXPECT_THROW(take(2, 1), NoRowException);
  EXPECT_EQ(take(1, 1), Index(0));
  release(1, 1);
  EXPECT_EQ(runs_->rowsFree(), 1U);
}

TEST_F(AnySizedBlockAllocatorTest, TheWidestBlockFits) {
  runs_ = allocatorOf(70'000);
  EXPECT_EQ(take(1, 1), Index(0));
  EXPECT_EQ(take(65'535, 2), Index(1));
  EXPECT_THROW(take(65'535, 3), NoRowException);
  release(65'535, 2);
  EXPECT_EQ(runs_->largestFreeRun(), 69'999U);
}

// Best fit, lowest among equals, over a plain map: what the allocator is compared with.
class Model {
 public:
  explicit Model(std::uint32_t rows) {
    if (rows != 0) free_[0] = rows;
  }
  std::optional<std::uint32_t> take(std::uint32_t width) {
    auto best = free_.end();
    for (auto extent = free_.begin(); extent != free_.end(); ++extent) {
      if (extent->second < width) continue;
      if (best == free_.end() || extent->second < best->second) best = extent;
    }
    if (best == free_.end()) return std::nullopt;
    auto const [first, length] = *best;
    free_.erase(best);
    if (length > width) free_[first + width] = length - width;
    return first;
  }
  void give(std::uint32_t first, std::uint32_t width) {
    auto above = free_.lower_bound(first);
    if (above != free_.end() && above->first == first + width) {
      width += above->second;
      above = free_.erase(above);
    }
    if (above != free_.begin()) {
      auto const below = std::prev(above);
      if (below->first + below->second == first) {
        below->second += width;
        return;
      }
    }
    free_[first] = width;
  }
  [[nodiscard]] std::uint32_t largest() const {
    std::uint32_t largest = 0;
    for (auto const& [first, length] : free_) largest = std::max(largest, length);
    return largest;
  }

 private:
  std::map<std::uint32_t, std::uint32_t> free_;
};

void churn(std::uint32_t size, std::uint32_t widest, int steps, unsigned seed) {
  auto const runs = allocatorOf(size);
  Model model(size);
  std::vector<bool> owned(size);
  struct Run {
    Block block;
    std::uint32_t first;
  };
  std::vector<std::unique_ptr<Run>> live;
  std::mt19937 random(seed);
  std::uint32_t inUse = 0;
  int exhausted = 0;
  auto const releaseAt = [&](std::size_t at) {
    Run const& run = *live[at];
    std::uint32_t const width = run.block.blockSize().value();
    runs->releaseIndexForBlock(&run.block);
    model.give(run.first, width);
    for (std::uint32_t i = 0; i < width; ++i) owned[run.first + i] = false;
    inUse -= width;
    live[at] = std::move(live.back());
    live.pop_back();
  };
  for (int step = 0; step < steps; ++step) {
    if (!live.empty() && random() % 20 < 9) {
      releaseAt(random() % live.size());
    } else {
      auto const width = static_cast<std::uint16_t>(1 + random() % widest);
      Block const block(width, static_cast<std::uint32_t>(step));
      auto const expected = model.take(width);
      if (!expected) {
        ++exhausted;
        ASSERT_THROW(runs->newIndexForBlock(&block), NoRowException);
        ASSERT_EQ(runs->indexForBlock(&block), noRow);
      } else {
        ASSERT_EQ(runs->newIndexForBlock(&block), Index(*expected)) << "step " << step;
        for (std::uint32_t i = 0; i < width; ++i) {
          ASSERT_FALSE(owned.at(*expected + i));
          owned[*expected + i] = true;
        }
        inUse += width;
        live.push_back(std::make_unique<Run>(Run{block, *expected}));
      }
    }
    ASSERT_EQ(runs->rowsInUse(), inUse);
    ASSERT_EQ(runs->rowsFree(), size - inUse);
    if (step % 16 == 0) {
      ASSERT_EQ(runs->largestFreeRun(), model.largest());
    }
  }
  for (auto const& run : live) ASSERT_EQ(runs->indexForBlock(&run->block), Index(run->first));
  while (!live.empty()) releaseAt(random() % live.size());
  EXPECT_GT(exhausted, 0);
  EXPECT_EQ(runs->rowsFree(), size);
  EXPECT_EQ(runs->largestFreeRun(), size);
  EXPECT_EQ(Key::alive, 0);
}

TEST_F(AnySizedBlockAllocatorTest, AgreesWithANaiveModelUnderRandomChurn) {
  for (unsigned seed = 1; seed <= 4; ++seed) churn(1'000, 8, 15'000, seed);
  for (unsigned seed = 5; seed <= 8; ++seed) churn(4'097, 64, 15'000, seed);
}

TEST_F(AnySizedBlockAllocatorTest, AgreesWithANaiveModelForRowsAndForLongRuns) {
#ifdef __SANITIZE_ADDRESS__
  constexpr int kShorter = 5;  // the naive model takes ten times as long
#else
  constexpr int kShorter = 1;
#endif
  churn(513, 1, 20'000, 9);
  churn(65'536, 512, 15'000, 10);
  churn(65'536, 5'000, 15'000 / kShorter, 11);
  churn(200'000, 65'535, 5'000 / kShorter, 12);
}

TEST_F(AnySizedBlockAllocatorTest, AgreesWithANaiveModelWhenAllHashesAreEqual) {
  Key::hashIsPoor = true;
  churn(600, 8, 5'000, 13);
  Key::hashIsPoor = false;
}

// The occupancy at which a run is refused for the first time, when the load grows slowly from a
// half while runs of all widths from 1 to 64 come and go.
double occupancyAtFirstFailure(std::uint32_t size, unsigned seed) {
  auto const runs = allocatorOf(size);
  std::mt19937 random(seed);
  std::uint32_t nextId = 0;
  std::vector<std::pair<std::uint16_t, std::uint32_t>> blocks;
  auto const fillTo = [&](double target) {
    while (runs->rowsInUse() < target) {
      auto const width = static_cast<std::uint16_t>(1 + random() % 64);
      Block const block(width, nextId);
      runs->newIndexForBlock(&block);
      blocks.emplace_back(width, nextId++);
    }
  };
  try {
    for (double target = 0.5 * size;; target += 0.0005 * size) {
      fillTo(target);
      for (std::uint32_t i = 0; i < size / 2'000; ++i) {
        std::size_t const at = random() % blocks.size();
        Block const block(blocks[at].first, blocks[at].second);
        runs->releaseIndexForBlock(&block);
        blocks[at] = blocks.back();
        blocks.pop_back();
        fillTo(target);
      }
    }
  } catch (NoRowException const& none) {
    // Not for want of rows: no extent was long enough.
    EXPECT_LT(none.largestFreeRun(), none.width());
    return static_cast<double>(runs->rowsInUse()) / size;
  }
}

TEST_F(AnySizedBlockAllocatorTest, MixedWidthsFailFirstAboveNinetyFourPercent) {
  for (unsigned const seed : {1U, 2U, 3U}) {
    double const occupancy = occupancyAtFirstFailure(65'536, seed);
    RecordProperty("occupancy" + std::to_string(seed), std::to_string(occupancy));
    EXPECT_GT(occupancy, 0.94) << "seed " << seed;
    EXPECT_LE(occupancy, 1.0) << "seed " << seed;
  }
}

TEST_F(AnySizedBlockAllocatorTest, AMillionRowsInRunsOfOneTwoAndSixtyFour) {
  constexpr std::uint32_t size = 1'048'576;
  runs_ = allocatorOf(size);
  for (std::uint32_t id = 0; id < size / 64; ++id) ASSERT_EQ(take(64, id), Index(id * 64));
  EXPECT_THROW(take(1, size), NoRowException);
  // A hole of 64 in every second place: 8,192 extents of one length.
  for (std::uint32_t id = size / 64 - 1; id < size; id -= 2) release(64, id);
  EXPECT_EQ(runs_->largestFreeRun(), 64U);
  EXPECT_EQ(take(64, size), Index(64));
  for (std::uint32_t id = 0; id < 31; ++id) {
    ASSERT_EQ(take(2, size + 1 + id), Index(3 * 64 + id * 2));
  }
  EXPECT_EQ(take(1, size + 40), Index(3 * 64 + 62));
  EXPECT_EQ(take(64, size + 41), Index(5 * 64));
  EXPECT_EQ(take(1, size + 42), Index(3 * 64 + 63));
}

class AnySizedBlockAllocatorDeathTest : public AnySizedBlockAllocatorTest {};

TEST_F(AnySizedBlockAllocatorDeathTest, BlocksAreValues) {
  EXPECT_DEATH(
      AnySizedBlockAllocator::AnySizedBlockAllocatorIs("", noValueType, 8),
      "^blockType\\.valueOps\\(\\): blocks are values, their type has no value operations: "
      "'AllocatorTests::NoValue'\n"
      ".*AnySizedBlockAllocator:[0-9]+: static Vek::Ptr<Asic::AnySizedBlockAllocator> "
      "Asic::AnySizedBlockAllocator::AnySizedBlockAllocatorIs\\(const Vek::String&, "
      "Vek::VekType, uint32_t\\): Assertion `\"blockType\\.valueOps\\(\\)\" == nullptr' "
      "failed\\.\n$");
}

TEST_F(AnySizedBlockAllocatorDeathTest, RunsAreGivenOutAfterInitialization) {
  runs_ = AnySizedBlockAllocator::AnySizedBlockAllocatorIs("", blockType, 8);
  EXPECT_EQ(find(2, 1), noRow);
  EXPECT_DEATH(
      take(2, 1),
      "^initialized_: a run was asked for before handleInitialized\\(\\), block: block 1 of "
      "2\n"
      ".*AnySizedBlockAllocator:[0-9]+: Asic::Index "
      "Asic::AnySizedBlockAllocator::newIndexForBlock\\(const void\\*\\): Assertion "
      "`\"initialized_\" == nullptr' failed\\.\n$");
}

TEST(EntryBlockBase, IsTheSizeOfABlock) {
  Asic::EntryBlockBase const none;
  Asic::EntryBlockBase const two(Asic::BlockSize(2));
  Asic::EntryBlockBase const three(Asic::BlockSize(3));
  EXPECT_EQ(none.blockSize(), Asic::BlockSize(0));
  EXPECT_EQ(two.blockSize(), Asic::BlockSize(2));
  EXPECT_FALSE(none);
  EXPECT_TRUE(two);
  EXPECT_TRUE(two == Asic::EntryBlockBase(Asic::BlockSize(2)));
  EXPECT_FALSE(two == three);
  EXPECT_TRUE(two < three);
  EXPECT_FALSE(three < two);
  EXPECT_FALSE(two < two);
}

}  // namespace
