// The paths of a group: which identities, and how many rows of a block each gets.
//
//   Spread spread = spreadOf(members, 512);
//   for (auto const& [identity, rows] : spread.paths) ...
//
// Ordered by identity, several members of one identity folded into one, so that equal sets of
// members are equal paths.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "agent/Identity.h"

namespace OrviaL3Agent {

using Paths = std::map<Identity, std::uint32_t>;

struct WeightedPath {
  Identity identity;
  std::uint32_t weight = 1;  // at least 1
};

struct Spread {
  Paths paths;  // empty when there are more members than the width allows
  // Whether the rows had to be scaled down, and by how much the traffic of the member that suffers
  // most changed: a share of all traffic, 0 to 1.
  bool scaled = false;
  double error = 0;
};

// Rows by weight without the weights' common divisor. When there are more of them than `maxWidth`
// (at least 1), they are scaled, with at least one row for every member.
[[nodiscard]] Spread spreadOf(std::vector<WeightedPath> const& members, std::uint32_t maxWidth);

// Rows in all.
[[nodiscard]] std::uint32_t widthOf(Paths const& paths);

// The paths that are left when interfaces are down; all of them when none would be left, since a
// group without a path says nothing better.
[[nodiscard]] Paths withoutInterfaces(Paths const& paths, std::set<std::uint32_t> const& down);

// "{10.0.1.2 on interface 2, 2 x connected on interface 3}".
[[nodiscard]] std::string text(Paths const& paths);

}  // namespace OrviaL3Agent
