// The module of EcmpIngL3NextHop1Table: see Announce.h.
#include "plugins/soft-asic/EcmpSoftUtils.h"
#include "plugins/soft-asic/modules/Announce.h"

int orviaPluginInit(Plugin::Registrar& registrar) {
  return SoftAsic::announce<SoftAsic::EcmpIngL3NextHop1SoftUtil>(registrar);
}
