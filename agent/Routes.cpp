#include "agent/Routes.h"

#include <fmt/format.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <utility>

namespace OrviaL3Agent {

Routes::Routes(Ids& ids, GroupIds& groupIds, IngressNextHops& hops, Groups& groups,
               std::uint32_t maxWidth)
    : ids_(ids), groupIds_(groupIds), hops_(hops), groups_(groups), maxWidth_(maxWidth) {}

void Routes::routeIs(Fpm::Route const& announced) {
  RouteKey const key = keyOf(announced);
  auto const [found, isNew] = routes_.try_emplace(key);
  Route& route = found->second;
  bool const same = !isNew && route.announced == announced;
  ++(isNew ? counts_.announced : same ? counts_.repeated : counts_.changed);
  route.leaving = false;
  if (isNew) {
    prefixes_[key.table].insertOrFind(key.prefix()).insert(key.priority);
    counts_.peak = std::max(counts_.peak, routes_.size());
  }
  if (!isNew) unwatch(key, route);
  if (std::exchange(route.stale, false)) --stale_;
  if (announced.nextHopId) ids_.watcherIs(*announced.nextHopId, key);
  route.announced = announced;
  resolve(key, route);
  if (isNew && route.way.kind == Way::Kind::unknownId) ++counts_.waitedForId;
}

void Routes::routeDel(Fpm::RouteWithdrawal const& withdrawn) {
  RouteKey const key = keyOf(withdrawn);
  auto const found = routes_.find(key);
  if (found == routes_.end() || found->second.leaving) {
    ++counts_.unknownWithdrawals;
    return;
  }
  found->second.leaving = true;
  leaving_.push_back(key);
}

void Routes::frameEnds() {
  ending_.insert(ending_.end(), leaving_.begin(), leaving_.end());
  leaving_.clear();
}

bool Routes::endSlice(Steps& steps) {
  while (!ending_.empty()) {
    if (!steps.take()) return false;
    RouteKey const key = ending_.front();
    ending_.pop_front();
    auto const found = routes_.find(key);
    if (found == routes_.end() || !found->second.leaving) continue;
    ++counts_.withdrawn;
    erase(key);
  }
  return true;
}

void Routes::staleIs(RouteKey const& key, KeptUses& kept) {
  Route& route = routes_.at(key);
  // Before anything is let go of.
  for (Way const* way : {&route.way, &route.former}) {
    kept.add(way->hop);
    kept.add(way->group);
  }
  if (route.stale) return;
  keepRows(route);
  unwatch(key, route);
  moves(key, route, std::nullopt);
  route.way = Way();
  route.way.reason = "not said again";
  route.stale = true;
  ++stale_;
}

void Routes::staleDel(RouteKey const& key) {
  ++counts_.swept;
  erase(key);
}

void Routes::unwatch(RouteKey const& key, Route const& route) {
  if (!route.stale && route.announced.nextHopId) ids_.watcherDel(*route.announced.nextHopId, key);
}

void Routes::erase(RouteKey const& key) {
  moves(key, routes_.at(key), std::nullopt);
  auto node = routes_.extract(key);
  auto& prefixes = prefixes_.at(key.table);
  std::set<std::uint32_t>& priorities = prefixes.insertOrFind(key.prefix());
  priorities.erase(key.priority);
  if (priorities.empty()) prefixes.erase(key.prefix());
  unwatch(key, node.mapped());
  if (node.mapped().stale) --stale_;
  tell(key, node.mapped().former);
  tell(key, node.mapped().way);
}

void Routes::update(RouteKey const& key) {
  auto const found = routes_.find(key);
  if (found != routes_.end()) resolve(key, found->second);
}

Routes::Way Routes::wayById(std::uint32_t id) const {
  Way way;
  way.id = ids_.hold(id, Ids::User::route);
  Ids::Id const& contents = *ids_.find(id);
  if (auto const* const nextHop = contents.as<Fpm::NextHop>()) {
    way.kind = Way::Kind::hop;
    way.hop = hops_.use(identityOf(*nextHop));
  } else if (contents.as<Fpm::NextHopGroup>() != nullptr) {
    way.kind = Way::Kind::groupId;
  } else {
    way.kind = contents.known() ? Way::Kind::drop : Way::Kind::unknownId;
  }
  return way;
}

Spread Routes::spreadOf(Fpm::Route const& route, Way& way) const {
  std::vector<WeightedPath> paths;
  for (Fpm::Route::Path const& path : route.paths) {
    paths.push_back({identityOf(path, route.destination.address.family), path.weightByte + 1U});
  }
  Spread spread = OrviaL3Agent::spreadOf(paths, maxWidth_);
  if (spread.paths.empty()) {
    way.reason = fmt::format("{} paths, a block has at most {} rows", paths.size(), maxWidth_);
  }
  return spread;
}

void Routes::resolve(RouteKey const& key, Route& route) {
  Fpm::Route const& announced = route.announced;
  Way next;
  if (announced.type != RTN_UNICAST) {
    next.kind = Way::Kind::drop;
  } else if (announced.nextHopId) {
    next = wayById(*announced.nextHopId);
  } else if (announced.paths.empty()) {
    next.reason = "neither a next-hop id nor a path";
  } else if (std::any_of(announced.paths.begin(), announced.paths.end(),
                         [](Fpm::Route::Path const& path) { return path.interface == 0; })) {
    next.reason = "a path without an interface";
  } else if (announced.paths.size() == 1) {
    next.kind = Way::Kind::hop;
    next.hop = hops_.use(identityOf(announced.paths.front(), announced.destination.address.family));
  } else if (Spread const spread = spreadOf(announced, next); next.reason.empty()) {
    if (route.way.kind == Way::Kind::group) {
      // From paths to paths: the group itself changes if it is this route's alone.
      Groups::Use former;
      if (route.way.group->paths != spread.paths) {
        scaling_.add(spread);
        tell(key, route.former);
        groups_.change(route.way.group, former, spread.paths);
      } else {
        groups_.retry(*route.way.group, false);
      }
      if (former) {
        route.former = Way();
        route.former.kind = Way::Kind::group;
        route.former.group = std::move(former);
      }
      settle(key, route);
      return;
    }
    scaling_.add(spread);
    next.kind = Way::Kind::group;
    next.group = groups_.use(spread.paths);
  }
  move(key, route, std::move(next));
}

void Routes::move(RouteKey const& key, Route& route, Way next) {
  bool const same = next.kind == route.way.kind && next.id.id() == route.way.id.id() &&
                    next.hop == route.way.hop && next.group == route.way.group;
  // Said again: a second chance for what failed.
  if (same && next.kind == Way::Kind::hop) hops_.retry(*next.hop, false);
  if (!same) {
    tell(key, route.former);
    tell(key, route.way);
    keepRows(route);
  }
  route.way = std::move(next);
  settle(key, route);
}

void Routes::keepRows(RouteKey const& key) {
  auto const found = routes_.find(key);
  if (found == routes_.end() || found->second.way.kind != Way::Kind::groupId) return;
  tell(key, found->second.former);
  keepRows(found->second);
  found->second.way = Way();
}

// What may lead packets becomes the former way, without the id that it names. A way that does not
// leaves the former one as it is.
void Routes::keepRows(Route& route) {
  Way const& way = route.way;
  Way rows;
  if (way.kind == Way::Kind::drop) {
    rows.kind = Way::Kind::drop;
  } else if (way.kind == Way::Kind::hop && hops_.mayLead(*way.hop)) {
    rows.kind = Way::Kind::hop;
    rows.hop = way.hop;
  } else if (way.kind == Way::Kind::group && groups_.mayLead(*way.group)) {
    rows.kind = Way::Kind::group;
    rows.group = way.group;
  } else if (way.kind == Way::Kind::groupId) {
    GroupIds::GroupId const& group = *groupIds_.find(way.id.id());
    rows.group = groupIds_.leading(group);
    rows.kind = group.drops() ? Way::Kind::drop : rows.group ? Way::Kind::group : Way::Kind::none;
  }
  if (rows.kind != Way::Kind::none) route.former = std::move(rows);
}

void Routes::settle(RouteKey const& key, Route& route) {
  if (route.former.kind == Way::Kind::none || inForce(route.way)) {
    moves(key, route, std::nullopt);
    if (route.former.kind != Way::Kind::none) tell(key, route.former);
    route.former = Way();
  } else {
    moves(key, route, targetOf(route.way));
  }
}

void Routes::moves(RouteKey const& key, Route& route, std::optional<Target> const& to) {
  if (route.movesTo == to) return;
  if (route.movesTo) {
    auto const found = moving_.find(*route.movesTo);
    found->second.erase(key);
    if (found->second.empty()) moving_.erase(found);
  }
  if (to) moving_[*to].insert(key);
  route.movesTo = to;
}

Routes::Target Routes::targetOf(Way const& way) {
  Target target;
  target.kind = way.kind;
  target.number = way.group ? way.group->number : way.id.id();
  if (way.hop) target.identity = way.hop->identity;
  return target;
}

// One look for all routes that wait for the same, and in vain.
bool Routes::settleSlice(Steps& steps) {
  for (;;) {
    std::optional<Moving> const next = nextMoving();
    if (!next) return true;
    if (!steps.take()) return false;
    looked_ = next;
    RouteKey const key = *next->route;
    Route& route = routes_.at(key);
    if (inForce(route.way)) {
      settle(key, route);
    } else {
      looked_->route.reset();
    }
  }
}

std::optional<Routes::Moving> Routes::nextMoving() const {
  auto at = moving_.begin();
  if (looked_) {
    at = moving_.lower_bound(looked_->target);
    if (at != moving_.end() && at->first == looked_->target) {
      if (looked_->route) {
        auto const next = at->second.upper_bound(*looked_->route);
        if (next != at->second.end()) return Moving{at->first, *next};
      }
      ++at;
    }
  }
  if (at == moving_.end()) return std::nullopt;
  return Moving{at->first, *at->second.begin()};
}

bool Routes::inForce(Way const& way) const {
  switch (way.kind) {
    case Way::Kind::none:
    case Way::Kind::unknownId:
      return false;
    case Way::Kind::drop:
      return true;
    case Way::Kind::hop:
      return hops_.inForce(*way.hop);
    case Way::Kind::group:
      return groups_.inForce(*way.group);
    case Way::Kind::groupId:
      break;
  }
  GroupIds::GroupId const* const group = groupIds_.find(way.id.id());
  return group != nullptr && (group->drops() || groupIds_.inForce(*group));
}

bool Routes::leads(Way const& way) const {
  if (!inForce(way)) return false;
  Groups::Use group = way.group;
  if (way.kind == Way::Kind::groupId) group = groupIds_.leading(*groupIds_.find(way.id.id()));
  return !group || groups_.missingMemberRows(*group) == 0;
}

Routes::State Routes::state(Route const& route) const {
  Way const& way = route.way;
  GroupIds::GroupId const* const group =
      way.kind == Way::Kind::groupId ? groupIds_.find(way.id.id()) : nullptr;
  if (way.kind == Way::Kind::drop || (group != nullptr && group->drops())) return State::drop;
  if (leads(way)) return State::forwarded;
  if (route.former.kind != Way::Kind::none && leads(route.former)) return State::formerWay;
  if (way.kind == Way::Kind::unknownId) return State::unknownId;
  bool const isPossible =
      route.stale || (way.kind != Way::Kind::none && (group == nullptr || group->reason.empty()));
  return isPossible ? State::notInForce : State::notPossible;
}

void Routes::tell(RouteKey const& key, Way const& way) const {
  if (sink_ != nullptr) sink_->routeChanged(key, way.hop, way.group);
}

Routes::Lead Routes::leadOf(Way const& way) const {
  switch (way.kind) {
    case Way::Kind::none:
    case Way::Kind::unknownId:
      break;
    case Way::Kind::drop:
      return {Lead::Kind::drop, nullptr, nullptr};
    case Way::Kind::hop:
      if (hops_.mayLead(*way.hop)) return {Lead::Kind::hop, way.hop, nullptr};
      break;
    case Way::Kind::group:
      if (groups_.mayLead(*way.group)) return {Lead::Kind::group, nullptr, way.group};
      break;
    case Way::Kind::groupId: {
      GroupIds::GroupId const* const group = groupIds_.find(way.id.id());
      if (group == nullptr) break;
      if (group->drops()) return {Lead::Kind::drop, nullptr, nullptr};
      if (Groups::Use leading = groupIds_.leading(*group)) {
        return {Lead::Kind::group, nullptr, std::move(leading)};
      }
      break;
    }
  }
  return {};
}

Routes::Lead Routes::lead(Route const& route) const {
  if (inForce(route.way)) return leadOf(route.way);
  return leadOf(route.former);
}

std::vector<RouteKey> Routes::lookup(Fpm::Address const& address) const {
  std::vector<RouteKey> found;
  for (auto const& [table, prefixes] : prefixes_) {
    if (auto const* const match = prefixes.longestMatch(address)) {
      found.push_back({table, match->first.address, match->first.length, *match->second.begin()});
    }
  }
  return found;
}

}  // namespace OrviaL3Agent
