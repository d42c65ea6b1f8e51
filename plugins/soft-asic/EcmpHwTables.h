// The simulated L3 ECMP group and member hardware tables: see DeviceTable.h.
//
// Rows hold the values that the records derive from other tables' rows at the moment of the write.
#pragma once

#include <cstdint>

#include "OrviaL3Unicast/L3EcmpEntryBlock.h"
#include "OrviaL3Unicast/L3EcmpGroupEntry.h"
#include "plugins/soft-asic/DeviceTable.h"

namespace SoftAsic {

struct GroupContents {
  std::uint32_t lbMode = 0;
  std::uint16_t numPaths = 0;
  std::uint16_t ecmpBlockPtr = 0;  // the first row of the group's member block

  friend bool operator==(GroupContents const&, GroupContents const&) = default;
};

struct MemberContents {
  Asic::Index nextHopEntry = Asic::Index::invalidIndex();  // the next hop's row

  friend bool operator==(MemberContents const&, MemberContents const&) = default;
};

using GroupHwTable = HwWindow<GroupContents>;
using MemberHwTable = HwWindow<MemberContents>;

template <class Name>
[[nodiscard]] GroupContents contentsOf(OrviaL3Unicast::L3EcmpGroupEntry<Name> const& entry) {
  return {entry.lbMode(), entry.numPaths(), entry.ecmpBlockPtr()};
}

// A member without a next hop names no row.
[[nodiscard]] inline MemberContents contentsOf(OrviaL3Unicast::L3EcmpMember const& member) {
  return member.nextHopEntryHandle() ? MemberContents{member.nextHopEntry()} : MemberContents{};
}

}  // namespace SoftAsic
