// The rows of one simulated hardware table. HwWindow.h is how software tables see them.
//
// Rows can be told to refuse: a refused write leaves the old contents in force. Every change of a
// row advances its stamp, and so does every attempt at one: an answer carries the stamp of its
// write and counts only while that is still the row's, so that it is never credited to a newer
// write or to the row's next owner.
//
// With a store, what rows hold is written through to it, and what it holds is there from the start,
// as rows from before: they were taken and answered in another process.
//
// One thread. The windows keep it alive, and it keeps the store alive.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Asic/Index.h"
#include "Vek/PtrInterface.h"
#include "plugins/soft-asic/Call.h"
#include "plugins/soft-asic/StoredRow.h"

namespace SoftAsic {

// How the last write of a row went, as far as anybody has heard; none: never written, or deleted
// since.
enum class Answer : std::uint8_t { none, awaited, accepted, refused };

template <class Contents>
class DeviceTable final : public Vek::PtrInterface {
 public:
  struct Row {
    std::optional<Contents> contents;  // what is in force
    Answer answer = Answer::none;
    Fate fate = Fate::taken;  // of the last write, whatever was heard of it
    bool refuses = false;     // writes from now on
    bool fromBefore = false;  // in force since before this process; until a taken write or a delete
    std::uint64_t stamp = 0;
  };

  explicit DeviceTable(std::uint32_t rows) : rows_(rows) {}
  // `stored` are as many rows, which last as long as `store`.
  DeviceTable(std::uint32_t rows, Vek::Ptr<Vek::PtrInterface> const& store,
              StoredRow<Contents>* stored)
      : rows_(rows), store_(store), stored_(stored) {
    for (std::uint32_t i = 0; i < rows; ++i) {
      Row& row = rows_[i];
      row.contents = stored_[i].contents();
      row.fromBefore = row.contents.has_value();
      if (row.fromBefore) row.answer = Answer::accepted;
    }
  }

  [[nodiscard]] std::uint32_t rows() const { return static_cast<std::uint32_t>(rows_.size()); }
  // Throws std::out_of_range outside the table.
  [[nodiscard]] Row const& row(Asic::Index row) const { return rows_.at(row.value()); }
  // Whether writes of the row are refused from now on; a write that is under way is not affected.
  // Throws std::out_of_range outside the table.
  void rowRefusesIs(Asic::Index row, bool refuses) { rows_.at(row.value()).refuses = refuses; }

 private:
  template <class>
  friend class HwWindow;

  // The only two changes of what rows hold. First in the store, which is the hardware: whoever is
  // told of a change may rely on it.
  void contentsIs(Row& row, Contents const& contents) {
    if (stored_ != nullptr) [[unlikely]]
      storedRow(row).contentsIs(contents);
    row.contents = contents;
    row.fromBefore = false;
  }
  void contentsDel(Row& row) {
    if (stored_ != nullptr) [[unlikely]]
      storedRow(row).contentsDel();
    row.contents.reset();
    row.fromBefore = false;
  }
  [[nodiscard]] StoredRow<Contents>& storedRow(Row const& row) const {
    return stored_[&row - rows_.data()];
  }

  std::vector<Row> rows_;
  Vek::Ptr<Vek::PtrInterface> store_;
  StoredRow<Contents>* stored_ = nullptr;  // none: the rows end with the process
};

}  // namespace SoftAsic
