// How many consecutive hardware rows a block occupies: a 16-bit count.
#pragma once

#include <compare>
#include <cstdint>
#include <ostream>

namespace Asic {

class BlockSize {
 public:
  constexpr BlockSize() = default;
  // Implicit on purpose: a block size is written as a plain number by callers.
  constexpr BlockSize(std::uint16_t value)
      : value_(value) {}  // NOLINT(google-explicit-constructor)

  [[nodiscard]] constexpr std::uint16_t value() const { return value_; }

  friend constexpr bool operator==(BlockSize, BlockSize) = default;
  friend constexpr auto operator<=>(BlockSize, BlockSize) = default;
  friend std::ostream& operator<<(std::ostream& out, BlockSize size) { return out << size.value_; }

 private:
  std::uint16_t value_ = 0;
};

}  // namespace Asic
