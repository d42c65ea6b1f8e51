#include "OrviaL3Unicast/engine/RestartToggle.h"

#include "OrviaAsicUtils/Toggles.h"

namespace OrviaL3Unicast {

bool toggleClearHwTableOnRestartEnabled() {
  static bool const enabled =
      OrviaAsicUtils::getToggleState("ClearHwTableOnRestart", "OrviaAsicUtils.json", true);
  return enabled;
}

}  // namespace OrviaL3Unicast
