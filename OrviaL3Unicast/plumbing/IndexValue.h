// A number with one attribute, `value`: a group's number, a row, a position in a block.
//
// Each table has one under its own name (`Name` keeps the types apart). Prints as the bare decimal
// number, whatever the stream is set to, and is read from a text that names the attribute:
// {'value': 7}. What it prints is on purpose not what it reads.
#pragma once

#include <compare>
#include <cstdint>
#include <ostream>
#include <string>

#include "Vek/Hash.h"
#include "Vek/String.h"
#include "Vek/TextParser.h"

namespace OrviaL3Unicast::plumbing {

template <class Name>
class IndexValue {
 public:
  constexpr IndexValue() = default;
  // Implicit on purpose: written as a plain number.
  constexpr IndexValue(std::uint32_t value)
      : value_(value) {}  // NOLINT(google-explicit-constructor)
  // From {'value': <number>} at the front of a text; see Vek/TextParser.h.
  IndexValue(Vek::String::IteratorConst& begin, Vek::String::IteratorConst const& end) {
    Vek::attributeFromText(begin, end, "value", &value_);
  }

  [[nodiscard]] constexpr std::uint32_t value() const { return value_; }
  [[nodiscard]] constexpr std::uint32_t hash(unsigned seed) const {
    return Vek::hashFold(Vek::hashMix(value_, seed));
  }

  friend constexpr bool operator==(IndexValue, IndexValue) = default;
  friend constexpr auto operator<=>(IndexValue, IndexValue) = default;
  friend std::ostream& operator<<(std::ostream& out, IndexValue index) {
    return Vek::writeText(out, valueToStrep(index).str());
  }

 private:
  std::uint32_t value_ = 0;
};

template <class Name>
Vek::String valueToStrep(IndexValue<Name> index) {
  return std::to_string(index.value());
}

// Hashes a key that is a value with a hash of its own.
struct ValueHash {
  template <class Value>
  std::uint32_t operator()(Value const& value, unsigned seed) const {
    return value.hash(seed);
  }
};

}  // namespace OrviaL3Unicast::plumbing

namespace OrviaL3Unicast {
using plumbing::valueToStrep;
}
