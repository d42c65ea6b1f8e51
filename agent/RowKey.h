// The key of a next hop in the ingress table: a handle that stands for a hardware row which the
// agent reserved for it.
//
// The ingress table takes rows from nowhere: its key is an entry handle of somebody else and the
// key's row is the row to write. The agent is that somebody. A key has its row and says
// "programmed" from the start, which is what the table requires of a key before the first write.
//
// Threading: the loop's thread. Ownership: counted; keeps the numbering alive.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "Asic/SwTable.h"
#include "Vek/Memory.h"
#include "agent/Numbering.h"

namespace OrviaL3Agent {

class RowKey final : public Vek::Tracked<RowKey, Asic::SwTable::EntryHandle> {
 public:
  static constexpr char const* typeName() { return "OrviaL3Agent::RowKey"; }

  using Rows = Numbering<Identity>;

  // A key for the row that the identity had before a restart, or for the lowest free one; empty
  // when all rows are taken.
  static Vek::Ptr<RowKey> rowKeyIs(std::shared_ptr<Rows> const& rows, Identity const& identity) {
    return made(rows, rows->take(identity));
  }
  // A key for this row, which the hardware holds for nobody knows whom. It may be outside of the
  // rows that there are for keys now.
  static Vek::Ptr<RowKey> strangerKeyIs(std::shared_ptr<Rows> const& rows, std::uint32_t row) {
    return made(rows->reserve(row) ? rows : nullptr, row);
  }

  ~RowKey() override { rowDel(); }

  // Gives the row back, once; at the latest the key's end does. To be called when nothing is
  // written under the key any more: an answer of the hardware that is still on its way may keep the
  // key itself alive, and the row need not wait for it.
  void rowDel() {
    if (row_ && rows_) rows_->giveBack(*row_);
    row_.reset();
  }

 private:
  static Vek::Ptr<RowKey> made(std::shared_ptr<Rows> const& rows,
                               std::optional<std::uint32_t> row) {
    if (!row) return {};
    Vek::Ptr<RowKey> key(new RowKey(rows, *row));
    key->hasNotificationActiveIs(true);
    return key;
  }
  RowKey(std::shared_ptr<Rows> rows, std::uint32_t row) : rows_(std::move(rows)), row_(row) {
    hwEntryIndexIs(row);
    entryStateIs(Asic::HwTable::success());
  }

  std::shared_ptr<Rows> rows_;        // none: the row is none of these
  std::optional<std::uint32_t> row_;  // until it was given back
};

}  // namespace OrviaL3Agent
