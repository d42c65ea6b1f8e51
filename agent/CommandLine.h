// What the user asked for.
//
//   Command command = parseCommandLine(argc, argv);
//   std::visit(..., command);
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "agent/Events.h"
#include "agent/fpm/Messages.h"
#include "plugins/soft-asic/FaultProfile.h"

namespace OrviaL3Agent {

// The exit codes of the program.
inline constexpr int kExitOk = 0;
inline constexpr int kExitStreamError = 1;
inline constexpr int kExitUsage = 2;
// A check that was asked for found something, or two journals differ.
inline constexpr int kExitDifference = 3;

struct ReplayOptions {
  enum class Progress { automatic, on, off };
  enum class Answer { now, loop };

  std::string file;
  std::optional<std::uint64_t> until;  // stop reading after this many messages
  bool show = false;
  Progress progress = Progress::automatic;  // automatic: when standard error is a terminal

  std::optional<std::uint32_t> traceLevel;  // text trace up to this level; nothing: off
  std::string ringFile;                     // empty: no ring-buffer trace

  Answer answer = Answer::loop;
  std::vector<std::uint32_t> refusedRows;
  SoftAsic::FaultProfiles faults;

  std::vector<Event> events;
  std::vector<Fpm::Address> lookups;  // addresses whose routes are to be shown
  bool routes = false;                // print every route
  // By name, at the end: what is set (path and value), then what is listed, then what is read.
  std::vector<std::pair<std::string, std::string>> sets;
  std::vector<std::string> lists;
  std::vector<std::string> gets;
  bool verify = false;
  bool checkForwarding = false;
  std::string journalFile;  // empty: no journal
  std::string plotFile;     // empty: no plot

  std::string hardwareFile;     // empty: the hardware ends with the process
  std::string toggleDirectory;  // empty: every toggle has its default
  // Loop turns from the end of the stream until rows of before that no route uses are removed.
  std::uint32_t hold = 16;

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

struct RingOptions {
  std::string file;
};

struct CompareOptions {
  std::string first;
  std::string second;
};

struct CatalogueOptions {
  enum class Form { text, json, markdown };
  Form form = Form::text;
};

// Nothing to do but to print and leave: help, version, or a complaint about the arguments.
struct Leave {
  int exitCode = kExitOk;
  std::string output;  // for standard output
  std::string error;   // for standard error
};

using Command = std::variant<ReplayOptions, RingOptions, CompareOptions, CatalogueOptions, Leave>;

[[nodiscard]] Command parseCommandLine(int argc, char const* const* argv);

}  // namespace OrviaL3Agent
