// The one function of the module with the tests of a whole life.
#pragma once

#include "Vek/Export.h"

// Runs the tests that the arguments select against the library with that handle of dlopen. What
// the process returns.
extern "C" VEK_EXPORT int orviaLifeMain(int count, char** arguments, void* library);
