#include "agent/Timeline.h"

#include <fmt/format.h>

#include <stdexcept>

namespace OrviaL3Agent {

Timeline::Timeline(std::size_t maxSamples) : maxSamples_(maxSamples) {
  if (maxSamples < 3) {
    throw std::invalid_argument(fmt::format("a timeline of {} samples", maxSamples));
  }
}

void Timeline::add(Sample const& sample) {
  if (!last_) {
    last_ = sample;
    return;
  }
  if (sample.messages < last_->messages) {
    throw std::invalid_argument(
        fmt::format("a sample at {} messages after one at {}", sample.messages, last_->messages));
  }
  // The latest of a message takes the place of the one before, unless that is the first of its
  // message.
  bool const replaces = sample.messages == last_->messages && lastRepeats_;
  if (!replaces) keep(*last_);
  lastRepeats_ = sample.messages == last_->messages;
  last_ = sample;
}

void Timeline::keep(Sample const& sample) {
  if (offered_++ % stride_ != 0) return;
  kept_.push_back(sample);
  if (kept_.size() < maxSamples_) return;
  // No room for the last one: those at odd places go, so that what stays is what a doubled stride
  // would have kept from the start.
  std::size_t left = 0;
  for (std::size_t i = 0; i < kept_.size(); i += 2) kept_[left++] = kept_[i];
  kept_.resize(left);
  stride_ *= 2;
}

std::vector<Sample> Timeline::samples() const {
  std::vector<Sample> all = kept_;
  if (last_) all.push_back(*last_);
  return all;
}

}  // namespace OrviaL3Agent
