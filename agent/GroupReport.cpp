#include "agent/GroupReport.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>

#include "agent/TextHelpers.h"

namespace OrviaL3Agent {
namespace {

using State = ShownGroup::State;
using IdState = ShownGroupId::State;

// The next hops by row that any block of the group uses, also one that is about to go.
std::map<std::uint32_t, Identity> hopsByRow(Groups::Group const& group) {
  std::map<std::uint32_t, Identity> hops;
  auto const add = [&hops](Groups::Chain const& chain) {
    for (EcmpNextHops::Use const& hop : chain.hops) {
      hops.emplace(hop->handle->hwEntryIndex().value(), hop->identity);
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
      member.identity = hop->second;
    }
  }
  return members;
}

// By number of the group.
std::map<std::uint32_t, std::vector<std::uint32_t>> idsOfGroups(GroupIds const& groupIds) {
  std::map<std::uint32_t, std::vector<std::uint32_t>> ids;
  for (auto const& [id, group] : groupIds.ids()) {
    if (group.group) ids[group.group->number].push_back(id);
    if (group.former) ids[group.former->number].push_back(id);
  }
  return ids;
}

IdState stateOf(GroupIds::GroupId const& group) {
  if (group.drops()) return IdState::drops;
  if (!group.blackholes.empty()) return IdState::dropsInPart;
  if (!group.missing.empty()) return IdState::missingMembers;
  return group.reason.empty() ? IdState::group : IdState::notPossible;
}

template <class Window>
TableUse useOf(Window const& window, Asic::GenericIndexAllocator const& rows) {
  return {window.counts(), Hardware::rowsInForce(window), rows.rowsInUse(), rows.rowsFree(),
          rows.largestFreeRun()};
}

std::string holdersText(ShownGroup const& group) {
  std::string text;
  if (!group.ids.empty()) {
    text = fmt::format("{} {}", group.ids.size() == 1 ? "id" : "ids", fmt::join(group.ids, ", "));
  }
  if (group.routes > 0) {
    text += (text.empty() ? "" : "; ") + counted(group.routes, "route");
  }
  return text;
}

std::string lineOf(ShownGroup const& group) {
  std::string line = fmt::format("group {} ({})", group.number, holdersText(group));
  if (group.row) line += fmt::format(", row {}", *group.row);
  return line + ": " + stateText(group);
}

std::string lineOf(ShownGroupId const& group) {
  std::string line = fmt::format("id {}: ", group.id);
  switch (group.state) {
    case IdState::group:
      return line + fmt::format("group {}", group.group.value_or(0));
    case IdState::missingMembers:
      line += fmt::format("waits for members {}", fmt::join(group.ids, ", "));
      break;
    case IdState::drops:
      return line + "drops";
    case IdState::dropsInPart:
      line += fmt::format("not programmed, drops over members {}", fmt::join(group.ids, ", "));
      break;
    case IdState::notPossible:
      line += group.reason;
      break;
  }
  if (group.group) line += fmt::format(" (group {} is kept meanwhile)", *group.group);
  return line;
}

// The row and where it leads; the same text for rows that lead to the same place.
std::string wayText(ShownMember const& member) {
  if (!member.nextHopRow) return "nothing";
  std::string text = fmt::format("next-hop row {}", *member.nextHopRow);
  if (!member.nextHop) return text + " -> nothing";
  text += " -> " + (member.identity ? OrviaL3Agent::text(*member.identity) : "a stranger");
  return text + fmt::format(", l3Oif1 {}", member.nextHop->l3Oif1);
}

}  // namespace

std::string stateText(ShownGroup const& group) {
  std::string text;
  switch (group.state) {
    case State::programmed:
      text = "programmed";
      break;
    case State::unanswered:
      text = "unanswered";
      break;
    case State::refused:
      text = "refused";
      break;
    case State::parked:
      text = "parked, waits for its next hops";
      break;
    case State::notPlaced:
      text = group.reason;
      break;
  }
  for (std::size_t i = 0; i < group.refused.size(); ++i) {
    text += (i == 0 ? "; refused: " : ", ") + OrviaL3Agent::text(group.refused[i]);
  }
  if (group.missingMemberRows > 0) {
    text += fmt::format("; {} published, not in hardware",
                        counted(group.missingMemberRows, "member row"));
  }
  if (group.pathsDown > 0) {
    text +=
        fmt::format("; without {} over interfaces that are down", counted(group.pathsDown, "path"));
  }
  if (group.olderInRow) text += " (an older record is in the row)";
  return text;
}

std::size_t GroupReport::liveIn(ShownGroup::State state) const {
  return static_cast<std::size_t>(std::count_if(
      live.begin(), live.end(), [state](ShownGroup const& group) { return group.state == state; }));
}

std::size_t GroupReport::idsIn(ShownGroupId::State state) const {
  return static_cast<std::size_t>(std::count_if(
      ids.begin(), ids.end(), [state](ShownGroupId const& id) { return id.state == state; }));
}

std::size_t routesOf(Groups::Group const& group, std::size_t ids, Mapping const& mapping) {
  std::size_t const holders = mapping.groups().holders(group);
  std::size_t const others = ids + (mapping.held().holdsGroup(group.number) ? 1 : 0);
  // The ids may have been collected before: a holder may have come or gone since.
  return holders > others ? holders - others : 0;
}

ShownGroup shownGroup(Groups::Group const& group, std::vector<std::uint32_t> const& ids,
                      Mapping const& mapping, Hardware const& hardware) {
  SoftAsic::SoftDevice const& device = hardware.device();
  Groups const& groups = mapping.groups();
  ShownGroup shown;
  shown.number = group.number;
  shown.state = groups.state(group);
  shown.ids = ids;
  shown.routes = routesOf(group, ids.size(), mapping);
  shown.paths = group.paths;
  if (group.reason.empty()) shown.pathsDown = group.paths.size() - group.chain.paths.size();
  shown.reason = group.reason;
  shown.missingMemberRows = groups.missingMemberRows(group);
  Asic::Index const row = groups.row(group);
  if (row != Asic::Index::invalidIndex()) {
    shown.row = row.value();
    shown.contents = device.groups().row(row).contents;
  }
  if (shown.contents) {
    shown.olderInRow = shown.state != State::programmed && shown.state != State::unanswered;
    shown.members = walk(*shown.contents, group, device);
  }
  for (EcmpNextHops::Use const& hop : group.chain.hops) {
    if (mapping.ecmp().state(*hop) == NextHopState::refused) shown.refused.push_back(hop->identity);
  }
  return shown;
}

GroupReport groupReport(Mapping const& mapping, Hardware const& hardware) {
  SoftAsic::SoftDevice const& device = hardware.device();
  GroupReport report;
  report.counts = mapping.groups().counts();
  report.idCounts = mapping.groupIds().counts();
  report.scaling = mapping.groupIds().scaling();
  report.scaling.scaled += mapping.routes().scaling().scaled;
  report.scaling.worst = std::max(report.scaling.worst, mapping.routes().scaling().worst);
  auto ids = idsOfGroups(mapping.groupIds());
  for (auto const& [number, group] : mapping.groups().groups()) {
    report.live.push_back(shownGroup(*group, ids[number], mapping, hardware));
  }
  for (auto const& [id, group] : mapping.groupIds().ids()) {
    ShownGroupId& shownId = report.ids.emplace_back();
    shownId.id = id;
    shownId.state = stateOf(group);
    shownId.ids = group.blackholes.empty() ? group.missing : group.blackholes;
    shownId.reason = group.reason;
    if (group.group) shownId.group = group.group->number;
  }
  Groups::MemberTable const& members = *mapping.tables().members;
  report.blocks = members.entryBlocks();
  report.waitingBlocks = members.unresolvedEntryBlocks();
  report.nextHopTable = useOf(device.ecmpNextHops(), mapping.ecmp().rows());
  report.memberTable = useOf(device.members(), *members.indexAllocator());
  report.groupTable = useOf(device.groups(), *mapping.tables().groups->firstFreeIndexAllocator());
  return report;
}

std::string summaryText(GroupReport const& report) {
  Groups::Counts const& counts = report.counts;
  std::string out = fmt::format("Groups        {} made, {} ended, at most {} at once\n",
                                counts.made, counts.ended, counts.peak);
  out += fmt::format(
      "  at the end  {}: {} programmed, {} parked, {} refused, {} unanswered, {} not placed\n",
      report.live.size(), report.liveIn(State::programmed), report.liveIn(State::parked),
      report.liveIn(State::refused), report.liveIn(State::unanswered),
      report.liveIn(State::notPlaced));
  out += fmt::format(
      "  on the way  {} to another block ({} by local repair, {} back from it); {} not placed; {} "
      "tried again\n",
      counted(counts.swaps, "swap"), counts.repairs, counts.restores,
      counted(counts.notPlaced, "time"), counted(counts.retried, "write"));
  out += fmt::format("  blocks      {} in force, {} waiting; {}\n", report.blocks,
                     report.waitingBlocks, counted(report.memberTable.rowsInForce, "member row"));
  if (report.idCounts.unknownWeights > 0) {
    out += fmt::format("  weights     {} announced with unknown weights (255)\n",
                       counted(report.idCounts.unknownWeights, "group"));
  }
  if (report.scaling.scaled > 0) {
    out += fmt::format(
        "  scaled      {} that would have been too wide; a share of traffic changed by up to "
        "{:.2f} %\n",
        counted(report.scaling.scaled, "block"), 100 * report.scaling.worst);
  }
  return out;
}

std::string listText(GroupReport const& report) {
  std::vector<std::string> lines;
  for (ShownGroupId const& id : report.ids) {
    if (id.state != IdState::group && id.state != IdState::drops) lines.push_back(lineOf(id));
  }
  std::string out = listText("Group ids without a group of their contents", lines, lines.size());
  lines.clear();
  for (ShownGroup const& group : report.live) {
    if (group.state != State::programmed || group.missingMemberRows > 0) {
      lines.push_back(lineOf(group));
    }
  }
  return out + listText("Groups that are not in hardware as asked", lines, lines.size());
}

std::string showText(GroupReport const& report) {
  std::string out;
  for (ShownGroupId const& id : report.ids) {
    if (id.state != IdState::group) out += lineOf(id) + "\n";
  }
  for (ShownGroup const& group : report.live) {
    out += lineOf(group);
    if (group.contents) {
      out += fmt::format("; {} from member row {}", counted(group.contents->numPaths, "path"),
                         group.contents->ecmpBlockPtr);
    }
    out += "\n";
    for (std::size_t i = 0; i < group.members.size();) {
      std::size_t last = i;
      while (last + 1 < group.members.size() &&
             wayText(group.members[last + 1]) == wayText(group.members[i])) {
        ++last;
      }
      out += last == i ? fmt::format("  member row {}", group.members[i].row)
                       : fmt::format("  member rows {} to {}", group.members[i].row,
                                     group.members[last].row);
      out += " -> " + wayText(group.members[i]) + "\n";
      i = last + 1;
    }
  }
  return out;
}

}  // namespace OrviaL3Agent
