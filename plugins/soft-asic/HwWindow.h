// The window through which one software table sees the rows of a simulated hardware table.
//
//   Vek::Ptr<DeviceTable<Contents>> device = new DeviceTable<Contents>(rows);
//   Vek::Ptr<HwWindow<Contents>> lower = new HwWindow<Contents>(device, 0, rows / 2);
//   Vek::Ptr<HwWindow<Contents>> upper = new HwWindow<Contents>(device, rows / 2, rows / 2);
//
// A window is what a software table is attached to: an Asic::HwTable of its own, so that the
// answers to one table never reach the other. Rows carry their device numbers in every window. A
// window touches no row but its own; windows of one device should not overlap.
//
// What the hardware does wrong is decided here, write by write: see FaultProfile.h.
//
// One thread. A window keeps its device alive.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <utility>

#include "Asic/HwTable.h"
#include "plugins/soft-asic/CallWatch.h"
#include "plugins/soft-asic/DeviceTable.h"
#include "plugins/soft-asic/FaultProfile.h"

namespace SoftAsic {

// What went through one window. Every answer that is delivered is counted once: as accepted,
// refused, repeated or overtaken, or under the noSuchRow of its write.
struct Counts {
  std::uint64_t writes = 0;
  std::uint64_t deletes = 0;
  std::uint64_t accepted = 0;    // first answers
  std::uint64_t refused = 0;     // first answers of rows; writes outside the window: noSuchRow
  std::uint64_t repeated = 0;    // second answers to a write
  std::uint64_t overtaken = 0;   // answers to a write that was overwritten or deleted meanwhile
  std::uint64_t unclaimed = 0;   // answers that no handle was there for
  std::uint64_t noSuchRow = 0;   // writes (refused) and deletes (ignored) outside the window
  std::uint64_t withoutRow = 0;  // of these, deletes of an entry that never had a row
  std::uint64_t deleteAlls = 0;
  std::uint64_t lostWrites = 0;   // neither effect nor answer
  std::uint64_t lostAnswers = 0;  // to writes that arrived
  std::uint64_t late = 0;         // writes whose answers were put off
  std::uint64_t unowned = 0;      // rows from before that nobody owned when the table was refilled
};

template <class ContentsOfRow>
class HwWindow final : public Asic::HwTable {
 public:
  using Contents = ContentsOfRow;
  using Device = DeviceTable<Contents>;
  using Row = typename Device::Row;
  using Answer = SoftAsic::Answer;
  using Counts = SoftAsic::Counts;
  using Stamp = std::uint64_t;

  // What a write came to.
  struct Receipt {
    Fate fate = Fate::taken;
    std::optional<Stamp> stamp;  // none: the window has no such row
    unsigned answers = 1;
    Timing timing;
  };

  // All of a device of its own.
  explicit HwWindow(std::uint32_t rows) : HwWindow(new Device(rows), 0, rows) {}
  // Throws std::out_of_range when the device does not have these rows.
  HwWindow(Vek::Ptr<Device> const& device, std::uint32_t firstRow, std::uint32_t rows)
      : device_(device), firstRow_(firstRow), rows_(rows) {
    if (firstRow > device_->rows() || rows > device_->rows() - firstRow) {
      throw std::out_of_range("a window reaches beyond its device table");
    }
  }

