// Simulated hardware tables: the rows of a device, and the windows through which tables see them.
//
//   Vek::Ptr<DeviceTable<Contents>> device = new DeviceTable<Contents>(rows);
//   Vek::Ptr<HwWindow<Contents>> lower = new HwWindow<Contents>(device, 0, rows / 2);
//   Vek::Ptr<HwWindow<Contents>> upper = new HwWindow<Contents>(device, rows / 2, rows / 2);
//
// A window is what a software table is attached to: an Asic::HwTable of its own, so that the
// answers to one table never reach the other. Rows carry their device numbers in every window. A
// window touches no row but its own; windows of one device should not overlap.
//
// Rows can be told to refuse: a refused write leaves the old contents in force. Every change of a
// row advances its stamp; an answer carries the stamp of its write and counts only while that is
// still the row's, so that it is never credited to a newer write or to the row's next owner.
//
// One thread. A window keeps its device alive.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <vector>

#include "Asic/HwTable.h"

namespace SoftAsic {

// How the last write of a row went; none: never written, or deleted since.
enum class Answer : std::uint8_t { none, awaited, accepted, refused };

// What went through one window.
struct Counts {
  std::uint64_t writes = 0;
  std::uint64_t deletes = 0;
  std::uint64_t accepted = 0;    // answers
  std::uint64_t refused = 0;     // answers of rows; writes outside the window: noSuchRow
  std::uint64_t overtaken = 0;   // answers to a write that was overwritten or deleted meanwhile
  std::uint64_t unclaimed = 0;   // answers that no handle was there for
  std::uint64_t noSuchRow = 0;   // writes (refused) and deletes (ignored) outside the window
  std::uint64_t withoutRow = 0;  // of these, deletes of an entry that never had a row
  std::uint64_t deleteAlls = 0;
};

template <class Contents>
class DeviceTable final : public Vek::PtrInterface {
 public:
  struct Row {
    std::optional<Contents> contents;  // what is in force
    Answer answer = Answer::none;
    bool refuses = false;   // writes from now on
    bool refusing = false;  // the last write
    std::uint64_t stamp = 0;
  };

  explicit DeviceTable(std::uint32_t rows) : rows_(rows) {}

  [[nodiscard]] std::uint32_t rows() const { return static_cast<std::uint32_t>(rows_.size()); }
  // Throws std::out_of_range outside the table.
  [[nodiscard]] Row const& row(Asic::Index row) const { return rows_.at(row.value()); }
  // Whether writes of the row are refused from now on; a write that is under way is not affected.
  // Throws std::out_of_range outside the table.
  void rowRefusesIs(Asic::Index row, bool refuses) { rows_.at(row.value()).refuses = refuses; }

 private:
  template <class>
  friend class HwWindow;

  std::vector<Row> rows_;
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
  // As the device's. Throws std::out_of_range outside the window.
  void rowRefusesIs(Asic::Index row, bool refuses) { device_->rowRefusesIs(checked(row), refuses); }
  [[nodiscard]] Counts const& counts() const { return counts_; }

  // For the utility.
  // Takes a write; returns its stamp, or none when the window has no such row.
  std::optional<Stamp> write(Asic::Index index, Contents const& contents) {
    ++counts_.writes;
    Row* const row = find(index);
    if (row == nullptr) return {};
    row->refusing = row->refuses;
    if (!row->refusing) row->contents = contents;
    row->answer = Answer::awaited;
    return ++row->stamp;
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
    if (row.refusing) {
      ++counts_.refused;
      row.answer = Answer::refused;
      return refused;
    }
    ++counts_.accepted;
    row.answer = Answer::accepted;
    return success();
  }
  // Ignored outside the window.
  void erase(Asic::Index index) {
    ++counts_.deletes;
    if (index == Asic::Index::invalidIndex()) ++counts_.withoutRow;
    if (Row* const row = find(index)) empty(*row);
  }
  void eraseAll() {
    ++counts_.deleteAlls;
    std::for_each(begin(), begin() + rows_, [](Row& row) { empty(row); });
  }
  void countUnclaimed() { ++counts_.unclaimed; }

 private:
  [[nodiscard]] auto begin() const { return device_->rows_.begin() + firstRow_; }
  [[nodiscard]] Asic::Index checked(Asic::Index row) const {
    if (!hasRow(row)) throw std::out_of_range("a row outside the window");
    return row;
  }
  // Counts a row that is not there.
  Row* find(Asic::Index index) {
    if (hasRow(index)) return &device_->rows_[index.value()];
    ++counts_.noSuchRow;
    return nullptr;
  }
  static void empty(Row& row) {
    row.contents.reset();
    row.answer = Answer::none;
    ++row.stamp;
  }

  Vek::Ptr<Device> device_;
  std::uint32_t firstRow_;
  std::uint32_t rows_;
  Counts counts_;
};

}  // namespace SoftAsic
