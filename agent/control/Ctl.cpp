#include "agent/control/Ctl.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/write.hpp>
#include <cerrno>
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

class Connection {
 public:
  explicit Connection(std::string const& path) : path_(path), socket_(io_) {
    asio::error_code error;
    if (path.size() >= sizeof(sockaddr_un::sun_path)) {
      error = asio::error::name_too_long;
    } else {
      socket_.connect(Protocol::endpoint(path), error);
    }
    if (error) {
      throw Unreachable(fmt::format("cannot reach the agent at {}: {}; {}", path, error.message(),
                                    adviceFor(error)));
    }
  }

  void send(std::string const& text) {
    asio::error_code error;
    // What the agent has against a request it has said by now.
    asio::write(socket_, asio::buffer(text), error);
  }

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
      asio::error_code error;
      std::size_t const size = socket_.read_some(asio::buffer(buffer_), error);
      if (error) return std::nullopt;
      received_.append(buffer_.data(), size);
    }
  }

  [[nodiscard]] std::string const& path() const { return path_; }

 private:
  std::string path_;
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
int answer(Connection& connection, Output& output) {
  bool hasOutput = false;
  while (std::optional<std::string_view> const line = connection.line()) {
    Json const message = Json::parse(*line);
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
  if (hasOutput) output.end();
  throw Unreachable(
      fmt::format("the agent at {} went away before it had said all", connection.path()));
}

}  // namespace

int ctlCommand(CtlOptions const& options) {
  try {
    std::unique_ptr<Output> const output = outputFor(options);
    Connection connection(options.socket);
    connection.send(Json{{"verb", options.words}, {"json", options.json}}.dump(
                        -1, ' ', false, Json::error_handler_t::replace) +
                    "\n");
    return answer(connection, *output);
  } catch (RequestError const& error) {
    std::fflush(stdout);
    fmt::print(stderr, "orvia-l3-agent: {}\n", error.what());
    return kExitUsage;
  } catch (Unreachable const& error) {
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
