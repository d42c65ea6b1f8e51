// What was in use when a connection of the routing daemon began: held until what is not announced
// again is removed, so that nothing leaves the hardware before that because of who names it now.
//
//   KeptUses kept;
//   kept.add(route.way.group);          // an empty use is none
//   while (!kept.empty() && !deadline.isOver()) kept.dropOne();   // groups, then next hops
//
// Threading: the loop's thread. Ownership: owns the uses.
#pragma once

#include <cstdint>
#include <map>

#include "agent/Groups.h"
#include "agent/IngressNextHops.h"

namespace OrviaL3Agent {

class KeptUses {
 public:
  void add(Groups::Use const& group) {
    if (group) groups_.emplace(group->number, group);
  }
  void add(IngressNextHops::Use const& hop) {
    if (hop) hops_.emplace(hop->identity, hop);
  }

  [[nodiscard]] bool empty() const { return groups_.empty() && hops_.empty(); }
  // Requires that there is one.
  void dropOne() {
    if (!groups_.empty()) {
      groups_.erase(groups_.begin());
    } else {
      hops_.erase(hops_.begin());
    }
  }

  [[nodiscard]] bool holdsGroup(std::uint32_t number) const { return groups_.contains(number); }
  [[nodiscard]] bool holdsHop(Identity const& identity) const { return hops_.contains(identity); }
  // By ascending number, and by ascending identity.
  [[nodiscard]] std::map<std::uint32_t, Groups::Use> const& groups() const { return groups_; }
  [[nodiscard]] std::map<Identity, IngressNextHops::Use> const& hops() const { return hops_; }

 private:
  // No two have the same number: as long as one is held, its number is nobody else's.
  std::map<std::uint32_t, Groups::Use> groups_;
  std::map<Identity, IngressNextHops::Use> hops_;
};

}  // namespace OrviaL3Agent
