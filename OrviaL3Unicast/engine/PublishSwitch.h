// Whether a table answers its own writes.
//
// The environment variable PUBLISH_ENTRY_HANDLE_PROGRAMMED_STATE, set to a non-zero decimal
// integer, makes a table mark a key's handle programmed after its write step instead of waiting for
// the hardware's answer. Read once per table class and process, when the table first asks.
#pragma once

#include <cstdlib>

namespace OrviaL3Unicast::engine {

template <class T>
bool publishEntryHandleProgrammedState() {
  static bool const on = [] {
    char const* const value = std::getenv("PUBLISH_ENTRY_HANDLE_PROGRAMMED_STATE");
    return value != nullptr && std::strtol(value, nullptr, 10) != 0;
  }();
  return on;
}

}  // namespace OrviaL3Unicast::engine
