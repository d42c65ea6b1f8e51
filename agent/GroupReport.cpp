#include "agent/GroupReport.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>

#include "agent/Report.h"

namespace OrviaL3Agent {
namespace {

using State = ShownGroup::State;

// A longer list than this is for `--show`.
constexpr std::size_t kMostListed = 20;

// The next hops by row that any block of the group uses, also one that is about to go.
std::map<std::uint32_t, Fpm::NextHop const*> hopsByRow(Groups::Group const& group) {
  std::map<std::uint32_t, Fpm::NextHop const*> hops;
  auto const add = [&hops](Groups::Chain const& chain) {
    for (EcmpNextHops::Use const& hop : chain.hops) {
      hops.emplace(hop->handle->hwEntryIndex().value(), &hop->contents);
    }
  };
  add(group.chain);
  for (Groups::Chain const& chain : group.former) add(chain);
  return hops;
}

std::vector<ShownMember> walk(SoftAsic::GroupContents const& contents, Groups::Group const& group,
                              SoftAsic::SoftDevice const& device) {
  std::vector<ShownMember> members;
  auto const hops = hopsByRow(group);
  for (std::uint32_t i = 0; i < contents.numPaths; ++i) {
    ShownMember& member = members.emplace_back();
    member.row = contents.ecmpBlockPtr + i;
    if (!device.members().hasRow(member.row)) continue;
    auto const& inForce = device.members().row(member.row).contents;
    if (!inForce) continue;
    member.nextHopRow = inForce->nextHopEntry.value();
    if (*member.nextHopRow >= device.nextHops().rows()) continue;
    member.nextHop = device.nextHops().row(*member.nextHopRow).contents;
    if (auto const hop = hops.find(*member.nextHopRow); hop != hops.end()) {
      member.contents = *hop->second;
    }
  }
  return members;
}

State stateOf(Groups::Group const& group, bool parked, SoftAsic::Answer answer) {
  if (!group.blackholes.empty()) return State::blackhole;
  if (!group.missing.empty()) return State::missingMembers;
  if (!group.reason.empty()) return State::notPlaced;
  if (parked) return State::parked;
  if (answer == SoftAsic::Answer::refused) return State::refused;
  return answer == SoftAsic::Answer::accepted ? State::programmed : State::unanswered;
}

ShownGroup shown(std::uint32_t id, Groups::Group const& group, Groups const& groups,
                 Groups::Table const& table, SoftAsic::SoftDevice const& device) {
  ShownGroup shown;
  shown.id = id;
  shown.reason = group.reason;
  shown.ids = group.blackholes.empty() ? group.missing : group.blackholes;
  auto answer = SoftAsic::Answer::none;
  if (group.handle) {
    Groups::Table::Index const key(id);
    Asic::Index const row = table.firstFreeIndexAllocator()->indexForKey(
        OrviaL3Unicast::L3EcmpGroupTraits::keyType(), &key);
    if (row != Asic::Index::invalidIndex()) {
      shown.row = row.value();
      auto const& inHardware = device.groups().row(row);
      answer = inHardware.answer;
      shown.contents = inHardware.contents;
    }
  }
  shown.state = stateOf(group, groups.parked(group), answer);
  if (shown.contents) {
    shown.olderInRow = shown.state != State::programmed && shown.state != State::unanswered;
    shown.members = walk(*shown.contents, group, device);
  }
  if (shown.state == State::parked) {
    shown.refusedHops = static_cast<std::size_t>(std::count_if(
        group.chain.hops.begin(), group.chain.hops.end(), [](EcmpNextHops::Use const& hop) {
          return hop->handle->entryState() == Asic::HwTable::refused;
        }));
  }
  return shown;
}

template <class Window>
TableUse useOf(Window const& window, Asic::GenericIndexAllocator const& rows) {
  return {window.counts(), Hardware::rowsInForce(window), rows.rowsInUse(), rows.rowsFree(),
          rows.largestFreeRun()};
}

std::string tableLine(char const* name, TableUse const& use) {
  return fmt::format(
      "  {:<12}{} writes, {} deletes ({} of what had no row), {} rows in force; {} accepted, {} "
      "refused, {} overtaken; {} "
      "rows in use, {} free, longest run {}\n",
      name, use.hardware.writes, use.hardware.deletes, use.hardware.withoutRow, use.rowsInForce,
      use.hardware.accepted, use.hardware.refused, use.hardware.overtaken, use.inUse, use.free,
      use.largestFreeRun);
}

std::string stateText(ShownGroup const& group) {
  switch (group.state) {
    case State::programmed:
      return "programmed";
    case State::unanswered:
      return "unanswered";
    case State::refused:
      return "refused";
    case State::parked:
      if (group.refusedHops == 0) return "parked, waits for its next hops";
      return fmt::format("parked, waits for its next hops, {} of them refused", group.refusedHops);
    case State::missingMembers:
      return fmt::format("waits for members {}", fmt::join(group.ids, ", "));
    case State::blackhole:
      return fmt::format("not programmed, drops over members {}", fmt::join(group.ids, ", "));
    case State::notPlaced:
      break;
  }
  return group.reason;
}

std::string lineOf(ShownGroup const& group) {
  std::string line = fmt::format("group {}", group.id);
  if (group.row) line += fmt::format(", row {}", *group.row);
  line += ": " + stateText(group);
  if (group.olderInRow) line += " (an older record is in the row)";
  return line;
}

std::string lineOf(ShownMember const& member) {
  std::string line = fmt::format("  member row {} -> ", member.row);
  if (!member.nextHopRow) return line + "nothing";
  line += fmt::format("next-hop row {}", *member.nextHopRow);
  if (!member.nextHop) return line + " -> nothing";
  if (member.contents) {
    line += fmt::format(" ({}) -> interface {}", gatewayText(*member.contents),
                        member.contents->interface);
  } else {
    line += " -> interface unknown";
  }
  return line + fmt::format(", l3Oif1 {}", member.nextHop->l3Oif1);
}

}  // namespace

std::size_t GroupReport::liveIn(ShownGroup::State state) const {
  return static_cast<std::size_t>(std::count_if(
      live.begin(), live.end(), [state](ShownGroup const& group) { return group.state == state; }));
}

GroupReport groupReport(Groups const& groups, EcmpNextHops const& ecmpNextHops,
                        Groups::Table const& table, Groups::MemberTable const& memberTable,
                        Hardware const& hardware) {
  SoftAsic::SoftDevice const& device = hardware.device();
  GroupReport report;
  report.counts = groups.counts();
  for (auto const& [id, group] : groups.groups()) {
    report.live.push_back(shown(id, group, groups, table, device));
  }
  report.blocks = memberTable.entryBlocks();
  report.waitingBlocks = memberTable.unresolvedEntryBlocks();
  report.nextHops = ecmpNextHops.size();
  report.nextHopTable = useOf(device.ecmpNextHops(), ecmpNextHops.rows());
  report.memberTable = useOf(device.members(), *memberTable.indexAllocator());
  report.groupTable = useOf(device.groups(), *table.firstFreeIndexAllocator());
  return report;
}

std::string summaryText(GroupReport const& report) {
  Groups::Counts const& counts = report.counts;
  std::string out = fmt::format(
      "Groups        {} announced, {} announced again unchanged, {} changed, {} withdrawn\n",
      counts.announced, counts.repeated, counts.changed, counts.withdrawn);
  out += fmt::format(
      "  at the end  {} live: {} programmed, {} waiting for members, {} parked, {} refused, {} "
      "unanswered, {} not placed, {} with members that drop\n",
      report.live.size(), report.liveIn(State::programmed), report.liveIn(State::missingMembers),
      report.liveIn(State::parked), report.liveIn(State::refused), report.liveIn(State::unanswered),
      report.liveIn(State::notPlaced), report.liveIn(State::blackhole));
  out += fmt::format(
      "  on the way  at most {} live; {} came before their members, {} changed their block, {} "
      "times not placed\n",
      counts.peak, counts.waited, counts.swaps, counts.notPlaced);
  out += fmt::format("  blocks      {} in force, {} waiting; {} member rows; {} next hops\n",
                     report.blocks, report.waitingBlocks, report.memberTable.rowsInForce,
                     report.nextHops);
  if (counts.unknownWeights > 0) {
    out += fmt::format("  weights     {} groups announced with unknown weights (255)\n",
                       counts.unknownWeights);
  }
  if (counts.scaled > 0) {
    out += fmt::format(
        "  scaled      {} blocks that were too wide; a share of traffic changed by up to {:.2f} "
        "%\n",
        counts.scaled, 100 * counts.worstScaling);
  }
  if (counts.membersKept > 0) {
    out += fmt::format("  kept        {} next hops withdrawn while groups in force used them\n",
                       counts.membersKept);
  }
  out += "Tables of groups\n";
  out += tableLine("next hops", report.nextHopTable);
  out += tableLine("members", report.memberTable);
  out += tableLine("groups", report.groupTable);
  return out;
}

std::string listText(GroupReport const& report) {
  std::size_t const count = report.live.size() - report.liveIn(State::programmed);
  if (count == 0) return {};
  std::string out = "Groups that are not programmed\n";
  std::size_t listed = 0;
  for (ShownGroup const& group : report.live) {
    if (group.state == State::programmed) continue;
    if (listed++ == kMostListed) break;
    out += "  " + lineOf(group) + "\n";
  }
  if (count > kMostListed) out += fmt::format("  and {} more (see --show)\n", count - kMostListed);
  return out;
}

std::string showText(GroupReport const& report) {
  std::string out;
  for (ShownGroup const& group : report.live) {
    out += lineOf(group);
    if (group.contents) {
      out += fmt::format("; {} paths from member row {}", group.contents->numPaths,
                         group.contents->ecmpBlockPtr);
    }
    out += "\n";
    for (ShownMember const& member : group.members) out += lineOf(member) + "\n";
  }
  return out;
}

}  // namespace OrviaL3Agent
