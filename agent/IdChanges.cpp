#include "agent/IdChanges.h"

#include <utility>
#include <variant>

namespace OrviaL3Agent {

void IdChanges::idIs(std::uint32_t id, Ids::Contents contents) {
  Ids::Id const* const before = ids_.find(id);
  // Only what a group leads to goes with the contents.
  bool const groupEnds = before != nullptr && before->as<Fpm::NextHopGroup>() != nullptr &&
                         !std::holds_alternative<Fpm::NextHopGroup>(contents);
  Change change;
  change.id = id;
  change.isSame = before != nullptr && before->contents == contents;
  change.contents = std::move(contents);
  change.phase = groupEnds ? Change::Phase::keepRows : Change::Phase::contents;
  change_ = std::move(change);
}

bool IdChanges::slice(Steps& steps) {
  for (;;) {
    if (!endedSlice(steps)) return false;
    if (!change_) return true;
    if (!steps.take()) return false;
    step(*change_);
  }
}

bool IdChanges::endedSlice(Steps& steps) {
  while (!ended_.empty()) {
    if (!steps.take()) return false;
    Ended& ended = ended_.front();
    if (auto const group = nextGroup(ended.id, ended.group)) {
      update(*group);
    } else {
      ended_.pop_front();
    }
  }
  return true;
}

// What it is about to do counts as done, should that fail.
void IdChanges::step(Change& change) {
  using Phase = Change::Phase;
  switch (change.phase) {
    case Phase::keepRows:
      if (auto const route = nextRoute(change)) return routes_.keepRows(*route);
      change.phase = Phase::contents;
      return;
    case Phase::contents:
      change.phase = Phase::groups;
      change.route.reset();
      return contentsAre(change);
    case Phase::groups:
      if (auto const group = nextGroup(change)) return update(*group);
      change.phase = Phase::routes;
      return;
    case Phase::routes:
      break;
  }
  // Said again as it was, the id is where they have it.
  auto const route = change.isSame ? std::nullopt : nextRoute(change);
  if (route) return routes_.update(*route);
  change_.reset();
}

void IdChanges::contentsAre(Change& change) {
  std::uint32_t const id = change.id;
  bool const isSame = change.isSame;
  Ids::Id const* const before = ids_.find(id);
  if (!isSame || before == nullptr || before->withdrawn) {
    ids_.contentsIs(id, std::move(change.contents));
  }
  Ids::Id const& now = *ids_.find(id);
  if (!isSame) {
    if (auto const* const group = now.as<Fpm::NextHopGroup>()) {
      groupIds_.groupIs(Fpm::NextHopGroup(*group));
    }
  } else if (auto const* const nextHop = now.as<Fpm::NextHop>()) {
    // A second chance for what failed.
    hops_.retry(identityOf(*nextHop));
  }
}

std::optional<std::uint32_t> IdChanges::nextGroup(std::uint32_t id,
                                                  std::optional<std::uint32_t>& last) const {
  Ids::Id const* const named = ids_.find(id);
  if (named == nullptr) return std::nullopt;
  auto const next = last ? named->groups.upper_bound(*last) : named->groups.begin();
  if (next == named->groups.end()) return std::nullopt;
  return last = *next;
}

// A group that is said again as it was gets its second chance among those that name it.
std::optional<std::uint32_t> IdChanges::nextGroup(Change& change) const {
  std::optional<std::uint32_t> const last = change.group;
  std::optional<std::uint32_t> const naming = nextGroup(change.id, change.group);
  bool const isItsTurn =
      change.isSame && (!last || *last < change.id) && (!naming || *naming > change.id);
  if (isItsTurn) return change.group = change.id;
  return naming;
}

std::optional<RouteKey> IdChanges::nextRoute(Change& change) const {
  Ids::Id const* const named = ids_.find(change.id);
  if (named == nullptr) return std::nullopt;
  auto const next = change.route ? named->routes.upper_bound(*change.route) : named->routes.begin();
  if (next == named->routes.end()) return std::nullopt;
  return change.route = *next;
}

void IdChanges::update(std::uint32_t group) {
  if (groupIds_.find(group) != nullptr) groupIds_.update(group);
}

}  // namespace OrviaL3Agent
