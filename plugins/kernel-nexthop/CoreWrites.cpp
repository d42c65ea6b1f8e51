// What the device is asked for: it goes into the books, and into the queue.
#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "plugins/kernel-nexthop/Core.h"

namespace KernelNextHop {
namespace {

// The metric that the kernel gives to an IPv6 route without one.
constexpr std::uint32_t kDefaultPriority6 = 1024;

Route inKernelsForm(Route route) {
  if (route.family == AF_INET6 && route.priority == 0) route.priority = kDefaultPriority6;
  return route;
}

}  // namespace

Object& KernelDevice::Core::object(Target const& target, unsigned bank) {
  std::uint32_t const id = ids.id(target, bank);
  auto const kind = target.kind == Target::Kind::group ? Entry::Kind::group : Entry::Kind::nextHop;
  return objects_.try_emplace(id, kind, id, target.row).first->second;
}

Object& KernelDevice::Core::object(Target const& target) {
  return object(target, ids.placeOf(ids.id(target))->bank);
}

Object const* KernelDevice::Core::find(Target const& target) const {
  std::uint32_t const rows =
      target.kind == Target::Kind::group ? options.sizes.groups : options.sizes.nextHops;
  if (target.kind == Target::Kind::blackhole || target.row >= rows) return nullptr;
  auto const found = objects_.find(ids.id(target));
  return found == objects_.end() ? nullptr : &found->second;
}

RouteEntry& KernelDevice::Core::routeEntry(Route const& route) {
  Route const place = inKernelsForm(route);
  return routes_.try_emplace(place, place).first->second;
}

RouteEntry const* KernelDevice::Core::find(Route const& route) const {
  auto const found = routes_.find(inKernelsForm(route));
  return found == routes_.end() ? nullptr : &found->second;
}

void KernelDevice::Core::write(Object& object, Tell tell) {
  object.wanted = true;
  object.fromBefore = false;
  object.forced = false;
  object.waitsForUsers = false;
  object.stamp = ++stamp_;
  object.tell = std::move(tell);
  object.told = Object::State::notAnswered;
  object.refusal.clear();
  enqueue(object);
}

void KernelDevice::Core::remove(Object& object, bool forced) {
  object.wanted = false;
  object.fromBefore = false;
  object.forced = object.forced || forced;
  object.stamp = ++stamp_;
  object.tell = nullptr;
  object.told = Object::State::notAnswered;
  object.refusal.clear();
  if (object.inFlight || object.presence != Presence::absent) enqueue(object);
}

void KernelDevice::Core::refuseRow(Tell tell) {
  Answer answer;
  answer.tell = std::move(tell);
  ++counts.refused;
  answers_.push_back(std::move(answer));
}

void KernelDevice::Core::resolve(Object& nextHop) {
  std::optional<NextHop> const identity = identityOf ? identityOf(nextHop.record) : std::nullopt;
  nextHop.known = identity.has_value();
  if (identity) nextHop.nextHop = *identity;
}

void KernelDevice::Core::nextHopIs(std::uint32_t row, Record const& record, Tell tell) {
  if (row >= options.sizes.nextHops) return refuseRow(std::move(tell));
  Object& nextHop = object({Target::Kind::nextHop, row});
  nextHop.record = record;
  resolve(nextHop);
  write(nextHop, std::move(tell));
}

void KernelDevice::Core::nextHopDel(std::uint32_t row) {
  if (row >= options.sizes.nextHops) return;
  remove(object({Target::Kind::nextHop, row}), false);
}

void KernelDevice::Core::nextHopsDel(std::uint32_t first, std::uint32_t last) {
  for (auto& [id, object] : objects_) {
    if (object.kind == Entry::Kind::nextHop && object.row >= first && object.row < last) {
      remove(object, true);
    }
  }
}

void KernelDevice::Core::memberIs(std::uint32_t row, std::uint32_t nextHopRow) {
  if (row >= members_.size() || members_[row] == nextHopRow) return;
  members_[row] = nextHopRow;
  // Each once, however many of its rows are written before it is sent.
  for (Object* const group : groupsOver_[row]) enqueue(*group);
}

// A group over the row stays as it is in the kernel: whoever takes rows away goes on to move it.
void KernelDevice::Core::memberDel(std::uint32_t row) {
  if (row < members_.size()) members_[row] = kNoRow;
}

void KernelDevice::Core::membersDel() { std::fill(members_.begin(), members_.end(), kNoRow); }

void KernelDevice::Core::coverMembers(Object& group) {
  auto const rows = static_cast<std::uint32_t>(members_.size());
  std::uint32_t const first = std::min(group.firstMember, rows);
  std::uint32_t const last = first + std::min(group.members, rows - first);
  for (std::uint32_t row = first; row < last; ++row) groupsOver_[row].push_back(&group);
}

void KernelDevice::Core::uncoverMembers(Object& group) {
  auto const rows = static_cast<std::uint32_t>(members_.size());
  std::uint32_t const first = std::min(group.firstMember, rows);
  std::uint32_t const last = first + std::min(group.members, rows - first);
  for (std::uint32_t row = first; row < last; ++row) std::erase(groupsOver_[row], &group);
  group.members = 0;
}

void KernelDevice::Core::groupIs(std::uint32_t row, std::uint32_t firstMember,
                                 std::uint32_t members, Tell tell) {
  if (row >= options.sizes.groups) return refuseRow(std::move(tell));
  Object& group = object({Target::Kind::group, row});
  uncoverMembers(group);
  group.firstMember = firstMember;
  group.members = members;
  coverMembers(group);
  write(group, std::move(tell));
}

void KernelDevice::Core::groupDel(std::uint32_t row) {
  if (row >= options.sizes.groups) return;
  Object& group = object({Target::Kind::group, row});
  uncoverMembers(group);
  remove(group, false);
}

void KernelDevice::Core::groupsDel() {
  for (auto& [id, object] : objects_) {
    if (object.kind != Entry::Kind::group) continue;
    uncoverMembers(object);
    remove(object, true);
  }
}

void KernelDevice::Core::routeIs(Route const& place, Target const& target) {
  RouteEntry& route = routeEntry(place);
  route.asked = place;
  route.wanted = true;
  route.fromBefore = false;
  route.told = Asic::HwTable::notAnswered;
  route.target = target;
  route.stamp = ++stamp_;
  stopWaiting(route);
  enqueue(route);
}

void KernelDevice::Core::routeDel(Route const& place) {
  RouteEntry& route = routeEntry(place);
  route.asked = place;
  route.wanted = false;
  route.fromBefore = false;
  route.told = Asic::HwTable::notAnswered;
  route.stamp = ++stamp_;
  stopWaiting(route);
  enqueue(route);
}

void KernelDevice::Core::routeRetry(Route const& place) {
  auto const found = routes_.find(inKernelsForm(place));
  if (found == routes_.end() || found->second.told != Asic::HwTable::refused) return;
  found->second.told = Asic::HwTable::notAnswered;
  enqueue(found->second);
}

void KernelDevice::Core::release() {
  isReleased = true;
  for (auto& [place, route] : routes_) {
    if (!std::exchange(route.fromBefore, false)) continue;
    route.told = Asic::HwTable::success();  // nobody asked
    enqueue(route);
  }
  for (Entry::Kind const kind : {Entry::Kind::group, Entry::Kind::nextHop}) {
    for (auto& [id, object] : objects_) {
      if (object.kind == kind && object.fromBefore) remove(object, false);
    }
  }
}

void KernelDevice::Core::ingressFromBefore(
    std::function<void(std::uint32_t, NextHop const&)> const& function) {
  std::vector<std::pair<std::uint32_t, NextHop>> rows;
  for (auto const& [id, object] : objects_) {
    bool const isIngress =
        object.kind == Entry::Kind::nextHop && ids.isIngress(object.row) && ids.isOfThisProcess(id);
    bool const isTheirs = object.fromBefore && !object.isOfOtherKind;
    if (isIngress && isTheirs) rows.emplace_back(object.row, object.nextHop);
  }
  std::sort(rows.begin(), rows.end(),
            [](auto const& one, auto const& other) { return one.first < other.first; });
  for (auto const& [row, nextHop] : rows) function(row, nextHop);
}

void KernelDevice::Core::nextHopRestored(std::uint32_t row, Record const& record, Tell tell) {
  Object* const restored =
      row < options.sizes.nextHops ? &object({Target::Kind::nextHop, row}) : nullptr;
  if (restored == nullptr || !restored->fromBefore || restored->isOfOtherKind) return;
  restored->wanted = true;
  restored->fromBefore = false;
  restored->stamp = ++stamp_;
  restored->record = record;
  restored->known = true;  // it is in the kernel
  restored->tell = std::move(tell);
  restored->told = Object::State::accepted;
}

}  // namespace KernelNextHop
