// All root causes, with what waits behind each of them.
//
//   CauseScan scan(agent);
//   while (!scan.runSlice()) {}            // once per turn
//   while (auto const* worst = scan.next()) print(worst->cause, worst->routes);
//
// Looks at every next hop, group, group id and route, about a millisecond's work in each slice.
// What happens to the agent between two slices is seen in part: the counts are of that while and
// not of one moment.
//
// Threading: the loop's thread. Ownership: refers to the agent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "agent/insight/Causes.h"
#include "agent/insight/Slice.h"

namespace OrviaL3Agent::Insight {

// A root cause, and the entries that are not in the hardware as they were asked for because of it.
// What has two causes counts with both.
struct CauseCount {
  Cause cause;
  std::optional<Since> since;  // the earliest of those that it holds up
  std::uint64_t routes = 0;    // whose packets the hardware does not lead
  std::uint64_t kept = 0;      // further routes, which lead the way that they led before
  std::uint64_t groupIds = 0;
  std::uint64_t groups = 0;
  std::uint64_t blocks = 0;
  std::uint64_t nextHops = 0;
};

class CauseScan {
 public:
  explicit CauseScan(Agent const& agent);

  // Does about a millisecond's work. Returns whether the scan is done.
  bool runSlice();

  // After the scan. How many causes there are, and of that kind.
  [[nodiscard]] std::size_t size() const { return causes_.size(); }
  [[nodiscard]] std::size_t count(Cause::Kind kind) const;
  // In the order in which they were found.
  [[nodiscard]] std::deque<CauseCount> const& causes() const { return causes_; }
  [[nodiscard]] CauseCount const* find(Cause const& cause) const;
  // The one that blocks most routes, then the next; those that block as many, by their entries.
  // Nothing behind the last.
  [[nodiscard]] CauseCount const* next();

 private:
  using CauseIndex = std::uint32_t;
  using Indices = std::vector<CauseIndex>;
  enum class Phase : std::uint8_t { ecmpHops, groups, groupIds, ingressHops, routes, spread, rank };

  // What waits for one group, or for one group id that is in its own way.
  struct Waiting {
    Indices causes;
    bool isSeen = false;
    std::uint64_t routes = 0;
    std::uint64_t kept = 0;
  };
  // Of two causes, which is the lesser one.
  struct Before {
    std::deque<CauseCount> const& causes;
    bool operator()(CauseIndex a, CauseIndex b) const;
  };

  bool scanEcmpHops(Slice& slice);
  bool scanGroups(Slice& slice);
  bool scanGroupIds(Slice& slice);
  bool scanIngressHops(Slice& slice);
  bool scanRoutes(Slice& slice);
  bool spread(Slice& slice);
  bool rank(Slice& slice);

  void scanGroup(Groups::Group const& group);
  void scanRoute(RouteKey const& key, Routes::Route const& route);
  void count(Waiting& waiting, Routes::Route const& route) const;
  void countRoute(CauseIndex cause, Routes::State state);
  void spread(Waiting const& waiting);
  [[nodiscard]] Waiting& waitingFor(Groups::Group const& group);
  [[nodiscard]] Waiting* waitingFor(std::uint32_t id);

  // Of found_, each once; found_ is empty afterwards.
  [[nodiscard]] Indices indices();
  [[nodiscard]] CauseIndex index(Found const& found);
  [[nodiscard]] std::size_t slotOf(Cause const& cause) const;
  void grow();

  Agent const& agent_;
  Phase phase_ = Phase::ecmpHops;

  // Where the phase is.
  std::optional<Identity> identity_;
  std::optional<std::uint32_t> number_;
  std::optional<RouteKey> route_;
  std::size_t at_ = 0;

  std::vector<Found> found_;
  std::deque<CauseCount> causes_;
  // Open addressing: 0 for an empty slot, else one more than the index. A map of as many nodes
  // would take longer to end than a slice.
  std::vector<std::uint32_t> slots_;
  std::vector<Waiting> groups_;                            // by number
  std::vector<std::pair<std::uint32_t, Waiting>> ids_;     // by ascending id
  std::unordered_map<void const*, std::uint32_t> blocks_;  // with the group that counts for it
  std::vector<CauseIndex> ranked_;                         // a heap
};

}  // namespace OrviaL3Agent::Insight
