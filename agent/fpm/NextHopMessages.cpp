#include <fmt/format.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "agent/fpm/MessageBodies.h"

namespace OrviaL3Agent::Fpm {
namespace {

std::uint32_t idOf(Attribute const& attribute) {
  std::uint32_t const id = u32Of(attribute, "NHA_ID");
  // Zero asks a kernel to choose an id; a routing daemon that announces one always names it.
  if (id == 0) throw StreamError(attribute.offset, "NHA_ID is 0, which names no next hop");
  return id;
}

std::vector<NextHopGroup::Member> membersOf(Attribute const& attribute) {
  std::span<std::byte const> const bytes = attribute.payload.bytes();
  if (bytes.empty() || bytes.size() % sizeof(nexthop_grp) != 0) {
    wrongSize(attribute, "NHA_GROUP", fmt::format("a multiple of {}", sizeof(nexthop_grp)));
  }
  std::vector<NextHopGroup::Member> members(bytes.size() / sizeof(nexthop_grp));
  for (std::size_t i = 0; i < members.size(); ++i) {
    nexthop_grp member;
    std::memcpy(&member, bytes.data() + i * sizeof member, sizeof member);
    members[i] = {member.id, member.weight};
  }
  return members;
}

struct Parts {
  std::optional<std::uint32_t> id;
  std::optional<std::vector<NextHopGroup::Member>> members;
  bool blackhole = false;
  std::optional<std::uint32_t> interface;
  std::optional<Attribute> gateway;
};

Parts partsOf(Area const& attributes, SkipCounts& skips) {
  Parts parts;
  forEachAttribute(attributes, [&](Attribute const& attribute) {
    switch (attribute.type) {
      case NHA_ID:
        parts.id = idOf(attribute);
        break;
      case NHA_GROUP:
        parts.members = membersOf(attribute);
        break;
      case NHA_BLACKHOLE:
        if (attribute.payload.size() != 0) wrongSize(attribute, "NHA_BLACKHOLE", "0");
        parts.blackhole = true;
        break;
      case NHA_OIF:
        parts.interface = u32Of(attribute, "NHA_OIF");
        if (*parts.interface == 0) {
          throw StreamError(attribute.offset, "NHA_OIF is 0, which names no interface");
        }
        break;
      case NHA_GATEWAY:
        // Its size depends on the message's family, which only a single next hop has.
        parts.gateway = attribute;
        break;
      default:
        ++skips.nextHopAttributes[attribute.type];
    }
  });
  return parts;
}

}  // namespace

Content newNextHop(Area const& body, SkipCounts& skips) {
  auto const header = body.header<nhmsg>("next-hop header");
  Parts const parts = partsOf(body.from(MNL_ALIGN(sizeof(nhmsg))), skips);
  auto const refuse = [&](char const* reason) -> Content {
    throw StreamError(body.offset(), fmt::format("next-hop announcement {}", reason));
  };
  if (!parts.id) return refuse("without NHA_ID");
  bool const single = parts.interface || parts.gateway;
  if (int{parts.members.has_value()} + int{parts.blackhole} + int{single} > 1) {
    return refuse("that is more than one of a group, a blackhole and a single next hop");
  }
  if (parts.members) return NextHopGroup{*parts.id, *parts.members};
  if (parts.blackhole) return BlackholeNextHop{*parts.id};
  if (!parts.interface) return refuse("without NHA_OIF, NHA_GROUP or NHA_BLACKHOLE");
  if (addressSize(header.nh_family) == 0) {
    throw StreamError(body.offset(), fmt::format("single next hop of family {}, expected {} or {}",
                                                 header.nh_family, AF_INET, AF_INET6));
  }
  NextHop nextHop;
  nextHop.id = *parts.id;
  nextHop.family = header.nh_family;
  nextHop.interface = *parts.interface;
  nextHop.onlink = (header.nh_flags & RTNH_F_ONLINK) != 0;
  if (parts.gateway) nextHop.gateway = addressOf(*parts.gateway, "NHA_GATEWAY", header.nh_family);
  return nextHop;
}

Content delNextHop(Area const& body, SkipCounts& skips) {
  (void)body.header<nhmsg>("next-hop header");
  Parts const parts = partsOf(body.from(MNL_ALIGN(sizeof(nhmsg))), skips);
  if (!parts.id) throw StreamError(body.offset(), "next-hop withdrawal without NHA_ID");
  return NextHopWithdrawal{*parts.id};
}

}  // namespace OrviaL3Agent::Fpm
