// The module of L3EcmpGroupTable: see Announce.h.
#include "plugins/soft-asic/EcmpSoftUtils.h"
#include "plugins/soft-asic/modules/Announce.h"

int orviaPluginInit(Plugin::Registrar& registrar) {
  return SoftAsic::announce<SoftAsic::L3EcmpGroupSoftUtil>(registrar);
}
