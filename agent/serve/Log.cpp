#include "agent/serve/Log.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace OrviaL3Agent {
namespace {

char const* name(Log::Level level) {
  switch (level) {
    case Log::Level::error:
      return "error";
    case Log::Level::warning:
      return "warning";
    case Log::Level::info:
      break;
  }
  return "info";
}

std::string oneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
  return text;
}

}  // namespace

std::string Log::journalLine(Level level, std::string const& text) {
  return fmt::format("<{}>{}", static_cast<int>(level), oneLine(text));
}

std::string Log::timedLine(Level level, std::string const& text) {
  auto const now = std::chrono::system_clock::now();
  auto const inSecond = std::chrono::duration_cast<std::chrono::milliseconds>(
                            now.time_since_epoch() % std::chrono::seconds(1))
                            .count();
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z {}: {}",
                     fmt::gmtime(std::chrono::system_clock::to_time_t(now)), inSecond, name(level),
                     oneLine(text));
}

bool Log::isJournal(char const* journalStream) {
  struct stat status {};
  if (journalStream == nullptr || ::fstat(STDERR_FILENO, &status) != 0) return false;
  return fmt::format("{}:{}", status.st_dev, status.st_ino) == journalStream;
}

Log::Sink Log::toStandardError() {
  bool const toJournal = isJournal(std::getenv("JOURNAL_STREAM"));
  return [toJournal](Level level, std::string const& text) {
    std::string const line = toJournal ? journalLine(level, text) : timedLine(level, text);
    std::fputs((line + "\n").c_str(), stderr);
  };
}

}  // namespace OrviaL3Agent
