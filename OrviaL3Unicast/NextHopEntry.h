// The record of one row of the ingress L3 next-hop hardware table.
//
// Written once; each table that programs that hardware table carries it under a name of its own
// (`Name`, the table's traits, only keeps the types apart and gives the text form its type name).
//
// A value type. The outgoing interface and the MTU profile are known only through the entry handles
// of the tables that own them: l3Oif1() and mtuProfilePtr() are read from those handles' rows at
// each call, take no part in comparison and have no storage.
#pragma once

#include <compare>
#include <cstdint>
#include <ostream>
#include <tuple>

#include "OrviaL3Unicast/engine/NeededHandleCollection.h"
#include "OrviaL3Unicast/engine/TableTraits.h"
#include "OrviaL3Unicast/plumbing/RecordAttributes.h"
#include "OrviaL3Unicast/plumbing/RefusedText.h"
#include "Vek/FixedWidth.h"

namespace OrviaL3Unicast {

struct IngL3NextHop1Traits;
struct EcmpIngL3NextHop1Traits;

// The line of its unit that each table names when a record is to be made from text.
template <class Name>
inline constexpr int nextHopTextLine = 0;
template <>
inline constexpr int nextHopTextLine<IngL3NextHop1Traits> = 189;
template <>
inline constexpr int nextHopTextLine<EcmpIngL3NextHop1Traits> = 214;

// What a next-hop record stores beside its needed handles, each field at its own width.
struct NextHopFields {
  std::uint16_t destination = 0;
  std::uint16_t dvp = 0;  // destination virtual port
  Vek::U14 dvpL3Oif1;
  Vek::U10 dvpMtuProfilePtr;
  Vek::U4 forwardingType;
  Vek::U4 l2McL3McL2OifSysDstValid;  // four valid bits: L2 multicast, L3 multicast, L2 outgoing
                                     // interface, system destination
  Vek::U1 l3OifType;
  Vek::U5 strengthProfileIdx;
  Vek::U4 systemOpcode;
  Vek::U2 viewType;

  friend bool operator==(NextHopFields const&, NextHopFields const&) = default;
};

template <class Name>
class NextHopEntry : public engine::NeededHandleCollection {
 public:
  using NeededHandle = engine::NeededHandle;

  // The slots of the needed handles: the attribute ids of the derived fields that they feed.
  static constexpr int l3Oif1Slot = 9;
  static constexpr int mtuProfilePtrSlot = 12;

  // All fields 0, no needed handle.
  NextHopEntry() = default;
  // An empty handle leaves its slot absent. The plain l3Oif1 and mtuProfilePtr are accepted and
  // ignored on purpose: these values always come from the handles.
  NextHopEntry(std::uint16_t destination, std::uint16_t dvp, Vek::U14 dvpL3Oif1,
               Vek::U10 dvpMtuProfilePtr, Vek::U4 forwardingType, Vek::U4 l2McL3McL2OifSysDstValid,
               std::uint16_t /*l3Oif1*/, NeededHandle const& l3Oif1Handle, Vek::U1 l3OifType,
               std::uint16_t /*mtuProfilePtr*/, NeededHandle const& mtuProfilePtrHandle,
               Vek::U5 strengthProfileIdx, Vek::U4 systemOpcode, Vek::U2 viewType)
      : fields_{destination,    dvp,
                dvpL3Oif1,      dvpMtuProfilePtr,
                forwardingType, l2McL3McL2OifSysDstValid,
                l3OifType,      strengthProfileIdx,
                systemOpcode,   viewType} {
    l3Oif1HandleIs(l3Oif1Handle);
    mtuProfilePtrHandleIs(mtuProfilePtrHandle);
  }
  // Every value type has one. A record holds a collection, and ends the process.
  static constexpr bool hasTextConstructor = false;
  [[noreturn]] NextHopEntry(Vek::String::IteratorConst& /*begin*/,
                            Vek::String::IteratorConst const& /*end*/) {
    static_assert(nextHopTextLine<Name> != 0, "the table does not say which line it names");
    plumbing::refuseTextConstructor<Name, "Entry">(nextHopTextLine<Name>);
  }

  // All stored fields at once, for hardware that takes a whole row.
  [[nodiscard]] NextHopFields const& fields() const { return fields_; }
  // The same for a change: each setter of a field does no more than store it.
  [[nodiscard]] NextHopFields& fields() { return fields_; }

