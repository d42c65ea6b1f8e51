// What a plug-in sees of the loader: the one function that it defines, and what it can announce.
//
//   extern "C" int orviaPluginInit(Plugin::Registrar& registrar) {
//     registrar.utilFactoryIs("OrviaL3Unicast::L3EcmpGroupTable", &makeGroupUtil);
//     return 0;
//   }
//
// The loader calls the function once for each file, right after opening it. A plug-in announces
// itself here and never from the constructors of its static objects: an exception there would end
// the process, whereas one that leaves this function is recorded with the file, and so is a result
// other than 0. What a plug-in announced takes effect after it returned 0; nothing of a plug-in
// that failed does.
//
// The function may run while the library that asked for the plug-in is still being initialised. It
// can use the library's classes, but should leave creating tables to the agent.
//
// One thread. The registrar lives as long as the call.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "OrviaAsicUtils/UtilFactory.h"
#include "Vek/Export.h"

namespace Plugin {

class VEK_EXPORT Registrar {
 public:
  Registrar(std::string loader, std::string path, std::string file);
  ~Registrar();
  Registrar(Registrar const&) = delete;
  Registrar& operator=(Registrar const&) = delete;

  // Who asked for the plug-in: the name of a loader.
  [[nodiscard]] std::string const& loader() const { return loader_; }
  // The directory under the plug-in root, such as
  // "OrviaFeaturePlugin/OrviaL3Unicast::L3EcmpGroupTable".
  [[nodiscard]] std::string const& path() const { return path_; }
  // The plug-in's own file.
  [[nodiscard]] std::string const& file() const { return file_; }

  // The plug-in makes the utilities of the table with that qualified name. When several plug-ins
  // want one table, the first by the order of their file names has it; the loader records the
  // others. A plug-in may announce factories of several tables.
  void utilFactoryIs(std::string_view table, OrviaAsicUtils::UtilCreate create);

  // What was announced so far, in that order.
  [[nodiscard]] std::vector<OrviaAsicUtils::UtilFactory> const& utilFactories() const {
    return utilFactories_;
  }

 private:
  std::string const loader_;
  std::string const path_;
  std::string const file_;
  std::vector<OrviaAsicUtils::UtilFactory> utilFactories_;
};

// The name of a plug-in's function.
inline constexpr char const* entryName = "orviaPluginInit";

}  // namespace Plugin

// Defined by each plug-in. 0: it is ready; anything else, or an exception: it is not.
extern "C" VEK_EXPORT int orviaPluginInit(Plugin::Registrar& registrar);
