// The caller's answer to "what became of my write?".
#pragma once

#include <functional>

#include "OrviaAsicUtils/SwTable.h"

namespace OrviaL3Unicast {

// Called with 1 (success) once the entry is in hardware in a known row, with 2 when the hardware
// refused it, and again on each later change that leaves the entry in one of the two; never with 0.
// Stored by value on the entry's handle; may be empty. Runs inside the platform's setter that brought
// the answer, on a copy, so it may replace itself and call any table operation. What it throws leaves
// through that setter.
using WriteResponseHandler = std::function<void(OrviaAsicUtils::SwTable::EntryState)>;

}  // namespace OrviaL3Unicast
