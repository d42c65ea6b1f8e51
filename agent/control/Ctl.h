// The client of the control socket: sends one request and prints what comes.
//
//   return Control::ctlCommand({.socket = "/run/orvia-l3-agent/control", .words = {"show",
//   "groups"}});
//
// Tables are aligned, which takes all their rows; in JSON rows are printed as they come, as one
// document. Lines are printed as they come. Standard output that nobody reads any longer ends it,
// as it ends any filter.
//
// Threading: the main thread. Ownership: none.
#pragma once

#include "agent/control/CtlOptions.h"

namespace OrviaL3Agent::Control {

// The exit code: 0, 1 when the agent cannot be reached, says nothing for too long or goes away, 2
// when the request is wrong.
[[nodiscard]] int ctlCommand(CtlOptions const& options);

}  // namespace OrviaL3Agent::Control
