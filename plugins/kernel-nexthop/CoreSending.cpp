// The queue, and what of it goes to the kernel.
#include <sys/socket.h>

#include <algorithm>
#include <numeric>
#include <system_error>
#include <utility>

#include "plugins/kernel-nexthop/Core.h"

namespace KernelNextHop {
namespace {

// The kernel takes messages of one send as long as they fit its send buffer.
constexpr std::size_t kMaxBatchBytes = std::size_t{64} * 1024;

}  // namespace

void KernelDevice::Core::enqueue(Entry& entry) {
  if (entry.inFlight) {
    entry.again = true;
    return;
  }
  if (std::exchange(entry.queued, true)) return;
  queue_.push_back(&entry);
}

bool KernelDevice::Core::busy() const {
  return !answers_.empty() || !queue_.empty() || unanswered_ > 0 ||
         readingWanted_ != ReadingFor::nothing || reading_ != Reading::none;
}

void KernelDevice::Core::runSlice(Clock::time_point until) {
  do {
    if (!answers_.empty()) {
      deliver();
      continue;
    }
    bool progress = unanswered_ > 0 && receive();
    if (reading_ != Reading::none) {
      progress = readSlice() || progress;
    } else if (readingWanted_ == ReadingFor::nothing) {
      progress = sendBatch() || progress;
    } else if (unanswered_ == 0) {
      // What is read has to be all that was asked for: nothing is under way, nothing is sent.
      isRetrying_ = std::exchange(readingWanted_, ReadingFor::nothing) == ReadingFor::retrying;
      readStart(Reading::objects);
      progress = true;
    }
    if (!progress && answers_.empty()) return;
  } while (Clock::now() < until);
}

bool KernelDevice::Core::sendBatch() {
  if (unanswered_ >= window_) return false;
  std::size_t const most = std::min(options.batch, window_ - unanswered_);
  bool progress = false;
  batch_.clear();
  // Those that are put off go to the back, behind what they wait for.
  for (std::size_t left = queue_.size();
       left > 0 && batch_.requests() < most && batch_.size() < kMaxBatchBytes; --left) {
    Entry& entry = *queue_.front();
    queue_.pop_front();
    entry.queued = false;
    bool const isDelete = !entry.wanted || isInTheWay(entry);
    std::uint64_t const stamp = entry.stamp;
    switch (prepare(entry, batch_)) {
      case Prepared::request:
        flying_.emplace_back(Request{&entry, stamp, isDelete});
        ++unanswered_;
        entry.inFlight = true;
        entry.isEnding = isDelete;
        progress = true;
        break;
      case Prepared::nothing:  // the entry may be gone
        progress = true;
        break;
      case Prepared::later:
        ++counts.waits;
        enqueue(entry);
        break;
    }
  }
  if (batch_.requests() == 0) return progress;
  if (unanswered_ == batch_.requests()) heard_ = Clock::now();
  bool isSent = false;
  try {
    isSent = socket_.send(batch_);
  } catch (std::system_error const&) {
    unsend(batch_.requests());
    throw;
  }
  if (!isSent) {
    unsend(batch_.requests());
    return false;
  }
  counts.requests += batch_.requests();
  ++counts.sends;
  return true;
}

// Whether the kernel has something there that it does not replace by this.
bool KernelDevice::Core::isInTheWay(Entry const& entry) {
  return entry.kind != Entry::Kind::route && static_cast<Object const&>(entry).isOfOtherKind;
}

// The kernel had no memory for the batch.
void KernelDevice::Core::unsend(std::size_t requests) {
  for (; requests > 0; --requests) {
    Request const request = *flying_.back();
    flying_.pop_back();
    --unanswered_;
    lose(request);
    // From the back to the front: in order again.
    queue_.push_front(request.entry);
  }
}

KernelDevice::Core::Prepared KernelDevice::Core::prepare(Entry& entry, Batch& batch) {
  if (entry.kind == Entry::Kind::route) {
    auto& route = static_cast<RouteEntry&>(entry);
    return route.wanted ? prepareRoute(route, batch) : prepareRouteDel(route, batch);
  }
  auto& object = static_cast<Object&>(entry);
  if (!object.wanted || isInTheWay(object)) return prepareDelete(object, batch);
  return object.kind == Entry::Kind::group ? prepareGroup(object, batch)
                                           : prepareNextHop(object, batch);
}

KernelDevice::Core::Prepared KernelDevice::Core::prepareNextHop(Object& object, Batch& batch) {
  if (!object.known) {
    answer(object, Object::State::refused,
           "the forwarding namespace has no interface for this next hop");
    return Prepared::nothing;
  }
  batch.nextHop(nextSeq(), object.id, object.nextHop, options.protocol);
  return Prepared::request;
}

// Whether the kernel is going to have the object once what is queued for it has gone out.
bool KernelDevice::Core::isUnderWay(std::uint32_t id) const {
  auto const found = objects_.find(id);
  if (found == objects_.end()) return false;
  Object const& object = found->second;
  return (object.queued && object.presence != Presence::present) ||
         (object.isEnding && object.again && object.wanted);
}

// The members that the group's rows come to, or why they make none.
std::string KernelDevice::Core::build(Object const& group,
                                      std::vector<GroupMember>& members) const {
  if (group.members == 0) return "a group of no members";
  std::unordered_map<std::uint32_t, std::size_t> places;
  for (std::uint32_t i = 0; i < group.members; ++i) {
    std::uint64_t const row = std::uint64_t{group.firstMember} + i;
    std::uint32_t const nextHop = row < members_.size() ? members_[row] : kNoRow;
    if (nextHop >= options.sizes.nextHops)
      return "member row " + std::to_string(row) + " names no next hop";
    std::uint32_t const id = ids.id({Target::Kind::nextHop, nextHop});
    auto const [place, isNew] = places.try_emplace(id, members.size());
    if (isNew) {
      members.push_back({id, 1});
    } else {
      ++members[place->second].weight;
    }
  }
  if (members.size() > Batch::kMaxMembers)
    return "the kernel takes no group of " + std::to_string(members.size()) + " next hops";
  auto const heavier = [](GroupMember const& one, GroupMember const& other) {
    return one.weight < other.weight;
  };
  std::uint32_t const most = std::max_element(members.begin(), members.end(), heavier)->weight;
  if (most <= options.maxWeight) return {};
  // The same shares in smaller numbers, if there are any.
  std::uint32_t common = 0;
  for (GroupMember const& member : members) common = std::gcd(common, member.weight);
  if (most / common > options.maxWeight)
    return "the kernel takes no weight of " + std::to_string(most / common);
  for (GroupMember& member : members) member.weight /= common;
  return {};
}

KernelDevice::Core::Prepared KernelDevice::Core::prepareGroup(Object& group, Batch& batch) {
  std::vector<GroupMember> members;
  std::string const obstacle = build(group, members);
  if (!obstacle.empty()) {
    // The table wrote it so. One whose member rows change under it stays as it is until they are
    // whole again.
    if (group.told == Object::State::notAnswered) {
      answer(group, Object::State::refused, obstacle);
    }
    return Prepared::nothing;
  }
  bool const isThere = group.presence == Presence::present && group.inKernel == members;
  if (isThere && group.told == Object::State::accepted) return Prepared::nothing;
  for (GroupMember const& member : members) {
    if (isUnderWay(member.id)) return Prepared::later;
  }
  batch.group(nextSeq(), group.id, members, options.protocol);
  use(members);
  group.sent = std::move(members);
  return Prepared::request;
}

KernelDevice::Core::Prepared KernelDevice::Core::prepareDelete(Object& object, Batch& batch) {
  if (object.presence == Presence::absent || object.fromBefore) return Prepared::nothing;
  // The kernel takes an object out of its groups, and its routes with it.
  object.waitsForUsers = object.users > 0 && !object.forced;
  if (object.waitsForUsers) {
    ++counts.waits;
    return Prepared::nothing;
  }
  batch.objectDel(nextSeq(), object.id);
  return Prepared::request;
}

KernelDevice::Core::Prepared KernelDevice::Core::prepareRoute(RouteEntry& route, Batch& batch) {
  std::uint32_t way = kBlackhole;
  if (route.target.kind != Target::Kind::blackhole) {
    bool const isGroup = route.target.kind == Target::Kind::group;
    if (route.target.row >= (isGroup ? options.sizes.groups : options.sizes.nextHops)) {
      answer(route, {ERANGE, "there is no such row"}, false);
      return Prepared::nothing;
    }
    Object& to = object(route.target);
    if (to.presence != Presence::present || to.isEnding) {
      to.waiters.insert(&route);
      route.waitsFor = &to;
      ++counts.waits;
      return Prepared::nothing;
    }
    way = to.id;
  }
  bool const isThere = route.presence == Presence::present;
  if (isThere && route.inKernel == way) {
    answer(route, {}, false);
    return Prepared::nothing;
  }
  batch.route(nextSeq(), route.route, way, options.protocol, isThere);
  useWay(way);
  route.sent = way;
  return Prepared::request;
}

KernelDevice::Core::Prepared KernelDevice::Core::prepareRouteDel(RouteEntry& route, Batch& batch) {
  if (route.fromBefore) return Prepared::nothing;
  if (route.presence == Presence::absent) {
    answer(route, {}, true);
    dropIfEmpty(route);
    return Prepared::nothing;
  }
  batch.routeDel(nextSeq(), route.route, options.protocol);
  return Prepared::request;
}

}  // namespace KernelNextHop
