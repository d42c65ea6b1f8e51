// Under which directory plug-ins are looked for.
//
// A root that the agent set, else the environment variable ORVIA_PLUGIN_ROOT (not in a process with
// raised privileges: it says which code to run), else the directory of the shared object that asks.
// The agent sets its root before it loads the library, whose plug-ins are loaded with it.
//
// One thread.
#pragma once

#include <string>

#include "Vek/Export.h"

namespace Plugin {

// The root from now on; an empty one stands for none. What was loaded stays.
VEK_EXPORT void pluginRootIs(std::string const& root);
// The root in force, absolute, for plug-ins that are asked for by the shared object (or the
// program) in which the address is; without an address, by the platform's. The address is best one
// of an object without linkage: a program that refers to an exported one may hold a copy of it.
[[nodiscard]] VEK_EXPORT std::string pluginRoot(void const* address = nullptr);

}  // namespace Plugin
