#include "ModelParked.h"

#include <iterator>

#include "ModelTable.h"

namespace Model {

Watcher::Watcher(Journal& journal, Parked& parked, int slot)
    : parked_(&parked), slot_(slot), alive_(journal, parked.tableName() + " NeededEntryHandleSm") {}

void Watcher::begin(HandlePtr const& handle) {
  handle_ = handle;
  watch(handle_.get());
  registerAtNotifier();
  parked_->trace("doEnclosingInit: initializing neededEntryHandleSm: " + std::to_string(slot_));
  count();
}

void Watcher::handleIs(HandlePtr const& handle) {
  if (handle == handle_) return;
  HandlePtr const former = std::exchange(handle_, handle);
  watch(handle_.get());
  LateRegistration const late(*this);
  if (handle_ && !zombie()) count();
}

void Watcher::changed() {
  if (!zombie()) count();
}

void Watcher::count() {
  // Counting takes it out of the collection, and may end the record.
  std::shared_ptr<Watcher> const self = shared_from_this();
  if (parked_ == nullptr) return;
  std::shared_ptr<Parked> const parked = parked_->shared_from_this();
  if (!handle_ || !handle_->isProgrammed()) {
    if (!parked->ofBlock()) parked->trace("handleEntryProgramming: returning from ");
    return;
  }
  if (parked->ofBlock() && counted_) return;
  counted_ = true;
  parked->watcherDel(slot_);
  parked->seenInc(1);
}

Parked::Parked(Journal& journal, Table& table, Key const& key)
    : journal_(journal),
      table_(&table),
      tableName_(table.name()),
      key_(key),
      record_(tableName_ == "group" ? Record::Type::group : Record::Type::hop),
      ofBlock_(tableName_ == "member"),
      age_(journal.newAge()),
      alive_(journal, tableName_ + (ofBlock_ ? " UnresolvedEntryBlock" : " UnresolvedEntry")) {}

Parked::~Parked() { watcherDelAll(); }

void Parked::trace(std::string const& text) { journal_.line(tableName_ + " trace 3 " + text); }

void Parked::initialize(Record const& record) {
  trace("initializeUnresolvedEntry: initializing the unresolvedEntry: ");
  record_ = record;
  needed_ = static_cast<std::uint32_t>(record_.needed().size());
  Record const walked = record;
  for (auto const& [slot, handle] : walked.needed()) watcherIs(slot, handle);
}

void Parked::initializeBlock() {
  std::string const width = std::to_string(key_.width());
  trace("initializeUnresolvedEntryBlock: initializing the unresolvedEntryBlock, blockSize " +
        width + " entrys: " + width);
  needed_ = key_.width();
  int position = 0;
  for (HandlePtr const& handle : key_.members()) watcherIs(position++, handle);
}

void Parked::watcherIs(int slot, HandlePtr const& handle) {
  auto const found = watchers_.find(slot);
  if (found != watchers_.end()) {
    std::shared_ptr<Watcher> const watcher = found->second;
    watcher->handleIs(handle);
    return;
  }
  auto const made = std::make_shared<Watcher>(journal_, *this, slot);
  made->begin(handle);
  // While it counted, another one may have come.
  watcherDel(slot);
  watchers_[slot] = made;
  made->activeIs(true);
}

void Parked::watcherDelAll() {
  std::map<int, std::shared_ptr<Watcher>> removed;
  removed.swap(watchers_);
  for (auto const& [slot, watcher] : removed) watcher->removed();
  // From the last on, as the handles of a record: there are at most two that nobody else holds.
  while (!removed.empty()) auto const released = removed.extract(std::prev(removed.end()));
}

std::shared_ptr<Watcher> Parked::watcher(int slot) const {
  auto const found = watchers_.find(slot);
  return found == watchers_.end() ? nullptr : found->second;
}

void Parked::watcherDel(int slot) {
  auto const found = watchers_.find(slot);
  if (found == watchers_.end()) return;
  std::shared_ptr<Watcher> const removed = found->second;
  watchers_.erase(found);
  removed->removed();
}

void Parked::seenIs(std::uint32_t seen) {
  if (seen_ == seen) return;
  seen_ = seen;
  // What needs nothing is never written like this.
  if (seen_ != needed_ || needed_ == 0) return;
  // What has left the table is written no more.
  if (table_ == nullptr) return;
  std::shared_ptr<Parked> const self = shared_from_this();
  table_->resolve(*self);
}

}  // namespace Model
