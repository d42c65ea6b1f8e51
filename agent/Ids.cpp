#include "agent/Ids.h"

namespace OrviaL3Agent {

Ids::Hold::~Hold() {
  if (link_ && link_->owner != nullptr) link_->owner->release(id_, user_);
}

Ids::Ids(std::function<void(std::uint32_t)> groupEnds)
    : groupEnds_(std::move(groupEnds)), link_(std::make_shared<Hold::Link>(Hold::Link{this})) {}

Ids::~Ids() { end(); }

void Ids::contentsIs(std::uint32_t id, Contents contents) {
  Id& entry = ids_[id];
  bool const groupEnds = entry.as<Fpm::NextHopGroup>() != nullptr &&
                         !std::holds_alternative<Fpm::NextHopGroup>(contents);
  countIdentity(entry.contents, false);
  countIdentity(contents, true);
  entry.contents = std::move(contents);
  entry.withdrawn = false;
  if (groupEnds) groupEnds_(id);
}

Ids::Withdrawn Ids::withdraw(std::uint32_t id) {
  auto const found = ids_.find(id);
  if (found == ids_.end() || !found->second.known() || found->second.withdrawn) {
    return Withdrawn::unknown;
  }
  Id& entry = found->second;
  bool const isGroup = entry.as<Fpm::NextHopGroup>() != nullptr;
  Withdrawn const kind = isGroup                               ? Withdrawn::group
                         : entry.as<Fpm::NextHop>() != nullptr ? Withdrawn::nextHop
                                                               : Withdrawn::blackhole;
  if (entry.routeHolds > 0 || (!isGroup && entry.groupHolds > 0)) {
    entry.withdrawn = true;
    ++counts_.deferred;
  } else {
    finish(id);
  }
  return kind;
}

Ids::Hold Ids::hold(std::uint32_t id, User user) {
  Id& entry = ids_[id];
  ++(user == User::route ? entry.routeHolds : entry.groupHolds);
  return {link_, id, user};
}

void Ids::release(std::uint32_t id, User user) {
  Id& entry = ids_.at(id);
  --(user == User::route ? entry.routeHolds : entry.groupHolds);
  bool const isGroup = entry.as<Fpm::NextHopGroup>() != nullptr;
  if (entry.withdrawn && entry.routeHolds == 0 && (isGroup || entry.groupHolds == 0)) {
    finish(id);
  } else {
    forgetIfUnused(id);
  }
}

// The id's contents are gone; the id itself as well, unless somebody goes on naming it.
void Ids::finish(std::uint32_t id) {
  Id& entry = ids_.at(id);
  countIdentity(entry.contents, false);
  bool const isGroup = entry.as<Fpm::NextHopGroup>() != nullptr;
  entry.contents = std::monostate();
  entry.withdrawn = false;
  forgetIfUnused(id);
  if (isGroup) groupEnds_(id);
}

void Ids::forget(std::uint32_t id) {
  countIdentity(ids_.at(id).contents, false);
  ids_.erase(id);
}

void Ids::forgetIfUnused(std::uint32_t id) {
  auto const found = ids_.find(id);
  if (found == ids_.end()) return;
  Id const& entry = found->second;
  bool const unused = entry.routeHolds == 0 && entry.groupHolds == 0 && entry.groups.empty() &&
                      entry.routes.empty();
  if (!entry.known() && unused) ids_.erase(found);
}

void Ids::watcherDel(std::uint32_t id, RouteKey const& route) {
  ids_.at(id).routes.erase(route);
  forgetIfUnused(id);
}

void Ids::watcherDel(std::uint32_t id, std::uint32_t group) {
  // A group that names an id twice says so twice.
  auto const found = ids_.find(id);
  if (found == ids_.end()) return;
  found->second.groups.erase(group);
  forgetIfUnused(id);
}

Ids::Id const* Ids::find(std::uint32_t id) const {
  auto const found = ids_.find(id);
  return found == ids_.end() ? nullptr : &found->second;
}

std::size_t Ids::idsOf(Identity const& identity) const {
  auto const found = identities_.find(identity);
  return found == identities_.end() ? 0 : found->second;
}

void Ids::countIdentity(Contents const& contents, bool more) {
  auto const* const nextHop = std::get_if<Fpm::NextHop>(&contents);
  if (nextHop == nullptr) return;
  auto const counted = identities_.try_emplace(identityOf(*nextHop)).first;
  if (more) {
    ++nextHops_;
    ++counted->second;
    return;
  }
  --nextHops_;
  if (--counted->second == 0) identities_.erase(counted);
}

}  // namespace OrviaL3Agent
