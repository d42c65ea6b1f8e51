// What the user asked for.
//
//   Command command = parseCommandLine(argc, argv);
//   std::visit(..., command);
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "agent/AgentOptions.h"
#include "agent/Events.h"
#include "agent/control/CtlOptions.h"
#include "agent/fpm/Messages.h"
#include "agent/serve/ServeOptions.h"

namespace OrviaL3Agent {

// The exit codes of the program.
inline constexpr int kExitOk = 0;
inline constexpr int kExitStreamError = 1;
inline constexpr int kExitUsage = 2;
// A check that was asked for found something, or two journals differ.
inline constexpr int kExitDifference = 3;

struct ReplayOptions : AgentOptions {
  enum class Progress { automatic, on, off };

  std::string file;
  std::optional<std::uint64_t> until;  // stop reading after this many messages
  bool show = false;
  Progress progress = Progress::automatic;  // automatic: when standard error is a terminal

  std::vector<Event> events;
  std::vector<Fpm::Address> lookups;  // addresses whose routes are to be shown
  bool routes = false;                // print every route
  // By name, at the end: what is set (path and value), then what is listed, then what is read.
  std::vector<std::pair<std::string, std::string>> sets;
  std::vector<std::string> lists;
  std::vector<std::string> gets;
  std::string plotFile;  // empty: no plot

  // Loop turns from the end of the stream until rows of before that no route uses are removed.
  std::uint32_t hold = 16;
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

using Command = std::variant<ReplayOptions, ServeOptions, CtlOptions, RingOptions, CompareOptions,
                             CatalogueOptions, Leave>;

[[nodiscard]] Command parseCommandLine(int argc, char const* const* argv);

}  // namespace OrviaL3Agent
