#include "Compare.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "LiveObjects.h"

namespace Model {
namespace {

constexpr std::size_t longestAbortText = 2048;

// Lines in memory that outlives the child; what does not fit is left out.
class SharedLines {
 public:
  void clear() { size_ = 0; }
  void add(std::string_view line) {
    if (line.size() >= sizeof text_ - size_) return;
    line.copy(text_ + size_, line.size());
    size_ += line.size();
    text_[size_++] = '\n';
  }
  [[nodiscard]] std::string_view text() const { return {text_, size_}; }
  [[nodiscard]] Lines lines() const {
    Lines lines;
    std::string_view rest = text();
    for (std::size_t end; (end = rest.find('\n')) != std::string_view::npos;) {
      lines.emplace_back(rest.substr(0, end));
      rest.remove_prefix(end + 1);
    }
    return lines;
  }

 private:
  std::size_t size_ = 0;
  char text_[1U << 18U];
};

// What a child tells also when it ends abruptly.
struct Progress {
  std::uint64_t step;  // the one that is under way
  bool inExpected;     // whether the expected world does it
  bool abortAnnounced;
  char abortText[longestAbortText];
  // What the step logged before the abort.
  SharedLines expectedLog;
  SharedLines actualLog;
  Tally tally;
};

void check(bool worked, char const* what) {
  if (!worked) throw std::system_error(errno, std::generic_category(), what);
}

// Memory that children write into; made once.
Progress& progress() {
  static Progress& shared = [&]() -> Progress& {
    void* const memory =
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    check(memory != MAP_FAILED, "mmap");
    return *new (memory) Progress();
  }();
  return shared;
}

// A file in memory for a child's standard error; made once.
int errorFile() {
  static int const file = [] {
    int const made = memfd_create("stderr", MFD_CLOEXEC);
    check(made >= 0, "memfd_create");
    return made;
  }();
  return file;
}

std::string errorText() {
  std::string text;
  char buffer[4096];
  off_t at = 0;
  for (ssize_t got; (got = pread(errorFile(), buffer, sizeof buffer, at)) > 0; at += got) {
    text.append(buffer, static_cast<std::size_t>(got));
  }
  return text;
}

std::string place(Sequence const& sequence, std::uint64_t step) {
  std::vector<Step> const closing = closingSteps();
  std::size_t const count = sequence.steps.size();
  if (step < count) {
    return "step " + std::to_string(step) + " " + stepText(sequence.steps[step]);
  }
  if (step - count < closing.size()) return "closing step " + stepText(closing[step - count]);
  return "the end";
}

// --- In the child.

class Child {
 public:
  Child(Worlds const& worlds, Sequence const& sequence)
      : worlds_(worlds), sequence_(sequence), before_(TableTests::liveObjects()) {}

  // Empty when there is no difference.
  std::string run() {
    if (std::string found = compareSteps(); !found.empty()) return found;
    expected_ = nullptr;
    actual_ = nullptr;
    return leftBehind();
  }

 private:
  std::string compareSteps() {
    expected_ = worlds_.expected(sequence_);
    actual_ = worlds_.actual(sequence_);
    if (std::string found = compareWorlds(nullptr); !found.empty()) {
      return "at the start:\n" + found;
    }
    for (Step const& step : sequence_.steps) {
      if (std::string found = compareStep(step, true); !found.empty()) return found;
    }
    for (Step const& step : closingSteps()) {
      if (std::string found = compareStep(step, false); !found.empty()) return found;
    }
    return {};
  }

  std::string compareStep(Step const& step, bool counted) {
    Progress& shared = progress();
    Tally* const tally = counted ? &shared.tally : nullptr;
    if (tally != nullptr) {
      ++tally->steps;
      ++tally->ofKind[static_cast<std::size_t>(step.kind)];
    }
    std::string const here = place(sequence_, shared.step) + ":\n";
    try {
      shared.inExpected = true;
      expected_->stepIs(step);
      shared.inExpected = false;
    } catch (Abort const& abort) {
      shared.inExpected = false;
      std::strncpy(shared.abortText, abort.what(), longestAbortText - 1);
      for (std::string const& line : expected_->takeLog()) shared.expectedLog.add(line);
      shared.abortAnnounced = true;
      actual_->listenerIs([&shared](std::string const& line) { shared.actualLog.add(line); });
      actual_->stepIs(step);
      shared.abortAnnounced = false;
      return here + "the abort does not come: " + abort.what() + "\nthe log instead:\n" +
             unified(shared.expectedLog.lines(), actual_->takeLog(), true);
    } catch (std::exception const& exception) {
      return here + "the expected world fails: " + exception.what() + "\n";
    }
    actual_->stepIs(step);
    if (std::string found = compareWorlds(tally, &step); !found.empty()) return here + found;
    ++shared.step;
    return {};
  }

  std::string compareWorlds(Tally* tally, Step const* step = nullptr) {
    Lines const expectedLog = expected_->takeLog();
    Lines const actualLog = actual_->takeLog();
    Lines const expectedState = expected_->snapshot();
    Lines const actualState = actual_->snapshot();
    if (expectedLog == actualLog && expectedState == actualState) {
      if (tally != nullptr) count(*tally, *step, actualLog);
      return {};
    }
    std::string text = "log (- expected, + actual):\n" + unified(expectedLog, actualLog, true);
    if (expectedState != actualState) {
      text += "snapshot, where it differs:\n" + unified(expectedState, actualState, false);
    }
    return text;
  }

