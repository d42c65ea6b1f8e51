// Where a kernel device programs, and under which numbers.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace KernelNextHop {

// How many rows each table has. The next-hop rows are of both views: the lower ones are the ECMP
// view's, row 0 included, those from `ecmpNextHops` on are for the keys of the ingress table.
struct KernelSizes {
  std::uint32_t nextHops = 32768;
  std::uint32_t ecmpNextHops = 16384;
  std::uint32_t members = 65536;
  std::uint32_t groups = 16384;

  friend bool operator==(KernelSizes const&, KernelSizes const&) = default;
};

struct KernelOptions {
  // The network namespace: empty for the one that the process is in, a name under /run/netns, or a
  // path.
  std::string netns;
  KernelSizes sizes;
  // The first id of the device. Ids.h says how many follow and what they stand for.
  std::uint32_t firstId = 1'000'000;
  // What the objects and routes say of who made them. Routes of this number are the device's.
  std::uint8_t protocol = 200;
  // Requests per send, and unread answers at most.
  std::size_t batch = 64;
  std::size_t window = 1024;
  // Bytes that answers wait in until they are read; 0 for the system's own. What does not fit is
  // lost, and asked for again.
  std::size_t receiveBuffer = 4U << 20U;
  // A kernel before 6.13 takes no more.
  std::uint32_t maxWeight = 255;
};

}  // namespace KernelNextHop
