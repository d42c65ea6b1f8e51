// The key of a next hop in the ingress table: a handle that stands for a hardware row which the agent
// reserved for it.
//
// The ingress table takes rows from nowhere: its key is an entry handle of somebody else and the key's row is
// the row to write. The agent is that somebody. A key has its row and says "programmed" from the start,
// which is what the table requires of a key before the first write. The row goes back to the pool with the key, and so
// not before everything in the table that refers to the key is gone.
//
// Threading: the loop's thread. Ownership: counted; keeps the pool alive.
#pragma once

#include <memory>
#include <utility>

#include "Asic/SwTable.h"
#include "Vek/Memory.h"
#include "agent/RowPool.h"

namespace OrviaL3Agent {

class RowKey final : public Vek::Tracked<RowKey, Asic::SwTable::EntryHandle> {
 public:
  static constexpr const char* typeName() { return "OrviaL3Agent::RowKey"; }

  // A key for the lowest free row; empty when all rows are taken.
  static Vek::Ptr<RowKey> RowKeyIs(const std::shared_ptr<RowPool>& rows) {
    const std::optional<std::uint32_t> row = rows->take();
    if (!row) return {};
    Vek::Ptr<RowKey> key(new RowKey(rows, *row));
    key->hasNotificationActiveIs(true);
    return key;
  }

  ~RowKey() override { rows_->giveBack(row_); }

  [[nodiscard]] std::uint32_t row() const { return row_; }

 private:
  RowKey(std::shared_ptr<RowPool> rows, std::uint32_t row) : rows_(std::move(rows)), row_(row) {
    hwEntryIndexIs(row);
    entryStateIs(Asic::HwTable::success());
  }

  std::shared_ptr<RowPool> rows_;
  // A copy, since whoever may set the handle's row must not be able to free another one.
  std::uint32_t row_;
};

}  // namespace OrviaL3Agent
