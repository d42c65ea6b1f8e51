#include <fmt/format.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "agent/fpm/MessageBodies.h"

namespace OrviaL3Agent::Fpm {
namespace {

// A gateway of another family than the route's (an IPv4 route over an IPv6 neighbour) comes as
// RTA_VIA: the family in two bytes, then the address.
Address viaOf(Attribute const& attribute) {
  auto const family = attribute.payload.header<std::uint16_t>("RTA_VIA family");
  std::uint8_t const narrow = family <= 0xFF ? static_cast<std::uint8_t>(family) : std::uint8_t{0};
  Attribute const address{attribute.type, attribute.offset, attribute.payload.from(sizeof family)};
  return addressOf(address, "RTA_VIA address", narrow);
}

std::optional<std::uint32_t> mtuOf(Attribute const& metrics) {
  std::optional<std::uint32_t> mtu;
  forEachAttribute(metrics.payload, [&](Attribute const& metric) {
    // The other metrics tune a host's own connections and mean nothing to a forwarding table.
    if (metric.type == RTAX_MTU) mtu = u32Of(metric, "RTAX_MTU");
  });
  return mtu;
}

Route::Path pathOf(Area const& area, rtnexthop const& header, std::uint8_t family,
                   SkipCounts& skips) {
  Route::Path path;
  path.interface = static_cast<std::uint32_t>(header.rtnh_ifindex);
  path.weightByte = header.rtnh_hops;
  path.onlink = (header.rtnh_flags & RTNH_F_ONLINK) != 0;
  forEachAttribute(area.from(sizeof header), [&](Attribute const& attribute) {
    switch (attribute.type) {
      case RTA_GATEWAY:
        path.gateway = addressOf(attribute, "RTA_GATEWAY", family);
        break;
      case RTA_VIA:
        path.gateway = viaOf(attribute);
        break;
      default:
        ++skips.routeAttributes[attribute.type];
    }
  });
  return path;
}

std::vector<Route::Path> pathsOf(Attribute const& multipath, std::uint8_t family,
                                 SkipCounts& skips) {
  std::vector<Route::Path> paths;
  for (Area area = multipath.payload; area.size() > 0;) {
    auto const header = area.header<rtnexthop>("path of RTA_MULTIPATH");
    std::size_t const length = header.rtnh_len;
    if (length < sizeof header || length > area.size()) {
      throw StreamError(
          area.offset(),
          fmt::format("path of {} bytes does not fit into the remaining {} of RTA_MULTIPATH",
                      length, area.size()));
    }
    paths.push_back(pathOf(area.first(length), header, family, skips));
    area = area.from(RTNH_ALIGN(length));
  }
  return paths;
}

Prefix prefixOf(Area const& body, rtmsg const& header,
                std::optional<Attribute> const& destination) {
  std::size_t const size = addressSize(header.rtm_family);
  if (header.rtm_dst_len > 8 * size) {
    throw StreamError(body.offset(),
                      fmt::format("prefix length {} is too long for {}", header.rtm_dst_len,
                                  familyText(header.rtm_family)));
  }
  Prefix prefix;
  prefix.length = header.rtm_dst_len;
  prefix.address.family = header.rtm_family;
  if (destination && destination->payload.size() > 0) {
    prefix.address = addressOf(*destination, "RTA_DST", header.rtm_family);
  } else if (prefix.length > 0) {
    // Only a default route may leave its address out.
    throw StreamError(destination ? destination->offset : body.offset(),
                      fmt::format("route of prefix length {} without an address", prefix.length));
  }
  return prefix;
}

Route routeOf(Area const& body, rtmsg const& header, SkipCounts& skips) {
  Route route;
  route.table = header.rtm_table;
  route.protocol = header.rtm_protocol;
  route.type = header.rtm_type;
  std::optional<Attribute> destination;
  std::optional<std::uint32_t> interface;
  std::optional<Address> gateway;
  std::optional<std::vector<Route::Path>> paths;
  forEachAttribute(body.from(NLMSG_ALIGN(sizeof(rtmsg))), [&](Attribute const& attribute) {
    switch (attribute.type) {
      case RTA_DST:
        destination = attribute;
        break;
      case RTA_OIF:
        interface = u32Of(attribute, "RTA_OIF");
        break;
      case RTA_GATEWAY:
        gateway = addressOf(attribute, "RTA_GATEWAY", header.rtm_family);
        break;
      case RTA_VIA:
        gateway = viaOf(attribute);
        break;
      case RTA_PRIORITY:
        route.priority = u32Of(attribute, "RTA_PRIORITY");
        break;
      case RTA_PREFSRC:
        // An IPv4 route over IPv6 next hops can prefer a source of either family.
        route.preferredSource = addressOf(attribute, "RTA_PREFSRC");
        break;
      case RTA_METRICS:
        route.mtu = mtuOf(attribute);
        break;
      case RTA_MULTIPATH:
        paths = pathsOf(attribute, header.rtm_family, skips);
        break;
      case RTA_TABLE:
        // A table number above 255 does not fit the header's field.
        route.table = u32Of(attribute, "RTA_TABLE");
        break;
      case RTA_NH_ID:
        route.nextHopId = u32Of(attribute, "RTA_NH_ID");
        break;
      default:
        ++skips.routeAttributes[attribute.type];
    }
  });
  route.destination = prefixOf(body, header, destination);
  if (paths) {
    route.paths = *paths;
  } else if (interface || gateway) {
    route.paths.push_back(
        {interface.value_or(0), gateway, 0, (header.rtm_flags & RTNH_F_ONLINK) != 0});
  }
  return route;
}

std::optional<rtmsg> headerOf(Area const& body, SkipCounts& skips) {
  auto const header = body.header<rtmsg>("route header");
  if (addressSize(header.rtm_family) > 0) return header;
  ++skips.routeFamilies[header.rtm_family];
  return std::nullopt;
}

}  // namespace

Content newRoute(Area const& body, std::uint16_t type, SkipCounts& skips) {
  std::optional<rtmsg> const header = headerOf(body, skips);
  if (!header) return SkippedMessage{type};
  return routeOf(body, *header, skips);
}

Content delRoute(Area const& body, std::uint16_t type, SkipCounts& skips) {
  std::optional<rtmsg> const header = headerOf(body, skips);
  if (!header) return SkippedMessage{type};
  Route const route = routeOf(body, *header, skips);
  return RouteWithdrawal{route.destination, route.table, route.priority};
}

}  // namespace OrviaL3Agent::Fpm
