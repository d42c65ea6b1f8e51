// A hardware row number: 32 bits, all ones meaning "no row".
#pragma once

#include <compare>
#include <cstdint>
#include <ostream>

namespace Asic {

class Index {
 public:
  constexpr Index() = default;
  // Implicit on purpose: rows are written as plain numbers.
  constexpr Index(std::uint32_t value) : value_(value) {}  // NOLINT(google-explicit-constructor)

  static constexpr Index invalidIndex() { return Index(0xFFFFFFFFU); }

  [[nodiscard]] constexpr std::uint32_t value() const { return value_; }

  // No row plus any number of rows is no row.
  friend constexpr Index operator+(Index row, std::uint32_t count) {
    return row == invalidIndex() ? row : Index(row.value_ + count);
  }
  friend constexpr bool operator==(Index, Index) = default;
  friend constexpr auto operator<=>(Index, Index) = default;
  friend std::ostream& operator<<(std::ostream& out, Index row) { return out << row.value_; }

 private:
  std::uint32_t value_ = 0;
};

}  // namespace Asic
