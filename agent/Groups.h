// The groups of the hardware: for each distinct set of paths a number, a block of member rows, and
// a group row that names the block.
//
//   Groups groups(groupTable, memberTable, ecmpNextHops, hardware);
//   Groups::Use use = groups.use(paths);      // equal paths give the same group
//   groups.change(use, former, other);        // moves the holder to the group of other paths
//   groups.interfaceIs(7, false);             // local repair: leave out the paths over 7
//
// The paths become next hops of the ECMP view and a block, both shared with other groups; the group
// row waits in its table until the block is programmed. The group's key is its number: the lowest
// free one from 1 up.
//
// A group whose paths change, or some of whose interfaces fail or return, references the new block,
// commits, and lets go of the old block when the hardware has accepted the row that names the new
// one; until then, and after a refusal, packets take the old block. A group whose last holder goes
// leaves from the top: its row, the block, the next hops.
//
// Where a table is full the group is kept with the reason, and a block that it has in force stays.
// The exception comes from the write here, or out of whatever brought the last missing answer:
// whoever catches it there calls noRoom(), which takes back what could not be placed. retryAll()
// tries such groups again, and what the hardware refused.
//
// What concerns many groups at once, an interface or a retry, is begun by one call and done by
// others, a slice at a time, group by group in ascending order of their numbers.
//
// Threading: the loop's thread. Ownership: uses are counted; those that outlive this object, or its
// end() below, let go of what they have and leave the tables alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "agent/EcmpNextHops.h"
#include "agent/Hardware.h"
#include "agent/Paths.h"
#include "agent/RetryQueue.h"
#include "agent/RowPool.h"
#include "agent/Since.h"
#include "agent/Steps.h"

namespace OrviaL3Agent {

class Groups {
 public:
  using Table = OrviaL3Unicast::L3EcmpGroupTable;
  using MemberTable = OrviaL3Unicast::L3EcmpMemberTable;

  enum class State : std::uint8_t {
    programmed,  // the hardware accepted the record
    unanswered,  // written, and not yet answered
    parked,      // the record waits for its block
    refused,     // the hardware refused the record
    notPlaced,   // met a full table or the like: see `reason`
  };

  struct Counts {
    std::uint64_t made = 0;       // groups that came into use
    std::uint64_t ended = 0;      // whose last holder went
    std::uint64_t swaps = 0;      // commits of another block under a group in use
    std::uint64_t repairs = 0;    // of these, because an interface failed
    std::uint64_t restores = 0;   // of these, because one returned
    std::uint64_t notPlaced = 0;  // attempts that met a full table
    std::uint64_t retried = 0;    // records and blocks that were written once more
    std::size_t peak = 0;         // most in use at once
  };

  // What a group row names, from the bottom up.
  struct Chain {
    Paths paths;
    std::vector<EcmpNextHops::Use> hops;
    MemberTable::EntryHandle::PtrConst block;
    std::uint16_t width = 0;
  };

  struct Group {
    std::uint32_t number = 0;
    Paths paths;                                // as asked for
    std::string reason;                         // why these have no place
    Chain chain;                                // of the latest record
    std::vector<Chain> former;                  // that the hardware row may still name
    Vek::Ptr<Table::EntryHandle const> handle;  // none: no record in the table
    bool accepted = false;                      // the row holds one of these records
    // It was asked for as it is to be now, or its record was refused last. Means nothing while it
    // is programmed.
    Since since = sinceNow();
  };
  using Use = std::shared_ptr<Group const>;

  Groups(Vek::Ptr<Table> table, Vek::Ptr<MemberTable> memberTable, EcmpNextHops& ecmpNextHops,
         Hardware const& hardware);
  ~Groups();
  Groups(Groups const&) = delete;
  Groups& operator=(Groups const&) = delete;

  // `paths`: at least one, and at most 65535 rows.
  [[nodiscard]] Use use(Paths const& paths);
  // Makes `held` (which may be empty) a use of the group of these paths. The group itself changes
  // when nobody else holds it and no group has these paths already; it keeps its number and row
  // then. Otherwise a group that may lead packets becomes `former`, for the holder to keep until
  // the other one does.
  void change(Use& held, Use& former, Paths const& paths);

  // An interface failed or returned: every group with a path over it is to go without that path, or
  // with it again. A group that has no other path keeps those that it has.
  void interfaceIs(std::uint32_t interface, bool up);
  // Does it, for one interface after the other. Returns whether it is over.
  [[nodiscard]] bool repairSlice(Steps& steps);
  [[nodiscard]] bool isRepairing() const { return !repairs_.empty(); }
  [[nodiscard]] std::set<std::uint32_t> const& downInterfaces() const { return down_; }
  // Nothing for an interface that is not down.
  [[nodiscard]] std::optional<Since> downSince(std::uint32_t interface) const;

  // A table was found full outside of the calls above.
  void noRoom();

