// The agent's view of the switch hardware: the soft ASIC, attached to the ingress table.
//
//   Hardware hardware(options);
//   hardware.attach(*table);
//   loop.sourceIs(&hardware);     // delivers the answers, once per turn
//
// Everything that a summary says about programmed rows comes from here and not from response handlers: the
// ingress table shows its key's state on an entry's handle, so a handler may hear "success" before
// the hardware has answered.
//
// Threading: the loop's thread. Ownership: counts the soft ASIC's objects; the table counts them as well.
#pragma once

#include <cstdint>

#include "agent/CommandLine.h"
#include "agent/EventLoop.h"

namespace OrviaL3Agent {

class Hardware final : public EventLoop::Source {
 public:
  enum class Row { empty, asked, accepted, refused };
};

}  // namespace OrviaL3Agent
