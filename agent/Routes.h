// The routes of a routing stream: prefixes, and what they point to.
//
//   Routes routes(ids, groupIds, ingressNextHops, groups, maxWidth);
//   routes.routeIs(announced);
//   routes.routeDel(withdrawal); ... routes.frameEnds();
//   routes.endSlice(steps);            // until no route is leaving, and no other call before that
//   routes.update(key);                // the id that it names was announced
//   routes.settle();                   // begins to look at those that have a former way
//   routes.settleSlice(steps);
//
// A route points to an id (a next hop, a group or one that drops), or carries paths of its own (one
// makes a next hop, several a group), or drops. One that names an unknown id waits for it.
//
// When a new connection of the daemon begins, what it said on the one before counts no longer, and
// yet stays in force: a route is made stale, which leaves it its rows as the former way and nothing
// else, until it is announced again or removed.
//
// A route that is announced with another way keeps the way before until the hardware has the new
// one. A withdrawal takes effect at the end of its frame: a frame that withdraws a route and
// announces it again replaces it, without letting go of what both have in common.
//
// Threading: the loop's thread. Ownership: refers to everything that it is made of, which must
// outlive it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "agent/GroupIds.h"
#include "agent/Groups.h"
#include "agent/Ids.h"
#include "agent/IngressNextHops.h"
#include "agent/KeptUses.h"
#include "agent/PrefixTable.h"
#include "agent/RouteKey.h"
#include "agent/RouteSink.h"
#include "agent/Steps.h"

namespace OrviaL3Agent {

class Routes {
 public:
  enum class State : std::uint8_t {
    forwarded,    // the hardware leads its packets
    drop,         // its packets are to be dropped
    unknownId,    // waits for the id
    formerWay,    // the hardware leads its packets over what it pointed to before
    notInForce,   // what it points to is not in the hardware, or not all of it
    notPossible,  // see the reason
  };

  struct Counts {
    std::uint64_t announced = 0;  // keys that were new
    std::uint64_t repeated = 0;   // announced again as they were
    std::uint64_t changed = 0;    // announced again with another way or other attributes
    std::uint64_t withdrawn = 0;  // and not announced again in the same frame
    std::uint64_t unknownWithdrawals = 0;
    std::uint64_t swept = 0;        // that were stale to the end, and removed
    std::uint64_t waitedForId = 0;  // announced before the id that they name
    std::size_t peak = 0;           // most at once
  };

  // What a route points to.
  struct Way {
    enum class Kind : std::uint8_t { none, drop, unknownId, hop, group, groupId };
    Kind kind = Kind::none;
    Ids::Hold id;              // the id that it names, if it names one
    IngressNextHops::Use hop;  // kind hop
    Groups::Use group;         // kind group: the route's own paths
    std::string reason;        // kind none
  };

  // What a way waits for, the same for all routes that wait for it.
  struct Target {
    Way::Kind kind = Way::Kind::none;
    std::uint32_t number = 0;  // of the id or the group
    Identity identity;         // of the hop
    friend auto operator<=>(Target const&, Target const&) = default;
  };

  struct Route {
    Fpm::Route announced;
    Way way;
    // In force while `way` is not; none: nothing is. It holds rows and no id: what the stream has
    // withdrawn is not known any longer for that.
    Way former;
    bool leaving = false;
    bool stale = false;             // of a connection before; `way` is none then
    std::optional<Target> movesTo;  // while there is a former way
  };

  Routes(Ids& ids, GroupIds& groupIds, IngressNextHops& hops, Groups& groups,
         std::uint32_t maxWidth);

  // Is told of every route that may lead elsewhere. Not owned; none: nobody is.
  void routeSinkIs(RouteSink* sink) { sink_ = sink; }

  void routeIs(Fpm::Route const& announced);
  void routeDel(Fpm::RouteWithdrawal const& withdrawn);
  void frameEnds();
  // Removes what the frames that ended have withdrawn. Returns whether it is over.
  [[nodiscard]] bool endSlice(Steps& steps);
  [[nodiscard]] bool isEnding() const { return !ending_.empty(); }

