#pragma once

#include <utility>

#include "OrviaL3Unicast/engine/EntryTable.h"

namespace OrviaL3Unicast::engine {

template <class T>
EntryTable<T>::EntryTable() = default;

template <class T>
EntryTable<T>::~EntryTable() = default;

template <class T>
void EntryTable<T>::entryIs(Key const& keyOfCaller, Entry const& entry) {
  Vek::Ptr<Table> const alive(&this->table());
  Key const key = keyOfCaller;
  std::optional<Entry> fresh(entry);  // becomes the overwritten record, and is released last
  std::optional<Entry>& column = this->store_.findOrInsert(key).value.entry;
  if (column) {
    if (*column == entry) return;
  } else {
    ++counts_.entrys;
  }
  column.swap(fresh);
  this->table().handleEntry(key);
  this->announceKey(TableBase<T>::Attribute::entry, key);
}

template <class T>
typename T::Entry EntryTable<T>::entryDel(Key const& keyOfCaller) {
  Node* const node = this->store_.find(keyOfCaller);
  if (node == nullptr || !node->value.entry) return {};
  Vek::Ptr<Table> const alive(&this->table());
  Key const key = keyOfCaller;
  Entry taken = *std::move(node->value.entry);
  node->value.entry.reset();
  --counts_.entrys;
  this->releaseIfEmpty(*node);
  this->table().handleEntry(key);
  this->announceKey(TableBase<T>::Attribute::entry, key);
  return taken;
}

template <class T>
typename T::Entry EntryTable<T>::entry(Key const& key) const {
  Node const* const node = this->store_.find(key);
  return node != nullptr && node->value.entry ? *node->value.entry : Entry();
}

template <class T>
bool EntryTable<T>::entryExists(Key const& key) const {
  Node const* const node = this->store_.find(key);
  return node != nullptr && node->value.entry;
}

template <class T>
void EntryTable<T>::dropEverything() {
  this->detachHandles();
  unresolvedEntryDelAll();
  this->store_.clear();
  counts_ = {};
}

}  // namespace OrviaL3Unicast::engine
