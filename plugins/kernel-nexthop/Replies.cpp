#include "plugins/kernel-nexthop/Replies.h"

#include <libmnl/libmnl.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cstring>
#include <system_error>

namespace KernelNextHop {
namespace {

// Calls function(type, attribute) for what follows the header of `offset` bytes.
template <class Function>
void forEach(nlmsghdr const& message, std::size_t offset, Function&& function) {
  auto const* attribute =
      static_cast<nlattr const*>(mnl_nlmsg_get_payload_offset(&message, offset));
  char const* const end = static_cast<char const*>(mnl_nlmsg_get_payload_tail(&message));
  for (; mnl_attr_ok(attribute, static_cast<int>(end - reinterpret_cast<char const*>(attribute)));
       attribute = mnl_attr_next(attribute)) {
    function(mnl_attr_get_type(attribute), *attribute);
  }
}

std::uint32_t numberOf(nlattr const& attribute) {
  std::uint32_t number = 0;
  std::memcpy(&number, mnl_attr_get_payload(&attribute),
              std::min<std::size_t>(sizeof number, mnl_attr_get_payload_len(&attribute)));
  return number;
}

AddressBytes addressOf(nlattr const& attribute) {
  AddressBytes bytes{};
  std::memcpy(bytes.data(), mnl_attr_get_payload(&attribute),
              std::min<std::size_t>(bytes.size(), mnl_attr_get_payload_len(&attribute)));
  return bytes;
}

std::vector<GroupMember> membersOf(nlattr const& attribute) {
  std::vector<GroupMember> members;
  auto const* const bytes = static_cast<char const*>(mnl_attr_get_payload(&attribute));
  std::size_t const count = mnl_attr_get_payload_len(&attribute) / sizeof(nexthop_grp);
  members.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    nexthop_grp entry;
    std::memcpy(&entry, bytes + i * sizeof entry, sizeof entry);
    std::uint32_t const stored = entry.weight + (std::uint32_t{entry.resvd1} << 8U);
    members.push_back({entry.id, stored + 1});
  }
  return members;
}

}  // namespace

std::optional<Reply> replyOf(nlmsghdr const& message) {
  if (message.nlmsg_type != NLMSG_ERROR || mnl_nlmsg_get_payload_len(&message) < sizeof(nlmsgerr))
    return std::nullopt;
  auto const& error = *static_cast<nlmsgerr const*>(mnl_nlmsg_get_payload(&message));
  Reply reply{-error.error, {}};
  if (reply.error == 0) return reply;
  if ((message.nlmsg_flags & NLM_F_ACK_TLVS) != 0) {
    // Behind the request, of which the kernel repeats the header only where it was told to.
    std::size_t offset = sizeof(nlmsgerr);
    if ((message.nlmsg_flags & NLM_F_CAPPED) == 0) {
      offset += std::max<std::size_t>(error.msg.nlmsg_len, sizeof(nlmsghdr)) - sizeof(nlmsghdr);
    }
    forEach(message, offset, [&](std::uint16_t type, nlattr const& attribute) {
      if (type != NLMSGERR_ATTR_MSG) return;
      auto const* const words = static_cast<char const*>(mnl_attr_get_payload(&attribute));
      reply.text.assign(words, strnlen(words, mnl_attr_get_payload_len(&attribute)));
    });
  }
  if (reply.text.empty()) reply.text = std::generic_category().message(reply.error);
  return reply;
}

std::optional<DumpedObject> objectOf(nlmsghdr const& message) {
  if (message.nlmsg_type != RTM_NEWNEXTHOP || mnl_nlmsg_get_payload_len(&message) < sizeof(nhmsg))
    return std::nullopt;
  auto const& header = *static_cast<nhmsg const*>(mnl_nlmsg_get_payload(&message));
  DumpedObject object;
  object.nextHop.family = header.nh_family;
  object.nextHop.onlink = (header.nh_flags & RTNH_F_ONLINK) != 0;
  forEach(message, sizeof(nhmsg), [&](std::uint16_t type, nlattr const& attribute) {
    if (type == NHA_ID) object.id = numberOf(attribute);
    if (type == NHA_OIF) object.nextHop.interface = numberOf(attribute);
    if (type == NHA_GATEWAY) {
      object.nextHop.hasGateway = true;
      object.nextHop.gateway = addressOf(attribute);
    }
    if (type == NHA_GROUP) {
      object.isGroup = true;
      object.members = membersOf(attribute);
    }
  });
  return object;
}

std::optional<DumpedRoute> routeOf(nlmsghdr const& message) {
  if (message.nlmsg_type != RTM_NEWROUTE || mnl_nlmsg_get_payload_len(&message) < sizeof(rtmsg))
    return std::nullopt;
  auto const& header = *static_cast<rtmsg const*>(mnl_nlmsg_get_payload(&message));
  DumpedRoute dumped;
  dumped.route.table = header.rtm_table;
  dumped.route.family = header.rtm_family;
  dumped.route.length = header.rtm_dst_len;
  dumped.protocol = header.rtm_protocol;
  if (header.rtm_type == RTN_BLACKHOLE) dumped.way = kBlackhole;
  forEach(message, sizeof(rtmsg), [&](std::uint16_t type, nlattr const& attribute) {
    if (type == RTA_TABLE) dumped.route.table = numberOf(attribute);
    if (type == RTA_PRIORITY) dumped.route.priority = numberOf(attribute);
    if (type == RTA_DST) dumped.route.prefix = addressOf(attribute);
    if (type == RTA_NH_ID) dumped.way = numberOf(attribute);
  });
  return dumped;
}

}  // namespace KernelNextHop
