#include "agent/kernel/KernelRoutes.h"

#include <iterator>
#include <utility>

namespace OrviaL3Agent {

KernelRoutes::KernelRoutes(Device device, Mapping const& mapping)
    : device_(std::move(device)), mapping_(mapping) {
  device_->routeAnswersIs(
      [this](auto const& route, auto const& answer) { answered(route, answer); });
}

KernelRoutes::~KernelRoutes() { device_->routeAnswersIs({}); }

KernelNextHop::Route KernelRoutes::routeOf(RouteKey const& key) {
  return {.table = key.table,
          .priority = key.priority,
          .family = key.address.family,
          .length = key.length,
          .prefix = key.address.bytes};
}

RouteKey KernelRoutes::keyOf(KernelNextHop::Route const& route) {
  return {.table = route.table,
          .address = {route.family, route.prefix},
          .length = route.length,
          .priority = route.priority};
}

void KernelRoutes::routeChanged(RouteKey const& key, IngressNextHops::Use hop, Groups::Use group) {
  changed_.push_back({key, std::move(hop), std::move(group)});
}

void KernelRoutes::idChanged(std::uint32_t id, Groups::Use former) {
  // One that is being gone through begins anew.
  for (ChangedId& changed : changedIds_) {
    if (changed.id != id) continue;
    changed.last.reset();
    if (former) changed.held.push_back(std::move(former));
    return;
  }
  ChangedId changed;
  changed.id = id;
  if (former) changed.held.push_back(std::move(former));
  changedIds_.push_back(std::move(changed));
}

void KernelRoutes::retry() {
  // What somebody else took away or changed was answered long ago; only the kernel knows of it.
  device_->recheck();
  if (retried_.empty()) retried_.assign(refused_.begin(), refused_.end());
}

bool KernelRoutes::busy(std::uint64_t answers) const {
  return !changed_.empty() || !changedIds_.empty() || !retried_.empty() ||
         (!waiting_.empty() && (isLooking_ || lookAgain_ || answers != answersSeen_));
}

void KernelRoutes::runSlice(Deadline const& deadline, std::uint64_t answers) {
  while (!changed_.empty()) {
    if (deadline.isOver()) return;
    // What it holds goes when it is done with.
    Changed const changed = std::move(changed_.front());
    changed_.pop_front();
    update(changed.key);
  }
  while (!changedIds_.empty()) {
    if (deadline.isOver()) return;
    if (!updateNext(changedIds_.front())) changedIds_.pop_front();
  }
  for (; !retried_.empty(); retried_.pop_front()) {
    if (deadline.isOver()) return;
    if (refused_.contains(retried_.front())) device_->routeRetry(routeOf(retried_.front()));
  }
  if (answers != answersSeen_) lookAgain_ = true;
  answersSeen_ = answers;
  lookAtWaiting(deadline);
}

bool KernelRoutes::updateNext(ChangedId& changed) {
  Ids::Id const* const id = mapping_.ids().find(changed.id);
  if (id == nullptr) return false;
  auto const next = changed.last ? id->routes.upper_bound(*changed.last) : id->routes.begin();
  if (next == id->routes.end()) return false;
  changed.last = *next;
  update(RouteKey(*next));
  return true;
}

void KernelRoutes::lookAtWaiting(Deadline const& deadline) {
  if (!isLooking_) {
    if (!lookAgain_) return;
    isLooking_ = true;
    lookAgain_ = false;
    lookedAt_.reset();
  }
  auto at = lookedAt_ ? waiting_.upper_bound(*lookedAt_) : waiting_.begin();
  for (; at != waiting_.end() && !deadline.isOver();) {
    lookedAt_ = at->first;
    if (!isOver(at->first, at->second)) {
      ++at;
      continue;
    }
    for (RouteKey const& key : at->second) changed_.push_back({key, nullptr, nullptr});
    at = waiting_.erase(at);
  }
  if (at == waiting_.end()) isLooking_ = false;
}

bool KernelRoutes::isOver(Routes::Target const& target, std::set<RouteKey>& keys) const {
  auto const& routes = mapping_.routes().routes();
  for (; !keys.empty(); keys.erase(keys.begin())) {
    auto const found = routes.find(*keys.begin());
    // It points elsewhere by now, which was told.
    if (found == routes.end() || Routes::targetOf(found->second.way) != target) continue;
    return mapping_.routes().isInForce(found->second);
  }
  return true;
}

void KernelRoutes::wait(RouteKey const& key, Routes::Route const& route) {
  using Kind = Routes::Way::Kind;
  Kind const kind = route.way.kind;
  if (kind != Kind::hop && kind != Kind::group && kind != Kind::groupId) return;
  waiting_[Routes::targetOf(route.way)].insert(key);
}

void KernelRoutes::update(RouteKey const& key) {
  auto const& routes = mapping_.routes().routes();
  auto const found = routes.find(key);
  if (found == routes.end()) return remove(key);
  Routes::Route const& route = found->second;
  Routes::Lead const lead = mapping_.routes().lead(route);
  if (!mapping_.routes().isInForce(route)) wait(key, route);
  switch (lead.kind) {
    case Routes::Lead::Kind::none:
      break;
    case Routes::Lead::Kind::drop:
      return install(key, {Target::Kind::blackhole, 0}, nullptr);
    case Routes::Lead::Kind::hop:
      return install(key, {Target::Kind::nextHop, lead.hop->key->hwEntryIndex().value()}, lead.hop);
    case Routes::Lead::Kind::group: {
      Asic::Index const row = mapping_.groups().row(*lead.group);
      if (row == Asic::Index::invalidIndex()) break;
      return install(key, {Target::Kind::group, row.value()}, lead.group);
    }
  }
  // What it led to may be on its way back.
  auto const installed = installed_.find(key);
  if (installed != installed_.end() && !pointsThere(route, installed->second)) remove(key);
}

bool KernelRoutes::pointsThere(Routes::Route const& route, Installed const& installed) const {
  Held const use = installed.use.lock();
  if (!use) return false;
  for (Routes::Way const* const way : {&route.way, &route.former}) {
    if (use == way->hop || use == way->group) return true;
    if (way->kind != Routes::Way::Kind::groupId) continue;
    GroupIds::GroupId const* const id = mapping_.groupIds().find(way->id.id());
    if (id != nullptr && (use == id->group || use == id->former)) return true;
  }
  return false;
}

void KernelRoutes::install(RouteKey const& key, Target const& target, Held const& use) {
  auto const [found, isNew] = installed_.try_emplace(key);
  Installed& installed = found->second;
  // A row that was somebody else's then is another one, though the kernel need not hear of it.
  bool const isSame = !isNew && installed.target == target && installed.use.lock() == use;
  if (isSame) return;
  if (Held const before = installed.use.lock()) installed.held.push_back(before);
  // It was about to go: what it led to stays until it has moved.
  if (auto removing = removing_.extract(key)) {
    for (Held& held : removing.mapped()) installed.held.push_back(std::move(held));
  }
  installed.target = target;
  installed.use = use;
  ++counts_.asked;
  device_->routeIs(routeOf(key), target);
}

void KernelRoutes::remove(RouteKey const& key) {
  auto node = installed_.extract(key);
  if (node.empty()) return;
  Installed& installed = node.mapped();
  std::vector<Held>& held = removing_[key];
  for (Held& one : installed.held) held.push_back(std::move(one));
  if (Held use = installed.use.lock()) held.push_back(std::move(use));
  refused_.erase(key);
  ++counts_.removed;
  device_->routeDel(routeOf(key));
}

void KernelRoutes::answered(KernelNextHop::Route const& route,
                            KernelNextHop::RouteAnswer const& answer) {
  RouteKey const key = keyOf(route);
  ++(answer.accepted ? counts_.accepted : counts_.refused);
  if (answer.isDelete) {
    // What is held goes at the end, since that may ask for more.
    auto const removed = removing_.extract(key);
    if (!answer.accepted && tellRefused_) tellRefused_(key, answer.text);
    return;
  }
  auto const found = installed_.find(key);
  if (found == installed_.end()) return;
  std::vector<Held> over;
  if (answer.accepted) {
    over = std::exchange(found->second.held, {});
    found->second.refusal.clear();
    refused_.erase(key);
    return;
  }
  found->second.refusal = answer.text;
  refused_.insert(key);
  if (tellRefused_) tellRefused_(key, answer.text);
}

std::size_t KernelRoutes::waiting() const {
  std::size_t count = 0;
  for (auto const& [target, keys] : waiting_) count += keys.size();
  return count;
}

std::string KernelRoutes::refusal(RouteKey const& key) const {
  auto const found = installed_.find(key);
  return found == installed_.end() ? std::string() : found->second.refusal;
}

}  // namespace OrviaL3Agent
