// The agent as a service: one routing daemon over TCP, the control socket, the metrics page.
//
//   return serveCommand(options, loadedTables(library));
//
// Runs until SIGTERM or SIGINT. A hardware file is left as it is then, and goes on forwarding.
//
// Threading: the main thread; the metrics page has threads of its own. Ownership: none.
#pragma once

#include "agent/TableSource.h"
#include "agent/serve/ServeOptions.h"

namespace OrviaL3Agent {

// Returns the program's exit code. Throws std::exception, whose text says what could not be had or
// kept.
[[nodiscard]] int serveCommand(ServeOptions const& options, TableSource const& source);

}  // namespace OrviaL3Agent
