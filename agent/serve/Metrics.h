// The metrics page: what the agent holds and has done, in Prometheus' text form, over HTTP.
//
//   FpmServer stream(io, agent, options);  agent.inputIs(&stream);
//   Metrics metrics(io, agent, stream, {"127.0.0.1", 9100});   // http://127.0.0.1:9100/metrics
//
// A scrape arrives in a thread of the HTTP server, which touches nothing of the agent: it asks the
// loop and waits. The loop counts, a slice a turn while there is much to count, and hands over the
// finished page. If the loop does not answer in time, the page before is served and says so.
//
// It is a source of the loop, which it joins by itself, as the last one so far: it sees what every
// turn has brought, and tells from that how long messages take to come into force.
//
// Threading: made, called and ended on the loop's thread; owns the threads of the HTTP server,
// which are gone when it is. Ownership: refers to what it is made of, which must outlive it.
#pragma once

#include <cstdint>
#include <memory>

#include "agent/Agent.h"
#include "agent/EventLoop.h"
#include "agent/serve/FpmServer.h"
#include "agent/serve/Io.h"
#include "agent/serve/ServeOptions.h"

namespace OrviaL3Agent {

class Metrics final : public EventLoop::Source {
 public:
  // Throws std::runtime_error that names the address when it cannot be listened at.
  Metrics(Io& io, Agent& agent, FpmServer const& stream, Endpoint const& endpoint);
  ~Metrics() override;
  Metrics(Metrics const&) = delete;
  Metrics& operator=(Metrics const&) = delete;

  // That is listened at.
  [[nodiscard]] std::uint16_t port() const;

  void runSlice() override;
  [[nodiscard]] bool busy() const override;

 private:
  class Impl;
  Agent& agent_;
  std::unique_ptr<Impl> impl_;
};

}  // namespace OrviaL3Agent
