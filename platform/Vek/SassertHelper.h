// Assertions for programming errors: a message on standard error, then the C library's assertion
// failure.
//
//   if (!handle) SassertHelper("entryHandleExists( key )", where) << "expect a valid handle, key: "
//   << key;
//
// The temporary collects the message and its destructor ends the process, so the operands are
// evaluated only on failure. Standard error shows "<condition>: <message>"; the abort names the
// quoted condition followed by ` == nullptr`, the source unit, the line and the function as given.
#pragma once

#include <sstream>

#include "Vek/Export.h"

namespace Vek {

// Where an assertion stands, as the assertion failure shows it.
struct SassertWhere {
  char const* unit;      // the source unit
  unsigned line;         // in the file that makes the assertion
  char const* function;  // the full signature
};

class VEK_EXPORT SassertHelper {
 public:
  SassertHelper(char const* condition, SassertWhere where) : condition_(condition), where_(where) {}
  SassertHelper(SassertHelper const&) = delete;
  SassertHelper& operator=(SassertHelper const&) = delete;
  [[noreturn]] ~SassertHelper();

  template <class Value>
  SassertHelper& operator<<(Value const& value) {
    message_ << value;
    return *this;
  }

 private:
  char const* condition_;
  SassertWhere where_;
  std::ostringstream message_;
};

}  // namespace Vek
