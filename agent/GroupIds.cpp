#include "agent/GroupIds.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace OrviaL3Agent {
namespace {

// What a group that was read back from a kernel carries: the weight is not known.
constexpr std::uint8_t kUnknownWeight = 255;

}  // namespace

void GroupIds::Scaling::add(Spread const& spread) {
  if (!spread.scaled) return;
  ++scaled;
  worst = std::max(worst, spread.error);
}

GroupIds::GroupIds(Ids& ids, Groups& groups, std::uint32_t maxWidth)
    : ids_(ids), groups_(groups), maxWidth_(maxWidth) {}

void GroupIds::groupIs(Fpm::NextHopGroup const& announced) {
  auto const [found, isNew] = byId_.try_emplace(announced.id);
  GroupId& group = found->second;
  if (!isNew) unwatch(group);
  group.contents = announced;
  // The new members are held before the old ones are let go: what is in both stays.
  std::vector<Ids::Hold> members;
  members.reserve(announced.members.size());
  for (Fpm::NextHopGroup::Member const& member : announced.members) {
    members.push_back(ids_.hold(member.id, Ids::User::group));
    ids_.watcherIs(member.id, announced.id);
  }
  members.swap(group.members);
  if (std::any_of(announced.members.begin(), announced.members.end(),
                  [](auto const& member) { return member.weightByte == kUnknownWeight; })) {
    ++counts_.unknownWeights;
  }
  update(announced.id);
  if (isNew && !group.missing.empty()) ++counts_.waited;
}

void GroupIds::groupDel(std::uint32_t id) {
  auto node = byId_.extract(id);
  if (node.empty()) return;
  moving_.erase(id);
  GroupId& group = node.mapped();
  unwatch(group);
  // The rows go before the ids of its members do.
  tell(id, std::exchange(group.group, nullptr));
  tell(id, std::exchange(group.former, nullptr));
}

void GroupIds::tell(std::uint32_t id, Groups::Use former) const {
  if (sink_ != nullptr && former) sink_->idChanged(id, std::move(former));
}

void GroupIds::unwatch(GroupId const& group) {
  for (Fpm::NextHopGroup::Member const& member : group.contents.members) {
    ids_.watcherDel(member.id, group.contents.id);
  }
}

// The members' paths, and into the group what is wrong with them.
std::vector<WeightedPath> GroupIds::resolve(GroupId& group) const {
  group.missing.clear();
  group.blackholes.clear();
  group.reason.clear();
  std::vector<WeightedPath> paths;
  for (Fpm::NextHopGroup::Member const& member : group.contents.members) {
    Ids::Id const* const id = ids_.find(member.id);
    if (id == nullptr || !id->known()) {
      group.missing.push_back(member.id);
    } else if (auto const* const nextHop = id->as<Fpm::NextHop>()) {
      paths.push_back({identityOf(*nextHop), member.weightByte + 1U});
    } else if (id->as<Fpm::BlackholeNextHop>() != nullptr) {
      group.blackholes.push_back(member.id);
    } else if (group.reason.empty()) {
      group.reason = fmt::format("member {} is a group", member.id);
    }
  }
  std::size_t const members = group.contents.members.size();
  if (members == 0) group.reason = "no members";
  if (members > maxWidth_) {
    group.reason = fmt::format("{} members, a block has at most {} rows", members, maxWidth_);
  }
  return paths;
}

void GroupIds::update(std::uint32_t id) {
  GroupId& group = byId_.at(id);
  bool const dropped = group.drops();
  std::vector<WeightedPath> const members = resolve(group);
  if (sink_ != nullptr && dropped != group.drops()) sink_->idChanged(id, nullptr);
  if (!group.blackholes.empty()) {
    // Part of its traffic is to be dropped, which no row says.
    moving_.erase(id);
    tell(id, std::exchange(group.group, nullptr));
    tell(id, std::exchange(group.former, nullptr));
    return;
  }
  // What is in force stays until there is something to put in its place.
  if (!group.missing.empty() || !group.reason.empty()) return;
  Spread const spread = spreadOf(members, maxWidth_);
  if (!group.group || group.group->paths != spread.paths) {
    scaling_.add(spread);
    Groups::Use const former = group.former;
    groups_.change(group.group, group.former, spread.paths);
    if (former != group.former) tell(id, former);
  } else {
    // Said again: a second chance for what failed.
    groups_.retry(*group.group, false);
  }
  settle(id, group);
}

void GroupIds::settle(std::uint32_t id, GroupId& group) {
  if (!group.former) return;
  if (groups_.inForce(*group.group)) {
    moving_.erase(id);
    tell(id, std::exchange(group.former, nullptr));
  } else {
    moving_.insert(id);
  }
}

bool GroupIds::settleSlice(Steps& steps) {
  for (;;) {
    auto const next = looked_ ? moving_.upper_bound(*looked_) : moving_.begin();
    if (next == moving_.end()) return true;
    if (!steps.take()) return false;
    std::uint32_t const id = *next;
    looked_ = id;
    settle(id, byId_.at(id));
  }
}

bool GroupIds::inForce(GroupId const& group) const {
  return (group.group && groups_.inForce(*group.group)) ||
         (group.former && groups_.inForce(*group.former));
}

Groups::Use GroupIds::leading(GroupId const& group) const {
  if (group.group && groups_.inForce(*group.group)) return group.group;
  if (group.former) return group.former;
  return group.group && groups_.mayLead(*group.group) ? group.group : nullptr;
}

GroupIds::GroupId const* GroupIds::find(std::uint32_t id) const {
  auto const found = byId_.find(id);
  return found == byId_.end() ? nullptr : &found->second;
}

}  // namespace OrviaL3Agent
