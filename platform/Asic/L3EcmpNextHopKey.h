// Which next hop of ECMP groups an entry is for: where packets go, told by what a route says about
// it. Two routes that name the same next hop have the same key, and share one hardware row.
//
// A plain value of 28 bytes.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <ostream>

#include "Vek/Export.h"
#include "Vek/VekType.h"

namespace Asic {

enum class AddressFamily : std::uint8_t { none, ipv4, ipv6 };

// The address of a neighbour router, or none for destinations that are neighbours themselves.
class VEK_EXPORT GatewayAddress {
 public:
  constexpr GatewayAddress() = default;
  // From bytes in network order.
  static constexpr GatewayAddress ipv4(std::array<std::uint8_t, 4> const& bytes) {
    return {AddressFamily::ipv4, {bytes[0], bytes[1], bytes[2], bytes[3]}};
  }
  static constexpr GatewayAddress ipv6(std::array<std::uint8_t, 16> const& bytes) {
    return {AddressFamily::ipv6, bytes};
  }

  [[nodiscard]] constexpr AddressFamily family() const { return family_; }
  // In network order; an IPv4 address in the first four, the rest 0.
  [[nodiscard]] constexpr std::array<std::uint8_t, 16> const& bytes() const { return bytes_; }
  constexpr explicit operator bool() const { return family_ != AddressFamily::none; }

  friend constexpr bool operator==(GatewayAddress const&, GatewayAddress const&) = default;
  friend constexpr auto operator<=>(GatewayAddress const&, GatewayAddress const&) = default;
  // As addresses are written: "10.0.1.2", "fe80::1", or "none".
  VEK_EXPORT friend std::ostream& operator<<(std::ostream& out, GatewayAddress const& address);

 private:
  constexpr GatewayAddress(AddressFamily family, std::array<std::uint8_t, 16> const& bytes)
      : family_(family), bytes_(bytes) {}

  AddressFamily family_ = AddressFamily::none;
  std::array<std::uint8_t, 16> bytes_{};
};

class VEK_EXPORT L3EcmpNextHopKey {
 public:
  constexpr L3EcmpNextHopKey() = default;
  // The family is that of the routes; a gateway may be of another one.
  constexpr L3EcmpNextHopKey(std::uint32_t vrf, AddressFamily family, std::uint32_t interfaceIndex,
                             GatewayAddress const& gateway = {}, bool onlink = false)
      : vrf_(vrf),
        interfaceIndex_(interfaceIndex),
        family_(family),
        gateway_(gateway),
        onlink_(onlink) {}
  // The usual case: a gateway of the routes' own family.
  static constexpr L3EcmpNextHopKey viaGateway(std::uint32_t vrf, GatewayAddress const& gateway,
                                               std::uint32_t interfaceIndex, bool onlink = false) {
    return {vrf, gateway.family(), interfaceIndex, gateway, onlink};
  }

  static Vek::VekType classType();

  [[nodiscard]] constexpr std::uint32_t vrf() const { return vrf_; }
  [[nodiscard]] constexpr AddressFamily family() const { return family_; }
  [[nodiscard]] constexpr std::uint32_t interfaceIndex() const { return interfaceIndex_; }
  [[nodiscard]] constexpr GatewayAddress const& gateway() const { return gateway_; }
  // The gateway counts as reachable on the interface although no address there says so.
  [[nodiscard]] constexpr bool onlink() const { return onlink_; }

  [[nodiscard]] std::uint32_t hash(unsigned seed) const;

  friend constexpr bool operator==(L3EcmpNextHopKey const&, L3EcmpNextHopKey const&) = default;
  friend constexpr auto operator<=>(L3EcmpNextHopKey const&, L3EcmpNextHopKey const&) = default;
  // One line, different for different keys: "vrf 0 via 10.0.1.2 dev 3 onlink". The family is shown
  // ("inet", "inet6", "unspec") only where the gateway does not tell it: "vrf 0 inet dev 3".
  VEK_EXPORT friend std::ostream& operator<<(std::ostream& out, L3EcmpNextHopKey const& key);

 private:
  std::uint32_t vrf_ = 0;
  std::uint32_t interfaceIndex_ = 0;
  AddressFamily family_ = AddressFamily::none;
  GatewayAddress gateway_;
  bool onlink_ = false;
};

static_assert(sizeof(L3EcmpNextHopKey) <= 32);

}  // namespace Asic
