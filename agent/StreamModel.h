// What a routing stream asks for, told from its messages alone.
//
//   StreamModel model;
//   for each frame: for each message: model.messageIs(message);  model.frameEnds();
//   Wanted wanted = model.wanted(downInterfaces, 512);
//
// The model knows nothing of tables, rows and hardware, and shares no state with what programs
// them, so that the two can be held against each other (Verify.h).
//
// An id that is withdrawn while a route or a group names it stays what it was until the last of
// them lets go of it; a group that goes so lets go of its members. It is known to all meanwhile,
// and is live again when it is announced again. A group is kept by routes only: no group can be
// made of groups, and two that name each other would never end. A route replaces the one of the
// same table, prefix and priority; within a frame a withdrawal followed by an announcement is such
// a replacement, in which what both name is never let go.
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <variant>
#include <vector>

#include "agent/Identity.h"
#include "agent/Paths.h"
#include "agent/fpm/Messages.h"

namespace OrviaL3Agent {

// What the hardware should hold for a stream.
struct Wanted {
  // One for each distinct set of paths that is asked for. Two that become equal without the failed
  // interfaces are still two groups.
  struct Group {
    Paths asked;
    Paths paths;                          // without the failed interfaces
    std::vector<std::uint32_t> groupIds;  // that ask for it, ascending
    std::uint64_t routes = 0;             // that carry these paths themselves
    bool kept = false;                    // nobody asks for it any more
  };

  // What asks for no row, or can have none.
  struct Counts {
    std::uint64_t waitingGroups = 0;     // of which a member was never announced
    std::uint64_t blackholeGroups = 0;   // with a blackhole among the members
    std::uint64_t nestedGroups = 0;      // with a group among the members
    std::uint64_t tooWideGroups = 0;     // with more members than the maximum width
    std::uint64_t emptyGroups = 0;       // without members
    std::uint64_t droppingRoutes = 0;    // by their type, over a blackhole, or without any way
    std::uint64_t waitingRoutes = 0;     // that name an unknown id
    std::uint64_t withoutInterface = 0;  // routes with a path of their own that names none
    std::uint64_t tooWideRoutes = 0;     // with more paths of their own than the maximum width

    friend bool operator==(Counts const&, Counts const&) = default;
  };

  std::vector<Group> groups;                  // by the paths asked for
  std::set<Identity> ecmp;                    // of the groups' paths
  std::map<Identity, std::uint64_t> ingress;  // and how many routes name them directly
  // Rows of the ingress table that nobody is asked about: see IngressNextHops::heldRows().
  std::set<std::uint32_t> heldRows;
  Counts counts;
  std::size_t kept = 0;  // of the groups and ingress identities

  // What was asked for before and stays until its successor is in force; nothing when it is asked
  // for anyway.
  void keep(Paths const& asked, std::set<std::uint32_t> const& downInterfaces);
  void keep(Identity const& identity);
};

class StreamModel {
 public:
  void messageIs(Fpm::Message const& message);
  // To be called after the last message of each frame: what was withdrawn and not announced again
  // is gone from here on.
  void frameEnds();

  // In the middle of a frame, routes that it has withdrawn still count.
  [[nodiscard]] Wanted wanted(std::set<std::uint32_t> const& downInterfaces,
                              std::uint32_t maxWidth) const;

  // Ids that are known, those included that only their users keep.
  [[nodiscard]] std::size_t ids() const { return ids_.size(); }
  [[nodiscard]] std::size_t routes() const { return routes_.size(); }

 private:
  struct Blackhole {};
  using Contents = std::variant<Fpm::NextHop, Fpm::NextHopGroup, Blackhole>;
  struct Id {
    Contents contents;
    bool announced = true;  // not since withdrawn
  };

  struct RouteKey {
    std::uint32_t table = 0;
    std::uint32_t priority = 0;
    std::uint8_t length = 0;
    Fpm::Address address;  // without bits beyond the length

    friend bool operator==(RouteKey const&, RouteKey const&) = default;
    friend auto operator<=>(RouteKey const&, RouteKey const&) = default;
  };

  struct ById {
    std::uint32_t id = 0;
  };
  struct OwnPaths {
    std::vector<Fpm::Route::Path> paths;
    std::uint8_t family = 0;
  };
  struct Drop {};
  using Way = std::variant<ById, OwnPaths, Drop>;

  void idIs(std::uint32_t id, Contents contents);
  void idDel(std::uint32_t id);
  void routeIs(Fpm::Route const& route);
  void routeDel(RouteKey const& key);
  [[nodiscard]] static RouteKey keyOf(Fpm::Prefix const& prefix, std::uint32_t table,
                                      std::uint32_t priority);

  // Who names an id, known or not.
  struct Users {
    std::uint64_t routes = 0;
    std::uint64_t groups = 0;
  };
  // Whether the id, withdrawn, stays for its users.
  [[nodiscard]] bool isKept(std::uint32_t id) const;
  void endUnlessKept(std::uint32_t id);
  void routeUses(std::uint32_t id, bool uses);
  void groupUses(std::set<std::uint32_t> const& members, bool uses);
  // The ids that a group's members name, each once; a group does not keep itself.
  [[nodiscard]] static std::set<std::uint32_t> membersOf(Contents const& contents);

  using GroupMap = std::map<Paths, Wanted::Group>;
  void wantGroup(Fpm::NextHopGroup const& group, std::uint32_t maxWidth, Wanted::Counts& counts,
                 GroupMap& groups) const;
  void wantRoute(Way const& way, std::uint32_t maxWidth, Wanted& wanted, GroupMap& groups) const;

  std::map<std::uint32_t, Id> ids_;
  std::map<std::uint32_t, Users> users_;
  std::map<RouteKey, Way> routes_;
  std::set<RouteKey> withdrawn_;  // routes, in the current frame
};

}  // namespace OrviaL3Agent
