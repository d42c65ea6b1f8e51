// The text form of one call in a journal, both ways.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "plugins/soft-asic/Journal.h"

namespace SoftAsic {

// What stands in a line is not what belongs there.
class LineError : public std::runtime_error {
 public:
  LineError(std::string const& expected, std::string const& found)
      : std::runtime_error("expected " + expected + ", found " + found) {}
};

// "write", "remove", "removeAll".
[[nodiscard]] constexpr char const* name(Call::Kind kind) {
  constexpr char const* names[] = {"write", "remove", "removeAll"};
  return names[static_cast<std::size_t>(kind)];
}
// "taken", "refused", "lost", "noSuchRow".
[[nodiscard]] constexpr char const* name(Fate fate) {
  constexpr char const* names[] = {"taken", "refused", "lost", "noSuchRow"};
  return names[static_cast<std::size_t>(fate)];
}

// "numPaths 2 lbMode 0 ecmpBlockPtr 4"; nothing for a call without contents.
[[nodiscard]] std::string contentsText(decltype(Call::contents) const& contents);
// The call of a line without its end. Throws LineError.
[[nodiscard]] Journal::Entry callOfLine(std::string_view line);

}  // namespace SoftAsic
