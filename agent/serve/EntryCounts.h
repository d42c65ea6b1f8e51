// How many entries of each kind are in which state, counted a slice at a time.
//
//   EntryCounts counts(agent);
//   while (!counts.runSlice()) { ... turns of the loop ... }
//   counts.states("ingress") ...
//
// An entry that is there from the first slice to the last is counted once, in a state that it has
// meanwhile; one that comes or goes may be counted or not. What fits into one slice is of one
// moment.
//
// Threading: the loop's thread. Ownership: refers to the agent; keeps keys from slice to slice and
// nothing that points into its tables.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "agent/Agent.h"
#include "agent/control/Job.h"
#include "agent/insight/BlockCounts.h"
#include "agent/insight/CauseScan.h"

namespace OrviaL3Agent {

class EntryCounts {
 public:
  // As many as NextHopState and Groups::State have; the two name the same states in one order.
  static constexpr std::size_t kStates = 5;
  static constexpr std::size_t kRouteStates = 6;
  // Group ids: with a group, waiting for members, dropping, dropping in part, not possible.
  static constexpr std::size_t kGroupIdStates = 5;
  using States = std::array<std::uint64_t, kStates>;

  struct Result {
    States ingress{};  // by NextHopState
    States ecmp{};
    States groups{};                                   // by Groups::State
    Insight::BlockCounts blocks;                       // of member rows
    std::array<std::uint64_t, kRouteStates> routes{};  // by Routes::State
    std::array<std::uint64_t, kGroupIdStates> groupIds{};
    std::uint64_t groupsWithMissingMembers =
        0;                         // some of whose member rows did not take their write
    std::uint64_t blackholes = 0;  // announced ids that drop
    std::uint64_t missingIds = 0;  // that somebody names and nobody announced
    std::uint64_t unusedNextHopIds = 0;
    std::array<std::uint64_t, SoftAsic::kTables> rowsInForce{};  // by SoftAsic::TableId
    std::array<std::uint64_t, Insight::Cause::kKinds> causes{};  // by Insight::Cause::Kind
  };

  explicit EntryCounts(Agent const& agent,
                       std::chrono::microseconds slice = Control::SliceTime::kSlice)
      : agent_(agent), slice_(slice), causes_(agent) {}

  // Returns whether all is counted.
  bool runSlice();
  [[nodiscard]] Result const& result() const { return result_; }

 private:
  using Time = Control::SliceTime;

  // Each returns whether it is done.
  bool countIngress(Time const& time);
  bool countEcmp(Time const& time);
  bool countGroups(Time const& time);
  bool countGroupIds(Time const& time);
  bool countIds(Time const& time);
  bool countRoutes(Time const& time);
  bool countRows(Time const& time);
  template <class Window>
  bool countRows(Time const& time, SoftAsic::TableId table, Window const& window);
  bool scanCauses(Time const& time);
  bool countCauses(Time const& time);

  Agent const& agent_;
  std::chrono::microseconds slice_;
  Insight::CauseScan causes_;
  Result result_;
  std::size_t step_ = 0;
  // The last that was counted.
  std::optional<Identity> hop_;
  std::optional<std::uint32_t> number_;
  std::optional<RouteKey> route_;
  std::size_t table_ = 0;
  std::uint32_t row_ = 0;
  std::size_t cause_ = 0;
};

}  // namespace OrviaL3Agent
