// One run of a recorded stream through the table.
//
//   Replay replay(options);      // throws std::system_error when the file cannot be opened
//   replay.run(progress);
//   std::cout << text(replay.report());
//
// run() turns the event loop until the stream is at its end (or at a fault), every interface is programmed that will be, and
// the hardware has answered everything. After a fault the tables hold what the stream said before it.
//
// Threading: one thread. Ownership: owns everything that takes part, in the order in which it may end: next hops,
// table, hardware, stand-in tables, loop.
#pragma once

#include <memory>

#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "agent/CommandLine.h"
#include "agent/EventLoop.h"
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
  explicit Replay(const ReplayOptions& options);
  Replay(const Replay&) = delete;
  Replay& operator=(const Replay&) = delete;
  ~Replay();

  void run(Progress& progress);
  // One turn of the loop. Returns whether anything is left to do.
  bool turn() { return loop_.turn(); }

  [[nodiscard]] const std::optional<Fpm::StreamError>& error() const { return input_.error(); }
  [[nodiscard]] Report report() const;
  [[nodiscard]] std::vector<ShownNextHop> shown() const;

 private:
  struct Dispatch;

  void consume(const Fpm::Message& message);
  [[nodiscard]] std::string progressText() const;

  ReplayOptions options_;
  EventLoop loop_;
  StandInTable interfaces_;
  StandInTable mtuProfiles_;
  Hardware hardware_;
  Vek::Ptr<NextHops::Table> table_;
  NextHops nextHops_;
  OtherIds otherIds_;
  StreamCounts counts_;
  StreamInput input_;
};

}  // namespace OrviaL3Agent
