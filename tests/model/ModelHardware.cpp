#include "ModelHardware.h"

#include "ModelHandle.h"
#include "ModelTable.h"

namespace Model {

void Hardware::tableDel() {
  tableGone_ = true;
  answered_.reset();
  std::erase_if(waiting_, [&](Waiting const& waiting) { return waiting.table == table_; });
}

void Hardware::write(std::uint32_t row, std::string const& text) { write(row, nullptr, text); }

void Hardware::write(HandlePtr const& key, std::string const& text) {
  write(key->row(), key, text);
}

void Hardware::write(std::uint32_t row, HandlePtr const& key, std::string const& text) {
  journal_.line(name_ + " write " + rowText(row) + " " + text);
  rows_[row] = text;
  if (tableGone_) return;
  Mode const mode = mode_;  // an answer from within may change it
  if (mode == Mode::wait) waiting_.push_back({table_, row, key});
  if (mode == Mode::accept) answer(row, key, 1);
  if (mode == Mode::refuse) answer(row, key, 2);
}

void Hardware::remove(std::uint32_t row) {
  journal_.line(name_ + " delete " + rowText(row));
  if (row != noRow) rows_.erase(row);
}

void Hardware::removeAll() {
  journal_.line(name_ + " delete all");
  rows_.clear();
}

void Hardware::answer(std::uint32_t row, HandlePtr const& key, std::uint32_t state) {
  // The table is not kept by its answers: a handler that runs inside may end it.
  Table* const table = answered_.lock().get();
  HandlePtr const handle = table == nullptr ? nullptr : table->answeredHandle(row, key);
  if (!handle) return;
  handle->rowIs(key ? key->row() : row);
  handle->stateIs(state);
}

}  // namespace Model
