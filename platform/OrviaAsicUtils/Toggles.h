// Toggles: named switches of a deployment, which an operator sets in files.
//
//   OrviaAsicUtils::toggleDirectoryIs("/etc/agent/toggles");
//   bool on = OrviaAsicUtils::getToggleState("ClearHwTableOnRestart", "OrviaAsicUtils.json", true);
//
// A toggle file is a JSON object of names to booleans: {"ClearHwTableOnRestart": false}. What is
// not there (directory, file or name) has the default that the reader asks with, silently. A file
// that is anything else, in whatever place, gives a warning on standard error, with file, line and
// column, and the default for every toggle. Of a name that stands there twice the last one counts.
//
// Nothing is kept: each call reads the file. Who needs a toggle to stay as it was keeps the answer.
//
// Threading: the agent's one thread. Ownership: texts are copied.
#pragma once

#include <functional>
#include <string>

#include "Vek/Export.h"

namespace OrviaAsicUtils {

// What the toggle stands at, or `otherwise` when nothing says so. What a reader throws passes out.
[[nodiscard]] VEK_EXPORT bool getToggleState(char const* name, char const* file, bool otherwise);

// Where toggle files are. Empty, as it is at first, means that there are none.
VEK_EXPORT void toggleDirectoryIs(std::string const& directory);
[[nodiscard]] VEK_EXPORT std::string toggleDirectory();

// For an agent that keeps its toggles elsewhere: what getToggleState() asks, with its arguments,
// instead of reading files. An empty one means files. Returns the previous one.
using ToggleReader = std::function<bool(char const* name, char const* file, bool otherwise)>;
VEK_EXPORT ToggleReader toggleReaderIs(ToggleReader reader);

}  // namespace OrviaAsicUtils
