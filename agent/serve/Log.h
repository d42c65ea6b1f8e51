// What a long-running agent has to tell its operator: one line per event, to standard error.
//
//   Log log(Log::toStandardError());
//   log.info("listening at 127.0.0.1:2620");
//   log.warning(fmt::format("dropped {}: {}", peer, why));
//
// Where standard error is the journal of a systemd unit, a line begins with its priority ("<6>"),
// and the journal adds the time; otherwise it begins with the time (UTC) and the level.
//
// Threading: the loop's thread. Ownership: owns the function that takes its lines.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace OrviaL3Agent {

class Log {
 public:
  // As syslog numbers them.
  enum class Level { error = 3, warning = 4, info = 6 };
  // Takes a line, without its end.
  using Sink = std::function<void(Level level, std::string const& line)>;

  explicit Log(Sink sink) : sink_(std::move(sink)) {}

  void line(Level level, std::string const& text) const { sink_(level, text); }
  void error(std::string const& text) const { line(Level::error, text); }
  void warning(std::string const& text) const { line(Level::warning, text); }
  void info(std::string const& text) const { line(Level::info, text); }

  [[nodiscard]] static Sink toStandardError();
  // The line as the journal wants it, and as everybody else does. A text with several lines, which
  // only what somebody else said can have, becomes one.
  [[nodiscard]] static std::string journalLine(Level level, std::string const& text);
  [[nodiscard]] static std::string timedLine(Level level, std::string const& text);
  // Whether standard error is the stream that the service manager named ($JOURNAL_STREAM, device
  // and inode); one that was redirected since is not.
  [[nodiscard]] static bool isJournal(char const* journalStream);

 private:
  Sink sink_;
};

}  // namespace OrviaL3Agent