  [[nodiscard]] Vek::Ptr<Device> const& device() const { return device_; }
  [[nodiscard]] std::uint32_t firstRow() const { return firstRow_; }
  // How many there are; the last is firstRow() + rows() - 1.
  [[nodiscard]] std::uint32_t rows() const { return rows_; }
  [[nodiscard]] bool hasRow(Asic::Index row) const {
    return row.value() >= firstRow_ && row.value() - firstRow_ < rows_;
  }
  // Throws std::out_of_range outside the window.
  [[nodiscard]] Row const& row(Asic::Index row) const { return device_->row(checked(row)); }
  // The rows whose last write was answered in that way.
  [[nodiscard]] std::uint64_t rowsAnswered(Answer answer) const {
    return static_cast<std::uint64_t>(std::count_if(
        begin(), begin() + rows_, [answer](Row const& row) { return row.answer == answer; }));
  }
  // The rows that hold what they held before this process.
  [[nodiscard]] std::uint64_t rowsFromBefore() const {
    return static_cast<std::uint64_t>(
        std::count_if(begin(), begin() + rows_, [](Row const& row) { return row.fromBefore; }));
  }
  // As the device's. Throws std::out_of_range outside the window.
  void rowRefusesIs(Asic::Index row, bool refuses) { device_->rowRefusesIs(checked(row), refuses); }
  [[nodiscard]] Counts const& counts() const { return counts_; }

  // What goes wrong from now on. Without a profile, nothing does, and the queue says when answers
  // come.
  [[nodiscard]] std::optional<FaultProfile> const& fault() const { return fault_; }
  void faultIs(FaultProfile const& profile) { fault_ = profile; }
  // From now on nothing goes wrong, and no row refuses. A profile's answers at once stay at once;
  // others come in order in the next turn.
  void faultsDel() {
    if (fault_) {
      std::optional<std::uint32_t> const answerAfter =
          fault_->answerAfter ? std::optional<std::uint32_t>(0) : std::nullopt;
      fault_ = FaultProfile{};
      fault_->answerAfter = answerAfter;
    }
    std::for_each(begin(), begin() + rows_, [](Row& row) { row.refuses = false; });
  }

  // Calls are told to the watch, as those of that table.
  void watchIs(TableId table, Vek::Ptr<CallWatch> const& watch) {
    table_ = table;
    watch_ = watch;
  }

  // For the utility.
  Receipt write(Asic::Index index, Contents const& contents) {
    ++counts_.writes;
    if (!fault_) return take(index, contents, {});
    return take(index, contents, courseOf(*fault_, counts_.writes, index));
  }
  // The answer to the write of that stamp, or none when it was overtaken. Without a stamp: to a
  // write outside the window. There is no row to keep that answer's order by; it always refuses.
  std::optional<EntryState> answer(Asic::Index index, std::optional<Stamp> stamp) {
    if (!stamp) return refused;
    Row& row = device_->rows_[index.value()];
    if (row.stamp != *stamp) {
      ++counts_.overtaken;
      return {};
    }
    bool const isRefused = row.fate == Fate::refused;
    if (row.answer != Answer::awaited) {
      ++counts_.repeated;
    } else if (isRefused) {
      ++counts_.refused;
    } else {
      ++counts_.accepted;
    }
    row.answer = isRefused ? Answer::refused : Answer::accepted;
    return isRefused ? refused : success();
  }
  // Ignored outside the window.
  Fate erase(Asic::Index index) {
    ++counts_.deletes;
    if (index == Asic::Index::invalidIndex()) ++counts_.withoutRow;
    Row* const row = find(index);
    if (row == nullptr) return Fate::noSuchRow;
    empty(*row);
    return Fate::taken;
  }
  void eraseAll() {
    ++counts_.deleteAlls;
    std::for_each(begin(), begin() + rows_, [this](Row& row) { empty(row); });
  }
  // For who stands before other hardware and writes down here what that is asked for, and what it
  // says. Faults are this hardware's own and play no part.

