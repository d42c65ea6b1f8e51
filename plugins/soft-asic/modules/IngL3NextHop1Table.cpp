// The module of IngL3NextHop1Table: see Announce.h.
#include "plugins/soft-asic/IngL3NextHop1SoftUtil.h"
#include "plugins/soft-asic/modules/Announce.h"

int orviaPluginInit(Plugin::Registrar& registrar) {
  return SoftAsic::announce<SoftAsic::IngL3NextHop1SoftUtil>(registrar);
}
