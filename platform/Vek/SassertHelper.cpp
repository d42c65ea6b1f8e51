#include "Vek/SassertHelper.h"

#include <cstdio>
#include <string>

// The C library's own reporter, which <cassert> declares only without NDEBUG.
extern "C" [[noreturn]] void __assert_fail(char const* assertion, char const* file, unsigned line,
                                           char const* function) noexcept;

namespace Vek {

SassertHelper::~SassertHelper() {
  std::string const message = message_.str();
  std::fprintf(stderr, "%s: %s\n", condition_, message.c_str());
  std::fflush(stderr);
  std::string const assertion = '"' + std::string(condition_) + "\" == nullptr";
  __assert_fail(assertion.c_str(), where_.unit, where_.line, where_.function);
}

}  // namespace Vek
