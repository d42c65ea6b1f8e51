// What a replay did, as numbers and as text for a person.
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/GroupReport.h"
#include "agent/Hardware.h"
#include "agent/NextHops.h"
#include "agent/OperationTime.h"
#include "agent/StreamCounts.h"
#include "agent/fpm/Messages.h"

namespace OrviaL3Agent {

// One announced next hop, as `--show` prints it.
struct ShownNextHop {
  enum class State {
    programmed,  // the hardware holds the record
    unanswered,  // written, and not yet answered
    parked,      // waits for its interface or MTU profile
    refused,     // the hardware refused the record
    notPlaced,   // met an obstacle
  };
  Fpm::NextHop contents;
  State state = State::programmed;
  NextHops::Obstacle obstacle = NextHops::Obstacle::none;
  std::optional<std::uint32_t> row;
  // Whether the row still holds an older record of this next hop.
  bool olderInRow = false;
  // The latest record, the parked one before the one in the entry collection; none when it has no
  // row. As numbers and not as a record, whose handles would keep what it refers to alive.
  struct Record {
    OrviaL3Unicast::NextHopFields fields;
    std::optional<std::uint16_t> l3Oif1;         // once the interface is programmed
    std::optional<std::uint16_t> mtuProfilePtr;  // once the MTU profile is
  };
  std::optional<Record> record;
};

struct Report {
  std::string file;
  std::uint64_t fileSize = 0;
  std::uint64_t turns = 0;
  StreamCounts stream;
  NextHops::Counts nextHops;

  // The next hops that are announced at the end, by ascending id, and the same by state.
  std::vector<ShownNextHop> live;
  [[nodiscard]] std::size_t liveIn(ShownNextHop::State state) const;
  GroupReport groups;
  std::size_t liveGroups = 0;
  std::size_t liveBlackholes = 0;
  std::size_t interfaces = 0;      // in use at the end
  std::size_t interfacesPeak = 0;  // most in use at once

  Hardware::Counts hardware;
  std::uint64_t hardwareAnswers = 0;
  std::uint64_t rowsInForce = 0;
  OperationTime commit;
  OperationTime remove;
  std::optional<std::string> error;  // of the stream
};

// The summary.
[[nodiscard]] std::string text(Report const& report);
// The next-hop table of `--show`.
[[nodiscard]] std::string tableText(Report const& report);
// "10.0.1.2", "fe80::1 onlink" or "-" when directly connected.
[[nodiscard]] std::string gatewayText(Fpm::NextHop const& nextHop);

}  // namespace OrviaL3Agent
