#include "agent/StreamModel.h"

#include <linux/rtnetlink.h>

#include <algorithm>
#include <utility>

namespace OrviaL3Agent {
namespace {

std::uint32_t weightOf(std::uint8_t weightByte) { return weightByte + 1U; }

}  // namespace

void Wanted::keep(Paths const& asked, std::set<std::uint32_t> const& downInterfaces) {
  bool const isWanted = std::any_of(groups.begin(), groups.end(),
                                    [&asked](Group const& group) { return group.asked == asked; });
  if (isWanted) return;
  ++kept;
  Group& group = groups.emplace_back();
  group.asked = asked;
  group.paths = withoutInterfaces(asked, downInterfaces);
  group.kept = true;
  for (auto const& [identity, rows] : group.paths) ecmp.insert(identity);
}

void Wanted::keep(Identity const& identity) {
  if (ingress.try_emplace(identity, 0).second) ++kept;
}

void StreamModel::messageIs(Fpm::Message const& message) {
  if (auto const* const nextHop = std::get_if<Fpm::NextHop>(&message.content)) {
    idIs(nextHop->id, *nextHop);
  } else if (auto const* const group = std::get_if<Fpm::NextHopGroup>(&message.content)) {
    idIs(group->id, *group);
  } else if (auto const* const hole = std::get_if<Fpm::BlackholeNextHop>(&message.content)) {
    idIs(hole->id, Blackhole{});
  } else if (auto const* const end = std::get_if<Fpm::NextHopWithdrawal>(&message.content)) {
    idDel(end->id);
  } else if (auto const* const route = std::get_if<Fpm::Route>(&message.content)) {
    routeIs(*route);
  } else if (auto const* const gone = std::get_if<Fpm::RouteWithdrawal>(&message.content)) {
    RouteKey const key = keyOf(gone->destination, gone->table, gone->priority);
    if (routes_.contains(key)) withdrawn_.insert(key);
  }
}

void StreamModel::frameEnds() {
  for (RouteKey const& key : std::exchange(withdrawn_, {})) routeDel(key);
}

// The new contents take hold of their members before the old ones let go: a member that both name
// is in use all the time.
void StreamModel::idIs(std::uint32_t id, Contents contents) {
  groupUses(membersOf(contents), true);
  auto const found = ids_.find(id);
  if (found == ids_.end()) {
    ids_.emplace(id, Id{std::move(contents)});
    return;
  }
  found->second.announced = true;
  groupUses(membersOf(std::exchange(found->second.contents, std::move(contents))), false);
}

void StreamModel::idDel(std::uint32_t id) {
  auto const found = ids_.find(id);
  if (found == ids_.end()) return;
  found->second.announced = false;
  endUnlessKept(id);
}

bool StreamModel::isKept(std::uint32_t id) const {
  auto const users = users_.find(id);
  if (users == users_.end()) return false;
  bool const isGroup = std::holds_alternative<Fpm::NextHopGroup>(ids_.at(id).contents);
  return users->second.routes > 0 || (!isGroup && users->second.groups > 0);
}

// A group that ends lets go of its members; those are no groups that this could end.
void StreamModel::endUnlessKept(std::uint32_t id) {
  auto const found = ids_.find(id);
  if (found == ids_.end() || found->second.announced || isKept(id)) return;
  std::set<std::uint32_t> const members = membersOf(found->second.contents);
  ids_.erase(found);
  groupUses(members, false);
}

void StreamModel::groupUses(std::set<std::uint32_t> const& members, bool uses) {
  for (std::uint32_t const id : members) {
    Users& users = users_[id];
    uses ? ++users.groups : --users.groups;
    if (users.groups == 0 && users.routes == 0) users_.erase(id);
    if (!uses) endUnlessKept(id);
  }
}

void StreamModel::routeUses(std::uint32_t id, bool uses) {
  Users& users = users_[id];
  uses ? ++users.routes : --users.routes;
  if (users.groups == 0 && users.routes == 0) users_.erase(id);
  if (!uses) endUnlessKept(id);
}

std::set<std::uint32_t> StreamModel::membersOf(Contents const& contents) {
  std::set<std::uint32_t> members;
  if (auto const* const group = std::get_if<Fpm::NextHopGroup>(&contents)) {
    for (auto const& member : group->members) members.insert(member.id);
    members.erase(group->id);
  }
  return members;
}

StreamModel::RouteKey StreamModel::keyOf(Fpm::Prefix const& prefix, std::uint32_t table,
                                         std::uint32_t priority) {
  RouteKey key{table, priority, prefix.length, prefix.address};
  for (std::size_t i = 0; i < key.address.bytes.size(); ++i) {
    std::size_t const first = 8 * i;
    if (first + 8 <= key.length) continue;
    unsigned const bits = first >= key.length ? 0 : static_cast<unsigned>(key.length - first);
    key.address.bytes[i] &= static_cast<std::uint8_t>(0xFF00U >> bits);
  }
  return key;
}

void StreamModel::routeIs(Fpm::Route const& route) {
  Way way = Drop{};
  if (route.type == RTN_UNICAST) {
    if (route.nextHopId) {
      way = ById{*route.nextHopId};
    } else if (!route.paths.empty()) {
      way = OwnPaths{route.paths, route.destination.address.family};
    }
  }
  if (auto const* const named = std::get_if<ById>(&way)) routeUses(named->id, true);
  RouteKey const key = keyOf(route.destination, route.table, route.priority);
  withdrawn_.erase(key);
  routeDel(key);
  routes_.emplace(key, std::move(way));
}

void StreamModel::routeDel(RouteKey const& key) {
  auto const found = routes_.find(key);
  if (found == routes_.end()) return;
  Way const way = std::move(found->second);
  routes_.erase(found);
  if (auto const* const named = std::get_if<ById>(&way)) routeUses(named->id, false);
}

Wanted StreamModel::wanted(std::set<std::uint32_t> const& downInterfaces,
                           std::uint32_t maxWidth) const {
  Wanted wanted;
  GroupMap groups;
  for (auto const& [id, known] : ids_) {
    if (auto const* const group = std::get_if<Fpm::NextHopGroup>(&known.contents)) {
      wantGroup(*group, maxWidth, wanted.counts, groups);
    }
  }
  for (auto const& [key, way] : routes_) wantRoute(way, maxWidth, wanted, groups);
  for (auto& [asked, group] : groups) {
    group.asked = asked;
    group.paths = withoutInterfaces(asked, downInterfaces);
    for (auto const& [identity, rows] : group.paths) wanted.ecmp.insert(identity);
    wanted.groups.push_back(std::move(group));
  }
  return wanted;
}

// What keeps a group out of the hardware whatever is announced later comes first.
void StreamModel::wantGroup(Fpm::NextHopGroup const& group, std::uint32_t maxWidth,
                            Wanted::Counts& counts, GroupMap& groups) const {
  bool waits = false;
  bool drops = false;
  bool nests = false;
  std::vector<WeightedPath> members;
  for (Fpm::NextHopGroup::Member const& member : group.members) {
    auto const found = ids_.find(member.id);
    if (found == ids_.end()) {
      waits = true;
    } else if (auto const* const single = std::get_if<Fpm::NextHop>(&found->second.contents)) {
      members.push_back({identityOf(*single), weightOf(member.weightByte)});
    } else {
      bool const isHole = std::holds_alternative<Blackhole>(found->second.contents);
      (isHole ? drops : nests) = true;
    }
  }
  Paths const paths = spreadOf(members, maxWidth).paths;
  if (drops) {
    ++counts.blackholeGroups;
  } else if (nests) {
    ++counts.nestedGroups;
  } else if (waits) {
    ++counts.waitingGroups;
  } else if (group.members.empty()) {
    ++counts.emptyGroups;
  } else if (paths.empty()) {
    ++counts.tooWideGroups;
  } else {
    groups[paths].groupIds.push_back(group.id);
  }
}

void StreamModel::wantRoute(Way const& way, std::uint32_t maxWidth, Wanted& wanted,
                            GroupMap& groups) const {
  if (std::holds_alternative<Drop>(way)) {
    ++wanted.counts.droppingRoutes;
  } else if (auto const* const named = std::get_if<ById>(&way)) {
    auto const found = ids_.find(named->id);
    if (found == ids_.end()) {
      ++wanted.counts.waitingRoutes;
    } else if (auto const* const single = std::get_if<Fpm::NextHop>(&found->second.contents)) {
      ++wanted.ingress[identityOf(*single)];
    } else if (std::holds_alternative<Blackhole>(found->second.contents)) {
      ++wanted.counts.droppingRoutes;
    }
  } else {
    auto const& own = std::get<OwnPaths>(way);
    if (std::any_of(own.paths.begin(), own.paths.end(),
                    [](Fpm::Route::Path const& path) { return path.interface == 0; })) {
      ++wanted.counts.withoutInterface;
    } else if (own.paths.size() == 1) {
      ++wanted.ingress[identityOf(own.paths.front(), own.family)];
    } else {
      std::vector<WeightedPath> members;
      for (Fpm::Route::Path const& path : own.paths) {
        members.push_back({identityOf(path, own.family), weightOf(path.weightByte)});
      }
      Paths const paths = spreadOf(members, maxWidth).paths;
      if (paths.empty()) {
        ++wanted.counts.tooWideRoutes;
      } else {
        ++groups[paths].routes;
      }
    }
  }
}

}  // namespace OrviaL3Agent
