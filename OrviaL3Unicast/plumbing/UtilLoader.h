// The loader of a table's utility: brings the plug-ins that lie in the table's directory,
// OrviaFeaturePlugin/<qualified name of the table> under the plug-in root, and what a unit does
// when the library is loaded.
//
// A table's unit derives T::UtilLoader from UtilLoader<T> and has one static Registration<T>, its
// last object with a static initialiser: before it there is only the enum of the handles' mode,
// which is known to the registry by then. Everything else that the library keeps for the process is
// constant-initialised or local to a function: a plug-in is loaded, and uses the library, while the
// units behind this one are not initialised yet.
//
// `T` offers qualifiedName, module(), numbers.utilLoader and the class UtilLoader.
#pragma once

#include <ios>

#include "Loader/Singleton.h"
#include "OrviaL3Unicast/plumbing/FixedString.h"

namespace OrviaL3Unicast::plumbing {

// "OrviaL3Unicast::<table>UtilLoader".
template <class T>
inline constexpr auto utilLoaderName = T::qualifiedName + "UtilLoader";

template <class T>
class UtilLoader : public Loader::Singleton {
 public:
  [[nodiscard]] Vek::String pathPref() const override { return "OrviaFeature"; }
  [[nodiscard]] Vek::String subdir() const override { return T::qualifiedName.view(); }
  [[nodiscard]] Vek::VekType fwkType() const override { return classType(); }

  static Vek::VekType classType() { return {T::module(), T::numbers.utilLoader}; }

  // How the framework makes the loader by name. It takes no other arguments: raises
  // Vek::NewEntityArgsException when there are any.
  static Vek::Ptr<Vek::Entity> newEntityForDir(Vek::String const& name, void* args) {
    if (args != nullptr) Vek::throwNewEntityArgsException(T::module(), T::numbers.utilLoader);
    Vek::Ptr<typename T::UtilLoader> loader = new typename T::UtilLoader(name);
    loader->hasNotificationActiveIs(true);
    return loader;
  }

 protected:
  using Loader::Singleton::Singleton;
};

// What happens when the library is loaded, member by member in this order.
template <class T>
class Registration {
 public:
  Registration() = default;
  Registration(Registration const&) = delete;
  Registration& operator=(Registration const&) = delete;

 private:
  struct Module {
    Module() { Vek::vekModuleIs(T::module()); }
  };

  // Plug-ins may write to the standard streams from their entry function on.
  std::ios_base::Init streams_;
  Module module_;
  // Released when the process ends.
  Vek::Ptr<typename T::UtilLoader const> utilLoader_ =
      Loader::Singleton::inst<typename T::UtilLoader>();
};

}  // namespace OrviaL3Unicast::plumbing
