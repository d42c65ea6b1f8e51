#include "agent/StandInTable.h"

#include <algorithm>

#include "Vek/Memory.h"

namespace OrviaL3Agent {

class StandInTable::Entry final : public Vek::Tracked<Entry, Asic::SwTable::EntryHandle> {
 public:
  static constexpr char const* typeName() { return "OrviaL3Agent::StandInTable::Entry"; }

  Entry(StandInTable& table, Key key, std::uint32_t slot)
      : table_(&table), key_(key), slot_(slot) {}
  ~Entry() override {
    if (table_ != nullptr) table_->entryDel(*this);
  }

  [[nodiscard]] Key key() const { return key_; }
  [[nodiscard]] std::uint32_t slot() const { return slot_; }
  void tableDel() { table_ = nullptr; }
  [[nodiscard]] Since since() const { return since_; }
  void sinceIs(Since since) { since_ = since; }
  [[nodiscard]] std::optional<EventLoop::TimerId> timer() const { return timer_; }
  void timerIs(std::optional<EventLoop::TimerId> timer) { timer_ = timer; }

 private:
  StandInTable* table_;
  Key key_;
  std::uint32_t slot_;
  Since since_ = sinceNow();
  std::optional<EventLoop::TimerId> timer_;
};

StandInTable::StandInTable(EventLoop& loop, std::optional<EventLoop::Turn> delay,
                           std::uint32_t lastSlot, OwnerPage page, Numbering<Key>::IsNamed isNamed)
    : loop_(loop),
      delay_(delay),
      slots_(kFirstSlot, lastSlot, std::move(page), std::move(isNamed)) {}

StandInTable::~StandInTable() {
  for (auto& [key, entry] : entries_) {
    if (entry->timer()) loop_.timerDel(*entry->timer());
    entry->tableDel();
  }
}

Vek::Ptr<StandInTable::Entry> StandInTable::make(Key key) {
  std::optional<std::uint32_t> const slot = slots_.take(key);
  if (!slot) return {};
  Vek::Ptr<Entry> entry(new Entry(*this, key, *slot));
  entry->hasNotificationActiveIs(true);
  entries_.emplace(key, entry.get());
  keys_.emplace(*slot, key);
  peak_ = std::max(peak_, entries_.size());
  return entry;
}

std::optional<StandInTable::Key> StandInTable::ownerOf(std::uint32_t slot) const {
  auto const found = keys_.find(slot);
  return found == keys_.end() ? slots_.remembered(slot) : std::optional(found->second);
}

StandInTable::Handle StandInTable::restored(std::uint32_t slot) {
  Key const key = ownerOf(slot).value();
  if (auto const found = entries_.find(key); found != entries_.end()) return found->second;
  Vek::Ptr<Entry> const entry = make(key);
  program(key);
  return entry;
}

StandInTable::Handle StandInTable::entry(Key key) {
  if (auto const found = entries_.find(key); found != entries_.end()) return found->second;
  Vek::Ptr<Entry> const entry = make(key);
  if (!entry) return {};
  if (delay_ && *delay_ > 0) {
    entry->timerIs(loop_.timerIs(*delay_, [this, key] { due(key); }));
  } else if (delay_) {
    due(key);
  }
  return entry;
}

StandInTable::Handle StandInTable::entryNow(Key key) {
  Handle handle = entry(key);
  if (!handle || handle->isProgrammed()) return handle;
  Entry& entry = *entries_.at(key);
  if (entry.timer()) loop_.timerDel(*entry.timer());
  due(key);
  return handle;
}

void StandInTable::due(Key key) {
  entries_.at(key)->timerIs(std::nullopt);
  if (!isReady_ || isReady_(key)) program(key);
}

void StandInTable::readyIs(Key key) {
  auto const found = entries_.find(key);
  if (found == entries_.end() || found->second->isProgrammed()) return;
  // Its time has not come yet: it looks for itself then.
  if (!delay_ || found->second->timer()) return;
  program(key);
}

void StandInTable::program(Key key) {
  // Held, since what waits for the handle runs inside the setters and may let go of it.
  Vek::Ptr<Entry> const entry(entries_.at(key));
  entry->sinceIs(sinceNow());
  // The row first: a handle in state 1 without a row would not count as programmed yet.
  entry->hwEntryIndexIs(entry->slot());
  entry->entryStateIs(Asic::HwTable::success());
}

void StandInTable::entryDel(Entry const& entry) {
  if (entry.timer()) loop_.timerDel(*entry.timer());
  entries_.erase(entry.key());
  keys_.erase(entry.slot());
  slots_.giveBack(entry.slot(), entry.key());
}

std::optional<std::uint32_t> StandInTable::slot(Key key) const {
  auto const found = entries_.find(key);
  return found == entries_.end() ? std::nullopt : std::optional(found->second->slot());
}

StandInTable::Shown StandInTable::shown(Entry const& entry) {
  return {entry.key(), entry.slot(), entry.isProgrammed(), entry.since()};
}

std::optional<StandInTable::Shown> StandInTable::shown(Key key) const {
  auto const found = entries_.find(key);
  return found == entries_.end() ? std::nullopt : std::optional(shown(*found->second));
}

std::optional<StandInTable::Shown> StandInTable::shownAfter(std::optional<Key> key) const {
  auto const next = key ? entries_.upper_bound(*key) : entries_.begin();
  return next == entries_.end() ? std::nullopt : std::optional(shown(*next->second));
}

std::size_t StandInTable::programmed() const {
  return static_cast<std::size_t>(
      std::count_if(entries_.begin(), entries_.end(),
                    [](auto const& keyed) { return keyed.second->isProgrammed(); }));
}

}  // namespace OrviaL3Agent