  // Tries once more, now: places what had no room, writes again what the hardware refused, and with
  // `unanswered` also what it did not answer, and member rows that did not take their write.
  void retry(Group const& group, bool unanswered);
  // The same for what the hardware refused, and with `unanswered` for all. Returns whether it is
  // over.
  void retryAll(bool unanswered) { refused_.begin(unanswered); }
  [[nodiscard]] bool retrySlice(Steps& steps);
  // Tries those that had no room and may have it now.
  void retryNotPlaced();
  [[nodiscard]] bool retryNotPlacedSlice(Steps& steps);

  [[nodiscard]] State state(Group const& group) const;
  // Whether the hardware leads packets over this group, be it over the block before.
  [[nodiscard]] bool inForce(Group const& group) const;
  // The same, or it may do so without having said it: the answer is awaited, or lost.
  [[nodiscard]] bool mayLead(Group const& group) const;
  // The group's row, or the invalid index.
  [[nodiscard]] Asic::Index row(Group const& group) const;
  // The rows of its block that did not take their write; 0 while it has none.
  [[nodiscard]] std::size_t missingMemberRows(Group const& group) const;

  // By ascending number.
  [[nodiscard]] std::map<std::uint32_t, Group*> const& groups() const { return byNumber_; }
  // How many hold the group.
  [[nodiscard]] std::size_t holders(Group const& group) const;
  [[nodiscard]] Counts const& counts() const { return counts_; }

  // From here on the end of a use removes nothing: what was committed stays in the table.
  void end() { link_->owner = nullptr; }

 private:
  struct Link {
    Groups* owner;
  };
  // The groups, of those that are left, that an interface concerns.
  struct Repair {
    bool up = false;
    std::vector<std::uint32_t> numbers;
    std::size_t next = 0;
  };
  // An answer of missingMemberRows(), and what it was about.
  struct MissingRows {
    std::uint64_t calls = 0;  // of the member rows' hardware, by then
    std::uint32_t first = 0;
    std::uint16_t width = 0;  // 0: there is none
    std::size_t missing = 0;
  };
  // What the tables have free.
  struct Room {
    std::uint32_t nextHops = 0, run = 0, groups = 0;
  };

  [[nodiscard]] Use make(Paths const& paths);
  void remove(Group& group);
  void index(Group const& group);
  void unindex(Group const& group);
  // Brings the group's record in line with its paths and the interfaces. Returns whether another
  // block was committed.
  bool update(Group& group);
  // Where the block in force is not the one that the group is to have, takes the failed interfaces
  // out of it as well.
  void repairInForce(Group& group);
  void repair(Group& group, bool up);
  void tryToPlace(Group& group, Paths const& paths);
  void place(Group& group, Paths const& paths, char const*& tableInUse);
  void commit(Group& group, Chain chain);
  void write(Group& group);
  void answered(std::uint32_t number, Asic::HwTable::EntryState answer);
  void fail(Group& group, std::string reason);
  // Writes what of the group is ready and had no row. Returns whether it has all its rows now.
  bool placeRows(Group const& group);
  [[nodiscard]] bool hasNoRows(MemberTable::EntryHandle const& block) const;
  void takeBack(Group& group, std::string const& reason);
  void release(Group& group);
  // Whether the table's collection has the latest record: it was ready, and written.
  [[nodiscard]] bool isWritten(Group const& group) const;
  [[nodiscard]] std::string obstacleOf(Group const& group) const;
  [[nodiscard]] Room room() const;
  [[nodiscard]] bool mayFit(Group const& group, Room const& free) const;

  Vek::Ptr<Table> table_;
  Vek::Ptr<MemberTable> memberTable_;
  EcmpNextHops& ecmpNextHops_;
  Hardware const& hardware_;
  std::shared_ptr<Link> link_;
  RowPool numbers_;
  std::map<Paths, std::weak_ptr<Group>> uses_;
  std::map<std::uint32_t, Group*> byNumber_;
  std::map<std::uint32_t, std::set<std::uint32_t>> byInterface_;  // numbers
  std::set<std::uint32_t> down_;
  std::map<std::uint32_t, Since> downSince_;          // of these
  std::map<std::uint32_t, std::uint64_t> notPlaced_;  // by number, and `freed_` at the last attempt
  std::set<std::uint32_t> waiting_;                   // numbers whose latest record is not accepted
  std::vector<std::uint32_t> notPlacedTried_;  // numbers that the pass is to come to, last first
  std::deque<Repair> repairs_;                 // in the order in which they came
  RetryQueue<std::uint32_t> refused_;          // numbers, some since accepted
  // By number. Routes of one group ask the same over and over.
  mutable std::map<std::uint32_t, MissingRows> missingRows_;
  // Counts what gave rows back that it had for good. What a failed attempt gives back is not
  // counted: to try again for that would never end.
  std::uint64_t freed_ = 0;
  Counts counts_;
};

}  // namespace OrviaL3Agent
