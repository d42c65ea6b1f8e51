#include "agent/Hardware.h"

#include "plugins/soft-asic/IngL3NextHop1SoftUtil.h"

namespace OrviaL3Agent {

Hardware::Hardware(std::uint32_t rows, std::vector<std::uint32_t> const& refusedRows,
                   ReplayOptions::Answer answer)
    : answers_(new SoftAsic::AnswerQueue(answer == ReplayOptions::Answer::now
                                             ? SoftAsic::AnswerQueue::Delivery::atOnce
                                             : SoftAsic::AnswerQueue::Delivery::whenDrained)),
      nextHops_(new SoftAsic::NextHopHwTable(rows)) {
  for (std::uint32_t const row : refusedRows) nextHops_->rowRefusesIs(row, true);
}

void Hardware::attach(OrviaL3Unicast::IngL3NextHop1Table& table) {
  table.utilIs(new SoftAsic::IngL3NextHop1SoftUtil(table, answers_));
  table.hwTableIs(nextHops_);
  table.numEntriesIs(nextHops_->rows());
  table.hwTableReadyIs(true);
  // A start like any other: first what the hardware may still hold, then what depends on it.
  table.syncEntries();
  table.doInitComplete();
}

void Hardware::runSlice() { answers_->drain(); }

std::uint64_t Hardware::answers() const {
  return counts().accepted + counts().refused + counts().overtaken;
}

std::uint64_t Hardware::rowsInForce() const {
  std::uint64_t count = 0;
  for (std::uint32_t row = 0; row < nextHops_->rows(); ++row) {
    if (nextHops_->row(row).contents) ++count;
  }
  return count;
}

}  // namespace OrviaL3Agent
