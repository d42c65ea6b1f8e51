// Makes the operations of a value type, for its row in a module:
//
//   {KeyNumbers::key, "My::Key", {}, &Vek::vekValueOps<My::Key>}
//
// T needs ==, a copy constructor, a stream output and a member `hash(unsigned seed)` of 32 bits. A
// type without such a member specialises VekValueHash instead.
#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <sstream>
#include <utility>

#include "Vek/String.h"
#include "Vek/VekType.h"

namespace Vek {

template <class T>
struct VekValueHash {
  static std::uint32_t hash(T const& value, unsigned seed) { return value.hash(seed); }
};

// Every shared object has an instance of its own; types are told apart by VekType, never by the
// address of their operations.
template <class T>
inline constexpr VekValueOps vekValueOps{
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
    [](void const* value) {
      std::ostringstream out;
      out << *static_cast<T const*>(value);
      return String(std::move(out).str());
    }};

}  // namespace Vek
