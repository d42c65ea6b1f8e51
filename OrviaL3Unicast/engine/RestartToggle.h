// Whether the tables that choose their rows clear their hardware table when the agent restarts.
//
// The toggle "ClearHwTableOnRestart" of the toggle file "OrviaAsicUtils.json", true unless the file
// says otherwise. Read once for the process, when the first table asks, and the same for all
// tables: half of a pipeline cleared and the other half left in place would be neither. When
// reading it throws, the exception passes and the next one who asks reads again.
#pragma once

#include "OrviaL3Unicast/plumbing/Export.h"

namespace OrviaL3Unicast {

[[nodiscard]] ORVIA_L3_EXPORT bool toggleClearHwTableOnRestartEnabled();

}  // namespace OrviaL3Unicast
