#include "Plugin/Impl/LoaderImpl.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <map>
#include <set>
#include <vector>

#include "OrviaAsicUtils/UtilFactory.h"
#include "Plugin/LoadRecord.h"
#include "Plugin/Registrar.h"
#include "Plugin/Root.h"
#include "Vek/Entity.h"

namespace Plugin {
namespace {

namespace fs = std::filesystem;

// Function-local: plug-ins are loaded in static initialisers of other shared objects. By path.
std::map<std::string, LoadRecord>& records() {
  static auto* byPath = new std::map<std::string, LoadRecord>;
  return *byPath;
}

// Every file that was tried. It is in here before it is opened: a plug-in may itself ask for the
// directory that it is in.
std::set<std::string>& triedFiles() {
  static auto* files = new std::set<std::string>;
  return *files;
}

// Beside which shared object to look: where the type of the loader's singleton is described. Not
// where the module is: the linker copies that into a program which refers to it.
void const* addressOfLoader(std::string const& loader) {
  Vek::Ptr<Vek::Entity> const entity = Vek::Entity::singletonExists(loader);
  return entity ? entity->fwkType().info() : nullptr;
}

using EntryFunction = int (*)(Registrar&);

// The file's own function of that name, or none. What dlsym finds may be in an object that the file
// depends on, another plug-in say.
EntryFunction entryOf(void* handle, std::string const& name) {
  void* const symbol = dlsym(handle, name.c_str());
  link_map* own = nullptr;
  if (symbol == nullptr || dlinfo(handle, RTLD_DI_LINKMAP, &own) != 0) return nullptr;
  Dl_info info{};
  link_map* home = nullptr;
  if (dladdr1(symbol, &info, reinterpret_cast<void**>(&home), RTLD_DL_LINKMAP) == 0) return nullptr;
  return home == own ? reinterpret_cast<EntryFunction>(symbol) : nullptr;
}

// Opens the file and lets it announce itself. The reason why not, or nothing.
std::string open(std::string const& file, std::string const& entry, Registrar& registrar) {
  void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    char const* const why = dlerror();
    return std::string("cannot be opened: ") + (why != nullptr ? why : "unknown");
  }
  EntryFunction const initialise = entryOf(handle, entry);
  if (initialise == nullptr) return "has no entry function " + entry;
  try {
    int const result = initialise(registrar);
    return result == 0 ? std::string() : entry + " returned " + std::to_string(result);
  } catch (std::exception const& failure) {
    return entry + " threw: " + failure.what();
  } catch (...) {
    return entry + " threw something that is no std::exception";
  }
}

// Lets the announcements take effect. The reasons why one of them does not.
std::vector<std::string> announce(Registrar const& registrar) {
  std::vector<std::string> reasons;
  for (OrviaAsicUtils::UtilFactory const& factory : registrar.utilFactories()) {
    if (factory.table.empty()) {
      reasons.emplace_back("announced a utility without a table");
    } else if (factory.create == nullptr) {
      reasons.push_back("announced a utility without a function for " + factory.table);
    } else if (!OrviaAsicUtils::utilFactoryIs(factory)) {
      // The same function again: one file that is linked into the directories of several tables.
      auto const* const known = OrviaAsicUtils::utilFactory(factory.table);
      if (known->create == factory.create) continue;
      reasons.push_back(factory.table + " already has the utility of " + known->origin);
    }
  }
  return reasons;
}

// The plug-ins of a directory by name; the record says what stands in the way.
std::vector<fs::path> pluginFiles(fs::path const& directory, LoadRecord& record) {
  std::error_code error;
  fs::file_status const status = fs::status(directory, error);
  record.directoryFound = status.type() != fs::file_type::not_found;
  if (!record.directoryFound) return {};
  std::vector<fs::path> files;
  for (fs::directory_iterator file(directory, error), end; !error && file != end;
       file.increment(error)) {
    if (file->path().extension() == ".so") files.push_back(file->path());
  }
  if (error) record.failures.push_back({directory.string(), error.message()});
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

namespace Impl {

void LoaderImpl::loadPlugins(std::string const& loader, std::string const& path,
                             std::string const& file, std::string const& root,
                             std::string const& entry) {
  LoadRecord& record = records()[path];
  if (record.loader.empty()) record.loader = loader;
  fs::path const directory =
      fs::absolute(root.empty() ? pluginRoot(addressOfLoader(loader)) : root) / path;
  record.directory = directory.string();
  for (fs::path const& plugin : pluginFiles(directory, record)) {
    if (!file.empty() && plugin.filename() != file) continue;
    if (!triedFiles().insert(plugin.string()).second) continue;
    Registrar registrar(loader, path, plugin.string());
    std::string const failed = open(plugin.string(), entry.empty() ? entryName : entry, registrar);
    if (!failed.empty()) {
      record.failures.push_back({plugin.string(), failed});
      continue;
    }
    record.files.push_back(plugin.string());
    for (std::string const& reason : announce(registrar)) {
      record.failures.push_back({plugin.string(), reason});
    }
  }
}

}  // namespace Impl

LoadRecord loadRecord(std::string const& path) {
  auto const found = records().find(path);
  return found != records().end() ? found->second : LoadRecord();
}

std::vector<LoadFailure> failures(std::string const& path) { return loadRecord(path).failures; }

std::string LoadRecord::text() const {
  if (directory.empty()) return "no plug-ins were asked for";
  std::string text = "looked in " + directory;
  if (!directoryFound) {
    text += ": no such directory";
  } else if (files.empty() && failures.empty()) {
    text += ": no plug-in there";
  }
  for (LoadFailure const& failure : failures) text += "\n" + failure.file + ": " + failure.reason;
  return text;
}

}  // namespace Plugin
