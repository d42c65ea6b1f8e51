#include "agent/EcmpNextHops.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace OrviaL3Agent {

EcmpNextHops::EcmpNextHops(Vek::Ptr<Table> table, NextHopParts& parts)
    : table_(std::move(table)), parts_(parts), link_(std::make_shared<Link>(Link{this})) {}

EcmpNextHops::~EcmpNextHops() { end(); }

EcmpNextHops::Result EcmpNextHops::use(Identity const& identity) {
  if (auto const found = uses_.find(identity); found != uses_.end()) {
    return {found->second.lock()};
  }
  NextHopParts::Result result = parts_.use(identity);
  if (result.obstacle != Obstacle::none) {
    ++counts_.notPlaced;
    return {nullptr, result.obstacle};
  }
  auto made = std::make_unique<Hop>();
  made->identity = identity;
  made->parts = std::move(result.parts);
  Hop& hop = *made;
  auto const end = [link = link_](Hop* ended) {
    std::unique_ptr<Hop> const owned(ended);
    if (link->owner != nullptr) link->owner->remove(*ended);
  };
  std::shared_ptr<Hop> const use(made.release(), end);
  live_.emplace(identity, &hop);
  uses_.emplace(identity, use);
  ++counts_.made;
  counts_.peak = std::max(counts_.peak, live_.size());
  auto const answered = [link = link_, identity](Asic::HwTable::EntryState answer) {
    bool const refused = answer == Asic::HwTable::refused;
    if (refused && link->owner != nullptr) link->owner->refused(identity);
  };
  try {
    hop.handle = table_->entryWriteWithResponseHandler(
        identity, hop.parts.record<Table::Entry>(identity), answered, Asic::needsAutoRemove());
  } catch (Asic::NoRowException const&) {
    ++counts_.notPlaced;
    throw;
  }
  if (state(hop) == NextHopState::parked) ++counts_.waited;
  counts_.peakParked = std::max(counts_.peakParked, table_->unresolvedEntrys());
  return {use};
}

void EcmpNextHops::refused(Identity const& identity) {
  refused_.add(identity);
  if (auto const found = live_.find(identity); found != live_.end()) {
    found->second->since = sinceNow();
  }
}

void EcmpNextHops::remove(Hop& hop) {
  ++counts_.ended;
  live_.erase(hop.identity);
  uses_.erase(hop.identity);
  refused_.erase(hop.identity);
  // The end of a handle leaves what watches for its answer in the table; removing the key takes
  // that. While somebody else still holds the handle, as the call that brings an answer does,
  // removing the key would take a parked record as well.
  if (hop.handle && hop.handle->references() == 1) {
    table_->entryRemove(hop.identity);
  } else {
    table_->pendingEntrySmDel(hop.identity);
  }
  hop.handle = nullptr;
}

bool EcmpNextHops::retry(Hop const& hop, bool unanswered) {
  NextHopState const before = state(hop);
  bool const again =
      before == NextHopState::refused || (unanswered && before == NextHopState::unanswered);
  if (!again) return false;
  ++counts_.retried;
  try {
    table_->handleEntry(hop.identity);
  } catch (Asic::NoRowException const&) {
    return true;
  }
  return false;
}

bool EcmpNextHops::retrySlice(Steps& steps, bool& noRoom) {
  while (steps.take()) {
    bool const unanswered = refused_.isAll();
    std::optional<Identity> const identity = refused_.next(live_);
    if (!identity) return true;
    if (Use const use = uses_.at(*identity).lock()) noRoom |= retry(*use, unanswered);
  }
  return false;
}

void EcmpNextHops::rewrite(std::uint32_t interface) {
  std::vector<Use> uses;
  for (auto const& [identity, use] : uses_) {
    if (identity.interfaceIndex() == interface) uses.push_back(use.lock());
  }
  for (Use const& use : uses) {
    if (table_->entryExists(use->identity) && !withoutRow(*use)) table_->handleEntry(use->identity);
  }
}

NextHopState EcmpNextHops::state(Hop const& hop) const {
  if (table_->unresolvedEntry(hop.identity)) return NextHopState::parked;
  if (hop.handle->isProgrammed()) return NextHopState::programmed;
  return hop.handle->entryState() == Asic::HwTable::refused ? NextHopState::refused
                                                            : NextHopState::unanswered;
}

bool EcmpNextHops::withoutRow(Hop const& hop) const {
  return table_->entryExists(hop.identity) && row(hop) == Asic::Index::invalidIndex();
}

Asic::Index EcmpNextHops::row(Hop const& hop) const {
  return table_->firstFreeIndexAllocator()->indexForKey(
      OrviaL3Unicast::EcmpIngL3NextHop1Traits::keyType(), &hop.identity);
}

}  // namespace OrviaL3Agent
