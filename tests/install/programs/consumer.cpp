// Programs one next hop in the simulated hardware, with the installed headers and libraries.
#include <cstdio>

#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "plugins/soft-asic/SoftDevice.h"

int main() {
  using Table = OrviaL3Unicast::EcmpIngL3NextHop1Table;
  SoftAsic::SoftDevice const device({}, SoftAsic::AnswerQueue::Delivery::whenDrained);
  Vek::Ptr<Table> const table = OrviaL3Unicast::ecmpIngL3NextHop1TableFactory();
  device.attach(*table);
  table->doInitComplete();
  table->hwTableReadyIs(true);

  Vek::Ptr<Asic::SwTable::EntryHandle> const interface = new Asic::SwTable::EntryHandle;
  interface->hwEntryIndexIs(7);
  interface->entryStateIs(Asic::HwTable::success());
  Table::Entry entry;
  entry.l3Oif1HandleIs(interface);
  auto const handle = table->entryCommit(OrviaL3Unicast::L3EcmpNextHopKey(), entry);
  bool const before = handle->isProgrammed();
  device.answers()->drain();
  std::printf("programmed %d, then %d, in row %u\n", before ? 1 : 0, handle->isProgrammed() ? 1 : 0,
              handle->hwEntryIndex().value());
  return 0;
}
