// Keys for the tests of the allocators: values of two types with equal contents, blocks, and what
// can go wrong with a copy.
#pragma once

#include <cstdint>
#include <ostream>
#include <stdexcept>

#include "Asic/EntryBlockBase.h"
#include "Vek/VekValueOps.h"

namespace AllocatorTests {

// Counts its copies that are alive, and refuses to be copied on request.
struct Key {
  std::uint32_t id = 0;

  explicit Key(std::uint32_t i) : id(i) { ++alive; }
  Key(Key const& other) : id(other.id) {
    if (copyThrows) throw std::runtime_error("no copy");
    ++alive;
  }
  Key& operator=(Key const&) = delete;
  ~Key() { --alive; }

  // As bad as is allowed: the digests have to bear long runs of equal hashes.
  [[nodiscard]] std::uint32_t hash(unsigned seed) const { return hashIsPoor ? 7 : id * 31 + seed; }
  friend bool operator==(Key const& a, Key const& b) { return a.id == b.id; }
  friend std::ostream& operator<<(std::ostream& out, Key const& key) {
    return out << "key " << key.id;
  }

  static inline int alive = 0;
  static inline bool copyThrows = false;
  static inline bool hashIsPoor = false;
};

// Equal in content to a Key of the same id. Has no hash() of its own.
struct OtherKey {
  std::uint32_t id = 0;
  friend bool operator==(OtherKey const&, OtherKey const&) = default;
  friend std::ostream& operator<<(std::ostream& out, OtherKey const& key) {
    return out << "other key " << key.id;
  }
};

struct Block : Asic::EntryBlockBase {
  Key key;
  Block(std::uint16_t size, std::uint32_t id) : EntryBlockBase(Asic::BlockSize(size)), key(id) {}
  [[nodiscard]] std::uint32_t hash(unsigned seed) const {
    return key.hash(seed) ^ blockSize().value();
  }
  friend bool operator==(Block const& a, Block const& b) {
    return a.EntryBlockBase::operator==(b) && a.key == b.key;
  }
  friend std::ostream& operator<<(std::ostream& out, Block const& block) {
    return out << "block " << block.key.id << " of " << block.blockSize();
  }
};

struct alignas(64) OverAligned {
  std::uint32_t id = 0;
  [[nodiscard]] std::uint32_t hash(unsigned seed) const { return id + seed; }
  friend bool operator==(OverAligned const&, OverAligned const&) = default;
  friend std::ostream& operator<<(std::ostream& out, OverAligned const& key) {
    return out << key.id;
  }
};

}  // namespace AllocatorTests

template <>
struct Vek::VekValueHash<AllocatorTests::OtherKey> {
  static std::uint32_t hash(AllocatorTests::OtherKey const& key, unsigned seed) {
    return key.id * 31 + seed;
  }
};

namespace AllocatorTests {

inline constexpr Vek::VekTypeInfo types[] = {
    {0, "AllocatorTests::Key", {}, &Vek::vekValueOps<Key>},
    {1, "AllocatorTests::OtherKey", {}, &Vek::vekValueOps<OtherKey>},
    {2, "AllocatorTests::Block", {}, &Vek::vekValueOps<Block>},
    {3, "AllocatorTests::NoValue", {}},
    {4, "AllocatorTests::OverAligned", {}, &Vek::vekValueOps<OverAligned>},
};
inline constexpr Vek::VekModule testModule{"AllocatorTests", types};
inline constexpr Vek::VekType keyType{&testModule, 0};
inline constexpr Vek::VekType otherKeyType{&testModule, 1};
inline constexpr Vek::VekType blockType{&testModule, 2};
inline constexpr Vek::VekType noValueType{&testModule, 3};
inline constexpr Vek::VekType overAlignedType{&testModule, 4};

}  // namespace AllocatorTests
