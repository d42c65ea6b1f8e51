// The simulated ingress L3 next-hop hardware table.
//
// A row is what the hardware would hold: the record's stored fields and the rows of the outgoing
// interface and the MTU profile, as they were at the moment of the write. Two software tables
// program it, each through a window of its own: see DeviceTable.h.
#pragma once

#include <cstdint>

#include "OrviaL3Unicast/NextHopEntry.h"
#include "plugins/soft-asic/DeviceTable.h"

namespace SoftAsic {

struct NextHopContents {
  OrviaL3Unicast::NextHopFields fields;
  std::uint16_t l3Oif1 = 0;
  std::uint16_t mtuProfilePtr = 0;

  friend bool operator==(NextHopContents const&, NextHopContents const&) = default;
};

using NextHopDeviceTable = DeviceTable<NextHopContents>;
using NextHopHwTable = HwWindow<NextHopContents>;

// What the hardware takes of a record, whichever table's it is.
template <class Name>
[[nodiscard]] NextHopContents contentsOf(OrviaL3Unicast::NextHopEntry<Name> const& entry) {
  return {entry.fields(), entry.l3Oif1(), entry.mtuProfilePtr()};
}

}  // namespace SoftAsic
