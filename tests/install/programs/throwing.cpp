// A plug-in whose utilities cannot be made.
#include <stdexcept>

#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "Plugin/Registrar.h"

namespace {

Vek::Ptr<OrviaAsicUtils::SwTableUtil> makeUtil(OrviaAsicUtils::SwTable&) {
  throw std::runtime_error("no memory on chip");
}

}  // namespace

int orviaPluginInit(Plugin::Registrar& registrar) {
  registrar.utilFactoryIs(OrviaL3Unicast::L3EcmpGroupTraits::qualifiedName.view(), &makeUtil);
  return 0;
}
