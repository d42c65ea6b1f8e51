#include "agent/fpm/Messages.h"

#include <arpa/inet.h>
#include <fmt/format.h>

namespace OrviaL3Agent::Fpm {

std::string text(Address const& address) {
  char buffer[INET6_ADDRSTRLEN];
  if (::inet_ntop(address.family, address.bytes.data(), buffer, sizeof buffer) == nullptr) {
    return fmt::format("(address of family {})", address.family);
  }
  return buffer;
}

std::string familyText(std::uint8_t family) {
  if (family == AF_INET) return "IPv4";
  if (family == AF_INET6) return "IPv6";
  return fmt::format("family {}", family);
}

std::string text(Prefix const& prefix) {
  return fmt::format("{}/{}", text(prefix.address), prefix.length);
}

}  // namespace OrviaL3Agent::Fpm
