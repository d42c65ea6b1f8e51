// What is measured turn by turn: how long the hardware takes, how long records take from their
// commit on, how long messages take to come into force, how late the stream is read.
//
//   MeasuredTimes times(agent, stream);
//   times.turnEnds();                 // at the end of each turn, after the hardware's answers
//
// All times are exact to a turn.
//
// Threading: the loop's thread. Ownership: refers to the agent and the stream, which must outlive
// it.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "agent/Agent.h"
#include "agent/serve/AnswerTimes.h"
#include "agent/serve/Convergence.h"
#include "agent/serve/FpmServer.h"

namespace OrviaL3Agent {

class MeasuredTimes {
 public:
  using Clock = std::chrono::steady_clock;

  MeasuredTimes(Agent& agent, FpmServer const& stream);

  void turnEnds();
  // Whether another turn is needed to tell whether this is a state of rest.
  [[nodiscard]] bool wantsTurn() const { return convergence_.wantsTurn(); }

  // From the call of a write to the hardware's first answer.
  [[nodiscard]] TimeHistogram const& answerTimes(SoftAsic::TableId table) const {
    return answers_.times(table);
  }
  // From a record's commit, however long it was parked, until the hardware accepted it. Not of
  // member blocks, which are published without an answer.
  [[nodiscard]] TimeHistogram const& handlerLatency(SoftAsic::TableId table) const {
    return latencies_[static_cast<std::size_t>(table)];
  }
  // From a message's arrival to the state of rest after it.
  [[nodiscard]] Convergence const& convergence() const { return convergence_; }

 private:
  [[nodiscard]] bool isAtRest() const;
  void accepted(Clock::time_point now, SoftAsic::TableId table, std::uint32_t row);
  // Of the record in the row, if it is the latest of whoever has the row.
  [[nodiscard]] std::optional<Since> commitOf(SoftAsic::TableId table, std::uint32_t row) const;

  Agent& agent_;
  FpmServer const& stream_;
  AnswerTimes answers_;
  Convergence convergence_;
  // When the oldest bytes arrived that the turn before left unread, or that turn ended.
  std::optional<Clock::time_point> arrival_;
  std::array<TimeHistogram, SoftAsic::kTables> latencies_;
  // By row, the commit that was counted last: a record that is written once more is no new one.
  std::vector<Since> countedNextHops_;
  std::vector<Since> countedGroups_;
};

}  // namespace OrviaL3Agent
