#include "agent/IngressNextHops.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace OrviaL3Agent {

IngressNextHops::IngressNextHops(Vek::Ptr<Table> table, NextHopParts& parts,
                                 Hardware const& hardware, std::shared_ptr<RowKey::Rows> rows)
    : table_(std::move(table)),
      parts_(parts),
      hardware_(hardware),
      rows_(std::move(rows)),
      link_(std::make_shared<Link>(Link{this})) {}

IngressNextHops::~IngressNextHops() { end(); }

IngressNextHops::Use IngressNextHops::use(Identity const& identity) {
  if (auto const held = held_.find(identity); held != held_.end()) {
    Use use = std::move(held->second);
    held_.erase(held);
    ++heldCounts_.claimed;
    // Asked for as it was, it is there already and nothing is written.
    Hop& hop = *live_.at(identity);
    hop.since = sinceNow();
    place(hop);
    return use;
  }
  if (auto const found = uses_.find(identity); found != uses_.end()) return found->second.lock();
  Use use = make(identity);
  place(*live_.at(identity));
  return use;
}

IngressNextHops::Use IngressNextHops::make(Identity const& identity) {
  auto made = std::make_unique<Hop>();
  made->identity = identity;
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
  return use;
}

SoftAsic::RowOwner IngressNextHops::restored(Asic::Index row,
                                             SoftAsic::NextHopContents const& contents) {
  std::optional<Identity> const identity = rows_->remembered(row.value());
  std::optional<NextHopParts::Parts> parts;
  if (identity) parts = parts_.restored(*identity, contents);
  if (parts) return hold(*identity, std::move(*parts), RowKey::rowKeyIs(rows_, *identity));
  return holdStranger(row, contents.fields);
}

SoftAsic::RowOwner IngressNextHops::restored(Asic::Index row, std::optional<Identity> identity) {
  // Of two rows of one identity, the second is a stranger.
  if (identity && !live_.contains(*identity)) {
    NextHopParts::Result result = parts_.useNow(*identity);
    if (result.obstacle == Obstacle::none) {
      return hold(*identity, std::move(result.parts), RowKey::strangerKeyIs(rows_, row.value()));
    }
  }
  return holdStranger(row, {});
}

SoftAsic::RowOwner IngressNextHops::hold(Identity const& identity, NextHopParts::Parts parts,
                                         Vek::Ptr<RowKey> key) {
  Use use = make(identity);
  Hop& hop = *live_.at(identity);
  hop.parts = std::move(parts);
  hop.key = std::move(key);
  ++heldCounts_.found;
  SoftAsic::RowOwner owner{hop.key, hop.parts.record<Table::Entry>(identity)};
  held_.emplace(identity, std::move(use));
  return owner;
}

SoftAsic::RowOwner IngressNextHops::holdStranger(Asic::Index row,
                                                 OrviaL3Unicast::NextHopFields const& fields) {
  Vek::Ptr<RowKey> const key = RowKey::strangerKeyIs(rows_, row.value());
  ++heldCounts_.found;
  ++heldCounts_.strangers;
  strangers_.push_back(key);
  // What its pointers mean is not known: the record says the rest.
  return SoftAsic::RowOwner{
      key,
      Table::Entry(fields.destination, fields.dvp, fields.dvpL3Oif1, fields.dvpMtuProfilePtr,
                   fields.forwardingType, fields.l2McL3McL2OifSysDstValid, 0, {}, fields.l3OifType,
                   0, {}, fields.strengthProfileIdx, fields.systemOpcode, fields.viewType)};
}

void IngressNextHops::release() {
  // The last use of each is the one that is held.
  heldCounts_.released += held();
  held_.clear();
  for (Vek::Ptr<RowKey> const& key : std::exchange(strangers_, {})) {
    table_->entryRemove(key);
    key->rowDel();
  }
  rows_->forget();
}

bool IngressNextHops::releaseSlice(Deadline const& deadline) {
  for (; !held_.empty(); ++heldCounts_.released) {
    if (deadline.isOver()) return false;
    held_.erase(held_.begin());
  }
  for (; !strangers_.empty(); ++heldCounts_.released) {
    if (deadline.isOver()) return false;
    Vek::Ptr<RowKey> const key = std::move(strangers_.back());
    strangers_.pop_back();
    table_->entryRemove(key);
    key->rowDel();
  }
  rows_->forget();
  return true;
}

