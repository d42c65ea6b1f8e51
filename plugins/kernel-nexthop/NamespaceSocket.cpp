#include "plugins/kernel-nexthop/NamespaceSocket.h"

#include <fcntl.h>
#include <linux/netlink.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <exception>
#include <functional>
#include <system_error>
#include <thread>

#include "plugins/kernel-nexthop/NamespaceLock.h"

namespace KernelNextHop {
namespace {

[[noreturn]] void failAt(std::string const& what, int error = errno) {
  throw std::system_error(error, std::generic_category(), what);
}

// Closes a file at the end of the block.
class File {
 public:
  explicit File(int fd) : fd_(fd) {}
  ~File() { close(fd_); }
  File(File const&) = delete;
  File& operator=(File const&) = delete;

 private:
  int fd_;
};

int bound(int fd, void const* address, std::size_t size, std::string const& what) {
  if (fd < 0) failAt("no socket");
  if (bind(fd, static_cast<sockaddr const*>(address), static_cast<socklen_t>(size)) == 0) return fd;
  int const error = errno;
  close(fd);
  failAt(what, error);
}

int routeSocket(unsigned groups) {
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = groups;
  return bound(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE), &address,
               sizeof address, "no address for a socket for routes");
}

int lockSocket(std::string const& name, std::string const& taken) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  // The zero before a name makes it one of the network namespace's, and of no file system.
  std::size_t const length = std::min(name.size(), sizeof address.sun_path - 1);
  std::memcpy(&address.sun_path[1], name.data(), length);
  return bound(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0), &address,
               offsetof(sockaddr_un, sun_path) + 1 + length, taken);
}

std::string pathOf(std::string const& netns) {
  return netns.find('/') == std::string::npos ? "/run/netns/" + netns : netns;
}

int madeIn(std::string const& netns, std::function<int()> const& make) {
  if (netns.empty()) return make();
  std::string const path = pathOf(netns);
  int const space = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (space < 0) failAt("network namespace " + path);
  File const file(space);
  int made = -1;
  std::exception_ptr failure;
  // A namespace is a thread's: whoever calls stays in the one it is in.
  std::thread visitor([&] {
    try {
      if (setns(space, CLONE_NEWNET) != 0) {
        bool const isDenied = errno == EPERM;
        failAt("network namespace " + path + (isDenied ? ", which takes CAP_SYS_ADMIN" : ""));
      }
      made = make();
    } catch (...) {
      failure = std::current_exception();
    }
  });
  visitor.join();
  if (failure) std::rethrow_exception(failure);
  return made;
}

}  // namespace

int routeSocketIn(std::string const& netns, unsigned groups) {
  return madeIn(netns, [groups] { return routeSocket(groups); });
}

std::string namespaceText(std::string const& netns) {
  return netns.empty() ? "this process's network namespace" : "network namespace " + pathOf(netns);
}

NamespaceLock::NamespaceLock(std::string const& netns, std::string const& what)
    : fd_(madeIn(netns, [&] {
        return lockSocket("orvia-kernel-nexthop/" + what,
                          "another process programs " + what + " in " + namespaceText(netns));
      })) {}

NamespaceLock::~NamespaceLock() { close(fd_); }

}  // namespace KernelNextHop
