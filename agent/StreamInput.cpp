#include "agent/StreamInput.h"

#include <utility>

namespace OrviaL3Agent {

StreamInput::StreamInput(std::string const& path, std::uint32_t slice,
                         std::optional<std::uint64_t> until, StreamCounts& counts,
                         Consumer consumer)
    : file_(path), slice_(slice), until_(until), counts_(counts), consumer_(std::move(consumer)) {}

std::optional<Fpm::Message> StreamInput::nextMessage() {
  for (;;) {
    if (messages_) {
      if (auto message = messages_->next()) return message;
      messages_.reset();
    }
    std::optional<Fpm::Frame> const frame = file_.next();
    if (!frame) return std::nullopt;
    ++counts_.frames;
    messages_.emplace(*frame, counts_.skips);
  }
}

void StreamInput::runSlice() {
  if (done_) return;
  try {
    for (std::uint32_t i = 0; i < slice_; ++i) {
      if (until_ && counts_.messages >= *until_) {
        done_ = true;
        return;
      }
      std::optional<Fpm::Message> const message = nextMessage();
      if (!message) {
        done_ = true;
        return;
      }
      ++counts_.messages;
      consumer_(*message);
    }
  } catch (Fpm::StreamError const& error) {
    error_ = error;
    done_ = true;
  } catch (...) {
    done_ = true;
    throw;
  }
}

}  // namespace OrviaL3Agent