  [[nodiscard]] std::uint16_t destination() const { return fields_.destination; }
  void destinationIs(std::uint16_t value) { fields_.destination = value; }
  [[nodiscard]] std::uint16_t dvp() const { return fields_.dvp; }
  void dvpIs(std::uint16_t value) { fields_.dvp = value; }
  [[nodiscard]] Vek::U14 dvpL3Oif1() const { return fields_.dvpL3Oif1; }
  void dvpL3Oif1Is(Vek::U14 value) { fields_.dvpL3Oif1 = value; }
  [[nodiscard]] Vek::U10 dvpMtuProfilePtr() const { return fields_.dvpMtuProfilePtr; }
  void dvpMtuProfilePtrIs(Vek::U10 value) { fields_.dvpMtuProfilePtr = value; }
  [[nodiscard]] Vek::U4 forwardingType() const { return fields_.forwardingType; }
  void forwardingTypeIs(Vek::U4 value) { fields_.forwardingType = value; }
  [[nodiscard]] Vek::U4 l2McL3McL2OifSysDstValid() const {
    return fields_.l2McL3McL2OifSysDstValid;
  }
  void l2McL3McL2OifSysDstValidIs(Vek::U4 value) { fields_.l2McL3McL2OifSysDstValid = value; }
  [[nodiscard]] Vek::U1 l3OifType() const { return fields_.l3OifType; }
  void l3OifTypeIs(Vek::U1 value) { fields_.l3OifType = value; }
  [[nodiscard]] Vek::U5 strengthProfileIdx() const { return fields_.strengthProfileIdx; }
  void strengthProfileIdxIs(Vek::U5 value) { fields_.strengthProfileIdx = value; }
  [[nodiscard]] Vek::U4 systemOpcode() const { return fields_.systemOpcode; }
  void systemOpcodeIs(Vek::U4 value) { fields_.systemOpcode = value; }
  [[nodiscard]] Vek::U2 viewType() const { return fields_.viewType; }
  void viewTypeIs(Vek::U2 value) { fields_.viewType = value; }

  [[nodiscard]] NeededHandle l3Oif1Handle() const { return neededEntryHandle(l3Oif1Slot); }
  void l3Oif1HandleIs(NeededHandle const& handle) { neededEntryHandleIs(l3Oif1Slot, handle); }
  [[nodiscard]] NeededHandle mtuProfilePtrHandle() const {
    return neededEntryHandle(mtuProfilePtrSlot);
  }
  void mtuProfilePtrHandleIs(NeededHandle const& handle) {
    neededEntryHandleIs(mtuProfilePtrSlot, handle);
  }
  // The outgoing interface's row, low 16 bits: 0 without a handle, 0xFFFF while it has no row.
  [[nodiscard]] std::uint16_t l3Oif1() const { return rowOfSlot(l3Oif1Slot); }
  // The MTU profile's row, in the same way.
  [[nodiscard]] std::uint16_t mtuProfilePtr() const { return rowOfSlot(mtuProfilePtrSlot); }

  // Whether the record differs from a default one.
  explicit operator bool() const { return !(*this == NextHopEntry()); }
  friend bool operator==(NextHopEntry const& a, NextHopEntry const& b) {
    return a.compare(b) == std::strong_ordering::equal;
  }
  // The needed handles come first, so a record with one is greater than any record with none.
  friend bool operator<(NextHopEntry const& a, NextHopEntry const& b) {
    return a.compare(b) == std::strong_ordering::less;
  }

  // The text of valueToStrep.
  friend std::ostream& operator<<(std::ostream& out, NextHopEntry const& entry) {
    return Vek::writeText(out, valueToStrep(entry).str());
  }
  static constexpr auto attributes() {
    using plumbing::AttributeKind;
    using plumbing::other;
    using plumbing::stored;
    using Fields = NextHopFields;
    return std::tuple{
        other(2, "neededEntryHandle", AttributeKind::collection),
        stored(3, "destination", &Fields::destination),
        stored(4, "dvp", &Fields::dvp),
        stored(5, "dvpL3Oif1", &Fields::dvpL3Oif1),
        stored(6, "dvpMtuProfilePtr", &Fields::dvpMtuProfilePtr),
        stored(7, "forwardingType", &Fields::forwardingType),
        stored(8, "l2McL3McL2OifSysDstValid", &Fields::l2McL3McL2OifSysDstValid),
        other(9, "l3Oif1", AttributeKind::derived),
        other(10, "l3Oif1Handle", AttributeKind::handle),
        stored(11, "l3OifType", &Fields::l3OifType),
        other(12, "mtuProfilePtr", AttributeKind::derived),
        other(13, "mtuProfilePtrHandle", AttributeKind::handle),
        stored(14, "strengthProfileIdx", &Fields::strengthProfileIdx),
        stored(15, "systemOpcode", &Fields::systemOpcode),
        stored(16, "viewType", &Fields::viewType),
    };
  }

 private:
  [[nodiscard]] std::strong_ordering compare(NextHopEntry const& other) const {
    static constexpr auto rows = attributes();
    static_assert(plumbing::storedSize(rows) == sizeof(NextHopFields),
                  "a stored field has no row in the attribute table");
    auto const byHandles = compareNeededHandles(other);
    return byHandles != 0 ? byHandles : plumbing::compareStored(fields_, other.fields_, rows);
  }

  NextHopFields fields_;
};

// One line; the needed handles and what is derived from them are not in it.
template <class Name>
Vek::String valueToStrep(NextHopEntry<Name> const& entry) {
  static constexpr auto rows = NextHopEntry<Name>::attributes();
  return plumbing::recordText(engine::nestedName<Name, "Entry">.c_str(), entry.fields(), rows);
}

}  // namespace OrviaL3Unicast
