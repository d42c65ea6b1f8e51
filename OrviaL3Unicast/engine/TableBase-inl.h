#pragma once

#include "OrviaL3Unicast/engine/EntryHandle.h"
#include "OrviaL3Unicast/engine/TableBase.h"
#include "OrviaL3Unicast/plumbing/Assert.h"

namespace OrviaL3Unicast::engine {

template <class T>
typename T::Table* TableLink<T>::table() const {
  return static_cast<Table*>(table_);
}

template <class T>
TableBase<T>::TableBase() : link_(new TableLink<T>(this)) {}

template <class T>
TableBase<T>::~TableBase() {
  detachHandles();
}

template <class T>
Vek::VekType TableBase<T>::fwkType() const {
  return classType();
}
template <class T>
Vek::VekType TableBase<T>::classType() {
  return {T::module(), T::numbers.table};
}

template <class T>
typename T::Table& TableBase<T>::table() {
  return static_cast<Table&>(*this);
}

template <class T>
Vek::Ptr<EntryHandle<T>> TableBase<T>::entryHandleFactory(Key const& key, Table* table) {
  return EntryHandle::EntryHandleIs(key, table);
}

template <class T>
inline constexpr auto utilSignature = plumbing::signature<T>("Vek::Ptr<" + T::qualifiedName +
                                                                 "Util>",
                                                             plumbing::FixedString("util"),
                                                             plumbing::FixedString("")) +
                                      " const";

template <class T>
Vek::Ptr<typename T::Util> TableBase<T>::util() const {
  OrviaAsicUtils::SwTableUtil* const util = OrviaAsicUtils::SwTable::util().get();
  // A compare per call; the type is asked for only when the utility changed.
  if (this->utilVersion() != checkedUtilVersion_ || util == nullptr) [[unlikely]] {
    if (Vek::vekCast<Util>(util) == nullptr) {
      Vek::SassertHelper("util()", plumbing::assertWhere<T>(utilSignature<T>))
          << "expected a utility of class " << T::qualifiedName.view() << "Util, have "
          << (util == nullptr ? "none" : util->fwkType().name());
    }
    checkedUtilVersion_ = this->utilVersion();
  }
  return static_cast<Util*>(util);
}

}  // namespace OrviaL3Unicast::engine
