// The binary layout of a ring file, shared by writer and reader.
//
//   +--------------------+ 0
//   | Header             |   what the file is and where its parts are; never changes after creation
//   | State              |   write positions and counters; changes with every record
//   +--------------------+ idTableOffset
//   | table of ids       |   u32 per id: offset of the id's description inside the description
//   |                    |   area plus 1, or 0 while the id has no description
//   +--------------------+ descriptionOffset
//   | descriptions       |   one Description per statement, appended, never overwritten
//   +--------------------+ ringOffset
//   | ring               |   Records; the oldest whole ones make room for the newest
//   +--------------------+ fileSize
//
// Numbers are stored in the byte order of the machine that wrote the file; `byteOrder` tells which.
// Every part starts on a multiple of 8, and so does every description and record.
//
// Positions in the ring are 64-bit counts of bytes ever written; byte `p` lives at offset `p %
// ringSize`. The ring holds the records of [begin, end). The writer moves `begin` beyond a record
// before it overwrites the first byte of it, and moves `end` beyond a record after its last byte is
// there. So whoever copies the ring and then looks at `begin` again knows which records of the copy
// are whole, without any lock, and a process that dies in the middle of a record leaves every
// earlier record readable.
//
// A record never wraps. When one does not fit before the end of the ring, a filler (id 0) takes the
// rest.
//
// Checks: Header, Description and Record carry a hash of their content. A record's hash starts from
// its position, so what an earlier lap left behind is not taken for a record.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace Fendrel::Layout {

inline constexpr std::uint64_t kMagic = 0x4C4552444E4546ULL;  // "FENDREL" in little-endian order
inline constexpr std::uint32_t kVersion = 1;
inline constexpr std::uint32_t kByteOrder = 0x01020304;

inline constexpr std::size_t kAlignment = 8;
[[nodiscard]] constexpr std::size_t aligned(std::size_t size) {
  return (size + kAlignment - 1) / kAlignment * kAlignment;
}

struct Header {
  std::uint64_t magic = kMagic;
  std::uint32_t version = kVersion;
  std::uint32_t byteOrder = kByteOrder;
  std::uint64_t fileSize = 0;
  std::uint64_t idTableOffset = 0;
  std::uint64_t idTableSize = 0;  // slots
  std::uint64_t descriptionOffset = 0;
  std::uint64_t descriptionSize = 0;  // bytes
  std::uint64_t ringOffset = 0;
  std::uint64_t ringSize = 0;   // bytes
  std::uint64_t createdAt = 0;  // nanoseconds since 1970, UTC
  std::uint64_t processId = 0;
  std::uint64_t check = 0;  // hash of all of the above
};

struct State {
  std::uint64_t begin = 0;            // position of the oldest whole record
  std::uint64_t end = 0;              // position behind the newest whole record
  std::uint64_t descriptionUsed = 0;  // bytes
  std::uint64_t dropped = 0;          // records that could not be written
};

inline constexpr std::size_t kStateOffset = 128;
inline constexpr std::size_t kHeaderSize = 192;
static_assert(sizeof(Header) <= kStateOffset && kStateOffset + sizeof(State) <= kHeaderSize);

// Followed by the argument widths (one byte each: 1, 2, 4 or 8), the source file and the format.
struct Description {
  std::uint32_t check = 0;  // hash of the whole description, this field taken as 0
  std::uint32_t size = 0;   // bytes with what follows, a multiple of 8
  std::uint32_t id = 0;
  std::uint32_t line = 0;
  std::uint16_t argCount = 0;
  std::uint16_t fileSize = 0;
  std::uint16_t formatSize = 0;
  std::uint16_t zero = 0;
};

// Followed by the arguments without any gap.
struct Record {
  std::uint32_t id = 0;
  std::uint16_t size = 0;     // bytes with arguments and gap, a multiple of 8
  std::uint16_t argSize = 0;  // bytes of arguments
  std::uint64_t time = 0;     // nanoseconds since 1970, UTC
  std::uint32_t check = 0;    // hash of the whole record, this field taken as 0
};
inline constexpr std::size_t kRecordHeaderSize = 20;  // without the gap that ends the struct

// One cache line. It also bounds how far a reader has to look to find out whether bytes are a
// record.
inline constexpr std::size_t kMaxRecordSize = 64;
inline constexpr std::size_t kMaxArgSize = kMaxRecordSize - kRecordHeaderSize;

// The first 8 bytes of a Record; the rest of a filler has no meaning.
struct Filler {
  std::uint32_t id = 0;
  std::uint16_t size = 0;  // bytes up to the end of the ring
  std::uint16_t argSize = 0;
};
static_assert(sizeof(Filler) == kAlignment);

// Upper bounds that a reader believes, so that a damaged header cannot make it ask for the moon.
inline constexpr std::uint64_t kMaxIdTableSize = 1U << 20;
inline constexpr std::uint64_t kMaxDescriptionSize = 64U << 20;
inline constexpr std::uint64_t kMaxRingSize = 1U << 30;
inline constexpr std::uint64_t kMinRingSize = kMaxRecordSize * 2;

// Any change of a single word changes the 64-bit hash for certain. `bytes.size()` is a multiple
// of 8.
[[nodiscard]] inline std::uint64_t hash(std::uint64_t seed, std::span<std::byte const> bytes) {
  std::uint64_t value = (seed + 1) * 0x9E3779B97F4A7C15ULL;
  for (std::size_t at = 0; at + kAlignment <= bytes.size(); at += kAlignment) {
    std::uint64_t word;
    std::memcpy(&word, bytes.data() + at, sizeof word);
    value = (value ^ word) * 0xFF51AFD7ED558CCDULL;
    value ^= value >> 32;
  }
  return value;
}

[[nodiscard]] inline std::uint32_t hash32(std::uint64_t seed, std::span<std::byte const> bytes) {
  std::uint64_t const value = hash(seed, bytes) * 0xC4CEB9FE1A85EC53ULL;
  return static_cast<std::uint32_t>(value >> 32);
}

static_assert(std::is_trivially_copyable_v<Header> &&
              std::has_unique_object_representations_v<Header>);
static_assert(std::is_trivially_copyable_v<State> &&
              std::has_unique_object_representations_v<State>);
static_assert(std::is_trivially_copyable_v<Description> &&
              std::has_unique_object_representations_v<Description>);
static_assert(std::is_trivially_copyable_v<Record> && offsetof(Record, check) == 16);

}  // namespace Fendrel::Layout
