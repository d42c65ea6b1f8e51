// Values by prefix, with longest match by address.
//
//   PrefixTable<Fpm::Route> routes;
//   routes.insertOrFind(route.destination) = route;
//   if (auto const* match = routes.longestMatch(address)) show(match->first, match->second);
//   for (auto const& [prefix, route] : routes) ...  // by family, address, length
//
// IPv4 and IPv6 stand apart. Bits of an address beyond the prefix's length mean nothing:
// 10.1.2.3/8 is 10.0.0.0/8, and entries are kept in that form.
//
// One ordered map, so that a less specific prefix comes right before its more specifics. A match
// asks it once for every length that is in use, the longest first. That is made for the lookups of
// an operator among a million routes; it is no forwarding engine.
//
// Threading: one thread. Ownership: owns the values; a pointer or reference to one is good until
// its prefix is erased.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

#include "agent/fpm/Messages.h"

namespace OrviaL3Agent {

// "10.1.2.3" or "fe80::1": what the whole text says, or nothing when it is no address.
[[nodiscard]] std::optional<Fpm::Address> addressOf(std::string_view text);

// The length of a whole address: 32, 128, or nothing for a family that is neither.
[[nodiscard]] std::optional<std::uint8_t> addressBits(std::uint8_t family);

// The prefix without the bits beyond its length. Throws std::invalid_argument when the family is
// unknown or the length is more than it has bits.
[[nodiscard]] Fpm::Prefix withoutHostBits(Fpm::Prefix const& prefix);

template <typename Value>
class PrefixTable {
 public:
  struct Order {
    bool operator()(Fpm::Prefix const& a, Fpm::Prefix const& b) const {
      return std::tie(a.address, a.length) < std::tie(b.address, b.length);
    }
  };
  using Map = std::map<Fpm::Prefix, Value, Order>;
  using Entry = typename Map::value_type;  // prefix and value
  using const_iterator = typename Map::const_iterator;

  // All that take a prefix throw what withoutHostBits() throws.

  // The value of exactly this prefix, or null.
  [[nodiscard]] Value* find(Fpm::Prefix const& prefix) {
    auto const at = entries_.find(withoutHostBits(prefix));
    return at == entries_.end() ? nullptr : &at->second;
  }
  [[nodiscard]] Value const* find(Fpm::Prefix const& prefix) const {
    auto const at = entries_.find(withoutHostBits(prefix));
    return at == entries_.end() ? nullptr : &at->second;
  }

  // The value of exactly this prefix, a new one if there is none.
  Value& insertOrFind(Fpm::Prefix const& prefix) {
    auto const [at, isNew] = entries_.try_emplace(withoutHostBits(prefix));
    if (isNew) ++inUse(at->first);
    return at->second;
  }

  // Returns whether there was one.
  bool erase(Fpm::Prefix const& prefix) {
    auto const at = entries_.find(withoutHostBits(prefix));
    if (at == entries_.end()) return false;
    --inUse(at->first);
    entries_.erase(at);
    return true;
  }

  // The entry of the longest prefix that covers the address; null when none does, or when the
  // address is of no family that prefixes can be of.
  [[nodiscard]] Entry const* longestMatch(Fpm::Address const& address) const {
    std::optional<std::uint8_t> const bits = addressBits(address.family);
    if (!bits) return nullptr;
    Lengths const& lengths = *bits == 32 ? ipv4_ : ipv6_;
    for (int length = *bits; length >= 0; --length) {
      if (lengths[static_cast<std::size_t>(length)] == 0) continue;
      auto const at = entries_.find(withoutHostBits({static_cast<std::uint8_t>(length), address}));
      if (at != entries_.end()) return &*at;
    }
    return nullptr;
  }

  [[nodiscard]] std::size_t size() const { return entries_.size(); }
  [[nodiscard]] bool empty() const { return entries_.empty(); }
  [[nodiscard]] const_iterator begin() const { return entries_.begin(); }
  [[nodiscard]] const_iterator end() const { return entries_.end(); }

 private:
  using Lengths = std::array<std::size_t, 129>;  // how many entries are of a length

  [[nodiscard]] std::size_t& inUse(Fpm::Prefix const& prefix) {
    return (*addressBits(prefix.address.family) == 32 ? ipv4_ : ipv6_)[prefix.length];
  }

  Map entries_;
  Lengths ipv4_{};
  Lengths ipv6_{};
};

}  // namespace OrviaL3Agent
