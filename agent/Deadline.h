// Says when a slice of work has taken its time.
//
//   Deadline const deadline(std::chrono::milliseconds(1));
//   while (more() && !deadline.isOver()) next();
//
// Threading: one thread. Ownership: a plain value.
#pragma once

#include <chrono>

namespace OrviaL3Agent {

class Deadline {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Deadline(Clock::duration time) : end_(Clock::now() + time) {}

  [[nodiscard]] bool isOver() const { return Clock::now() >= end_; }

 private:
  Clock::time_point end_;
};

}  // namespace OrviaL3Agent
