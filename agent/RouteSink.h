// Who keeps routes themselves, prefix by prefix, up to date with what they lead to: the kernel's
// routing tables, say. A switch's tables that the agent fills have none.
//
// It is told that something may lead elsewhere now, and asks Routes::lead() in its own time. What
// it led to before comes along: as long as the sink holds that, no row is given to anybody else,
// and no object deleted, under packets that still take it.
//
//   class Sink : public RouteSink { ... };
//   mapping.routeSinkIs(&sink);
//
// Threading: the loop's thread. A sink is called in the middle of changes: it takes notes, and
// calls nobody back.
#pragma once

#include <cstdint>

#include "agent/Groups.h"
#include "agent/IngressNextHops.h"
#include "agent/RouteKey.h"

namespace OrviaL3Agent {

class RouteSink {
 public:
  virtual ~RouteSink() = default;
  // The route came, went, or points to something else. The uses may be empty.
  virtual void routeChanged(RouteKey const& key, IngressNextHops::Use hop, Groups::Use group) = 0;
  // All routes that name the group's id. `former`: what it was, or may still be.
  virtual void idChanged(std::uint32_t id, Groups::Use former) = 0;
  // What was refused is asked for again.
  virtual void retry() = 0;
};

}  // namespace OrviaL3Agent
