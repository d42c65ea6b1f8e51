// The plug-in: tells the loader who makes the utility of the table whose directory it lies in. One
// file serves all four tables; it is installed once for each.
#include <string_view>

#include "ChipUtil.h"
#include "Plugin/Registrar.h"

namespace {

using OrviaL3Unicast::EcmpIngL3NextHop1Traits;
using OrviaL3Unicast::IngL3NextHop1Traits;
using OrviaL3Unicast::L3EcmpGroupTraits;
using OrviaL3Unicast::L3EcmpMemberTraits;

struct Offer {
  std::string_view table;
  OrviaAsicUtils::UtilCreate create;
};

template <class Traits, ChipTable chipTable>
constexpr Offer offer{Traits::qualifiedName.view(), &ChipPlugin::makeUtil<Traits, chipTable>};

// Constant: nothing of a plug-in runs before its function is called.
constexpr Offer offers[] = {
    offer<IngL3NextHop1Traits, CHIP_NEXT_HOPS>,
    offer<EcmpIngL3NextHop1Traits, CHIP_NEXT_HOPS>,
    offer<L3EcmpMemberTraits, CHIP_MEMBERS>,
    offer<L3EcmpGroupTraits, CHIP_GROUPS>,
};

}  // namespace

int orviaPluginInit(Plugin::Registrar& registrar) {
  // "OrviaFeaturePlugin/<table>"
  std::string_view const path = registrar.path();
  std::string_view const table = path.substr(path.rfind('/') + 1);
  for (Offer const& offered : offers) {
    if (offered.table != table) continue;
    registrar.utilFactoryIs(table, offered.create);
    return 0;
  }
  return 1;  // installed in a directory that is none of ours: the loader says so
}
