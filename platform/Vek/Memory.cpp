#include "Vek/Memory.h"

#include <functional>
#include <map>
#include <mutex>
#include <new>

#include "Vek/PtrInterface.h"

#if defined(__SANITIZE_ADDRESS__)
#define VEK_SYSTEM_ALLOCATOR 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VEK_SYSTEM_ALLOCATOR 1
#endif
#endif

namespace Vek {
namespace {

// Function-local, as objects are made in static initialisers; never destroyed, as they are freed at
// exit.
auto& typeAllocations() {
  static auto* types = new std::map<std::string, TypeAllocation, std::less<>>;
  return *types;
}

constinit std::mutex allocatorMutex;

// Runs `step` alone when counted objects may be touched by several threads, else just runs it.
template <class Step>
decltype(auto) guarded(Step&& step) {
  if (threadSafePointers()) [[unlikely]] {
    std::lock_guard lock(allocatorMutex);
    return step();
  }
  return step();
}

#ifdef VEK_SYSTEM_ALLOCATOR

void* takeMemory(std::size_t size) { return ::operator new(size); }
void giveMemory(void* memory, std::size_t) { ::operator delete(memory); }

#else

constexpr std::size_t granule = 16;
constexpr std::size_t classes = 64;  // sizes up to 1008 bytes
constexpr std::size_t chunkSize = std::size_t{64} << 10;

struct FreeBlock {
  FreeBlock* next;
};

constinit FreeBlock* freeBlocks[classes] = {};
constinit char* chunkNext = nullptr;
constinit char* chunkEnd = nullptr;

void* takeMemory(std::size_t size) {
  std::size_t const index = (size + granule - 1) / granule;
  if (index >= classes) [[unlikely]]
    return ::operator new(size);
  if (FreeBlock* block = freeBlocks[index]) {
    freeBlocks[index] = block->next;
    return block;
  }
  std::size_t const bytes = index * granule;
  if (static_cast<std::size_t>(chunkEnd - chunkNext) < bytes) [[unlikely]] {
    // The rest of the old chunk is left: at most one object's worth in 64 KiB.
    chunkNext = static_cast<char*>(::operator new(chunkSize));
    chunkEnd = chunkNext + chunkSize;
  }
  void* memory = chunkNext;
  chunkNext += bytes;
  return memory;
}

void giveMemory(void* memory, std::size_t size) {
  std::size_t const index = (size + granule - 1) / granule;
  if (index >= classes) [[unlikely]] {
    ::operator delete(memory);
    return;
  }
  freeBlocks[index] = new (memory) FreeBlock{freeBlocks[index]};
}

#endif

}  // namespace

void* vekMemAlloc(std::size_t size) {
  return guarded([&] { return takeMemory(size == 0 ? 1 : size); });
}

void vekMemFree(void* memory, std::size_t size) {
  if (memory == nullptr) return;
  guarded([&] { giveMemory(memory, size == 0 ? 1 : size); });
}

void* vekMemAlloc(std::size_t size, TypeAllocation& type) {
  return guarded([&] {
    void* memory = takeMemory(size);
    ++type.totalObjects;
    ++type.liveObjects;
    return memory;
  });
}

void vekMemFree(void* memory, std::size_t size, TypeAllocation& type) {
  if (memory == nullptr) return;
  guarded([&] {
    --type.liveObjects;
    giveMemory(memory, size);
  });
}

TypeAllocation& vekTypeAllocation(std::string_view typeName) {
  return guarded([&]() -> TypeAllocation& {
    return typeAllocations()
        .try_emplace(std::string(typeName), TypeAllocation{std::string(typeName)})
        .first->second;
  });
}

std::uint64_t vekLiveObjects(std::string_view typeName) {
  return guarded([&] {
    auto const& types = typeAllocations();
    auto const found = types.find(typeName);
    return found != types.end() ? found->second.liveObjects : 0;
  });
}

std::vector<TypeAllocation> vekTypeAllocations() {
  return guarded([] {
    std::vector<TypeAllocation> result;
    for (auto const& [name, type] : typeAllocations()) {
      if (type.totalObjects != 0) result.push_back(type);
    }
    return result;
  });
}

}  // namespace Vek
