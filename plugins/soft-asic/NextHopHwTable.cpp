#include "NextHopHwTable.h"

#include <algorithm>

namespace SoftAsic {

std::uint64_t NextHopHwTable::rowsAnswered(Answer answer) const {
  return static_cast<std::uint64_t>(std::count_if(
      rows_.begin(), rows_.end(), [answer](Row const& row) { return row.answer == answer; }));
}

std::optional<NextHopHwTable::Stamp> NextHopHwTable::write(Asic::Index index,
                                                           NextHopContents const& contents) {
  ++counts_.writes;
  if (index.value() >= rows_.size()) {
    ++counts_.noSuchRow;
    return {};
  }
  Row& row = rows_[index.value()];
  row.refusing = row.refuses;
  if (!row.refusing) row.contents = contents;
  row.answer = Answer::awaited;
  return ++row.stamp;
}

std::optional<NextHopHwTable::EntryState> NextHopHwTable::answer(Asic::Index index, Stamp stamp) {
  Row& row = rows_[index.value()];
  if (row.stamp != stamp) {
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

void NextHopHwTable::erase(Asic::Index index) {
  ++counts_.deletes;
  if (index.value() >= rows_.size()) {
    ++counts_.noSuchRow;
    return;
  }
  Row& row = rows_[index.value()];
  row.contents.reset();
  row.answer = Answer::none;
  ++row.stamp;
}

void NextHopHwTable::eraseAll() {
  for (Row& row : rows_) {
    row.contents.reset();
    row.answer = Answer::none;
    ++row.stamp;
  }
}

}  // namespace SoftAsic
