// The kernel's replies, what they mean for the books, and the answers that follow.
#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "plugins/kernel-nexthop/Core.h"

namespace KernelNextHop {
namespace {

// The kernel replies within the send. Should it not, the request is repeated after this time.
constexpr auto kPatience = std::chrono::seconds(1);

}  // namespace

bool KernelDevice::Core::receive() {
  NetlinkSocket::Received const received = socket_.receive([this](nlmsghdr const& message) {
    if (auto const reply = replyOf(message)) replied(message.nlmsg_seq, *reply);
  });
  if (received.overrun) {
    ++counts.overruns;
    overrun_ = true;
    // Fewer at a time, until the buffer takes all their answers.
    window_ = std::max<std::size_t>(1, window_ / 2);
  }
  if (received.messages > 0) heard_ = Clock::now();
  if (unanswered_ == 0 && !std::exchange(overrun_, false) && window_ < options.window) ++window_;
  if (received.messages > 0 || received.overrun) return true;
  // Nothing more will come.
  bool const isOverdue = Clock::now() - heard_ > kPatience;
  if (!std::exchange(overrun_, false) && !isOverdue) return false;
  lost();
  return true;
}

void KernelDevice::Core::replied(std::uint32_t seq, Reply const& reply) {
  std::uint32_t const place = seq - firstSeq_;
  if (place >= flying_.size() || !flying_[place]) return;  // to one that was repeated since
  Request const request = *std::exchange(flying_[place], std::nullopt);
  --unanswered_;
  while (!flying_.empty() && !flying_.front()) {
    flying_.pop_front();
    ++firstSeq_;
  }
  Entry& entry = *request.entry;
  entry.inFlight = false;
  entry.isEnding = false;
  bool const again = std::exchange(entry.again, false);
  if (again) enqueue(entry);
  if (entry.kind == Entry::Kind::route) {
    settle(static_cast<RouteEntry&>(entry), request, reply);
  } else {
    settle(static_cast<Object&>(entry), request, reply);
  }
}

void KernelDevice::Core::lost() {
  std::deque<std::optional<Request>> const requests = std::exchange(flying_, {});
  firstSeq_ += static_cast<std::uint32_t>(requests.size());
  unanswered_ = 0;
  // In their order, before all others.
  std::vector<Entry*> entries;
  for (auto const& request : requests) {
    if (!request) continue;
    lose(*request);
    entries.push_back(request->entry);
  }
  queue_.insert(queue_.begin(), entries.begin(), entries.end());
  counts.repeated += entries.size();
}

// Nobody knows whether it was done. The entry is queued afterwards.
void KernelDevice::Core::lose(Request const& request) {
  Entry& entry = *request.entry;
  entry.inFlight = false;
  entry.isEnding = false;
  entry.again = false;
  entry.queued = true;
  if (entry.kind == Entry::Kind::route) {
    auto& route = static_cast<RouteEntry&>(entry);
    bool const changes = (route.presence == Presence::present) == request.isDelete;
    if (changes) presenceIs(route, Presence::unsure);
    // To delete it once more could hit the one of the next metric: without one, any is meant.
    bool const isAnyMetric = route.route.family == AF_INET && route.route.priority == 0;
    if (request.isDelete && isAnyMetric) compareIsWanted();
    if (request.isDelete) return;
    if (route.maybe != kBlackhole) compareIsWanted();
    disuseWay(route.maybe);
    route.maybe = std::exchange(route.sent, kBlackhole);
    return;
  }
  auto& object = static_cast<Object&>(entry);
  bool const changes = (object.presence == Presence::present) == request.isDelete;
  if (changes) presenceIs(object, Presence::unsure);
  object.maybe.insert(object.maybe.end(), object.sent.begin(), object.sent.end());
  object.sent.clear();
}

void KernelDevice::Core::settle(Object& object, Request const& request, Reply const& reply) {
  bool const isLatest = request.stamp == object.stamp;
  if (request.isDelete) {
    if (reply.error != 0 && reply.error != ENOENT) {
      // It stays; the next reading asks again.
      object.refusal = reply.text;
      return;
    }
    presenceIs(object, Presence::absent);
    object.isOfOtherKind = false;
    disuse(object.inKernel);
    disuse(object.maybe);
    // What had it has lost it.
    if (object.users > 0) compareIsWanted();
    object.forced = false;
    if (object.wanted) enqueue(object);
    return;
  }
  if (reply.error == 0) {
    disuse(object.inKernel);
    disuse(object.maybe);
    object.inKernel = std::exchange(object.sent, {});
    presenceIs(object, Presence::present);
    for (RouteEntry* const route : std::exchange(object.waiters, {})) {
      route->waitsFor = nullptr;
      enqueue(*route);
    }
  } else {
    disuse(object.sent);
    doubt(reply, object.told);
  }
  if (!isLatest) {
    ++counts.overtaken;
    return;
  }
  answer(object, reply.error == 0 ? Object::State::accepted : Object::State::refused, reply.text);
}

void KernelDevice::Core::settle(RouteEntry& route, Request const& request, Reply const& reply) {
  bool const isLatest = request.stamp == route.stamp;
  bool const isDone = reply.error == 0 || (request.isDelete && reply.error == ESRCH);
  if (isDone) {
    disuseWay(route.inKernel);
    disuseWay(route.maybe);
    route.inKernel = std::exchange(route.sent, kBlackhole);
    presenceIs(route, request.isDelete ? Presence::absent : Presence::present);
  } else if (!request.isDelete) {
    disuseWay(route.sent);
    doubt(reply, route.told);
    if (reply.error == EEXIST && route.presence == Presence::unsure) {
      // Ours, of which the answer was lost, or somebody else's: the kernel's list tells.
      compareIsWanted();
      enqueue(route);
      return;
    }
  }
  if (isLatest) {
    answer(route, reply, request.isDelete);
  } else {
    ++counts.overtaken;
  }
  dropIfEmpty(route);
}

// Objects that are in the books, and that the kernel does not have, went with their link before
// anybody said so. Asked once for each write, and not for each of many.
void KernelDevice::Core::doubt(Reply const& reply, Object::State told) {
  if (told != Object::State::notAnswered || reply.text.find("exthop id") == std::string::npos)
    return;
  auto const now = Clock::now();
  if (now - doubted_ < kPatience) return;
  doubted_ = now;
  recheck();
}

void KernelDevice::Core::answer(Object& object, Object::State state, std::string refusal) {
  object.refusal = state == Object::State::refused ? std::move(refusal) : std::string();
  if (std::exchange(object.told, state) == state) return;
  ++(state == Object::State::accepted ? counts.accepted : counts.refused);
  Answer answer;
  answer.object = &object;
  answer.stamp = object.stamp;
  answer.state = state;
  answers_.push_back(std::move(answer));
}

void KernelDevice::Core::answer(RouteEntry& route, Reply const& reply, bool isDelete) {
  bool const isAccepted = reply.error == 0 || (isDelete && reply.error == ESRCH);
  auto const state = isAccepted ? Asic::HwTable::success() : Asic::HwTable::refused;
  if (std::exchange(route.told, state) == state) return;
  ++(isAccepted ? counts.accepted : counts.refused);
  Answer answer;
  answer.stamp = route.stamp;
  answer.route = route.asked;
  answer.routeAnswer = {isAccepted, isDelete, isAccepted ? 0 : reply.error,
                        isAccepted ? std::string() : reply.text};
  answers_.push_back(std::move(answer));
}

// Anything may happen inside: the answer, and what is called, are this function's own.
void KernelDevice::Core::deliver() {
  Answer const answer = std::move(answers_.front());
  answers_.pop_front();
  if (answer.route) {
    RouteEntry const* const route = find(*answer.route);
    if (route != nullptr && route->stamp != answer.stamp) {
      ++counts.overtaken;
      return;
    }
    RouteAnswers const hear = routeAnswers;
    if (hear) hear(*answer.route, answer.routeAnswer);
    return;
  }
  if (answer.object != nullptr && answer.object->stamp != answer.stamp) {
    ++counts.overtaken;
    return;
  }
  Tell const tell = answer.object != nullptr ? answer.object->tell : answer.tell;
  if (tell) tell(answer.state);
}

void KernelDevice::Core::presenceIs(Object& object, Presence presence) {
  if (ids.isOfThisProcess(object.id)) {
    std::size_t& inForce = object.kind == Entry::Kind::group ? groupsInForce : nextHopsInForce;
    inForce -= object.presence == Presence::present ? 1 : 0;
    inForce += presence == Presence::present ? 1 : 0;
  }
  object.presence = presence;
}

void KernelDevice::Core::presenceIs(RouteEntry& route, Presence presence) {
  routesInForce -= route.presence == Presence::present ? 1 : 0;
  routesInForce += presence == Presence::present ? 1 : 0;
  route.presence = presence;
}

Object* KernelDevice::Core::objectOfId(std::uint32_t id) {
  auto const place = ids.placeOf(id);
  return place ? &object(place->target, place->bank) : nullptr;
}

void KernelDevice::Core::use(std::vector<GroupMember> const& members) {
  for (GroupMember const& member : members) useWay(member.id);
}

void KernelDevice::Core::disuse(std::vector<GroupMember>& members) {
  for (GroupMember const& member : std::exchange(members, {})) {
    std::uint32_t id = member.id;
    disuseWay(id);
  }
}

void KernelDevice::Core::useWay(std::uint32_t way) {
  if (Object* const object = objectOfId(way)) ++object->users;
}

void KernelDevice::Core::disuseWay(std::uint32_t& way) {
  Object* const object = objectOfId(std::exchange(way, kBlackhole));
  if (object == nullptr || --object->users > 0) return;
  if (std::exchange(object->waitsForUsers, false)) enqueue(*object);
}

void KernelDevice::Core::stopWaiting(RouteEntry& route) {
  if (Object* const object = std::exchange(route.waitsFor, nullptr)) object->waiters.erase(&route);
}

void KernelDevice::Core::dropIfEmpty(RouteEntry& route) {
  bool const isInUse = route.wanted || route.queued || route.inFlight ||
                       route.presence != Presence::absent || route.waitsFor != nullptr;
  if (isInUse) return;
  Route const place = route.route;
  routes_.erase(place);
}

}  // namespace KernelNextHop
