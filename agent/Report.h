// What a replay did, as numbers and as text for a person.
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/GroupReport.h"
#include "agent/Hardware.h"
#include "agent/Mapping.h"
#include "agent/OperationTime.h"
#include "agent/StreamCounts.h"
#include "agent/kernel/KernelReport.h"

namespace OrviaL3Agent {

// One next hop of either table, as `--show` prints it.
struct ShownNextHop {
  Identity identity;
  NextHopState state = NextHopState::programmed;
  Obstacle obstacle = Obstacle::none;
  std::size_t ids = 0;  // announced ids that name the identity
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

// The next hops of one table.
struct NextHopReport {
  NextHopCounts counts;
  std::vector<ShownNextHop> live;  // by ascending identity
  [[nodiscard]] std::size_t liveIn(NextHopState state) const;
};

struct RouteReport {
  Routes::Counts counts;
  std::size_t live = 0;
  std::map<Routes::State, std::size_t> states;
  [[nodiscard]] std::size_t liveIn(Routes::State state) const;
  // Those that are neither forwarded nor to be dropped.
  std::vector<std::string> problems;
};

// What a start found in a hardware that outlives the agent, and what has become of it.
struct RestartReport {
  IngressNextHops::Held nextHops;  // of routes
  std::size_t waiting = 0;         // of these, neither used nor removed yet
  // Rows for groups that were left in place and that nobody has written since.
  std::uint64_t ecmpNextHops = 0;
  std::uint64_t members = 0;
  std::uint64_t groups = 0;
};

struct Report {
  std::string file;
  std::uint64_t fileSize = 0;
  std::uint64_t turns = 0;
  StreamCounts stream;

  Mapping::IdCounts nextHopIds;
  Mapping::IdCounts groupIds;
  std::size_t liveNextHopIds = 0;
  std::size_t identities = 0;        // that these name
  std::size_t unusedNextHopIds = 0;  // that nothing uses, so that they are not programmed
  std::size_t liveBlackholes = 0;
  std::size_t withdrawnInUse = 0;  // ids that are kept for their users at the end
  std::uint64_t deferredWithdrawals = 0;

  RouteReport routes;
  NextHopReport ingress;  // of routes
  NextHopReport ecmp;     // of groups
  GroupReport groups;
  TableUse ingressTable;

  // Tables whose utility is not the simulated hardware's, and whose: of their rows it is known what
  // that was asked for, and what it answered.
  std::vector<std::string> otherUtilities;
  std::optional<KernelReport> kernel;
  std::optional<RestartReport> restart;  // with a hardware that outlives the agent

  std::size_t interfaces = 0;      // in use at the end
  std::size_t interfacesPeak = 0;  // most in use at once
  OperationTime commit;
  OperationTime remove;
  std::optional<std::string> error;  // of the stream
};

// What can be told from these; the rest is the caller's.
[[nodiscard]] Report reportOf(Mapping const& mapping, Hardware const& hardware);

// The summary.
[[nodiscard]] std::string text(Report const& report);
// The tables of `--show`.
[[nodiscard]] std::string showText(Report const& report);
// One next hop by itself.
[[nodiscard]] ShownNextHop shownNextHop(IngressNextHops::Hop const& hop, Mapping const& mapping,
                                        Hardware const& hardware);
[[nodiscard]] ShownNextHop shownNextHop(EcmpNextHops::Hop const& hop, Mapping const& mapping,
                                        Hardware const& hardware);
// What one that is not programmed is like, and what it waits for: "refused", "parked, waits for its
// interface", "no free row".
[[nodiscard]] std::string problemText(ShownNextHop const& nextHop);
// One table of next hops.
[[nodiscard]] std::string tableText(NextHopReport const& report);

}  // namespace OrviaL3Agent
