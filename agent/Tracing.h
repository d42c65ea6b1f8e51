// The tables' traces, for as long as one agent runs, and the command that reads a binary trace
// back.
//
//   Tracing tracing(options);   // throws Fendrel::FileError when the ring file cannot be made
//
// Threading: the main thread, before and after the tables work. Ownership: owns the ring file; at
// its end the traces are off again and the file is complete.
#pragma once

#include <memory>

#include "Fendrel/TraceHandle.h"
#include "agent/CommandLine.h"

namespace OrviaL3Agent {

class Tracing {
 public:
  explicit Tracing(AgentOptions const& options);
  ~Tracing();
  Tracing(Tracing const&) = delete;
  Tracing& operator=(Tracing const&) = delete;

 private:
  std::unique_ptr<Fendrel::TraceHandle> ring_;
};

// Prints the file to standard output. Returns the program's exit code.
[[nodiscard]] int printRing(RingOptions const& options);

}  // namespace OrviaL3Agent
