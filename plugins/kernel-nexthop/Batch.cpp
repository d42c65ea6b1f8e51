#include "plugins/kernel-nexthop/Batch.h"

#include <libmnl/libmnl.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace KernelNextHop {
namespace {

// Enough for any of the messages but for a group's members.
constexpr std::size_t kRoom = 256;

constexpr unsigned kWrite = NLM_F_REQUEST | NLM_F_ACK | NLM_F_CREATE;
constexpr unsigned kDelete = NLM_F_REQUEST | NLM_F_ACK;
constexpr unsigned kDump = NLM_F_REQUEST | NLM_F_DUMP;

std::size_t addressLength(Family family) { return family == AF_INET ? 4 : 16; }

template <class Header>
Header& extra(nlmsghdr* message) {
  return *static_cast<Header*>(mnl_nlmsg_put_extra_header(message, sizeof(Header)));
}

}  // namespace

nlmsghdr* Batch::start(std::uint32_t seq, std::uint16_t type, unsigned flags, std::size_t room) {
  if (bytes_.size() < used_ + room) bytes_.resize(2 * (used_ + room));
  nlmsghdr* const message = mnl_nlmsg_put_header(bytes_.data() + used_);
  message->nlmsg_type = type;
  message->nlmsg_flags = static_cast<std::uint16_t>(flags);
  message->nlmsg_seq = seq;
  return message;
}

void Batch::end(nlmsghdr const* message) {
  used_ += MNL_ALIGN(message->nlmsg_len);
  ++requests_;
}

void Batch::nextHop(std::uint32_t seq, std::uint32_t id, NextHop const& nextHop,
                    std::uint8_t protocol) {
  nlmsghdr* const message = start(seq, RTM_NEWNEXTHOP, kWrite | NLM_F_REPLACE, kRoom);
  auto& header = extra<nhmsg>(message);
  header.nh_family = nextHop.family;
  header.nh_protocol = protocol;
  header.nh_flags = nextHop.onlink ? RTNH_F_ONLINK : 0U;
  mnl_attr_put_u32(message, NHA_ID, id);
  mnl_attr_put_u32(message, NHA_OIF, nextHop.interface);
  if (nextHop.hasGateway) {
    mnl_attr_put(message, NHA_GATEWAY, addressLength(nextHop.family), nextHop.gateway.data());
  }
  end(message);
}

void Batch::group(std::uint32_t seq, std::uint32_t id, std::vector<GroupMember> const& members,
                  std::uint8_t protocol) {
  std::vector<nexthop_grp> list;
  list.reserve(members.size());
  for (GroupMember const& member : members) {
    std::uint32_t const stored = member.weight - 1;
    nexthop_grp entry{};
    entry.id = member.id;
    entry.weight = static_cast<std::uint8_t>(stored & 0xFFU);
    // The upper half, for the kernels that have one; the others want 0 there.
    entry.resvd1 = static_cast<std::uint8_t>(stored >> 8U);
    list.push_back(entry);
  }
  std::size_t const bytes = list.size() * sizeof(nexthop_grp);
  nlmsghdr* const message = start(seq, RTM_NEWNEXTHOP, kWrite | NLM_F_REPLACE, kRoom + bytes);
  auto& header = extra<nhmsg>(message);
  header.nh_family = AF_UNSPEC;
  header.nh_protocol = protocol;
  mnl_attr_put_u32(message, NHA_ID, id);
  mnl_attr_put(message, NHA_GROUP, bytes, list.data());
  end(message);
}

void Batch::objectDel(std::uint32_t seq, std::uint32_t id) {
  nlmsghdr* const message = start(seq, RTM_DELNEXTHOP, kDelete, kRoom);
  extra<nhmsg>(message).nh_family = AF_UNSPEC;
  mnl_attr_put_u32(message, NHA_ID, id);
  end(message);
}

nlmsghdr* Batch::routeStart(std::uint32_t seq, std::uint16_t type, unsigned flags,
                            Route const& route, std::uint8_t protocol) {
  nlmsghdr* const message = start(seq, type, flags, kRoom);
  auto& header = extra<rtmsg>(message);
  header.rtm_family = route.family;
  header.rtm_dst_len = route.length;
  header.rtm_protocol = protocol;
  header.rtm_table = static_cast<std::uint8_t>(route.table < 256 ? route.table : RT_TABLE_UNSPEC);
  mnl_attr_put_u32(message, RTA_TABLE, route.table);
  mnl_attr_put(message, RTA_DST, addressLength(route.family), route.prefix.data());
  if (route.priority != 0) mnl_attr_put_u32(message, RTA_PRIORITY, route.priority);
  return message;
}

void Batch::route(std::uint32_t seq, Route const& route, std::uint32_t way, std::uint8_t protocol,
                  bool replace) {
  unsigned const how = replace ? NLM_F_REPLACE : NLM_F_EXCL;
  nlmsghdr* const message = routeStart(seq, RTM_NEWROUTE, kWrite | how, route, protocol);
  auto& header = *static_cast<rtmsg*>(mnl_nlmsg_get_payload(message));
  header.rtm_scope = RT_SCOPE_UNIVERSE;
  header.rtm_type = way == kBlackhole ? RTN_BLACKHOLE : RTN_UNICAST;
  if (way != kBlackhole) mnl_attr_put_u32(message, RTA_NH_ID, way);
  end(message);
}

void Batch::routeDel(std::uint32_t seq, Route const& route, std::uint8_t protocol) {
  nlmsghdr* const message = routeStart(seq, RTM_DELROUTE, kDelete, route, protocol);
  // Whatever it leads to.
  static_cast<rtmsg*>(mnl_nlmsg_get_payload(message))->rtm_scope = RT_SCOPE_NOWHERE;
  end(message);
}

void Batch::objects(std::uint32_t seq) {
  nlmsghdr* const message = start(seq, RTM_GETNEXTHOP, kDump, kRoom);
  extra<nhmsg>(message).nh_family = AF_UNSPEC;
  end(message);
}

void Batch::routes(std::uint32_t seq, Family family, std::uint8_t protocol) {
  nlmsghdr* const message = start(seq, RTM_GETROUTE, kDump, kRoom);
  auto& header = extra<rtmsg>(message);
  header.rtm_family = family;
  header.rtm_protocol = protocol;
  end(message);
}

}  // namespace KernelNextHop
