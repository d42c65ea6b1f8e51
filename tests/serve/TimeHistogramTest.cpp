#include <gtest/gtest.h>

#include <numeric>

#include "agent/serve/MetricFamilies.h"
#include "agent/serve/TimeHistogram.h"

namespace OrviaL3Agent {
namespace {

using namespace std::chrono_literals;

std::uint64_t inBuckets(TimeHistogram const& times) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < TimeHistogram::kBounds.size(); ++i) sum += times.inBucket(i);
  return sum;
}

TEST(TimeHistogramTest, ABoundBelongsToItsBucket) {
  TimeHistogram times;
  times.add(100us);
  times.add(100us + 1ns);
  EXPECT_EQ(times.inBucket(0), 1U);
  EXPECT_EQ(times.inBucket(1), 1U);
}

TEST(TimeHistogramTest, WhatTakesLongerThanTheLastBoundIsCountedAndInNoBucket) {
  TimeHistogram times;
  times.add(61s);
  EXPECT_EQ(inBuckets(times), 0U);
  EXPECT_EQ(times.count(), 1U);
  EXPECT_EQ(times.sumSeconds(), 61);
}

TEST(TimeHistogramTest, AddsTheSameSeveralTimes) {
  TimeHistogram times;
  times.add(2s, 5);
  EXPECT_EQ(times.count(), 5U);
  EXPECT_EQ(inBuckets(times), 5U);
  EXPECT_EQ(times.sumSeconds(), 10);
}

TEST(TimeHistogramTest, ATimeBeforeItsBeginningIsNone) {
  TimeHistogram times;
  times.add(-5ms);
  EXPECT_EQ(times.inBucket(0), 1U);
  EXPECT_EQ(times.sumSeconds(), 0);
}

TEST(MetricFamiliesTest, BucketsAreCumulative) {
  TimeHistogram times;
  times.add(50us);
  times.add(200us);
  times.add(200us);
  MetricFamilies families;
  families.begin(MetricFamilies::Type::Histogram, "a_seconds", "A.");
  families.add({}, times);
  auto const made = families.take();
  auto const& buckets = made.at(0).metric.at(0).histogram.bucket;
  EXPECT_EQ(buckets.at(0).cumulative_count, 1U);
  EXPECT_EQ(buckets.at(1).cumulative_count, 3U);
  EXPECT_EQ(buckets.back().cumulative_count, 3U);
}

TEST(MetricFamiliesTest, TurnsThatExceedAllBoundsAreInNoBucket) {
  LoopTimes turns;
  turns.turnIs(50us);
  turns.turnIs(700us);
  turns.turnIs(2s);
  MetricFamilies families;
  families.begin(MetricFamilies::Type::Histogram, "a_seconds", "A.");
  families.add({}, turns);
  auto const made = families.take();
  auto const& histogram = made.at(0).metric.at(0).histogram;
  EXPECT_EQ(histogram.sample_count, 3U);
  EXPECT_EQ(histogram.bucket.at(0).cumulative_count, 1U);
  EXPECT_EQ(histogram.bucket.back().cumulative_count, 2U);
  EXPECT_NEAR(histogram.sample_sum, 2.00075, 1e-9);
}

}  // namespace
}  // namespace OrviaL3Agent
