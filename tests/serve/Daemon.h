// The other end of the agent's stream: a routing daemon's socket, in the hands of a test.
//
//   Daemon daemon(server.status().port);
//   std::size_t const sent = daemon.sendSome(bytes);   // as much as the socket takes at once
//   daemon.close();
//
// The socket does not block, so that one thread can be both ends.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace OrviaL3Agent::Testing {

class Daemon {
 public:
  explicit Daemon(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket_, reinterpret_cast<sockaddr const*>(&to), sizeof to) != 0) {
      int const error = errno;
      ::close(socket_);
      throw std::system_error(error, std::generic_category(), "connect");
    }
  }
  ~Daemon() { close(); }
  Daemon(Daemon const&) = delete;
  Daemon& operator=(Daemon const&) = delete;

  // What the socket takes of these now. Throws std::system_error when the agent has hung up.
  std::size_t sendSome(std::string_view bytes) {
    ssize_t const sent = ::send(socket_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent >= 0) return static_cast<std::size_t>(sent);
    if (errno == EAGAIN || errno == EWOULDBLOCK) return 0;
    throw std::system_error(errno, std::generic_category(), "send");
  }
  // Whether the agent has ended the connection.
  [[nodiscard]] bool wasHungUp() {
    char byte = 0;
    ssize_t const got = ::recv(socket_, &byte, 1, MSG_DONTWAIT);
    return got == 0 || (got < 0 && errno != EAGAIN && errno != EWOULDBLOCK);
  }

  void close() {
    if (socket_ >= 0) ::close(socket_);
    socket_ = -1;
  }
  // Without a farewell: what the agent has not taken from its socket yet, it never gets.
  void reset() {
    linger const now{1, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    close();
  }

 private:
  int socket_;
};

}  // namespace OrviaL3Agent::Testing
