#include "agent/RouteText.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <set>

#include "agent/GroupReport.h"
#include "agent/TextHelpers.h"

namespace OrviaL3Agent {
namespace {

using Kind = Routes::Way::Kind;

char const* stateText(NextHopState state) {
  switch (state) {
    case NextHopState::programmed:
      return "programmed";
    case NextHopState::unanswered:
      return "unanswered";
    case NextHopState::parked:
      return "parked";
    case NextHopState::refused:
      return "refused";
    case NextHopState::notPlaced:
      break;
  }
  return "not placed";
}

bool anyDown(Mapping const& mapping, Paths const& paths) {
  std::set<std::uint32_t> const& down = mapping.groups().downInterfaces();
  return std::any_of(paths.begin(), paths.end(), [&down](auto const& path) {
    return down.contains(path.first.interfaceIndex());
  });
}

std::string groupText(Mapping const& mapping, Groups::Group const& group) {
  constexpr char const* states[] = {"programmed", "unanswered", "parked", "refused", ""};
  auto const state = static_cast<std::size_t>(mapping.groups().state(group));
  Asic::Index const row = mapping.groups().row(group);
  std::string const where =
      row == Asic::Index::invalidIndex() ? std::string() : fmt::format(" (row {})", row.value());
  Paths const& paths = group.reason.empty() ? group.chain.paths : group.paths;
  std::string out = fmt::format("group {}{} {}: {}", group.number, where, text(paths),
                                group.reason.empty() ? states[state] : group.reason);
  char const* separator = "; refused: ";
  for (EcmpNextHops::Use const& hop : group.chain.hops) {
    if (mapping.ecmp().state(*hop) != NextHopState::refused) continue;
    out += separator + text(hop->identity);
    separator = ", ";
  }
  if (std::size_t const missing = mapping.groups().missingMemberRows(group); missing > 0) {
    out += fmt::format("; {} published, not in hardware", counted(missing, "member row"));
  }
  if (std::size_t const down = group.paths.size() - paths.size(); down > 0) {
    out += fmt::format("; without {} over interfaces that are down", counted(down, "path"));
  } else if (anyDown(mapping, paths)) {
    out += "; all its interfaces are down";
  }
  // The row may name the block before, and packets take that.
  bool const isLatest = state == static_cast<std::size_t>(Groups::State::programmed);
  if (!isLatest && mapping.groups().inForce(group)) out += " (an older record is in the row)";
  return out;
}

// Why a group id has no group.
std::string obstacleText(GroupIds::GroupId const& group) {
  if (!group.reason.empty()) return group.reason;
  if (!group.blackholes.empty()) {
    return fmt::format("a group that drops over members {}", fmt::join(group.blackholes, ", "));
  }
  return fmt::format("a group that waits for members {}", fmt::join(group.missing, ", "));
}

std::string hopText(Mapping const& mapping, IngressNextHops::Hop const& hop) {
  std::string const where =
      hop.key ? fmt::format("row {}, ", hop.key->hwEntryIndex().value()) : std::string();
  NextHopState const state = mapping.ingress().state(hop);
  std::string const down =
      anyDown(mapping, {{hop.identity, 1}}) ? " (the interface is down)" : std::string();
  return fmt::format("{}{}: {}{}", where, text(hop.identity),
                     hop.obstacle == Obstacle::none ? stateText(state) : text(hop.obstacle), down);
}

std::string textOf(Mapping const& mapping, Routes::Way const& way) {
  std::string const id = way.id.id() == 0 ? std::string() : fmt::format("id {}", way.id.id());
  switch (way.kind) {
    case Kind::none:
      return way.reason;
    case Kind::drop:
      return id.empty() ? "drop" : id + ", drop";
    case Kind::unknownId:
      return id + " is not announced";
    case Kind::hop:
      return (id.empty() ? "" : id + ", ") + hopText(mapping, *way.hop);
    case Kind::group:
      return groupText(mapping, *way.group);
    case Kind::groupId:
      break;
  }
  GroupIds::GroupId const* const group = mapping.groupIds().find(way.id.id());
  if (group->drops()) return id + ", drop";
  if (!group->group) return id + ", " + obstacleText(*group);
  std::string out = id + ", " + groupText(mapping, *group->group);
  if (group->former) out += "; until then " + groupText(mapping, *group->former);
  return out;
}

}  // namespace

std::string text(RouteKey const& key) {
  std::string out = Fpm::text(key.prefix());
  if (key.table != RT_TABLE_MAIN) out += fmt::format(" table {}", key.table);
  if (key.priority != 0) out += fmt::format(" metric {}", key.priority);
  return out;
}

std::string wayText(Mapping const& mapping, Routes::Route const& route) {
  std::string out = textOf(mapping, route.way);
  if (route.former.kind != Kind::none) {
    out += "; until then " + textOf(mapping, route.former);
  }
  return out;
}

std::string routesText(Mapping const& mapping) {
  std::string out;
  for (auto const& [key, route] : mapping.routes().routes()) {
    out += text(key) + " -> " + wayText(mapping, route) + "\n";
  }
  return out.empty() ? "no routes\n" : out;
}

std::string lookupText(Mapping const& mapping, Fpm::Address const& address) {
  std::string out;
  for (RouteKey const& key : mapping.routes().lookup(address)) {
    Routes::Route const& route = mapping.routes().routes().at(key);
    out += fmt::format("{}: {} -> {}", Fpm::text(address), text(key), wayText(mapping, route));
    if (route.announced.mtu) out += fmt::format(", route MTU {}", *route.announced.mtu);
    out += "\n";
  }
  return out.empty() ? Fpm::text(address) + ": no route\n" : out;
}

}  // namespace OrviaL3Agent
