// Loads the library as an agent does, without linking it, and tells what it sees.
//
//   host [--root DIRECTORY] [--twice] LIBRARY
#include <dlfcn.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <set>
#include <string>

#include "Loader/Singleton.h"
#include "OrviaAsicUtils/UtilFactory.h"
#include "Plugin/LoadRecord.h"
#include "Plugin/Root.h"

namespace {

using OrviaAsicUtils::SwTable;

char const* const tables[] = {"L3EcmpGroupTable", "EcmpIngL3NextHop1Table", "L3EcmpMemberTable",
                              "IngL3NextHop1Table"};

// The shared objects of this tree that are mapped, by file.
std::set<std::string> mappedObjects() {
  std::set<std::string> files;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::size_t const path = line.find('/');
    if (path != std::string::npos && line.find("libOrvia", path) != std::string::npos) {
      files.insert(line.substr(path));
    }
  }
  return files;
}

void tellLoader(std::string const& table) {
  std::string const name = "OrviaL3Unicast::" + table + "UtilLoader";
  Vek::Ptr<Vek::Entity> const entity = Vek::Entity::singletonExists(name);
  auto const* const loader = Vek::vekCast<Loader::Singleton>(entity.get());
  if (loader == nullptr) {
    std::cout << name << ": none\n";
    return;
  }
  std::cout << loader->fwkType().name() << ' ' << loader->fwkType().module->name << ' '
            << loader->fwkType().number << " active " << loader->hasNotificationActive() << ' '
            << loader->path() << '\n'
            << Plugin::loadRecord(loader->path()).text() << '\n';
}

// Brings a table up and takes it apart again.
bool tellTable(void* library, std::string const& table) {
  std::string factory = "orvia" + table + "Factory";
  auto const make = reinterpret_cast<void (*)(Vek::Ptr<SwTable>&)>(dlsym(library, factory.c_str()));
  if (make == nullptr) {
    std::cout << dlerror() << '\n';
    return false;
  }
  Vek::Ptr<SwTable> made;
  make(made);
  std::cout << made->fwkType().name() << " references " << made->references() << " active "
            << made->hasNotificationActive();
  auto const* const utils = OrviaAsicUtils::utilFactory(made->fwkType().name());
  if (utils == nullptr) {
    std::cout << " without utility\n";
    return true;
  }
  made->utilIs(utils->create(*made));
  std::cout << " utility " << made->util()->fwkType().name();
  made->numEntriesIs(16);
  made->hwTableIs(new Asic::HwTable);
  made->hwTableReadyIs(true);
  made->syncEntries();
  made->doInitComplete();
  made = nullptr;
  std::cout << " live " << Vek::vekLiveObjects("OrviaL3Unicast::" + table) << '\n';
  return true;
}

}  // namespace

int main(int count, char** arguments) {
  std::string library;
  bool twice = false;
  for (int i = 1; i < count; ++i) {
    std::string const argument = arguments[i];
    if (argument == "--root" && i + 1 < count) {
      Plugin::pluginRootIs(arguments[++i]);
    } else if (argument == "--twice") {
      twice = true;
    } else {
      library = argument;
    }
  }
  std::cout << "before: " << mappedObjects().size() << '\n';
  void* const handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    std::cout << dlerror() << '\n';
    return 1;
  }
  if (twice) {
    // It stays, so that loading it again loads nothing.
    dlclose(handle);
    std::cout << "same: " << (dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL) == handle) << '\n';
  }
  for (Vek::VekModule const* module : Vek::vekModules()) std::cout << module->name << '\n';
  for (std::string const& path : Loader::pathSet()) std::cout << path << '\n';
  for (char const* table : tables) tellLoader(table);
  for (char const* table : tables) {
    if (!tellTable(handle, table)) return 1;
  }
  std::cout << "mapped: " << mappedObjects().size() << '\n';
  for (std::string const& file : mappedObjects()) std::cout << file << '\n';
  return 0;
}