  // The row holds that from now on, as far as anybody knows before the answer. Counts a row that is
  // not there.
  void record(Asic::Index index, Contents const& contents) {
    ++counts_.writes;
    Row* const row = find(index);
    if (row == nullptr) return;
    if (row->answer == Answer::awaited) ++counts_.overtaken;
    device_->contentsIs(*row, contents);
    row->fate = Fate::taken;
    row->answer = Answer::awaited;
    ++row->stamp;
  }
  // The answer to the last write of the row; after a refusal it holds what it held before: `kept`.
  // Returns whether that is another thing than it seemed to hold.
  bool recordAnswer(Asic::Index index, bool isAccepted, std::optional<Contents> const& kept) {
    if (!hasRow(index)) return false;
    Row& row = device_->rows_[index.value()];
    if (row.answer != Answer::awaited) {
      ++counts_.repeated;
    } else {
      ++(isAccepted ? counts_.accepted : counts_.refused);
    }
    row.answer = isAccepted ? Answer::accepted : Answer::refused;
    row.fate = isAccepted ? Fate::taken : Fate::refused;
    if (isAccepted || row.contents == kept) return false;
    if (kept) {
      device_->contentsIs(row, *kept);
    } else {
      device_->contentsDel(row);
    }
    return true;
  }
  // The other hardware held that before this process.
  void recordFromBefore(Asic::Index index, Contents const& contents) {
    Row* const row = find(index);
    if (row == nullptr) return;
    device_->contentsIs(*row, contents);
    row->fate = Fate::taken;
    row->answer = Answer::accepted;
    row->fromBefore = true;
    ++row->stamp;
  }
  // Tells whoever watches what the row holds now, under number 0: no call made it so.
  void tellRow(Asic::Index index) const {
    if (!watch_ || !watch_->isWatched()) return;
    Call call;
    call.table = table_;
    call.row = index.value();
    std::optional<Contents> const contents = row(index).contents;
    call.kind = contents ? Call::Kind::write : Call::Kind::remove;
    if (contents) call.contents = *contents;
    watch_->tell(call);
  }
  void countUnclaimed() { ++counts_.unclaimed; }
  void countUnowned() { ++counts_.unowned; }
  // Tells whoever watches of a call that took effect; fill(call) adds what it asked for, and is not
  // called when nobody watches.
  template <class Fill>
  void tell(Call::Kind kind, Asic::Index row, Fate fate, Fill&& fill) const {
    if (!watch_) return;
    std::uint64_t const serial = watch_->nextSerial();
    if (!watch_->isWatched()) return;
    Call call;
    call.serial = serial;
    call.table = table_;
    call.kind = kind;
    call.row = row.value();
    call.fate = fate;
    std::forward<Fill>(fill)(call);
    watch_->tell(call);
  }

 private:
  [[nodiscard]] auto begin() const { return device_->rows_.begin() + firstRow_; }
  [[nodiscard]] Asic::Index checked(Asic::Index row) const {
    if (!hasRow(row)) throw std::out_of_range("a row outside the window");
    return row;
  }
  Receipt take(Asic::Index index, Contents const& contents, Course const& course) {
    counts_.lostWrites += course.isLost ? 1 : 0;
    counts_.lostAnswers += course.answerIsLost ? 1 : 0;
    counts_.late += course.answerIsLate ? 1 : 0;
    Receipt receipt{Fate::noSuchRow, {}, course.answers, course.timing};
    Row* const row = find(index);
    if (row == nullptr) return receipt;
    bool const isRefused = course.isRefused || row->refuses;
    row->fate = course.isLost ? Fate::lost : isRefused ? Fate::refused : Fate::taken;
    if (row->fate == Fate::taken) device_->contentsIs(*row, contents);
    // A lost write is awaited like any other, and overtakes those before it: whoever sent it must
    // not take an older one's answer for its own.
    row->answer = Answer::awaited;
    receipt.fate = row->fate;
    receipt.stamp = ++row->stamp;
    return receipt;
  }
  // Counts a row that is not there.
  Row* find(Asic::Index index) {
    if (hasRow(index)) return &device_->rows_[index.value()];
    ++counts_.noSuchRow;
    return nullptr;
  }
  void empty(Row& row) {
    device_->contentsDel(row);
    row.answer = Answer::none;
    row.fate = Fate::taken;
    ++row.stamp;
  }

  Vek::Ptr<Device> device_;
  std::uint32_t firstRow_;
  std::uint32_t rows_;
  Counts counts_;
  std::optional<FaultProfile> fault_;
  TableId table_{};
  Vek::Ptr<CallWatch> watch_;
};

}  // namespace SoftAsic
