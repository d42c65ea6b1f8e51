// The framework types that every entry table's module lists, under the table's own numbers and
// names, with their attributes and operations.
#pragma once

#include <array>

#include "OrviaL3Unicast/engine/ReflectRecord.h"
#include "OrviaL3Unicast/engine/ReflectTable.h"
#include "OrviaL3Unicast/engine/TableTraits.h"
#include "OrviaL3Unicast/plumbing/UtilLoader.h"
#include "Vek/PlatformModules.h"

namespace OrviaL3Unicast::engine {

// "OrviaL3Unicast::<table>Util".
template <class T>
inline constexpr auto utilName = T::qualifiedName + "Util";

// The loader of the table's utility, which is made by name.
template <class T>
constexpr Vek::VekTypeInfo utilLoaderType() {
  return {T::numbers.utilLoader,
          plumbing::utilLoaderName<T>.c_str(),
          {&Loader::loaderModule, Loader::LoaderNumbers::singleton},
          nullptr,
          &plumbing::UtilLoader<T>::newEntityForDir};
}

template <class T>
constexpr Vek::VekTypeInfo utilType() {
  return {T::numbers.util,
          utilName<T>.c_str(),
          Vek::VekTypeOf<OrviaAsicUtils::SwTableUtil>::type,
          nullptr,
          nullptr,
          &UtilRows<T>::rows};
}

template <class T>
constexpr Vek::VekTypeInfo handleType() {
  return {T::numbers.entryHandle,
          nestedName<T, "EntryHandle">.c_str(),
          Vek::VekTypeOf<Asic::SwTable::EntryHandle>::type,
          nullptr,
          nullptr,
          &HandleRows<T>::rows};
}

// --- Value types. `V` is the type as C++ code sees it.

template <class V>
constexpr Vek::VekTypeInfo valueType(std::uint16_t number, char const* name,
                                     Vek::VekReflection const* reflection = nullptr) {
  return {number, name, {}, &Vek::vekValueOps<V>, nullptr, reflection};
}

template <class T>
constexpr Vek::VekTypeInfo modeType() {
  return valueType<Mode<T>>(ValueNumbers<T>::mode, nestedName<T, "EntryHandle::Mode">.c_str());
}

template <class T>
void setIndex(plumbing::IndexValue<T>& index, std::uint32_t value) {
  index = value;
}
template <class T>
struct IndexRows {
  using Index = plumbing::IndexValue<T>;
  static constexpr Vek::VekAttribute attributes[] = {
      Vek::attribute<Index, &Index::value, &setIndex<T>>(1, "value"),
  };
  static constexpr Vek::VekReflection rows{attributes, {}};
};

template <class T>
constexpr Vek::VekTypeInfo indexType() {
  return valueType<plumbing::IndexValue<T>>(ValueNumbers<T>::index, nestedName<T, "Index">.c_str(),
                                            &IndexRows<T>::rows);
}

// --- Everything. Classes come first, then the keys: looking up what an object or a row's owner is
// goes through the rows.

// The table's classes, the value types that the unit adds, its record and its handles' mode.
template <class T, class... Values>
constexpr auto entryTableTypes(Vek::VekReflection const& table, Vek::VekReflection const& record,
                               Values const&... values) {
  using Vek::VekTypeOf;
  return std::array<Vek::VekTypeInfo, 9 + sizeof...(Values)>{{
      {T::numbers.table, T::qualifiedName.c_str(), VekTypeOf<OrviaAsicUtils::SwTable>::type,
       nullptr, nullptr, &table},
      handleType<T>(),
      {T::numbers.pendingEntrySm, nestedName<T, "PendingEntrySm">.c_str(),
       VekTypeOf<Vek::NotifieeConst>::type, nullptr, nullptr, &PendingEntryRows<T>::rows},
      {T::numbers.unresolvedEntry, nestedName<T, "UnresolvedEntry">.c_str(),
       VekTypeOf<Vek::PtrInterface>::type, nullptr, nullptr, &UnresolvedEntryRows<T>::rows},
      {T::numbers.neededEntryHandleSm,
       nestedName<T, "UnresolvedEntry::NeededEntryHandleSm">.c_str(),
       VekTypeOf<Vek::NotifieeConst>::type, nullptr, nullptr, &WatcherRows<T>::rows},
      utilType<T>(),
      utilLoaderType<T>(),
      values...,
      valueType<typename T::Entry>(ValueNumbers<T>::entry, nestedName<T, "Entry">.c_str(), &record),
      modeType<T>(),
  }};
}

}  // namespace OrviaL3Unicast::engine
