// What a routing daemon says, as plain values.
//
// MessageReader (MessageReader.h) produces these; nothing of netlink is left in them but its
// numbers (address families, route types), which are the kernel's and which everybody knows. All
// are values: copy them freely.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace OrviaL3Agent::Fpm {

// An IPv4 or IPv6 address; an IPv4 address uses the first four bytes, the rest is zero.
struct Address {
  std::uint8_t family = 0;  // AF_INET or AF_INET6
  std::array<std::uint8_t, 16> bytes{};

  friend bool operator==(Address const&, Address const&) = default;
  friend auto operator<=>(Address const&, Address const&) = default;
};
[[nodiscard]] std::string text(Address const& address);
// "IPv4", "IPv6", or the number.
[[nodiscard]] std::string familyText(std::uint8_t family);

// A next hop of its own: an outgoing interface, and a gateway unless the destination is directly
// connected.
struct NextHop {
  std::uint32_t id = 0;
  std::uint8_t family = 0;
  std::uint32_t interface = 0;
  std::optional<Address> gateway;
  bool onlink = false;  // the gateway is reachable though no connected prefix covers it

  friend bool operator==(NextHop const&, NextHop const&) = default;
};

// A group of next hops. The weight is the byte of the message, which is the weight less one; 255 is
// what a replayed kernel group carries and stands for "not known".
struct NextHopGroup {
  struct Member {
    std::uint32_t id = 0;
    std::uint8_t weightByte = 0;
    friend bool operator==(Member const&, Member const&) = default;
  };
  std::uint32_t id = 0;
  std::vector<Member> members;

  friend bool operator==(NextHopGroup const&, NextHopGroup const&) = default;
};

// A next hop that drops.
struct BlackholeNextHop {
  std::uint32_t id = 0;
  friend bool operator==(BlackholeNextHop const&, BlackholeNextHop const&) = default;
};

struct NextHopWithdrawal {
  std::uint32_t id = 0;
  friend bool operator==(NextHopWithdrawal const&, NextHopWithdrawal const&) = default;
};

struct Prefix {
  std::uint8_t length = 0;
  Address address;  // family set, bytes zero for a default route
  friend bool operator==(Prefix const&, Prefix const&) = default;
};
[[nodiscard]] std::string text(Prefix const& prefix);

// A route. Its way out is a next-hop id, or paths that the route itself carries (one for interface
// and gateway attributes, several for a multipath attribute), or neither for a route that drops.
struct Route {
  struct Path {
    std::uint32_t interface = 0;
    std::optional<Address> gateway;
    std::uint8_t weightByte = 0;
    bool onlink = false;
    friend bool operator==(Path const&, Path const&) = default;
  };
  Prefix destination;
  std::uint32_t table = 0;
  std::uint32_t priority = 0;
  std::uint8_t protocol = 0;
  std::uint8_t type = 0;  // the kernel's number: 1 unicast, 6 blackhole, 7 unreachable, ...
  std::optional<std::uint32_t> nextHopId;
  std::vector<Path> paths;
  std::optional<Address> preferredSource;
  std::optional<std::uint32_t> mtu;

  friend bool operator==(Route const&, Route const&) = default;
};

struct RouteWithdrawal {
  Prefix destination;
  std::uint32_t table = 0;
  std::uint32_t priority = 0;
  friend bool operator==(RouteWithdrawal const&, RouteWithdrawal const&) = default;
};

// A message that this agent has no use for; it has been counted (SkipCounts.h).
struct SkippedMessage {
  std::uint16_t type = 0;
  friend bool operator==(SkippedMessage const&, SkippedMessage const&) = default;
};

struct Message {
  std::uint64_t offset = 0;  // of the netlink header, from the start of the stream
  std::variant<SkippedMessage, NextHop, NextHopGroup, BlackholeNextHop, NextHopWithdrawal, Route,
               RouteWithdrawal>
      content;

  friend bool operator==(Message const&, Message const&) = default;
};

}  // namespace OrviaL3Agent::Fpm
