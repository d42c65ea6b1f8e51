// How the agent programs a Linux kernel instead of the simulated ASIC.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <cstdint>
#include <string>

namespace OrviaL3Agent {

struct KernelSetup {
  bool isOn = false;
  // Where packets are forwarded, and the namespace that the routing daemon's interface numbers are
  // of: each a name under /run/netns, a path, or empty for the one that the agent runs in.
  std::string netns;
  std::string daemonNetns;
  std::uint32_t firstId = 1'000'000;  // of next-hop objects
};

}  // namespace OrviaL3Agent
