#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "Mosk/HBitmap.h"

namespace {

using Mosk::HBitmap;

std::uint32_t lowestOf(std::vector<bool> const& bits) {
  auto const at = std::find(bits.begin(), bits.end(), true);
  return at == bits.end() ? HBitmap::noBit : static_cast<std::uint32_t>(at - bits.begin());
}

std::uint32_t longestRunOf(std::vector<bool> const& bits) {
  std::uint32_t longest = 0;
  std::uint32_t run = 0;
  for (bool const bit : bits) {
    run = bit ? run + 1 : 0;
    longest = std::max(longest, run);
  }
  return longest;
}

void expectSame(HBitmap const& bitmap, std::vector<bool> const& model) {
  ASSERT_EQ(bitmap.size(), model.size());
  EXPECT_EQ(bitmap.lowestSet(), lowestOf(model));
  EXPECT_EQ(bitmap.bitsSet(), std::count(model.begin(), model.end(), true));
  EXPECT_EQ(bitmap.longestRun(), longestRunOf(model));
  for (std::uint32_t i = 0; i < model.size(); ++i) ASSERT_EQ(bitmap.bit(i), model[i]) << i;
}

TEST(HBitmap, IsEmptyWithoutASize) {
  HBitmap const bitmap;
  EXPECT_EQ(bitmap.size(), 0U);
  EXPECT_EQ(bitmap.lowestSet(), HBitmap::noBit);
  EXPECT_EQ(bitmap.longestRun(), 0U);
}

TEST(HBitmap, AStateIsAPlainNumber) {
  EXPECT_EQ(HBitmap::BitState(), HBitmap::BitState(0));
  EXPECT_TRUE(HBitmap::BitState(1).isSet());
  EXPECT_EQ(HBitmap::BitState(1), HBitmap::BitState(2));
}

TEST(HBitmap, AgreesWithAPlainListUnderRandomChanges) {
  // Around the borders of words and of levels.
  for (std::uint32_t const size : {1U, 63U, 64U, 65U, 4095U, 4096U, 4097U, 5000U}) {
    SCOPED_TRACE(size);
    std::mt19937 random(size);
    HBitmap bitmap;
    bitmap.sizeIs(size);
    std::vector<bool> model(size);
    for (int round = 0; round < 20; ++round) {
      // Mostly full in one round, mostly empty in the next one.
      for (std::uint32_t change = 0; change < size; ++change) {
        auto const at = static_cast<std::uint32_t>(random() % size);
        bool const state = random() % 8 != 0 ? round % 2 == 0 : round % 2 != 0;
        bitmap.bitIs(at, state);
        model[at] = state;
      }
      expectSame(bitmap, model);
    }
  }
}

TEST(HBitmap, KeepsTheBitsThatStayWhenTheSizeChanges) {
  std::mt19937 random(5);
  HBitmap bitmap;
  std::vector<bool> model;
  for (int round = 0; round < 200; ++round) {
    auto const size = static_cast<std::uint32_t>(random() % 9000);
    bitmap.sizeIs(size);
    model.resize(size);
    for (std::uint32_t i = 0; i < size / 4; ++i) {
      auto const at = static_cast<std::uint32_t>(random() % size);
      bitmap.bitIs(at, 1);
      model[at] = true;
    }
    ASSERT_NO_FATAL_FAILURE(expectSame(bitmap, model));
  }
}

TEST(HBitmap, FindsTheLastOfAMillionBits) {
  HBitmap bitmap;
  bitmap.sizeIs(1'048'576);
  bitmap.bitIs(1'048'575, 1);
  EXPECT_EQ(bitmap.lowestSet(), 1'048'575U);
  bitmap.bitIs(524'288, 1);
  EXPECT_EQ(bitmap.lowestSet(), 524'288U);
  bitmap.bitIs(524'288, 0);
  bitmap.bitIs(1'048'575, 0);
  EXPECT_EQ(bitmap.lowestSet(), HBitmap::noBit);
  EXPECT_EQ(bitmap.bitsSet(), 0U);
}

}  // namespace
