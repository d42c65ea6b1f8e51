// What the device knows of each object and each route: what it is to be, what the kernel has, and
// what of it is under way.
//
// Threading: one thread. Ownership: plain values, which stay at their places; entries refer to each
// other.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "Asic/HwTable.h"
#include "plugins/kernel-nexthop/Batch.h"
#include "plugins/kernel-nexthop/Kinds.h"

namespace KernelNextHop {

// Whether the kernel has it. Unsure: the answer to what would have changed it was lost.
enum class Presence : std::uint8_t { absent, present, unsure };

struct Entry {
  enum class Kind : std::uint8_t { nextHop, group, route };

  explicit Entry(Kind its) : kind(its) {}

  Kind kind;
  Presence presence = Presence::absent;
  bool wanted = false;
  bool queued = false;
  bool inFlight = false;
  bool isEnding = false;  // what is in flight is its deletion
  bool again = false;     // to be queued once it is answered
  // From before this process, and not asked for since: left alone until release().
  bool fromBefore = false;
  // Of the latest thing that was asked for; answers to earlier ones are dropped.
  std::uint64_t stamp = 0;
};

struct RouteEntry;

struct Object : Entry {
  using State = Asic::HwTable::EntryState;
  using Tell = std::function<void(State)>;

  Object(Kind its, std::uint32_t number, std::uint32_t itsRow)
      : Entry(its), id(number), row(itsRow) {}

  std::uint32_t id;
  std::uint32_t row;

  // Of a next hop: what the row holds, and what that is in the forwarding namespace.
  Record record;
  bool known = false;  // the identity is
  NextHop nextHop;
  // Of a group: its rows of the member table.
  std::uint32_t firstMember = 0;
  std::uint32_t members = 0;

  // Of the latest write.
  Tell tell;
  State told = State::notAnswered;
  std::string refusal;
  // To be deleted whoever has it.
  bool forced = false;
  // The kernel has a group where this is none, or the other way round: of a process with other
  // sizes. It replaces neither by the other.
  bool isOfOtherKind = false;

  // Of a group: what it has in the kernel, what it is being given, and what it may have been given
  // when the answer was lost. Each counts as a user of its objects.
  std::vector<GroupMember> inKernel, sent, maybe;
  // Groups and routes that have this object, or may have it.
  std::uint32_t users = 0;
  bool waitsForUsers = false;     // to be deleted
  std::set<RouteEntry*> waiters;  // routes that are to lead here
};

struct RouteEntry : Entry {
  explicit RouteEntry(Route const& place) : Entry(Kind::route), route(place), asked(place) {}

  Route route;                          // as the kernel has it
  Route asked;                          // as it was asked for, which is how its asker knows it
  Target target;                        // when it is wanted
  std::uint32_t inKernel = kBlackhole;  // ways
  std::uint32_t sent = kBlackhole;
  std::uint32_t maybe = kBlackhole;
  Object* waitsFor = nullptr;
  // Of the latest thing that was asked for: what its asker was told.
  Asic::HwTable::EntryState told = Asic::HwTable::notAnswered;
};

}  // namespace KernelNextHop
