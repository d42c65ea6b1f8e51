// One run of a recorded stream through the tables.
//
//   Replay replay(options);      // throws std::system_error when the file cannot be opened
//   replay.run(progress);
//   fmt::print("{}", text(replay.report()));
//
// run() turns the event loop until the stream is at its end or at a fault, every interface is
// programmed that will be, and the hardware has answered everything that it will. Events at the end
// follow one by one, each when all has come to rest. After a fault the tables hold what the stream
// said before it.
//
// With a hardware file it is a restart: the tables meet what the file holds. Next hops of routes
// come back and are held until a hold time after the stream has said all. Its end, however it comes
// about, leaves the rows in the hardware, which goes on forwarding.
//
// Threading: one thread. Ownership: owns the agent and the stream's input.
#pragma once

#include <optional>
#include <string>

#include "agent/Agent.h"
#include "agent/CommandLine.h"
#include "agent/Events.h"
#include "agent/Progress.h"
#include "agent/StreamInput.h"
#include "agent/Timeline.h"

namespace OrviaL3Agent {

class Replay final : private StreamInput::Consumer {
 public:
  // The tables of the library that this program links, with the soft ASIC's own utilities.
  explicit Replay(ReplayOptions const& options) : Replay(options, linkedTables()) {}
  // Tables and utilities from there. Throws TableSourceError when one of them is not to be had.
  Replay(ReplayOptions const& options, TableSource const& source);
  ~Replay() override;
  Replay(Replay const&) = delete;
  Replay& operator=(Replay const&) = delete;

  // Throws std::system_error when the file cannot be read to its end, or when it cannot be noted
  // what a restart has to know.
  void run(Progress& progress);
  // One turn of the loop, for a closer look. Returns whether anything is left to do; events at the
  // end of the stream are not counted.
  bool turn();
  // What an event of the command line does, now.
  void happen(Event const& event);

  // The fault at which the stream ended, if it did.
  [[nodiscard]] std::optional<Fpm::StreamError> const& error() const { return input_.error(); }
  // The state of things now.
  [[nodiscard]] Report report() const;
  [[nodiscard]] Agent const& agent() const { return agent_; }
  [[nodiscard]] Mapping const& mapping() const { return agent_.mapping(); }
  [[nodiscard]] Hardware& hardware() { return agent_.hardware(); }
  [[nodiscard]] Hardware const& hardware() const { return agent_.hardware(); }
  [[nodiscard]] EventSchedule const& events() const { return events_; }

  // The hardware rows compared with what the stream asked for. Requires options.verify.
  [[nodiscard]] Differences differences() const { return agent_.differences(); }
  // Each empty unless the options ask for it.
  [[nodiscard]] std::optional<ForwardingCheck> const& forwardingCheck() const {
    return agent_.forwardingCheck();
  }
  [[nodiscard]] std::optional<SoftAsic::Journal> const& journal() const { return agent_.journal(); }
  [[nodiscard]] std::optional<Timeline> const& timeline() const { return timeline_; }

 private:
  void messagesHandled(std::uint64_t messages) override;
  void messageIs(Fpm::Message const& message) override { agent_.messageIs(message); }
  void frameEnds() override { agent_.frameEnds(); }

  void sample();
  [[nodiscard]] std::string progressText() const;

  ReplayOptions options_;
  Agent agent_;
  EventSchedule events_;
  std::optional<Timeline> timeline_;
  StreamInput input_;
  bool holding_ = false;  // the hold time runs
};

// The command: replays, shows progress, prints tables, checks and summary. Returns the program's
// exit code.
[[nodiscard]] int replayCommand(ReplayOptions const& options, TableSource const& source);

// The command: compares two journals. Returns the program's exit code.
[[nodiscard]] int compareCommand(CompareOptions const& options);

}  // namespace OrviaL3Agent
