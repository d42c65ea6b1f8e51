// How long one kind of operation took: number, mean and maximum, in nanoseconds of a steady clock.
//
//   OperationTime commits;
//   commits.measure([&] { table->entryCommit(key, record); });
//
// Threading: one thread. Ownership: a plain value.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <utility>

namespace OrviaL3Agent {

class OperationTime {
 public:
  using Clock = std::chrono::steady_clock;

  // Runs the operation, passes its result on and adds its time. An operation that throws is not
  // counted.
  template <class Operation>
  decltype(auto) measure(Operation&& operation) {
    Stop const stop{*this};
    return std::forward<Operation>(operation)();
  }

  void add(std::chrono::nanoseconds time) {
    ++count_;
    total_ += time;
    max_ = std::max(max_, time);
  }

  [[nodiscard]] std::uint64_t count() const { return count_; }
  // 0 before the first.
  [[nodiscard]] std::uint64_t meanNanoseconds() const {
    return count_ == 0 ? 0 : static_cast<std::uint64_t>(total_.count()) / count_;
  }
  [[nodiscard]] std::uint64_t maxNanoseconds() const {
    return static_cast<std::uint64_t>(max_.count());
  }

 private:
  // Adds the time at the end of the scope, so that the operation's result needs no second place.
  struct Stop {
    OperationTime& time;
    int exceptions = std::uncaught_exceptions();
    Clock::time_point start = Clock::now();
    ~Stop() {
      if (std::uncaught_exceptions() == exceptions) time.add(Clock::now() - start);
    }
  };

  std::uint64_t count_ = 0;
  std::chrono::nanoseconds total_{0};
  std::chrono::nanoseconds max_{0};
};

}  // namespace OrviaL3Agent
