#pragma once

#include <utility>

#include "OrviaL3Unicast/engine/EntryTable.h"

namespace OrviaL3Unicast::engine {

template <class T>
Vek::Ptr<EntryHandle<T>> EntryTable<T>::entryHandle(Key const& key) const {
  Node const* const node = this->store_.find(key);
  return node != nullptr ? node->value.entryHandle : nullptr;
}

template <class T>
bool EntryTable<T>::entryHandleExists(Key const& key) const {
  return entryHandleAccess(key) != nullptr;
}

template <class T>
Vek::Ptr<EntryHandle<T>> EntryTable<T>::entryHandleAccess(Key const& key) const {
  if constexpr (T::ownsRows) {
    return this->rawEntryHandle(key);
  } else {
    return entryHandle(key);
  }
}

template <class T>
void EntryTable<T>::entryHandleDel(Key const& key) {
  Vek::Ptr<Table> const alive(&this->table());
  Vek::Ptr<EntryHandle> taken;
  if (Node* const node = this->store_.find(key); node != nullptr && node->value.entryHandle) {
    taken.swap(node->value.entryHandle);
    --counts_.entryHandles;
    this->releaseIfEmpty(*node);
  }
  this->announceKey(TableBase<T>::Attribute::entryHandle, key);
}

template <class T>
void EntryTable<T>::entryHandleDelAll() {
  Vek::Ptr<Table> const alive(&this->table());
  this->store_.walk([this](Node& node) {
    if (!node.value.entryHandle) return;
    Key const key = node.key;
    entryHandleDel(key);
  });
  if (counts_.entryHandles == 0) return;
  // Whatever observers put back meanwhile goes without another word.
  this->store_.walk([this](Node& node) {
    Vek::Ptr<EntryHandle> const taken = std::move(node.value.entryHandle);
    if (!taken) return;
    --counts_.entryHandles;
    this->releaseIfEmpty(node);
  });
}

}  // namespace OrviaL3Unicast::engine
