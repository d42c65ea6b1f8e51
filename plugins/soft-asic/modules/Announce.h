// What the module of one table does: it announces who makes that table's utility.
//
// The modules hold nothing. Utilities, devices and everything that is shared between tables are in
// libOrviaSoftAsic.so, of which a process has one copy, whichever module brings it.
#pragma once

#include "Plugin/Registrar.h"
#include "plugins/soft-asic/Attaching.h"

namespace SoftAsic {

template <class Util>
int announce(Plugin::Registrar& registrar) {
  registrar.utilFactoryIs(Util::Traits::qualifiedName.view(), &makeUtil<Util>);
  return 0;
}

}  // namespace SoftAsic
