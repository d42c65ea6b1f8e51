// The caller's answer to "what became of my write?".
#pragma once

#include <functional>

#include "OrviaAsicUtils/SwTable.h"

namespace OrviaL3Unicast {

// Called with 1 when the entry's handle comes to show success in a known row, with 2 when it comes
// to show a refusal, and again on each later change that leaves it in one of the two; never with 0.
// Where a handle mirrors its key (engine/KeyRowTable.h) that can be before the hardware answered.
//
// Stored by value on the handle; may be empty. Runs inside whatever changed the handle, mostly the
// platform's setter that brought the answer, on a copy: it may replace itself and call any table
// operation. What it throws leaves through that setter.
using WriteResponseHandler = std::function<void(OrviaAsicUtils::SwTable::EntryState)>;

}  // namespace OrviaL3Unicast
