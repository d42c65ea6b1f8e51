// The agent: the four tables over the simulated hardware, and the mapping that fills them, on one
// event loop. Where messages come from is its owner's affair: replay reads a file, serve a socket.
//
//   Agent agent(options, linkedTables());
//   agent.inputIs(&input);                        // a source that calls the next two
//   agent.messageIs(message); ... agent.frameEnds();
//   while (agent.turn()) {}
//
// With options.kernel, a Linux kernel is behind the tables, by the utilities of its plug-in.
//
// With a hardware file it is a restart: the tables meet what the file holds. Next hops of routes
// come back and are held until release(). The agent's end, however it comes about, leaves the rows
// in the hardware, which goes on forwarding.
//
// Threading: one thread. Ownership: owns everything that takes part but the input, which ends
// before it; the tables end before the hardware and the stand-in tables that its records refer to.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/AgentOptions.h"
#include "agent/Deadline.h"
#include "agent/EventLoop.h"
#include "agent/ForwardingCheck.h"
#include "agent/Hardware.h"
#include "agent/LoopTimes.h"
#include "agent/Mapping.h"
#include "agent/OwnerBook.h"
#include "agent/Report.h"
#include "agent/RowsInForce.h"
#include "agent/StandInTable.h"
#include "agent/StreamCounts.h"
#include "agent/StreamModel.h"
#include "agent/TableSource.h"
#include "agent/Verify.h"
#include "plugins/soft-asic/Journal.h"

namespace OrviaL3Agent {

class Kernel;

class Agent {
 public:
  // Throws std::system_error when a file cannot be had, and TableSourceError when a table or
  // utility cannot.
  Agent(AgentOptions const& options, TableSource const& source);
  ~Agent();
  Agent(Agent const&) = delete;
  Agent& operator=(Agent const&) = delete;

  [[nodiscard]] EventLoop& loop() { return loop_; }
  [[nodiscard]] EventLoop const& loop() const { return loop_; }
  // Where messages come from: a source of the loop that runs before the hardware's answers, so that
  // what a turn's messages write is answered in the same turn. Not owned.
  void inputIs(EventLoop::Source* input);

  void messageIs(Fpm::Message const& message);
  void frameEnds();
  // No part of a turn takes much longer than that: what is not done by then is left for the next
  // one. Without this call every turn does all there is to do.
  void sliceTimeIs(std::chrono::microseconds time) {
    hardware_.sliceTimeIs(time);
    mapping_.sliceTimeIs(time);
  }
  // One turn of the loop, and what follows from it. Returns whether anything is left to do. Throws
  // std::system_error when it cannot be noted what a restart has to know.
  bool turn();

  // A new connection of the daemon. Until markSlice() says that all of before is marked, no message
  // may come; see Mapping. The first connection finds nothing to mark.
  void mark() { mapping_.mark(); }
  [[nodiscard]] bool markSlice(Deadline const& deadline);
  // The daemon has said all: what is not announced again is removed, and, as by release(), what is
  // left from before a restart. Returns whether it is over.
  void sweep() { mapping_.sweep(); }
  [[nodiscard]] bool sweepSlice(Deadline const& deadline);
  // The stream is back and has said all; what is not asked for by now goes.
  void release();
  // Whether the hardware outlives the process.
  [[nodiscard]] bool isRestartable() const { return book_ != nullptr || kernel_ != nullptr; }
  // Whether messages had better wait: one is being worked off, or the kernel has much to do.
  [[nodiscard]] bool isBehind() const;
  // The kernel behind the tables, if there is one.
  [[nodiscard]] Kernel* kernel() { return kernel_.get(); }
  [[nodiscard]] Kernel const* kernel() const { return kernel_.get(); }
  // Why the hardware refused a row: in its own words; empty when it has none.
  [[nodiscard]] std::string refusal(SoftAsic::TableId table, std::uint32_t row) const;
  // Why an interface is not programmed: for people; empty when nothing is known.
  [[nodiscard]] std::string interfaceTrouble(std::uint32_t interface) const;

  [[nodiscard]] AgentOptions const& options() const { return options_; }
  // How long the turns took.
  [[nodiscard]] LoopTimes const& loopTimes() const { return loopTimes_; }
  [[nodiscard]] LoopTimes& loopTimes() { return loopTimes_; }
  [[nodiscard]] StreamCounts& streamCounts() { return counts_; }
  [[nodiscard]] StreamCounts const& streamCounts() const { return counts_; }
  [[nodiscard]] Mapping& mapping() { return mapping_; }
  [[nodiscard]] Mapping const& mapping() const { return mapping_; }
  [[nodiscard]] Hardware& hardware() { return hardware_; }
  [[nodiscard]] Hardware const& hardware() const { return hardware_; }
  [[nodiscard]] StandInTable const& interfaces() const { return interfaces_; }
  [[nodiscard]] StandInTable const& mtuProfiles() const { return mtuProfiles_; }
  [[nodiscard]] NextHopParts const& parts() const { return parts_; }

  // All but what only the owner knows: where the stream came from.
  [[nodiscard]] Report report() const;
  // The hardware rows compared with what the stream asked for. Requires options.verify.
  [[nodiscard]] Differences differences() const;
  // Each empty unless the options ask for it.
  [[nodiscard]] std::optional<ForwardingCheck> const& forwardingCheck() const { return check_; }
  [[nodiscard]] std::optional<SoftAsic::Journal> const& journal() const { return journal_; }
  // How many rows of the hardware hold something. Requires options.countRows.
  [[nodiscard]] std::size_t rowsInForce() const { return rowsInForce_.value().count(); }
  // Records that wait for what they point at, in all tables.
  [[nodiscard]] std::size_t parked() const;

 private:
  // Leaves the hardware as it is: what ends after this ends with the agent only.
  class Leaving {
   public:
    Leaving(Mapping const& mapping, OwnerBook* book) : mapping_(mapping), book_(book) {}
    ~Leaving();
    Leaving(Leaving const&) = delete;
    Leaving& operator=(Leaving const&) = delete;

   private:
    Mapping const& mapping_;
    OwnerBook* book_;
  };

  void observe();
  void bringUp(TableSource const& source);
  [[nodiscard]] std::vector<std::string> otherUtilities() const;

  AgentOptions options_;
  EventLoop loop_;
  std::optional<ForwardingCheck> check_;
  std::optional<SoftAsic::Journal> journal_;
  std::optional<RowsInForce> rowsInForce_;
  // Ends after all that it is told of, and in its own end calls none of it.
  std::unique_ptr<Kernel> kernel_;
  Hardware hardware_;
  NumbersInHardware numbers_;
  // The hardware's file, which only one process has open, is open by now.
  std::shared_ptr<OwnerBook> book_;
  StandInTable interfaces_;
  StandInTable mtuProfiles_;
  NextHopParts parts_;
  StreamCounts counts_;
  Mapping mapping_;
  Leaving leaving_;
  std::optional<StreamModel> model_;
  LoopTimes loopTimes_;
  bool isReleased_ = false;  // what is left from before a restart
};

}  // namespace OrviaL3Agent