  // A new connection: the route names nothing any longer. All that it used is added to `kept`.
  void staleIs(RouteKey const& key, KeptUses& kept);
  // Removes a route that is stale.
  void staleDel(RouteKey const& key);
  // How many are stale.
  [[nodiscard]] std::size_t stale() const { return stale_; }

  // The id that the route names is about to be something else: its rows are not let go for that.
  void keepRows(RouteKey const& key);
  // The contents of the id that the route names changed.
  void update(RouteKey const& key);
  // Lets go of former ways where the new one is in force: begins, and goes on. Returns whether all
  // have been looked at.
  void settle() { looked_.reset(); }
  [[nodiscard]] bool settleSlice(Steps& steps);

  [[nodiscard]] State state(Route const& route) const;
  // Where the hardware leads its packets, or is to drop them: over what the route points to if that
  // is in force, else over what it pointed to before.
  struct Lead {
    enum class Kind : std::uint8_t { none, drop, hop, group };
    Kind kind = Kind::none;
    IngressNextHops::Use hop;
    Groups::Use group;
  };
  [[nodiscard]] Lead lead(Route const& route) const;
  // Whether what it points to is in force.
  [[nodiscard]] bool isInForce(Route const& route) const { return inForce(route.way); }
  [[nodiscard]] static Target targetOf(Way const& way);
  // The best route for the address in each table that has one: the longest prefix, and of its
  // routes the one of the lowest priority value.
  [[nodiscard]] std::vector<RouteKey> lookup(Fpm::Address const& address) const;

  [[nodiscard]] std::map<RouteKey, Route> const& routes() const { return routes_; }
  [[nodiscard]] Counts const& counts() const { return counts_; }
  [[nodiscard]] GroupIds::Scaling const& scaling() const { return scaling_; }

 private:
  // A route that moves, or a target with all routes that move to it.
  struct Moving {
    Target target;
    std::optional<RouteKey> route;
  };

  void resolve(RouteKey const& key, Route& route);
  [[nodiscard]] Way wayById(std::uint32_t id) const;
  // The paths of a route that carries several, and into the way why there are none.
  [[nodiscard]] Spread spreadOf(Fpm::Route const& route, Way& way) const;
  void move(RouteKey const& key, Route& route, Way next);
  void keepRows(Route& route);
  void settle(RouteKey const& key, Route& route);
  // The one behind the last that was looked at.
  [[nodiscard]] std::optional<Moving> nextMoving() const;
  void moves(RouteKey const& key, Route& route, std::optional<Target> const& to);
  [[nodiscard]] bool inForce(Way const& way) const;
  // The same, with every row that packets may take.
  [[nodiscard]] bool leads(Way const& way) const;
  [[nodiscard]] Lead leadOf(Way const& way) const;
  // Before the way goes.
  void tell(RouteKey const& key, Way const& way) const;
  // No id has it as a watcher any longer.
  void unwatch(RouteKey const& key, Route const& route);
  void erase(RouteKey const& key);

  Ids& ids_;
  GroupIds& groupIds_;
  IngressNextHops& hops_;
  Groups& groups_;
  std::uint32_t maxWidth_;
  RouteSink* sink_ = nullptr;
  std::map<RouteKey, Route> routes_;
  // By table, the priorities of each prefix.
  std::map<std::uint32_t, PrefixTable<std::set<std::uint32_t>>> prefixes_;
  std::vector<RouteKey> leaving_;  // of the frame that goes on
  std::deque<RouteKey> ending_;    // of those that ended
  std::size_t stale_ = 0;
  // The routes that have a former way.
  std::map<Target, std::set<RouteKey>> moving_;
  std::optional<Moving> looked_;  // the last of these that was looked at
  Counts counts_;
  GroupIds::Scaling scaling_;
};

}  // namespace OrviaL3Agent
