// How long what the routing daemon says takes until the agent is at rest with it.
//
//   Convergence convergence;
//   bool const again = convergence.turnEnds({now, messages, arrival, isAtRest, calls});
//
// A message converges in the first state of rest after it: nothing that was received is unread, no
// answer of the hardware is under way, no timer of the tables runs, and the holders have let go of
// what was replaced. What is held back for good (an interface that never comes, an answer that was
// lost) is no unrest: it would never end.
//
// Whether a state is one of rest shows only in the next turn, since a turn's end may write: a turn
// that finds rest asks for one more.
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "agent/serve/TimeHistogram.h"

namespace OrviaL3Agent {

class Convergence {
 public:
  using Clock = std::chrono::steady_clock;

  struct Turn {
    Clock::time_point now;
    std::uint64_t messages = 0;  // read so far
    Clock::time_point arrival;   // of the oldest of those that this turn read
    bool isAtRest = false;       // as far as can be told now
    std::uint64_t calls = 0;     // of the hardware so far
  };

  // Messages of before are nobody's.
  explicit Convergence(std::uint64_t messages) : messages_(messages) {}

  void turnEnds(Turn const& turn);
  // Whether the next turn decides.
  [[nodiscard]] bool wantsTurn() const { return rest_.has_value(); }

  // From a message's arrival to the rest.
  [[nodiscard]] TimeHistogram const& times() const { return times_; }
  // Messages that have not come to rest.
  [[nodiscard]] std::uint64_t underWay() const { return underWay_; }

 private:
  // Messages that arrived within the span, as if all had with the first of them.
  struct Arrival {
    Clock::time_point when;
    std::uint64_t messages = 0;
  };
  // A stream that never rests must not take more and more memory.
  static constexpr std::size_t kMostArrivals = 4096;

  void add(Clock::time_point arrival, std::uint64_t messages);

  std::uint64_t messages_;
  std::uint64_t underWay_ = 0;
  std::deque<Arrival> arrivals_;
  Clock::duration span_{0};
  std::optional<Turn> rest_;  // that may be one
  TimeHistogram times_;
};

}  // namespace OrviaL3Agent
