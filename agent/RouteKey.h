// What tells routes apart: table, prefix and priority. A route that is announced under the key of
// another replaces it. Bits of the address beyond the prefix's length are no part of it.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <compare>
#include <cstdint>

#include "agent/PrefixTable.h"
#include "agent/fpm/Messages.h"

namespace OrviaL3Agent {

struct RouteKey {
  std::uint32_t table = 0;
  Fpm::Address address;
  std::uint8_t length = 0;
  std::uint32_t priority = 0;

  [[nodiscard]] Fpm::Prefix prefix() const { return {length, address}; }

  friend bool operator==(RouteKey const&, RouteKey const&) = default;
  friend auto operator<=>(RouteKey const&, RouteKey const&) = default;
};

// Of an Fpm::Route or an Fpm::RouteWithdrawal.
template <class Message>
[[nodiscard]] RouteKey keyOf(Message const& message) {
  Fpm::Prefix const prefix = withoutHostBits(message.destination);
  return {message.table, prefix.address, prefix.length, message.priority};
}

}  // namespace OrviaL3Agent
