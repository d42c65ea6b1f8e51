#include "agent/Mapping.h"

#include <linux/rtnetlink.h>

#include <algorithm>
#include <set>
#include <utility>
#include <variant>

namespace OrviaL3Agent {

// What becomes of each kind of message.
struct Mapping::Dispatch {
  Mapping& mapping;

  void operator()(Fpm::NextHop const& nextHop) const {
    ++mapping.counts_.nextHops;
    mapping.idIs(nextHop.id, nextHop, &mapping.nextHopCounts_);
  }
  void operator()(Fpm::NextHopGroup const& group) const {
    ++mapping.counts_.groups;
    mapping.idIs(group.id, group, &mapping.groupCounts_);
  }
  void operator()(Fpm::BlackholeNextHop const& blackhole) const {
    ++mapping.counts_.blackholes;
    mapping.idIs(blackhole.id, blackhole, nullptr);
  }
  void operator()(Fpm::NextHopWithdrawal const& withdrawal) const {
    StreamCounts& counts = mapping.counts_;
    switch (mapping.ids_.withdraw(withdrawal.id)) {
      case Ids::Withdrawn::nextHop:
        ++counts.nextHopWithdrawals;
        ++mapping.nextHopCounts_.withdrawn;
        break;
      case Ids::Withdrawn::group:
        ++counts.groupWithdrawals;
        ++mapping.groupCounts_.withdrawn;
        break;
      case Ids::Withdrawn::blackhole:
        ++counts.blackholeWithdrawals;
        break;
      case Ids::Withdrawn::unknown:
        ++counts.unknownWithdrawals;
        break;
    }
  }
  void operator()(Fpm::Route const& route) const {
    if (route.type != RTN_UNICAST) {
      ++mapping.counts_.routesThatDrop;
    } else if (route.nextHopId) {
      ++mapping.counts_.routesById;
    } else {
      ++mapping.counts_.routesWithPaths;
    }
    mapping.routes_.routeIs(route);
  }
  void operator()(Fpm::RouteWithdrawal const& withdrawal) const {
    ++mapping.counts_.routeWithdrawals;
    mapping.routes_.routeDel(withdrawal);
  }
  void operator()(Fpm::SkippedMessage const&) const { ++mapping.counts_.skippedMessages; }
};

Mapping::Mapping(Tables tables, NextHopParts& parts, Hardware const& hardware,
                 std::shared_ptr<RowKey::Rows> rows, std::uint32_t maxWidth, StreamCounts& counts)
    : tables_(std::move(tables)),
      hardware_(hardware),
      counts_(counts),
      ecmp_(tables_.ecmp, parts),
      ingress_(tables_.ingress, parts, hardware, std::move(rows)),
      groups_(tables_.groups, tables_.members, ecmp_, hardware),
      ids_([this](std::uint32_t id) { groupEnds(id); }),
      groupIds_(ids_, groups_, maxWidth),
      routes_(ids_, groupIds_, ingress_, groups_, maxWidth) {}

Mapping::~Mapping() {
  // Everybody lets go, and nothing is removed for that.
  ids_.end();
  groups_.end();
  ingress_.end();
  ecmp_.end();
}

void Mapping::groupEnds(std::uint32_t id) {
  groupIds_.groupDel(id);
  // Groups that named it may go on once the id is a next hop, and wait for that now.
  Ids::Id const* const named = ids_.find(id);
  if (named == nullptr) return;
  for (std::uint32_t const group : std::set<std::uint32_t>(named->groups)) {
    if (groupIds_.find(group) != nullptr) groupIds_.update(group);
  }
}

void Mapping::messageIs(Fpm::Message const& message) {
  std::visit(Dispatch{*this}, message.content);
}

void Mapping::idIs(std::uint32_t id, Ids::Contents contents, IdCounts* counts) {
  Ids::Id const* const before = ids_.find(id);
  bool const isSameKind = before != nullptr && before->contents.index() == contents.index();
  bool const isSame = isSameKind && before->contents == contents;
  if (counts != nullptr) {
    ++(isSame ? counts->repeated : isSameKind ? counts->changed : counts->announced);
  }
  if (before != nullptr && !isSameKind) {
    for (RouteKey const& route : before->routes) routes_.keepRows(route);
  }
  if (!isSame || before->withdrawn) ids_.contentsIs(id, std::move(contents));
  auto const* const group = ids_.find(id)->as<Fpm::NextHopGroup>();
  if (group != nullptr && !isSame) groupIds_.groupIs(Fpm::NextHopGroup(*group));
  nextHopCounts_.peak = std::max(nextHopCounts_.peak, ids_.nextHops());
  groupCounts_.peak = std::max(groupCounts_.peak, groupIds_.ids().size());
  tellUsers(id, isSame);
}

// Said again as it was, an id is a second chance for what failed.
void Mapping::tellUsers(std::uint32_t id, bool isSame) {
  // Copies: what these do may bring users and take them.
  std::set<std::uint32_t> groups = ids_.find(id)->groups;
  std::set<RouteKey> const routes = ids_.find(id)->routes;
  if (isSame) {
    if (auto const* const nextHop = ids_.find(id)->as<Fpm::NextHop>()) {
      ingress_.retry(identityOf(*nextHop));
    }
    if (groupIds_.find(id) != nullptr) groups.insert(id);
  }
  for (std::uint32_t const group : groups) {
    if (groupIds_.find(group) != nullptr) groupIds_.update(group);
  }
  if (isSame) return;
  for (RouteKey const& route : routes) routes_.update(route);
}

std::vector<Mapping::Kept> Mapping::kept() const {
  std::vector<Kept> kept;
  for (auto const& [id, group] : groupIds_.ids()) {
    bool const isOld = !group.missing.empty() || !group.reason.empty();
    if (group.group && isOld) kept.push_back({std::nullopt, group.group->paths});
    if (group.former) kept.push_back({std::nullopt, group.former->paths});
  }
  for (auto const& [key, route] : routes_.routes()) {
    if (route.former.hop) kept.push_back({route.former.hop->identity, std::nullopt});
    if (route.former.group) kept.push_back({std::nullopt, route.former.group->paths});
  }
  for (auto const& [number, group] : held_.groups()) {
    if (groups_.inForce(*group)) kept.push_back({std::nullopt, group->paths});
  }
  for (auto const& [identity, hop] : held_.hops()) {
    if (ingress_.inForce(*hop)) kept.push_back({identity, std::nullopt});
  }
  return kept;
}

void Mapping::mark() {
  marking_ = Marking::groupIds;
  lastId_.reset();
  lastRoute_.reset();
}

bool Mapping::markSlice(Deadline const& deadline) {
  if (marking_ == Marking::groupIds && markGroupIds(deadline)) marking_ = Marking::routes;
  if (marking_ == Marking::routes && markRoutes(deadline)) marking_ = Marking::ends;
  return marking_ == Marking::ends && endIds(deadline);
}

// First of all, since routes that let go of an id may be its end, and that of its group.
bool Mapping::markGroupIds(Deadline const& deadline) {
  auto const& ids = groupIds_.ids();
  auto at = lastId_ ? ids.upper_bound(*lastId_) : ids.begin();
  for (; at != ids.end() && !deadline.isOver(); ++at) {
    held_.add(at->second.group);
    held_.add(at->second.former);
    lastId_ = at->first;
  }
  return at == ids.end();
}

bool Mapping::markRoutes(Deadline const& deadline) {
  auto const& routes = routes_.routes();
  auto at = lastRoute_ ? routes.upper_bound(*lastRoute_) : routes.begin();
  for (; at != routes.end() && !deadline.isOver(); ++at) {
    routes_.staleIs(at->first, held_);
    lastRoute_ = at->first;
  }
  return at == routes.end();
}

// Groups before the ids that they name.
bool Mapping::endIds(Deadline const& deadline) {
  while (!groupIds_.ids().empty()) {
    if (deadline.isOver()) return false;
    groupIds_.groupDel(groupIds_.ids().begin()->first);
  }
  while (!ids_.ids().empty()) {
    if (deadline.isOver()) return false;
    ids_.forget(ids_.ids().begin()->first);
  }
  return true;
}

Mapping::Stale Mapping::stale() const {
  return {routes_.stale(), held_.groups().size(), held_.hops().size()};
}

void Mapping::sweep() {
  lastRoute_.reset();
  swept_ = {};
}

bool Mapping::sweepSlice(Deadline const& deadline) {
  if (stale().empty()) return true;
  if (!sweepRoutes(deadline)) return false;
  std::uint64_t const groups = groups_.counts().ended;
  std::uint64_t const hops = ingress_.counts().ended;
  while (!held_.empty() && !deadline.isOver()) held_.dropOne();
  swept_.groups += groups_.counts().ended - groups;
  swept_.hops += ingress_.counts().ended - hops;
  if (!held_.empty()) return false;
  // The daemon has said again what failed: a second chance for it.
  retry(false);
  return true;
}

bool Mapping::sweepRoutes(Deadline const& deadline) {
  auto const& routes = routes_.routes();
  auto at = lastRoute_ ? routes.upper_bound(*lastRoute_) : routes.begin();
  while (routes_.stale() > 0 && at != routes.end()) {
    if (deadline.isOver()) return false;
    auto const looked = at++;
    lastRoute_ = looked->first;
    if (!looked->second.stale) continue;
    ++swept_.routes;
    routes_.staleDel(RouteKey(looked->first));
  }
  return true;
}

void Mapping::retry(bool unanswered) {
  retryFailed(unanswered);
  if (sink_ != nullptr) sink_->retry();
}

void Mapping::retryFailed(bool unanswered) {
  // What an answer within these completes may find no room.
  if (ecmp_.retryAll(unanswered)) groups_.noRoom();
  ingress_.retryAll(unanswered);
  groups_.retryAll(unanswered);
  groups_.retryNotPlaced();
}

void Mapping::settle() {
  settleHolders();
  // What never came into hardware gives its row back without a call.
  std::uint64_t const freed =
      hardware_.deletes() + ingress_.counts().ended + ecmp_.counts().ended + released_;
  if (freed == freedSeen_) return;
  freedSeen_ = freed;
  retryFailed(false);
  settleHolders();
}

void Mapping::settleHolders() {
  groupIds_.settle();
  routes_.settle();
}

}  // namespace OrviaL3Agent
