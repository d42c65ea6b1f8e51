// One client of the control socket: reads its requests, works on one at a time, and queues what it
// is to be told.
//
//   auto client = std::make_shared<ControlClient>(std::move(socket), context);
//   client->start();
//   if (client->canGoOn()) client->runSlice();
//
// It is told things while it reads them: with a megabyte queued it gets no more slices. A client
// that closes its end of the socket ends its job; one that only says that it will send no more gets
// the rest of its answer.
//
// Threading: the loop's thread. Ownership: owns its socket and job; what waits in the io holds it.
#pragma once

#include <array>
#include <asio/local/stream_protocol.hpp>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "agent/control/Job.h"

namespace OrviaL3Agent::Control {

class ControlClient final : public Answer, public std::enable_shared_from_this<ControlClient> {
 public:
  using Socket = asio::local::stream_protocol::socket;
  static constexpr std::size_t kLongestRequest = std::size_t{64} << 10;
  static constexpr std::size_t kMostQueued = std::size_t{1} << 20;

  ControlClient(Socket socket, Context const& context);

  void start();
  // Tells it why it is not listened to, and closes when it has read that.
  void refuse(std::string const& why);
  // Lets go of the job and the socket. Nothing happens to it afterwards.
  void close();

  [[nodiscard]] bool isOpen() const { return socket_.is_open(); }
  // Whether there is something to do for it that does not wait for itself.
  [[nodiscard]] bool canGoOn() const;
  void runSlice();
  // Bytes that it has not taken yet.
  [[nodiscard]] std::size_t queued() const { return sending_.size() + toSend_.size(); }

  void tableIs(std::string const& name, std::vector<std::string> const& columns) override;
  void row(Json values) override;
  void object(std::string const& name, Json value) override;
  void line(std::string const& text) override;

 private:
  void read();
  void bytesAre(std::size_t size);
  void inputEnds();
  [[nodiscard]] bool hasRequest() const { return received_.find('\n') != std::string::npos; }
  void startNext();
  void endIs(int exitCode, std::string const& error);
  void tell(Json const& message);
  void send();

  Socket socket_;
  Context context_;
  std::array<char, 4096> buffer_{};
  std::string received_;  // not looked at yet
  std::string sending_;
  std::string toSend_;
  std::unique_ptr<Job> job_;
  std::size_t columns_ = 0;  // of the table that is under way
  bool inputEnded_ = false;
  bool closing_ = false;  // when all is sent
};

}  // namespace OrviaL3Agent::Control
