// The next hops of groups: one row of the ECMP view for every identity that a block names.
//
//   EcmpNextHops hops(table, parts);
//   EcmpNextHops::Result result = hops.use(identity);  // an equal identity gives the same next hop
//
// Entries are referenced and not committed: a row leaves the hardware with the last of the uses and
// of the blocks that name it.
//
// Threading: the loop's thread. Ownership: uses are counted and may outlive this object.
#pragma once

#include <map>
#include <memory>

#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "agent/NextHopParts.h"
#include "agent/NextHopState.h"
#include "agent/RetryQueue.h"
#include "agent/Since.h"
#include "agent/Steps.h"

namespace OrviaL3Agent {

class EcmpNextHops {
 public:
  using Table = OrviaL3Unicast::EcmpIngL3NextHop1Table;

  struct Hop {
    Identity identity;
    NextHopParts::Parts parts;  // outlive the row that names them
    Vek::Ptr<Table::EntryHandle const> handle;
    // It came into use, or was refused last. Means nothing while it is programmed.
    Since since = sinceNow();
  };
  using Use = std::shared_ptr<Hop const>;

  // A use, or what was in its way.
  struct Result {
    Use use;
    Obstacle obstacle = Obstacle::none;
  };

  EcmpNextHops(Vek::Ptr<Table> table, NextHopParts& parts);
  ~EcmpNextHops();
  EcmpNextHops(EcmpNextHops const&) = delete;
  EcmpNextHops& operator=(EcmpNextHops const&) = delete;

  // Throws Asic::NoRowException when the record is ready and the table is full. Nothing of the next
  // hop is left then.
  [[nodiscard]] Result use(Identity const& identity);
  [[nodiscard]] bool isLive(Identity const& identity) const { return live_.contains(identity); }

  // Writes once more what the hardware refused, and with `unanswered` also what it has not
  // answered. Returns whether a table was full for what such a write completed.
  bool retry(Hop const& hop, bool unanswered);
  // The same for what was refused, and with `unanswered` for all. Returns whether it is over;
  // `noRoom` says so when a table was full.
  void retryAll(bool unanswered) { refused_.begin(unanswered); }
  [[nodiscard]] bool retrySlice(Steps& steps, bool& noRoom);
  // Writes the rows over the interface once more.
  void rewrite(std::uint32_t interface);

  // Never notPlaced: such a next hop is not here; but see withoutRow().
  [[nodiscard]] NextHopState state(Hop const& hop) const;
  // Whether the record is ready and yet has no row, because the table was full at that moment.
  [[nodiscard]] bool withoutRow(Hop const& hop) const;
  // The row that it has, be it unanswered; or the invalid index.
  [[nodiscard]] Asic::Index row(Hop const& hop) const;
  // Tries to give it one now. Throws as use() does.
  void place(Hop const& hop) { table_->handleEntry(hop.identity); }

  // By ascending identity.
  [[nodiscard]] std::map<Identity, Hop*> const& hops() const { return live_; }
  [[nodiscard]] NextHopCounts const& counts() const { return counts_; }
  // How the table's rows are used.
  [[nodiscard]] Asic::GenericIndexAllocator const& rows() const {
    return *table_->firstFreeIndexAllocator();
  }

  // From here on the end of a use removes nothing: what was written stays in the table, as long as
  // a block names it.
  void end() { link_->owner = nullptr; }

 private:
  struct Link {
    EcmpNextHops* owner;
  };

  void refused(Identity const& identity);
  void remove(Hop& hop);

  Vek::Ptr<Table> table_;
  NextHopParts& parts_;
  std::shared_ptr<Link> link_;
  std::map<Identity, Hop*> live_;
  std::map<Identity, std::weak_ptr<Hop const>> uses_;
  RetryQueue<Identity> refused_;  // some since accepted
  NextHopCounts counts_;
};

}  // namespace OrviaL3Agent
