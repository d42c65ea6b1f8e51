// What the kernel holds, read back: at the start, and whenever somebody asks.
#include <libmnl/libmnl.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "plugins/kernel-nexthop/Core.h"
#include "plugins/kernel-nexthop/NamespaceSocket.h"

namespace KernelNextHop {

KernelDevice::Core::Core(KernelOptions const& theOptions)
    : options(theOptions),
      ids(theOptions.firstId, theOptions.sizes),
      idsLock_(theOptions.netns,
               "next-hop objects from id " + std::to_string(theOptions.firstId) + " on"),
      routesLock_(theOptions.netns, "routes of protocol " + std::to_string(theOptions.protocol)),
      socket_(theOptions.netns, theOptions.receiveBuffer),
      members_(theOptions.sizes.members, kNoRow),
      groupsOver_(theOptions.sizes.members),
      window_(theOptions.window),
      reader_(theOptions.netns, 0) {
  requireRights();
  readStart(Reading::objects);
  while (reading_ != Reading::none) readSlice();
  isStarted_ = true;
  chooseBank();
  for (auto& [id, object] : objects_) {
    // Counted anew, now that it is known which ids are in use.
    Presence const presence = std::exchange(object.presence, Presence::absent);
    presenceIs(object, presence);
    if (!object.fromBefore) continue;
    bool const isGroup = object.kind == Entry::Kind::group;
    ++(isGroup ? counts.groupsFromBefore : counts.nextHopsFromBefore);
    ++counts.fromBefore;
  }
  counts.fromBefore += routes_.size();
}

// Lists are for everybody, so that nothing else would tell before the first write. The kernel looks
// at the rights before it looks at the id, and no object has this one.
void KernelDevice::Core::requireRights() {
  Batch batch;
  batch.objectDel(++readSeq_, 0);
  std::optional<Reply> reply;
  if (reader_.send(batch)) {
    reader_.receive([&](nlmsghdr const& message) {
      if (message.nlmsg_seq == readSeq_) reply = replyOf(message);
    });
  }
  if (!reply || (reply->error != EPERM && reply->error != EACCES)) return;
  throw std::system_error(
      reply->error, std::generic_category(),
      "programming the kernel needs CAP_NET_ADMIN in " + namespaceText(options.netns));
}

// The bank that fewer routes are led by, or, without any, the one with fewer objects.
void KernelDevice::Core::chooseBank() {
  std::array<std::pair<std::size_t, std::size_t>, 2> use{};
  for (auto const& [id, object] : objects_) {
    bool const isEcmp = object.kind == Entry::Kind::group || !ids.isIngress(object.row);
    if (isEcmp && object.presence == Presence::present) ++use.at(ids.placeOf(id)->bank).second;
  }
  for (auto const& [place, route] : routes_) {
    auto const way = ids.placeOf(route.inKernel);
    bool const isGroup = way && way->target.kind == Target::Kind::group;
    if (isGroup) ++use.at(way->bank).first;
  }
  ids.bankIs(use[1] < use[0] ? 1 : 0);
  nextHopsInForce = groupsInForce = 0;
}

void KernelDevice::Core::readStart(Reading what) {
  reading_ = what;
  readDone_ = readInterrupted_ = false;
  if (what == Reading::objects) seenObjects_.clear();
  if (what == Reading::routes4) seenRoutes_.clear();
  if (what == Reading::none) return;
  Batch batch;
  ++readSeq_;
  if (what == Reading::objects) {
    batch.objects(readSeq_);
  } else {
    batch.routes(readSeq_, what == Reading::routes4 ? AF_INET : AF_INET6, options.protocol);
  }
  // Without memory for it now: again in a moment.
  readDone_ = readInterrupted_ = !reader_.send(batch);
}

// One piece of a list. Returns whether there was one.
bool KernelDevice::Core::readSlice() {
  bool progress = false;
  if (!readDone_) {
    NetlinkSocket::Received const received =
        reader_.receive([this](nlmsghdr const& message) { readMessage(message); });
    if (received.overrun) readDone_ = readInterrupted_ = true;
    progress = received.messages > 0;
  }
  if (!readDone_) return progress;
  readEnd();
  return true;
}

void KernelDevice::Core::readMessage(nlmsghdr const& message) {
  if (message.nlmsg_seq != readSeq_) return;  // of a list that was given up
  // Somebody changed what was being listed: it may be incomplete.
  if ((message.nlmsg_flags & NLM_F_DUMP_INTR) != 0) readInterrupted_ = true;
  if (message.nlmsg_type == NLMSG_DONE) {
    readDone_ = true;
    // A list that ends with an error is none.
    bool const hasCode = mnl_nlmsg_get_payload_len(&message) >= sizeof(int);
    if (hasCode && *static_cast<int const*>(mnl_nlmsg_get_payload(&message)) < 0) {
      readInterrupted_ = true;
    }
  }
  if (auto const reply = replyOf(message)) {
    readDone_ = true;
    if (reply->error != 0 && reading_ == Reading::objects && !isStarted_) {
      throw std::system_error(reply->error, std::generic_category(),
                              "the kernel does not list its next-hop objects");
    }
    // A kernel without IPv6 has no such routes. Whatever else it says, it has listed nothing.
    bool const hasNone = reply->error == EOPNOTSUPP || reply->error == EAFNOSUPPORT;
    if (reply->error != 0 && !(hasNone && reading_ == Reading::routes6)) readInterrupted_ = true;
  }
  if (auto object = objectOf(message)) {
    if (ids.placeOf(object->id)) seenObjects_.insert_or_assign(object->id, std::move(*object));
  } else if (auto const route = routeOf(message); route && route->protocol == options.protocol) {
    // One that leads elsewhere is somebody else's, who uses the same number.
    if (route->way == kBlackhole || ids.placeOf(route->way)) {
      seenRoutes_.insert_or_assign(route->route, route->way);
    }
  }
}

void KernelDevice::Core::readEnd() {
  if (readInterrupted_) {
    // IPv4 and IPv6 routes share a list, which has its start with the former.
    readStart(reading_ == Reading::routes6 ? Reading::routes4 : reading_);
    return;
  }
  switch (reading_) {
    case Reading::objects:
      return readStart(Reading::routes4);
    case Reading::routes4:
      return readStart(Reading::routes6);
    case Reading::routes6:
    case Reading::none:
      break;
  }
  readStart(Reading::none);
  compareObjects();
  compareRoutes();
  seenObjects_.clear();
  seenRoutes_.clear();
}

void KernelDevice::Core::compareObjects() {
  for (auto const& [id, seen] : seenObjects_) {
    if (objects_.contains(id)) continue;
    Object& object = *objectOfId(id);
    object.fromBefore = !isReleased;
    object.stamp = ++stamp_;
  }
  // All that groups name is in the books before they are walked.
  for (auto const& [id, seen] : seenObjects_) {
    for (GroupMember const& member : seen.members) objectOfId(member.id);
  }
  // Next hops before groups, so that they are there when the groups are asked for.
  for (Entry::Kind const kind : {Entry::Kind::nextHop, Entry::Kind::group}) {
    for (auto& [id, object] : objects_) {
      if (object.kind == kind) compare(object);
    }
  }
}

void KernelDevice::Core::compare(Object& object) {
  auto const found = seenObjects_.find(object.id);
  DumpedObject const* const seen = found == seenObjects_.end() ? nullptr : &found->second;
  bool const isGroup = object.kind == Entry::Kind::group;
  presenceIs(object, seen != nullptr ? Presence::present : Presence::absent);
  object.isOfOtherKind = seen != nullptr && seen->isGroup != isGroup;
  std::vector<GroupMember> const members =
      seen != nullptr ? seen->members : std::vector<GroupMember>();
  use(members);
  disuse(object.inKernel);
  disuse(object.maybe);
  object.inKernel = members;
  if (!object.wanted) {
    if (seen == nullptr) object.fromBefore = false;
    if (seen != nullptr && !isGroup) object.nextHop = seen->nextHop;
    if (seen != nullptr && !object.fromBefore) enqueue(object);
    return;
  }
  bool isAsWanted =
      seen != nullptr && !object.isOfOtherKind && object.told == Object::State::accepted;
  if (isGroup) {
    std::vector<GroupMember> wanted;
    isAsWanted = build(object, wanted).empty() && isAsWanted && wanted == members;
  } else {
    // The interfaces may have others' numbers by now.
    resolve(object);
    isAsWanted = isAsWanted && object.known && object.nextHop == seen->nextHop;
  }
  bool const isRefused = object.told == Object::State::refused && !isRetrying_;
  if (!isAsWanted && !isRefused) enqueue(object);
}

void KernelDevice::Core::compareRoutes() {
  for (auto const& [place, way] : seenRoutes_) {
    auto const [found, isNew] = routes_.try_emplace(place, place);
    if (isNew) {
      found->second.fromBefore = !isReleased;
      found->second.stamp = ++stamp_;
      found->second.told = Asic::HwTable::success();  // nobody asked
    }
  }
  for (auto next = routes_.begin(); next != routes_.end();) {
    RouteEntry& route = (next++)->second;  // it may be dropped
    auto const seen = seenRoutes_.find(route.route);
    bool const isThere = seen != seenRoutes_.end();
    if (isThere) useWay(seen->second);
    disuseWay(route.inKernel);
    disuseWay(route.maybe);
    route.inKernel = isThere ? seen->second : kBlackhole;
    presenceIs(route, isThere ? Presence::present : Presence::absent);
    if (!isThere) route.fromBefore = false;
    if (!route.wanted && !isThere) {
      dropIfEmpty(route);
      continue;
    }
    std::uint32_t const way =
        route.target.kind == Target::Kind::blackhole ? kBlackhole : ids.id(route.target);
    bool const isAsWanted = route.wanted ? isThere && way == route.inKernel : route.fromBefore;
    bool const isRefused = route.wanted && route.told == Asic::HwTable::refused && !isRetrying_;
    if (!isAsWanted && !isRefused && route.waitsFor == nullptr) enqueue(route);
  }
}

}  // namespace KernelNextHop
