// The framework types of what the tables are made of, known at compile time: tables, handles,
// records, reactors, utilities. A record or a member of a block whose header this layer does not
// know says its type beside its unit.
#pragma once

#include <cstdint>
#include <type_traits>

#include "OrviaL3Unicast/engine/EntryTable.h"
#include "OrviaL3Unicast/engine/TableTraits.h"
#include "OrviaL3Unicast/engine/TableUtil.h"
#include "OrviaL3Unicast/plumbing/IndexValue.h"
#include "Vek/ValueType.h"
#include "Vek/VekValueOps.h"

namespace OrviaL3Unicast {

template <class Name>
class NextHopEntry;
template <class Name>
class L3EcmpGroupEntry;

namespace engine {

// The numbers of a table's value types, which stand between those of its classes.
template <class T>
struct ValueNumbers {
  static constexpr std::uint16_t index = 1;
  // The ingress table has no index: its keys are handles.
  static constexpr std::uint16_t entry = T::ownsRows ? 2 : 1;
  static constexpr std::uint16_t mode = T::numbers.entryHandle + 1;
};

template <class T>
using Mode = typename EntryHandle<T>::Mode;
// The type of a table's mode. An enum does not say which table's it is, so each unit does:
//
//   template <>
//   struct Vek::VekTypeOf<engine::Mode<Traits>> : engine::ModeType<Traits> {};
template <class T>
struct ModeType {
  static constexpr Vek::VekType type{T::module(), ValueNumbers<T>::mode};
};

// How the classes that have names of their own are recognised as a table's.
template <class T>
T traitsOf(TableBase<T> const*);
template <class T>
T traitsOf(TableUtil<T> const*);

}  // namespace engine
}  // namespace OrviaL3Unicast

namespace Vek {

template <class T>
struct VekTypeOf<OrviaL3Unicast::engine::EntryHandle<T>> {
  static constexpr VekType type{T::module(), T::numbers.entryHandle};
};
template <class T>
struct VekTypeOf<OrviaL3Unicast::engine::PendingEntrySm<T>> {
  static constexpr VekType type{T::module(), T::numbers.pendingEntrySm};
};
template <class T>
struct VekTypeOf<OrviaL3Unicast::engine::UnresolvedEntry<T>> {
  static constexpr VekType type{T::module(), T::numbers.unresolvedEntry};
};
template <class T>
struct VekTypeOf<OrviaL3Unicast::engine::NeededEntryHandleSm<T>> {
  static constexpr VekType type{T::module(), T::numbers.neededEntryHandleSm};
};
template <class C>
requires std::is_base_of_v<OrviaAsicUtils::SwTable, C> && requires(C const* table) {
  OrviaL3Unicast::engine::traitsOf(table);
}
struct VekTypeOf<C> {
  using T = decltype(OrviaL3Unicast::engine::traitsOf(static_cast<C const*>(nullptr)));
  static constexpr VekType type{T::module(), T::numbers.table};
};
template <class C>
requires std::is_base_of_v<OrviaAsicUtils::SwTableUtil, C> && requires(C const* util) {
  OrviaL3Unicast::engine::traitsOf(util);
}
struct VekTypeOf<C> {
  using T = decltype(OrviaL3Unicast::engine::traitsOf(static_cast<C const*>(nullptr)));
  static constexpr VekType type{T::module(), T::numbers.util};
};

template <class T>
struct VekTypeOf<OrviaL3Unicast::plumbing::IndexValue<T>> {
  static constexpr VekType type{T::module(), OrviaL3Unicast::engine::ValueNumbers<T>::index};
};
template <class T>
struct VekTypeOf<OrviaL3Unicast::NextHopEntry<T>> {
  static constexpr VekType type{T::module(), OrviaL3Unicast::engine::ValueNumbers<T>::entry};
};
template <class T>
struct VekTypeOf<OrviaL3Unicast::L3EcmpGroupEntry<T>> {
  static constexpr VekType type{T::module(), OrviaL3Unicast::engine::ValueNumbers<T>::entry};
};

}  // namespace Vek
