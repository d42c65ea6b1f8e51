// The groups of the routing stream: for each a block of member rows and a group row that names it.
//
//   Groups groups(tables, ecmpNextHops, nextHops, otherIds, maxWidth);
//   groups.groupIs(announced);          // a group may come before its members
//   groups.memberIs(id);                // an id was announced: groups that wait for it go on
//   groups.groupDel(id);
//
// A group whose members are not all announced waits here, in no table. Then its members become next
// hops of the ECMP view, repeated by their weights and ordered by identity, so that equal groups
// share one block; the group row waits in its table until the block is programmed.
//
// A group that comes again with other contents, or one of whose members does, references the new
// block, commits, and lets go of the old block when the hardware has accepted the row that names
// the new one; until then, and after a refusal, packets take the old block. A group that goes
// leaves from the top: its row, the block, the next hops. A member that is withdrawn stays in the
// blocks that use it until their groups change.
//
// Where a table is full the group is kept with the reason. The exception comes from the write here,
// or out of whatever brought the last missing answer: whoever catches it there calls noRoom(),
// which takes back what could not be placed. Such a group is tried again when it is announced
// again.
//
// Threading: the loop's thread. Ownership: counts the tables; refers to the rest, which must
// outlive it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "agent/EcmpNextHops.h"
#include "agent/NextHops.h"
#include "agent/OtherIds.h"
#include "agent/fpm/Messages.h"

namespace OrviaL3Agent {

class Groups {
 public:
  using Table = OrviaL3Unicast::L3EcmpGroupTable;
  using MemberTable = OrviaL3Unicast::L3EcmpMemberTable;
  static constexpr std::uint32_t kDefaultMaxWidth = 512;

  struct Counts {
    std::uint64_t announced = 0;  // ids that were new
    std::uint64_t repeated = 0;   // announced again as they were
    std::uint64_t changed = 0;    // announced again with other contents
    std::uint64_t withdrawn = 0;
    std::uint64_t waited = 0;          // ids that were announced before all of their members
    std::uint64_t swaps = 0;           // commits of another block under a live group
    std::uint64_t notPlaced = 0;       // attempts that met a full table
    std::uint64_t unknownWeights = 0;  // groups announced with a weight byte of 255
    std::uint64_t scaled = 0;          // blocks that would have been too wide
    double worstScaling = 0;  // the largest change of a member's share by that, in all traffic
    std::uint64_t membersKept = 0;  // members withdrawn while a group in force uses them
    std::size_t peak = 0;           // most ids at once
  };

  // What a group row names, from the bottom up.
  struct Chain {
    std::vector<Fpm::NextHop> members;  // as they were then
    std::vector<EcmpNextHops::Use> hops;
    MemberTable::EntryHandle::PtrConst block;
    std::uint16_t width = 0;
  };

  struct Group {
    Fpm::NextHopGroup contents;
    std::vector<std::uint32_t> missing;         // members that are not announced
    std::vector<std::uint32_t> blackholes;      // members that drop
    std::string reason;                         // why the latest contents have no place
    Chain chain;                                // of the latest record
    std::vector<Chain> former;                  // that the hardware row may still name
    Vek::Ptr<Table::EntryHandle const> handle;  // none: no record in the table
  };

  Groups(Vek::Ptr<Table> table, Vek::Ptr<MemberTable> memberTable, EcmpNextHops& ecmpNextHops,
         NextHops const& nextHops, OtherIds const& otherIds,
         std::uint32_t maxWidth = kDefaultMaxWidth);
  // Lets go of every group as it is: what was committed stays in the table.
  ~Groups();
  Groups(Groups const&) = delete;
  Groups& operator=(Groups const&) = delete;

  void groupIs(Fpm::NextHopGroup const& announced);
  // Returns false for an id that is not here.
  bool groupDel(std::uint32_t id);
  // The id was announced as a next hop or as one that drops.
  void memberIs(std::uint32_t id);
  // The id was withdrawn.
  void memberDel(std::uint32_t id);
  // A table was found full outside of the calls above.
  void noRoom();

  // By ascending id.
  [[nodiscard]] std::map<std::uint32_t, Group> const& groups() const { return byId_; }
  [[nodiscard]] bool parked(Group const& group) const;
  [[nodiscard]] Counts const& counts() const { return counts_; }

 private:
  [[nodiscard]] std::vector<Fpm::NextHop> resolve(Group& group) const;
  [[nodiscard]] std::vector<std::uint32_t> rowsOfMembers(Fpm::NextHopGroup const& group);
  // `changed`: whether the group's own contents are new.
  void update(Group& group, bool changed = false);
  void place(Group& group, std::vector<Fpm::NextHop> const& members, char const*& tableInUse);
  void commit(Group& group, Chain chain);
  void write(Group& group);
  void answered(std::uint32_t id);
  void takeBack(Group& group, std::string const& reason);
  void release(Group& group);
  void forgetMembers(Group const& group);
  // Whether the table's collection has the latest record: it was ready, and written.
  [[nodiscard]] bool isWritten(Group const& group) const;
  [[nodiscard]] std::string obstacleOf(Group const& group) const;

  Vek::Ptr<Table> table_;
  Vek::Ptr<MemberTable> memberTable_;
  EcmpNextHops& ecmpNextHops_;
  NextHops const& nextHops_;
  OtherIds const& otherIds_;
  std::uint32_t maxWidth_;
  std::map<std::uint32_t, Group> byId_;
  std::map<std::uint32_t, std::set<std::uint32_t>> groupsOfMember_;
  Counts counts_;
};

}  // namespace OrviaL3Agent
