#include "agent/control/Ctl.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "agent/CommandLine.h"
#include "agent/control/Output.h"

namespace OrviaL3Agent::Control {
namespace {

using Protocol = asio::local::stream_protocol;

// The agent cannot be asked.
class Unreachable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::string adviceFor(asio::error_code const& error) {
  if (error.value() == EACCES) return "run this as the agent's user or as root";
  if (error.value() == ENOENT || error.value() == ECONNREFUSED) {
    return "is `orvia-l3-agent serve` running, and with this --control path?";
  }
  return "check the path given by --socket";
}

// A socket that waits for the agent, and not for ever: one that was stopped listens and reads no
// more. asio's calls that wait have no limit, so that the system's are used.
class Connection {
 public:
  Connection(std::string const& path, std::chrono::milliseconds timeout)
      : path_(path), timeout_(timeout), socket_(io_) {
    if (path.size() >= sizeof(sockaddr_un::sun_path)) unreachable(asio::error::name_too_long);
    socket_.open(Protocol());
    // For connect(), which waits while the agent's queue is full, and for send().
    timeval const limit{static_cast<time_t>(timeout.count() / 1000),
                        static_cast<suseconds_t>(timeout.count() % 1000 * 1000)};
    ::setsockopt(socket_.native_handle(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    Protocol::endpoint const endpoint(path);
    while (::connect(socket_.native_handle(), endpoint.data(),
                     static_cast<socklen_t>(endpoint.size())) != 0) {
      if (errno == EAGAIN) silent();
      if (errno != EINTR) unreachable({errno, asio::system_category()});
    }
  }

  void send(std::string_view text) {
    while (!text.empty()) {
      ssize_t const size = ::send(socket_.native_handle(), text.data(), text.size(), MSG_NOSIGNAL);
      if (size < 0 && errno == EINTR) continue;
      if (size < 0 && errno == EAGAIN) silent();
      // What the agent has against a request it has said by now.
      if (size < 0) return;
      text.remove_prefix(static_cast<std::size_t>(size));
    }
  }

  // Whatever comes now may take its time.
  void waitForEver() { timeout_ = {}; }

  // The next line; nothing when the agent has closed.
  std::optional<std::string_view> line() {
    received_.erase(0, used_);
    used_ = 0;
    std::size_t looked = 0;
    for (;;) {
      std::size_t const end = received_.find('\n', looked);
      if (end != std::string::npos) {
        used_ = end + 1;
        return std::string_view(received_).substr(0, end);
      }
      looked = received_.size();
      // Nothing more is here: what was printed is to be seen while this waits.
      std::fflush(stdout);
      waitForBytes();
      asio::error_code error;
      std::size_t const size = socket_.read_some(asio::buffer(buffer_), error);
      if (error) return std::nullopt;
      received_.append(buffer_.data(), size);
    }
  }

  [[nodiscard]] std::string const& path() const { return path_; }

 private:
  void waitForBytes() {
    int const limit = timeout_.count() == 0 ? -1 : static_cast<int>(timeout_.count());
    for (;;) {
      pollfd state{socket_.native_handle(), POLLIN, 0};
      int const ready = ::poll(&state, 1, limit);
      if (ready > 0) return;
      if (ready == 0) silent();
      if (errno != EINTR) unreachable({errno, asio::system_category()});
    }
  }
  [[noreturn]] void unreachable(asio::error_code const& error) const {
    throw Unreachable(fmt::format("cannot reach the agent at {}: {}; {}", path_, error.message(),
                                  adviceFor(error)));
  }
  [[noreturn]] void silent() const {
    throw Unreachable(
        fmt::format("the agent at {} has said nothing for {} s: is its process stopped? "
                    "(--timeout SECONDS waits longer)",
                    path_, std::chrono::duration<double>(timeout_).count()));
  }

  std::string path_;
  std::chrono::milliseconds timeout_;
  asio::io_context io_{1};
  Protocol::socket socket_;
  std::array<char, 65536> buffer_{};
  std::string received_;
  std::size_t used_ = 0;
};

std::unique_ptr<Output> outputFor(CtlOptions const& options) {
  bool const isDot = !options.words.empty() && options.words[0] == "dot";
  if (options.svg) {
    if (!isDot) throw RequestError("--svg: only `dot` makes a picture");
    if (options.json) throw RequestError("--svg: a picture is no JSON");
    return svgOutput();
  }
  if (!options.json) return textOutput();
  bool const follows = options.words == std::vector<std::string>{"trace", "follow"};
  return follows ? jsonLinesOutput() : jsonOutput();
}

// What the agent answers to the end. Returns the exit code.
int answer(Connection& connection, Output& output, bool& hasOutput) {
  while (std::optional<std::string_view> const line = connection.line()) {
    Json const message = Json::parse(*line);
    if (message.contains("follows")) {
      connection.waitForEver();
      continue;
    }
    auto const end = message.find("end");
    if (end == message.end()) {
      output.messageIs(message);
      hasOutput = true;
      continue;
    }
    int const exitCode = end->at("exit").get<int>();
    auto const error = end->find("error");
    if (error == end->end()) return std::max(exitCode, output.end());
    if (hasOutput) output.end();
    std::fflush(stdout);
    fmt::print(stderr, "orvia-l3-agent: {}\n", error->get<std::string>());
    return exitCode;
  }
  throw Unreachable(
      fmt::format("the agent at {} went away before it had said all", connection.path()));
}

}  // namespace

int ctlCommand(CtlOptions const& options) {
  std::unique_ptr<Output> output;
  bool hasOutput = false;
  try {
    output = outputFor(options);
    Connection connection(options.socket, options.timeout);
    connection.send(Json{{"verb", options.words}, {"json", options.json}}.dump(
                        -1, ' ', false, Json::error_handler_t::replace) +
                    "\n");
    return answer(connection, *output, hasOutput);
  } catch (RequestError const& error) {
    std::fflush(stdout);
    fmt::print(stderr, "orvia-l3-agent: {}\n", error.what());
    return kExitUsage;
  } catch (Unreachable const& error) {
    // What came is printed, as far as it goes.
    if (hasOutput) output->end();
    std::fflush(stdout);
    fmt::print(stderr, "orvia-l3-agent: {}\n", error.what());
    return kExitStreamError;
  } catch (std::exception const& error) {
    std::fflush(stdout);
    fmt::print(stderr, "orvia-l3-agent: what the agent says is not understood: {}\n", error.what());
    return kExitStreamError;
  }
}

}  // namespace OrviaL3Agent::Control
