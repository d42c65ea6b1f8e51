// The group ids of a routing stream, each a holder of the group of its members' paths.
//
//   GroupIds groupIds(ids, groups, maxWidth);
//   groupIds.groupIs(announced);       // a group may come before its members
//   groupIds.update(id);               // one of its members was announced
//   groupIds.settle();                 // begins to look at those that have a former group
//   groupIds.settleSlice(steps);
//
// A group whose members are not all announced waits here, in no table. A group id that comes again
// with other contents, or one of whose members does, moves to the group of the new paths; what it
// had stays in force until the hardware has the new one. What a group cannot be programmed for (a
// member that drops or is a group itself, too many members) is its reason.
//
// Threading: the loop's thread. Ownership: refers to the ids and groups, which must outlive it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/Groups.h"
#include "agent/Ids.h"
#include "agent/RouteSink.h"
#include "agent/Steps.h"

namespace OrviaL3Agent {

class GroupIds {
 public:
  static constexpr std::uint32_t kDefaultMaxWidth = 512;

  struct Counts {
    std::uint64_t waited = 0;          // ids that were announced before all of their members
    std::uint64_t unknownWeights = 0;  // announcements with a weight byte of 255
  };

  // Of blocks that would have been too wide.
  struct Scaling {
    std::uint64_t scaled = 0;
    double worst = 0;  // the largest change of a member's share by that, in all traffic
    void add(Spread const& spread);
  };

  struct GroupId {
    Fpm::NextHopGroup contents;
    std::vector<Ids::Hold> members;
    std::vector<std::uint32_t> missing;     // members that are not announced
    std::vector<std::uint32_t> blackholes;  // members that drop
    std::string reason;                     // why the contents can be no group at all
    Groups::Use group;
    Groups::Use former;  // in force while `group` is not

    // Every member drops, and so does the group.
    [[nodiscard]] bool drops() const {
      return !blackholes.empty() && blackholes.size() == contents.members.size();
    }
  };

  GroupIds(Ids& ids, Groups& groups, std::uint32_t maxWidth);
  // Is told when an id may lead elsewhere. Not owned; none: nobody is.
  void routeSinkIs(RouteSink* sink) { sink_ = sink; }

  // The id is in `ids` with these contents.
  void groupIs(Fpm::NextHopGroup const& announced);
  // The id ended.
  void groupDel(std::uint32_t id);
  // A member's contents may have changed.
  void update(std::uint32_t id);
  // Lets go of former groups where the new one is in force: begins, and goes on. Returns whether
  // all have been looked at.
  void settle() { looked_.reset(); }
  [[nodiscard]] bool settleSlice(Steps& steps);

  // Whether the hardware leads packets over this group, be it over the one before.
  [[nodiscard]] bool inForce(GroupId const& group) const;
  // The group that may lead packets of this id, the latest first; empty when none may.
  [[nodiscard]] Groups::Use leading(GroupId const& group) const;
  // Empty for an id that is no group.
  [[nodiscard]] GroupId const* find(std::uint32_t id) const;
  // By ascending id.
  [[nodiscard]] std::map<std::uint32_t, GroupId> const& ids() const { return byId_; }
  [[nodiscard]] Counts const& counts() const { return counts_; }
  [[nodiscard]] Scaling const& scaling() const { return scaling_; }

 private:
  [[nodiscard]] std::vector<WeightedPath> resolve(GroupId& group) const;
  void settle(std::uint32_t id, GroupId& group);
  void unwatch(GroupId const& group);
  void tell(std::uint32_t id, Groups::Use former) const;

  Ids& ids_;
  Groups& groups_;
  std::uint32_t maxWidth_;
  RouteSink* sink_ = nullptr;
  std::map<std::uint32_t, GroupId> byId_;
  std::set<std::uint32_t> moving_;       // that have a former group
  std::optional<std::uint32_t> looked_;  // the last of these that was looked at
  Counts counts_;
  Scaling scaling_;
};

}  // namespace OrviaL3Agent
