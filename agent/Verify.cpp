#include "agent/Verify.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace OrviaL3Agent {
namespace {

constexpr std::size_t kShown = 20;
constexpr std::size_t kBrokenShown = 4;
constexpr char const* kNothing = "nothing";

std::string plural(std::size_t count, char const* what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

// A group as the hardware has it.
struct Found {
  std::uint32_t row = 0;
  std::uint32_t lbMode = 0;
  Paths paths;
  std::size_t nowhere = 0;          // positions that lead to no identity
  std::vector<std::string> broken;  // what is wrong with the first of them

  // Whether packets go where the paths say, all of them, spread in the one way there is.
  [[nodiscard]] bool sound() const { return nowhere == 0 && lbMode == 0; }
};

std::string textOf(Found const& found) {
  std::string paths = text(found.paths);
  if (found.nowhere > 0) {
    paths.pop_back();
    if (!found.paths.empty()) paths += ", ";
    if (found.nowhere > 1) paths += fmt::format("{} x ", found.nowhere);
    paths += "nothing}";
  }
  std::string line = fmt::format("group row {} -> {}", found.row, paths);
  if (found.lbMode != 0) line += fmt::format(" in load-balancing mode {}", found.lbMode);
  char const* separator = ": ";
  for (std::string const& one : found.broken) {
    line += separator + one;
    separator = ", ";
  }
  if (found.nowhere > found.broken.size()) {
    line += fmt::format(" and {} more", found.nowhere - found.broken.size());
  }
  return line;
}

std::string askedFor(Wanted::Group const& group) {
  std::string line = text(group.paths);
  if (group.paths != group.asked) line += fmt::format(" (of {})", text(group.asked));
  if (group.kept) line += ", kept until its successor is in force";
  char const* separator = " by ";
  if (!group.groupIds.empty()) {
    line += fmt::format("{}{}", separator, group.groupIds.size() == 1 ? "group id" : "group ids");
    char const* comma = " ";
    for (std::uint32_t const id : group.groupIds) {
      line += fmt::format("{}{}", comma, id);
      comma = ", ";
    }
    separator = ", ";
  }
  if (group.routes > 0) line += separator + plural(group.routes, "route");
  return line;
}

std::uint32_t overlap(Paths const& a, Paths const& b) {
  std::uint32_t rows = 0;
  for (auto const& [identity, count] : a) {
    auto const found = b.find(identity);
    if (found != b.end()) rows += std::min(count, found->second);
  }
  return rows;
}

class Verification {
 public:
  Verification(Wanted const& wanted, SoftAsic::SoftDevice const& device, Decode const& decode)
      : wanted_(wanted), device_(device), decode_(decode) {}

  Differences run() {
    decodeRows(device_.ecmpNextHops(), ecmp_);
    // What stands here from before a restart is asked for again, or will be removed.
    decodeRows(device_.ingressNextHops(), ingress_);
    std::erase_if(ecmp_, [&](auto const& row) {
      return isFromBefore(device_.ecmpNextHops().row(row.first));
    });
    differences_.fromBefore += std::erase_if(
        ingress_, [&](auto const& row) { return wanted_.heldRows.contains(row.first); });
    walkGroups();
    compareGroups();
    std::map<Identity, std::uint64_t> ecmp;
    for (Identity const& identity : wanted_.ecmp) ecmp.emplace(identity, 0);
    differences_.verifiedEcmpNextHops = compareRows("ECMP", ecmp, ecmp_, differences_.ecmpNextHops);
    differences_.verifiedIngressNextHops =
        compareRows("ingress", wanted_.ingress, ingress_, differences_.ingressNextHops);
    leftovers();
    differences_.kept = wanted_.kept;
    differences_.notAsked = wanted_.counts;
    return std::move(differences_);
  }

 private:
  // Next-hop rows in force, and what they stand for.
  using Rows = std::map<std::uint32_t, std::optional<Identity>>;

  void differ(std::size_t& counter, std::string const& asked, std::string const& hardware) {
    ++counter;
    differences_.lines.push_back("asked for: " + asked + "\nin hardware: " + hardware);
  }

  void decodeRows(SoftAsic::NextHopHwTable const& window, Rows& rows) const {
    for (std::uint32_t row = window.firstRow(); row - window.firstRow() < window.rows(); ++row) {
      auto const& contents = window.row(row).contents;
      if (contents) rows.emplace(row, decode_(*contents));
    }
  }

  // Counts it if so.
  template <class Row>
  bool isFromBefore(Row const& row) {
    if (row.fromBefore) ++differences_.fromBefore;
    return row.fromBefore;
  }

  void walkGroups() {
    SoftAsic::GroupHwTable const& groups = device_.groups();
    for (std::uint32_t row = groups.firstRow(); row - groups.firstRow() < groups.rows(); ++row) {
      auto const& contents = groups.row(row).contents;
      if (!contents || isFromBefore(groups.row(row))) continue;
      Found found;
      found.row = row;
      found.lbMode = contents->lbMode;
      for (std::uint32_t i = 0; i < contents->numPaths; ++i) {
        follow(std::uint32_t{contents->ecmpBlockPtr} + i, found);
      }
      found_.push_back(std::move(found));
    }
  }

  void follow(std::uint32_t memberRow, Found& found) {
    std::string obstacle;
    if (!device_.members().hasRow(memberRow)) {
      obstacle = fmt::format("member row {} does not exist", memberRow);
    } else if (auto const& contents = device_.members().row(memberRow).contents; !contents) {
      obstacle = fmt::format("member row {} is empty", memberRow);
    } else {
      led_.insert(memberRow);
      Asic::Index const row = contents->nextHopEntry;
      auto const hop = ecmp_.find(row.value());
      if (hop != ecmp_.end() && hop->second) {
        ++found.paths[*hop->second];
        return;
      }
      obstacle = fmt::format("member row {} names ", memberRow);
      if (row == Asic::Index::invalidIndex()) {
        obstacle += "no next-hop row";
      } else if (!device_.ecmpNextHops().hasRow(row)) {
        obstacle += fmt::format("next-hop row {}, which is none of the ECMP view", row.value());
      } else {
        obstacle +=
            fmt::format("next-hop row {}, {}", row.value(),
                        hop == ecmp_.end() ? "which is empty" : "whose contents make no sense");
      }
    }
    ++found.nowhere;
    if (found.broken.size() < kBrokenShown) found.broken.push_back(std::move(obstacle));
  }

  // Equal paths match first, each group row with one group that is asked for. What is left is told
  // in pairs as far as it has paths in common.
  void compareGroups() {
    std::map<Paths, std::vector<Found const*>> sound;
    for (Found const& found : found_) {
      if (found.sound()) sound[found.paths].push_back(&found);
    }
    for (auto& [paths, rows] : sound) std::reverse(rows.begin(), rows.end());  // the first is last
    std::vector<Wanted::Group const*> missing;
    std::set<Found const*> matched;
    for (Wanted::Group const& group : wanted_.groups) {
      auto const rows = sound.find(group.paths);
      if (rows == sound.end() || rows->second.empty()) {
        missing.push_back(&group);
        continue;
      }
      matched.insert(rows->second.back());
      rows->second.pop_back();
    }
    differences_.verifiedGroups = matched.size();

    std::map<Identity, std::set<Found const*>> left;  // of the rows without a match
    std::vector<Found const*> unwanted;               // by row
    for (Found const& found : found_) {
      if (matched.contains(&found)) continue;
      unwanted.push_back(&found);
      for (auto const& [identity, rows] : found.paths) left[identity].insert(&found);
    }
    for (Wanted::Group const* group : missing) {
      Found const* const nearest = nearestOf(*group, left);
      differ(differences_.groups, askedFor(*group),
             nearest == nullptr ? kNothing : textOf(*nearest));
      if (nearest == nullptr) continue;
      matched.insert(nearest);
      for (auto const& [identity, rows] : nearest->paths) left[identity].erase(nearest);
    }
    for (Found const* found : unwanted) {
      if (!matched.contains(found)) differ(differences_.groups, kNothing, textOf(*found));
    }
  }

  // The row that has most in common with the group, the lowest of them; null when none has.
  static Found const* nearestOf(Wanted::Group const& group,
                                std::map<Identity, std::set<Found const*>> const& left) {
    std::set<Found const*> candidates;
    for (auto const& [identity, rows] : group.paths) {
      auto const having = left.find(identity);
      if (having != left.end()) candidates.insert(having->second.begin(), having->second.end());
    }
    Found const* nearest = nullptr;
    std::uint32_t most = 0;
    for (Found const* candidate : candidates) {
      std::uint32_t const rows = overlap(group.paths, candidate->paths);
      bool const isLower = nearest == nullptr || candidate->row < nearest->row;
      if (rows < most || (rows == most && !isLower)) continue;
      nearest = candidate;
      most = rows;
    }
    return nearest;
  }

  // Returns how many identities have the one row that they should have.
  std::size_t compareRows(char const* view, std::map<Identity, std::uint64_t> const& wanted,
                          Rows const& rows, std::size_t& counter) {
    std::map<Identity, std::vector<std::uint32_t>> found;
    for (auto const& [row, identity] : rows) {
      if (identity) found[*identity].push_back(row);
    }
    std::size_t verified = 0;
    for (auto const& [identity, routes] : wanted) {
      auto const at = found.find(identity);
      if (at == found.end()) {
        std::string asked = fmt::format("{} next hop {}", view, text(identity));
        if (routes > 0) asked += " by " + plural(routes, "route");
        differ(counter, asked, kNothing);
      } else if (at->second.size() > 1) {
        std::string names;
        for (std::uint32_t const row : at->second) names += fmt::format(" {}", row);
        differ(counter, fmt::format("{} next hop {} in one row", view, text(identity)),
               "next-hop rows" + names);
      } else {
        ++verified;
      }
    }
    for (auto const& [row, identity] : rows) {
      if (identity && wanted.contains(*identity)) continue;
      std::string const contents = identity ? text(*identity) : "contents that make no sense";
      differ(counter, kNothing, fmt::format("{} next-hop row {} -> {}", view, row, contents));
    }
    return verified;
  }

  void leftovers() {
    SoftAsic::MemberHwTable const& members = device_.members();
    std::uint32_t const end = members.firstRow() + members.rows();
    auto const isLeft = [&](std::uint32_t row) {
      return row < end && members.row(row).contents && !members.row(row).fromBefore &&
             !led_.contains(row);
    };
    for (std::uint32_t row = members.firstRow(); row < end; ++row) isFromBefore(members.row(row));
    for (std::uint32_t row = members.firstRow(); row < end; ++row) {
      if (!isLeft(row)) continue;
      std::uint32_t const first = row;
      while (isLeft(row + 1)) ++row;
      std::string const rows = first == row ? fmt::format("member row {}", row)
                                            : fmt::format("member rows {} to {}", first, row);
      differ(differences_.members, kNothing, rows + ", which no group leads to");
    }
  }

  Wanted const& wanted_;
  SoftAsic::SoftDevice const& device_;
  Decode const& decode_;
  Rows ecmp_;
  Rows ingress_;
  std::vector<Found> found_;
  std::set<std::uint32_t> led_;  // member rows in force that a group leads over
  Differences differences_;
};

}  // namespace

Differences verify(Wanted const& wanted, SoftAsic::SoftDevice const& device, Decode const& decode) {
  return Verification(wanted, device, decode).run();
}

std::string text(Differences const& differences) {
  std::string lines;
  std::size_t const all = differences.lines.size();
  std::size_t const shown = std::min(all, kShown);
  for (std::size_t i = 0; i < shown; ++i) {
    std::string const& line = differences.lines[i];
    std::size_t const end = line.find('\n');
    lines += line.substr(0, end) + "\n    " + line.substr(end + 1) + "\n";
  }
  if (all > shown) lines += fmt::format("and {} more\n", all - shown);
  std::string rest;
  auto const add = [&rest](std::size_t count, char const* what, char const* why) {
    if (count == 0) return;
    rest += fmt::format("{}{} {}", rest.empty() ? "" : ", ", plural(count, what), why);
  };
  Wanted::Counts const& notAsked = differences.notAsked;
  add(notAsked.waitingGroups, "group", "waiting for members");
  add(notAsked.blackholeGroups, "group", "with members that drop");
  add(notAsked.nestedGroups, "group", "of groups");
  add(notAsked.emptyGroups, "group", "without members");
  add(notAsked.tooWideGroups + notAsked.tooWideRoutes, "group", "of more paths than --max-width");
  add(notAsked.waitingRoutes, "route", "waiting for an id");
  add(notAsked.withoutInterface, "route", "without an interface");
  if (!rest.empty()) lines += "not in hardware by nature: " + rest + "\n";
  if (differences.fromBefore > 0) {
    lines +=
        fmt::format("left from before the restart: {}\n", plural(differences.fromBefore, "row"));
  }
  std::string const found = all == 0 ? "no difference" : plural(all, "difference");
  std::string const kept =
      differences.kept == 0
          ? std::string()
          : fmt::format(" ({} kept until the successor is in force)", differences.kept);
  return lines +
         fmt::format("{}, {}, {} verified{}: {}\n", plural(differences.verifiedGroups, "group"),
                     plural(differences.verifiedEcmpNextHops, "ECMP next hop"),
                     plural(differences.verifiedIngressNextHops, "other next hop"), kept, found);
}

}  // namespace OrviaL3Agent
