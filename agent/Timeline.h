// How a replay went: what was programmed, parked and asked of the hardware, by messages handled.
//
//   timeline.add({messages, programmed, parked, hardwareCalls});  // whenever something moved
//   for (Sample const& sample : timeline.samples()) ...
//
// Memory is bounded whatever the length of the stream: when the timeline is full, every second
// sample goes, and from then on every second one is taken, and so on. The first and the last sample
// always stay.
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace OrviaL3Agent {

struct Sample {
  std::uint64_t messages = 0;  // handled so far
  std::uint64_t programmed = 0;
  std::uint64_t parked = 0;
  std::uint64_t hardwareCalls = 0;  // so far
  friend bool operator==(Sample const&, Sample const&) = default;
};

class Timeline {
 public:
  static constexpr std::size_t kMaxSamples = 4096;

  // Keeps at most `maxSamples`, which must be 3 or more (std::invalid_argument).
  explicit Timeline(std::size_t maxSamples = kMaxSamples);

  // The number of messages must not be less than the last sample's (std::invalid_argument). Of
  // samples with one number of messages the first and the latest count: a long wait for the
  // hardware without messages must not push the stream itself out of the picture.
  void add(Sample const& sample);

  // By messages, the last one included.
  [[nodiscard]] std::vector<Sample> samples() const;
  [[nodiscard]] std::size_t size() const { return kept_.size() + (last_ ? 1 : 0); }
  [[nodiscard]] bool empty() const { return size() == 0; }

 private:
  void keep(Sample const& sample);

  std::size_t maxSamples_;
  std::vector<Sample> kept_;
  std::uint64_t stride_ = 1;    // one sample in so many is kept
  std::uint64_t offered_ = 0;   // to keep()
  std::optional<Sample> last_;  // the newest, not among kept_
  bool lastRepeats_ = false;    // it is not the first with its number of messages
};

}  // namespace OrviaL3Agent
