// What a packet's way depends on: routing instance, address family, interface, gateway or none, and
// whether the gateway is on the link.
//
//   Identity identity = identityOf(nextHop);
//
// Several ids of a stream may name one identity, and so may paths that a route carries itself.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Asic/L3EcmpNextHopKey.h"
#include "agent/fpm/Messages.h"

namespace OrviaL3Agent {

using Identity = Asic::L3EcmpNextHopKey;

// Everything of a stream is in the one routing instance that there is: next hops do not name one.
inline constexpr std::uint32_t kVrf = 0;

// None for no address.
[[nodiscard]] Asic::GatewayAddress gatewayOf(std::optional<Fpm::Address> const& address);
[[nodiscard]] Identity identityOf(Fpm::NextHop const& nextHop);
// `family`: the route's (AF_INET or AF_INET6). A path with a gateway of the other family is of the
// gateway's family, as a next hop of its own would be.
[[nodiscard]] Identity identityOf(Fpm::Route::Path const& path, std::uint8_t family);

// "10.0.1.2 on interface 3", "10.0.1.2 onlink on interface 3", "connected on interface 3".
[[nodiscard]] std::string text(Identity const& identity);

}  // namespace OrviaL3Agent
