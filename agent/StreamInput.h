// A recorded stream as a source of the event loop: some messages per turn.
//
//   StreamInput input(path, 16, std::nullopt, counts, consumer);
//   loop.sourceIs(&input);
//
// The consumer hears of every message, of the end of every frame that was begun, and before each
// message how many there have been.
//
// At the end of the stream, after the asked number of messages, or at the first fault of the stream
// it is done for good. A fault is kept for whoever asks; everything before it has reached the
// consumer.
//
// Threading: the loop's thread. Ownership: refers to the counts and the consumer, which must
// outlive it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "agent/EventLoop.h"
#include "agent/StreamCounts.h"
#include "agent/fpm/FrameFile.h"
#include "agent/fpm/MessageReader.h"
#include "agent/fpm/StreamError.h"

namespace OrviaL3Agent {

class StreamInput final : public EventLoop::Source {
 public:
  class Consumer {
   public:
    virtual ~Consumer() = default;
    // Before the next message, and at the end of the stream: so many have been handled.
    virtual void messagesHandled(std::uint64_t messages) = 0;
    virtual void messageIs(Fpm::Message const& message) = 0;
    virtual void frameEnds() = 0;
  };

  // `slice`: messages per turn, at least 1. Throws std::system_error when the file cannot be
  // opened.
  StreamInput(std::string const& path, std::uint32_t slice, std::optional<std::uint64_t> until,
              StreamCounts& counts, Consumer& consumer);

  // Throws std::system_error when the file cannot be read any further.
  void runSlice() override;
  [[nodiscard]] bool busy() const override { return !done_; }

  // Whether all that the stream has to say was heard: no fault, and not stopped before its end.
  [[nodiscard]] bool complete() const { return complete_; }
  [[nodiscard]] std::optional<Fpm::StreamError> const& error() const { return error_; }
  // Bytes of the file, and of the frames read so far.
  [[nodiscard]] std::uint64_t size() const { return file_.size(); }
  [[nodiscard]] std::uint64_t offset() const { return file_.offset(); }

 private:
  [[nodiscard]] std::optional<Fpm::Message> nextMessage();
  void finish();

  Fpm::FrameFile file_;
  std::uint32_t slice_;
  std::optional<std::uint64_t> until_;
  StreamCounts& counts_;
  Consumer& consumer_;
  std::optional<Fpm::MessageReader> messages_;  // of the current frame
  std::optional<Fpm::StreamError> error_;
  bool done_ = false;
  bool complete_ = false;
};

}  // namespace OrviaL3Agent
