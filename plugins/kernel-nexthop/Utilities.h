// The utilities of the four tables over the current kernel device.
//
//   table->utilIs(KernelNextHop::makeGroupUtil(*table));
//
// Each throws std::logic_error when there is no device. The table has to be of the function's
// class.
//
// Answers for next hops of the ECMP view and for groups are the hardware table's write responses.
// Those for ordinary next hops set row and state on the handle that the table has for the key by
// then. Member rows have none: a refusal is that of the group over them.
//
// Threading: the tables'. Ownership: utilities are counted, and keep the device alive.
#pragma once

#include "OrviaAsicUtils/SwTable.h"
#include "OrviaAsicUtils/SwTableUtil.h"
#include "plugins/kernel-nexthop/Export.h"

namespace KernelNextHop {

using UtilPtr = Vek::Ptr<OrviaAsicUtils::SwTableUtil>;

KERNEL_NEXTHOP_EXPORT UtilPtr makeIngressUtil(OrviaAsicUtils::SwTable& table);
KERNEL_NEXTHOP_EXPORT UtilPtr makeEcmpUtil(OrviaAsicUtils::SwTable& table);
KERNEL_NEXTHOP_EXPORT UtilPtr makeMemberUtil(OrviaAsicUtils::SwTable& table);
KERNEL_NEXTHOP_EXPORT UtilPtr makeGroupUtil(OrviaAsicUtils::SwTable& table);

}  // namespace KernelNextHop
