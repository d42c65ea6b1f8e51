// What becomes of the mistakes that docs/embedding.md lists: each one is made once, with a utility
// that takes everything and answers at once.
#include <cstdio>

#include "Asic/FirstFreeIndexAllocator.h"
#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "Vek/Exception.h"

namespace {

using namespace OrviaL3Unicast;
using Handle = Asic::SwTable::EntryHandle;
using State = OrviaAsicUtils::SwTable::EntryState;

int writes = 0;

template <class Traits>
class TakingUtil final : public Traits::Util {
 public:
  using HwTable = Vek::Ptr<Asic::HwTable>;
  using Key = typename Traits::Key;
  using Entry = typename Traits::Entry;
  using HwKey = typename Traits::HwKey;

  TakingUtil() : Traits::Util("taking") {}
  [[nodiscard]] std::uint32_t minIndex() const override { return 0; }
  [[nodiscard]] std::uint32_t maxIndex() const override { return 15; }
  [[nodiscard]] Asic::Index hwTableEntryIndex(HwTable const&, Key const&) const override {
    return Asic::Index::invalidIndex();
  }
  void hwTableEntryIs(HwTable const& hwTable, HwKey where, Entry const&) override {
    ++writes;
    // Keys that bring their row have it on themselves, and no answer is needed here.
    if constexpr (Traits::ownsRows) {
      hwTable->writeResponseIs(where.value(), Asic::HwTable::success());
    }
  }
  void hwTableEntryDel(HwTable const&, HwKey) override {}
  void hwTableEntryDelAll(HwTable const&) override {}
  void syncEntries(HwTable const&, Vek::Ptr<OrviaAsicUtils::SwTable> const&) override {}
};

using Members = L3EcmpMemberTable;
using Groups = L3EcmpGroupTable;
using NextHops = EcmpIngL3NextHop1Table;

// What is left out of bringing a table up.
enum class Without { nothing, hardware, ready, rows };

template <class Traits>
void bringUp(OrviaAsicUtils::SwTable& table, Without without = Without::nothing,
             std::uint32_t rows = 16) {
  table.utilIs(new TakingUtil<Traits>);
  if (without != Without::hardware) table.hwTableIs(new Asic::HwTable);
  if (without != Without::rows) table.numEntriesIs(rows);
  table.syncEntries();
  table.doInitComplete();
  if (without != Without::ready) table.hwTableReadyIs(true);
}

template <class Traits>
Vek::Ptr<typename Traits::Table> newTable(Without without = Without::nothing,
                                          std::uint32_t rows = 16) {
  Vek::Ptr<typename Traits::Table> const table = new typename Traits::Table;
  table->hasNotificationActiveIs(true);
  bringUp<Traits>(*table, without, rows);
  return table;
}

Vek::Ptr<Handle> programmedEntryAt(Asic::Index row) {
  Vek::Ptr<Handle> handle = new Handle;
  handle->hwEntryIndexIs(row);
  handle->entryStateIs(Asic::HwTable::success());
  return handle;
}

L3EcmpNextHopKey neighbour(std::uint8_t host) {
  return L3EcmpNextHopKey::viaGateway(0, Asic::GatewayAddress::ipv4({192, 0, 2, host}), 3);
}

NextHops::Entry nextHop() {
  NextHops::Entry entry;
  entry.l3Oif1HandleIs(programmedEntryAt(7));
  return entry;
}

Groups::Entry group(Vek::Ptr<Handle const> const& block, std::uint16_t paths) {
  Groups::Entry entry;
  entry.ecmpBlockPtrHandleIs(block);
  entry.numPathsIs(paths);
  return entry;
}

int heard = 0;
void hear(State) { ++heard; }

void show(char const* what, Handle const& handle) {
  std::printf("%s: writes %d, answers %d, programmed %d, row given %d\n", what, writes, heard,
              handle.isProgrammed() ? 1 : 0,
              handle.hwEntryIndex() == Asic::Index::invalidIndex() ? 0 : 1);
}

template <class Function>
void expectThrow(char const* what, Function function) {
  try {
    function();
    std::printf("%s: nothing thrown\n", what);
  } catch (Asic::NoRowException const&) {
    std::printf("%s: Asic::NoRowException\n", what);
  } catch (Vek::RangeException const& failure) {
    std::printf("%s: Vek::RangeException: %s\n", what, failure.what());
  } catch (Vek::Exception const& failure) {
    std::printf("%s: Vek::Exception: %s\n", what, failure.what());
  }
}

void fresh() { writes = heard = 0; }

void noHardwareTable() {
  fresh();
  auto const table = newTable<EcmpIngL3NextHop1Traits>(Without::hardware);
  auto const handle = table->entryCommitWithResponseHandler(neighbour(1), nextHop(), hear);
  show("no hardware table", *handle);
  table->hwTableIs(new Asic::HwTable);
  show("no hardware table, then one", *handle);
  table->handleEntry(neighbour(1));
  show("no hardware table, handleEntry", *handle);
}

void notReady() {
  fresh();
  auto const table = newTable<EcmpIngL3NextHop1Traits>(Without::ready);
  auto const handle = table->entryCommitWithResponseHandler(neighbour(1), nextHop(), hear);
  show("not ready", *handle);
  table->hwTableReadyIs(true);
  show("not ready, then ready", *handle);
  table->handleEntry(neighbour(1));
  show("not ready, handleEntry", *handle);
}

// Its handle shows what the key shows.
void ordinaryNextHop(char const* what, Without without) {
  fresh();
  auto const table = newTable<IngL3NextHop1Traits>(without);
  IngL3NextHop1Table::Entry entry;
  entry.l3Oif1HandleIs(programmedEntryAt(7));
  auto const handle = table->entryCommitWithResponseHandler(programmedEntryAt(20), entry, hear);
  show(what, *handle);
}

void noRows() {
  expectThrow("no rows, next hops", [] { newTable<EcmpIngL3NextHop1Traits>(Without::rows); });
  expectThrow("no rows, groups", [] { newTable<L3EcmpGroupTraits>(Without::rows); });
  expectThrow("no rows, members", [] { newTable<L3EcmpMemberTraits>(Without::rows); });
  auto const members = newTable<L3EcmpMemberTraits>(Without::nothing, 0);
  Members::EntryBlock block{Asic::BlockSize(1)};
  block.entryIs(0, L3EcmpMember(programmedEntryAt(1)));
  expectThrow("no rows, a block", [&] { members->entryBlockRef(block); });
}

void rowsTooLate() {
  fresh();
  auto const table = newTable<EcmpIngL3NextHop1Traits>(Without::nothing, 2);
  table->numEntriesIs(16);
  auto const first = table->entryCommit(neighbour(1), nextHop());
  expectThrow("more rows after doInitComplete",
              [&] { table->entryCommit(neighbour(2), nextHop()); });
}

void memberNotSet() {
  auto const members = newTable<L3EcmpMemberTraits>();
  Members::EntryBlock block{Asic::BlockSize(2)};
  block.entryIs(0, L3EcmpMember(programmedEntryAt(1)));
  expectThrow("a member is not set", [&] { members->entryBlockRef(block); });
}

void otherNumberOfPaths() {
  fresh();
  auto const members = newTable<L3EcmpMemberTraits>();
  auto const groups = newTable<L3EcmpGroupTraits>();
  Members::EntryBlock block{Asic::BlockSize(2)};
  block.entryIs(0, L3EcmpMember(programmedEntryAt(1)));
  block.entryIs(1, L3EcmpMember(programmedEntryAt(2)));
  auto const handle =
      groups->entryCommitWithResponseHandler(7, group(members->entryBlockRef(block), 5), hear);
  show("five paths over a block of two", *handle);
}

void blockOfNothing() {
  fresh();
  auto const members = newTable<L3EcmpMemberTraits>();
  auto const groups = newTable<L3EcmpGroupTraits>();
  auto const handle = groups->entryCommitWithResponseHandler(
      7, group(members->entryBlockRef(Members::EntryBlock{Asic::BlockSize(0)}), 0), hear);
  show("a block of size 0", *handle);
  std::printf("a block of size 0: %zu block and %zu group wait\n", members->unresolvedEntryBlocks(),
              groups->unresolvedEntrys());
}

void sameGroupTwice() {
  fresh();
  auto const groups = newTable<L3EcmpGroupTraits>();
  Vek::Ptr<Handle> const late = new Handle;
  int first = 0;
  int second = 0;
  auto const one =
      groups->entryCommitWithResponseHandler(7, group(late, 2), [&](State) { ++first; });
  auto const other = groups->entryCommitWithResponseHandler(7, group(programmedEntryAt(6), 2),
                                                            [&](State) { ++second; });
  late->hwEntryIndexIs(4);
  late->entryStateIs(Asic::HwTable::success());
  std::printf("a group number twice: same handle %d, answers %d and %d, writes %d\n",
              one == other ? 1 : 0, first, second, writes);
}

void noRowIsFree() {
  fresh();
  auto const table = newTable<EcmpIngL3NextHop1Traits>(Without::nothing, 3);  // 1 and 2 to give
  auto first = table->entryCommit(neighbour(1), nextHop());
  auto const second = table->entryCommit(neighbour(2), nextHop());
  expectThrow("no row is free",
              [&] { table->entryCommitWithResponseHandler(neighbour(3), nextHop(), hear); });
  auto const third = table->entryHandleAccess(neighbour(3));
  show("no row is free, after that", *third);
  table->entryRemove(neighbour(1));
  first = nullptr;
  show("no row is free, then one is", *third);
  table->handleEntry(neighbour(3));
  show("no row is free, handleEntry", *third);
}

}  // namespace

int main() {
  noHardwareTable();
  notReady();
  ordinaryNextHop("no hardware table, ordinary next hop", Without::hardware);
  ordinaryNextHop("not ready, ordinary next hop", Without::ready);
  noRows();
  rowsTooLate();
  memberNotSet();
  otherNumberOfPaths();
  blockOfNothing();
  sameGroupTwice();
  noRowIsFree();
  return 0;
}
