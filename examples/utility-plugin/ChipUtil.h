// The utilities of the four tables over the chip's SDK.
//
// A write is handed to the chip and answered from the chip's callback, inside the write or any time
// later. Who waits for an answer may be gone by then: the answer carries counted references to what
// it needs, and a link to the table, which does not count. An answer to a write that was
// overwritten or deleted meanwhile is dropped.
//
// The ingress table is better answered later: when the commit that wrote the row goes on, it shows
// the key's own state on the handle, and a refusal from inside the write is covered by it.
//
// One thread: the agent's. An SDK that calls back on a thread of its own needs a queue in between,
// which the agent's loop empties.
#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>
#include <unordered_map>

#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "sdk/chip.h"

namespace ChipPlugin {

using HandlePtrConst = Vek::Ptr<Asic::SwTable::EntryHandle const>;

// What a record is on the chip.
template <class Name>
ChipRow rowContents(OrviaL3Unicast::NextHopEntry<Name> const& entry) {
  return {{entry.l3Oif1(), entry.mtuProfilePtr(), entry.destination()}};
}
inline ChipRow rowContents(OrviaL3Unicast::L3EcmpMember const& member) {
  return {{member.nextHopEntry().value(), 0, 0}};
}
template <class Name>
ChipRow rowContents(OrviaL3Unicast::L3EcmpGroupEntry<Name> const& entry) {
  return {{entry.ecmpBlockPtr(), entry.numPaths(), entry.lbMode()}};
}

// Which row a table means: given by itself, or brought by the key.
inline std::uint32_t rowNumber(Asic::Index row) { return row.value(); }
inline std::uint32_t rowNumber(OrviaL3Unicast::L3EcmpMemberIndex row) { return row.value(); }
inline std::uint32_t rowNumber(HandlePtrConst const& key) { return key->hwEntryIndex().value(); }

template <class Traits, ChipTable chipTable>
class ChipUtil final : public Traits::Util {
 public:
  using Table = typename Traits::Table;
  using Key = typename Traits::Key;
  using Entry = typename Traits::Entry;
  using HwKey = typename Traits::HwKey;
  using HwTable = Vek::Ptr<Asic::HwTable>;

  explicit ChipUtil(Table& table) : Traits::Util("chip"), table_(table.link()) {}

  [[nodiscard]] std::uint32_t minIndex() const override { return 0; }
  [[nodiscard]] std::uint32_t maxIndex() const override { return CHIP_ROWS - 1; }
  // The chip keeps no keys.
  [[nodiscard]] Asic::Index hwTableEntryIndex(HwTable const&, Key const&) const override {
    return Asic::Index::invalidIndex();
  }
  void hwTableEntryIs(HwTable const& hwTable, HwKey where, Entry const& entry) override {
    std::uint32_t const row = rowNumber(where);
    ChipRow const contents = rowContents(entry);
    auto answer = std::make_unique<Answer>(Answer{this, hwTable, where, row, ++writes_[row]});
    // The callback takes the answer over. Nothing of this object is used from here on: an answer
    // inside the write may be the end of it.
    chipWrite(chipTable, row, &contents, &ChipUtil::done, answer.release());
  }
  void hwTableEntryDel(HwTable const&, HwKey where) override {
    std::uint32_t const row = rowNumber(where);
    if (row == Asic::Index::invalidIndex().value()) return;  // the entry never got a row
    ++writes_[row];
    chipErase(chipTable, row);
  }
  // The rows of this table alone: the two tables of next hops share theirs. One that chooses its
  // rows has the first `numEntries()`, and clears them at a restart, also those from before. The
  // keys of the other bring rows from above, which only the agent knows: they are those that were
  // written here. (That table is synced at a restart and not cleared.)
  void hwTableEntryDelAll(HwTable const&) override {
    // As a deletion does: what the chip says of an earlier write means nothing any more.
    for (auto& [row, writes] : writes_) ++writes;
    if constexpr (Traits::ownsRows) {
      if (table_->table() == nullptr) return;
      std::uint32_t const rows = table_->table()->numEntries();
      for (std::uint32_t row = 0; row < rows; ++row) chipErase(chipTable, row);
    } else {
      for (auto const& [row, writes] : writes_) chipErase(chipTable, row);
    }
  }
  // Which key a row of the ingress table belongs to is known to the agent only. Without that, rows
  // from before go on forwarding until the agent writes them again.
  void syncEntries(HwTable const&, Vek::Ptr<OrviaAsicUtils::SwTable> const&) override {}

 private:
  using Link = OrviaL3Unicast::engine::TableLink<Traits>;

  struct Answer {
    Vek::Ptr<ChipUtil> util;
    HwTable hwTable;
    std::remove_cvref_t<HwKey> where;
    std::uint32_t row;
    std::uint64_t write;
  };

  static void done(void* context, int accepted) {
    std::unique_ptr<Answer> const answer(static_cast<Answer*>(context));
    if (answer->util->writes_[answer->row] != answer->write) return;
    auto const state = accepted != 0 ? Asic::HwTable::success() : Asic::HwTable::refused;
    if constexpr (Traits::ownsRows) {
      // The entry that has the row hears of it. (Blocks of members do not wait for answers; nobody
      // hears theirs.)
      answer->hwTable->writeResponseIs(answer->row, state);
    } else {
      // The handle that the table has for the key by now: first the row, then the state.
      Vek::Ptr<Table> const table = answer->util->table_->table();
      if (!table) return;
      if (auto const handle = table->entryHandleAccess(answer->where)) {
        handle->hwEntryIndexIs(answer->row);
        handle->entryStateIs(state);
      }
    }
  }

  Vek::Ptr<Link> const table_;
  // How often each row was written or deleted. 64 bits do not come round.
  std::unordered_map<std::uint32_t, std::uint64_t> writes_;
};

// The factory of one table's utilities, as the registrar takes it.
template <class Traits, ChipTable chipTable>
Vek::Ptr<OrviaAsicUtils::SwTableUtil> makeUtil(OrviaAsicUtils::SwTable& table) {
  return new ChipUtil<Traits, chipTable>(static_cast<typename Traits::Table&>(table));
}

}  // namespace ChipPlugin
