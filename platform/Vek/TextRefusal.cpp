#include "Vek/TextRefusal.h"

#include <string>

// The C library's own reporter, which <cassert> declares only without NDEBUG.
extern "C" [[noreturn]] void __assert_fail(char const* assertion, char const* file, unsigned line,
                                           char const* function) noexcept;

namespace Vek {

void refuseText(char const* message, SassertWhere where) {
  std::string const assertion = "!\"" + std::string(message) + '"';
  __assert_fail(assertion.c_str(), where.unit, where.line, where.function);
}

}  // namespace Vek
