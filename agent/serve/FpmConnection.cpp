#include "agent/serve/FpmConnection.h"

#include <fmt/format.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <asio/buffer.hpp>
#include <asio/error.hpp>
#include <span>

namespace OrviaL3Agent {

std::string textOf(asio::ip::tcp::endpoint const& endpoint) {
  std::string const address = endpoint.address().to_string();
  return endpoint.address().is_v6() ? fmt::format("[{}]:{}", address, endpoint.port())
                                    : fmt::format("{}:{}", address, endpoint.port());
}

std::string peerOf(asio::ip::tcp::socket const& socket) {
  asio::error_code error;
  auto const endpoint = socket.remote_endpoint(error);
  return error ? "unknown" : textOf(endpoint);
}

FpmConnection::FpmConnection(asio::ip::tcp::socket socket, std::uint64_t& frames,
                             Fpm::SkipCounts& skips)
    : peer_(peerOf(socket)),
      state_(std::make_shared<State>(this, std::move(socket))),
      frames_(frames),
      skips_(skips) {}

FpmConnection::~FpmConnection() {
  state_->owner = nullptr;
  asio::error_code ignored;
  state_->socket.close(ignored);
}

void FpmConnection::read() {
  if (isReading_ || ended_ || reader_.pending() >= kQueue) return;
  isReading_ = true;
  state_->socket.async_read_some(asio::buffer(state_->piece),
                                 [state = state_](asio::error_code error, std::size_t bytes) {
                                   if (state->owner != nullptr) state->owner->took(bytes, error);
                                 });
}

void FpmConnection::took(std::size_t bytes, asio::error_code error) {
  isReading_ = false;
  if (bytes > 0) {
    bytes_ += bytes;
    reader_.feed(std::span(state_->piece.data(), bytes));
    arrivals_.arrived(bytes, std::chrono::steady_clock::now());
    mayHaveFrame_ = true;
  }
  if (error) ended_ = error == asio::error::eof ? "closed" : error.message();
  read();
}

std::optional<Fpm::Message> FpmConnection::next(std::function<void()> const& frameEnds) {
  for (;;) {
    if (messages_) {
      if (auto message = messages_->next()) return message;
      messages_.reset();
      arrivals_.readUpTo(reader_.offset());
      frameEnds();
    }
    std::optional<Fpm::Frame> const frame = reader_.next();
    if (!frame) {
      mayHaveFrame_ = false;
      return std::nullopt;
    }
    ++frames_;
    messages_.emplace(*frame, skips_);
  }
}

bool FpmConnection::peerHasGone() const {
  if (ended_) return true;
  tcp_info info{};
  socklen_t size = sizeof info;
  int const result =
      ::getsockopt(state_->socket.native_handle(), IPPROTO_TCP, TCP_INFO, &info, &size);
  return result == 0 && (info.tcpi_state == TCP_CLOSE_WAIT || info.tcpi_state == TCP_CLOSE);
}

std::chrono::microseconds FpmConnection::lag() const {
  auto const oldest = arrivals_.oldest();
  if (!oldest) return {};
  return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                               *oldest);
}

}  // namespace OrviaL3Agent
