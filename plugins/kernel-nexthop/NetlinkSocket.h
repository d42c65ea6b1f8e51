// A socket for requests to the kernel, and what comes back: acknowledgements, or a dump.
//
//   NetlinkSocket socket("plane", 4 << 20);
//   socket.send(batch);
//   socket.receive([](nlmsghdr const& message) { ... });
//
// It never waits. The kernel handles a request within the send, so what answers there are can be
// read right after it; those for which the receive buffer had no room are gone, and `overrun` says
// so.
//
// Threading: one thread at a time. Ownership: owns the socket.
#pragma once

#include <linux/netlink.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "plugins/kernel-nexthop/Batch.h"

namespace KernelNextHop {

class NetlinkSocket {
 public:
  // `receiveBuffer`: bytes, 0 for the system's own. Throws std::system_error.
  NetlinkSocket(std::string const& netns, std::size_t receiveBuffer);
  ~NetlinkSocket();
  NetlinkSocket(NetlinkSocket const&) = delete;
  NetlinkSocket& operator=(NetlinkSocket const&) = delete;

  [[nodiscard]] int fileDescriptor() const { return fd_; }

  // Whether the kernel took them: not when it has no memory for them just now. Throws
  // std::system_error when it will not have them at all.
  [[nodiscard]] bool send(Batch const& batch);

  struct Received {
    std::size_t messages = 0;
    bool overrun = false;  // answers were lost
  };
  // Hands on what waits, up to about a hundred messages of acknowledgements, or one piece of a
  // dump. None: nothing waits. What the function throws passes out.
  Received receive(std::function<void(nlmsghdr const&)> const& function);

 private:
  int fd_;
  std::vector<std::byte> buffer_;
};

}  // namespace KernelNextHop
