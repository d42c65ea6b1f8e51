// What is kept of the course of a replay.
#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "agent/Timeline.h"

namespace OrviaL3Agent {
namespace {

Sample at(std::uint64_t messages) { return {messages, messages * 2, messages % 7, messages * 3}; }

TEST(Timeline, KeepsWhatItIsGiven) {
  Timeline timeline;
  EXPECT_TRUE(timeline.empty());
  EXPECT_TRUE(timeline.samples().empty());
  timeline.add(at(0));
  EXPECT_EQ(timeline.samples(), std::vector<Sample>{at(0)});
  timeline.add(at(16));
  timeline.add(at(32));
  EXPECT_EQ(timeline.samples(), (std::vector<Sample>{at(0), at(16), at(32)}));
  EXPECT_EQ(timeline.size(), 3U);
  EXPECT_FALSE(timeline.empty());
}

TEST(Timeline, ThinsOutEvenlyWhenItIsFull) {
  Timeline timeline(8);
  for (std::uint64_t i = 0; i <= 100; ++i) timeline.add(at(i));
  // 16 is the smallest stride that leaves room: 0, 16 ... 96, and the last.
  EXPECT_EQ(timeline.samples(),
            (std::vector<Sample>{at(0), at(16), at(32), at(48), at(64), at(80), at(96), at(100)}));
}

TEST(Timeline, StaysInItsBoundsAndKeepsFirstAndLastAtEveryLength) {
  for (std::size_t const limit : {3U, 4U, 5U, 64U}) {
    Timeline timeline(limit);
    for (std::uint64_t i = 5; i < 2000; ++i) {
      timeline.add(at(i));
      std::vector<Sample> const samples = timeline.samples();
      ASSERT_LE(samples.size(), limit);
      ASSERT_EQ(timeline.size(), samples.size());
      ASSERT_EQ(samples.front(), at(5));
      ASSERT_EQ(samples.back(), at(i));
      // Even but for the step to the last, which may be shorter, and no samples made up.
      for (std::size_t k = 2; k + 1 < samples.size(); ++k) {
        ASSERT_EQ(samples[k].messages - samples[k - 1].messages,
                  samples[1].messages - samples[0].messages);
      }
      for (Sample const& sample : samples) ASSERT_EQ(sample, at(sample.messages));
    }
    EXPECT_GE(timeline.size(), limit / 2);
  }
}

TEST(Timeline, HoldsFourThousandSamplesOfAMillion) {
  Timeline timeline;
  for (std::uint64_t i = 0; i < 1000000; ++i) timeline.add(at(i));
  EXPECT_LE(timeline.size(), 4096U);
  EXPECT_GE(timeline.size(), 2048U);
  EXPECT_EQ(timeline.samples().back(), at(999999));
}

TEST(Timeline, KeepsTheFirstAndTheLatestSampleOfAMessage) {
  Timeline timeline;
  timeline.add({4, 1, 9, 1});
  timeline.add({8, 2, 9, 2});
  timeline.add({8, 3, 5, 3});
  timeline.add({8, 4, 1, 4});
  timeline.add({8, 5, 0, 5});
  EXPECT_EQ(timeline.samples(), (std::vector<Sample>{{4, 1, 9, 1}, {8, 2, 9, 2}, {8, 5, 0, 5}}));
  timeline.add({9, 6, 0, 6});
  timeline.add({10, 7, 0, 7});
  EXPECT_EQ(
      timeline.samples(),
      (std::vector<Sample>{{4, 1, 9, 1}, {8, 2, 9, 2}, {8, 5, 0, 5}, {9, 6, 0, 6}, {10, 7, 0, 7}}));
}

TEST(Timeline, IsNotCrowdedByALongWaitWithoutMessages) {
  Timeline timeline(64);
  for (std::uint64_t i = 0; i < 50; ++i) timeline.add(at(i));
  for (std::uint64_t i = 0; i < 10000; ++i) timeline.add({49, i, 0, 0});
  EXPECT_EQ(timeline.size(), 51U);
  EXPECT_EQ(timeline.samples()[48], at(48));
}

TEST(Timeline, RefusesToGoBack) {
  Timeline timeline;
  timeline.add(at(9));
  EXPECT_THROW(timeline.add(at(8)), std::invalid_argument);
  EXPECT_EQ(timeline.samples(), std::vector<Sample>{at(9)});
}

TEST(Timeline, RefusesALimitThatLeavesNoRoom) {
  EXPECT_THROW(Timeline(2), std::invalid_argument);
  EXPECT_NO_THROW(Timeline(3));
}

}  // namespace
}  // namespace OrviaL3Agent
