// Small pieces of text for people.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string>
#include <vector>

namespace OrviaL3Agent {

// A longer list than this is for `--show`.
inline constexpr std::size_t kMostListed = 20;

// "1 row", "2 rows".
inline std::string counted(std::uint64_t count, char const* thing) {
  return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
}

// "Title", the lines indented, and how many there are more; empty without lines. `total` may be
// more than there are lines.
inline std::string listText(char const* title, std::vector<std::string> const& lines,
                            std::size_t total) {
  if (total == 0) return {};
  std::string out = fmt::format("{}\n", title);
  std::size_t listed = 0;
  for (std::string const& line : lines) {
    if (listed == kMostListed) break;
    ++listed;
    out += "  " + line + "\n";
  }
  if (total > listed) out += fmt::format("  and {} more (see --show)\n", total - listed);
  return out;
}

}  // namespace OrviaL3Agent
