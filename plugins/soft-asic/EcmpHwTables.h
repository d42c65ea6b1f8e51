// The simulated L3 ECMP group and member hardware tables: see HwWindow.h.
#pragma once

#include "plugins/soft-asic/Contents.h"
#include "plugins/soft-asic/HwWindow.h"

namespace SoftAsic {

using GroupHwTable = HwWindow<GroupContents>;
using MemberHwTable = HwWindow<MemberContents>;

}  // namespace SoftAsic
