// How many records a table holds back at the moment.
//
// Watches the table's collection of parked records, so that the number is there without a walk over all next hops
// whenever someone asks.
//
// Threading: the loop's thread; it is brought up to date inside the table's operations. Ownership: counted; does not keep the
// table alive.
#pragma once

#include <cstddef>

#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "Vek/NotifieeConst.h"

namespace OrviaL3Agent {
}
