// Unsigned integers of a given number of bits: U1, U2, U4, U5, U10, U14.
//
// Stored in the smallest whole number of bytes. A value that does not fit raises
// Vek::RangeException naming type and value. The text form is the decimal number, on
// a stream too, whatever base or width the stream is set to.
#pragma once

#include <compare>
#include <concepts>
#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>

#include "Vek/Exception.h"
#include "Vek/String.h"

namespace Vek {

using U16 = std::uint16_t;

template <unsigned Bits>
requires(Bits >= 1 && Bits <= 16) class FixedWidth {
 public:
  using Storage = std::conditional_t<(Bits <= 8), std::uint8_t, std::uint16_t>;
  static constexpr unsigned bits = Bits;
  static constexpr unsigned maximum = (1U << Bits) - 1;

  constexpr FixedWidth() = default;
  // Implicit: a field is written with a plain number, and a wrong one is refused.
  template <std::integral Value>
  constexpr FixedWidth(Value value)  // NOLINT(google-explicit-constructor)
      : value_(static_cast<Storage>(value)) {
    if constexpr (std::is_signed_v<Value>) {
      if (value < 0) refuse(std::to_string(value));
    }
    if (static_cast<std::uint64_t>(value) > maximum) refuse(std::to_string(value));
  }

  [[nodiscard]] constexpr Storage value() const { return value_; }

  friend constexpr bool operator==(FixedWidth, FixedWidth) = default;
  friend constexpr auto operator<=>(FixedWidth, FixedWidth) = default;
  friend std::ostream& operator<<(std::ostream& out, FixedWidth number) {
    return writeText(out, std::to_string(number.value_));
  }

 private:
  [[noreturn]] static void refuse(std::string const& value) {
    throw RangeException("value " + value + " does not fit U" + std::to_string(Bits));
  }

  Storage value_ = 0;
};

template <unsigned Bits>
String valueToStrep(FixedWidth<Bits> number) {
  return std::to_string(number.value());
}

using U1 = FixedWidth<1>;
using U2 = FixedWidth<2>;
using U4 = FixedWidth<4>;
using U5 = FixedWidth<5>;
using U10 = FixedWidth<10>;
using U14 = FixedWidth<14>;

}  // namespace Vek
