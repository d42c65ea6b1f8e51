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

template class SoftUtil<IngL3NextHop1Wiring>;

}  // namespace SoftAsic
