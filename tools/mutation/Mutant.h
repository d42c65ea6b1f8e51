// Switches between a program and its mutants: a source that was prepared for mutation asks at every
// place that has one whether it is switched on. Only in the copy that tools/mutate builds.
//
// ORVIA_MUTANT is the number of the one that is on (0: none). ORVIA_MUTANTS_REACHED names a file of
// one byte for each mutant; a byte becomes 1 when its place is reached, in whatever process.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace orviaMutation {

struct Switches {
  unsigned on = 0;
  unsigned char* reached = nullptr;
  unsigned long size = 0;

  Switches() {
    if (char const* const number = std::getenv("ORVIA_MUTANT")) {
      on = static_cast<unsigned>(std::strtoul(number, nullptr, 10));
    }
    char const* const path = std::getenv("ORVIA_MUTANTS_REACHED");
    int const file = path != nullptr ? open(path, O_RDWR | O_CLOEXEC) : -1;
    struct stat status {};
    if (file < 0 || fstat(file, &status) != 0) return;
    size = static_cast<unsigned long>(status.st_size);
    void* const mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (mapped != MAP_FAILED) reached = static_cast<unsigned char*>(mapped);
    close(file);
  }
};

inline bool mutant(unsigned number) {
  static Switches const switches;
  if (switches.reached != nullptr && number < switches.size) switches.reached[number] = 1;
  return switches.on == number;
}

}  // namespace orviaMutation
