#pragma once

#include "OrviaL3Unicast/engine/EntryTable.h"
#include "OrviaL3Unicast/engine/UnresolvedEntry.h"
#include "OrviaL3Unicast/plumbing/Trace.h"

namespace OrviaL3Unicast::engine {

template <class T>
UnresolvedEntry<T>::~UnresolvedEntry() {
  // Before the record: the end of a handle that only the record kept must find nobody who counts.
  this->neededEntryHandleSmDelAll();
}

template <class T>
Vek::VekType UnresolvedEntry<T>::fwkType() const {
  return classType();
}
template <class T>
Vek::VekType UnresolvedEntry<T>::classType() {
  return {T::module(), T::numbers.unresolvedEntry};
}

template <class T>
void UnresolvedEntry<T>::initializeUnresolvedEntry(Entry const& entry) {
  plumbing::trace<T, "initializeUnresolvedEntry", ": initializing the unresolvedEntry: ">();
  Vek::Ptr<UnresolvedEntry> const self(this);
  entry_ = entry;
  // A copy, as a handler that runs in the loop may write the record again.
  auto const neededEntryHandle = entry_.neededEntryHandle();
  this->neededEntryHandleCountIs(static_cast<Vek::U16>(neededEntryHandle.size()));
  for (auto const& [slot, handle] : neededEntryHandle) {
    this->neededEntryHandleSmIs(handle, static_cast<std::uint32_t>(slot));
  }
}

template <class T>
void UnresolvedEntry<T>::handleEntryHandleProgramSuccessCount() {
  if (!this->countIsComplete() || table_ == nullptr) return;
  plumbing::traceLevel8<T, "handleEntryHandleProgramSuccessCount",
                        ": Unresolved entry processing completed: ">();
  Vek::Ptr<UnresolvedEntry> const self(this);
  Vek::Ptr<Table> const table(table_);
  // The response reactor watches before the write starts, so that no answer is missed.
  table->pendingEntrySmIs(table->entryHandleAccess(key_), key_);
  // Whoever ran in there may have removed the key, or written another record: that stands.
  if (table_ == nullptr) return;
  Entry const entry = entry_;
  table->entryIs(key_, entry);
  // A handler may have parked another record under the key meanwhile: that one stays.
  if (table_ != nullptr) table->unresolvedEntryDel(key_);
}

template <class T>
typename UnresolvedEntry<T>::Ptr EntryTable<T>::unresolvedEntryIs(Key const& key) {
  auto& column = this->store_.findOrInsert(key).value.unresolvedEntry;
  if (column) return column;
  typename UnresolvedEntry::Ptr const made = new UnresolvedEntry(key);
  made->hasNotificationActiveIs(true);
  column = made;
  unresolvedEntries_.append(*made);
  ++counts_.unresolvedEntrys;
  made->table_ = &this->table();
  this->announceKey(TableBase<T>::Attribute::unresolvedEntry, key);
  return made;
}

template <class T>
typename UnresolvedEntry<T>::Ptr EntryTable<T>::unresolvedEntryDel(Key const& key) {
  auto* const node = this->store_.find(key);
  if (node == nullptr || !node->value.unresolvedEntry) return {};
  typename UnresolvedEntry::Ptr const taken = takeUnresolvedEntry(*node);
  this->announceKey(TableBase<T>::Attribute::unresolvedEntry, taken->key());
  return taken;
}

template <class T>
void EntryTable<T>::unresolvedEntryDelAll() {
  Vek::Ptr<Table> const alive(&this->table());
  unresolvedEntries_.walk([this](UnresolvedEntry& entry) { unresolvedEntryDel(entry.key()); });
  // Whatever observers put back meanwhile goes without another word.
  while (UnresolvedEntry* left = unresolvedEntries_.first()) {
    typename UnresolvedEntry::Ptr const taken =
        takeUnresolvedEntry(*this->store_.find(left->key()));
  }
}

template <class T>
typename UnresolvedEntry<T>::Ptr EntryTable<T>::unresolvedEntry(Key const& key) const {
  auto const* const node = this->store_.find(key);
  return node != nullptr ? node->value.unresolvedEntry : nullptr;
}

template <class T>
typename UnresolvedEntry<T>::Ptr EntryTable<T>::takeUnresolvedEntry(Node& node) {
  typename UnresolvedEntry::Ptr taken = std::move(node.value.unresolvedEntry);
  unresolvedEntries_.remove(*taken);
  --counts_.unresolvedEntrys;
  taken->table_ = nullptr;
  this->releaseIfEmpty(node);
  return taken;
}

}  // namespace OrviaL3Unicast::engine
