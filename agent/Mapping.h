// From what a routing daemon says to the four tables.
//
//   Mapping mapping(tables, parts, hardware, options);
//   mapping.messageIs(message); ... mapping.frameEnds();
//   mapping.settle();              // at the end of every turn
//   mapping.sliceTimeIs(time);     // no turn takes long; else all is done at once
//
// Next-hop ids, groups and routes are kept as they are announced, and hold what they need: routes
// hold rows of the ingress table or groups, group ids hold groups, groups hold blocks and rows of
// the ECMP view. What nothing uses is counted and not programmed. What goes, goes from the top:
// route, group, block, next hops, interface; what is withdrawn while something uses it, stays until
// nothing does.
//
// When a new connection of the daemon begins, what it said before is marked: routes become stale,
// ids are forgotten, for a daemon that was restarted means others by the same numbers, and
// everything that they used is held. So nothing leaves the hardware, nothing changes there, and
// what is announced again finds what it needs in place. Once the daemon has said all, sweep()
// removes what is still stale and lets go of what was held. Both are done a slice at a time;
// between the slices of the marking no message may come.
//
// What the hardware refused and what found no room is tried again when it is announced again, when
// rows are freed, and by retry().
//
// One message may concern a hundred thousand routes, as may an interface, a retry or what the
// hardware has accepted. With a slice time each of these is worked off within that time in every
// settle(), in the order in which they came, messages one after the other: those that come while
// one is worked off wait (isBehind(): whoever brings them had better wait himself). The outcome is
// that of doing all at once, which is what happens without a slice time.
//
// Threading: the loop's thread. Ownership: counts the tables; refers to the hardware and the parts,
// which must outlive it. Its end leaves in the tables what was committed.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "agent/Deadline.h"
#include "agent/GroupIds.h"
#include "agent/Groups.h"
#include "agent/IdChanges.h"
#include "agent/Ids.h"
#include "agent/IngressNextHops.h"
#include "agent/KeptUses.h"
#include "agent/Routes.h"
#include "agent/Steps.h"
#include "agent/StreamCounts.h"

namespace OrviaL3Agent {

class Mapping {
 public:
  struct Tables {
    Vek::Ptr<IngressNextHops::Table> ingress;
    Vek::Ptr<EcmpNextHops::Table> ecmp;
    Vek::Ptr<Groups::MemberTable> members;
    Vek::Ptr<Groups::Table> groups;
  };

  struct IdCounts {
    std::uint64_t announced = 0;  // single next-hop ids that were new
    std::uint64_t repeated = 0;   // announced again as they were
    std::uint64_t changed = 0;    // announced again with other contents
    std::uint64_t withdrawn = 0;
    std::size_t peak = 0;  // most at once
  };

  // `rows`: of the ingress table's keys. `counts`: of messages, kept up to date; must outlive this.
  Mapping(Tables tables, NextHopParts& parts, Hardware const& hardware,
          std::shared_ptr<RowKey::Rows> rows, std::uint32_t maxWidth, StreamCounts& counts);
  ~Mapping();
  Mapping(Mapping const&) = delete;
  Mapping& operator=(Mapping const&) = delete;

  void messageIs(Fpm::Message const& message);
  void frameEnds();

  // See above. Zero is a step at a time.
  void sliceTimeIs(std::chrono::microseconds time) { sliceTime_ = time; }
  // Whether a message is being worked off, or waits.
  [[nodiscard]] bool isBehind() const {
    return !pending_.empty() || !changes_.isOver() || routes_.isEnding();
  }
  // Whether settle() has more to do, whatever happens meanwhile.
  [[nodiscard]] bool busy() const {
    return isBehind() || groups_.isRepairing() || retry_ != Retry::none || isSettling_ ||
           (sliceTime_ && activity() != settledActivity_);
  }

  // Keeps routes up to date with what they lead to. Not owned; it has to be there until this ends,
  // or is taken away before.
  void routeSinkIs(RouteSink* sink) {
    sink_ = sink;
    groupIds_.routeSinkIs(sink);
    routes_.routeSinkIs(sink);
  }

  // A new connection. Until markSlice() says that all is marked, no message may come. Once more
  // before the sweep, for yet another connection: what is stale stays so.
  void mark();
  [[nodiscard]] bool markSlice(Deadline const& deadline);
  // The daemon has said all. Messages may come between the slices. Returns, as markSlice(), whether
  // it is over; what has failed in hardware is tried again then.
  void sweep();
  [[nodiscard]] bool sweepSlice(Deadline const& deadline);

  struct Stale {
    std::size_t routes = 0, groups = 0, hops = 0;
    [[nodiscard]] bool empty() const { return routes + groups + hops == 0; }
  };
  // Routes that are stale, and what is held for all that was before the last mark.
  [[nodiscard]] Stale stale() const;
  // What the last sweep has removed: of the groups and next hops those that nobody else had.
  [[nodiscard]] Stale const& swept() const { return swept_; }

