#include "agent/control/ControlClient.h"

#include <poll.h>

#include <asio/buffer.hpp>
#include <asio/write.hpp>
#include <stdexcept>
#include <utility>

#include "agent/CommandLine.h"
#include "agent/control/Requests.h"

namespace OrviaL3Agent::Control {
namespace {

// Whether the other side has closed the socket, and not only its half.
bool isGone(ControlClient::Socket& socket) {
  pollfd state{socket.native_handle(), 0, 0};
  return ::poll(&state, 1, 0) > 0 && (state.revents & (POLLHUP | POLLERR)) != 0;
}

}  // namespace

ControlClient::ControlClient(Socket socket, Context const& context)
    : socket_(std::move(socket)), context_(context) {}

void ControlClient::start() { read(); }

void ControlClient::refuse(std::string const& why) {
  endIs(kExitStreamError, why);
  closing_ = true;
}

void ControlClient::close() {
  job_.reset();
  asio::error_code ignored;
  socket_.close(ignored);
}

void ControlClient::read() {
  socket_.async_read_some(asio::buffer(buffer_),
                          [self = shared_from_this()](asio::error_code error, std::size_t size) {
                            if (!self->isOpen()) return;
                            if (error) {
                              self->inputEnds();
                            } else {
                              self->bytesAre(size);
                            }
                          });
}

void ControlClient::bytesAre(std::size_t size) {
  received_.append(buffer_.data(), size);
  if (received_.size() <= kLongestRequest) {
    read();
    return;
  }
  // Nothing further is read: what would come next is not the beginning of a request.
  received_.clear();
  inputEnded_ = true;
  job_.reset();
  refuse("a request, or what is sent before one is answered, is longer than 64 KiB");
}

void ControlClient::inputEnds() {
  inputEnded_ = true;
  // A job that only waits for what may happen would wait for a client that may be gone by then.
  bool const waits = job_ && job_->follows() && !job_->busy();
  if (waits || isGone(socket_)) {
    close();
  } else if (!job_ && !hasRequest()) {
    closing_ = true;
    send();
  }
}

bool ControlClient::canGoOn() const {
  if (!isOpen() || closing_ || queued() > kMostQueued) return false;
  return job_ ? job_->busy() : hasRequest();
}

void ControlClient::startNext() {
  std::size_t const end = received_.find('\n');
  std::string const request = received_.substr(0, end);
  received_.erase(0, end + 1);
  job_ = jobFor(context_, request);
  // Who waits with a limit must not give up what may have nothing to say for long.
  if (job_->follows()) tell({{"follows", true}});
}

void ControlClient::runSlice() {
  try {
    if (!job_) startNext();
    if (job_->runSlice(*this)) {
      job_.reset();
      endIs(kExitOk, {});
    }
  } catch (RequestError const& error) {
    job_.reset();
    endIs(kExitUsage, error.what());
  } catch (std::exception const& error) {
    job_.reset();
    endIs(kExitStreamError, error.what());
  }
  if (inputEnded_ && !job_ && !hasRequest()) closing_ = true;
  send();
}

void ControlClient::tableIs(std::string const& name, std::vector<std::string> const& columns) {
  columns_ = columns.size();
  tell({{"table", {{"name", name}, {"columns", columns}}}});
}

void ControlClient::row(Json values) {
  if (!values.is_array() || values.size() != columns_) {
    throw std::logic_error("a row with another number of values than its table has columns");
  }
  Json message;
  message["row"] = std::move(values);
  tell(message);
}

void ControlClient::object(std::string const& name, Json value) {
  Json message;
  message["object"] = {{"name", name}, {"value", std::move(value)}};
  tell(message);
}

void ControlClient::line(std::string const& text) { tell({{"line", text}}); }

void ControlClient::endIs(int exitCode, std::string const& error) {
  Json end{{"exit", exitCode}};
  if (!error.empty()) end["error"] = error;
  tell({{"end", std::move(end)}});
  send();
}

void ControlClient::tell(Json const& message) {
  // What is no UTF-8 is replaced: names come from outside.
  toSend_ += message.dump(-1, ' ', false, Json::error_handler_t::replace);
  toSend_ += '\n';
}

void ControlClient::send() {
  if (!sending_.empty() || !isOpen()) return;
  if (toSend_.empty()) {
    if (closing_) close();
    return;
  }
  sending_.swap(toSend_);
  asio::async_write(socket_, asio::buffer(sending_),
                    [self = shared_from_this()](asio::error_code error, std::size_t) {
                      if (!self->isOpen()) return;
                      self->sending_.clear();
                      if (error) {
                        self->close();
                      } else {
                        self->send();
                      }
                    });
}

}  // namespace OrviaL3Agent::Control
