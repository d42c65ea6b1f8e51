// What a summary says of the kernel.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace OrviaL3Agent {

struct KernelReport {
  std::size_t nextHops = 0;  // objects in force
  std::size_t groups = 0;
  std::size_t routes = 0;
  std::size_t routesWaiting = 0;  // for their way
  std::size_t routesRefused = 0;
  std::uint64_t requests = 0;
  std::uint64_t sends = 0;
  std::uint64_t repeated = 0;         // requests whose answer was lost
  std::uint64_t fromBefore = 0;       // objects and routes that the start found
  std::vector<std::string> refusals;  // of routes, the first ones
};

}  // namespace OrviaL3Agent
