// Hears what the kernel announces of next-hop objects and routes in a namespace.
#pragma once

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "plugins/kernel-nexthop/NamespaceSocket.h"

namespace KernelNextHopTests {

class Listener {
 public:
  explicit Listener(std::string const& netns)
      : fd_(KernelNextHop::routeSocketIn(
            netns, (1U << (RTNLGRP_NEXTHOP - 1)) | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE)) {
    int const bytes = 64 << 20;
    setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes);
  }
  ~Listener() { close(fd_); }
  Listener(Listener const&) = delete;
  Listener& operator=(Listener const&) = delete;

  // How many there were of each kind of message since the last call.
  std::map<int, unsigned> heard() {
    std::map<int, unsigned> kinds;
    std::vector<char> bytes(1 << 16);
    for (;;) {
      ssize_t const got = recv(fd_, bytes.data(), bytes.size(), MSG_DONTWAIT);
      if (got <= 0) return kinds;
      auto left = static_cast<unsigned>(got);
      auto const* message = reinterpret_cast<nlmsghdr const*>(bytes.data());
      while (left >= sizeof *message && message->nlmsg_len <= left) {
        ++kinds[message->nlmsg_type];
        unsigned const step = (message->nlmsg_len + 3U) & ~3U;
        if (step >= left) break;
        left -= step;
        message = reinterpret_cast<nlmsghdr const*>(reinterpret_cast<char const*>(message) + step);
      }
    }
  }

 private:
  int fd_;
};

}  // namespace KernelNextHopTests
