// Runs the tests of a whole life (life/) in a process that is built as an agent is: it links the
// platform alone, loads the library, and then the module with the tests, which is linked without
// the library and bound to the one that is there.
#include <dlfcn.h>

#include <cstdio>

#include "life/LifeModule.h"

namespace {

// Loads the file, or says why not.
void* load(char const* file, int flags) {
  void* const handle = dlopen(file, RTLD_NOW | flags);
  if (handle == nullptr) std::fprintf(stderr, "cannot load %s: %s\n", file, dlerror());
  return handle;
}

}  // namespace

int main(int count, char** arguments) {
  void* const library = load(LOADER_TEST_LIBRARY, RTLD_GLOBAL);
  if (library == nullptr) return 1;
  void* const module = load(LOADER_TEST_LIFE, RTLD_LOCAL);
  if (module == nullptr) return 1;
  auto const run = reinterpret_cast<decltype(&orviaLifeMain)>(dlsym(module, "orviaLifeMain"));
  if (run == nullptr) {
    std::fprintf(stderr, "%s: %s\n", LOADER_TEST_LIFE, dlerror());
    return 1;
  }
  return run(count, arguments, library);
}
