// The whole text of an aborting assertion, for death tests.
//
//   EXPECT_EXIT(table->entryRemove(key), abortsWith(), abortText("0", "unsupported autoRemoveType",
//               "OrviaL3IngL3NextHop1Table", "void OrviaL3Unicast::..."));
#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <sstream>
#include <string>
#include <string_view>

namespace TableTests {

inline testing::KilledBySignal abortsWith() { return testing::KilledBySignal(SIGABRT); }

inline std::string regexOf(std::string_view text) {
  std::string result;
  for (char const c : text) {
    if (std::string_view("\\^$.|?*+()[]{}").find(c) != std::string_view::npos) result += '\\';
    result += c;
  }
  return result;
}

// Everything that standard error shows, from its first to its last character. Only the program's
// name and the line are left open.
inline std::string abortText(std::string_view condition, std::string const& message,
                             std::string_view unit, std::string_view signature) {
  std::string const quoted = '"' + std::string(condition) + '"';
  return "^" + regexOf(condition) + ": " + regexOf(message) + "\n[^:\n]+: " + regexOf(unit) +
         ":[1-9][0-9]*: " + regexOf(signature) + ": Assertion `" + regexOf(quoted) +
         " == nullptr' failed\\.\n$";
}

// A value as it shows in a message.
template <class Value>
std::string streamed(Value const& value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

}  // namespace TableTests
