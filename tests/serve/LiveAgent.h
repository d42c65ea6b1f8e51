// An agent that serves, in this process and thread: the test turns its loop.
//
//   LiveAgent live(options);
//   Daemon daemon(live.port());
//   live.say(daemon, announce(1, 2) + routeTo(1));   // sent, read, and at rest
//   daemon.close();
//   live.turnUntil([&] { return !live.status().peer; });
//
// With Options{} everything is checked: calls are kept, groups are followed after each of them, and
// differences() compares rows with what was asked for.
#pragma once

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "agent/Agent.h"
#include "agent/RouteText.h"
#include "agent/serve/Io.h"
#include "agent/serve/Log.h"
#include "agent/serve/TcpFpmServer.h"
#include "tests/agent/ReplayFixture.h"
#include "tests/serve/Daemon.h"

namespace OrviaL3Agent::Testing {

// Small tables, a free port, a hold time that no test has to wait for: see LiveAgent::sweep().
inline ServeOptions checkedOptions() {
  ServeOptions options;
  options.listen.port = 0;
  options.verify = true;
  options.checkForwarding = true;
  options.journalFile = "kept and never saved";
  options.hold = std::chrono::hours(1);
  return options;
}

class LiveAgent {
 public:
  explicit LiveAgent(ServeOptions const& options)
      : agent_(options, linkedTables()), log_([this](Log::Level level, std::string const& line) {
          lines_.emplace_back(level, line);
        }) {
    agent_.sliceTimeIs(std::chrono::milliseconds(1));
    agent_.loop().sourceIs(&io_);
    server_ = std::make_unique<TcpFpmServer>(io_, agent_, options, log_);
    agent_.inputIs(server_.get());
  }
  ~LiveAgent() {
    agent_.loop().sourceDel(server_.get());
    agent_.loop().sourceDel(&io_);
  }
  LiveAgent(LiveAgent const&) = delete;
  LiveAgent& operator=(LiveAgent const&) = delete;

  [[nodiscard]] Agent& agent() { return agent_; }
  [[nodiscard]] TcpFpmServer& server() { return *server_; }
  [[nodiscard]] FpmServer::Status status() const { return server_->status(); }
  [[nodiscard]] std::uint16_t port() const { return server_->status().port; }
  [[nodiscard]] Mapping const& mapping() const { return agent_.mapping(); }

  // Turns until it is so. Throws when that takes far too long, even on a machine that has much else
  // to do.
  void turnUntil(std::function<bool()> const& isSo) {
    auto const end = std::chrono::steady_clock::now() + std::chrono::minutes(10);
    while (!isSo()) {
      turnOnce();
      if (std::chrono::steady_clock::now() > end) throw std::runtime_error("that never happens");
    }
  }
  // A turn, and a little sleep where there is nothing to do.
  void turnOnce() {
    auto const begin = cpuTime();
    isIdle_ = !agent_.turn();
    longestTurn_ = std::max(longestTurn_, cpuTime() - begin);
    if (isIdle_) std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  // The time that the longest turn since the last call took of the processor. On a machine that has
  // other things to do, turns take longer than that.
  [[nodiscard]] std::chrono::nanoseconds takeLongestTurn() {
    return std::exchange(longestTurn_, std::chrono::nanoseconds(0));
  }
  // Until there is nothing to do, whatever that takes.
  void rest() {
    turnOnce();
    turnUntil([this] { return isIdle_; });
  }

  // Sends, a part of that size with each turn, and turns until all of it is received.
  void send(Daemon& daemon, std::string_view bytes, std::size_t part = std::string_view::npos) {
    std::uint64_t const before = status().bytes;
    std::size_t const size = bytes.size();
    turnUntil([&] {
      bytes.remove_prefix(daemon.sendSome(bytes.substr(0, part)));
      return bytes.empty();
    });
    turnUntil([&] { return status().bytes == before + size; });
  }
  // The same, and until all of it has been read and the agent is at rest.
  void say(Daemon& daemon, std::string_view bytes, std::size_t part = std::string_view::npos) {
    turnUntil([this] { return status().peer.has_value(); });
    send(daemon, bytes, part);
    rest();
  }
  void hangUp(Daemon& daemon) {
    daemon.close();
    turnUntil([this] { return !status().peer; });
    rest();
  }
  // What the end of the hold time does, without waiting for it.
  void sweep() {
    agent_.sweep();
    while (!agent_.sweepSlice(Deadline(std::chrono::microseconds(50)))) agent_.turn();
    rest();
  }

  // Calls of the hardware so far.
  [[nodiscard]] std::size_t calls() const { return agent_.journal().value().calls().size(); }
  // Those from there on, as text.
  [[nodiscard]] std::string callsFrom(std::size_t first) const {
    std::string all;
    auto const& journal = agent_.journal().value().calls();
    for (std::size_t i = first; i < journal.size(); ++i) all += text(journal[i]) + "\n";
    return all;
  }
  // What is wrong in hardware; empty when all is well.
  [[nodiscard]] std::string wrong() const {
    std::string found;
    if (agent_.forwardingCheck()->total() > 0) found += text(*agent_.forwardingCheck());
    Differences const differences = agent_.differences();
    if (!differences.empty()) found += text(differences);
    return found;
  }
  [[nodiscard]] Routes::Route const& route(char const* destination) const {
    return mapping().routes().routes().at(
        mapping().routes().lookup(addressOf(destination).value()).at(0));
  }
  [[nodiscard]] Routes::State state(char const* destination) const {
    return mapping().routes().state(route(destination));
  }

  // Whether a line of the log holds the text.
  [[nodiscard]] bool logged(std::string const& part) const {
    for (auto const& [level, line] : lines_) {
      if (line.find(part) != std::string::npos) return true;
    }
    return false;
  }
  [[nodiscard]] std::string log() const {
    std::string all;
    for (auto const& [level, line] : lines_) all += line + "\n";
    return all;
  }

 private:
  [[nodiscard]] static std::chrono::nanoseconds cpuTime() {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
  }

  Io io_;
  Agent agent_;
  std::vector<std::pair<Log::Level, std::string>> lines_;
  Log log_;
  std::unique_ptr<TcpFpmServer> server_;
  bool isIdle_ = false;
  std::chrono::nanoseconds longestTurn_{0};
};

}  // namespace OrviaL3Agent::Testing
