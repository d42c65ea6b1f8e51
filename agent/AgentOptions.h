// How an agent is set up: the tables' sizes, the hardware and what goes wrong with it, the
// platform's substitutes. What replay and serve have in common.
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/kernel/KernelSetup.h"
#include "plugins/soft-asic/FaultProfile.h"

namespace OrviaL3Agent {

struct AgentOptions {
  enum class Answer { now, loop };

  std::optional<std::uint32_t> traceLevel;  // text trace up to this level; nothing: off
  std::string ringFile;                     // empty: no ring-buffer trace

  Answer answer = Answer::loop;
  std::vector<std::uint32_t> refusedRows;
  SoftAsic::FaultProfiles faults;

  bool verify = false;
  bool checkForwarding = false;
  std::string journalFile;  // empty: no journal
  bool countRows = false;   // see Agent::rowsInForce()

  KernelSetup kernel;  // off: the hardware is simulated, or a plug-in's own

  std::string hardwareFile;     // empty: the hardware ends with the process
  std::string toggleDirectory;  // empty: every toggle has its default

  std::uint32_t rows = 32768;             // of the next-hop table
  std::optional<std::uint32_t> ecmpRows;  // of these, for groups; nothing: half
  std::optional<std::uint32_t> firstRow;  // for next hops of routes; nothing: the first above those
  std::uint32_t memberRows = 65536;
  std::uint32_t groupRows = 16384;
  std::uint32_t maxWidth = 512;  // rows of a group's block
  // Where the agent notes beside the hardware's file which number stands for what.
  // A link leads to both.
  [[nodiscard]] std::string ownersFile() const;
  [[nodiscard]] std::uint32_t firstIngressRow() const { return ecmpRows.value_or(rows / 2); }
  // Loop turns from the first use of an interface or MTU profile until it is programmed; nothing
  // means never.
  std::optional<std::uint32_t> interfaceDelay = 2;
  std::optional<std::uint32_t> mtuDelay = 1;
  std::map<std::uint32_t, std::uint32_t> mtus;  // bytes by interface, where it is not the default
  std::uint32_t slice = 16;                     // messages per loop turn
};

}  // namespace OrviaL3Agent
