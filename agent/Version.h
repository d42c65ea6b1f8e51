// The version that the agent reports; the same as the project's.
#pragma once

namespace OrviaL3Agent {

inline constexpr const char* kVersion = "0.1.0";

}  // namespace OrviaL3Agent
