// Keeps a second process from programming the same things of a network namespace's kernel.
//
//   NamespaceLock const lock("plane", "routes of protocol 200");
//
// The lock is the name of a Unix socket, which the kernel keeps per network namespace and gives
// back when the process ends, however it ends. It takes no rights, and no file is left behind.
//
// Threading: any. Ownership: owns the socket; what was locked is free at its end.
#pragma once

#include <string>

namespace KernelNextHop {

class NamespaceLock {
 public:
  // `netns` as in NamespaceSocket.h. Throws std::system_error, EADDRINUSE when somebody has it; its
  // text says what and where.
  NamespaceLock(std::string const& netns, std::string const& what);
  ~NamespaceLock();
  NamespaceLock(NamespaceLock const&) = delete;
  NamespaceLock& operator=(NamespaceLock const&) = delete;

 private:
  int fd_;
};

}  // namespace KernelNextHop
