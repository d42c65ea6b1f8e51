// The agent's view of the switch hardware: the soft ASIC behind the four tables.
//
//   Hardware hardware(options);
//   hardware.attach(*table);      // each of the four
//   loop.sourceIs(&hardware);     // delivers the answers that wait, once per turn
//
// Everything that a summary says about programmed rows comes from here and not from response
// handlers: the ingress table shows its key's state on an entry's handle, so a handler may hear
// "success" before the hardware has answered.
//
// An answer may complete something for which a table has no room. That ends that answer only; the
// others are delivered, and noRoom() says so.
//
// Threading: the loop's thread. Ownership: counts the soft ASIC's objects, as the table does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "agent/CommandLine.h"
#include "agent/EventLoop.h"
#include "plugins/soft-asic/SoftDevice.h"

namespace OrviaL3Agent {

class Hardware final : public EventLoop::Source {
 public:
  explicit Hardware(ReplayOptions const& options);

  // Gives the table its hardware and its utility, which `create` makes if given and else the soft
  // ASIC itself, and brings it up: ready for commits afterwards.
  template <class Table>
  void attach(Table& table, OrviaAsicUtils::UtilCreate create = nullptr) {
    device_.attach(table, create);
    // A start like any other: first what the hardware may still hold, then what depends on it.
    table.syncEntries();
    table.doInitComplete();
  }

  void runSlice() override;
  [[nodiscard]] bool busy() const override { return device_.answers()->waiting() > 0; }

  // Whether an answer met a full table since the last call.
  [[nodiscard]] bool takeNoRoom() { return std::exchange(noRoom_, false); }

  [[nodiscard]] SoftAsic::SoftDevice& device() { return device_; }
  [[nodiscard]] SoftAsic::SoftDevice const& device() const { return device_; }
  // A row of the next-hop table, whichever view's it is.
  [[nodiscard]] SoftAsic::NextHopHwTable::Row const& row(std::uint32_t row) const {
    return device_.nextHops().row(row);
  }
  // Of the member rows from `first` on, those that refused or lost their last write.
  [[nodiscard]] std::size_t memberRowsNotTaken(std::uint32_t first, std::uint32_t count) const;
  // Calls of all tables so far.
  [[nodiscard]] std::uint64_t deletes() const;
  [[nodiscard]] std::uint64_t calls() const;
  // The rows of all tables that hold something.
  [[nodiscard]] std::uint64_t rowsInForce() const;

  // The rows of a window that hold something.
  template <class Window>
  [[nodiscard]] static std::uint64_t rowsInForce(Window const& window) {
    std::uint64_t count = 0;
    for (std::uint32_t i = 0; i < window.rows(); ++i) {
      if (window.row(window.firstRow() + i).contents) ++count;
    }
    return count;
  }

 private:
  // Something of each of the four windows, added up.
  template <class Count>
  [[nodiscard]] std::uint64_t sum(Count const& count) const {
    return count(device_.ingressNextHops()) + count(device_.ecmpNextHops()) +
           count(device_.members()) + count(device_.groups());
  }

  SoftAsic::SoftDevice device_;
  bool noRoom_ = false;
};

}  // namespace OrviaL3Agent
