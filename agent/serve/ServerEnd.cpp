#include "agent/serve/ServerEnd.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

namespace OrviaL3Agent {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPause{2};
// So long somebody who is being answered may take to read that.
constexpr std::chrono::milliseconds kReading{200};

// A connection that nobody does anything with.
void knock(std::string const& address, std::uint16_t port) {
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(port);
  if (::inet_pton(AF_INET, address.c_str(), &to.sin_addr) != 1) return;
  int const socket = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (socket < 0) return;
  (void)::connect(socket, reinterpret_cast<sockaddr const*>(&to), sizeof to);
  ::close(socket);
}

// Whether it is the server's end of a connection.
bool isConnectionOf(int descriptor, std::uint16_t port) {
  sockaddr_in own{};
  sockaddr_in peer{};
  socklen_t size = sizeof own;
  if (::getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &size) != 0) return false;
  if (own.sin_family != AF_INET || ntohs(own.sin_port) != port) return false;
  size = sizeof peer;
  return ::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0;
}

void shutConnections(std::uint16_t port, int how) {
  std::error_code error;
  for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
    std::string const name = entry.path().filename().string();
    int descriptor = -1;
    std::from_chars(name.data(), name.data() + name.size(), descriptor);
    if (descriptor >= 0 && isConnectionOf(descriptor, port)) ::shutdown(descriptor, how);
  }
}

}  // namespace

void endAtOnce(std::unique_ptr<prometheus::Exposer> server, std::string const& address,
               std::uint16_t port) {
  std::atomic<bool> isOver = false;
  std::thread closing([&isOver, owned = std::move(server)]() mutable {
    owned.reset();
    isOver = true;
  });
  Clock::time_point const begin = Clock::now();
  while (!isOver) {
    knock(address, port);
    shutConnections(port, Clock::now() - begin < kReading ? SHUT_RD : SHUT_RDWR);
    std::this_thread::sleep_for(kPause);
  }
  closing.join();
}

}  // namespace OrviaL3Agent
