// The text that a failed framework assertion leaves on standard error.
#pragma once

#include <cerrno>
#include <string>

namespace PlatformTests {

inline std::string quotedForRegex(std::string const& text) {
  std::string result;
  for (char const c : text) {
    if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos) result += '\\';
    result += c;
  }
  return result;
}

// A pattern for the whole text, to the last character: the message, then the C library's report. An
// empty `line` matches any line number.
inline std::string assertionText(std::string const& condition, std::string const& message,
                                 std::string const& unit, std::string const& function,
                                 std::string const& line = {}) {
  return "^" + quotedForRegex(condition + ": " + message) + "\n" +
         quotedForRegex(std::string(program_invocation_short_name) + ": " + unit + ":") +
         (line.empty() ? "[0-9]+" : line) +
         quotedForRegex(": " + function + ": Assertion `\"" + condition +
                        "\" == nullptr' failed.") +
         "\n$";
}

}  // namespace PlatformTests
