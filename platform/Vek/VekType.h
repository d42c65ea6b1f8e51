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

struct VekModule;
struct VekTypeInfo;

// The pair that fwkType() answers with. Comparable; the default value names no type.
struct VEK_EXPORT VekType {
  VekModule const* module = nullptr;
  std::uint16_t number = 0;

  friend constexpr bool operator==(VekType const&, VekType const&) = default;

  // The description of this type, or none when its module does not list the number.
  [[nodiscard]] VekTypeInfo const* info() const;
  // The qualified class name, or "" when the type is not described.
  [[nodiscard]] char const* name() const;
  // Whether this type is `other` or derives from it. Costs one step per level of derivation.
  [[nodiscard]] bool isA(VekType other) const {
    return *this == other || derivesFrom(other);
  }

 private:
  [[nodiscard]] bool derivesFrom(VekType other) const;
};

// One row of a module: a type's number, its qualified class name and the type that it derives from.
struct VekTypeInfo {
  std::uint16_t number;
  char const* name;
  VekType base;
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
