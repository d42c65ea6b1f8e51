// What a replay did, as numbers and as text for a person.
//
// Threading: plain values. Ownership: plain values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/Hardware.h"
#include "agent/NextHops.h"
#include "agent/OperationTime.h"
#include "agent/StreamCounts.h"
#include "agent/fpm/Messages.h"

namespace OrviaL3Agent {

// One line of the next-hop table.
struct ShownNextHop {
  enum class State {
    programmed,  // the hardware holds the record
    asked,       // written, and not yet answered
    parked,      // waits for its interface or MTU profile
    refused,     // the hardware refused the record
    notPlaced,   // met an obstacle
  };
  Fpm::NextHop contents;
  State state = State::programmed;
  NextHops::Obstacle obstacle = NextHops::Obstacle::none;
  std::optional<std::uint32_t> row;
  // Waits or met an obstacle while its row still holds an older record.
  bool olderInRow = false;
  std::string record;
};

struct Report {
  std::string file;
  std::uint64_t fileSize = 0;
  std::uint64_t turns = 0;
  StreamCounts stream;
  NextHops::Counts nextHops;
  // Of the ids announced at the end.
  std::size_t live = 0;
  std::size_t programmed = 0;
  std::size_t asked = 0;
  std::size_t parked = 0;
  std::vector<ShownNextHop> refused;
  std::vector<ShownNextHop> notPlaced;
  std::size_t liveGroups = 0;
  std::size_t liveBlackholes = 0;
  std::size_t interfaces = 0;
  std::size_t interfacesPeak = 0;
  Hardware::Counts hardware;
  OperationTime commit;
  OperationTime remove;
  std::optional<std::string> error;
};

[[nodiscard]] std::string text(const Report& report);
// The table of `--show`.
[[nodiscard]] std::string text(const std::vector<ShownNextHop>& nextHops);

}  // namespace OrviaL3Agent
