// The rows of one simulated hardware table. HwWindow.h is how software tables see them.
//
// Rows can be told to refuse: a refused write leaves the old contents in force. Every change of a
// row advances its stamp, and so does every attempt at one: an answer carries the stamp of its
// write and counts only while that is still the row's, so that it is never credited to a newer
// write or to the row's next owner.
//
// One thread. The windows keep it alive.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Asic/Index.h"
#include "Vek/PtrInterface.h"
#include "plugins/soft-asic/Call.h"

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

}  // namespace SoftAsic
