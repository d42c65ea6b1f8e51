#include "Loader/Singleton.h"

#include "Plugin/Impl/LoaderImpl.h"
#include "Vek/Exception.h"
#include "Vek/PlatformModules.h"

namespace Loader {

std::set<std::string>& pathSet() {
  // Function-local: static initialisers of other shared objects load plug-ins.
  static auto* paths = new std::set<std::string>;
  return *paths;
}

Vek::VekType Singleton::fwkType() const { return classType(); }
Vek::VekType Singleton::classType() { return {&loaderModule, LoaderNumbers::singleton}; }
Singleton::~Singleton() = default;

std::string Singleton::path() const {
  std::string const below = subdir();
  return pathPref().str() + "Plugin" + (below.empty() ? "" : "/" + below);
}

Vek::Entity& Singleton::entityOf(Vek::VekType type) {
  Vek::String const name = type.name();
  Vek::Ptr<Vek::Entity> entity = Vek::Entity::singletonExists(name);
  if (!entity) entity = Vek::Entity::singletonIs(type, name);
  if (!entity->fwkType().isA(type)) {
    throw Vek::Exception("the singleton " + name.str() +
                         " is of another type: " + entity->fwkType().name());
  }
  return *entity;
}

void Singleton::loadPath(Singleton const& ent, Plugin::Loader& pluginLoader) {
  std::string const path = ent.path();
  if (pathSet().contains(path)) return;
  // All files of the directory are wanted, whatever was asked for last.
  pluginLoader.fileIs("");
  Plugin::Impl::LoaderImpl::loadPlugins(pluginLoader.name(), path, pluginLoader.file(), "", "");
  pluginLoader.fileIs("");
  pathSet().insert(path);
}

}  // namespace Loader
