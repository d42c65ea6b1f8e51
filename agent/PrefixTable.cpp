#include "agent/PrefixTable.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <string>

namespace OrviaL3Agent {

std::optional<Fpm::Address> addressOf(std::string_view text) {
  // The C function would stop at a 0 and take what stands before it.
  if (text.find('\0') != std::string_view::npos) return std::nullopt;
  std::string const terminated(text);
  for (auto const family : {std::uint8_t{AF_INET}, std::uint8_t{AF_INET6}}) {
    Fpm::Address address;
    address.family = family;
    if (::inet_pton(family, terminated.c_str(), address.bytes.data()) == 1) return address;
  }
  return std::nullopt;
}

std::optional<std::uint8_t> addressBits(std::uint8_t family) {
  if (family == AF_INET) return std::uint8_t{32};
  if (family == AF_INET6) return std::uint8_t{128};
  return std::nullopt;
}

Fpm::Prefix withoutHostBits(Fpm::Prefix const& prefix) {
  std::optional<std::uint8_t> const bits = addressBits(prefix.address.family);
  if (!bits) {
    throw std::invalid_argument(
        fmt::format("a prefix of {}", Fpm::familyText(prefix.address.family)));
  }
  if (prefix.length > *bits) {
    throw std::invalid_argument(fmt::format("prefix length {} is too long for {}", prefix.length,
                                            Fpm::familyText(prefix.address.family)));
  }
  Fpm::Prefix masked = prefix;
  std::size_t const whole = prefix.length / 8U;
  unsigned const rest = prefix.length % 8U;
  auto const first = masked.address.bytes.begin() + static_cast<std::ptrdiff_t>(whole);
  if (rest == 0) {
    std::fill(first, masked.address.bytes.end(), std::uint8_t{0});
  } else {
    *first = static_cast<std::uint8_t>(*first & (0xFFU << (8U - rest)));
    std::fill(first + 1, masked.address.bytes.end(), std::uint8_t{0});
  }
  return masked;
}

}  // namespace OrviaL3Agent
