// One run of a recorded stream through the tables.
//
//   Replay replay(options);      // throws std::system_error when the file cannot be opened
//   replay.run(progress);
//   fmt::print("{}", text(replay.report()));
//
// run() turns the event loop until the stream is at its end or at a fault, every interface is
// programmed that will be, and the hardware has answered everything. After a fault the table holds
// what the stream said before it.
//
// Threading: one thread. Ownership: owns everything that takes part; the tables end before the
// hardware and the stand-in tables that its records refer to.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "agent/CommandLine.h"
#include "agent/EcmpNextHops.h"
#include "agent/EventLoop.h"
#include "agent/Groups.h"
#include "agent/Hardware.h"
#include "agent/NextHops.h"
#include "agent/OtherIds.h"
#include "agent/Progress.h"
#include "agent/Report.h"
#include "agent/StandInTable.h"
#include "agent/StreamCounts.h"
#include "agent/StreamInput.h"

namespace OrviaL3Agent {

class Replay {
 public:
  explicit Replay(ReplayOptions const& options);
  ~Replay();
  Replay(Replay const&) = delete;
  Replay& operator=(Replay const&) = delete;

  // Throws std::system_error when the file cannot be read to its end.
  void run(Progress& progress);
  // One turn of the loop, for a closer look. Returns whether anything is left to do.
  bool turn();

  // The fault at which the stream ended, if it did.
  [[nodiscard]] std::optional<Fpm::StreamError> const& error() const { return input_.error(); }
  // The state of things now.
  [[nodiscard]] Report report() const;
  [[nodiscard]] NextHops const& nextHops() const { return nextHops_; }
  [[nodiscard]] NextHops::Table const& table() const { return *table_; }
  [[nodiscard]] Hardware const& hardware() const { return hardware_; }
  [[nodiscard]] Groups const& groups() const { return groups_; }
  [[nodiscard]] EcmpNextHops::Table const& ecmpTable() const { return *ecmpTable_; }
  [[nodiscard]] Groups::MemberTable const& memberTable() const { return *memberTable_; }
  [[nodiscard]] Groups::Table const& groupTable() const { return *groupTable_; }

 private:
  struct Dispatch;

  [[nodiscard]] ShownNextHop shown(NextHops::NextHop const& nextHop) const;
  [[nodiscard]] std::string progressText() const;

  ReplayOptions options_;
  EventLoop loop_;
  StandInTable interfaces_;
  StandInTable mtuProfiles_;
  Hardware hardware_;
  Vek::Ptr<NextHops::Table> table_;
  NextHops nextHops_;
  OtherIds otherIds_;
  Vek::Ptr<EcmpNextHops::Table> ecmpTable_;
  Vek::Ptr<Groups::MemberTable> memberTable_;
  Vek::Ptr<Groups::Table> groupTable_;
  EcmpNextHops ecmpNextHops_;
  Groups groups_;
  StreamCounts counts_;
  StreamInput input_;
};

// The command: replays, shows progress, prints table and summary. Returns the program's exit code.
[[nodiscard]] int replayCommand(ReplayOptions const& options);

}  // namespace OrviaL3Agent
