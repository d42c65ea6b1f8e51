// What `ctl` is asked for.
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace OrviaL3Agent {

struct CtlOptions {
  std::string socket;  // of the agent
  // How long the agent may say nothing before it is given up; 0: for ever.
  std::chrono::milliseconds timeout{10000};
  bool json = false;               // one JSON document instead of aligned text
  bool svg = false;                // `dot` as a picture, by Graphviz
  std::vector<std::string> words;  // the verb and its arguments
};

}  // namespace OrviaL3Agent
