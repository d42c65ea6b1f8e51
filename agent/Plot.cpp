#include "agent/Plot.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace OrviaL3Agent {
namespace {

// In the way of errno: the number of the failure that `call` reported, retried when it was only a
// signal that came in between.
template <typename Call>
auto uninterrupted(Call const& call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

[[noreturn]] void failed(std::string const& what, int error) {
  throw std::runtime_error(fmt::format("{}: {}", what, std::strerror(error)));
}

class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  ~Descriptor() { close(); }
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  [[nodiscard]] int get() const { return fd_; }
  void close() {
    if (fd_ >= 0) ::close(std::exchange(fd_, -1));
  }

 private:
  int fd_;
};

// The file of the picture. What is not finished when its object ends is taken back.
class OutputFile {
 public:
  explicit OutputFile(std::string const& path) : path_(path) {
    // Not emptied yet: an older picture is good until there is a newer one.
    created_ = open(O_EXCL);
    if (!created_ && errno == EEXIST) (void)open(0);
    if (fd_.get() < 0) failed("cannot write " + path_, errno);
  }
  ~OutputFile() {
    if (created_ || touched_) remove();
  }
  OutputFile(OutputFile const&) = delete;
  OutputFile& operator=(OutputFile const&) = delete;

  void write(std::string_view content) {
    touched_ = true;
    // What cannot be cut (a terminal, a pipe) has nothing to be cut off.
    if (::ftruncate(fd_.get(), 0) != 0 && isRegular()) failed("cannot write " + path_, errno);
    while (!content.empty()) {
      auto const count =
          uninterrupted([&] { return ::write(fd_.get(), content.data(), content.size()); });
      if (count < 0) failed("cannot write " + path_, errno);
      content.remove_prefix(static_cast<std::size_t>(count));
    }
    created_ = touched_ = false;
  }

 private:
  bool open(int flags) {
    fd_ = Descriptor(uninterrupted([&] {
      return ::open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | flags, 0666);
    }));
    return fd_.get() >= 0;
  }
  [[nodiscard]] bool isRegular() const {
    struct stat status {};
    return ::fstat(fd_.get(), &status) == 0 && S_ISREG(status.st_mode);
  }
  // A device is not ours to remove.
  void remove() const {
    if (isRegular()) (void)::unlink(path_.c_str());
  }

  std::string path_;
  Descriptor fd_;
  bool created_ = false;
  bool touched_ = false;
};

// The environment without what would change the picture or the language of messages.
std::vector<std::string> plainEnvironment() {
  std::vector<std::string> variables{"LC_ALL=C.UTF-8"};
  for (char** variable = environ; *variable != nullptr; ++variable) {
    std::string_view const text = *variable;
    if (text.starts_with("LC_") || text.starts_with("LANG") || text.starts_with("GNU")) continue;
    variables.emplace_back(text);
  }
  return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// A connected pair. The program's standard streams are sockets: writing to one whose reader is gone
// can be asked for without the signal that would end us.
std::pair<Descriptor, Descriptor> channel() {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    failed("cannot start gnuplot", errno);
  }
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

class SpawnActions {
 public:
  SpawnActions() { check(::posix_spawn_file_actions_init(&actions_)); }
  ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions_); }
  SpawnActions(SpawnActions const&) = delete;
  SpawnActions& operator=(SpawnActions const&) = delete;
  void duplicate(Descriptor const& from, int to) {
    check(::posix_spawn_file_actions_adddup2(&actions_, from.get(), to));
  }
  [[nodiscard]] posix_spawn_file_actions_t const* get() const { return &actions_; }

 private:
  static void check(int error) {
    if (error != 0) failed("cannot start gnuplot", error);
  }
  posix_spawn_file_actions_t actions_{};
};

