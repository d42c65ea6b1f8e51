// What became of the groups, as numbers and as text for a person.
//
//   GroupReport report = groupReport(groups, tables, hardware);
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

#include "agent/Groups.h"
#include "agent/Hardware.h"

namespace OrviaL3Agent {

// One row of a group's block, down to the interface.
struct ShownMember {
  std::uint32_t row = 0;                             // of the member table
  std::optional<std::uint32_t> nextHopRow;           // what it names, if it holds something
  std::optional<SoftAsic::NextHopContents> nextHop;  // what that holds
  // Whose row it is, as far as a block that the group uses says so.
  std::optional<Fpm::NextHop> contents;
};

struct ShownGroup {
  enum class State {
    programmed,      // the hardware holds the record
    unanswered,      // written, and not yet answered
    parked,          // waits for its block
    refused,         // the hardware refused the record
    missingMembers,  // waits for members to be announced
    blackhole,       // has members that drop
    notPlaced,       // met a full table or the like
  };
  std::uint32_t id = 0;
  State state = State::programmed;
  std::vector<std::uint32_t> ids;  // of missing members, or of those that drop
  std::string reason;              // why it was not placed
  std::size_t refusedHops = 0;     // next hops that it waits for and that were refused
  std::optional<std::uint32_t> row;
  // What the row holds, and whether that is an older record of this group.
  std::optional<SoftAsic::GroupContents> contents;
  bool olderInRow = false;
  std::vector<ShownMember> members;
};

struct TableUse {
  SoftAsic::Counts hardware;
  std::uint64_t rowsInForce = 0;
  // Of the allocator.
  std::uint32_t inUse = 0;
  std::uint32_t free = 0;
  std::uint32_t largestFreeRun = 0;
};

struct GroupReport {
  Groups::Counts counts;
  std::vector<ShownGroup> live;  // by ascending id
  [[nodiscard]] std::size_t liveIn(ShownGroup::State state) const;
  std::size_t blocks = 0;         // committed
  std::size_t waitingBlocks = 0;  // that wait for their next hops
  std::size_t nextHops = 0;       // that groups use
  TableUse nextHopTable, memberTable, groupTable;
};

[[nodiscard]] GroupReport groupReport(Groups const& groups, EcmpNextHops const& ecmpNextHops,
                                      Groups::Table const& table,
                                      Groups::MemberTable const& memberTable,
                                      Hardware const& hardware);

// The groups' part of the summary.
[[nodiscard]] std::string summaryText(GroupReport const& report);
// The groups that are not programmed, by reason; empty when all are.
[[nodiscard]] std::string listText(GroupReport const& report);
// The groups' part of `--show`.
[[nodiscard]] std::string showText(GroupReport const& report);

}  // namespace OrviaL3Agent
