// The next hops that routes name directly: each identity has a row of the ingress table.
//
//   IngressNextHops hops(table, parts, hardware, rows);
//   IngressNextHops::Use use = hops.use(identity);    // an equal identity gives the same next hop
//
// An identity gets a key (a row of the agent's own), the handles of its outgoing interface and MTU
// profile, and a record under that key. The table parks the record until both are programmed, then
// asks the hardware to write the row. The last use that goes removes: first the key from the table,
// then the handle, which takes the record out of the table and the row out of the hardware.
//
// What cannot be placed (no free row, say) is a next hop all the same, with the obstacle; it is
// tried again, as is what the hardware refused, by retry().
//
// After a restart the hardware still leads packets over the rows of before. Their next hops come
// back as they were, by restored(), and are held until somebody uses them, which costs no hardware
// call when they are asked for as they are, or until release() at the end of the hold time.
//
// Threading: the loop's thread. Ownership: uses are counted; those that outlive this object, or its
// end() below, let go of what they have and leave the tables alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "agent/Deadline.h"
#include "agent/Hardware.h"
#include "agent/NextHopParts.h"
#include "agent/NextHopState.h"
#include "agent/OperationTime.h"
#include "agent/RetryQueue.h"
#include "agent/RowKey.h"
#include "agent/Since.h"
#include "agent/Steps.h"
#include "plugins/soft-asic/RowOwner.h"

namespace OrviaL3Agent {

class IngressNextHops {
 public:
  using Table = OrviaL3Unicast::IngL3NextHop1Table;

  struct Hop {
    Identity identity;
    Obstacle obstacle = Obstacle::none;
    NextHopParts::Parts parts;
    Vek::Ptr<RowKey> key;  // empty while it has no row
    Vek::Ptr<Table::EntryHandle const> handle;
    // It came into use, or was refused last. Means nothing while it is programmed.
    Since since = sinceNow();
  };
  using Use = std::shared_ptr<Hop const>;

  IngressNextHops(Vek::Ptr<Table> table, NextHopParts& parts, Hardware const& hardware,
                  std::shared_ptr<RowKey::Rows> rows);
  ~IngressNextHops();
  IngressNextHops(IngressNextHops const&) = delete;
  IngressNextHops& operator=(IngressNextHops const&) = delete;

  [[nodiscard]] Use use(Identity const& identity);

  // While the table refills itself: the next hop of a row that the hardware holds from before. One
  // that nothing is known about is held as well, as a stranger: its row may be forwarding.
  [[nodiscard]] SoftAsic::RowOwner restored(Asic::Index row,
                                            SoftAsic::NextHopContents const& contents);
  // The same where the hardware itself tells whose a row is.
  [[nodiscard]] SoftAsic::RowOwner restored(Asic::Index row, std::optional<Identity> identity);
  // The hold time is over: what nobody has used goes, strangers included, and with it the rows.
  void release();
  // The same, as far as time allows. Returns whether it is over.
  [[nodiscard]] bool releaseSlice(Deadline const& deadline);
  struct Held {
    std::size_t found = 0;      // rows from before, strangers included
    std::size_t strangers = 0;  // of these, with no known owner
    std::size_t claimed = 0;    // that somebody used
    std::size_t released = 0;   // that nobody did
  };
  [[nodiscard]] Held const& heldCounts() const { return heldCounts_; }
  // Still waiting to be claimed.
  [[nodiscard]] std::size_t held() const { return held_.size() + strangers_.size(); }
  [[nodiscard]] std::set<std::uint32_t> heldRows() const;

  // Tries once more, now: what met an obstacle is placed, what was refused is written again, and
  // with `unanswered` also what the hardware has not answered.
  void retry(Hop const& hop, bool unanswered);
  // The same for the next hop of an identity, if there is one, without what was not answered.
  void retry(Identity const& identity);
  // The same for what failed, and with `unanswered` for all. Returns whether it is over.
  void retryAll(bool unanswered) { failed_.begin(unanswered); }
  [[nodiscard]] bool retrySlice(Steps& steps);
  // Writes the rows over the interface that are in the table once more.
  void rewrite(std::uint32_t interface);

  [[nodiscard]] NextHopState state(Hop const& hop) const;
  // Whether the hardware leads packets this way.
  [[nodiscard]] bool inForce(Hop const& hop) const {
    return state(hop) == NextHopState::programmed;
  }
  // The same, or it may do so without having said it: the answer is awaited, or lost.
  [[nodiscard]] bool mayLead(Hop const& hop) const {
    return inForce(hop) || state(hop) == NextHopState::unanswered;
  }

  // By ascending identity.
  [[nodiscard]] std::map<Identity, Hop*> const& hops() const { return live_; }
  [[nodiscard]] NextHopCounts const& counts() const { return counts_; }
  // The rows that there are for them.
  [[nodiscard]] RowKey::Rows const& rows() const { return *rows_; }
  [[nodiscard]] OperationTime const& commitTime() const { return commitTime_; }
  [[nodiscard]] OperationTime const& removeTime() const { return removeTime_; }

  // From here on the end of a use removes nothing: what was written stays in the tables.
  void end() { link_->owner = nullptr; }

 private:
  // What a use or a handler that outlives this object asks first.
  struct Link {
    IngressNextHops* owner;
  };

  Use make(Identity const& identity);
  SoftAsic::RowOwner hold(Identity const& identity, NextHopParts::Parts parts,
                          Vek::Ptr<RowKey> key);
  SoftAsic::RowOwner holdStranger(Asic::Index row, OrviaL3Unicast::NextHopFields const& fields);
  void place(Hop& hop);
  void refused(Identity const& identity);
  void remove(Hop& hop);

  Vek::Ptr<Table> table_;
  NextHopParts& parts_;
  Hardware const& hardware_;
  std::shared_ptr<RowKey::Rows> rows_;
  std::shared_ptr<Link> link_;
  std::map<Identity, Hop*> live_;
  std::map<Identity, std::weak_ptr<Hop const>> uses_;
  std::map<Identity, Use> held_;  // from before a restart, not used since
  std::vector<Vek::Ptr<RowKey>> strangers_;
  Held heldCounts_;
  RetryQueue<Identity> failed_;  // that were refused or met an obstacle, some since mended
  NextHopCounts counts_;
  OperationTime commitTime_;
  OperationTime removeTime_;
};

}  // namespace OrviaL3Agent
