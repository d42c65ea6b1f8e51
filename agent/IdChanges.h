// What an announcement of a next-hop id means for those who use the id, a step at a time: an id may
// have a hundred thousand routes.
//
//   IdChanges changes(ids, groupIds, routes, ingressNextHops);
//   changes.idIs(id, contents);          // once the one before is over
//   changes.groupEnds(id);               // at any time: the id is no group any longer
//   while (!changes.slice(steps)) ...    // other things
//
// First the routes of a group that becomes something else keep their rows; then the id has its new
// contents; then the groups that name it are told, in ascending order, and then the routes. Groups
// that named a group that ends are told of that before all this goes on.
//
// Between two steps everything else may happen but another announcement: users come and go,
// hardware answers. A user that comes meanwhile knows the contents that there are by then.
//
// Threading: the loop's thread. Ownership: refers to everything that it works on, which must
// outlive it.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "agent/GroupIds.h"
#include "agent/Ids.h"
#include "agent/IngressNextHops.h"
#include "agent/RouteKey.h"
#include "agent/Routes.h"
#include "agent/Steps.h"

namespace OrviaL3Agent {

class IdChanges {
 public:
  IdChanges(Ids& ids, GroupIds& groupIds, Routes& routes, IngressNextHops& hops)
      : ids_(ids), groupIds_(groupIds), routes_(routes), hops_(hops) {}

  // Requires isOver().
  void idIs(std::uint32_t id, Ids::Contents contents);
  // After the group's id has ended.
  void groupEnds(std::uint32_t id) { ended_.push_back({id, std::nullopt}); }

  // Goes on. Returns isOver().
  [[nodiscard]] bool slice(Steps& steps);
  [[nodiscard]] bool isOver() const { return !change_ && ended_.empty(); }
  // Only what groupEnds() has begun.
  [[nodiscard]] bool endedSlice(Steps& steps);

 private:
  struct Change {
    enum class Phase : std::uint8_t { keepRows, contents, groups, routes };
    std::uint32_t id = 0;
    Ids::Contents contents;
    bool isSame = false;  // as it was
    Phase phase = Phase::keepRows;
    // The last ones that were told.
    std::optional<std::uint32_t> group;
    std::optional<RouteKey> route;
  };
  struct Ended {
    std::uint32_t id = 0;
    std::optional<std::uint32_t> group;  // the last one that was told
  };

  void step(Change& change);
  void contentsAre(Change& change);
  // The next of the id's groups or routes, which is the last one then; nothing when all were.
  [[nodiscard]] std::optional<std::uint32_t> nextGroup(std::uint32_t id,
                                                       std::optional<std::uint32_t>& last) const;
  [[nodiscard]] std::optional<std::uint32_t> nextGroup(Change& change) const;
  [[nodiscard]] std::optional<RouteKey> nextRoute(Change& change) const;
  void update(std::uint32_t group);

  Ids& ids_;
  GroupIds& groupIds_;
  Routes& routes_;
  IngressNextHops& hops_;
  std::optional<Change> change_;
  std::deque<Ended> ended_;
};

}  // namespace OrviaL3Agent
