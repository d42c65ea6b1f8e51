#include "plugins/kernel-nexthop/NetlinkSocket.h"

#include <libmnl/libmnl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "plugins/kernel-nexthop/NamespaceSocket.h"

namespace KernelNextHop {
namespace {

// Of one datagram. A dump comes in pieces of at most 32 KiB; acknowledgements are short.
constexpr std::size_t kDatagram = std::size_t{32} * 1024;
constexpr unsigned kDatagrams = 32;

[[noreturn]] void fail(std::string const& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int option(int fd, int level, int name, int value) {
  return setsockopt(fd, level, name, &value, sizeof value);
}

}  // namespace

NetlinkSocket::NetlinkSocket(std::string const& netns, std::size_t receiveBuffer)
    : fd_(routeSocketIn(netns)), buffer_(kDatagram * kDatagrams) {
  // An answer names its request by sequence, and need not repeat it; a refusal has words.
  option(fd_, SOL_NETLINK, NETLINK_CAP_ACK, 1);
  option(fd_, SOL_NETLINK, NETLINK_EXT_ACK, 1);
  // A dump holds what was asked for and nothing else.
  option(fd_, SOL_NETLINK, NETLINK_GET_STRICT_CHK, 1);
  // The largest batch fits whatever the system's default is.
  constexpr int kSendBuffer = 512 * 1024;
  if (option(fd_, SOL_SOCKET, SO_SNDBUFFORCE, kSendBuffer) != 0) {
    option(fd_, SOL_SOCKET, SO_SNDBUF, kSendBuffer);
  }
  if (receiveBuffer == 0) return;
  // The kernel doubles it. Beyond the system's limit for those who may.
  int const half = static_cast<int>(receiveBuffer / 2);
  if (option(fd_, SOL_SOCKET, SO_RCVBUFFORCE, half) != 0) option(fd_, SOL_SOCKET, SO_RCVBUF, half);
}

NetlinkSocket::~NetlinkSocket() { close(fd_); }

bool NetlinkSocket::send(Batch const& batch) {
  sockaddr_nl kernel{};
  kernel.nl_family = AF_NETLINK;
  for (;;) {
    ssize_t const sent = sendto(fd_, batch.data(), batch.size(), 0,
                                reinterpret_cast<sockaddr const*>(&kernel), sizeof kernel);
    if (sent >= 0) return true;
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM) return false;
    fail("requests to the kernel");
  }
}

NetlinkSocket::Received NetlinkSocket::receive(
    std::function<void(nlmsghdr const&)> const& function) {
  std::array<iovec, kDatagrams> pieces{};
  std::array<mmsghdr, kDatagrams> datagrams{};
  for (unsigned i = 0; i < kDatagrams; ++i) {
    pieces[i] = {buffer_.data() + i * kDatagram, kDatagram};
    datagrams[i].msg_hdr.msg_iov = &pieces[i];
    datagrams[i].msg_hdr.msg_iovlen = 1;
  }
  Received received;
  int count = 0;
  do {
    count = recvmmsg(fd_, datagrams.data(), kDatagrams, MSG_DONTWAIT, nullptr);
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    if (errno == ENOBUFS) received.overrun = true;
    if (errno == ENOBUFS || errno == EAGAIN) return received;
    fail("answers of the kernel");
  }
  for (unsigned i = 0; i < static_cast<unsigned>(count); ++i) {
    int left = static_cast<int>(datagrams[i].msg_len);
    auto const* message = reinterpret_cast<nlmsghdr const*>(pieces[i].iov_base);
    for (; mnl_nlmsg_ok(message, left); message = mnl_nlmsg_next(message, &left)) {
      ++received.messages;
      function(*message);
    }
  }
  return received;
}

}  // namespace KernelNextHop
