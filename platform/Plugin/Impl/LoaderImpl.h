// Opens the plug-ins of one directory.
//
// Callers want Loader/Singleton.h, which calls this once for each path.
#pragma once

#include <string>

#include "Vek/Export.h"

namespace Plugin::Impl {

class VEK_EXPORT LoaderImpl {
 public:
  // Opens every file of the directory <root>/<path> whose name ends in ".so", in the order of their
  // names, and calls its entry function (Plugin/Registrar.h).
  // - `loader`: who asks. A singleton entity of that name says which shared object asks, beside
  //   which plug-ins are looked for when no root is set (Plugin/Root.h).
  // - `path`: the directory under the root, and the key of the record.
  // - `file`: the only file to load; empty for all.
  // - `root`: the root for this call; empty for the one in force.
  // - `entry`: the name of the entry function; empty for orviaPluginInit.
  // A directory that does not exist is harmless. What goes wrong with a file is recorded with its
  // reason (Plugin/LoadRecord.h), and the next one is taken. Each file is tried once in the life of
  // the process, and never unloaded: what a plug-in made may be around until the very end.
  static void loadPlugins(std::string const& loader, std::string const& path,
                          std::string const& file, std::string const& root,
                          std::string const& entry);
};

}  // namespace Plugin::Impl
