// A graph as a picture: runs Graphviz' `dot`.
//
//   return Control::printSvg("digraph dependencies {...}");
//
// Threading: any. Ownership: waits for the program that it starts.
#pragma once

#include <string>

namespace OrviaL3Agent::Control {

// Prints the picture on standard output. Returns the exit code: 0, or 1 after a message on standard
// error, when the program is not installed or fails.
[[nodiscard]] int printSvg(std::string const& dot);

}  // namespace OrviaL3Agent::Control
