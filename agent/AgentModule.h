// The one function by which the program enters the agent's module.
//
// The program links neither the library nor this module. It loads the library first and this
// module after it: everything that the module uses of the library is bound to the copy that was
// loaded.
#pragma once

#include "Vek/Export.h"

// Runs the command of the program's arguments with the library of that handle. Returns the
// program's exit code; nothing is thrown.
extern "C" VEK_EXPORT int orviaAgentMain(int argc, char const* const* argv, void* library);

namespace OrviaL3Agent {

inline constexpr char const* kModuleEntry = "orviaAgentMain";
inline constexpr char const* kModuleFile = "liborvia-agent.so";

}  // namespace OrviaL3Agent
