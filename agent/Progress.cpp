#include "agent/Progress.h"

#include <fmt/format.h>
#include <unistd.h>

namespace OrviaL3Agent {
namespace {

constexpr std::chrono::milliseconds kInterval{100};

}  // namespace

void Progress::write(std::string const& text) {
  if (style_ == Style::inPlace) {
    // Back to the start, the text, and away with the rest of a longer one before it.
    fmt::print(out_, "\r{}\033[K", text);
  } else {
    fmt::print(out_, "{}\n", text);
  }
  std::fflush(out_);
  shown_ = true;
}

void Progress::show(std::function<std::string()> const& text) {
  if (style_ == Style::off) return;
  Clock::time_point const now = Clock::now();
  if (now < next_) return;
  next_ = now + kInterval;
  write(text());
}

void Progress::showLast(std::function<std::string()> const& text) {
  if (style_ != Style::off) write(text());
}

void Progress::end() {
  if (shown_ && style_ == Style::inPlace) {
    fmt::print(out_, "\r\033[K");
    std::fflush(out_);
  }
  shown_ = false;
}

Progress::Style progressStyle(ReplayOptions::Progress wanted) {
  bool const terminal = ::isatty(STDERR_FILENO) == 1;
  switch (wanted) {
    case ReplayOptions::Progress::off:
      return Progress::Style::off;
    case ReplayOptions::Progress::on:
      return terminal ? Progress::Style::inPlace : Progress::Style::lines;
    case ReplayOptions::Progress::automatic:
      break;
  }
  return terminal ? Progress::Style::inPlace : Progress::Style::off;
}

}  // namespace OrviaL3Agent
