#include "Plugin/Root.h"

#include <dlfcn.h>
#include <link.h>

#include <cstdlib>
#include <filesystem>

namespace Plugin {
namespace {

// Function-local, as the rest of what static initialisers of other shared objects use.
std::string& rootOfAgent() {
  static auto* root = new std::string;
  return *root;
}

// The file that the address was mapped from, or nothing.
std::filesystem::path objectFile(void const* address) {
  Dl_info info{};
  link_map* map = nullptr;
  if (dladdr1(address, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0) return {};
  // The program's own entry has no name, and what dladdr says instead is what it was called by.
  if (map == nullptr || map->l_name == nullptr || *map->l_name == '\0') {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
  }
  return map->l_name;
}

}  // namespace

void pluginRootIs(std::string const& root) { rootOfAgent() = root; }

std::string pluginRoot(void const* address) {
  std::filesystem::path root = rootOfAgent();
  if (root.empty()) {
    if (char const* const variable = secure_getenv("ORVIA_PLUGIN_ROOT")) root = variable;
  }
  if (root.empty()) {
    void const* const own = reinterpret_cast<void const*>(&pluginRootIs);
    root = objectFile(address != nullptr ? address : own).parent_path();
  }
  if (root.is_absolute()) return root.string();
  std::error_code error;
  std::filesystem::path const absolute = std::filesystem::absolute(root, error);
  return error ? root.string() : absolute.string();
}

}  // namespace Plugin
