#include "plugins/soft-asic/EcmpSoftUtils.h"

namespace SoftAsic {

template class SoftUtil<EcmpIngL3NextHop1Wiring>;
template class SoftUtil<L3EcmpMemberWiring>;
template class SoftUtil<L3EcmpGroupWiring>;

}  // namespace SoftAsic
