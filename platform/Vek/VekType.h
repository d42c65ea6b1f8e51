// Which framework type an object has: a module and a number in it.
//
// Objects made by one shared object are recognised in another by this pair and never by the address
// of language type information, which differs between shared objects with hidden visibility.
// Modules are constant-initialised tables, so they can be used before any static initialiser ran.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Vek/Export.h"

namespace Vek {

class Entity;
class String;
template <class T>
class Ptr;
struct VekModule;
struct VekReflection;
struct VekTypeInfo;
struct VekValueOps;

// The pair that fwkType() answers with. Comparable; the default value names no type.
struct VEK_EXPORT VekType {
  VekModule const* module = nullptr;
  std::uint16_t number = 0;

  friend constexpr bool operator==(VekType const&, VekType const&) = default;

  // The description of this type, or none when its module does not list the number.
  [[nodiscard]] VekTypeInfo const* info() const;
  // The qualified class name, or "" when the type is not described.
  [[nodiscard]] char const* name() const;
  // How to handle values of this type through untyped pointers, or none when it is not a value type
  // (or not described).
  [[nodiscard]] VekValueOps const* valueOps() const;
  // Whether this type is `other` or derives from it. Costs one step per level of derivation.
  [[nodiscard]] bool isA(VekType other) const { return *this == other || derivesFrom(other); }

 private:
  [[nodiscard]] bool derivesFrom(VekType other) const;
};

// What somebody who knows a value only as an untyped pointer and a VekType can do with it: keep a
// copy, find it again by content, show it, read it from text. vekValueOps<T> of Vek/VekValueOps.h
// makes one. What a type does not offer is none.
struct VekValueOps {
  std::size_t size;
  std::size_t alignment;
  // Equal values have equal hashes for every seed. A type whose values are no keys raises
  // UnhashableTypeException.
  std::uint32_t (*hash)(void const* value, unsigned seed);
  bool (*equal)(void const* a, void const* b);
  // Constructs a copy of `from` in the raw memory at `to`.
  void (*copy)(void* to, void const* from);
  // Ends the value's life; its memory stays the caller's.
  void (*destroy)(void* value);
  String (*text)(void const* value);
  // Constructs a default value in the raw memory at `to`.
  void (*construct)(void* to) = nullptr;
  void (*assign)(void* to, void const* from) = nullptr;
  // Constructs, in the raw memory at `to`, the value that the whole text says. Raises Exception and
  // leaves the memory raw when there is none.
  void (*parse)(void* to, String const& text) = nullptr;
  // Reading this type from text is a programming error and aborts, as the type holds a collection,
  // which has no text: ask before you call parse.
  bool parseAborts = false;

  [[nodiscard]] constexpr bool parses() const { return parse != nullptr && !parseAborts; }
};

// How an entity is made by somebody who knows its type and its name only. Types that take no
// further arguments refuse any (throwNewEntityArgsException in Vek/Entity.h).
using NewEntityForDir = Ptr<Entity> (*)(String const& name, void* args);

// One row of a module: a type's number, its qualified class name, the type that it derives from,
// for a value type its operations, for an entity that is made by name how to make one, and for a
// type that tools can look into its attributes and operations (Vek/Reflect.h).
struct VekTypeInfo {
  std::uint16_t number;
  char const* name;
  VekType base;
  VekValueOps const* value = nullptr;
  NewEntityForDir newEntityForDir = nullptr;
  VekReflection const* reflection = nullptr;
};

struct VekModule {
  char const* name;
  std::span<VekTypeInfo const> types;
};

// Makes a module known to the process. Registering one twice has no effect. The module must live as
// long as the process.
VEK_EXPORT void vekModuleIs(VekModule const* module);
// The registered modules in the order of their registration.
VEK_EXPORT std::vector<VekModule const*> vekModules();

// The object as a T when its framework type says that it is one, else none.
template <class T, class Object>
T const* vekCast(Object const* object) {
  return object != nullptr && object->fwkType().isA(T::classType()) ? static_cast<T const*>(object)
                                                                    : nullptr;
}
template <class T, class Object>
T* vekCast(Object* object) {
  return object != nullptr && object->fwkType().isA(T::classType()) ? static_cast<T*>(object)
                                                                    : nullptr;
}

}  // namespace Vek
