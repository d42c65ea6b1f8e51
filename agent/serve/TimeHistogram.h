// How often something took how long: counts by upper bounds from 0.1 ms to 60 s, and the sum.
//
//   TimeHistogram times;
//   times.add(std::chrono::milliseconds(3));
//
// Threading: one thread. Ownership: a plain value.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace OrviaL3Agent {

class TimeHistogram {
 public:
  // Seconds, ascending; what takes longer is in the count and in no bucket.
  static constexpr std::array<double, 18> kBounds{0.0001, 0.00025, 0.0005, 0.001, 0.0025, 0.005,
                                                  0.01,   0.025,   0.05,   0.1,   0.25,   0.5,
                                                  1,      2.5,     5,      10,    30,     60};

  // `times`: how many of the same.
  void add(std::chrono::nanoseconds took, std::uint64_t times = 1) {
    double const seconds = std::max(0.0, std::chrono::duration<double>(took).count());
    // The first bound that is not below: bounds belong to their buckets.
    auto const bound = std::lower_bound(kBounds.begin(), kBounds.end(), seconds);
    if (bound != kBounds.end()) {
      buckets_[static_cast<std::size_t>(bound - kBounds.begin())] += times;
    }
    count_ += times;
    sum_ += seconds * static_cast<double>(times);
  }

  // Of this bucket alone, not of those below.
  [[nodiscard]] std::uint64_t inBucket(std::size_t bucket) const { return buckets_.at(bucket); }
  [[nodiscard]] std::uint64_t count() const { return count_; }
  [[nodiscard]] double sumSeconds() const { return sum_; }

 private:
  std::array<std::uint64_t, kBounds.size()> buckets_{};
  std::uint64_t count_ = 0;
  double sum_ = 0;
};

}  // namespace OrviaL3Agent
