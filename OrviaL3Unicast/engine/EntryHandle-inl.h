#pragma once

#include <utility>

#include "OrviaL3Unicast/engine/EntryHandle.h"

namespace OrviaL3Unicast::engine {

template <class T>
typename EntryHandle<T>::Ptr EntryHandle<T>::EntryHandleIs(Key const& key, Table* table) {
  Ptr handle = new EntryHandle(key, table);
  handle->hasNotificationActiveIs(true);
  return handle;
}

template <class T>
EntryHandle<T>::EntryHandle(Key const& key, Table* table)
    : key_(key), link_(table != nullptr ? table->link() : nullptr) {}

template <class T>
EntryHandle<T>::~EntryHandle() {
  cleanup();
}

template <class T>
Vek::VekType EntryHandle<T>::fwkType() const {
  return classType();
}
template <class T>
Vek::VekType EntryHandle<T>::classType() {
  return {T::module(), T::numbers.entryHandle};
}

template <class T>
typename T::Table* EntryHandle<T>::swTable() const {
  return link_ ? link_->table() : nullptr;
}

template <class T>
void EntryHandle<T>::modeIs(Mode mode) {
  if (mode_ == mode) return;
  mode_ = mode;
  this->announce(modeAttribute);
}

template <class T>
void EntryHandle<T>::writeResponseHandlerIs(WriteResponseHandler const& handler) {
  WriteResponseHandler old = handler;
  old.swap(writeResponseHandler_);
}

template <class T>
void EntryHandle<T>::cleanup() {
  if (Table* table = swTable()) table->cleanupEntry(key_);
}

}  // namespace OrviaL3Unicast::engine
