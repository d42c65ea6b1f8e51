// A bitmap that finds its lowest set bit without scanning.
//
// Above the bits stand levels of summary: a bit of a level tells whether the 64-bit word below it
// has a set bit. The lowest set bit is one descent, four words for a million bits; setting or
// clearing a bit goes up only as far as a word starts or ceases to be empty. All levels are one
// array, the top first.
//
// A plain value, for one thread. Bits are numbered from 0; out of range is undefined.
#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Vek/Export.h"

namespace Mosk {

class VEK_EXPORT HBitmap {
 public:
  // The state of a bit: 0 or 1; any other number counts as 1.
  class BitState {
   public:
    constexpr BitState() = default;
    // Implicit on purpose: states are written as plain numbers.
    constexpr BitState(unsigned value) : set_(value != 0) {}  // NOLINT(google-explicit-constructor)
    [[nodiscard]] constexpr bool isSet() const { return set_; }
    friend constexpr bool operator==(BitState, BitState) = default;

   private:
    bool set_ = false;
  };

  // What lowestSet() answers when no bit is set.
  static constexpr std::uint32_t noBit = 0xFFFFFFFFU;

  // The number of bits. Those that stay keep their state, new ones start as 0.
  void sizeIs(std::uint32_t bits);
  [[nodiscard]] std::uint32_t size() const { return size_; }
  // How many bits are set.
  [[nodiscard]] std::uint32_t bitsSet() const { return bitsSet_; }

  [[nodiscard]] bool bit(std::uint32_t at) const {
    return ((words_[offset_[0] + (at >> 6)] >> (at & 63)) & 1) != 0;
  }
  void bitIs(std::uint32_t at, BitState state) {
    if (bit(at) == state.isSet()) return;
    state.isSet() ? set(at) : clear(at);
  }
  // The lowest set bit, or noBit.
  [[nodiscard]] std::uint32_t lowestSet() const {
    if (bitsSet_ == 0) return noBit;
    std::uint32_t at = 0;
    for (std::uint32_t level = levels_; level-- > 0;) {
      at = at * 64 + static_cast<std::uint32_t>(std::countr_zero(words_[offset_[level] + at]));
    }
    return at;
  }
  // The length of the longest run of set bits. Reads the whole bitmap.
  [[nodiscard]] std::uint32_t longestRun() const;

 private:
  void set(std::uint32_t at) {
    ++bitsSet_;
    for (std::uint32_t level = 0; level < levels_; ++level) {
      std::uint64_t& word = words_[offset_[level] + (at >> 6)];
      bool const wasEmpty = word == 0;
      word |= std::uint64_t{1} << (at & 63);
      if (!wasEmpty) return;
      at >>= 6;
    }
  }
  void clear(std::uint32_t at) {
    --bitsSet_;
    for (std::uint32_t level = 0; level < levels_; ++level) {
      std::uint64_t& word = words_[offset_[level] + (at >> 6)];
      word &= ~(std::uint64_t{1} << (at & 63));
      if (word != 0) return;
      at >>= 6;
    }
  }

  static constexpr std::size_t maxLevels = 6;  // 64 to the sixth exceeds 32 bits

  std::uint32_t size_ = 0;
  std::uint32_t bitsSet_ = 0;
  std::uint32_t levels_ = 0;
  std::array<std::uint32_t, maxLevels> offset_{};  // of each level's first word; 0 holds the bits
  std::vector<std::uint64_t> words_;
};

}  // namespace Mosk
