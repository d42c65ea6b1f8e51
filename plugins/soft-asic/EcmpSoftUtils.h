// The utilities of the tables that choose their rows, over the simulated hardware.
//
//   table->utilIs(new SoftAsic::L3EcmpGroupSoftUtil(*table, answers));
//   table->hwTableIs(hardware); table->numEntriesIs(hardware->rows());
//   table->doInitComplete(); table->hwTableReadyIs(true);
//
// Answers for next hops and groups are the hardware table's write responses, which the table
// carries to the handle that has the row by then. The member table publishes a block without
// waiting for its rows: their answers go to nobody, and are counted as unclaimed. The rest is
// SoftUtil.h's.
#pragma once

#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "plugins/soft-asic/EcmpHwTables.h"
#include "plugins/soft-asic/Export.h"
#include "plugins/soft-asic/NextHopHwTable.h"
#include "plugins/soft-asic/SoftUtil.h"

namespace SoftAsic {

// A table with a first-free allocator and a write-response reactor.
template <class TableTraits, class HardwareWindow>
struct AllocatedRowWiring {
  using Traits = TableTraits;
  using Window = HardwareWindow;

  static char const* name() { return "soft-asic"; }
  static Asic::Index row(Asic::Index row) { return row; }
  static Asic::Index boundRow(typename Traits::Table const& table,
                              typename Traits::Key const& key) {
    auto const& allocator = table.firstFreeIndexAllocator();
    return allocator ? allocator->indexForKey(Traits::keyType(), &key)
                     : Asic::Index::invalidIndex();
  }
  static void deliver(typename Traits::Table*, Window& hardware, Asic::Index, Asic::Index row,
                      Asic::HwTable::EntryState state) {
    hardware.writeResponseIs(row, state);
  }
  // Never asked for: no record could be told from a row that the table chose.
  static void refill(typename Traits::Table&, Window&, RowOwnerOf const&) {}
};

struct L3EcmpMemberWiring {
  using Traits = OrviaL3Unicast::L3EcmpMemberTraits;
  using Window = MemberHwTable;

  static char const* name() { return "soft-asic"; }
  static Asic::Index row(Traits::HwKey row) { return row.value(); }
  // The block's first row.
  static Asic::Index boundRow(Traits::Table const& table, Traits::Key const& block) {
    auto const& allocator = table.indexAllocator();
    return allocator ? allocator->indexForBlock(static_cast<Asic::EntryBlockBase const*>(&block))
                     : Asic::Index::invalidIndex();
  }
  static void deliver(Traits::Table*, Window& hardware, Traits::HwKey, Asic::Index,
                      Asic::HwTable::EntryState) {
    hardware.countUnclaimed();
  }
  static void refill(Traits::Table&, Window&, RowOwnerOf const&) {}
};

using EcmpIngL3NextHop1Wiring =
    AllocatedRowWiring<OrviaL3Unicast::EcmpIngL3NextHop1Traits, NextHopHwTable>;
using L3EcmpGroupWiring = AllocatedRowWiring<OrviaL3Unicast::L3EcmpGroupTraits, GroupHwTable>;

using EcmpIngL3NextHop1SoftUtil = SoftUtil<EcmpIngL3NextHop1Wiring>;
using L3EcmpMemberSoftUtil = SoftUtil<L3EcmpMemberWiring>;
using L3EcmpGroupSoftUtil = SoftUtil<L3EcmpGroupWiring>;
extern template class SOFT_ASIC_EXPORT SoftUtil<EcmpIngL3NextHop1Wiring>;
extern template class SOFT_ASIC_EXPORT SoftUtil<L3EcmpMemberWiring>;
extern template class SOFT_ASIC_EXPORT SoftUtil<L3EcmpGroupWiring>;

}  // namespace SoftAsic
