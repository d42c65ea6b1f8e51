// How long the turns of the agent's loop take: while one runs, nobody is listened to.
//
//   times.turnIs(std::chrono::steady_clock::now() - begin);
//   times.longest();
//
// Threading: the loop's thread. Ownership: a plain value.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace OrviaL3Agent {

class LoopTimes {
 public:
  using Duration = std::chrono::nanoseconds;

  // A turn is counted with the first bound that it does not exceed, and behind the last one with
  // those that exceed them all.
  static constexpr std::array<Duration, 8> kBounds{
      std::chrono::microseconds(100), std::chrono::microseconds(500), std::chrono::milliseconds(1),
      std::chrono::milliseconds(2),   std::chrono::milliseconds(5),   std::chrono::milliseconds(10),
      std::chrono::milliseconds(100), std::chrono::seconds(1)};

  void turnIs(Duration took) {
    ++turns_;
    total_ += took;
    longest_ = std::max(longest_, took);
    auto const at = std::lower_bound(kBounds.begin(), kBounds.end(), took);
    ++counts_[static_cast<std::size_t>(at - kBounds.begin())];
  }
  // Forgets the longest turn so far, for a measurement of what comes.
  void longestDel() { longest_ = Duration::zero(); }

  [[nodiscard]] std::uint64_t turns() const { return turns_; }
  [[nodiscard]] Duration total() const { return total_; }
  [[nodiscard]] Duration longest() const { return longest_; }
  // Turns by their bound, the last being those without one.
  [[nodiscard]] std::array<std::uint64_t, kBounds.size() + 1> const& counts() const {
    return counts_;
  }

 private:
  std::uint64_t turns_ = 0;
  Duration total_{0};
  Duration longest_{0};
  std::array<std::uint64_t, kBounds.size() + 1> counts_{};
};

}  // namespace OrviaL3Agent
