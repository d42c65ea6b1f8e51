// Loaders: objects of which a process has one for each class, and which bring the plug-ins of one
// directory with them.
//
//   class GroupUtilLoader final : public Loader::Singleton { ... };  // says which directory
//   Vek::Ptr<GroupUtilLoader const> loader = Loader::Singleton::inst<GroupUtilLoader>();
//
// Each directory is loaded once per process, whichever shared object or class asks first: also two
// classes that name the same one load it once. A failure of a single plug-in is no failure here;
// see Plugin/LoadRecord.h for what went wrong.
//
// A loader class L has a type whose module describes it with the hook newEntityForDir, and a static
// classType(). It is told apart by that type, never by language type information.
//
// One thread: the one that loads the library.
#pragma once

#include <set>
#include <string>

#include "Plugin/Loader.h"
#include "Vek/Entity.h"

namespace Loader {

// The paths that were loaded. A path is entered after its plug-ins were loaded: an exception on the
// way leaves it out, and the next who asks tries again.
VEK_EXPORT std::set<std::string>& pathSet();

class VEK_EXPORT Singleton : public Vek::Entity {
 public:
  // How the name of the directory above subdir() begins; "Plugin" is put behind it.
  [[nodiscard]] virtual Vek::String pathPref() const = 0;
  // The directory below, or nothing: plug-ins lie in the upper one then.
  [[nodiscard]] virtual Vek::String subdir() const = 0;
  [[nodiscard]] Vek::VekType fwkType() const override;
  ~Singleton() override;

  static Vek::VekType classType();

  // The directory under the plug-in root: the key of the record that Plugin/LoadRecord.h keeps.
  [[nodiscard]] std::string path() const;

  // The process's L, whose plug-ins have been loaded. An L that somebody else made under the name
  // of the class is taken as it is. Raises Vek::Exception when that name belongs to an entity that
  // is no L; what making the L throws passes as well, and the next call tries again.
  template <class L>
  static Vek::Ptr<L const> inst() {
    static Vek::Ptr<L const> const ent(vekCast<L>(&entityOf(L::classType())));
    static Plugin::Loader pluginLoader(L::classType().name());
    loadPath(*ent, pluginLoader);
    return ent;
  }

 protected:
  explicit Singleton(Vek::String const& name) : Entity(name) {}

 private:
  // The entity that is named like its class; the process keeps it.
  static Vek::Entity& entityOf(Vek::VekType type);
  static void loadPath(Singleton const& ent, Plugin::Loader& pluginLoader);
};

}  // namespace Loader
