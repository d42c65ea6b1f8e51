// When something asked for its place in the hardware: for how long it has been without it.
//
// Wall-clock times of a machine can be set; this one only goes on. Nothing is decided by it.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <chrono>

namespace OrviaL3Agent {

using Since = std::chrono::steady_clock::time_point;

[[nodiscard]] inline Since sinceNow() { return std::chrono::steady_clock::now(); }

}  // namespace OrviaL3Agent
