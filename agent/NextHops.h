// The single next hops of the routing stream, each with a row of the ingress table.
//
//   NextHops nextHops(table, interfaces, mtuProfiles, rows);
//   nextHops.nextHopIs(announced);
//   nextHops.nextHopDel(id);
//
// Every id that is announced gets a key (a reserved row), the handles of its outgoing interface and
// MTU profile, and a record under that key. The table parks the record until both handles are
// programmed, then asks the hardware to write the row. An id that is announced again with other
// contents keeps its key and gets a changed record; one that is announced again as it was changes
// nothing. A withdrawal removes the key from the table, then lets go of the entry's handle and the
// key: the record leaves the table, and the row the hardware, with the handle's last reference, so
// an agent that kept its own would keep the row.
//
// What cannot be placed (no free row, say) is kept with its reason, so that it can be listed and
// its withdrawal is understood; it is tried again when it is announced again.
//
// Threading: the loop's thread. Ownership: counts the table and the rows; refers to the stand-in
// tables, which must outlive it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "agent/Adjacencies.h"
#include "agent/OperationTime.h"
#include "agent/RowKey.h"
#include "agent/StandInTable.h"
#include "agent/fpm/Messages.h"

namespace OrviaL3Agent {

class NextHops {
 public:
  using Table = OrviaL3Unicast::IngL3NextHop1Table;

  // Every record carries an MTU profile; routes may ask for others later, interfaces have this one.
  static constexpr std::uint32_t kDefaultMtu = 1500;

  // Why a next hop has no row of its contents.
  enum class Obstacle { none, row, interfaceSlot, mtuSlot, adjacency };

  struct Counts {
    std::uint64_t announced = 0;  // ids that were new
    std::uint64_t repeated = 0;   // announced again as they were
    std::uint64_t changed = 0;    // announced again with other contents
    std::uint64_t withdrawn = 0;
    std::uint64_t waited = 0;     // commits whose record was still parked when they returned
    std::uint64_t notPlaced = 0;  // announcements that met an obstacle
    std::size_t peak = 0;         // most ids at once
    std::size_t peakParked = 0;   // most parked records at once
  };

  // One announced id.
  struct NextHop {
    Fpm::NextHop contents;
    Obstacle obstacle = Obstacle::none;
    Vek::Ptr<RowKey> key;  // empty while it has no row
    Vek::Ptr<Table::EntryHandle const> handle;
    // The neighbour that the record names, and those before it that the hardware row may still
    // name.
    std::vector<Adjacencies::Use> adjacencies;
  };

  NextHops(Vek::Ptr<Table> table, StandInTable& interfaces, StandInTable& mtuProfiles,
           std::shared_ptr<RowPool> rows);
  // Lets go of every id as it is: what was written stays in the table.
  ~NextHops();
  NextHops(NextHops const&) = delete;
  NextHops& operator=(NextHops const&) = delete;

  void nextHopIs(Fpm::NextHop const& announced);
  // Returns false for an id that is not here.
  bool nextHopDel(std::uint32_t id);

  // By ascending id.
  [[nodiscard]] std::map<std::uint32_t, NextHop> const& nextHops() const { return byId_; }
  [[nodiscard]] bool parked(NextHop const& nextHop) const;

  // The neighbours' numbers, for the next hops of groups to share.
  [[nodiscard]] Adjacencies& adjacencies() { return adjacencies_; }

  [[nodiscard]] Counts const& counts() const { return counts_; }
  [[nodiscard]] OperationTime const& commitTime() const { return commitTime_; }
  [[nodiscard]] OperationTime const& removeTime() const { return removeTime_; }

 private:
  [[nodiscard]] Obstacle place(NextHop& nextHop);

  Vek::Ptr<Table> table_;
  StandInTable& interfaces_;
  StandInTable& mtuProfiles_;
  std::shared_ptr<RowPool> rows_;
  Adjacencies adjacencies_;
  std::map<std::uint32_t, NextHop> byId_;
  Counts counts_;
  OperationTime commitTime_;
  OperationTime removeTime_;
};

// For people: "no free row", ...
[[nodiscard]] std::string text(NextHops::Obstacle obstacle);

}  // namespace OrviaL3Agent
