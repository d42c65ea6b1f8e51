// The routing daemon's connection over TCP.
//
//   TcpFpmServer server(io, agent, options, log);
//   agent.inputIs(&server);
//   ...
//   agent.loop().sourceDel(&server);
//
// Listens for one connection at a time; another one is closed as soon as it is accepted, unless the
// peer of the first has gone already and what it said before only waits to be read. What arrives is
// taken from the socket at once, as long as a bounded queue has room, and read as messages a slice
// per turn. A connection ends when its peer ends it, after all whole frames are read, or at what
// cannot be read as a frame or message.
//
// At the beginning of a connection all that was said before becomes stale, a slice per turn;
// reading begins after that. When the connection has been silent for the hold time, or has lasted
// for many hold times without such a silence, what is still stale is removed, a slice per turn, and
// reading goes on meanwhile. A removal that has begun is
// finished whatever becomes of the connection. The hold time runs on a connection only: a daemon
// that goes away before it has said all removes nothing.
//
// Threading: the loop's thread. Ownership: refers to the io, the agent and the log, which must
// outlive it.
#pragma once

#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "agent/Agent.h"
#include "agent/serve/FpmConnection.h"
#include "agent/serve/FpmServer.h"
#include "agent/serve/Io.h"
#include "agent/serve/Log.h"
#include "agent/serve/ServeOptions.h"

namespace OrviaL3Agent {

class TcpFpmServer final : public FpmServer {
 public:
  // Throws std::runtime_error that names the address when it cannot be listened at.
  TcpFpmServer(Io& io, Agent& agent, ServeOptions const& options, Log const& log);
  ~TcpFpmServer() override;
  TcpFpmServer(TcpFpmServer const&) = delete;
  TcpFpmServer& operator=(TcpFpmServer const&) = delete;

  void runSlice() override;
  [[nodiscard]] bool busy() const override;

  [[nodiscard]] Status status() const override;
  void resync() override;

 private:
  using Clock = std::chrono::steady_clock;
  using Socket = asio::ip::tcp::socket;

  // What follows the beginning of a connection.
  enum class Phase {
    steady,
    marking,   // what was there becomes stale
    waiting,   // for the silence of the hold time, or the latest time
    sweeping,  // what is still stale is removed
  };

  void accept();
  void accepted(Socket socket);
  void cannotAccept(std::string const& why);
  void begin(Socket socket);
  // Ends the connection, and begins the next one if it waits.
  void end();
  void marked();
  void readSlice();
  void drop(std::string const& why);
  void watchSilence(Clock::time_point until);
  void silent();
  void sweepSlice();
  void logSkipped() const;

  Agent& agent_;
  Log const& log_;
  std::chrono::milliseconds hold_;
  std::uint32_t slice_;
  asio::ip::tcp::acceptor acceptor_;
  asio::steady_timer silence_;
  asio::steady_timer acceptAgain_;
  std::shared_ptr<TcpFpmServer*> alive_;  // handlers that come later find nobody
  std::unique_ptr<FpmConnection> connection_;
  std::optional<Socket> next_;
  Phase phase_ = Phase::steady;
  bool isNew_ = false;       // the connection is not read before all of before is marked
  Mapping::Stale stale_;     // at the end of the marking
  bool isReleased_ = false;  // what was left from before a restart
  Clock::time_point lastMessage_;
  Clock::time_point latestSweep_;  // of what is stale, however much is said
  Fpm::SkipCounts skipsBefore_;
  std::uint64_t messagesBefore_ = 0;
  Status status_;
};

}  // namespace OrviaL3Agent
