#include "plugins/soft-asic/IngL3NextHop1SoftUtil.h"

namespace SoftAsic {

void IngL3NextHop1Wiring::deliver(Traits::Table* table, Window& hardware, Traits::Key const& key,
                                  Asic::Index row, Asic::HwTable::EntryState state) {
  auto const handle = table != nullptr ? table->entryHandleAccess(key) : nullptr;
  if (!handle) {
    hardware.countUnclaimed();
    return;
  }
  handle->hwEntryIndexIs(row);
  handle->entryStateIs(state);
}

void IngL3NextHop1Wiring::refill(Traits::Table& table, Window& hardware,
                                 RowOwnerOf const& ownerOf) {
  for (std::uint32_t i = 0; i < hardware.rows(); ++i) {
    Asic::Index const row = hardware.firstRow() + i;
    // A copy: whoever is asked may have the row written.
    std::optional<NextHopContents> const contents = hardware.row(row).contents;
    if (!contents) continue;
    std::optional<RowOwner> const owner = ownerOf(row, *contents);
    if (!owner) {
      hardware.countUnowned();
      continue;
    }
    auto const handle = table.entryHandleIs(owner->key, &table);
    table.entryIs(owner->key, owner->record);
    // Last, since storing the record resets the state.
    handle->hwEntryIndexIs(row);
    handle->entryStateIs(Asic::HwTable::success());
  }
}

template class SoftUtil<IngL3NextHop1Wiring>;

}  // namespace SoftAsic
