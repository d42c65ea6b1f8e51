// The module of EcmpIngL3NextHop1Table: announces who makes that table's utility, and holds
// nothing.
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "Plugin/Registrar.h"
#include "plugins/kernel-nexthop/Utilities.h"

int orviaPluginInit(Plugin::Registrar& registrar) {
  registrar.utilFactoryIs(OrviaL3Unicast::EcmpIngL3NextHop1Traits::qualifiedName.view(),
                          &KernelNextHop::makeEcmpUtil);
  return 0;
}
