#include "agent/serve/Convergence.h"

#include <algorithm>
#include <utility>

namespace OrviaL3Agent {

void Convergence::turnEnds(Turn const& turn) {
  if (turn.messages != messages_) {
    std::uint64_t const count = turn.messages - std::exchange(messages_, turn.messages);
    add(turn.arrival, count);
    rest_.reset();
  }
  if (arrivals_.empty()) return;
  bool const isConfirmed = rest_ && turn.isAtRest && turn.calls == rest_->calls;
  if (isConfirmed) {
    for (Arrival const& arrival : arrivals_) {
      times_.add(rest_->now - arrival.when, arrival.messages);
    }
    arrivals_.clear();
    underWay_ = 0;
    span_ = {};
    rest_.reset();
    return;
  }
  rest_ = turn.isAtRest ? std::optional(turn) : std::nullopt;
}

// With too many arrivals, each two become one, and so will be those to come.
void Convergence::add(Clock::time_point arrival, std::uint64_t messages) {
  underWay_ += messages;
  if (!arrivals_.empty() && arrival - arrivals_.back().when < span_) {
    arrivals_.back().messages += messages;
    return;
  }
  arrivals_.push_back({arrival, messages});
  if (arrivals_.size() <= kMostArrivals) return;
  Clock::duration const share = (arrival - arrivals_.front().when) / kMostArrivals;
  span_ = 2 * std::max({span_, share, Clock::duration(1)});
  std::deque<Arrival> const all = std::exchange(arrivals_, {});
  underWay_ = 0;
  for (Arrival const& one : all) add(one.when, one.messages);
}

}  // namespace OrviaL3Agent
