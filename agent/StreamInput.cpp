#include "agent/StreamInput.h"

namespace OrviaL3Agent {

StreamInput::StreamInput(std::string const& path, std::uint32_t slice,
                         std::optional<std::uint64_t> until, StreamCounts& counts,
                         Consumer& consumer)
    : file_(path), slice_(slice), until_(until), counts_(counts), consumer_(consumer) {}

std::optional<Fpm::Message> StreamInput::nextMessage() {
  for (;;) {
    if (messages_) {
      if (auto message = messages_->next()) return message;
      messages_.reset();
      consumer_.frameEnds();
    }
    std::optional<Fpm::Frame> const frame = file_.next();
    if (!frame) return std::nullopt;
    ++counts_.frames;
    messages_.emplace(*frame, counts_.skips);
  }
}

// Nothing more comes: what the last frame was about to say is not awaited.
void StreamInput::finish() {
  done_ = true;
  if (messages_) consumer_.frameEnds();
  messages_.reset();
  consumer_.messagesHandled(counts_.messages);
}

void StreamInput::runSlice() {
  if (done_) return;
  try {
    for (std::uint32_t i = 0; i < slice_; ++i) {
      if (until_ && counts_.messages >= *until_) {
        finish();
        return;
      }
      std::optional<Fpm::Message> const message = nextMessage();
      if (!message) {
        complete_ = true;
        finish();
        return;
      }
      consumer_.messagesHandled(counts_.messages);
      ++counts_.messages;
      consumer_.messageIs(*message);
    }
  } catch (Fpm::StreamError const& error) {
    error_ = error;
    finish();
  } catch (...) {
    done_ = true;
    throw;
  }
}

}  // namespace OrviaL3Agent
