// What `serve` is asked for.
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "agent/AgentOptions.h"

namespace OrviaL3Agent {

// A TCP address of this host.
struct Endpoint {
  std::string address = "127.0.0.1";
  std::uint16_t port = 0;  // 0: any free one, which the log names
};

struct ServeOptions : AgentOptions {
  // A routing daemon looks for this port on loopback (FRRouting's fpm module: 2620).
  static constexpr std::uint16_t kFpmPort = 2620;
  // A slice of the stream ends by its time; this many messages it never has.
  static constexpr std::uint32_t kSlice = 1024;

  // A daemon that changes something all the time is never silent. What it says again it says in a
  // burst after it has connected: what was not said again this many hold times after the beginning
  // is gone, whatever else is said.
  static constexpr int kMostHolds = 20;

  // A shorter silence is none: the pause between two segments would begin the removal, in the
  // middle of what the daemon says again.
  static constexpr std::chrono::milliseconds kLeastHold{100};

  ServeOptions() { slice = kSlice; }

  Endpoint listen{.port = kFpmPort};
  std::string controlPath;  // of the control socket; empty: none
  Endpoint metrics;         // of the metrics page
  bool hasMetrics = false;
  // From the last message of a new connection until what it did not announce is removed.
  std::chrono::milliseconds hold{5000};
};

}  // namespace OrviaL3Agent
