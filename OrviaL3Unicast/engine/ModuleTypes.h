// The framework types that every entry table's module lists, under the table's own numbers and
// names.
#pragma once

#include <array>

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

// The table's classes, then whatever value types the unit adds.
template <class T, class... Values>
constexpr auto entryTableTypes(Values const&... values) {
  constexpr Vek::VekType notifiee{&Vek::vekModule, Vek::VekNumbers::notifieeConst};
  using Utils = OrviaAsicUtils::AsicUtilsNumbers;
  return std::array<Vek::VekTypeInfo, 7 + sizeof...(Values)>{{
      {T::numbers.table,
       T::qualifiedName.c_str(),
       {&OrviaAsicUtils::asicUtilsModule, Utils::swTable}},
      {T::numbers.entryHandle,
       nestedName<T, "EntryHandle">.c_str(),
       {&Asic::asicModule, Asic::AsicNumbers::entryHandle}},
      {T::numbers.pendingEntrySm, nestedName<T, "PendingEntrySm">.c_str(), notifiee},
      {T::numbers.unresolvedEntry,
       nestedName<T, "UnresolvedEntry">.c_str(),
       {&Vek::vekModule, Vek::VekNumbers::ptrInterface}},
      {T::numbers.neededEntryHandleSm,
       nestedName<T, "UnresolvedEntry::NeededEntryHandleSm">.c_str(), notifiee},
      {T::numbers.util,
       utilName<T>.c_str(),
       {&OrviaAsicUtils::asicUtilsModule, Utils::swTableUtil}},
      utilLoaderType<T>(),
      values...,
  }};
}

}  // namespace OrviaL3Unicast::engine
