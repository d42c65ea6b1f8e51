// When the bytes that wait to be read as messages arrived.
//
//   ArrivalTimes times;
//   times.arrived(65536, now);    // this many more
//   times.readUpTo(offset);       // from the beginning of the connection
//   times.oldest();               // of what is still there
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

namespace OrviaL3Agent {

class ArrivalTimes {
 public:
  using Time = std::chrono::steady_clock::time_point;

  void arrived(std::size_t bytes, Time now) {
    end_ += bytes;
    // Bytes that come one by one share the time of the first.
    bool const joins = !pieces_.empty() && now - pieces_.back().time < kShared;
    if (joins) {
      pieces_.back().end = end_;
    } else {
      pieces_.push_back({end_, now});
    }
  }
  void readUpTo(std::uint64_t offset) {
    while (!pieces_.empty() && pieces_.front().end <= offset) pieces_.pop_front();
  }
  [[nodiscard]] std::optional<Time> oldest() const {
    if (pieces_.empty()) return std::nullopt;
    return pieces_.front().time;
  }

 private:
  static constexpr std::chrono::microseconds kShared{500};

  struct Piece {
    std::uint64_t end = 0;
    Time time;
  };
  std::uint64_t end_ = 0;
  std::deque<Piece> pieces_;
};

}  // namespace OrviaL3Agent
