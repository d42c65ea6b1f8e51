// A slice of work that is done in steps: as many as there is time for, and at least one, so that
// the work comes to its end however little time it is given.
//
//   Steps steps(std::chrono::milliseconds(1));
//   while (work.isLeft() && steps.take()) work.step();
//
// Without a time it is no slice: all of the work is done.
//
// Threading: one thread. Ownership: a plain value.
#pragma once

#include <cstddef>
#include <limits>
#include <optional>

#include "agent/Deadline.h"

namespace OrviaL3Agent {

class Steps {
 public:
  static constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

  // `most`: steps in all, whatever the time. Without a time there is no such limit.
  explicit Steps(std::optional<Deadline::Clock::duration> time, std::size_t most = kNoLimit)
      : most_(most) {
    if (time) deadline_.emplace(*time);
  }

  // Whether one more may be done, which is then counted.
  [[nodiscard]] bool take() {
    if (!deadline_) return true;
    if (taken_ > 0 && (taken_ >= most_ || deadline_->isOver())) return false;
    ++taken_;
    return true;
  }

 private:
  std::size_t most_;
  std::size_t taken_ = 0;
  std::optional<Deadline> deadline_;
};

}  // namespace OrviaL3Agent
