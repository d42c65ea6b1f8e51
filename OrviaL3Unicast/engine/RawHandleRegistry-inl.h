#pragma once

#include "OrviaL3Unicast/engine/EntryHandle.h"
#include "OrviaL3Unicast/engine/RawHandleRegistry.h"
#include "OrviaL3Unicast/plumbing/Assert.h"

namespace OrviaL3Unicast::engine {

template <class T>
Vek::Ptr<EntryHandle<T>> RawHandleRegistry<T>::rawEntryHandle(Key const& key) const {
  Node const* const node = this->store_.find(key);
  if (node == nullptr || node->value.rawEntryHandle == nullptr) return {};
  return node->value.rawEntryHandle->isEnding() ? nullptr : node->value.rawEntryHandle;
}

template <class T>
bool RawHandleRegistry<T>::rawEntryHandleHas(Key const& key) const {
  Node const* const node = this->store_.find(key);
  return node != nullptr && node->value.rawEntryHandle != nullptr;
}

template <class T>
void RawHandleRegistry<T>::rawEntryHandleIs(Key const& key, EntryHandle* handle) {
  if (handle == nullptr) {
    rawEntryHandleDel(key);
    return;
  }
  this->store_.findOrInsert(key).value.rawEntryHandle = handle;
  this->announceKey(TableBase<T>::Attribute::rawEntryHandle, key);
}

template <class T>
void RawHandleRegistry<T>::rawEntryHandleDel(Key const& keyOfCaller) {
  Key const key = keyOfCaller;  // may live in the node that goes
  if (Node* const node = this->store_.find(key); node != nullptr) {
    node->value.rawEntryHandle = nullptr;
    this->releaseIfEmpty(*node);
  }
  this->announceKey(TableBase<T>::Attribute::rawEntryHandle, key);
}

template <class T>
void RawHandleRegistry<T>::rawEntryHandleDelAll() {
  Vek::Ptr<typename T::Table> const alive(&this->table());
  this->store_.walk([this](Node& node) {
    if (node.value.rawEntryHandle != nullptr) rawEntryHandleDel(node.key);
  });
  // Whatever observers put back meanwhile goes without another word.
  this->store_.walk([this](Node& node) {
    node.value.rawEntryHandle = nullptr;
    this->releaseIfEmpty(node);
  });
}

template <class T>
inline constexpr auto cleanupSignature = plumbing::signature<T>(
    plumbing::FixedString("void"), plumbing::FixedString("EntryHandle::cleanup"),
    plumbing::FixedString(""));

template <class T>
EntryHandle<T> const* RawHandleRegistry<T>::expectRawEntryHandle(Key const& key) const {
  if (Node const* const node = this->store_.find(key);
      node != nullptr && node->value.rawEntryHandle != nullptr) [[likely]] {
    return node->value.rawEntryHandle;
  }
  Vek::SassertHelper("swTable()->rawEntryHandleHas( key() )",
                     plumbing::assertWhere<T>(cleanupSignature<T>))
      << "expected to see rawEntryHandle";
}

template <class T>
bool RawHandleRegistry<T>::anotherRegistered(Key const& key, EntryHandle const* handle) const {
  Node const* const node = this->store_.find(key);
  return node != nullptr && node->value.rawEntryHandle != nullptr &&
         node->value.rawEntryHandle != handle;
}

}  // namespace OrviaL3Unicast::engine
