#include "agent/Identity.h"

#include <fmt/format.h>
#include <sys/socket.h>

#include <array>
#include <optional>
#include <sstream>

namespace OrviaL3Agent {
namespace {

Asic::AddressFamily familyOf(std::uint8_t family) {
  if (family == AF_INET) return Asic::AddressFamily::ipv4;
  return family == AF_INET6 ? Asic::AddressFamily::ipv6 : Asic::AddressFamily::none;
}

}  // namespace

Asic::GatewayAddress gatewayOf(std::optional<Fpm::Address> const& address) {
  if (!address) return {};
  std::array<std::uint8_t, 16> const& bytes = address->bytes;
  if (address->family == AF_INET6) return Asic::GatewayAddress::ipv6(bytes);
  return Asic::GatewayAddress::ipv4({bytes[0], bytes[1], bytes[2], bytes[3]});
}

Identity identityOf(Fpm::NextHop const& nextHop) {
  return {kVrf, familyOf(nextHop.family), nextHop.interface, gatewayOf(nextHop.gateway),
          nextHop.onlink};
}

Identity identityOf(Fpm::Route::Path const& path, std::uint8_t family) {
  std::uint8_t const own = path.gateway ? path.gateway->family : family;
  return {kVrf, familyOf(own), path.interface, gatewayOf(path.gateway), path.onlink};
}

std::string text(Identity const& identity) {
  if (!identity.gateway())
    return fmt::format("connected on interface {}", identity.interfaceIndex());
  std::ostringstream gateway;
  gateway << identity.gateway();
  return fmt::format("{}{} on interface {}", gateway.str(), identity.onlink() ? " onlink" : "",
                     identity.interfaceIndex());
}

}  // namespace OrviaL3Agent
