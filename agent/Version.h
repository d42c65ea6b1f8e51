// The version that the agent reports: the project's, from the build.
#pragma once

namespace OrviaL3Agent {

inline constexpr char const* kVersion = ORVIA_VERSION;

}  // namespace OrviaL3Agent