  static void count(Tally& tally, Step const& step, Lines const& log) {
    if (!log.empty()) ++tally.withEffect[static_cast<std::size_t>(step.kind)];
    constexpr std::array<char const*, 4> writes{"ingress write ", "hop write ", "member write ",
                                                "group write "};
    for (std::string const& line : log) {
      if (line.starts_with("handler ")) ++tally.handlerCalls;
      if (line.starts_with("raises ")) ++tally.exceptions;
      for (std::size_t table = 0; table < writes.size(); ++table) {
        if (line.starts_with(writes[table])) ++tally.writes[table];
      }
    }
  }

  [[nodiscard]] std::string leftBehind() const {
    auto const linesOf = [](auto const& objects) {
      Lines lines;
      for (auto const& [type, count] : objects) {
        lines.push_back(type + " " + std::to_string(count));
      }
      return lines;
    };
    std::string const changed =
        unified(linesOf(before_), linesOf(TableTests::liveObjects()), false);
    return changed.empty() ? changed : "live objects at the start and at the end:\n" + changed;
  }

  Worlds const& worlds_;
  Sequence const& sequence_;
  std::map<std::string, std::uint64_t> const before_;
  std::unique_ptr<World> expected_;
  std::unique_ptr<World> actual_;
};

[[noreturn]] void runChild(Worlds const& worlds, Sequence const& sequence, int pipe) {
  rlimit const noCore{0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  dup2(errorFile(), STDERR_FILENO);
  std::string found;
  {
    // Not destroyed after a difference: who knows what worlds that differ do at their end.
    Child& child = *new Child(worlds, sequence);
    found = child.run();
  }
  for (std::size_t sent = 0; sent < found.size();) {
    ssize_t const now = write(pipe, found.data() + sent, found.size() - sent);
    if (now < 0) break;
    sent += static_cast<std::size_t>(now);
  }
  std::quick_exit(0);  // nothing of the parent's is to be done here
}

// --- In the parent.

// What the child says; false when it does not come to an end in time.
bool readUntilEnd(int pipe, std::chrono::milliseconds limit, std::string& text) {
  auto const end = std::chrono::steady_clock::now() + limit;
  char buffer[4096];
  for (;;) {
    auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end - std::chrono::steady_clock::now());
    pollfd wanted{pipe, POLLIN, 0};
    if (left.count() <= 0) return false;
    if (poll(&wanted, 1, static_cast<int>(left.count())) <= 0) continue;
    ssize_t const got = read(pipe, buffer, sizeof buffer);
    if (got <= 0) return true;
    text.append(buffer, static_cast<std::size_t>(got));
  }
}

std::string endText(int status) {
  if (WIFSIGNALED(status)) {
    int const signal = WTERMSIG(status);
    return "ended by signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
  }
  return "exit code " + std::to_string(WEXITSTATUS(status));
}

// Whether standard error holds the announced text and the C library's line, and nothing else.
bool isAnnounced(std::string_view announced, std::string_view error) {
  std::string_view rest;
  if (!beginsLike(error, announced, rest) || !rest.starts_with("\n")) return false;
  rest.remove_prefix(1);
  return rest.find(": Assertion `") != std::string_view::npos && rest.ends_with(" failed.\n") &&
         rest.find('\n') == rest.size() - 1;
}

std::string verdict(Sequence const& sequence, int status, std::string const& told) {
  Progress& shared = progress();
  std::string const error = errorText();
  bool const aborted = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
  if (!told.empty()) return error.empty() ? told : told + "standard error:\n" + error;
  if (aborted && shared.abortAnnounced && isAnnounced(shared.abortText, error)) {
    if (shared.expectedLog.text() != shared.actualLog.text()) {
      return place(sequence, shared.step) + ":\nlog before the abort (- expected, + actual):\n" +
             unified(shared.expectedLog.lines(), shared.actualLog.lines(), true) + error;
    }
    ++shared.tally.aborts;
    if (shared.step < sequence.steps.size()) {
      ++shared.tally.aborted[static_cast<std::size_t>(sequence.steps[shared.step].kind)];
    }
    return {};
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0 && error.empty()) return {};
  std::string text = place(sequence, shared.step) + ":\n" + endText(status) +
                     (shared.inExpected ? ", in the expected world\n" : ", in the actual world\n");
  if (shared.abortAnnounced) text += "- " + std::string(shared.abortText) + "\n";
  return text + "standard error:\n" + error;
}

}  // namespace

std::string differenceBetween(Worlds const& worlds, Sequence const& sequence, Tally* tally,
                              std::chrono::milliseconds limit) {
  Progress& shared = progress();
  shared.step = 0;
  shared.inExpected = false;
  shared.abortAnnounced = false;
  shared.expectedLog.clear();
  shared.actualLog.clear();
  std::memset(shared.abortText, 0, sizeof shared.abortText);
  shared.tally = tally != nullptr ? *tally : Tally();
  ++shared.tally.sequences;
  check(ftruncate(errorFile(), 0) == 0, "ftruncate");
  check(lseek(errorFile(), 0, SEEK_SET) == 0, "lseek");

  int pipeEnds[2];
  check(pipe(pipeEnds) == 0, "pipe");
  std::fflush(nullptr);
  pid_t const child = fork();
  check(child >= 0, "fork");
  if (child == 0) {
    close(pipeEnds[0]);
    runChild(worlds, sequence, pipeEnds[1]);
  }
  close(pipeEnds[1]);
  std::string told;
  bool const ended = readUntilEnd(pipeEnds[0], limit, told);
  close(pipeEnds[0]);
  if (!ended) kill(child, SIGKILL);
  int status = 0;
  while (waitpid(child, &status, 0) < 0) check(errno == EINTR, "waitpid");
  std::string const result = ended ? verdict(sequence, status, told)
                                   : place(sequence, shared.step) + ":\ndoes not end\n" + told;
  if (tally != nullptr) *tally = shared.tally;
  return result;
}

}  // namespace Model
