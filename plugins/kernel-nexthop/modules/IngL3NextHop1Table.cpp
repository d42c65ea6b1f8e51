// The module of IngL3NextHop1Table: announces who makes that table's utility, and holds nothing.
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "Plugin/Registrar.h"
#include "plugins/kernel-nexthop/Utilities.h"

int orviaPluginInit(Plugin::Registrar& registrar) {
  registrar.utilFactoryIs(OrviaL3Unicast::IngL3NextHop1Traits::qualifiedName.view(),
                          &KernelNextHop::makeIngressUtil);
  return 0;
}
