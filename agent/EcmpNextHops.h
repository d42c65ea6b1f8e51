// The next hops of groups: one row of the ECMP view for every identity that a block names.
//
//   EcmpNextHops hops(table, interfaces, mtuProfiles, adjacencies);
//   EcmpNextHops::Use use = hops.use(nextHop);    // an equal identity gives the same next hop
//
// An identity is what a packet's way depends on: address family, interface, gateway, onlink flag.
// Several ids of the stream may name one. Entries are referenced and not committed: a row leaves
// the hardware with the last of the uses and of the blocks that name it.
//
// Threading: the loop's thread. Ownership: uses are counted and may outlive this object; it refers
// to the stand-in tables and the neighbours' numbers, which must outlive it.
#pragma once

#include <map>
#include <memory>

#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "agent/Adjacencies.h"
#include "agent/NextHops.h"
#include "agent/StandInTable.h"
#include "agent/fpm/Messages.h"

namespace OrviaL3Agent {

class EcmpNextHops {
 public:
  using Table = OrviaL3Unicast::EcmpIngL3NextHop1Table;
  using Identity = OrviaL3Unicast::L3EcmpNextHopKey;

  struct Hop {
    Identity identity;
    Fpm::NextHop contents;       // of the id that came first; its number means nothing here
    Adjacencies::Use adjacency;  // outlives the row that names it
    Vek::Ptr<Table::EntryHandle const> handle;
  };
  using Use = std::shared_ptr<Hop const>;

  // A use, or what was in its way.
  struct Result {
    Use use;
    NextHops::Obstacle obstacle = NextHops::Obstacle::none;
  };

  EcmpNextHops(Vek::Ptr<Table> table, StandInTable& interfaces, StandInTable& mtuProfiles,
               Adjacencies& adjacencies);

  // Throws Asic::NoRowException when the record is ready and the table is full. Nothing of the next
  // hop is left then.
  [[nodiscard]] Result use(Fpm::NextHop const& nextHop);

  // Whether the record is ready and yet has no row, because the table was full at that moment.
  [[nodiscard]] bool withoutRow(Hop const& hop) const;

  [[nodiscard]] static Identity identityOf(Fpm::NextHop const& nextHop);
  [[nodiscard]] std::size_t size() const { return live_->size(); }
  // How the table's rows are used.
  [[nodiscard]] Asic::GenericIndexAllocator const& rows() const {
    return *table_->firstFreeIndexAllocator();
  }

 private:
  using Live = std::map<Identity, std::weak_ptr<Hop const>>;

  Vek::Ptr<Table> table_;
  StandInTable& interfaces_;
  StandInTable& mtuProfiles_;
  Adjacencies& adjacencies_;
  std::shared_ptr<Live> live_;
};

}  // namespace OrviaL3Agent
