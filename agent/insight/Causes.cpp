#include "agent/insight/Causes.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace OrviaL3Agent::Insight {
namespace {

using Kind = Cause::Kind;

// As the stand-in table's keys are made: everything is in one routing instance.
StandInTable::Key interfaceKey(std::uint32_t interface) {
  return std::uint64_t{kVrf} << 32U | interface;
}

void add(std::vector<Found>& found, Kind kind, Entry entry, std::optional<Since> since) {
  found.push_back({{kind, std::move(entry)}, since});
}

// What a parked next hop waits for. Returns whether anything was found.
bool addParts(Agent const& agent, Identity const& identity, NextHopParts::Parts const& parts,
              std::vector<Found>& found) {
  std::size_t const before = found.size();
  std::uint32_t const interface = identity.interfaceIndex();
  if (parts.interface && !parts.interface->isProgrammed()) {
    auto const shown = agent.interfaces().shown(interfaceKey(interface));
    add(found, Kind::notProgrammed, InterfaceName{interface},
        shown ? std::optional(shown->since) : std::nullopt);
  }
  if (parts.mtuProfile && !parts.mtuProfile->isProgrammed()) {
    std::uint32_t const bytes = agent.parts().mtuOf(interface);
    auto const shown = agent.mtuProfiles().shown(bytes);
    add(found, Kind::notProgrammed, MtuName{bytes},
        shown ? std::optional(shown->since) : std::nullopt);
  }
  return found.size() != before;
}

template <class Name, class Hop>
void addHop(Agent const& agent, NextHopState state, Hop const& hop, std::vector<Found>& found) {
  switch (state) {
    case NextHopState::programmed:
    case NextHopState::notPlaced:
      return;
    case NextHopState::unanswered:
      return add(found, Kind::unanswered, Name{hop.identity}, hop.since);
    case NextHopState::refused:
      return add(found, Kind::refused, Name{hop.identity}, hop.since);
    case NextHopState::parked:
      if (addParts(agent, hop.identity, hop.parts, found)) return;
      return add(found, Kind::waiting, Name{hop.identity}, hop.since);
  }
}

void addDown(Agent const& agent, Identity const& identity, std::vector<Found>& found) {
  std::uint32_t const interface = identity.interfaceIndex();
  if (auto const since = agent.mapping().groups().downSince(interface)) {
    add(found, Kind::interfaceDown, InterfaceName{interface}, since);
  }
}

// The table or range that is full, without how full it was.
RoomName roomOf(std::string const& reason) { return {reason.substr(0, reason.find(':'))}; }

void addBlock(Agent const& agent, Groups::Group const& group, std::vector<Found>& found) {
  BlockRows const rows = blockRows(agent, group.chain);
  if (rows.refused > 0) add(found, Kind::refused, BlockName{group.number}, group.since);
  if (rows.lost > 0) add(found, Kind::unanswered, BlockName{group.number}, group.since);
}

std::string rowText(std::optional<Asic::Index> row) {
  if (!row || *row == Asic::Index::invalidIndex()) return {};
  return fmt::format("row {}", row->value());
}

struct Detail {
  Agent const& agent;
  Kind kind;

