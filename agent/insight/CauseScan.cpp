#include "agent/insight/CauseScan.h"

#include <algorithm>
#include <tuple>

namespace OrviaL3Agent::Insight {

// With a slot for each of the next hops and groups, nothing has to be moved on the way.
CauseScan::CauseScan(Agent const& agent)
    : agent_(agent),
      slots_(1024 +
             2 * (agent.mapping().ecmp().hops().size() + agent.mapping().ingress().hops().size() +
                  agent.mapping().groups().groups().size())) {}

bool CauseScan::runSlice() {
  Slice slice;
  bool isDone = false;
  while (!slice.isOver()) {
    switch (phase_) {
      case Phase::ecmpHops:
        isDone = scanEcmpHops(slice);
        break;
      case Phase::groups:
        isDone = scanGroups(slice);
        break;
      case Phase::groupIds:
        isDone = scanGroupIds(slice);
        break;
      case Phase::ingressHops:
        isDone = scanIngressHops(slice);
        break;
      case Phase::routes:
        isDone = scanRoutes(slice);
        break;
      case Phase::spread:
        isDone = spread(slice);
        break;
      case Phase::rank:
        if (rank(slice)) return true;
        continue;
    }
    if (!isDone) continue;
    phase_ = static_cast<Phase>(static_cast<std::uint8_t>(phase_) + 1);
    identity_.reset();
    number_.reset();
    at_ = 0;
  }
  return false;
}

bool CauseScan::scanEcmpHops(Slice& slice) {
  auto const& hops = agent_.mapping().ecmp().hops();
  auto at = identity_ ? hops.upper_bound(*identity_) : hops.begin();
  for (; at != hops.end() && !slice.isOver(); ++at) {
    slice.spend();
    identity_ = at->first;
    addCauses(agent_, *at->second, found_);
    for (CauseIndex const cause : indices()) ++causes_[cause].nextHops;
  }
  return at == hops.end();
}

bool CauseScan::scanGroups(Slice& slice) {
  auto const& groups = agent_.mapping().groups().groups();
  auto at = number_ ? groups.upper_bound(*number_) : groups.begin();
  for (; at != groups.end() && !slice.isOver(); ++at) {
    slice.spend(1 + at->second->chain.width / 8 + at->second->chain.hops.size() / 2);
    number_ = at->first;
    scanGroup(*at->second);
  }
  return at == groups.end();
}

void CauseScan::scanGroup(Groups::Group const& group) {
  if (groups_.size() <= group.number) groups_.resize(2 * std::size_t{group.number} + 1);
  Waiting& waiting = groups_[group.number];
  if (waiting.isSeen) return;
  waiting.isSeen = true;
  addCauses(agent_, group, found_);
  waiting.causes = indices();
  // A block that two groups share counts once.
  void const* const block = group.chain.block.get();
  bool const countsBlock =
      block != nullptr && blocks_.try_emplace(block, group.number).first->second == group.number;
  bool const isInPlace = agent_.mapping().groups().state(group) == Groups::State::programmed ||
                         agent_.mapping().groups().state(group) == Groups::State::refused ||
                         agent_.mapping().groups().state(group) == Groups::State::unanswered;
  for (CauseIndex const cause : waiting.causes) {
    CauseCount& count = causes_[cause];
    ++count.groups;
    bool const isBlocks = std::holds_alternative<BlockName>(count.cause.entry);
    if (countsBlock && (isBlocks || !isInPlace)) ++count.blocks;
  }
  for (std::uint32_t const interface : interfacesWithout(agent_, group)) {
    found_.push_back({{Cause::Kind::interfaceDown, InterfaceName{interface}},
                      agent_.mapping().groups().downSince(interface)});
  }
  for (CauseIndex const cause : indices()) ++causes_[cause].groups;
}

bool CauseScan::scanGroupIds(Slice& slice) {
  auto const& ids = agent_.mapping().groupIds().ids();
  auto at = number_ ? ids.upper_bound(*number_) : ids.begin();
  for (; at != ids.end() && !slice.isOver(); ++at) {
    slice.spend(1 + at->second.missing.size());
    number_ = at->first;
    GroupIds::GroupId const& group = at->second;
    bool const isInItsWay =
        !group.missing.empty() || !group.reason.empty() || !group.blackholes.empty();
    if (isInItsWay) addCauses(agent_, at->first, group, found_);
    Waiting waiting;
    waiting.causes = isInItsWay    ? indices()
                     : group.group ? waitingFor(*group.group).causes
                                   : Indices();
    for (CauseIndex const cause : waiting.causes) ++causes_[cause].groupIds;
    if (isInItsWay && !waiting.causes.empty()) ids_.emplace_back(at->first, std::move(waiting));
  }
  return at == ids.end();
}

bool CauseScan::scanIngressHops(Slice& slice) {
  auto const& hops = agent_.mapping().ingress().hops();
  auto at = identity_ ? hops.upper_bound(*identity_) : hops.begin();
  for (; at != hops.end() && !slice.isOver(); ++at) {
    slice.spend();
    identity_ = at->first;
    addCauses(agent_, *at->second, found_);
    for (CauseIndex const cause : indices()) ++causes_[cause].nextHops;
  }
  return at == hops.end();
}

bool CauseScan::scanRoutes(Slice& slice) {
  auto const& routes = agent_.mapping().routes().routes();
  auto at = route_ ? routes.upper_bound(*route_) : routes.begin();
  for (; at != routes.end() && !slice.isOver(); ++at) {
    slice.spend();
    route_ = at->first;
    scanRoute(at->first, at->second);
  }
  return at == routes.end();
}

void CauseScan::scanRoute(RouteKey const& key, Routes::Route const& route) {
  using Kind = Routes::Way::Kind;
  Routes::Way const& way = neededWay(route);
  Groups::Use group = way.group;
  if (way.kind == Kind::groupId) {
    if (Waiting* const waiting = waitingFor(way.id.id())) return count(*waiting, route);
    auto const* const id = agent_.mapping().groupIds().find(way.id.id());
    if (id == nullptr || !id->group) return;
    group = id->group;
  }
  if (group) {
    Waiting& waiting = waitingFor(*group);
    if (!waiting.causes.empty()) count(waiting, route);
    return;
  }
  addCauses(agent_, key, route, found_);
  if (found_.empty()) return;
  Routes::State const state = agent_.mapping().routes().state(route);
  for (CauseIndex const cause : indices()) countRoute(cause, state);
}

namespace {

bool isLed(Routes::State state) {
  return state == Routes::State::forwarded || state == Routes::State::formerWay ||
         state == Routes::State::drop;
}

}  // namespace

void CauseScan::count(Waiting& waiting, Routes::Route const& route) const {
  ++(isLed(agent_.mapping().routes().state(route)) ? waiting.kept : waiting.routes);
}

// To an interface that is down packets are led, and no further.
void CauseScan::countRoute(CauseIndex cause, Routes::State state) {
  CauseCount& count = causes_[cause];
  bool const isDown = count.cause.kind == Cause::Kind::interfaceDown;
  ++(isLed(state) && !isDown ? count.kept : count.routes);
}

CauseScan::Waiting& CauseScan::waitingFor(Groups::Group const& group) {
  // One that was made after its phase is looked at now.
  scanGroup(group);
  return groups_[group.number];
}

CauseScan::Waiting* CauseScan::waitingFor(std::uint32_t id) {
  auto const found = std::lower_bound(ids_.begin(), ids_.end(), id,
                                      [](auto const& one, auto key) { return one.first < key; });
  return found == ids_.end() || found->first != id ? nullptr : &found->second;
}

// Routes are counted where they point to, and with its causes only now: each of a million routes
// may wait for each of hundreds of next hops.
bool CauseScan::spread(Slice& slice) {
  std::size_t const all = groups_.size() + ids_.size();
  for (; at_ < all && !slice.isOver(); ++at_) {
    Waiting const& waiting =
        at_ < groups_.size() ? groups_[at_] : ids_[at_ - groups_.size()].second;
    slice.spend(1 + waiting.causes.size() / 16);
    spread(waiting);
  }
  return at_ == all;
}

void CauseScan::spread(Waiting const& waiting) {
  for (CauseIndex const cause : waiting.causes) {
    CauseCount& count = causes_[cause];
    bool const isDown = count.cause.kind == Cause::Kind::interfaceDown;
    count.routes += waiting.routes + (isDown ? waiting.kept : 0);
    if (!isDown) count.kept += waiting.kept;
  }
}

bool CauseScan::Before::operator()(CauseIndex a, CauseIndex b) const {
  auto const rankOf = [this](CauseIndex index) {
    CauseCount const& count = causes[index];
    std::uint64_t const entries =
        count.kept + count.groupIds + count.groups + count.blocks + count.nextHops;
    // Of equals, the one that was found first.
    return std::make_tuple(count.routes, entries, ~index);
  };
  return rankOf(a) < rankOf(b);
}

// A heap, since sorting it all would take longer than a slice.
bool CauseScan::rank(Slice& slice) {
  for (; at_ < causes_.size() && !slice.isOver(); ++at_) {
    slice.spend();
    ranked_.push_back(static_cast<CauseIndex>(at_));
    std::push_heap(ranked_.begin(), ranked_.end(), Before{causes_});
  }
  return at_ == causes_.size();
}

CauseCount const* CauseScan::next() {
  if (ranked_.empty()) return nullptr;
  std::pop_heap(ranked_.begin(), ranked_.end(), Before{causes_});
  CauseIndex const first = ranked_.back();
  ranked_.pop_back();
  return &causes_[first];
}

std::size_t CauseScan::count(Cause::Kind kind) const {
  return static_cast<std::size_t>(
      std::count_if(causes_.begin(), causes_.end(),
                    [kind](CauseCount const& count) { return count.cause.kind == kind; }));
}

CauseCount const* CauseScan::find(Cause const& cause) const {
  std::uint32_t const index = slots_[slotOf(cause)];
  return index == 0 ? nullptr : &causes_[index - 1];
}

CauseScan::Indices CauseScan::indices() {
  Indices indices;
  indices.reserve(found_.size());
  for (Found const& found : found_) indices.push_back(index(found));
  found_.clear();
  std::sort(indices.begin(), indices.end());
  indices.erase(std::unique(indices.begin(), indices.end()), indices.end());
  return indices;
}

CauseScan::CauseIndex CauseScan::index(Found const& found) {
  std::size_t slot = slotOf(found.cause);
  if (slots_[slot] == 0) {
    if (2 * causes_.size() >= slots_.size()) {
      grow();
      slot = slotOf(found.cause);
    }
    causes_.emplace_back().cause = found.cause;
    slots_[slot] = static_cast<std::uint32_t>(causes_.size());
  }
  CauseCount& count = causes_[slots_[slot] - 1];
  if (found.since && (!count.since || *found.since < *count.since)) count.since = found.since;
  return slots_[slot] - 1;
}

// Where the cause is, or is to be.
std::size_t CauseScan::slotOf(Cause const& cause) const {
  std::size_t slot = hashOf(cause.entry) + static_cast<std::size_t>(cause.kind);
  for (;; ++slot) {
    slot %= slots_.size();
    if (slots_[slot] == 0 || causes_[slots_[slot] - 1].cause == cause) return slot;
  }
}

void CauseScan::grow() {
  slots_ = std::vector<std::uint32_t>(2 * slots_.size());
  for (std::size_t i = 0; i < causes_.size(); ++i) {
    slots_[slotOf(causes_[i].cause)] = static_cast<std::uint32_t>(i + 1);
  }
}

}  // namespace OrviaL3Agent::Insight
