// Makes streams byte by byte, well-formed or not.
//
//   Bytes stream = frame(message(RTM_DELNEXTHOP, nextHopHeader(AF_UNSPEC) + u32Attribute(NHA_ID,
//   5)));
//
// Every piece is a plain byte string that can be joined with + and bent out of shape before it is
// wrapped by the next one.
#pragma once

#include <arpa/inet.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace OrviaL3Agent::Testing {

using Bytes = std::string;

template <class Value>
Bytes raw(Value const& value) {
  Bytes bytes(sizeof value, '\0');
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

inline Bytes padded(Bytes bytes) {
  bytes.resize((bytes.size() + 3) / 4 * 4, '\0');
  return bytes;
}

inline std::span<std::byte const> spanOf(std::string_view bytes) {
  return std::as_bytes(std::span(bytes.data(), bytes.size()));
}

inline Bytes address(char const* text) {
  unsigned char buffer[16];
  if (inet_pton(AF_INET, text, buffer) == 1) return {reinterpret_cast<char const*>(buffer), 4};
  if (inet_pton(AF_INET6, text, buffer) == 1) return {reinterpret_cast<char const*>(buffer), 16};
  throw std::invalid_argument(text);
}

// An attribute with its padding; `length` overrides the length field.
inline Bytes attribute(std::uint16_t type, Bytes const& payload, int length = -1) {
  auto const size =
      static_cast<std::uint16_t>(length >= 0 ? length : static_cast<int>(payload.size()) + 4);
  return raw(size) + raw(type) + padded(payload);
}
inline Bytes u32Attribute(std::uint16_t type, std::uint32_t value) {
  return attribute(type, raw(value));
}

inline Bytes nextHopHeader(std::uint8_t family, std::uint32_t flags = 0) {
  nhmsg header{};
  header.nh_family = family;
  header.nh_protocol = 11;
  header.nh_flags = flags;
  return raw(header);
}

inline Bytes routeHeader(std::uint8_t family, std::uint8_t prefixLength,
                         std::uint8_t type = RTN_UNICAST, std::uint8_t table = RT_TABLE_MAIN) {
  rtmsg header{};
  header.rtm_family = family;
  header.rtm_dst_len = prefixLength;
  header.rtm_table = table;
  header.rtm_protocol = 196;
  header.rtm_type = type;
  return raw(header);
}

// A netlink message, padded; `length` overrides the length field.
inline Bytes message(std::uint16_t type, Bytes const& body, std::int64_t length = -1) {
  nlmsghdr header{};
  header.nlmsg_len = static_cast<std::uint32_t>(
      length >= 0 ? length : static_cast<std::int64_t>(body.size() + sizeof header));
  header.nlmsg_type = type;
  return padded(raw(header) + body);
}

// A frame around any payload; `length` overrides the length field.
inline Bytes frame(Bytes const& payload, std::uint8_t type = 1, std::uint8_t version = 1,
                   int length = -1) {
  std::size_t const size = length >= 0 ? static_cast<std::size_t>(length) : payload.size() + 4;
  Bytes bytes;
  bytes += static_cast<char>(version);
  bytes += static_cast<char>(type);
  bytes += static_cast<char>(size >> 8U);
  bytes += static_cast<char>(size & 0xFFU);
  return bytes + payload;
}

// Whole frames of one message each.
inline Bytes announce(std::uint32_t id, std::uint32_t interface, char const* gateway = nullptr,
                      std::uint32_t flags = 0) {
  Bytes const gatewayBytes = gateway != nullptr ? address(gateway) : Bytes();
  Bytes body = nextHopHeader(gatewayBytes.size() == 16 ? AF_INET6 : AF_INET, flags) +
               u32Attribute(NHA_ID, id);
  if (gateway != nullptr) body += attribute(NHA_GATEWAY, gatewayBytes);
  return frame(message(RTM_NEWNEXTHOP, body + u32Attribute(NHA_OIF, interface)));
}

inline Bytes withdraw(std::uint32_t id) {
  return frame(message(RTM_DELNEXTHOP, nextHopHeader(AF_UNSPEC) + u32Attribute(NHA_ID, id)));
}

inline Bytes announceGroup(std::uint32_t id,
                           std::vector<std::pair<std::uint32_t, std::uint8_t>> const& members) {
  Bytes group;
  for (auto const& [member, weightByte] : members) {
    nexthop_grp entry{};
    entry.id = member;
    entry.weight = weightByte;
    group += raw(entry);
  }
  return frame(message(RTM_NEWNEXTHOP, nextHopHeader(AF_UNSPEC) + u32Attribute(NHA_ID, id) +
                                           attribute(NHA_GROUP, group)));
}

inline Bytes announceBlackhole(std::uint32_t id) {
  return frame(message(RTM_NEWNEXTHOP, nextHopHeader(AF_INET) + u32Attribute(NHA_ID, id) +
                                           attribute(NHA_BLACKHOLE, "")));
}

// What tells the routes of these helpers apart, besides their destination.
struct RouteOf {
  std::uint32_t priority = 20;
  std::uint32_t table = RT_TABLE_MAIN;
  std::uint8_t type = RTN_UNICAST;
};

// A route message without a frame, so that several can share one. The last attributes say where the
// route leads.
inline Bytes routeMessage(std::uint16_t messageType, char const* destination,
                          std::uint8_t prefixLength, Bytes const& attributes,
                          RouteOf const& of = {}) {
  Bytes const bytes = address(destination);
  // A table that the header has no room for is named by an attribute alone.
  bool const tableFits = of.table <= 0xFF;
  auto const table =
      static_cast<std::uint8_t>(tableFits ? of.table : std::uint32_t{RT_TABLE_UNSPEC});
  return message(
      messageType,
      routeHeader(bytes.size() == 16 ? AF_INET6 : AF_INET, prefixLength, of.type, table) +
          attribute(RTA_DST, bytes) + u32Attribute(RTA_PRIORITY, of.priority) +
          (tableFits ? Bytes() : u32Attribute(RTA_TABLE, of.table)) + attributes);
}

// A route over a next-hop or group id.
inline Bytes routeById(std::uint32_t id) { return u32Attribute(RTA_NH_ID, id); }
// The route's own MTU.
inline Bytes routeMtu(std::uint32_t mtu) {
  return attribute(RTA_METRICS, u32Attribute(RTAX_MTU, mtu));
}

// A path that a route carries itself.
struct PathOf {
  std::uint32_t interface = 0;
  char const* gateway = nullptr;
  std::uint8_t weightByte = 0;
  bool onlink = false;
};
inline Bytes routeByPath(std::uint32_t interface, char const* gateway = nullptr) {
  Bytes bytes = u32Attribute(RTA_OIF, interface);
  if (gateway != nullptr) bytes += attribute(RTA_GATEWAY, address(gateway));
  return bytes;
}
inline Bytes routeByPaths(std::vector<PathOf> const& paths) {
  Bytes multipath;
  for (PathOf const& path : paths) {
    Bytes const gateway =
        path.gateway == nullptr ? Bytes() : attribute(RTA_GATEWAY, address(path.gateway));
    rtnexthop header{};
    header.rtnh_len = static_cast<unsigned short>(sizeof header + gateway.size());
    header.rtnh_flags = path.onlink ? RTNH_F_ONLINK : 0;
    header.rtnh_hops = path.weightByte;
    header.rtnh_ifindex = static_cast<int>(path.interface);
    multipath += raw(header) + gateway;
  }
  return attribute(RTA_MULTIPATH, multipath);
}

// Whole frames of one route message each.
inline Bytes announceRoute(char const* destination, std::uint8_t prefixLength,
                           Bytes const& attributes, RouteOf const& of = {}) {
  return frame(routeMessage(RTM_NEWROUTE, destination, prefixLength, attributes, of));
}
inline Bytes announceRoute(char const* destination, std::uint8_t prefixLength, std::uint32_t id,
                           RouteOf const& of = {}) {
  return announceRoute(destination, prefixLength, routeById(id), of);
}
inline Bytes withdrawRoute(char const* destination, std::uint8_t prefixLength,
                           RouteOf const& of = {}) {
  return frame(routeMessage(RTM_DELROUTE, destination, prefixLength, {}, of));
}

// A route of its own for each id below 65536: 10.HIGH.LOW.0/24.
inline std::string destinationOf(std::uint32_t id) {
  return "10." + std::to_string(id >> 8U) + "." + std::to_string(id & 0xFFU) + ".0";
}
inline Bytes routeTo(std::uint32_t id) { return announceRoute(destinationOf(id).c_str(), 24, id); }
inline Bytes withdrawRouteTo(std::uint32_t id) {
  return withdrawRoute(destinationOf(id).c_str(), 24);
}
// A next hop and that route.
inline Bytes announceRouted(std::uint32_t id, std::uint32_t interface,
                            char const* gateway = nullptr, std::uint32_t flags = 0) {
  return announce(id, interface, gateway, flags) + routeTo(id);
}

// A message that means nothing to the agent and takes its place in a slice.
inline Bytes filler(int messages) {
  Bytes bytes;
  for (int i = 0; i < messages; ++i) bytes += frame(message(RTM_NEWLINK, ""));
  return bytes;
}

inline std::string streamPath(std::string const& name) {
  return std::string(ORVIA_SOURCE_DIR) + "/examples/streams/" + name;
}

inline Bytes contentOf(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot open " + path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace OrviaL3Agent::Testing