  // Local repair: groups go without their paths over an interface that is down.
  void interfaceIs(std::uint32_t interface, bool up);
  // Writes the rows of next hops over the interface once more: it is another one now, of the same
  // name.
  void rewrite(std::uint32_t interface) {
    ingress_.rewrite(interface);
    ecmp_.rewrite(interface);
  }
  // Tries again what failed, and with `unanswered` also what got no answer.
  void retry(bool unanswered);
  // A table was found full outside of the calls above.
  void noRoom() { groups_.noRoom(); }
  // Lets go of what is replaced by now, and tries again where rows were freed.
  void settle();

  // The next hops of routes, while the ingress table refills itself.
  [[nodiscard]] IngressNextHops& refill() { return ingress_; }
  // The stream has said all, and a hold time has passed: what is still in hardware from before the
  // restart and that nobody has asked for goes.
  void release() {
    ingress_.release();
    ++released_;
  }
  // The same, a slice at a time. Returns whether it is over.
  [[nodiscard]] bool releaseSlice(Deadline const& deadline) {
    if (!ingress_.releaseSlice(deadline)) return false;
    ++released_;
    return true;
  }

  // What a holder keeps in hardware because what it asks for now is not in force or cannot be.
  struct Kept {
    std::optional<Identity> hop;  // of the ingress table
    std::optional<Paths> group;
  };
  [[nodiscard]] std::vector<Kept> kept() const;
  // What the resynchronisation holds until its sweep.
  [[nodiscard]] KeptUses const& held() const { return held_; }

  [[nodiscard]] Tables const& tables() const { return tables_; }
  [[nodiscard]] Ids const& ids() const { return ids_; }
  [[nodiscard]] GroupIds const& groupIds() const { return groupIds_; }
  [[nodiscard]] Routes const& routes() const { return routes_; }
  [[nodiscard]] IngressNextHops const& ingress() const { return ingress_; }
  [[nodiscard]] EcmpNextHops const& ecmp() const { return ecmp_; }
  [[nodiscard]] Groups const& groups() const { return groups_; }
  // Announcements of single next hops and of groups.
  [[nodiscard]] IdCounts const& nextHopCounts() const { return nextHopCounts_; }
  [[nodiscard]] IdCounts const& groupCounts() const { return groupCounts_; }

 private:
  // What a turn tries again at least, as long as something is left to be tried.
  static constexpr std::size_t kLeastRetries = 16;

  struct Dispatch;

  void idIs(std::uint32_t id, Ids::Contents contents, IdCounts* counts);
  void groupEnds(std::uint32_t id);
  void wait(std::optional<Fpm::Message> const& message);
  void begin(Fpm::Message const* message);
  void handle(Fpm::Message const* message);
  [[nodiscard]] Steps steps() const { return Steps(sliceTime_); }
  template <class Slice>
  void doSlice(Steps steps, Slice const& slice);
  void work(Steps& steps);
  void repairSlice(Steps& steps);
  void beginRetry(bool unanswered);
  void retrySlice(Steps& steps);
  void settleHolders();
  // As long as it stays, nothing has come into force.
  [[nodiscard]] std::uint64_t activity() const { return hardware_.activity() + handled_; }
  [[nodiscard]] bool markGroupIds(Deadline const& deadline);
  [[nodiscard]] bool markRoutes(Deadline const& deadline);
  [[nodiscard]] bool endIds(Deadline const& deadline);
  [[nodiscard]] bool sweepRoutes(Deadline const& deadline);

  Tables tables_;
  Hardware const& hardware_;
  StreamCounts& counts_;
  EcmpNextHops ecmp_;
  IngressNextHops ingress_;
  Groups groups_;
  Ids ids_;
  GroupIds groupIds_;
  Routes routes_;
  IdChanges changes_;
  std::optional<std::chrono::microseconds> sliceTime_;
  // Messages, and the ends of frames as none, behind the one that is worked off.
  std::deque<std::optional<Fpm::Message>> pending_;
  RouteSink* sink_ = nullptr;
  IdCounts nextHopCounts_;
  IdCounts groupCounts_;
  KeptUses held_;  // of before the last mark
  // How far the marking is, and the last id and route that it or the sweep has looked at.
  enum class Marking { groupIds, routes, ends } marking_ = Marking::ends;
  std::optional<std::uint32_t> lastId_;
  std::optional<RouteKey> lastRoute_;
  Stale swept_;
  // How far the pass over what failed is, and whether there is to be another one.
  enum class Retry : std::uint8_t { none, ecmp, ingress, groups, notPlaced } retry_ = Retry::none;
  bool retriesUnanswered_ = false;
  bool retriesAgain_ = false;
  // Whether what was replaced is being looked through, and what had happened when that began.
  bool isSettling_ = false;
  std::uint64_t settledActivity_ = 0;
  std::uint64_t handled_ = 0;
  std::uint64_t freedSeen_ = 0;
  std::uint64_t released_ = 0;
};

}  // namespace OrviaL3Agent
