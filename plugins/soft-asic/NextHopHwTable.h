// The simulated ingress L3 next-hop hardware table.
//
// Two software tables program it, each through a window of its own: see HwWindow.h.
#pragma once

#include "plugins/soft-asic/Contents.h"
#include "plugins/soft-asic/HwWindow.h"

namespace SoftAsic {

using NextHopDeviceTable = DeviceTable<NextHopContents>;
using NextHopHwTable = HwWindow<NextHopContents>;

}  // namespace SoftAsic
