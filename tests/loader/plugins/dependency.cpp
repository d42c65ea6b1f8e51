// An object with an entry function that a plug-in depends on. Nobody may call it.
#include <cstdlib>

#include "Plugin/Registrar.h"

int orviaPluginInit(Plugin::Registrar&) { std::abort(); }
