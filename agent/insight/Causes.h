// Why something is not in the hardware as it was asked for: what each entry needs, followed down to
// what is missing, was refused, has not been answered, or has no room.
//
//   std::vector<Found> found;
//   addCauses(agent, route, found);       // empty: the hardware leads its packets
//   for (Found const& one : found) print(nameOf(one.cause.entry), textOf(one.cause.kind));
//
// A group needs its block, a block its next hops, and a next hop its interface, its MTU profile, a
// number for its neighbour and a row; each a place in its table. A cause that several ways lead to
// is found once for each of them.
//
// Threading: the loop's thread. Ownership: plain values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/Agent.h"
#include "agent/insight/Entry.h"

namespace OrviaL3Agent::Insight {

struct Cause {
  enum class Kind : std::uint8_t {
    notProgrammed,  // an interface or MTU profile, by whoever owns it
    interfaceDown,  // all ways lead over it
    refused,        // by the hardware: a next hop, a block's rows, a group
    unanswered,     // written, and the hardware has said nothing
    noRoom,         // a table or a range of numbers is full
    notAnnounced,   // an id that the stream has not announced
    notPossible,    // no rows can say what was asked for
    waiting,        // for an entry that has all that it needs
  };
  static constexpr std::size_t kKinds = 8;

  Kind kind{};
  Entry entry;

  friend bool operator==(Cause const&, Cause const&) = default;
};
// "not-programmed", "interface-down", "refused", ...
[[nodiscard]] char const* textOf(Cause::Kind kind);

struct Found {
  Cause cause;
  std::optional<Since> since;  // nothing: nobody has written it down
};

// What a next hop, a group, a group id and a route wait for.
void addCauses(Agent const& agent, IngressNextHops::Hop const& hop, std::vector<Found>& found);
void addCauses(Agent const& agent, EcmpNextHops::Hop const& hop, std::vector<Found>& found);
void addCauses(Agent const& agent, Groups::Group const& group, std::vector<Found>& found);
void addCauses(Agent const& agent, std::uint32_t id, GroupIds::GroupId const& group,
               std::vector<Found>& found);
void addCauses(Agent const& agent, RouteKey const& key, Routes::Route const& route,
               std::vector<Found>& found);

// The way that a route needs. One that is stale names nothing any longer and goes on with the rows
// that it has: what is missing of those is its trouble, and if it has none it waits for nothing but
// the daemon, which is no cause in the hardware.
[[nodiscard]] inline Routes::Way const& neededWay(Routes::Route const& route) {
  return route.stale ? route.former : route.way;
}

// The interfaces that are down and without whose paths the group goes; in force nevertheless.
[[nodiscard]] std::vector<std::uint32_t> interfacesWithout(Agent const& agent,
                                                           Groups::Group const& group);

// How the rows of a group's block took their last write.
struct BlockRows {
  std::optional<std::uint32_t> first;  // nothing while it has no rows
  std::size_t refused = 0;
  std::size_t lost = 0;
};
[[nodiscard]] BlockRows blockRows(Agent const& agent, Groups::Chain const& chain);

// "row 5", "3 of 4 rows", "member 7 is a group": what there is to say besides the name. Of what is
// gone meanwhile: nothing.
[[nodiscard]] std::string detailOf(Agent const& agent, Cause const& cause);

}  // namespace OrviaL3Agent::Insight