// gnuplot while it runs. Ends it and waits for it, whatever happens.
class Gnuplot {
 public:
  Gnuplot() {
    auto [input, theirInput] = channel();
    auto [output, theirOutput] = channel();
    auto [error, theirError] = channel();
    SpawnActions actions;
    actions.duplicate(theirInput, STDIN_FILENO);
    actions.duplicate(theirOutput, STDOUT_FILENO);
    actions.duplicate(theirError, STDERR_FILENO);
    // -d: no start-up files, which could change the picture.
    std::vector<std::string> arguments{"gnuplot", "-d"};
    std::vector<std::string> environment = plainEnvironment();
    int const failure =
        ::posix_spawnp(&pid_, "gnuplot", actions.get(), nullptr, pointersTo(arguments).data(),
                       pointersTo(environment).data());
    if (failure == ENOENT) {
      throw std::runtime_error("gnuplot is not installed (Debian: apt-get install gnuplot-nox)");
    }
    if (failure != 0) failed("cannot start gnuplot", failure);
    input_ = std::move(input);
    output_ = std::move(output);
    error_ = std::move(error);
  }
  // Without its streams it ends by itself; wait() has usually been called before.
  ~Gnuplot() { (void)wait(); }
  Gnuplot(Gnuplot const&) = delete;
  Gnuplot& operator=(Gnuplot const&) = delete;

  // Says `script` and listens until gnuplot has said all it has to say: at the same time, as either
  // side may have to wait for the other.
  void talk(std::string_view script) {
    std::array<std::pair<Descriptor*, std::string*>, 2> const answers{
        {{&output_, &answer_}, {&error_, &complaint_}}};
    while (output_.get() >= 0 || error_.get() >= 0) {
      // A closed one is -1 here, which poll() passes over.
      std::array<pollfd, 3> waiting{
          {{output_.get(), POLLIN, 0}, {error_.get(), POLLIN, 0}, {input_.get(), POLLOUT, 0}}};
      if (uninterrupted([&] { return ::poll(waiting.data(), waiting.size(), -1); }) < 0) {
        failed("cannot talk to gnuplot", errno);
      }
      for (std::size_t i = 0; i < answers.size(); ++i) {
        if (waiting[i].revents != 0) receive(*answers[i].first, *answers[i].second);
      }
      if (waiting[2].revents != 0) send(script);
    }
  }

  // Its exit code, or -1 when it did not end by itself.
  int wait() {
    input_.close();
    output_.close();
    error_.close();
    if (pid_ > 0) {
      int status = 0;
      pid_t const ended = uninterrupted([&] { return ::waitpid(pid_, &status, 0); });
      if (ended == pid_ && WIFEXITED(status)) exitCode_ = WEXITSTATUS(status);
      pid_ = -1;
    }
    return exitCode_;
  }

  [[nodiscard]] std::string const& answer() const { return answer_; }
  [[nodiscard]] std::string const& complaint() const { return complaint_; }

 private:
  static void receive(Descriptor& from, std::string& into) {
    std::array<char, 16384> buffer;
    auto const count =
        uninterrupted([&] { return ::read(from.get(), buffer.data(), buffer.size()); });
    if (count > 0) {
      into.append(buffer.data(), static_cast<std::size_t>(count));
    } else {
      from.close();
    }
  }
  void send(std::string_view& script) {
    auto const count = uninterrupted([&] {
      return ::send(input_.get(), script.data(), script.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    });
    if (count >= 0) {
      script.remove_prefix(static_cast<std::size_t>(count));
      if (script.empty()) input_.close();
    } else if (errno != EAGAIN && errno != EWOULDBLOCK) {
      input_.close();  // it does not listen any more: its exit code and its words tell why
    }
  }

  pid_t pid_ = -1;
  int exitCode_ = -1;
  Descriptor input_;
  Descriptor output_;
  Descriptor error_;
  std::string answer_;
  std::string complaint_;
};

// How long the UTF-8 sequence at the start of `text` is, 0 when there is no valid one.
std::size_t characterLength(std::string_view text) {
  auto const byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned char const first = byte(0);
  if (first < 0x80) return 1;
  std::size_t const length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80U) return 0;
  }
  // Longer than needed, surrogates, beyond the last character, and the two that XML leaves out.
  if ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F)) return 0;
  if ((first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F)) return 0;
  if (first == 0xEF && byte(1) == 0xBF && byte(2) >= 0xBE) return 0;
  return length;
}

