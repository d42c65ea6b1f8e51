// Reads the netlink messages of one frame, one after the other.
//
//   MessageReader messages(frame, skips);
//   while (auto message = messages.next()) std::visit(..., message->content);
//
// A frame may hold several messages (a changed route is a withdrawal and an announcement in one
// frame). Each is handed out before the next one is looked at, so everything before a malformed
// message is delivered. Lengths inside a message come from the other side and are trusted nowhere:
// every message has to fit its frame, every attribute its message, and the payload of every
// attribute that is used has to have the size that its meaning asks for; otherwise StreamError
// names the offset of the message or attribute. Attributes that are not used are skipped and
// counted, whatever their size. An attribute that comes twice counts with its last value, as in the
// kernel.
//
// Threading: one thread. Ownership: the reader refers to the frame's payload and to the counters;
// both must outlive it. The messages it returns are independent values.
#pragma once

#include <cstdint>
#include <optional>

#include "agent/fpm/FrameReader.h"
#include "agent/fpm/Messages.h"
#include "agent/fpm/SkipCounts.h"

struct nlmsghdr;

namespace OrviaL3Agent::Fpm {

class MessageReader {
 public:
  MessageReader(Frame const& frame, SkipCounts& skips);

  // The next message, or nothing at the end of the frame. Throws StreamError.
  [[nodiscard]] std::optional<Message> next();

 private:
  [[nodiscard]] nlmsghdr const* header();

  Frame frame_;
  SkipCounts& skips_;
  std::size_t position_ = 0;  // in the payload
};

}  // namespace OrviaL3Agent::Fpm
