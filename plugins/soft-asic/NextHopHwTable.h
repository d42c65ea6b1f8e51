// The simulated ingress L3 next-hop hardware table: rows in memory.
//
// A row is what the hardware would hold: the record's stored fields and the rows of the outgoing
// interface and the MTU profile, as they were at the moment of the write. Rows can be told to refuse:
// a refused write leaves the old contents in force. Every change of a row advances its stamp; an
// answer carries the stamp of its write and counts only while that is still the row's.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Asic/HwTable.h"
#include "OrviaL3Unicast/NextHopEntry.h"

namespace SoftAsic {

struct NextHopContents {
  OrviaL3Unicast::NextHopFields fields;
  std::uint16_t l3Oif1 = 0;
  std::uint16_t mtuProfilePtr = 0;

  friend bool operator==(NextHopContents const&, NextHopContents const&) = default;
};

class NextHopHwTable final : public Asic::HwTable {
 public:
  using Stamp = std::uint64_t;

  // How the last write of a row went.
  enum class Answer : std::uint8_t { none, awaited, accepted, refused };

  struct Row {
    std::optional<NextHopContents> contents;  // what is in force
    Answer answer = Answer::none;             // none: never written, or deleted since
    Stamp stamp = 0;
    bool refuses = false;   // writes from now on
    bool refusing = false;  // the last write
  };

  struct Counts {
    std::uint64_t writes = 0;
    std::uint64_t deletes = 0;
    std::uint64_t accepted = 0;  // answers
    std::uint64_t refused = 0;   // answers
    std::uint64_t overtaken = 0;  // answers to a write that was overwritten or deleted meanwhile
    std::uint64_t unclaimed = 0;  // answers that no handle was there for
    std::uint64_t noSuchRow = 0;  // writes (refused) and deletes (ignored) outside the table
  };

  explicit NextHopHwTable(std::uint32_t rows) : rows_(rows) {}

  [[nodiscard]] std::uint32_t rows() const { return static_cast<std::uint32_t>(rows_.size()); }
  // Requires row < rows().
  [[nodiscard]] Row const& row(Asic::Index row) const { return rows_.at(row.value()); }
  // The rows whose last write was answered in that way.
  [[nodiscard]] std::uint64_t rowsAnswered(Answer answer) const;
  // Whether writes of the row are refused from now on; a write that is under way is not affected. Throws std::out_of_range outside the table.
  void rowRefusesIs(Asic::Index row, bool refuses) { rows_.at(row.value()).refuses = refuses; }
  [[nodiscard]] Counts const& counts() const { return counts_; }

  // For the utility.
  // Takes a write; returns its stamp, or none when the table has no such row.
  std::optional<Stamp> write(Asic::Index row, NextHopContents const& contents);
  // The answer to the write of that stamp, or none when it was overtaken.
  std::optional<EntryState> answer(Asic::Index row, Stamp stamp);
  void erase(Asic::Index row);
  void eraseAll();
  void countUnclaimed() { ++counts_.unclaimed; }

 private:
  std::vector<Row> rows_;
  Counts counts_;
};

}  // namespace SoftAsic
