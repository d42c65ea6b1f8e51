// From what a routing daemon says to the four tables.
//
//   Mapping mapping(tables, parts, hardware, options);
//   mapping.messageIs(message); ... mapping.frameEnds();
//   mapping.settle();              // at the end of every turn
//
// Next-hop ids, groups and routes are kept as they are announced, and hold what they need: routes
// hold rows of the ingress table or groups, group ids hold groups, groups hold blocks and rows of
// the ECMP view. What nothing uses is counted and not programmed. What goes, goes from the top:
// route, group, block, next hops, interface; what is withdrawn while something uses it, stays until
// nothing does.
//
// What the hardware refused and what found no room is tried again when it is announced again, when
// rows are freed, and by retry().
//
// Threading: the loop's thread. Ownership: counts the tables; refers to the hardware and the parts,
// which must outlive it. Its end leaves in the tables what was committed.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "agent/GroupIds.h"
#include "agent/Groups.h"
#include "agent/Ids.h"
#include "agent/IngressNextHops.h"
#include "agent/Routes.h"
#include "agent/StreamCounts.h"

namespace OrviaL3Agent {

class Mapping {
 public:
  struct Tables {
    Vek::Ptr<IngressNextHops::Table> ingress;
    Vek::Ptr<EcmpNextHops::Table> ecmp;
    Vek::Ptr<Groups::MemberTable> members;
    Vek::Ptr<Groups::Table> groups;
  };

  struct IdCounts {
    std::uint64_t announced = 0;  // single next-hop ids that were new
    std::uint64_t repeated = 0;   // announced again as they were
    std::uint64_t changed = 0;    // announced again with other contents
    std::uint64_t withdrawn = 0;
    std::size_t peak = 0;  // most at once
  };

  // `rows`: of the ingress table's keys. `counts`: of messages, kept up to date; must outlive this.
  Mapping(Tables tables, NextHopParts& parts, Hardware const& hardware,
          std::shared_ptr<RowKey::Rows> rows, std::uint32_t maxWidth, StreamCounts& counts);
  ~Mapping();
  Mapping(Mapping const&) = delete;
  Mapping& operator=(Mapping const&) = delete;

  void messageIs(Fpm::Message const& message);
  void frameEnds() { routes_.frameEnds(); }

  // Local repair: groups go without their paths over an interface that is down.
  void interfaceIs(std::uint32_t interface, bool up) { groups_.interfaceIs(interface, up); }
  // Tries again what failed, and with `unanswered` also what got no answer.
  void retry(bool unanswered);
  // A table was found full outside of the calls above.
  void noRoom() { groups_.noRoom(); }
  // Lets go of what is replaced by now, and tries again where rows were freed.
  void settle();

  // The next hops of routes, while the ingress table refills itself.
  [[nodiscard]] IngressNextHops& refill() { return ingress_; }
  // The stream has said all, and a hold time has passed: what is still in hardware from before the
  // restart and that nobody has asked for goes.
  void release() {
    ingress_.release();
    ++released_;
  }

  // What a holder keeps in hardware because what it asks for now is not in force or cannot be.
  struct Kept {
    std::optional<Identity> hop;  // of the ingress table
    std::optional<Paths> group;
  };
  [[nodiscard]] std::vector<Kept> kept() const;

  [[nodiscard]] Tables const& tables() const { return tables_; }
  [[nodiscard]] Ids const& ids() const { return ids_; }
  [[nodiscard]] GroupIds const& groupIds() const { return groupIds_; }
  [[nodiscard]] Routes const& routes() const { return routes_; }
  [[nodiscard]] IngressNextHops const& ingress() const { return ingress_; }
  [[nodiscard]] EcmpNextHops const& ecmp() const { return ecmp_; }
  [[nodiscard]] Groups const& groups() const { return groups_; }
  // Announcements of single next hops and of groups.
  [[nodiscard]] IdCounts const& nextHopCounts() const { return nextHopCounts_; }
  [[nodiscard]] IdCounts const& groupCounts() const { return groupCounts_; }

 private:
  struct Dispatch;

  void idIs(std::uint32_t id, Ids::Contents contents, IdCounts* counts);
  void groupEnds(std::uint32_t id);
  void tellUsers(std::uint32_t id, bool isSame);
  void settleHolders();

  Tables tables_;
  Hardware const& hardware_;
  StreamCounts& counts_;
  EcmpNextHops ecmp_;
  IngressNextHops ingress_;
  Groups groups_;
  Ids ids_;
  GroupIds groupIds_;
  Routes routes_;
  IdCounts nextHopCounts_;
  IdCounts groupCounts_;
  std::uint64_t freedSeen_ = 0;
  std::uint64_t released_ = 0;
};

}  // namespace OrviaL3Agent
