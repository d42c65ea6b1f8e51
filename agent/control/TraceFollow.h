// Lines of the text trace for those who follow it.
//
//   TraceFollower follower;            // from now on
//   while (std::optional<TraceFollower::Line> line = follower.take()) ...
//
// While anybody follows, lines go where they went before as well. Of lines that are not taken a
// bounded amount is kept, and those that come then are counted and dropped.
//
// Threading: lines may come from any thread; everything else is the loop's. Ownership: the process
// has one list of followers; a follower takes itself off at its end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

namespace OrviaL3Agent::Control {

class TraceFollower {
 public:
  static constexpr std::size_t kMostBytes = std::size_t{1} << 20;

  TraceFollower();
  ~TraceFollower();
  TraceFollower(TraceFollower const&) = delete;
  TraceFollower& operator=(TraceFollower const&) = delete;

  void lineIs(std::string line);
  struct Line {
    std::string text;
    std::uint64_t droppedBefore = 0;
  };
  // Whether there is a line, or at least one that was dropped.
  [[nodiscard]] bool hasLines() const;
  // The oldest line. Behind the last one, once, the number of those that were dropped since, with a
  // text that is empty.
  [[nodiscard]] std::optional<Line> take();

 private:
  mutable std::mutex mutex_;
  std::deque<Line> lines_;
  std::size_t bytes_ = 0;
  std::uint64_t dropped_ = 0;  // behind the last of the lines
};

}  // namespace OrviaL3Agent::Control
