// What a stream said, by kind.
//
// Threading: one thread. Ownership: a plain value.
#pragma once

#include <cstdint>

#include "agent/fpm/SkipCounts.h"

namespace OrviaL3Agent {

struct StreamCounts {
  std::uint64_t frames = 0;
  std::uint64_t messages = 0;

  // Announcements of next-hop ids, and their withdrawals. A withdrawal carries nothing but an id;
  // what it meant shows from what had been announced under it.
  std::uint64_t nextHops = 0;
  std::uint64_t groups = 0;
  std::uint64_t blackholes = 0;
  std::uint64_t nextHopWithdrawals = 0;
  std::uint64_t groupWithdrawals = 0;
  std::uint64_t blackholeWithdrawals = 0;
  std::uint64_t unknownWithdrawals = 0;

  std::uint64_t routesById = 0;       // over an announced next-hop or group id
  std::uint64_t routesWithPaths = 0;  // over paths that the route carries
  std::uint64_t routesThatDrop = 0;   // blackhole, unreachable, prohibit
  std::uint64_t routeWithdrawals = 0;

  std::uint64_t skippedMessages = 0;
  Fpm::SkipCounts skips;

  [[nodiscard]] std::uint64_t routes() const {
    return routesById + routesWithPaths + routesThatDrop;
  }
};

}  // namespace OrviaL3Agent
