// The kernel device's inside: entries that are not as they are to be are queued, sent in batches,
// and settled by the kernel's answers.
//
// A request says what its entry is to be at the moment it is sent, so an entry is in the queue once
// however often it is written. It is under way once, too: what is written meanwhile is sent after
// the answer.
//
// In four files: CoreWrites.cpp (what is asked for), CoreSending.cpp (queue and requests),
// CoreAnswers.cpp (replies and what follows from them), CoreReading.cpp (dumps).
//
// Threading: one thread. Ownership: owns socket and books.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "plugins/kernel-nexthop/Books.h"
#include "plugins/kernel-nexthop/KernelDevice.h"
#include "plugins/kernel-nexthop/NamespaceLock.h"
#include "plugins/kernel-nexthop/NetlinkSocket.h"
#include "plugins/kernel-nexthop/Replies.h"

namespace KernelNextHop {

class KernelDevice::Core {
 public:
  explicit Core(KernelOptions const& options);
  Core(Core const&) = delete;
  Core& operator=(Core const&) = delete;

  // CoreWrites.cpp
  void nextHopIs(std::uint32_t row, Record const& record, Tell tell);
  void nextHopDel(std::uint32_t row);
  void nextHopsDel(std::uint32_t first, std::uint32_t last);
  void memberIs(std::uint32_t row, std::uint32_t nextHopRow);
  void memberDel(std::uint32_t row);
  void membersDel();
  void groupIs(std::uint32_t row, std::uint32_t firstMember, std::uint32_t members, Tell tell);
  void groupDel(std::uint32_t row);
  void groupsDel();
  void routeIs(Route const& place, Target const& target);
  void routeDel(Route const& place);
  void routeRetry(Route const& place);
  void release();
  void ingressFromBefore(std::function<void(std::uint32_t, NextHop const&)> const& function);
  void nextHopRestored(std::uint32_t row, Record const& record, Tell tell);

  // CoreSending.cpp
  void runSlice(Clock::time_point until);
  [[nodiscard]] bool busy() const;

  void recheck() { readingWanted_ = ReadingFor::retrying; }

  [[nodiscard]] Object const* find(Target const& target) const;
  [[nodiscard]] RouteEntry const* find(Route const& route) const;

  KernelOptions const options;
  IdentityOf identityOf;
  RowOwnerOf ownerOf;
  RouteAnswers routeAnswers;
  Ids ids;
  Counts counts;
  std::size_t nextHopsInForce = 0;
  std::size_t groupsInForce = 0;
  std::size_t routesInForce = 0;
  bool isReleased = false;
  [[nodiscard]] int fileDescriptor() const { return socket_.fileDescriptor(); }

 private:
  static constexpr std::uint32_t kNoRow = 0xFFFFFFFF;

  // A request whose answer is not here yet.
  struct Request {
    Entry* entry;
    std::uint64_t stamp;
    bool isDelete;
  };
  // An answer on its way to a table, or to whoever made a route.
  struct Answer {
    Object* object = nullptr;  // none: of a route, or of a row that there is not
    std::uint64_t stamp = 0;
    Object::State state = Object::State::refused;
    Tell tell;  // of a row that there is not
    std::optional<Route> route;
    RouteAnswer routeAnswer;
  };
  enum class Prepared : std::uint8_t { request, nothing, later };
  // What is not as it is to be is asked for after a reading; what was refused before is so only if
  // somebody wants it tried again.
  enum class ReadingFor : std::uint8_t { nothing, comparing, retrying };
  // Where a reading of the kernel's lists stands.
  enum class Reading : std::uint8_t { none, objects, routes4, routes6 };

  // Writes.
  Object& object(Target const& target, unsigned bank);
  Object& object(Target const& target);
  RouteEntry& routeEntry(Route const& route);
  void write(Object& object, Tell tell);
  void remove(Object& object, bool forced);
  void resolve(Object& nextHop);
  void coverMembers(Object& group);
  void uncoverMembers(Object& group);
  void refuseRow(Tell tell);

  // Queue and requests.
  void enqueue(Entry& entry);
  bool sendBatch();
  [[nodiscard]] static bool isInTheWay(Entry const& entry);
  Prepared prepare(Entry& entry, Batch& batch);
  Prepared prepareNextHop(Object& object, Batch& batch);
  Prepared prepareGroup(Object& group, Batch& batch);
  Prepared prepareDelete(Object& object, Batch& batch);
  Prepared prepareRoute(RouteEntry& route, Batch& batch);
  Prepared prepareRouteDel(RouteEntry& route, Batch& batch);
  std::string build(Object const& group, std::vector<GroupMember>& members) const;
  [[nodiscard]] bool isUnderWay(std::uint32_t id) const;
  std::uint32_t nextSeq() const { return firstSeq_ + static_cast<std::uint32_t>(flying_.size()); }
  void lose(Request const& request);
  void unsend(std::size_t requests);

  // Answers.
  bool receive();
  void replied(std::uint32_t seq, Reply const& reply);
  void lost();
  void settle(Object& object, Request const& request, Reply const& reply);
  void settle(RouteEntry& route, Request const& request, Reply const& reply);
  void doubt(Reply const& reply, Object::State told);
  void answer(Object& object, Object::State state, std::string refusal);
  void answer(RouteEntry& route, Reply const& reply, bool isDelete);
  void deliver();
  void presenceIs(Object& object, Presence presence);
  void presenceIs(RouteEntry& route, Presence presence);
  void use(std::vector<GroupMember> const& members);
  void disuse(std::vector<GroupMember>& members);
  void useWay(std::uint32_t way);
  void disuseWay(std::uint32_t& way);
  Object* objectOfId(std::uint32_t id);  // made if need be; none: not the device's
  void stopWaiting(RouteEntry& route);
  void dropIfEmpty(RouteEntry& route);

  // Reading.
  void requireRights();
  void compareIsWanted() { readingWanted_ = std::max(readingWanted_, ReadingFor::comparing); }
  bool readSlice();
  void readStart(Reading what);
  void readMessage(nlmsghdr const& message);
  void readEnd();
  void compareObjects();
  void compare(Object& object);
  void compareRoutes();
  void chooseBank();

  // Objects belong to whoever has their ids, routes to whoever has their protocol.
  NamespaceLock idsLock_;
  NamespaceLock routesLock_;
  NetlinkSocket socket_;
  std::unordered_map<std::uint32_t, Object> objects_;  // by id
  std::map<Route, RouteEntry> routes_;
  std::vector<std::uint32_t> members_;            // next-hop rows by member row
  std::vector<std::vector<Object*>> groupsOver_;  // by member row
  std::uint64_t stamp_ = 0;

  std::deque<Entry*> queue_;
  std::deque<std::optional<Request>> flying_;  // by sequence, from firstSeq_ on; none: answered
  std::uint32_t firstSeq_ = 1;
  std::size_t unanswered_ = 0;
  std::size_t window_;
  bool overrun_ = false;
  Clock::time_point heard_;
  Clock::time_point doubted_;
  Batch batch_;
  std::deque<Answer> answers_;

  NetlinkSocket reader_;
  ReadingFor readingWanted_ = ReadingFor::nothing;
  bool isRetrying_ = false;
  Reading reading_ = Reading::none;
  std::uint32_t readSeq_ = 0;
  bool readDone_ = false, readInterrupted_ = false;
  bool isStarted_ = false;
  std::map<std::uint32_t, DumpedObject> seenObjects_;
  std::map<Route, std::uint32_t> seenRoutes_;
};

}  // namespace KernelNextHop
