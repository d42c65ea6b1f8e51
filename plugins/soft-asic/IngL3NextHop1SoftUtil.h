// The ingress next-hop table's utility over the simulated hardware.
//
//   Vek::Ptr<SoftAsic::AnswerQueue> answers = new SoftAsic::AnswerQueue(...);
//   Vek::Ptr<SoftAsic::NextHopHwTable> hardware = new SoftAsic::NextHopHwTable(rows);
//   table->utilIs(new SoftAsic::IngL3NextHop1SoftUtil(*table, answers));
//   table->hwTableIs(hardware); table->hwTableReadyIs(true);
//   ... answers->drain();   // in the agent's loop
//
// An answer sets the row, then the state, on the handle that the table holds for the key by then;
// one that finds no handle is counted. syncEntries puts the rows from before back into the table,
// each under the key of its owner (RowOwner.h). The rest is SoftUtil.h's.
#pragma once

#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "plugins/soft-asic/Export.h"
#include "plugins/soft-asic/NextHopHwTable.h"
#include "plugins/soft-asic/SoftUtil.h"

namespace SoftAsic {

struct IngL3NextHop1Wiring {
  using Traits = OrviaL3Unicast::IngL3NextHop1Traits;
  using Window = NextHopHwTable;

  static char const* name() { return "soft-asic"; }
  static Asic::Index row(Traits::Key const& key) { return key->hwEntryIndex(); }
  static Asic::Index boundRow(Traits::Table const&, Traits::Key const& key) {
    return key->hwEntryIndex();
  }
  static void deliver(Traits::Table* table, Window& hardware, Traits::Key const& key,
                      Asic::Index row, Asic::HwTable::EntryState state);
  // Row by row, in ascending order. A row without owner stays as it is and is counted.
  static void refill(Traits::Table& table, Window& hardware, RowOwnerOf const& ownerOf);
};

using IngL3NextHop1SoftUtil = SoftUtil<IngL3NextHop1Wiring>;
extern template class SOFT_ASIC_EXPORT SoftUtil<IngL3NextHop1Wiring>;

}  // namespace SoftAsic
