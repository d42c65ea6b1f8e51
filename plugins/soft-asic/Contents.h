// What rows of the simulated hardware hold: the records' stored fields, and the rows that they
// derive from entries of other tables, as they were at the moment of the write.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <cstdint>

#include "OrviaL3Unicast/L3EcmpEntryBlock.h"
#include "OrviaL3Unicast/L3EcmpGroupEntry.h"
#include "OrviaL3Unicast/NextHopEntry.h"

namespace SoftAsic {

// A row of the next-hop table, of either view.
struct NextHopContents {
  OrviaL3Unicast::NextHopFields fields;
  std::uint16_t l3Oif1 = 0;
  std::uint16_t mtuProfilePtr = 0;

  friend bool operator==(NextHopContents const&, NextHopContents const&) = default;
};

struct MemberContents {
  Asic::Index nextHopEntry = Asic::Index::invalidIndex();  // the next hop's row

  friend bool operator==(MemberContents const&, MemberContents const&) = default;
};

struct GroupContents {
  std::uint32_t lbMode = 0;
  std::uint16_t numPaths = 0;
  std::uint16_t ecmpBlockPtr = 0;  // the first row of the group's member block

  friend bool operator==(GroupContents const&, GroupContents const&) = default;
};

// What the hardware takes of a record, whichever table's it is.
template <class Name>
[[nodiscard]] NextHopContents contentsOf(OrviaL3Unicast::NextHopEntry<Name> const& entry) {
  return {entry.fields(), entry.l3Oif1(), entry.mtuProfilePtr()};
}

template <class Name>
[[nodiscard]] GroupContents contentsOf(OrviaL3Unicast::L3EcmpGroupEntry<Name> const& entry) {
  return {entry.lbMode(), entry.numPaths(), entry.ecmpBlockPtr()};
}

// A member without a next hop names no row.
[[nodiscard]] inline MemberContents contentsOf(OrviaL3Unicast::L3EcmpMember const& member) {
  return member.nextHopEntryHandle() ? MemberContents{member.nextHopEntry()} : MemberContents{};
}

}  // namespace SoftAsic
