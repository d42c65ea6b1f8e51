// The version that the agent reports; the same as the project's.
#pragma once

namespace OrviaL3Agent {

inline constexpr char const* kVersion = "0.1.0";

}  // namespace OrviaL3Agent
