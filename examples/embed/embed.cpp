// An agent in one file: brings its own utility for the ingress next-hop table, writes one next hop,
// and hears what the hardware said.
#include <cstdio>

#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"

using Table = OrviaL3Unicast::IngL3NextHop1Table;
using Handle = Asic::SwTable::EntryHandle;

namespace {

// The hardware plug-in: says what it would write. The answer comes when the agent asks for it.
class PrintingUtil final : public OrviaL3Unicast::IngL3NextHop1TableUtil {
 public:
  PrintingUtil() : IngL3NextHop1TableUtil("printing") {}

  [[nodiscard]] std::uint32_t minIndex() const override { return 0; }
  [[nodiscard]] std::uint32_t maxIndex() const override { return 1023; }
  [[nodiscard]] Asic::Index hwTableEntryIndex(Vek::Ptr<Asic::HwTable> const&,
                                              Key const& key) const override {
    return key->hwEntryIndex();
  }
  void hwTableEntryIs(Vek::Ptr<Asic::HwTable> const&, Key const& key, Entry const& entry) override {
    std::printf("write row %u: interface %u, MTU profile %u\n", key->hwEntryIndex().value(),
                unsigned{entry.l3Oif1()}, unsigned{entry.mtuProfilePtr()});
  }
  void hwTableEntryDel(Vek::Ptr<Asic::HwTable> const&, Key const& key) override {
    std::printf("delete row %u\n", key->hwEntryIndex().value());
  }
  void hwTableEntryDelAll(Vek::Ptr<Asic::HwTable> const&) override { std::puts("delete all"); }
  void syncEntries(Vek::Ptr<Asic::HwTable> const&,
                   Vek::Ptr<OrviaAsicUtils::SwTable> const&) override {}
};

// An entry of one of the agent's own tables: a row, and what is known of it.
Vek::Ptr<Handle> entryAt(Asic::Index row) {
  Vek::Ptr<Handle> handle = new Handle;
  handle->hwEntryIndexIs(row);
  return handle;
}

}  // namespace

int main() {
  // Attach the table to its platform.
  Vek::Ptr<Table> table = Table::IngL3NextHop1TableIs();
  table->utilIs(new PrintingUtil);
  table->hwTableIs(new Asic::HwTable);
  table->hwTableReadyIs(true);

  // The next hop's row is reserved (programmed, as far as anyone can tell); interface and MTU
  // profile have rows, but the hardware has not confirmed them yet.
  Vek::Ptr<Handle> const key = entryAt(40);
  key->entryStateIs(Asic::HwTable::success());
  Vek::Ptr<Handle> const interface = entryAt(7);
  Vek::Ptr<Handle> const mtuProfile = entryAt(1);

  Table::Entry entry;
  entry.l3Oif1HandleIs(interface);
  entry.mtuProfilePtrHandleIs(mtuProfile);
  auto handle = table->entryCommitWithResponseHandler(
      key, entry, [](auto state) { std::printf("the hardware says %d\n", int{state}); });
  std::printf("parked: %zu\n", table->unresolvedEntrys());

  interface->entryStateIs(Asic::HwTable::success());
  mtuProfile->entryStateIs(Asic::HwTable::success());  // the row is written in here
  std::printf("parked: %zu\n", table->unresolvedEntrys());

  // The hardware's answer, as the platform delivers it for this table.
  auto const answered = table->entryHandleAccess(key);
  answered->hwEntryIndexIs(key->hwEntryIndex());
  answered->entryStateIs(Asic::HwTable::success());

  // Both: the row goes when nobody holds the handle.
  table->entryRemove(key);
  handle = nullptr;
}
