#include "agent/serve/TcpFpmServer.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "agent/Deadline.h"
#include "agent/fpm/StreamError.h"

namespace OrviaL3Agent {
namespace {

constexpr std::chrono::microseconds kSliceTime{1000};
// Where a connection cannot be accepted, for want of file descriptors for instance, there will be
// room later and not at once.
constexpr std::chrono::seconds kAcceptAgain{1};

asio::ip::tcp::acceptor listenAt(asio::io_context& context, Endpoint const& at) {
  try {
    asio::ip::tcp::endpoint const endpoint(asio::ip::make_address(at.address), at.port);
    // With the address free again as soon as an agent before has ended.
    return asio::ip::tcp::acceptor(context, endpoint, true);
  } catch (std::system_error const& error) {
    throw std::runtime_error(
        fmt::format("cannot listen at {}:{}: {}", at.address, at.port, error.code().message()));
  }
}

template <class Number>
std::uint64_t sum(std::map<Number, std::uint64_t> const& counts) {
  std::uint64_t all = 0;
  for (auto const& [number, count] : counts) all += count;
  return all;
}

}  // namespace

TcpFpmServer::TcpFpmServer(Io& io, Agent& agent, ServeOptions const& options, Log const& log)
    : agent_(agent),
      log_(log),
      hold_(options.hold),
      slice_(options.slice),
      acceptor_(listenAt(io.context(), options.listen)),
      silence_(io.context()),
      acceptAgain_(io.context()),
      alive_(std::make_shared<TcpFpmServer*>(this)) {
  status_.port = acceptor_.local_endpoint().port();
  status_.since = Clock::now();
  log_.info(
      fmt::format("listening for a routing daemon at {}", textOf(acceptor_.local_endpoint())));
  accept();
}

TcpFpmServer::~TcpFpmServer() = default;

void TcpFpmServer::accept() {
  acceptor_.async_accept(
      [alive = std::weak_ptr(alive_)](asio::error_code error, asio::ip::tcp::socket socket) {
        auto const server = alive.lock();
        if (!server || error == asio::error::operation_aborted) return;
        if (error) {
          (*server)->cannotAccept(error.message());
        } else {
          (*server)->accepted(std::move(socket));
          (*server)->accept();
        }
      });
}

void TcpFpmServer::cannotAccept(std::string const& why) {
  log_.warning("cannot accept a connection: " + why);
  acceptAgain_.expires_after(kAcceptAgain);
  acceptAgain_.async_wait([alive = std::weak_ptr(alive_)](asio::error_code error) {
    auto const server = alive.lock();
    if (server && !error) (*server)->accept();
  });
}

void TcpFpmServer::accepted(Socket socket) {
  if (!connection_) {
    begin(std::move(socket));
    return;
  }
  if (!next_ && connection_->peerHasGone()) {
    log_.info(fmt::format("connection from {}, read when the one of before is", peerOf(socket)));
    next_ = std::move(socket);
    return;
  }
  ++status_.refused;
  log_.warning(fmt::format("refused a second connection, from {}: {} is connected", peerOf(socket),
                           connection_->peer()));
}

void TcpFpmServer::begin(Socket socket) {
  StreamCounts& counts = agent_.streamCounts();
  connection_ = std::make_unique<FpmConnection>(std::move(socket), counts.frames, counts.skips);
  skipsBefore_ = counts.skips;
  messagesBefore_ = counts.messages;
  ++status_.connections;
  status_.peer = connection_->peer();
  status_.since = Clock::now();
  log_.info(fmt::format("connection from {}", connection_->peer()));
  silence_.cancel();
  isNew_ = true;
  connection_->read();
}

void TcpFpmServer::end() {
  status_.bytes += connection_->bytes();
  connection_.reset();
  status_.peer.reset();
  status_.since = Clock::now();
  silence_.cancel();
  // What was not said again by now is left for the next connection to say.
  if (phase_ == Phase::waiting) phase_ = Phase::steady;
  if (next_) begin(std::move(*std::exchange(next_, std::nullopt)));
}

void TcpFpmServer::drop(std::string const& why) {
  if (connection_->isInFrame()) agent_.frameEnds();
  log_.info(fmt::format("dropped {}: {}, after {} bytes and {} messages; the tables stay",
                        connection_->peer(), why, connection_->bytes(),
                        agent_.streamCounts().messages - messagesBefore_));
  if (connection_->isOver() && connection_->queued() > 0) {
    log_.warning(fmt::format("{} bytes of a frame that was not complete are left out",
                             connection_->queued()));
  }
  logSkipped();
  end();
}

void TcpFpmServer::logSkipped() const {
  Fpm::SkipCounts const& skips = agent_.streamCounts().skips;
  auto const more = [&](auto counts) { return sum(skips.*counts) - sum(skipsBefore_.*counts); };
  std::uint64_t const frames = more(&Fpm::SkipCounts::frameTypes);
  std::uint64_t const messages = more(&Fpm::SkipCounts::messageTypes);
  std::uint64_t const routes = more(&Fpm::SkipCounts::routeFamilies);
  if (frames + messages + routes == 0) return;
  log_.warning(
      fmt::format("{} frames and {} messages of unknown types and {} routes of other "
                  "families were left out",
                  frames, messages, routes));
}

void TcpFpmServer::runSlice() {
  if (phase_ == Phase::sweeping) sweepSlice();
  // A removal that has begun goes first.
  if (isNew_ && phase_ != Phase::sweeping && phase_ != Phase::marking) {
    phase_ = Phase::marking;
    agent_.mark();
  }
  if (phase_ == Phase::marking && agent_.markSlice(Deadline(kSliceTime))) marked();
  if (connection_ && !isNew_) readSlice();
}

bool TcpFpmServer::busy() const {
  if (phase_ == Phase::marking || phase_ == Phase::sweeping) return true;
  // One that waited begins within the slice that ended the one before: nothing else would wake the
  // loop for its marking.
  return connection_ && (isNew_ || connection_->hasMore() || connection_->ended());
}

void TcpFpmServer::marked() {
  isNew_ = false;
  stale_ = agent_.mapping().stale();
  if (!stale_.empty()) {
    log_.info(
        fmt::format("resynchronising: {} routes, {} groups and {} next hops are to be "
                    "announced again",
                    stale_.routes, stale_.groups, stale_.hops));
  }
  // A connection that was dropped meanwhile is not waited for.
  phase_ = connection_ ? Phase::waiting : Phase::steady;
  lastMessage_ = Clock::now();
  latestSweep_ = lastMessage_ + ServeOptions::kMostHolds * hold_;
  if (connection_) watchSilence(lastMessage_ + hold_);
}

void TcpFpmServer::readSlice() {
  Deadline const deadline(kSliceTime);
  StreamCounts& counts = agent_.streamCounts();
  auto const frameEnds = [this] { agent_.frameEnds(); };
  try {
    // Who is behind with a message is given no further one.
    for (std::uint32_t i = 0; i < slice_ && !deadline.isOver() && !agent_.isBehind(); ++i) {
      std::optional<Fpm::Message> const message = connection_->next(frameEnds);
      if (!message) break;
      ++counts.messages;
      lastMessage_ = Clock::now();
      agent_.messageIs(*message);
    }
  } catch (Fpm::StreamError const& error) {
    ++status_.faults;
    log_.error(fmt::format("fault in the stream of {}: {}", connection_->peer(), error.what()));
    drop("ended because of that");
    return;
  }
  connection_->read();
  if (connection_->isOver()) drop(*connection_->ended());
}

// Looks once the silence may be long enough: a message moves its end, and nobody looks for that.
void TcpFpmServer::watchSilence(Clock::time_point until) {
  silence_.expires_at(until);
  silence_.async_wait([alive = std::weak_ptr(alive_)](asio::error_code error) {
    auto const server = alive.lock();
    if (server && !error) (*server)->silent();
  });
}

void TcpFpmServer::silent() {
  if (phase_ != Phase::waiting) return;
  // What is there and not read is no silence.
  Clock::time_point const now = Clock::now();
  Clock::time_point const silence = (connection_->hasMore() ? now : lastMessage_) + hold_;
  Clock::time_point const end = std::min(silence, latestSweep_);
  if (end > now) {
    watchSilence(end);
    return;
  }
  phase_ = Phase::sweeping;
  agent_.sweep();
}

void TcpFpmServer::sweepSlice() {
  if (!agent_.sweepSlice(Deadline(kSliceTime))) return;
  phase_ = Phase::steady;
  IngressNextHops::Held const& before = agent_.mapping().ingress().heldCounts();
  if (!std::exchange(isReleased_, true) && before.found > 0) {
    log_.info(
        fmt::format("of {} next hops from before the restart {} were asked for again and {} "
                    "removed",
                    before.found, before.claimed, before.released));
  }
  if (stale_.empty()) return;
  Mapping::Stale const swept = agent_.mapping().swept();
  log_.info(fmt::format(
      "resynchronised: {} routes were announced again or withdrawn; swept {} routes, {} groups and "
      "{} next hops",
      stale_.routes - swept.routes, swept.routes, swept.groups, swept.hops));
  stale_ = {};
}

TcpFpmServer::Status TcpFpmServer::status() const {
  Status status = status_;
  if (connection_) {
    status.bytes += connection_->bytes();
    status.queued = connection_->queued();
    status.lag = connection_->lag();
  }
  // Also while nobody is connected: what is stale then waits for the next connection.
  status.resynchronising = isNew_ || phase_ == Phase::sweeping || !agent_.mapping().stale().empty();
  status.stale = agent_.mapping().routes().stale();
  status.swept = agent_.mapping().routes().counts().swept;
  return status;
}

void TcpFpmServer::resync() {
  if (connection_) drop("asked to, so that it says everything again");
}

}  // namespace OrviaL3Agent
