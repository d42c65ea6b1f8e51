// Requests that go to the kernel together, and what each of them says.
//
//   Batch batch;
//   batch.nextHop(seq, id, nextHop, protocol);   // create or replace
//   batch.groupDel / objectDel(seq + 1, id);
//   socket.send(batch); batch.clear();
//
// Threading: one thread. Ownership: owns its bytes, which it keeps for the next ones.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "plugins/kernel-nexthop/Kinds.h"

struct nlmsghdr;

namespace KernelNextHop {

struct GroupMember {
  std::uint32_t id = 0;
  std::uint32_t weight = 1;

  friend bool operator==(GroupMember const&, GroupMember const&) = default;
};

// What a route leads to in the kernel: an object's id, or one of these.
inline constexpr std::uint32_t kBlackhole = 0;
inline constexpr std::uint32_t kOtherWay = 0xFFFFFFFF;  // neither an object nor a blackhole

class Batch {
 public:
  // A length in an attribute is 16 bits.
  static constexpr std::size_t kMaxMembers = 8191;
  // The kernel stores one less than the weight in 16 bits.
  static constexpr std::uint32_t kMaxWeight = 65535;

  // Each asks for an acknowledgement. Objects are created or replaced.
  void nextHop(std::uint32_t seq, std::uint32_t id, NextHop const& nextHop, std::uint8_t protocol);
  void group(std::uint32_t seq, std::uint32_t id, std::vector<GroupMember> const& members,
             std::uint8_t protocol);
  void objectDel(std::uint32_t seq, std::uint32_t id);
  // `replace`: in the place of the route that is there; without it, a route in this place refuses
  // this one.
  void route(std::uint32_t seq, Route const& route, std::uint32_t way, std::uint8_t protocol,
             bool replace);
  // Of this protocol only.
  void routeDel(std::uint32_t seq, Route const& route, std::uint8_t protocol);
  // Dumps, which end with a message of their own.
  void objects(std::uint32_t seq);
  void routes(std::uint32_t seq, Family family, std::uint8_t protocol);

  [[nodiscard]] std::size_t requests() const { return requests_; }
  [[nodiscard]] std::byte const* data() const { return bytes_.data(); }
  [[nodiscard]] std::size_t size() const { return used_; }
  void clear() { requests_ = used_ = 0; }

 private:
  nlmsghdr* start(std::uint32_t seq, std::uint16_t type, unsigned flags, std::size_t room);
  void end(nlmsghdr const* message);
  nlmsghdr* routeStart(std::uint32_t seq, std::uint16_t type, unsigned flags, Route const& route,
                       std::uint8_t protocol);

  std::vector<std::byte> bytes_;
  std::size_t used_ = 0;
  std::size_t requests_ = 0;
};

}  // namespace KernelNextHop
