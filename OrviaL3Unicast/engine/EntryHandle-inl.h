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
inline constexpr Vek::EnumValue modeValues[] = {{EntryHandle<T>::add, "add"},
                                                {EntryHandle<T>::del, "del"}};

template <class T>
inline constexpr Vek::EnumType modeDescription{T::module(), EntryHandle<T>::modeOrdinal,
                                               nestedName<T, "EntryHandle::Mode">.c_str(),
                                               modeValues<T>};

template <class T>
Vek::EnumType const& EntryHandle<T>::modeType() {
  // On first use as well, since a plug-in may come before this table's unit is initialised.
  static bool const known = (Vek::enumTypeIs(&modeDescription<T>), true);
  static_cast<void>(known);
  return modeDescription<T>;
}

template <class T>
typename EntryHandle<T>::Mode EntryHandle<T>::ModeInstance(unsigned number) {
  Vek::EnumType const& type = modeType();
  return static_cast<Mode>(Vek::enumInstance(type.module, type.ordinal, number));
}

template <class T>
typename EntryHandle<T>::Mode EntryHandle<T>::ModeInstance(Vek::String const& name) {
  Vek::EnumType const& type = modeType();
  return static_cast<Mode>(Vek::enumInstance(type.module, type.ordinal, name));
}

template <class T>
Vek::String EntryHandle<T>::modeText(Mode mode) {
  Vek::EnumType const& type = modeType();
  return Vek::enumText(type.module, type.ordinal, mode);
}

template <class T>
typename EntryHandle<T>::Mode EntryHandle<T>::modeFromText(Vek::String::IteratorConst& begin,
                                                           Vek::String::IteratorConst const& end) {
  Vek::EnumType const& type = modeType();
  return static_cast<Mode>(Vek::enumFromText(type.module, type.ordinal, begin, end));
}

template <class T>
void EntryHandle<T>::cleanup() {
  if (Table* table = swTable()) table->cleanupEntry(key_);
}

}  // namespace OrviaL3Unicast::engine
