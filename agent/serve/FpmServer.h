// The routing stream of a live daemon: one TCP connection at a time, as a source of the event loop.
//
//   FpmServer const& stream = server;        // a TcpFpmServer, say
//   stream.status().lag;
//
// A dropped connection keeps the tables. What the next one announces again unchanged is not
// touched; what it does not announce again until a hold time after its last message, or until many
// hold times after its beginning, is removed.
//
// Threading: the loop's thread. Ownership: refers to the agent and the io, which must outlive it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "agent/EventLoop.h"

namespace OrviaL3Agent {

class FpmServer : public EventLoop::Source {
 public:
  struct Status {
    std::uint16_t port = 0;                       // that is listened at
    std::optional<std::string> peer;              // while connected: "127.0.0.1:40312"
    std::chrono::steady_clock::time_point since;  // of the connection or its end
    std::uint64_t connections = 0;                // accepted so far
    std::uint64_t refused = 0;                    // second connections
    std::uint64_t faults = 0;                     // connections ended because of what they sent
    std::uint64_t bytes = 0;                      // received so far
    std::size_t queued = 0;                       // bytes received and not yet read as messages
    // From a new connection until what it has not announced again is removed. A connection that
    // drops before does not end it: what is stale then is left for the next one.
    bool resynchronising = false;
    std::size_t stale = 0;    // routes of before, not announced again so far
    std::uint64_t swept = 0;  // routes removed so far because they were not
    // From the arrival of the oldest bytes that are still queued until now.
    std::chrono::microseconds lag{0};
  };

  [[nodiscard]] virtual Status status() const = 0;
  // Ends the connection, so that the daemon connects again and says everything once more.
  virtual void resync() = 0;
};

}  // namespace OrviaL3Agent