  std::string operator()(RouteKey const& key) const {
    auto const& routes = agent.mapping().routes().routes();
    auto const found = routes.find(key);
    return found == routes.end() ? std::string() : found->second.way.reason;
  }
  std::string operator()(IdName const& name) const {
    GroupIds::GroupId const* const group = agent.mapping().groupIds().find(name.id);
    if (group == nullptr) return {};
    if (group->blackholes.empty()) return group->reason;
    return fmt::format("drops over members {}, which no row says",
                       fmt::join(group->blackholes, ", "));
  }
  std::string operator()(GroupName const& name) const {
    Groups const& groups = agent.mapping().groups();
    auto const found = groups.groups().find(name.number);
    if (found == groups.groups().end()) return {};
    return withRefusal("", SoftAsic::TableId::groups, groups.row(*found->second));
  }
  std::string operator()(BlockName const& name) const {
    Groups const& groups = agent.mapping().groups();
    auto const found = groups.groups().find(name.group);
    if (found == groups.groups().end()) return {};
    BlockRows const rows = blockRows(agent, found->second->chain);
    if (!rows.first) return {};
    return fmt::format("{} of {} rows from {}", kind == Kind::refused ? rows.refused : rows.lost,
                       found->second->chain.width, *rows.first);
  }
  std::string operator()(IngressName const& name) const {
    auto const& hops = agent.mapping().ingress().hops();
    auto const found = hops.find(name.identity);
    if (found == hops.end() || !found->second->key) return {};
    return withRefusal("of routes, ", SoftAsic::TableId::ingressNextHops,
                       found->second->key->hwEntryIndex());
  }
  std::string operator()(EcmpName const& name) const {
    EcmpNextHops const& hops = agent.mapping().ecmp();
    auto const found = hops.hops().find(name.identity);
    if (found == hops.hops().end()) return {};
    Asic::Index const row = hops.row(*found->second);
    if (row == Asic::Index::invalidIndex()) return "of groups";
    return withRefusal("of groups, ", SoftAsic::TableId::ecmpNextHops, row);
  }
  std::string operator()(InterfaceName const& name) const {
    return kind == Kind::notProgrammed ? agent.interfaceTrouble(name.interface) : std::string();
  }
  std::string operator()(MtuName const&) const { return {}; }
  std::string operator()(RoomName const&) const { return {}; }

  // The row, and the hardware's own words about it, if it has any.
  [[nodiscard]] std::string withRefusal(char const* whose, SoftAsic::TableId table,
                                        Asic::Index row) const {
    std::string text = whose + rowText(row);
    std::string const why = kind == Kind::refused && row != Asic::Index::invalidIndex()
                                ? agent.refusal(table, row.value())
                                : std::string();
    return why.empty() ? text : text + ": " + why;
  }
};

}  // namespace

char const* textOf(Cause::Kind kind) {
  switch (kind) {
    case Kind::notProgrammed:
      return "not-programmed";
    case Kind::interfaceDown:
      return "interface-down";
    case Kind::refused:
      return "refused";
    case Kind::unanswered:
      return "unanswered";
    case Kind::noRoom:
      return "no-room";
    case Kind::notAnnounced:
      return "not-announced";
    case Kind::notPossible:
      return "not-possible";
    case Kind::waiting:
      break;
  }
  return "waiting";
}

void addCauses(Agent const& agent, IngressNextHops::Hop const& hop, std::vector<Found>& found) {
  if (hop.obstacle != Obstacle::none) {
    std::string const what =
        hop.obstacle == Obstacle::row ? "no free row for next hops of routes" : text(hop.obstacle);
    return add(found, Kind::noRoom, RoomName{what}, hop.since);
  }
  addHop<IngressName>(agent, agent.mapping().ingress().state(hop), hop, found);
  addDown(agent, hop.identity, found);
}

void addCauses(Agent const& agent, EcmpNextHops::Hop const& hop, std::vector<Found>& found) {
  EcmpNextHops const& hops = agent.mapping().ecmp();
  if (hops.withoutRow(hop)) {
    return add(found, Kind::noRoom, RoomName{"no room in the ECMP next-hop table"}, hop.since);
  }
  addHop<EcmpName>(agent, hops.state(hop), hop, found);
  addDown(agent, hop.identity, found);
}

