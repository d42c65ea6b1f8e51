// The tables by name: what `--get`, `--set` and `--ls` do.
//
//   setByName(mapping.tables(), {"group.entry[#1].numPaths", "4"});
//   fmt::print("{}", gotByName(mapping.tables(), "ingress.numEntries"));
//   fmt::print("{}", listedByName(mapping.tables(), "group.entryHandle[#1]"));
//
// A path begins with a table (ingress, ecmp, member, group) and goes on as Vek/Walker.h says. Only
// plain values can be set: what refers to objects, or holds others, is refused. Nothing that ends
// an object can be reached.
//
// All throw Vek::Exception that begins with the path, and names the place in it where that is not
// its end. Long paths and values are cut.
//
// Threading: the loop's thread; a change may write to the hardware. Ownership: texts.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "agent/Mapping.h"

namespace OrviaL3Agent {

// In a collection of more elements than `mostCompared` only keys that can be read name one, and
// positions: what else there is takes a look at every key.
inline constexpr std::size_t kCompareAll = std::numeric_limits<std::size_t>::max();

// The value at the path, in one line.
[[nodiscard]] std::string gotByName(Mapping::Tables const& tables, std::string const& path,
                                    std::size_t mostCompared = kCompareAll);
// A line for each attribute or element, "(read only)" where setByName refuses that very place. One
// that says so when there is none. The tables, when the path is empty.
[[nodiscard]] std::string listedByName(Mapping::Tables const& tables, std::string const& path);
// Path and value.
void setByName(Mapping::Tables const& tables, std::pair<std::string, std::string> const& change,
               std::size_t mostCompared = kCompareAll);

// A part of what listedByName() says, as values.
struct NamedLine {
  std::string name;
  std::string type;
  std::string value;
  bool canBeSet = false;
};
struct NamedLines {
  std::vector<NamedLine> lines;
  bool areElements = false;
  std::size_t all = 0;  // that there are
};
// At most `most` elements, behind the first `first`; all attributes.
[[nodiscard]] NamedLines linesByName(Mapping::Tables const& tables, std::string const& path,
                                     std::size_t first = 0, std::size_t most = kCompareAll,
                                     std::size_t mostCompared = kCompareAll);

}  // namespace OrviaL3Agent
