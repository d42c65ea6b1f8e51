// The names of what the agent keeps, as people type and read them.
//
//   10.1.0.0/16 [table N] [metric N]     a route
//   id 100                               an id of the routing stream
//   group 3                              a group of the hardware, by the agent's number
//   block 16                             a block of member rows, by its first row
//   nexthop 10.0.1.2@2, nexthop @2       a next hop, of routes or of groups; without a gateway
//   interface 2, mtu 1500                what next hops need
//
// Threading: any. Ownership: plain values.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "agent/Identity.h"
#include "agent/RouteKey.h"

namespace OrviaL3Agent::Insight {

struct IdName {
  std::uint32_t id = 0;
  friend auto operator<=>(IdName const&, IdName const&) = default;
};
struct GroupName {
  std::uint32_t number = 0;
  friend auto operator<=>(GroupName const&, GroupName const&) = default;
};
// The block of that group's latest record: one that waits has no row yet.
struct BlockName {
  std::uint32_t group = 0;
  friend auto operator<=>(BlockName const&, BlockName const&) = default;
};
// A next hop that routes name directly.
struct IngressName {
  Identity identity;
  friend auto operator<=>(IngressName const&, IngressName const&) = default;
};
// A next hop of groups.
struct EcmpName {
  Identity identity;
  friend auto operator<=>(EcmpName const&, EcmpName const&) = default;
};
struct InterfaceName {
  std::uint32_t interface = 0;
  friend auto operator<=>(InterfaceName const&, InterfaceName const&) = default;
};
struct MtuName {
  std::uint32_t bytes = 0;
  friend auto operator<=>(MtuName const&, MtuName const&) = default;
};
// A table or a range of numbers that is full.
struct RoomName {
  std::string what;
  friend auto operator<=>(RoomName const&, RoomName const&) = default;
};

using Entry = std::variant<RouteKey, IdName, GroupName, BlockName, IngressName, EcmpName,
                           InterfaceName, MtuName, RoomName>;

// As above; `row`: the first row of a block that has one.
[[nodiscard]] std::string nameOf(Entry const& entry);
[[nodiscard]] std::string blockName(std::uint32_t row);
// "10.0.1.2@2", "10.0.1.2@2 onlink", "@2".
[[nodiscard]] std::string nameOf(Identity const& identity);

[[nodiscard]] std::size_t hashOf(Entry const& entry);

}  // namespace OrviaL3Agent::Insight
