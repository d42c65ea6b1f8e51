// The module of L3EcmpMemberTable: announces who makes that table's utility, and holds nothing.
#include "OrviaL3Unicast/L3EcmpMemberTable.h"

#include "Plugin/Registrar.h"
#include "plugins/kernel-nexthop/Utilities.h"

int orviaPluginInit(Plugin::Registrar& registrar) {
  registrar.utilFactoryIs(OrviaL3Unicast::L3EcmpMemberTraits::qualifiedName.view(),
                          &KernelNextHop::makeMemberUtil);
  return 0;
}
