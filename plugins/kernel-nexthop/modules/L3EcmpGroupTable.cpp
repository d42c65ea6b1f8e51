// The module of L3EcmpGroupTable: announces who makes that table's utility, and holds nothing.
#include "OrviaL3Unicast/L3EcmpGroupTable.h"

#include "Plugin/Registrar.h"
#include "plugins/kernel-nexthop/Utilities.h"

int orviaPluginInit(Plugin::Registrar& registrar) {
  registrar.utilFactoryIs(OrviaL3Unicast::L3EcmpGroupTraits::qualifiedName.view(),
                          &KernelNextHop::makeGroupUtil);
  return 0;
}
