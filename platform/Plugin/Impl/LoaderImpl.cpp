#include "Plugin/Impl/LoaderImpl.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <map>
#include <set>
#include <utility>
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

// Lets the announcements take effect; the record says which do, and why the others do not.
void announce(Registrar const& registrar, LoadRecord& record) {
  std::string const& file = registrar.file();
  LoadAnnouncement announcement{file, {}};
  for (OrviaAsicUtils::UtilFactory const& factory : registrar.utilFactories()) {
    std::string const& table = factory.table;
    if (table.empty()) {
      record.failures.push_back({file, "announced a utility without a table"});
    } else if (factory.create == nullptr) {
      record.failures.push_back({file, "announced a utility without a function for " + table});
    } else if (OrviaAsicUtils::utilFactoryIs(factory)) {
      announcement.tables.push_back(table);
    } else {
      auto const* const known = OrviaAsicUtils::utilFactory(table);
      if (known->create == factory.create) {
        // The same function again: one file that is linked into the directories of several tables.
        announcement.tables.push_back(table);
      } else {
        record.failures.push_back(
            {file, "announced " + table + ", which already has the utility of " + known->origin});
      }
    }
  }
  record.announcements.push_back(std::move(announcement));
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

bool hasFailed(std::vector<LoadFailure> const& failures, std::string const& file) {
  return std::any_of(failures.begin(), failures.end(),
                     [&](LoadFailure const& failure) { return failure.file == file; });
}

// What the file of a directory of that name announced.
std::string announcedOf(LoadAnnouncement const& announcement, std::string const& directory) {
  std::vector<std::string> const& tables = announcement.tables;
  if (tables.empty()) return "nothing";
  std::string text;
  for (std::string const& table : tables) text += (text.empty() ? "" : ", ") + table;
  // A directory without a qualified name is for plug-ins of any kind.
  bool const isOfTable = directory.find("::") != std::string::npos;
  if (isOfTable && std::find(tables.begin(), tables.end(), directory) == tables.end()) {
    text += ", no utility for this table";
  }
  return text;
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
    announce(registrar, record);
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
  for (LoadAnnouncement const& announcement : announcements) {
    // Who announced nothing that counts is told of among the failures.
    if (announcement.tables.empty() && hasFailed(failures, announcement.file)) continue;
    text += "\n" + announcement.file + ": announced ";
    text += announcedOf(announcement, fs::path(directory).filename().string());
  }
  for (LoadFailure const& failure : failures) text += "\n" + failure.file + ": " + failure.reason;
  return text;
}

}  // namespace Plugin