// As a string of gnuplot in which nothing has a meaning. File names may hold any bytes, pictures
// only characters: "?" stands for what is none.
std::string gnuplotText(std::string_view text) {
  std::string out = "'";
  while (!text.empty()) {
    std::size_t const length = characterLength(text);
    std::string_view const character = text.substr(0, std::max<std::size_t>(length, 1));
    text.remove_prefix(character.size());
    if (length == 0 || static_cast<unsigned char>(character[0]) < 0x20 || character[0] == 0x7F) {
      out += '?';
    } else if (character == "'") {
      out += "''";
    } else {
      out += character;
    }
  }
  return out + "'";
}

std::string scriptOf(Timeline const& timeline, std::string const& title) {
  std::vector<Sample> samples = timeline.samples();
  std::string script;
  if (samples.empty()) {
    // gnuplot draws no axes without data.
    script += "set label 'no samples' at graph 0.5,0.5 center\n";
    samples.emplace_back();
  }
  // One sample makes no line.
  char const* const style = samples.size() == 1 ? "points pt 7 ps 0.6" : "lines lw 2";
  // Colours that people of any colour vision tell apart; what belongs to the right axis is dashed
  // besides.
  script += fmt::format(
      R"(set encoding utf8
set terminal svg size 900,500 noenhanced background '#ffffff' font 'sans-serif,13'
set title {title}
set key tmargin center horizontal Left reverse samplen 3
set border 11 lc rgb '#444444'
set grid xtics ytics lc rgb '#dddddd' lt 1 lw 1
set tics nomirror out
set format '%.0f'
set format y2 '%.0f'
set xlabel 'messages'
set ylabel 'entries'
set y2label 'hardware calls'
set y2tics
set xrange [0:{messages}]
set yrange [0:10<*]
set y2range [0:10<*]
$samples << END
)",
      fmt::arg("title", gnuplotText(title)),
      fmt::arg("messages", std::max<std::uint64_t>(samples.back().messages, 10)));
  for (Sample const& sample : samples) {
    script += fmt::format("{} {} {} {}\n", sample.messages, sample.programmed, sample.parked,
                          sample.hardwareCalls);
  }
  script += fmt::format(
      R"(END
plot $samples using 1:2 with {style} lc rgb '#0072b2' title 'entries programmed', \
  $samples using 1:3 with {style} lc rgb '#d55e00' title 'entries parked', \
  $samples using 1:4 axes x1y2 with {style} dt (6,4) lc rgb '#555555' title 'hardware calls'
)",
      fmt::arg("style", style));
  return script;
}

std::string trimmed(std::string const& text) {
  constexpr char const* kBlanks = " \t\r\n";
  std::size_t const first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

std::string drawn(std::string const& script) {
  Gnuplot gnuplot;
  gnuplot.talk(script);
  int const exitCode = gnuplot.wait();
  std::string const complaint = trimmed(gnuplot.complaint());
  if (exitCode != 0) {
    throw std::runtime_error("gnuplot failed: " +
                             (complaint.empty() ? "it gave no reason" : complaint));
  }
  std::string const answer = trimmed(gnuplot.answer());
  if (!answer.starts_with("<?xml") || !answer.ends_with("</svg>")) {
    throw std::runtime_error("gnuplot gave no whole picture" +
                             (complaint.empty() ? "" : ": " + complaint));
  }
  return answer + "\n";
}

}  // namespace

void plot(Timeline const& timeline, std::string const& title, std::string const& path) {
  OutputFile file(path);
  file.write(drawn(scriptOf(timeline, title)));
}

}  // namespace OrviaL3Agent
