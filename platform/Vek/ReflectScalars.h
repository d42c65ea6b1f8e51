// How the small types that attributes are made of are hashed, shown and read where the general way
// of Vek/VekValueOps.h does not do: truth values, bytes, texts, numbers under a name, enums without
// names, addresses, types.
#pragma once

#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "Asic/AutoRemoveType.h"
#include "Asic/BlockSize.h"
#include "Asic/HwTable.h"
#include "Asic/Index.h"
#include "Vek/Reflect.h"
#include "Vek/VekValueOps.h"

namespace Vek {

namespace detail {

// A class that is an unsigned number under a name: shown as the number already.
template <class T>
struct NamedNumberParse {
  static T parse(String const& text) {
    return T(strepToValue<std::remove_cvref_t<decltype(T().value())>>(text));
  }
};

// An enum of small numbers that nobody gave names to.
template <class T, T Last>
struct NumberedEnum {
  static String text(T value) { return std::to_string(static_cast<unsigned>(value)); }
  static T parse(String const& text) {
    auto const number = strepToValue<std::uint8_t>(text);
    if (number > static_cast<std::uint8_t>(Last)) {
      throw RangeException("value " + text.str() + " is larger than " +
                           std::to_string(static_cast<unsigned>(Last)));
    }
    return static_cast<T>(number);
  }
};

using AutoRemoveTypes = NumberedEnum<Asic::AutoRemoveType, Asic::noAutoRemove>;
using EntryStates = NumberedEnum<Asic::HwTable::EntryState, Asic::HwTable::refused>;

}  // namespace detail

template <>
struct VekValueText<bool> {
  static String text(bool value) { return value ? "true" : "false"; }
};
template <>
struct VekValueParse<bool> {
  static bool parse(String const& text) {
    if (text == "true" || text == "1") return true;
    if (text == "false" || text == "0") return false;
    throw TextException("expected true or false but found '" + text.str() + "'", 0);
  }
};

// A stream would show the character.
template <>
struct VekValueText<std::uint8_t> {
  static String text(std::uint8_t value) { return std::to_string(value); }
};

template <>
struct VekValueHash<String> {
  static std::uint32_t hash(String const& value, unsigned seed) {
    return hashFold(hashMix(std::hash<std::string>{}(value.str()), seed));
  }
};
template <>
struct VekValueParse<String> {
  static String parse(String const& text) { return text; }
};

template <>
struct VekValueParse<AttributeId> : detail::NamedNumberParse<AttributeId> {};
template <>
struct VekValueParse<Asic::Index> : detail::NamedNumberParse<Asic::Index> {};
template <>
struct VekValueParse<Asic::BlockSize> : detail::NamedNumberParse<Asic::BlockSize> {};

template <>
struct VekValueText<Asic::AutoRemoveType> : detail::AutoRemoveTypes {};
template <>
struct VekValueParse<Asic::AutoRemoveType> : detail::AutoRemoveTypes {};
template <>
struct VekValueText<Asic::HwTable::EntryState> : detail::EntryStates {};
template <>
struct VekValueParse<Asic::HwTable::EntryState> : detail::EntryStates {};

template <>
struct VekValueHash<VekType> {
  static std::uint32_t hash(VekType value, unsigned seed) {
    return hashFold(hashMix(reinterpret_cast<std::uintptr_t>(value.module) + value.number, seed));
  }
};
template <>
struct VekValueText<VekType> {
  static String text(VekType value) { return value.name(); }
};
template <>
struct VekValueParse<VekType> {
  static VekType parse(String const& text) {
    VekType const type = vekTypeNamed(text.str());
    if (type.module == nullptr && !text.empty()) {
      throw TextException("there is no type '" + text.str() + "'", 0);
    }
    return type;
  }
};

}  // namespace Vek