std::set<std::uint32_t> IngressNextHops::heldRows() const {
  std::set<std::uint32_t> rows;
  for (Vek::Ptr<RowKey> const& key : strangers_) rows.insert(key->hwEntryIndex().value());
  for (auto const& [identity, use] : held_) rows.insert(use->key->hwEntryIndex().value());
  return rows;
}

void IngressNextHops::place(Hop& hop) {
  NextHopParts::Result result = parts_.use(hop.identity);
  if (result.obstacle == Obstacle::none && !hop.key) {
    hop.key = RowKey::rowKeyIs(rows_, hop.identity);
    if (!hop.key) result.obstacle = Obstacle::row;
  }
  hop.obstacle = result.obstacle;
  if (hop.obstacle != Obstacle::none) {
    ++counts_.notPlaced;
    failed_.add(hop.identity);
    return;
  }
  hop.parts = std::move(result.parts);
  // The table shows the key's state on the handle, so a success may be nobody's answer; a refusal
  // is the hardware's always.
  auto const answered = [link = link_, identity = hop.identity](Asic::HwTable::EntryState answer) {
    bool const refused = answer == Asic::HwTable::refused;
    if (refused && link->owner != nullptr) link->owner->refused(identity);
  };
  hop.handle = commitTime_.measure([&] {
    return table_->entryCommitWithResponseHandler(
        hop.key, hop.parts.record<Table::Entry>(hop.identity), answered);
  });
  if (state(hop) == NextHopState::parked) ++counts_.waited;
  counts_.peakParked = std::max(counts_.peakParked, table_->unresolvedEntrys());
}

void IngressNextHops::refused(Identity const& identity) {
  failed_.add(identity);
  if (auto const found = live_.find(identity); found != live_.end()) {
    found->second->since = sinceNow();
  }
}

void IngressNextHops::remove(Hop& hop) {
  ++counts_.ended;
  live_.erase(hop.identity);
  uses_.erase(hop.identity);
  failed_.erase(hop.identity);
  if (!hop.key) return;
  removeTime_.measure([&] {
    table_->entryRemove(hop.key);
    // The record leaves the table, and the row the hardware, when the last reference goes: this
    // one.
    hop.handle = nullptr;
  });
  if (!table_->entryExists(hop.key)) hop.key->rowDel();
}

void IngressNextHops::retry(Hop const& hop, bool unanswered) {
  NextHopState const before = state(hop);
  if (before == NextHopState::notPlaced) {
    place(*live_.at(hop.identity));
  } else if (before == NextHopState::refused ||
             (unanswered && before == NextHopState::unanswered)) {
    ++counts_.retried;
    table_->handleEntry(hop.key);
  }
}

void IngressNextHops::retry(Identity const& identity) {
  auto const found = uses_.find(identity);
  if (found == uses_.end()) return;
  Use const use = found->second.lock();
  retry(*use, false);
}

bool IngressNextHops::retrySlice(Steps& steps) {
  while (steps.take()) {
    bool const unanswered = failed_.isAll();
    std::optional<Identity> const identity = failed_.next(live_);
    if (!identity) return true;
    if (Use const use = uses_.at(*identity).lock()) retry(*use, unanswered);
  }
  return false;
}

void IngressNextHops::rewrite(std::uint32_t interface) {
  std::vector<Vek::Ptr<RowKey>> keys;
  for (auto const& [identity, hop] : live_) {
    if (identity.interfaceIndex() == interface && hop->key) keys.push_back(hop->key);
  }
  for (Vek::Ptr<RowKey> const& key : keys) {
    if (table_->entryExists(key)) table_->handleEntry(key);
  }
}

NextHopState IngressNextHops::state(Hop const& hop) const {
  if (hop.obstacle != Obstacle::none || !hop.key) return NextHopState::notPlaced;
  if (table_->unresolvedEntry(hop.key)) return NextHopState::parked;
  switch (hardware_.row(hop.key->hwEntryIndex().value()).answer) {
    case SoftAsic::Answer::refused:
      return NextHopState::refused;
    case SoftAsic::Answer::accepted:
      return NextHopState::programmed;
    case SoftAsic::Answer::none:
    case SoftAsic::Answer::awaited:
      break;
  }
  return NextHopState::unanswered;
}

}  // namespace OrviaL3Agent
