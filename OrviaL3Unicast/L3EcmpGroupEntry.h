// The record of one row of the L3 ECMP group table.
//
// A value type. The member block is known only through its entry handle: ecmpBlockPtr() is read
// from that handle's row at each call, takes no part in comparison and has no storage.
#pragma once

#include <compare>
#include <cstdint>
#include <ostream>
#include <tuple>

#include "OrviaL3Unicast/engine/NeededHandleCollection.h"
#include "OrviaL3Unicast/engine/TableTraits.h"
#include "OrviaL3Unicast/plumbing/RecordAttributes.h"
#include "OrviaL3Unicast/plumbing/RefusedText.h"

namespace OrviaL3Unicast {

// What a group record stores beside its needed handle.
struct L3EcmpGroupFields {
  std::uint32_t lbMode = 0;    // load-balancing mode; the codes are the hardware's
  std::uint16_t numPaths = 0;  // members of the group

  friend bool operator==(L3EcmpGroupFields const&, L3EcmpGroupFields const&) = default;
};

template <class Name>
class L3EcmpGroupEntry : public engine::NeededHandleCollection {
 public:
  using NeededHandle = engine::NeededHandle;

  // The slot of the needed handle: the attribute id of the derived field that it feeds.
  static constexpr int ecmpBlockPtrSlot = 3;

  L3EcmpGroupEntry() = default;
  // An empty handle leaves the slot absent. The plain ecmpBlockPtr is accepted and ignored on
  // purpose: the value always comes from the handle.
  L3EcmpGroupEntry(std::uint16_t /*ecmpBlockPtr*/, NeededHandle const& ecmpBlockPtrHandle,
                   std::uint32_t lbMode, std::uint16_t numPaths)
      : fields_{lbMode, numPaths} {
    ecmpBlockPtrHandleIs(ecmpBlockPtrHandle);
  }
  // Every value type has one. A record holds a collection, and ends the process.
  static constexpr bool hasTextConstructor = false;
  [[noreturn]] L3EcmpGroupEntry(Vek::String::IteratorConst& /*begin*/,
                                Vek::String::IteratorConst const& /*end*/) {
    plumbing::refuseTextConstructor<Name, "Entry">(163);
  }

  // All stored fields at once, for hardware that takes a whole row.
  [[nodiscard]] L3EcmpGroupFields const& fields() const { return fields_; }
  // The same for a change: each setter of a field does no more than store it.
  [[nodiscard]] L3EcmpGroupFields& fields() { return fields_; }

  [[nodiscard]] std::uint32_t lbMode() const { return fields_.lbMode; }
  void lbModeIs(std::uint32_t value) { fields_.lbMode = value; }
  [[nodiscard]] std::uint16_t numPaths() const { return fields_.numPaths; }
  void numPathsIs(std::uint16_t value) { fields_.numPaths = value; }

  [[nodiscard]] NeededHandle ecmpBlockPtrHandle() const {
    return neededEntryHandle(ecmpBlockPtrSlot);
  }
  void ecmpBlockPtrHandleIs(NeededHandle const& handle) {
    neededEntryHandleIs(ecmpBlockPtrSlot, handle);
  }
  // The first row of the member block, low 16 bits: 0 without a handle, 0xFFFF while it has no row.
  [[nodiscard]] std::uint16_t ecmpBlockPtr() const { return rowOfSlot(ecmpBlockPtrSlot); }

  // Whether the record differs from a default one.
  explicit operator bool() const { return !(*this == L3EcmpGroupEntry()); }
  friend bool operator==(L3EcmpGroupEntry const& a, L3EcmpGroupEntry const& b) {
    return a.compare(b) == std::strong_ordering::equal;
  }
  friend bool operator<(L3EcmpGroupEntry const& a, L3EcmpGroupEntry const& b) {
    return a.compare(b) == std::strong_ordering::less;
  }
  // The text of valueToStrep.
  friend std::ostream& operator<<(std::ostream& out, L3EcmpGroupEntry const& entry) {
    return Vek::writeText(out, valueToStrep(entry).str());
  }

  static constexpr auto attributes() {
    using plumbing::AttributeKind;
    using plumbing::other;
    using plumbing::stored;
    return std::tuple{
        other(2, "neededEntryHandle", AttributeKind::collection),
        other(3, "ecmpBlockPtr", AttributeKind::derived),
        other(4, "ecmpBlockPtrHandle", AttributeKind::handle),
        stored(5, "lbMode", &L3EcmpGroupFields::lbMode),
        stored(6, "numPaths", &L3EcmpGroupFields::numPaths),
    };
  }

 private:
  [[nodiscard]] std::strong_ordering compare(L3EcmpGroupEntry const& other) const {
    static constexpr auto rows = attributes();
    // The fields leave two bytes of padding behind them.
    static_assert(plumbing::storedSize(rows) + 2 == sizeof(L3EcmpGroupFields),
                  "a stored field has no row in the attribute table");
    auto const byHandles = compareNeededHandles(other);
    return byHandles != 0 ? byHandles : plumbing::compareStored(fields_, other.fields_, rows);
  }

  L3EcmpGroupFields fields_;
};

// One line; the needed handle and what is derived from it are not in it.
template <class Name>
Vek::String valueToStrep(L3EcmpGroupEntry<Name> const& entry) {
  static constexpr auto rows = L3EcmpGroupEntry<Name>::attributes();
  return plumbing::recordText(engine::nestedName<Name, "Entry">.c_str(), entry.fields(), rows);
}

}  // namespace OrviaL3Unicast
