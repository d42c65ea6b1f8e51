// Makes the operations of a value type, for its row in a module:
//
//   {KeyNumbers::key, "My::Key", {}, &Vek::vekValueOps<My::Key>}
//
// T needs ==, a copy constructor, a member `hash(unsigned seed)` of 32 bits, and a text form: a
// valueToStrep, or else a stream output.
// What differs is said by specialising a template here: VekValueHash, VekValueText, VekValueParse.
// A T that is read from text has a text constructor or a sequenceToValue (Vek/TextParser.h).
// Default construction and assignment are offered where T has them.
#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "Vek/Format.h"
#include "Vek/Hash.h"
#include "Vek/String.h"
#include "Vek/TextParser.h"
#include "Vek/TextRefusal.h"
#include "Vek/VekType.h"

namespace Vek {

namespace detail {
template <class T>
concept PlainNumber = std::integral<T> || std::is_enum_v<T>;
// A class that is a number under a name and has no hash of its own.
template <class T>
concept NamedNumber = requires(T const& number) {
  { number.value() } -> std::integral;
}
&&!requires(T const& number) { number.hash(1U); };
template <class T>
concept SequenceReadable = requires(String::IteratorConst& begin, String::IteratorConst const& end,
                                    T* value) {
  sequenceToValue(begin, end, value);
};
// A type that says its text form itself, and not only by its stream output.
template <class T>
concept TextGiving = requires(T const& value) {
  { valueToStrep(value) } -> std::convertible_to<String>;
};
}  // namespace detail

template <class T>
struct VekValueHash {
  static std::uint32_t hash(T const& value, unsigned seed) { return value.hash(seed); }
};
template <detail::PlainNumber T>
struct VekValueHash<T> {
  static std::uint32_t hash(T value, unsigned seed) {
    return hashFold(hashMix(static_cast<std::uint64_t>(value), seed));
  }
};
template <detail::NamedNumber T>
struct VekValueHash<T> {
  static std::uint32_t hash(T const& value, unsigned seed) {
    return hashFold(hashMix(value.value(), seed));
  }
};
// Addresses: told apart, and nothing else.
template <>
struct VekValueHash<void const*> {
  static std::uint32_t hash(void const* value, unsigned seed) {
    return hashFold(hashMix(reinterpret_cast<std::uintptr_t>(value), seed));
  }
};

template <class T>
struct VekValueText {
  static String text(T const& value) {
    if constexpr (detail::TextGiving<T>) {
      return valueToStrep(value);
    } else {
      return detail::streamed(value);
    }
  }
};

// Reads a T from a whole text; no member parse() where that cannot be done.
template <class T>
struct VekValueParse {};
template <class T>
requires detail::TextConstructible<T> || detail::SequenceReadable<T>
struct VekValueParse<T> {
  static T parse(String const& text) { return strepToValue<T>(text); }
};

namespace detail {

template <class T>
constexpr VekValueOps makeValueOps() {
  VekValueOps ops{
      sizeof(T),
      alignof(T),
      [](void const* value, unsigned seed) -> std::uint32_t {
        return VekValueHash<T>::hash(*static_cast<T const*>(value), seed);
      },
      [](void const* a, void const* b) -> bool {
        return *static_cast<T const*>(a) == *static_cast<T const*>(b);
      },
      [](void* to, void const* from) { ::new (to) T(*static_cast<T const*>(from)); },
      [](void* value) { std::destroy_at(static_cast<T*>(value)); },
      [](void const* value) { return VekValueText<T>::text(*static_cast<T const*>(value)); }};
  if constexpr (std::default_initializable<T>) {
    ops.construct = [](void* to) { ::new (to) T(); };
  }
  if constexpr (std::is_copy_assignable_v<T>) {
    ops.assign = [](void* to, void const* from) {
      *static_cast<T*>(to) = *static_cast<T const*>(from);
    };
  }
  if constexpr (requires(String const& text) { VekValueParse<T>::parse(text); }) {
    ops.parse = [](void* to, String const& text) { ::new (to) T(VekValueParse<T>::parse(text)); };
    ops.parseAborts = RefusesText<T>;
  }
  return ops;
}

}  // namespace detail

// Every shared object has an instance of its own; types are told apart by VekType, never by the
// address of their operations.
template <class T>
inline constexpr VekValueOps vekValueOps = detail::makeValueOps<T>();

}  // namespace Vek
