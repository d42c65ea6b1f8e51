// What is wrong with a stream, and where.
//
// The one error type of the whole input side: frames, netlink messages and attributes. `offset()`
// counts bytes from the start of the stream, so that a reader of the message can find the place
// with a hex dump, and `what()` holds both the offset and the reason. Input that is merely unknown
// (an attribute or a message type of a newer peer) is no error: it is skipped and counted
// (SkipCounts.h).
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace OrviaL3Agent::Fpm {

class StreamError : public std::runtime_error {
 public:
  StreamError(std::uint64_t offset, std::string const& reason)
      : std::runtime_error("offset " + std::to_string(offset) + ": " + reason),
        offset_(offset),
        reason_(reason) {}

  [[nodiscard]] std::uint64_t offset() const noexcept { return offset_; }
  [[nodiscard]] std::string const& reason() const noexcept { return reason_; }

 private:
  std::uint64_t offset_;
  std::string reason_;
};

}  // namespace OrviaL3Agent::Fpm
