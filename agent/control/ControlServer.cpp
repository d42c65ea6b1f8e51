#include "agent/control/ControlServer.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <optional>
#include <utility>
#include <vector>

#include "agent/control/ControlClient.h"
#include "agent/control/ControlFile.h"

namespace OrviaL3Agent::Control {
namespace {

using Clock = std::chrono::steady_clock;

// Of all clients together in a turn. A slice that has begun takes its time.
constexpr std::chrono::microseconds kTurn{1000};
constexpr std::size_t kMostClients = 64;
// When no connection can be accepted, because the process has too many files open, say.
constexpr std::chrono::milliseconds kPause{200};

// Who has the other end of the socket; nobody when the system does not say.
std::optional<ucred> peerOf(ControlClient::Socket& socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  if (::getsockopt(socket.native_handle(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return {};
  return peer;
}

}  // namespace

class ControlServer::Impl : public std::enable_shared_from_this<ControlServer::Impl> {
 public:
  Impl(Io& io, Context const& context, std::string const& path)
      : context_(context), acceptor_(io.context()), pause_(io.context()), file_(acceptor_, path) {
    // A handler that does nothing ends the sleep; the turn that follows looks at the jobs.
    context_.wake = [&io] { asio::post(io.context(), [] {}); };
  }

  void accept() {
    acceptor_.async_accept(
        [weak = weak_from_this()](asio::error_code error, ControlClient::Socket socket) {
          auto const self = weak.lock();
          if (!self || !self->acceptor_.is_open()) return;
          if (error) {
            self->acceptLater();
            return;
          }
          self->clientIs(std::move(socket));
          self->accept();
        });
  }

  void close() {
    asio::error_code ignored;
    acceptor_.close(ignored);
    pause_.cancel();
    for (auto const& client : clients_) client->close();
    clients_.clear();
  }

  void runSlice() {
    std::erase_if(clients_, [](auto const& client) { return !client->isOpen(); });
    Clock::time_point const begin = Clock::now();
    for (std::size_t left = clients_.size(); left > 0; --left) {
      // Whoever was served goes to the end of the line.
      std::rotate(clients_.begin(), clients_.begin() + 1, clients_.end());
      ControlClient& client = *clients_.back();
      if (!client.canGoOn()) continue;
      client.runSlice();
      if (Clock::now() - begin >= kTurn) break;
    }
  }

  [[nodiscard]] bool busy() const {
    return std::any_of(clients_.begin(), clients_.end(),
                       [](auto const& client) { return client->canGoOn(); });
  }
  [[nodiscard]] std::size_t clients() const {
    return static_cast<std::size_t>(std::count_if(
        clients_.begin(), clients_.end(), [](auto const& client) { return client->isOpen(); }));
  }

 private:
  void acceptLater() {
    pause_.expires_after(kPause);
    pause_.async_wait([weak = weak_from_this()](asio::error_code error) {
      auto const self = weak.lock();
      if (self && !error) self->accept();
    });
  }

  void clientIs(ControlClient::Socket socket) {
    std::optional<ucred> const peer = peerOf(socket);
    Context context = context_;
    if (peer) context.client = fmt::format("uid {}, pid {}", peer->uid, peer->pid);
    auto const client = std::make_shared<ControlClient>(std::move(socket), context);
    std::erase_if(clients_, [](auto const& other) { return !other->isOpen(); });
    if (!peer || (peer->uid != ::geteuid() && peer->uid != 0)) {
      // Not even one of the clients: it gets this answer if it wants it, and nothing else.
      client->refuse("only the agent's own user and root are listened to");
    } else if (clients_.size() >= kMostClients) {
      client->refuse(fmt::format("{} clients are connected already", kMostClients));
    } else {
      clients_.push_back(client);
      client->start();
    }
  }

  Context context_;
  asio::local::stream_protocol::acceptor acceptor_;
  asio::steady_timer pause_;
  ControlFile file_;
  std::vector<std::shared_ptr<ControlClient>> clients_;
};

ControlServer::ControlServer(Io& io, Context const& context, std::string const& path)
    : impl_(std::make_shared<Impl>(io, context, path)) {
  impl_->accept();
}

ControlServer::~ControlServer() { impl_->close(); }

void ControlServer::runSlice() { impl_->runSlice(); }
bool ControlServer::busy() const { return impl_->busy(); }
std::size_t ControlServer::clients() const { return impl_->clients(); }

}  // namespace OrviaL3Agent::Control
