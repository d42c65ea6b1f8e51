// What the kernel device is asked for, and what it says: next hops, routes, answers.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>

#include "OrviaL3Unicast/NextHopEntry.h"

namespace KernelNextHop {

// AF_INET or AF_INET6, as the kernel numbers them; 0 for none.
using Family = std::uint8_t;
// Of an IPv4 address the first four bytes, the others 0.
using AddressBytes = std::array<std::uint8_t, 16>;

// A next-hop object: an interface of the forwarding namespace, and the gateway behind it, if any.
struct NextHop {
  // Of the object. A gateway is of this family. Without a gateway it says whose routes may use the
  // object: IPv6 routes take objects of their own family only.
  Family family = 0;
  std::uint32_t interface = 0;  // its number in the forwarding namespace
  bool hasGateway = false;
  AddressBytes gateway{};
  bool onlink = false;

  friend bool operator==(NextHop const&, NextHop const&) = default;
};

// What a next-hop row holds, as it was at the moment of the write: the record's stored fields, and
// the rows that it derives from entries of other tables.
struct Record {
  OrviaL3Unicast::NextHopFields fields;
  std::uint16_t l3Oif1 = 0;
  std::uint16_t mtuProfilePtr = 0;

  friend bool operator==(Record const&, Record const&) = default;
};

// A route's place in the kernel: one route, whatever it leads to.
struct Route {
  std::uint32_t table = 254;   // main
  std::uint32_t priority = 0;  // the metric. For IPv6 the kernel takes 0 for 1024, and so does this
  Family family = 0;
  std::uint8_t length = 0;
  AddressBytes prefix{};  // bits behind `length` are 0

  friend auto operator<=>(Route const&, Route const&) = default;
};

// A row that has an object; or, for routes, none.
struct Target {
  enum class Kind : std::uint8_t { nextHop, group, blackhole };
  Kind kind = Kind::blackhole;
  std::uint32_t row = 0;

  friend auto operator<=>(Target const&, Target const&) = default;
};

// What the kernel said to the latest request for a route.
struct RouteAnswer {
  bool accepted = false;
  bool isDelete = false;  // a deletion of what is not there is accepted
  int error = 0;          // an errno when it was not
  std::string text;       // the kernel's own words, or the errno's
};

struct Counts {
  std::uint64_t requests = 0;  // sent, repeated ones included
  std::uint64_t sends = 0;     // of so many together
  std::uint64_t accepted = 0;  // answers to the latest write of a row, or for a route
  std::uint64_t refused = 0;
  std::uint64_t overtaken = 0;   // answers to a write that was overwritten or deleted meanwhile
  std::uint64_t overruns = 0;    // times that the receive buffer was full
  std::uint64_t repeated = 0;    // requests sent again because their answer was lost
  std::uint64_t waits = 0;       // times that an object or route had to wait for another one
  std::uint64_t fromBefore = 0;  // objects and routes that were there at the start
  std::uint64_t nextHopsFromBefore = 0;  // of these, next hops
  std::uint64_t groupsFromBefore = 0;    // and groups; the others are routes
};

}  // namespace KernelNextHop
