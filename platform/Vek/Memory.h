// The framework's allocator, with a count of live objects per type.
//
// Small sizes come from free lists of 16-byte classes that keep what they got from the system; in
// builds with AddressSanitizer every object comes from the system's allocator, so that a use after
// free is seen. Safe to use from several threads only while Vek::threadSafePointers() is on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Vek/Export.h"

namespace Vek {

// What is known of the objects of one type.
struct TypeAllocation {
  std::string typeName;
  std::uint64_t liveObjects = 0;   // allocated and not yet freed
  std::uint64_t totalObjects = 0;  // ever allocated
};

// The counters of a type, one per name and process: an object may be made in one shared object and
// freed in another. They live until exit.
VEK_EXPORT TypeAllocation& vekTypeAllocation(std::string_view typeName);

// `size` bytes, aligned for any object. Throws std::bad_alloc.
VEK_EXPORT void* vekMemAlloc(std::size_t size);
VEK_EXPORT void vekMemFree(void* memory, std::size_t size);
// The same, counted for a type.
VEK_EXPORT void* vekMemAlloc(std::size_t size, TypeAllocation& type);
VEK_EXPORT void vekMemFree(void* memory, std::size_t size, TypeAllocation& type);

// Live objects of the type of that name; 0 for one that never allocated.
VEK_EXPORT std::uint64_t vekLiveObjects(std::string_view typeName);

// All types that ever allocated, by name.
VEK_EXPORT std::vector<TypeAllocation> vekTypeAllocations();

// Inserted between a class and its base, makes `new` and `delete` of the class go through the
// allocator above: class Foo : public Tracked<Foo, Base>. Foo::typeName() names it. In a hierarchy
// the most derived class that does so is the one that counts.
template <class Self, class Base>
class Tracked : public Base {
 public:
  using Base::Base;

  static void* operator new(std::size_t size) { return vekMemAlloc(size, allocation()); }
  static void* operator new(std::size_t, void* where) noexcept { return where; }
  static void operator delete(void* memory, std::size_t size) {
    vekMemFree(memory, size, allocation());
  }
  static void operator delete(void*, void*) noexcept {}

 private:
  static TypeAllocation& allocation() {
    static TypeAllocation& type = vekTypeAllocation(Self::typeName());
    return type;
  }
};

}  // namespace Vek
