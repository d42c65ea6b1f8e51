// The agent's control socket: a Unix-domain socket that answers requests of `ctl`.
//
//   ControlServer control(io, {agent, stream}, "/run/orvia-l3-agent/control");
//   agent.loop().sourceIs(&control);
//   ...
//   agent.loop().sourceDel(&control);
//
// One JSON value a line, in both directions (see Job.h for what answers are made of):
//
//   {"verb":["show","groups"]}
//   {"table":{"name":"groups","columns":["group","state"]}}
//   {"row":[1,"programmed"]} {"object":{"name":"memory","value":{}}} {"line":"text"}
//   {"end":{"exit":0}} or {"end":{"exit":2,"error":"text"}}
//
// An answer that has no end, that of `trace follow`, begins with {"follows":true}: silence means
// nothing from there on.
//
// The file has mode 0600, and only the user of this process and root are listened to. A client may
// send request after request; one at a time is worked on. Every client in turn gets a slice of its
// job, within a budget for all, and none while its output waits to be read: a client that does not
// read costs a bounded amount of memory and no time. One that goes away ends its job.
//
// Threading: the loop's thread. Ownership: owns the socket, its file, the clients and their jobs;
// refers to what the context names and to the io, which must outlive it.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "agent/EventLoop.h"
#include "agent/control/Job.h"
#include "agent/serve/Io.h"

namespace OrviaL3Agent::Control {

class ControlServer final : public EventLoop::Source {
 public:
  // Replaces a file that a process left which is gone. Throws std::runtime_error that names the
  // path: another agent listens there, something else has the name, or it cannot be made.
  ControlServer(Io& io, Context const& context, std::string const& path);
  ~ControlServer() override;
  ControlServer(ControlServer const&) = delete;
  ControlServer& operator=(ControlServer const&) = delete;

  void runSlice() override;
  [[nodiscard]] bool busy() const override;

  [[nodiscard]] std::size_t clients() const;

 private:
  class Impl;
  std::shared_ptr<Impl> impl_;  // what waits in the io refers to it while it lives
};

}  // namespace OrviaL3Agent::Control
