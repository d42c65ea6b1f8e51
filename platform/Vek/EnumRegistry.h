// The enums of the process: values and names, found by the module and an ordinal in it.
//
// The ordinals are a numbering of their own: an enum and a class of one module may have the same
// number (Vek/VekType.h).
//
//   constexpr Vek::EnumValue values[] = {{0, "add"}, {1, "del"}};
//   constexpr Vek::EnumType type{&module, 3, "My::Mode", values};
//   Vek::enumTypeIs(&type);
//   Vek::enumText(&module, 3, 1);             // "del"
//   Vek::enumInstance(&module, 3, "add");     // 0
//
// Asking for an enum that is not registered, or for a value that it does not have, raises
// Vek::Exception naming both. Descriptions are constant tables and live as long as the process; the
// registry can be used before any static initialiser ran. One thread.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "Vek/Export.h"
#include "Vek/String.h"
#include "Vek/VekType.h"

namespace Vek {

struct EnumValue {
  std::uint32_t number;
  char const* name;
};

struct EnumType {
  VekModule const* module;
  std::uint16_t ordinal;
  char const* name;  // qualified
  std::span<EnumValue const> values;
};

// Makes an enum known. Has no effect when one of the same name is known under module and ordinal,
// as every shared object may have a description of its own; raises Exception for another name.
VEK_EXPORT void enumTypeIs(EnumType const* type);
// The known enum, or none.
VEK_EXPORT EnumType const* enumType(VekModule const* module, std::uint16_t ordinal);
// All of them, in the order of their registration.
VEK_EXPORT std::vector<EnumType const*> enumTypes();

// The number of the value with that number (which is thereby known to exist) or name.
VEK_EXPORT std::uint32_t enumInstance(VekModule const* module, std::uint16_t ordinal,
                                      std::uint32_t number);
VEK_EXPORT std::uint32_t enumInstance(VekModule const* module, std::uint16_t ordinal,
                                      String const& name);
// The name of the value with that number.
VEK_EXPORT String enumText(VekModule const* module, std::uint16_t ordinal, std::uint32_t number);
// Reads the name of a value from the front of a text (Vek/TextParser.h), and gives its number.
VEK_EXPORT std::uint32_t enumFromText(VekModule const* module, std::uint16_t ordinal,
                                      String::IteratorConst& begin,
                                      String::IteratorConst const& end);

}  // namespace Vek
