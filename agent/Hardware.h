// The agent's view of the switch hardware: the soft ASIC behind the ingress table.
//
//   Hardware hardware(rows, refusedRows, answer);
//   hardware.attach(*table);
//   loop.sourceIs(&hardware);     // delivers the answers that wait, once per turn
//
// Everything that a summary says about programmed rows comes from here and not from response
// handlers: the ingress table shows its key's state on an entry's handle, so a handler may hear
// "success" before the hardware has answered.
//
// Threading: the loop's thread. Ownership: counts the soft ASIC's objects, as the table does.
#pragma once

#include <cstdint>
#include <vector>

#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "agent/CommandLine.h"
#include "agent/EventLoop.h"
#include "plugins/soft-asic/AnswerQueue.h"
#include "plugins/soft-asic/NextHopHwTable.h"

namespace OrviaL3Agent {

class Hardware final : public EventLoop::Source {
 public:
  using Counts = SoftAsic::NextHopHwTable::Counts;

  Hardware(std::uint32_t rows, std::vector<std::uint32_t> const& refusedRows,
           ReplayOptions::Answer answer);

  // Gives the table its hardware and its utility and brings it up: ready for commits afterwards.
  void attach(OrviaL3Unicast::IngL3NextHop1Table& table);

  void runSlice() override;
  [[nodiscard]] bool busy() const override { return answers_->waiting() > 0; }

  [[nodiscard]] SoftAsic::NextHopHwTable::Row const& row(std::uint32_t row) const {
    return nextHops_->row(row);
  }
  [[nodiscard]] Counts const& counts() const { return nextHops_->counts(); }
  // Answers that were delivered, whatever they said.
  [[nodiscard]] std::uint64_t answers() const;
  // The rows that hold something.
  [[nodiscard]] std::uint64_t rowsInForce() const;

 private:
  Vek::Ptr<SoftAsic::AnswerQueue> answers_;
  Vek::Ptr<SoftAsic::NextHopHwTable> nextHops_;
};

}  // namespace OrviaL3Agent
