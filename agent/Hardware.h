// The agent's view of the switch hardware: the soft ASIC behind the four tables.
//
//   Hardware hardware(options);
//   hardware.attach(*table, create);   // each of the four
//   hardware.sync(*table);             // then each of them, what points before what it points at
//   hardware.start(*table);            // then each of them
//   loop.sourceIs(&hardware);          // delivers the answers that wait, once per turn
//
// Everything that a summary says about programmed rows comes from here and not from response
// handlers: the ingress table shows its key's state on an entry's handle, so a handler may hear
// "success" before the hardware has answered.
//
// The utilities may be a plug-in's over hardware of its own. Then the soft ASIC's rows are where it
// is written down what that is asked for and how it answers (RecordingUtil.h): they say the same.
//
// An answer may complete something for which a table has no room. That ends that answer only; the
// others are delivered, and noRoom() says so.
//
// Threading: the loop's thread. Ownership: counts the soft ASIC's objects, as the table does.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "agent/AgentOptions.h"
#include "agent/EventLoop.h"
#include "agent/Recording.h"
#include "agent/RecordingUtil.h"
#include "plugins/soft-asic/SoftDevice.h"

namespace OrviaL3Agent {

class Hardware final : public EventLoop::Source {
 public:
  explicit Hardware(AgentOptions const& options);

  // Gives the table its hardware and its utility, which `create` makes if given and else the soft
  // ASIC itself. Throws what the utility's making throws, and nothing has happened then.
  template <class Table>
  void attach(Table& table, OrviaAsicUtils::UtilCreate create = nullptr) {
    device_.attach(table, create);
    using Wiring = typename WiringOf<Table>::Wiring;
    if (table.util()->name() == Wiring::name()) return;
    table.utilIs(new RecordingUtil<Wiring>(table, table.util(), recording_));
  }
  // The table meets what the hardware holds from before: it takes it back or clears it. Not ready
  // yet, so that what it takes back is not written. Tables whose rows point at others' come first:
  // cleared so, no row leads to one that is gone.
  template <class Table>
  void sync(Table& table) {
    table.syncEntries();
  }
  // Ready for commits afterwards.
  template <class Table>
  void start(Table& table) {
    table.doInitComplete();
    table.hwTableReadyIs(true);
  }

  // Ends each slice after that time, with what is left for the next one. Without this call a slice
  // delivers all that is due.
  void sliceTimeIs(std::chrono::microseconds time) { sliceTime_ = time; }

  void runSlice() override;
  [[nodiscard]] bool busy() const override { return device_.answers()->waiting() > 0; }

  // Whether an answer met a full table since the last call.
  [[nodiscard]] bool takeNoRoom() { return std::exchange(noRoom_, false); }
  // One did that was delivered elsewhere.
  void noRoomIs() { noRoom_ = true; }

  // Of the tables that other hardware serves.
  [[nodiscard]] Recording& recording() { return *recording_; }
  // The other hardware holds that in a row of the ingress table, from before this process.
  void rowFromBefore(Asic::Index row, SoftAsic::NextHopContents const& contents) {
    device_.ingressNextHops().recordFromBefore(row, contents);
    device_.ingressNextHops().tellRow(row);
  }

  [[nodiscard]] SoftAsic::SoftDevice& device() { return device_; }
  [[nodiscard]] SoftAsic::SoftDevice const& device() const { return device_; }
  // A row of the next-hop table, whichever view's it is; an empty one where there is no such row,
  // which a handle can name once somebody has set it by name.
  [[nodiscard]] SoftAsic::NextHopHwTable::Row const& row(std::uint32_t row) const {
    static SoftAsic::NextHopHwTable::Row const none;
    return row < device_.nextHops().rows() ? device_.nextHops().row(row) : none;
  }
  // Of the member rows from `first` on, those that refused or lost their last write.
  [[nodiscard]] std::size_t memberRowsNotTaken(std::uint32_t first, std::uint32_t count) const;
  // Calls of all tables so far.
  [[nodiscard]] std::uint64_t deletes() const;
  [[nodiscard]] std::uint64_t calls() const;
  // The same with answers and refills: as long as it stays, no row has changed, nor what is known
  // of one.
  [[nodiscard]] std::uint64_t activity() const;
  // Calls that member rows have had so far.
  [[nodiscard]] std::uint64_t memberCalls() const;
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
  std::shared_ptr<Recording> recording_ = std::make_shared<Recording>();
  std::optional<std::chrono::microseconds> sliceTime_;
  bool noRoom_ = false;
};

}  // namespace OrviaL3Agent
