// What a table is, as one struct: the only thing that the shared engine knows of a concrete table.
//
// A traits struct T says the table's key, record and utility, its names, its module and type
// numbers, whether it owns hardware rows and whether its keys are blocks. Everything else follows
// from it.
#pragma once

#include <concepts>
#include <cstdint>
#include <string_view>

#include "OrviaL3Unicast/plumbing/FixedString.h"
#include "Vek/VekType.h"

namespace OrviaL3Unicast::engine {

// The numbers of a table's framework types in the table's module.
struct TypeNumbers {
  std::uint16_t table;
  std::uint16_t entryHandle;
  std::uint16_t pendingEntrySm;
  std::uint16_t unresolvedEntry;
  std::uint16_t neededEntryHandleSm;
  std::uint16_t util;
  std::uint16_t utilLoader;
};

// The qualified name of a class nested in the table.
template <class T, plumbing::FixedString Nested>
inline constexpr auto nestedName = concat(T::qualifiedName, plumbing::FixedString("::"), Nested);

template <class T>
concept TableTraits = requires(typename T::Key const& key, unsigned seed) {
  typename T::Table;       // the concrete table class, may be incomplete
  typename T::Entry;       // the record, or one member of a block
  typename T::Util;        // the table's utility class
  typename T::UtilLoader;  // what brings the utility's plug-in, may be incomplete
  typename T::HwKey;       // how the utility is told the row
  typename T::KeyHash;     // a function object of key and seed
  { typename T::KeyHash{}(key, seed) } -> std::same_as<std::uint32_t>;
  { T::qualifiedName.view() } -> std::same_as<std::string_view>;  // "OrviaL3Unicast::<table>"
  { T::keyText.view() } -> std::same_as<std::string_view>;        // the key type, in signatures
  { T::sourceUnit() } -> std::same_as<char const*>;               // named by assertions and traces
  { T::traceHandleName() } -> std::same_as<char const*>;
  { T::module() } -> std::same_as<Vek::VekModule const*>;
  { T::ownsRows } -> std::convertible_to<bool>;     // the table chooses the row of a key
  { T::holdsBlocks } -> std::convertible_to<bool>;  // a key is a whole block of members
  { T::numbers } -> std::convertible_to<TypeNumbers>;
};

}  // namespace OrviaL3Unicast::engine
