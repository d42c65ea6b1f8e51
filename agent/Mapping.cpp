#include "agent/Mapping.h"

#include <linux/rtnetlink.h>

#include <algorithm>
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
      routes_(ids_, groupIds_, ingress_, groups_, maxWidth),
      changes_(ids_, groupIds_, routes_, ingress_) {}

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
  changes_.groupEnds(id);
}

void Mapping::messageIs(Fpm::Message const& message) {
  if (isBehind()) {
    wait(message);
  } else {
    begin(&message);
  }
}

void Mapping::frameEnds() {
  if (isBehind()) {
    wait(std::nullopt);
  } else {
    begin(nullptr);
  }
}

void Mapping::wait(std::optional<Fpm::Message> const& message) {
  pending_.push_back(message);
  if (sliceTime_) return;
  Steps all = steps();
  work(all);
}

void Mapping::begin(Fpm::Message const* message) {
  handle(message);
  Steps some = steps();
  work(some);
}

// None is the end of a frame.
void Mapping::handle(Fpm::Message const* message) {
  ++handled_;
  if (message != nullptr) {
    std::visit(Dispatch{*this}, message->content);
  } else {
    routes_.frameEnds();
  }
}

void Mapping::idIs(std::uint32_t id, Ids::Contents contents, IdCounts* counts) {
  Ids::Id const* const before = ids_.find(id);
  bool const isSameKind = before != nullptr && before->contents.index() == contents.index();
  bool const isSame = isSameKind && before->contents == contents;
  if (counts != nullptr) {
    ++(isSame ? counts->repeated : isSameKind ? counts->changed : counts->announced);
  }
  changes_.idIs(id, std::move(contents));
}

void Mapping::work(Steps& steps) {
  while (changes_.slice(steps) && routes_.endSlice(steps)) {
    nextHopCounts_.peak = std::max(nextHopCounts_.peak, ids_.nextHops());
    groupCounts_.peak = std::max(groupCounts_.peak, groupIds_.ids().size());
    // What ends with a route may be a group.
    if (!changes_.isOver()) continue;
    if (pending_.empty() || !steps.take()) return;
    std::optional<Fpm::Message> const next = std::move(pending_.front());
    pending_.pop_front();
    handle(next ? &*next : nullptr);
  }
}

void Mapping::interfaceIs(std::uint32_t interface, bool up) {
  ++handled_;
  groups_.interfaceIs(interface, up);
  Steps some = steps();
  repairSlice(some);
}

void Mapping::repairSlice(Steps& steps) { (void)groups_.repairSlice(steps); }

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
  // What the connection before has said comes first.
  Steps some = steps();
  work(some);
  if (isBehind()) return false;
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
  if (sink_ != nullptr) sink_->retry();
  if (retry_ != Retry::none && !unanswered) {
    retriesAgain_ = true;
    return;
  }
  beginRetry(unanswered);
  Steps some = steps();
  retrySlice(some);
}

void Mapping::beginRetry(bool unanswered) {
  retriesUnanswered_ = unanswered;
  retriesAgain_ = false;
  retry_ = Retry::ecmp;
  ecmp_.retryAll(unanswered);
}

// One table after the other, each from what has failed by then.
void Mapping::retrySlice(Steps& steps) {
  if (retry_ == Retry::ecmp) {
    // What an answer within these completes may find no room.
    bool noRoom = false;
    bool const isOver = ecmp_.retrySlice(steps, noRoom);
    if (noRoom) groups_.noRoom();
    if (!isOver) return;
    retry_ = Retry::ingress;
    ingress_.retryAll(retriesUnanswered_);
  }
  if (retry_ == Retry::ingress) {
    if (!ingress_.retrySlice(steps)) return;
    retry_ = Retry::groups;
    groups_.retryAll(retriesUnanswered_);
  }
  if (retry_ == Retry::groups) {
    if (!groups_.retrySlice(steps)) return;
    retry_ = Retry::notPlaced;
    groups_.retryNotPlaced();
  }
  if (!groups_.retryNotPlacedSlice(steps)) return;
  retry_ = Retry::none;
  if (retriesAgain_) beginRetry(false);
}

// What has no room in the middle of it is made good, and the rest done.
template <class Slice>
void Mapping::doSlice(Steps steps, Slice const& slice) {
  for (;;) {
    try {
      return slice(steps);
    } catch (Asic::NoRowException const&) {
      groups_.noRoom();
      if (sliceTime_) return;
    }
  }
}

void Mapping::settle() {
  // Packets are lost for as long as a failed interface is not dealt with.
  if (groups_.isRepairing()) doSlice(steps(), [this](Steps& some) { repairSlice(some); });
  if (isBehind()) doSlice(steps(), [this](Steps& some) { work(some); });
  settleHolders();
  // What never came into hardware gives its row back without a call.
  std::uint64_t const freed =
      hardware_.deletes() + ingress_.counts().ended + ecmp_.counts().ended + released_;
  std::uint64_t const more = freed - std::exchange(freedSeen_, freed);
  if (more > 0 && retry_ == Retry::none) {
    beginRetry(false);
  } else if (more > 0) {
    retriesAgain_ = true;
  }
  if (retry_ == Retry::none) return;
  // While rows come and go, what fails again and again is not written over and over: there are as
  // many chances as rows that came free.
  bool const isAsked = retriesUnanswered_;
  std::size_t const most = isAsked ? Steps::kNoLimit : std::max<std::size_t>(more, kLeastRetries);
  do {
    doSlice(Steps(sliceTime_, most), [this](Steps& some) { retrySlice(some); });
  } while (retry_ != Retry::none && !sliceTime_);
  if (!sliceTime_) settleHolders();
}

void Mapping::settleHolders() {
  if (!isSettling_) {
    std::uint64_t const now = activity();
    if (sliceTime_ && now == settledActivity_) return;
    settledActivity_ = now;
    isSettling_ = true;
    groupIds_.settle();
    routes_.settle();
  }
  Steps forGroups = steps();
  Steps forRoutes = steps();
  bool const areGroupsSettled = groupIds_.settleSlice(forGroups);
  isSettling_ = !routes_.settleSlice(forRoutes) || !areGroupsSettled;
}

}  // namespace OrviaL3Agent
