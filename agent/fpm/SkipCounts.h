// How often something was passed over because this agent does not know it.
//
// A peer may be newer than the agent: frame types, message types and attributes that it does not
// know are skipped, never an error, and counted here by their numbers so that an operator sees what
// was not acted upon. An attribute is counted under the kind of message that carried it, since the
// same number means different things in them.
#pragma once

#include <cstdint>
#include <map>

namespace OrviaL3Agent::Fpm {

struct SkipCounts {
  std::map<std::uint8_t, std::uint64_t> frameTypes;
  std::map<std::uint16_t, std::uint64_t> messageTypes;
  // Routes of a family other than IPv4 and IPv6 (MPLS labels, multicast), by family.
  std::map<std::uint8_t, std::uint64_t> routeFamilies;
  std::map<std::uint16_t, std::uint64_t> nextHopAttributes;
  std::map<std::uint16_t, std::uint64_t> routeAttributes;

  [[nodiscard]] bool empty() const {
    return frameTypes.empty() && messageTypes.empty() && routeFamilies.empty() &&
           nextHopAttributes.empty() && routeAttributes.empty();
  }
  friend bool operator==(SkipCounts const&, SkipCounts const&) = default;
};

}  // namespace OrviaL3Agent::Fpm
