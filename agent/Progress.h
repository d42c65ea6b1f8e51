// Shows how far a long piece of work has come, on one line of standard error.
//
//   Progress progress(progressStyle(options.progress));
//   progress.show([&] { return fmt::format("{} messages", n); });   // as often as you like
//   progress.end();
//
// On a terminal the line is overwritten in place and gone at the end; elsewhere every state is a
// line of its own and the last one stays. At most ten states are shown in a second, and the text is
// made only for those.
//
// Threading: one thread. Ownership: the stream must outlive the progress.
#pragma once

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>

#include "agent/CommandLine.h"

namespace OrviaL3Agent {

class Progress {
 public:
  enum class Style { off, lines, inPlace };

  explicit Progress(Style style, std::FILE* out = stderr) : style_(style), out_(out) {}
  ~Progress() { end(); }
  Progress(Progress const&) = delete;
  Progress& operator=(Progress const&) = delete;

  void show(std::function<std::string()> const& text);
  // The last state, shown however little time has passed.
  void showLast(std::function<std::string()> const& text);
  // Clears the line of a terminal.
  void end();

 private:
  using Clock = std::chrono::steady_clock;

  void write(std::string const& text);

  Style style_;
  std::FILE* out_;
  Clock::time_point next_{};
  bool shown_ = false;
};

// What the user's choice means for this standard error.
[[nodiscard]] Progress::Style progressStyle(ReplayOptions::Progress wanted);

}  // namespace OrviaL3Agent
