#include "agent/serve/Serve.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <array>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/signal_set.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <list>
#include <optional>
#include <string>
#include <system_error>

#include "OrviaAsicUtils/Toggles.h"
#include "agent/Agent.h"
#include "agent/AgentCommandLine.h"
#include "agent/CommandLine.h"
#include "agent/Deadline.h"
#include "agent/Tracing.h"
#include "agent/control/ControlServer.h"
#include "agent/kernel/Kernel.h"
#include "agent/serve/FoundRows.h"
#include "agent/serve/Io.h"
#include "agent/serve/Log.h"
#include "agent/serve/Metrics.h"
#include "agent/serve/TcpFpmServer.h"

namespace OrviaL3Agent {
namespace {

// A turn of the loop gives the hardware's answers this long.
constexpr std::chrono::microseconds kAnswerTime{1000};

// A source of the loop for as long as this lives.
class Joined {
 public:
  Joined(EventLoop& loop, EventLoop::Source& source) : loop_(loop), source_(source) {
    loop_.sourceIs(&source_);
  }
  ~Joined() { loop_.sourceDel(&source_); }
  Joined(Joined const&) = delete;
  Joined& operator=(Joined const&) = delete;

 private:
  EventLoop& loop_;
  EventLoop::Source& source_;
};

// Wakes the loop when one of these files is readable. Who reads it does so in his own turn.
class Wakes {
 public:
  Wakes(Io& io, std::array<int, 2> const& files) {
    for (int const file : files) {
      // A copy: the context closes it.
      int const copy = ::fcntl(file, F_DUPFD_CLOEXEC, 0);
      if (copy < 0) throw std::system_error(errno, std::generic_category(), "waiting for a socket");
      files_.emplace_back(io.context(), copy);
    }
    for (auto& one : files_) wait(one);
  }

 private:
  static void wait(asio::posix::stream_descriptor& file) {
    file.async_wait(asio::posix::stream_descriptor::wait_read, [&file](asio::error_code error) {
      if (!error) wait(file);
    });
  }
  std::list<asio::posix::stream_descriptor> files_;
};

class StopSignals {
 public:
  StopSignals(Io& io, Log const& log) : signals_(io.context(), SIGINT, SIGTERM) {
    signals_.async_wait([this, &log](asio::error_code error, int number) {
      if (error) return;
      log.info(fmt::format("ending on {}", number == SIGINT ? "SIGINT" : "SIGTERM"));
      isStopped_ = true;
    });
  }
  [[nodiscard]] bool isStopped() const { return isStopped_; }

 private:
  asio::signal_set signals_;
  bool isStopped_ = false;
};

// Nobody says anything any longer: what was said comes into the hardware, as far as it will.
void settle(Agent& agent) {
  constexpr std::chrono::seconds kMost{5};
  Deadline const deadline(kMost);
  while (agent.turn() && !deadline.isOver()) {
  }
}

// What was asked to be looked at, at the end. Returns the exit code for it.
int lastLook(ServeOptions const& options, Agent const& agent) {
  int result = kExitOk;
  if (options.checkForwarding || options.verify) {
    // What follows is told as if these rows were read from the hardware.
    for (std::string const& other : agent.report().otherUtilities) {
      fmt::print("Not simulated {}: its rows are told from what it was asked for and answered\n",
                 other);
    }
  }
  if (agent.forwardingCheck()) {
    fmt::print("{}", text(*agent.forwardingCheck()));
    if (agent.forwardingCheck()->total() > 0) result = kExitDifference;
  }
  if (options.verify) {
    Differences const differences = agent.differences();
    fmt::print("{}", text(differences));
    if (!differences.empty()) result = kExitDifference;
  }
  if (agent.journal()) agent.journal()->save(options.journalFile);
  return result;
}

}  // namespace

int serveCommand(ServeOptions const& options, TableSource const& source) {
  requireWritable("--journal", options.journalFile);
  OrviaAsicUtils::toggleDirectoryIs(options.toggleDirectory);
  Log const log(Log::toStandardError());
  Tracing const tracing(options);
  Io io;
  StopSignals const signals(io, log);
  std::optional<FoundRows> const found = foundRows(options);
  Agent agent(options, source);
  if (found) logRestart(log, *found, agent);
  if (agent.kernel() != nullptr) logKernel(log, agent);
  agent.sliceTimeIs(kAnswerTime);
  {
    Joined const ioJoined(agent.loop(), io);
    std::optional<Wakes> kernelWakes;
    if (Kernel* const kernel = agent.kernel()) {
      kernelWakes.emplace(io, kernel->fileDescriptors());
      kernel->warningIs([&log](std::string const& text) { log.warning(text); });
    }
    TcpFpmServer stream(io, agent, options, log);
    Joined const streamJoined(agent.loop(), stream);
    agent.inputIs(&stream);
    std::optional<Control::ControlServer> control;
    std::optional<Joined> controlJoined;
    if (!options.controlPath.empty()) {
      Control::Context context{agent, stream};
      context.log = &log;
      control.emplace(io, context, options.controlPath);
      controlJoined.emplace(agent.loop(), *control);
      log.info(fmt::format("control socket {}", options.controlPath));
    }
    std::optional<Metrics> metrics;
    if (options.hasMetrics) {
      metrics.emplace(io, agent, stream, options.metrics);
      log.info(
          fmt::format("metrics at http://{}:{}/metrics", options.metrics.address, metrics->port()));
    }
    while (!signals.isStopped()) {
      bool const busy = agent.turn();
      if (!busy && !signals.isStopped()) io.wait();
    }
  }
  LoopTimes const& times = agent.loopTimes();
  log.info(fmt::format("ended after {} messages in {} turns, the longest of {:.1f} ms",
                       agent.streamCounts().messages, times.turns(),
                       std::chrono::duration<double, std::milli>(times.longest()).count()));
  // A comparison in the middle of things would tell of nothing but that.
  if (options.verify) settle(agent);
  return lastLook(options, agent);
}

}  // namespace OrviaL3Agent
