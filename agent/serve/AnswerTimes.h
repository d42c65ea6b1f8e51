// How long the hardware takes to answer writes, by table.
//
//   AnswerTimes times(device);
//   ...                                   // turns
//   times.turnEnds(now, accepted);        // at the end of each turn, after the hardware's answers
//
// It hears of every write and looks at the end of a turn which of them are answered by then, so the
// times are exact to a turn. A write that is overtaken by another one of its row, or deleted, is
// not counted; one whose answer is lost is forgotten with the next write of its row.
//
// Threading: the loop's thread. Ownership: refers to the device, which must outlive it.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>

#include "agent/serve/TimeHistogram.h"
#include "plugins/soft-asic/SoftDevice.h"

namespace OrviaL3Agent {

class AnswerTimes final : public SoftAsic::CallObserver {
 public:
  using Clock = std::chrono::steady_clock;
  // Told of each row whose last write was found accepted.
  using Accepted = std::function<void(SoftAsic::TableId table, std::uint32_t row)>;

  explicit AnswerTimes(SoftAsic::SoftDevice& device);
  ~AnswerTimes() override;
  AnswerTimes(AnswerTimes const&) = delete;
  AnswerTimes& operator=(AnswerTimes const&) = delete;

  void callIs(SoftAsic::Call const& call) override;
  void turnEnds(Clock::time_point now, Accepted const& accepted);

  // From the call of the write to its first answer.
  [[nodiscard]] TimeHistogram const& times(SoftAsic::TableId table) const {
    return tables_[static_cast<std::size_t>(table)].times;
  }

 private:
  struct Write {
    std::uint32_t row;
    std::uint64_t stamp;  // of the row, by this write
    Clock::time_point when;
  };
  struct Table {
    std::deque<Write> awaited;
    std::uint64_t answersSeen = 0;
    TimeHistogram times;
  };

  [[nodiscard]] std::uint64_t answers(SoftAsic::TableId table) const;
  // The row's stamp and its answer.
  struct RowState {
    std::uint64_t stamp;
    SoftAsic::Answer answer;
  };
  [[nodiscard]] RowState stateOf(SoftAsic::TableId table, std::uint32_t row) const;
  void forgetOvertaken(SoftAsic::TableId id, Table& table) const;

  // More than twice as many as a table may have rows: to look through them all is then rare.
  static constexpr std::size_t kMostAwaited = 131072;

  SoftAsic::SoftDevice& device_;
  std::array<Table, SoftAsic::kTables> tables_;
};

}  // namespace OrviaL3Agent
