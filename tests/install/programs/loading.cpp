// Loads the library that it is given, and makes a table with the factory that it finds by name.
#include <dlfcn.h>

#include <cstdio>

#include "OrviaAsicUtils/SwTable.h"

int main(int, char** arguments) {
  void* const library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::puts(dlerror());
    return 1;
  }
  using Factory = void (*)(Vek::Ptr<OrviaAsicUtils::SwTable>&);
  auto const make = reinterpret_cast<Factory>(dlsym(library, "orviaL3EcmpGroupTableFactory"));
  if (make == nullptr) {
    std::puts(dlerror());
    return 1;
  }
  Vek::Ptr<OrviaAsicUtils::SwTable> table;
  make(table);
  std::puts(table->fwkType().name());
  return 0;
}
