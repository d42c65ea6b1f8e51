// One connection of a routing daemon: takes bytes from its socket as soon as there are any, and
// hands them out as messages.
//
//   FpmConnection connection(std::move(socket), skips);
//   connection.read();                    // from here on, whenever there is something
//   while (auto message = connection.next()) ...   // throws Fpm::StreamError
//   if (connection.isOver()) ...          // the peer has gone, and all whole frames are read
//
// The queue between the two is bounded: with that many bytes unread the socket is left alone.
//
// Threading: the loop's thread. Ownership: owns the socket and the queue; what the socket still has
// to tell is no harm after its end.
#pragma once

#include <asio/ip/tcp.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/fpm/FrameReader.h"
#include "agent/fpm/MessageReader.h"
#include "agent/fpm/SkipCounts.h"
#include "agent/serve/ArrivalTimes.h"

namespace OrviaL3Agent {

class FpmConnection {
 public:
  // More than the largest frame, so that one always gets forward.
  static constexpr std::size_t kQueue = std::size_t{256} * 1024;

  // `frames`: counts them. Both counters must outlive this.
  FpmConnection(asio::ip::tcp::socket socket, std::uint64_t& frames, Fpm::SkipCounts& skips);
  ~FpmConnection();
  FpmConnection(FpmConnection const&) = delete;
  FpmConnection& operator=(FpmConnection const&) = delete;

  // Takes from the socket what is there, and whatever comes while the queue has room.
  void read();

  // The next message; nothing while the next frame is not complete. `frameEnds` is called behind
  // the last message of a frame. Throws Fpm::StreamError.
  [[nodiscard]] std::optional<Fpm::Message> next(std::function<void()> const& frameEnds);
  // Whether the middle of a frame is reached: its end has not been told.
  [[nodiscard]] bool isInFrame() const { return messages_.has_value(); }
  // Whether next() has something to do.
  [[nodiscard]] bool hasMore() const { return isInFrame() || mayHaveFrame_; }

  // Why nothing more comes from the peer; nothing while it may.
  [[nodiscard]] std::optional<std::string> const& ended() const { return ended_; }
  [[nodiscard]] bool isOver() const { return ended() && !hasMore(); }
  // Whether the peer has gone, even where its last bytes have not been taken from the socket.
  [[nodiscard]] bool peerHasGone() const;

  [[nodiscard]] std::string const& peer() const { return peer_; }
  [[nodiscard]] std::uint64_t bytes() const { return bytes_; }
  [[nodiscard]] std::size_t queued() const { return reader_.pending(); }
  // Since the arrival of the oldest bytes that no message has come of.
  [[nodiscard]] std::chrono::microseconds lag() const;

 private:
  static constexpr std::size_t kPiece = std::size_t{64} * 1024;

  // What a read that is under way fills, for as long as it is, whatever becomes of the connection.
  struct State {
    State(FpmConnection* connection, asio::ip::tcp::socket connected)
        : owner(connection), socket(std::move(connected)), piece(kPiece) {}

    FpmConnection* owner;  // none once the connection has ended
    asio::ip::tcp::socket socket;
    std::vector<std::byte> piece;
  };

  void took(std::size_t bytes, asio::error_code error);

  std::string peer_;
  std::shared_ptr<State> state_;
  std::uint64_t& frames_;
  Fpm::SkipCounts& skips_;
  Fpm::FrameReader reader_;
  std::optional<Fpm::MessageReader> messages_;  // of the current frame
  ArrivalTimes arrivals_;
  bool isReading_ = false;
  bool mayHaveFrame_ = false;
  std::uint64_t bytes_ = 0;
  std::optional<std::string> ended_;
};

// "127.0.0.1:40312" or "[::1]:40312"; "unknown" for a socket that is not connected any longer.
[[nodiscard]] std::string peerOf(asio::ip::tcp::socket const& socket);
[[nodiscard]] std::string textOf(asio::ip::tcp::endpoint const& endpoint);

}  // namespace OrviaL3Agent
