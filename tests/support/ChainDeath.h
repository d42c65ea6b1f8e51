// The whole text that a failed assertion of a table leaves on standard error, as a pattern.
#pragma once

#include <cerrno>
#include <string>

namespace ChainTests {

inline std::string quotedForDeath(std::string const& text) {
  std::string result;
  for (char const c : text) {
    if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos) result += '\\';
    result += c;
  }
  return result;
}

// From the first character to the last; only the line number is left open.
inline std::string deathText(std::string const& condition, std::string const& message,
                             std::string const& unit, std::string const& function) {
  return "^" + quotedForDeath(condition + ": " + message) + "\n" +
         quotedForDeath(std::string(program_invocation_short_name) + ": " + unit + ":") + "[0-9]+" +
         quotedForDeath(": " + function + ": Assertion `\"" + condition +
                        "\" == nullptr' failed.") +
         "\n$";
}

}  // namespace ChainTests
