// The number under which an object announces a change of one of its attributes.
//
// 32 bits wide everywhere, also in a ring-buffer record. The same type names a needed-handle slot
// of a record and a member position of a block, since a watcher is keyed by the attribute it
// serves.
#pragma once

#include <compare>
#include <cstdint>
#include <ostream>

namespace Vek {

class AttributeId {
 public:
  constexpr AttributeId() = default;
  // Implicit on purpose: identifiers are written as plain numbers where an attribute is declared.
  constexpr AttributeId(std::uint32_t value)
      : value_(value) {}  // NOLINT(google-explicit-constructor)

  [[nodiscard]] constexpr std::uint32_t value() const { return value_; }

  friend constexpr bool operator==(AttributeId, AttributeId) = default;
  friend constexpr auto operator<=>(AttributeId, AttributeId) = default;
  friend std::ostream& operator<<(std::ostream& out, AttributeId id) { return out << id.value_; }

 private:
  std::uint32_t value_ = 0;
};

}  // namespace Vek
