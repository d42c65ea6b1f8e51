#include "agent/fpm/MessageReader.h"

#include <fmt/format.h>
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include "agent/fpm/MessageBodies.h"

namespace OrviaL3Agent::Fpm {

MessageReader::MessageReader(Frame const& frame, SkipCounts& skips) : frame_(frame), skips_(skips) {
  if (frame_.type != kFrameTypeNetlink) {
    ++skips_.frameTypes[frame_.type];
    position_ = frame_.payload.size();
  }
}

nlmsghdr const* MessageReader::header() {
  std::size_t const left = frame_.payload.size() - position_;
  std::uint64_t const offset = frame_.payloadOffset() + position_;
  if (left < sizeof(nlmsghdr)) {
    throw StreamError(offset, fmt::format("{} bytes are too few for the netlink header of {} bytes",
                                          left, sizeof(nlmsghdr)));
  }
  auto const* header = reinterpret_cast<nlmsghdr const*>(frame_.payload.data() + position_);
  // The first test is not redundant: mnl_nlmsg_ok compares the length as a signed number, so a
  // length with the top bit set would pass it.
  if (header->nlmsg_len > left || !mnl_nlmsg_ok(header, static_cast<int>(left))) {
    throw StreamError(
        offset,
        header->nlmsg_len < sizeof(nlmsghdr)
            ? fmt::format("netlink message of {} bytes is smaller than its header of {} bytes",
                          header->nlmsg_len, sizeof(nlmsghdr))
            : fmt::format("netlink message of {} bytes does not fit into the remaining {} of "
                          "its frame",
                          header->nlmsg_len, left));
  }
  return header;
}

std::optional<Message> MessageReader::next() {
  if (position_ >= frame_.payload.size()) return std::nullopt;
  nlmsghdr const* nlh = header();
  Message message;
  message.offset = frame_.payloadOffset() + position_;
  Area const body(
      frame_.payload.subspan(position_ + MNL_NLMSG_HDRLEN, nlh->nlmsg_len - MNL_NLMSG_HDRLEN),
      message.offset + MNL_NLMSG_HDRLEN);
  switch (nlh->nlmsg_type) {
    case RTM_NEWNEXTHOP:
      message.content = newNextHop(body, skips_);
      break;
    case RTM_DELNEXTHOP:
      message.content = delNextHop(body, skips_);
      break;
    case RTM_NEWROUTE:
      message.content = newRoute(body, nlh->nlmsg_type, skips_);
      break;
    case RTM_DELROUTE:
      message.content = delRoute(body, nlh->nlmsg_type, skips_);
      break;
    default:
      ++skips_.messageTypes[nlh->nlmsg_type];
      message.content = SkippedMessage{nlh->nlmsg_type};
  }
  // The last message of a frame may come without its padding.
  position_ += MNL_ALIGN(nlh->nlmsg_len);
  return message;
}

}  // namespace OrviaL3Agent::Fpm
