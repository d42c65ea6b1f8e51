#include "Asic/L3EcmpNextHopKey.h"

#include <arpa/inet.h>

#include <cstring>

#include "Vek/Hash.h"
#include "Vek/PlatformModules.h"

namespace Asic {

std::ostream& operator<<(std::ostream& out, GatewayAddress const& address) {
  if (!address) return out << "none";
  char text[INET6_ADDRSTRLEN];
  int const family = address.family() == AddressFamily::ipv4 ? AF_INET : AF_INET6;
  return out << ::inet_ntop(family, address.bytes().data(), text, sizeof text);
}

Vek::VekType L3EcmpNextHopKey::classType() { return {&asicModule, AsicNumbers::l3EcmpNextHopKey}; }

std::uint32_t L3EcmpNextHopKey::hash(unsigned seed) const {
  std::uint64_t address[2];
  static_assert(sizeof address == sizeof gateway_.bytes());
  std::memcpy(address, gateway_.bytes().data(), sizeof address);
  std::uint64_t const rest = std::uint64_t{seed} << 32 | static_cast<unsigned>(family_) << 16 |
                             static_cast<unsigned>(gateway_.family()) << 8 |
                             static_cast<unsigned>(onlink_);
  std::uint64_t const where = std::uint64_t{vrf_} << 32 | interfaceIndex_;
  return Vek::hashFold(Vek::hashMix(Vek::hashMix(rest, where),  //
                                    Vek::hashMix(address[0], address[1])));
}

std::ostream& operator<<(std::ostream& out, L3EcmpNextHopKey const& key) {
  out << "vrf " << key.vrf_;
  if (key.family_ != key.gateway_.family()) {
    switch (key.family_) {
      case AddressFamily::none:
        out << " unspec";
        break;
      case AddressFamily::ipv4:
        out << " inet";
        break;
      case AddressFamily::ipv6:
        out << " inet6";
        break;
    }
  }
  if (key.gateway_) out << " via " << key.gateway_;
  out << " dev " << key.interfaceIndex_;
  if (key.onlink_) out << " onlink";
  return out;
}

}  // namespace Asic
