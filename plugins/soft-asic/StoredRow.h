// One row of a hardware table in memory that outlives the process.
//
//   StoredRow<GroupContents>& row = ...;      // in a mapped file: see DeviceFile.h
//   row.contentsIs({.lbMode = 1, .numPaths = 4, .ecmpBlockPtr = 16});
//   row.contents()                            // the same, also in the next process
//
// A process can be killed between any two instructions, and the row must hold the old contents or
// the new ones then, never some of both. So there is room for two copies, and one byte says which
// of them is in force: a write fills the other one and then changes the byte. All zeros are an
// empty row.
//
// What a killed process had stored is there for the next one, in the order of its instructions.
// That order is all that has to be kept, so the fences bind the compiler and cost nothing at run
// time. A power failure is another matter: nothing is forced to disk, and hardware does not survive
// one either.
//
// One thread, and one process at a time. Lives where whoever mapped the memory says.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <type_traits>

namespace SoftAsic {

template <class Contents>
class StoredRow {
  static_assert(std::is_trivially_copyable_v<Contents>, "contents are copied byte by byte");

 public:
  // Nothing in an empty row.
  [[nodiscard]] std::optional<Contents> contents() const {
    std::uint8_t const inForce = this->inForce();
    if (inForce == none) return {};
    Contents contents{};
    std::memcpy(&contents, copy(inForce).data(), sizeof contents);
    return contents;
  }
  void contentsIs(Contents const& contents) {
    std::uint8_t const next = inForce() == first ? second : first;
    std::memcpy(copies_[next - 1U].data(), &contents, sizeof contents);
    inForceIs(next);
  }
  void contentsDel() {
    // What is empty is not touched: a page of the file that nobody ever wrote stays as it is.
    if (inForce() != none) inForceIs(none);
  }
  // Whether a row can look like this at all.
  [[nodiscard]] bool isSound() const { return inForce() <= second; }

 private:
  using Copy = std::array<std::byte, sizeof(Contents)>;
  static constexpr std::uint8_t none = 0;
  static constexpr std::uint8_t first = 1;
  static constexpr std::uint8_t second = 2;

  [[nodiscard]] std::uint8_t inForce() const { return inForce_; }
  void inForceIs(std::uint8_t which) {
    std::atomic_ref<std::uint8_t>(inForce_).store(which, std::memory_order_release);
    // Nor may the next write of this row, which fills the copy that was in force until now, move
    // before the change.
    std::atomic_signal_fence(std::memory_order_seq_cst);
  }
  [[nodiscard]] Copy const& copy(std::uint8_t which) const { return copies_[which - 1U]; }

  alignas(Contents) std::array<Copy, 2> copies_;
  std::uint8_t inForce_;
};

}  // namespace SoftAsic
