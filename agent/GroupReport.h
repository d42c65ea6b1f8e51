// What became of the groups, as numbers and as text for a person.
//
//   GroupReport report = groupReport(mapping, hardware);
//
// Where a group's traffic goes is read from the hardware rows, from the group down, and not from
// what the agent meant to write.
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/Hardware.h"
#include "agent/Mapping.h"

namespace OrviaL3Agent {

// One row of a group's block, down to the interface.
struct ShownMember {
  std::uint32_t row = 0;                             // of the member table
  std::optional<std::uint32_t> nextHopRow;           // what it names, if it holds something
  std::optional<SoftAsic::NextHopContents> nextHop;  // what that holds
  // Whose row it is, as far as a block that the group uses says so.
  std::optional<Identity> identity;
};

// A group of the hardware.
struct ShownGroup {
  using State = Groups::State;
  std::uint32_t number = 0;
  State state = State::programmed;
  std::vector<std::uint32_t> ids;  // that hold it
  std::size_t routes = 0;          // see routesOf()
  Paths paths;                     // as asked for
  std::size_t pathsDown = 0;       // of these, left out because an interface is down
  std::string reason;              // why it was not placed
  std::vector<Identity> refused;   // next hops that it waits for and that were refused
  std::size_t missingMemberRows = 0;
  std::optional<std::uint32_t> row;
  // What the row holds, and whether that is an older record of this group.
  std::optional<SoftAsic::GroupContents> contents;
  bool olderInRow = false;
  std::vector<ShownMember> members;
};

// A group id of the stream.
struct ShownGroupId {
  enum class State : std::uint8_t {
    group,           // has a group
    missingMembers,  // waits for members to be announced
    drops,           // all its members drop
    dropsInPart,     // some members drop, which no row says
    notPossible,     // see the reason
  };
  std::uint32_t id = 0;
  State state = State::group;
  std::vector<std::uint32_t> ids;  // of missing members, or of those that drop
  std::string reason;
  std::optional<std::uint32_t> group;  // the number, also of one that is in force meanwhile
};

// A hardware table.
struct TableUse {
  SoftAsic::Counts hardware;
  std::uint64_t rowsInForce = 0;
  // Of the allocator, where the table has one.
  std::uint32_t inUse = 0;
  std::uint32_t free = 0;
  std::uint32_t largestFreeRun = 0;
};

struct GroupReport {
  Groups::Counts counts;
  GroupIds::Counts idCounts;
  GroupIds::Scaling scaling;     // of groups and of routes with paths of their own
  std::vector<ShownGroup> live;  // by ascending number
  std::vector<ShownGroupId> ids;
  [[nodiscard]] std::size_t liveIn(ShownGroup::State state) const;
  [[nodiscard]] std::size_t idsIn(ShownGroupId::State state) const;
  std::size_t blocks = 0;         // committed
  std::size_t waitingBlocks = 0;  // that wait for their next hops
  TableUse nextHopTable, memberTable, groupTable;
};

// The routes that hold the group themselves and not over one of the `ids` that hold it: with paths
// of their own, or because it is what they led to before. What the resynchronisation holds is no
// route.
[[nodiscard]] std::size_t routesOf(Groups::Group const& group, std::size_t ids,
                                   Mapping const& mapping);

[[nodiscard]] GroupReport groupReport(Mapping const& mapping, Hardware const& hardware);

// One group by itself; `ids`: that hold it.
[[nodiscard]] ShownGroup shownGroup(Groups::Group const& group,
                                    std::vector<std::uint32_t> const& ids, Mapping const& mapping,
                                    Hardware const& hardware);

// The groups' part of the summary.
[[nodiscard]] std::string summaryText(GroupReport const& report);
// The group ids and groups that are not programmed, with reasons; empty when all are.
[[nodiscard]] std::string listText(GroupReport const& report);
// The groups' part of `--show`.
[[nodiscard]] std::string showText(GroupReport const& report);
// "parked, waits for its next hops", ...
[[nodiscard]] std::string stateText(ShownGroup const& group);

}  // namespace OrviaL3Agent