void addCauses(Agent const& agent, Groups::Group const& group, std::vector<Found>& found) {
  Groups const& groups = agent.mapping().groups();
  std::size_t const before = found.size();
  switch (groups.state(group)) {
    case Groups::State::notPlaced:
      if (!group.reason.empty()) {
        return add(found, Kind::noRoom, roomOf(group.reason), group.since);
      }
      break;
    case Groups::State::parked:
      for (EcmpNextHops::Use const& hop : group.chain.hops) addCauses(agent, *hop, found);
      addBlock(agent, group, found);
      break;
    case Groups::State::refused:
      add(found, Kind::refused, GroupName{group.number}, group.since);
      addBlock(agent, group, found);
      return;
    case Groups::State::unanswered:
      add(found, Kind::unanswered, GroupName{group.number}, group.since);
      addBlock(agent, group, found);
      return;
    case Groups::State::programmed:
      addBlock(agent, group, found);
      // Only when all are down: otherwise the group goes without those that are.
      if (groups.downInterfaces().empty()) return;
      for (auto const& [identity, rows] : group.chain.paths) addDown(agent, identity, found);
      return;
  }
  if (found.size() == before) add(found, Kind::waiting, GroupName{group.number}, group.since);
}

void addCauses(Agent const& agent, std::uint32_t id, GroupIds::GroupId const& group,
               std::vector<Found>& found) {
  if (group.drops()) return;
  if (!group.blackholes.empty() || !group.reason.empty()) {
    add(found, Kind::notPossible, IdName{id}, std::nullopt);
  }
  for (std::uint32_t const missing : group.missing) {
    add(found, Kind::notAnnounced, IdName{missing}, std::nullopt);
  }
  bool const isPossible = group.blackholes.empty() && group.reason.empty() && group.missing.empty();
  if (isPossible && group.group) addCauses(agent, *group.group, found);
}

void addCauses(Agent const& agent, RouteKey const& key, Routes::Route const& route,
               std::vector<Found>& found) {
  using Way = Routes::Way;
  Way const& way = neededWay(route);
  switch (way.kind) {
    case Way::Kind::none:
      if (!way.reason.empty()) add(found, Kind::notPossible, key, std::nullopt);
      return;
    case Way::Kind::drop:
      return;
    case Way::Kind::unknownId:
      return add(found, Kind::notAnnounced, IdName{way.id.id()}, std::nullopt);
    case Way::Kind::hop:
      return addCauses(agent, *way.hop, found);
    case Way::Kind::group:
      return addCauses(agent, *way.group, found);
    case Way::Kind::groupId:
      break;
  }
  auto const* const group = agent.mapping().groupIds().find(way.id.id());
  if (group != nullptr) addCauses(agent, way.id.id(), *group, found);
}

std::vector<std::uint32_t> interfacesWithout(Agent const& agent, Groups::Group const& group) {
  Groups const& groups = agent.mapping().groups();
  std::vector<std::uint32_t> without;
  if (groups.downInterfaces().empty()) return without;
  for (auto const& [identity, rows] : group.paths) {
    std::uint32_t const interface = identity.interfaceIndex();
    bool const isDown = groups.downInterfaces().contains(interface);
    if (!isDown || group.chain.paths.contains(identity)) continue;
    if (without.empty() || without.back() != interface) without.push_back(interface);
  }
  return without;
}

BlockRows blockRows(Agent const& agent, Groups::Chain const& chain) {
  BlockRows rows;
  if (!chain.block || chain.block->hwEntryIndex() == Asic::Index::invalidIndex()) return rows;
  rows.first = chain.block->hwEntryIndex().value();
  SoftAsic::MemberHwTable const& members = agent.hardware().device().members();
  for (std::uint32_t i = 0; i < chain.width; ++i) {
    Asic::Index const row(*rows.first + i);
    if (!members.hasRow(row)) {
      ++rows.refused;
      continue;
    }
    SoftAsic::Fate const fate = members.row(row).fate;
    if (fate == SoftAsic::Fate::lost) ++rows.lost;
    if (fate == SoftAsic::Fate::refused) ++rows.refused;
  }
  return rows;
}

std::string detailOf(Agent const& agent, Cause const& cause) {
  return std::visit(Detail{agent, cause.kind}, cause.entry);
}

}  // namespace OrviaL3Agent::Insight
