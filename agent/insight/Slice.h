// How long one slice of a look at the agent may take.
//
//   Slice slice;
//   while (!slice.isOver() && ...) { slice.spend(hops); ... }
//
// Work is counted, and the clock is looked at after each few dozen pieces of it: what one object
// costs goes from a lookup to hundreds.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <chrono>
#include <cstddef>

namespace OrviaL3Agent::Insight {

class Slice {
 public:
  static constexpr std::chrono::microseconds kTime{1000};

  // `pieces` of about a microsecond or less.
  void spend(std::size_t pieces = 1) { spent_ += pieces; }
  // Never before some work was done, so that a slow machine gets on as well.
  [[nodiscard]] bool isOver() {
    if (isOver_ || spent_ < next_) return isOver_;
    next_ = spent_ + kPieces;
    isOver_ = std::chrono::steady_clock::now() - begin_ > kTime;
    return isOver_;
  }

 private:
  static constexpr std::size_t kPieces = 32;

  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::size_t spent_ = 0;
  std::size_t next_ = kPieces;
  bool isOver_ = false;
};

}  // namespace OrviaL3Agent::Insight
