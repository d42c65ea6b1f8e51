#include "agent/Paths.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <utility>

namespace OrviaL3Agent {
namespace {

// `width` rows in proportion to those wanted, whose sum is larger; at least one each.
std::vector<std::uint32_t> scaled(std::vector<std::uint32_t> const& wanted, std::uint32_t sum,
                                  std::uint32_t width) {
  std::vector<std::uint32_t> rows;
  rows.reserve(wanted.size());
  // What rounding down leaves over goes to the largest remainders.
  std::vector<std::pair<std::uint64_t, std::size_t>> remainders;
  for (std::uint32_t const count : wanted) {
    std::uint64_t const exact = std::uint64_t{count} * width;
    if (exact >= sum) remainders.emplace_back(exact % sum, rows.size());
    rows.push_back(std::max(1U, static_cast<std::uint32_t>(exact / sum)));
  }
  std::stable_sort(remainders.begin(), remainders.end(),
                   [](auto const& a, auto const& b) { return a.first > b.first; });
  std::uint32_t taken = std::accumulate(rows.begin(), rows.end(), 0U);
  for (auto at = remainders.begin(); taken < width && at != remainders.end(); ++at, ++taken) {
    ++rows[at->second];
  }
  // What the smallest got too much, the largest give.
  for (; taken > width; --taken) --*std::max_element(rows.begin(), rows.end());
  return rows;
}

}  // namespace

Spread spreadOf(std::vector<WeightedPath> const& members, std::uint32_t maxWidth) {
  Spread spread;
  if (members.empty() || members.size() > maxWidth) return spread;
  std::uint32_t divisor = 0;
  for (WeightedPath const& member : members) divisor = std::gcd(divisor, member.weight);
  std::vector<std::uint32_t> rows;
  rows.reserve(members.size());
  // Never 0, as a weight is at least 1; said again for readers that cannot know.
  for (WeightedPath const& member : members) rows.push_back(member.weight / std::max(divisor, 1U));
  std::uint32_t const sum = std::accumulate(rows.begin(), rows.end(), 0U);
  if (sum > maxWidth) {
    spread.scaled = true;
    std::vector<std::uint32_t> const wanted = std::exchange(rows, scaled(rows, sum, maxWidth));
    std::uint32_t const width = std::accumulate(rows.begin(), rows.end(), 0U);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      double const share = static_cast<double>(rows[i]) / width;
      double const ideal = static_cast<double>(wanted[i]) / sum;
      spread.error = std::max(spread.error, std::abs(share - ideal));
    }
  }
  for (std::size_t i = 0; i < members.size(); ++i) spread.paths[members[i].identity] += rows[i];
  return spread;
}

std::uint32_t widthOf(Paths const& paths) {
  return std::accumulate(paths.begin(), paths.end(), 0U,
                         [](std::uint32_t sum, auto const& path) { return sum + path.second; });
}

Paths withoutInterfaces(Paths const& paths, std::set<std::uint32_t> const& down) {
  if (down.empty()) return paths;
  Paths left;
  std::copy_if(paths.begin(), paths.end(), std::inserter(left, left.end()),
               [&down](auto const& path) { return !down.contains(path.first.interfaceIndex()); });
  return left.empty() ? paths : left;
}

std::string text(Paths const& paths) {
  std::string out;
  for (auto const& [identity, rows] : paths) {
    if (!out.empty()) out += ", ";
    if (rows != 1) out += fmt::format("{} x ", rows);
    out += text(identity);
  }
  return "{" + out + "}";
}

}  // namespace OrviaL3Agent
