// Streams of random messages: few ids, interfaces and prefixes, so that everything meets
// everything.
//
//   RandomStream random(seed);
//   Bytes stream = random.messages(120);
//   stream += everyIdMakesSense();
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/agent/StreamBuilder.h"

namespace OrviaL3Agent::Testing {

class RandomStream {
 public:
  explicit RandomStream(std::uint32_t seed) : random_(seed) {}

  Bytes messages(int count) {
    Bytes stream;
    while (count > 0) {
      Bytes payload;
      for (std::uint32_t left = one(3); left > 0 && count > 0; --left, --count) payload += any();
      stream += frame(payload);
    }
    return stream;
  }
  // 1 to `last`.
  std::uint32_t one(std::uint32_t last) {
    return std::uniform_int_distribution<std::uint32_t>(1, last)(random_);
  }

 private:
  static Bytes payloadOf(Bytes const& frame) { return frame.substr(4); }

  char const* gateway() {
    constexpr std::array<char const*, 4> gateways{nullptr, "10.0.0.1", "10.0.0.2", "fe80::1"};
    return gateways.at(one(4) - 1);
  }
  std::uint32_t interface() { return one(4); }
  // Single next hops mostly have the lower ids, groups the upper ones.
  std::uint32_t id() { return one(8); }
  RouteOf routeOf() { return {.priority = 10 * one(2), .table = one(5) == 1 ? 100U : 254U}; }

  Bytes any() {
    switch (one(12)) {
      case 1:
      case 2:
      case 3:
        return payloadOf(announce(one(10) == 1 ? id() : one(5), interface(), gateway(),
                                  one(6) == 1 ? RTNH_F_ONLINK : 0));
      case 4:
      case 5:
        return payloadOf(announceGroup(one(10) == 1 ? id() : 5 + one(3), members()));
      case 6:
        return payloadOf(one(3) == 1 ? announceBlackhole(id()) : withdraw(id()));
      case 7:
      case 8:
        return payloadOf(withdraw(id()));
      case 9:
        return withdrawal();
      default:
        return route();
    }
  }
  std::vector<std::pair<std::uint32_t, std::uint8_t>> members() {
    std::vector<std::pair<std::uint32_t, std::uint8_t>> members;
    for (std::uint32_t left = one(4); left > 0; --left) {
      members.emplace_back(one(12) == 1 ? id() : one(5), static_cast<std::uint8_t>(one(3) - 1));
    }
    return members;
  }
  std::string destination() { return "10." + std::to_string(one(4)) + ".0.0"; }
  Bytes route() {
    std::uint32_t const kind = one(8);
    if (kind == 1) {
      RouteOf of = routeOf();
      of.type = RTN_UNREACHABLE;
      return routeMessage(RTM_NEWROUTE, destination().c_str(), 16, "", of);
    }
    Bytes way = routeById(id());
    if (kind == 2) {
      char const* const over = gateway();
      // A gateway of the other family would be another attribute.
      way = routeByPath(interface(), over == nullptr || over[0] == 'f' ? nullptr : over);
    } else if (kind == 3) {
      std::vector<PathOf> paths;
      for (std::uint32_t left = one(3); left > 0; --left) {
        paths.push_back({interface(), one(2) == 1 ? nullptr : "10.0.0.1",
                         static_cast<std::uint8_t>(one(2) - 1)});
      }
      way = routeByPaths(paths);
    }
    return routeMessage(RTM_NEWROUTE, destination().c_str(), 16, way, routeOf());
  }
  Bytes withdrawal() {
    return routeMessage(RTM_DELROUTE, destination().c_str(), 16, {}, routeOf());
  }

  std::mt19937 random_;
};

// What points to an id that is unknown or can be no group keeps what it had before. Behind this
// there is no such id.
inline Bytes everyIdMakesSense() {
  Bytes stream;
  for (std::uint32_t id = 1; id <= 5; ++id) stream += announce(id, 1 + id % 4, "10.0.0.1");
  for (std::uint32_t id = 6; id <= 8; ++id) {
    stream += announceGroup(id, {{id - 5, 0}, {id - 4, 1}, {id - 3, 0}});
  }
  return stream;
}

}  // namespace OrviaL3Agent::Testing
