// orvia-l3-agent: the stand-alone forwarding agent, the part of it that is linked.
//
// It loads the library, which brings the plug-ins of its tables with it, and then the agent's
// module, which does the rest. Both lie in ../lib beside the program; --library names another
// library, and --plugin-root says where plug-ins are looked for. These two options stand before the
// command; --kernel, of a command, says that the kernel's plug-ins are to be loaded. They are read
// here, before anything is there that could complain about the arguments: the module reads all
// arguments again and does.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "Plugin/Root.h"
#include "agent/AgentModule.h"

namespace {

namespace fs = std::filesystem;

constexpr char const* libraryName = "libOrviaL3Unicast.so";

// Beside the library: the plug-ins of --kernel, which must not win over others that lie there.
constexpr char const* kernelPluginRoot = "orvia-kernel-nexthop";

struct LoadOptions {
  std::string library;
  std::string pluginRoot;
  bool isKernel = false;
};

LoadOptions loadOptionsOf(int argc, char const* const* argv) {
  LoadOptions options;
  int i = 1;
  for (; i < argc; ++i) {
    std::string_view const argument = argv[i];
    if (!argument.starts_with('-')) break;
    std::string_view const name = argument.substr(0, argument.find('='));
    std::string* const value = name == "--library"       ? &options.library
                               : name == "--plugin-root" ? &options.pluginRoot
                                                         : nullptr;
    if (value == nullptr) continue;
    // "--library=" without a value takes the next argument, as the module understands it.
    if (name.size() + 1 < argument.size()) {
      *value = argument.substr(name.size() + 1);
    } else if (i + 1 < argc) {
      *value = argv[++i];
    }
  }
  // The one option of a command that says what is to be loaded.
  for (; i < argc; ++i) {
    std::string_view const argument = argv[i];
    if (argument == "--kernel" || argument.starts_with("--kernel=")) options.isKernel = true;
  }
  return options;
}

// Where the build and an install have what belongs to the program, or the bare name, which is
// looked for wherever the system looks for shared objects.
std::string besideProgram(char const* name) {
  std::error_code error;
  fs::path const program = fs::read_symlink("/proc/self/exe", error);
  for (char const* directory : {"../lib", ORVIA_BIN_TO_LIB}) {
    fs::path const file = (program.parent_path() / directory / name).lexically_normal();
    if (fs::exists(file, error)) return file.string();
  }
  return name;
}

// Loads the file, or says why not.
void* load(char const* what, std::string const& file, int flags) {
  void* const handle = dlopen(file.c_str(), RTLD_NOW | flags);
  if (handle == nullptr) {
    std::fprintf(stderr, "orvia-l3-agent: cannot load %s: %s\n", what, dlerror());
  }
  return handle;
}

// A name without a folder would be looked for along the system's path.
std::string fileOf(std::string const& name) {
  return name.find('/') == std::string::npos ? "./" + name : name;
}

}  // namespace

int main(int argc, char** argv) {
  LoadOptions const options = loadOptionsOf(argc, argv);
  std::string const file =
      options.library.empty() ? besideProgram(libraryName) : fileOf(options.library);
  char const* const environment = std::getenv("ORVIA_PLUGIN_ROOT");
  if (!options.pluginRoot.empty()) {
    Plugin::pluginRootIs(options.pluginRoot);
  } else if (options.isKernel && (environment == nullptr || *environment == '\0')) {
    Plugin::pluginRootIs((fs::path(file).parent_path() / kernelPluginRoot).string());
  }
  // Global: the module is linked without the library and finds its symbols there.
  void* const library = load("the library", file, RTLD_GLOBAL);
  if (library == nullptr) return 1;
  void* const module =
      load("the agent's module", besideProgram(OrviaL3Agent::kModuleFile), RTLD_LOCAL);
  if (module == nullptr) return 1;
  auto const run =
      reinterpret_cast<decltype(&orviaAgentMain)>(dlsym(module, OrviaL3Agent::kModuleEntry));
  if (run == nullptr) {
    std::fprintf(stderr, "orvia-l3-agent: the agent's module: %s\n", dlerror());
    return 1;
  }
  return run(argc, argv, library);
}
