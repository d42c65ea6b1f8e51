// The commands serve and ctl on the command line.
//
//   CLI::App* serve = addServe(app, serveOptions);
//   CLI::App* ctl = addCtl(app, ctlOptions);
//
// Threading: one thread. Ownership: a command refers to its options, which must live until it has
// parsed.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "agent/control/CtlOptions.h"
#include "agent/serve/ServeOptions.h"

namespace OrviaL3Agent {

CLI::App* addServe(CLI::App& app, ServeOptions& options);
CLI::App* addCtl(CLI::App& app, CtlOptions& options);

// The control socket of this user's agent, unless an option says otherwise.
[[nodiscard]] std::string defaultControlPath();

// "2620", "127.0.0.1:2620" or "[::1]:2620"; without an address that of `endpoint` stays. Throws
// CLI::ValidationError for what is none of these or no loopback address.
[[nodiscard]] Endpoint endpointOf(std::string const& option, std::string const& text,
                                  Endpoint endpoint);

}  // namespace OrviaL3Agent
