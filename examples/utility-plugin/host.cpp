// A small agent for trying the plug-in: takes its tables' utilities from plug-ins, and shows what
// becomes of answers that are late, negative or worthless.
//
//   ORVIA_PLUGIN_ROOT=<where the plug-in is installed> example-host
//
// What goes wrong is said on standard error, with the table and the plug-in's file.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include "ChipUtil.h"
#include "OrviaAsicUtils/UtilFactory.h"
#include "Plugin/LoadRecord.h"

namespace {

using OrviaL3Unicast::EcmpIngL3NextHop1Table;
using OrviaL3Unicast::IngL3NextHop1Table;
using OrviaL3Unicast::L3EcmpNextHopKey;
using Handle = Asic::SwTable::EntryHandle;

// The plug-ins' utility for the table. When there is none the loader's record says why; what a
// plug-in throws knows neither table nor file.
Vek::Ptr<OrviaAsicUtils::SwTableUtil> utilOf(OrviaAsicUtils::SwTable& table) {
  std::string const name = table.fwkType().name();
  auto const* const factory = OrviaAsicUtils::utilFactory(name);
  if (factory == nullptr) {
    throw std::runtime_error(
        name + " has no utility: " + Plugin::loadRecord("OrviaFeaturePlugin/" + name).text());
  }
  std::string const failed = name + ": its utility from " + factory->origin + " could not be made";
  Vek::Ptr<OrviaAsicUtils::SwTableUtil> util;
  try {
    util = factory->create(table);
  } catch (std::exception const& failure) {
    throw std::runtime_error(failed + ": " + failure.what());
  }
  if (!util) throw std::runtime_error(failed);
  std::printf("%s: served by \"%s\" from %s\n", name.c_str(), util->name().c_str(),
              factory->origin.substr(factory->origin.rfind('/') + 1).c_str());
  return util;
}

void attach(OrviaAsicUtils::SwTable& table) {
  table.utilIs(utilOf(table));
  table.hwTableIs(new Asic::HwTable);
  table.numEntriesIs(1024);
  table.syncEntries();
  table.doInitComplete();
  table.hwTableReadyIs(true);
}

Vek::Ptr<Handle> programmedEntryAt(Asic::Index row) {
  Vek::Ptr<Handle> handle = new Handle;
  handle->hwEntryIndexIs(row);
  handle->entryStateIs(Asic::HwTable::success());
  return handle;
}

EcmpIngL3NextHop1Table::Entry nextHop(std::uint16_t destination) {
  static auto const interface = programmedEntryAt(7);
  EcmpIngL3NextHop1Table::Entry entry;
  entry.l3Oif1HandleIs(interface);
  entry.destinationIs(destination);
  return entry;
}

L3EcmpNextHopKey neighbour(std::uint8_t host) {
  return L3EcmpNextHopKey::viaGateway(0, Asic::GatewayAddress::ipv4({192, 0, 2, host}), 3);
}

void hear(OrviaAsicUtils::SwTable::EntryState state) {
  std::printf("  the handler hears %d\n", int{state});
}

// What a restart asks a utility for, here in the middle of a table's life.
template <class Table>
void clear(Table& table) {
  static_cast<typename Table::Util&>(*table.util()).hwTableEntryDelAll(table.hwTable());
}

// Delivers every answer that waits.
void poll() {
  int answers = 0;
  while (chipPoll() != 0) ++answers;
  std::printf("  answers of the chip: %d\n", answers);
}

void printRow(Asic::Index row) {
  ChipRow contents;
  if (chipRead(CHIP_NEXT_HOPS, row.value(), &contents) == 0) {
    std::printf("  chip row %u is empty\n", row.value());
  } else {
    std::printf("  chip row %u: interface %u, destination %u\n", row.value(), contents.words[0],
                contents.words[2]);
  }
}

void run() {
  auto nextHops = OrviaL3Unicast::ecmpIngL3NextHop1TableFactory();
  auto const ingress = OrviaL3Unicast::ingL3NextHop1TableFactory();
  auto const members = OrviaL3Unicast::l3EcmpMemberTableFactory();
  auto const groups = OrviaL3Unicast::l3EcmpGroupTableFactory();
  attach(*ingress);
  attach(*nextHops);
  attach(*members);
  attach(*groups);

  std::puts("an answer within the write");
  auto first = nextHops->entryCommitWithResponseHandler(neighbour(1), nextHop(101), hear);
  std::printf("  row %u\n", first->hwEntryIndex().value());

  std::puts("an answer that comes later");
  chipDefer(1);
  auto second = nextHops->entryCommitWithResponseHandler(neighbour(2), nextHop(102), hear);
  std::printf("  programmed: %d\n", second->isProgrammed() ? 1 : 0);
  poll();
  printRow(second->hwEntryIndex());

  std::puts("a refusal");
  chipRefuseNext();
  auto third = nextHops->entryCommitWithResponseHandler(neighbour(3), nextHop(103), hear);
  poll();

  std::puts("two writes of one row: the answer to the first is worthless");
  nextHops->entryCommitWithResponseHandler(neighbour(2), nextHop(201), hear);
  nextHops->entryCommitWithResponseHandler(neighbour(2), nextHop(202), hear);
  poll();
  printRow(second->hwEntryIndex());

  std::puts("a removal before the answer");
  Asic::Index const row = first->hwEntryIndex();
  nextHops->entryCommitWithResponseHandler(neighbour(1), nextHop(301), hear);
  nextHops->entryRemove(neighbour(1));
  first = nullptr;
  poll();
  printRow(row);

  std::puts("all rows cleared before the answers: each table of next hops has its own");
  auto const key = programmedEntryAt(2000);
  IngL3NextHop1Table::Entry record;
  record.l3Oif1HandleIs(programmedEntryAt(7));
  record.destinationIs(5);
  auto const ordinary = ingress->entryCommit(key, record);
  nextHops->entryCommitWithResponseHandler(neighbour(2), nextHop(302), hear);
  clear(*ingress);
  printRow(2000);
  printRow(second->hwEntryIndex());
  clear(*nextHops);
  printRow(second->hwEntryIndex());
  poll();

  std::puts("an answer after the table's end");
  nextHops->entryCommitWithResponseHandler(neighbour(2), nextHop(401), hear);
  nextHops->hwTableReadyIs(false);
  nextHops = nullptr;
  poll();
  printRow(second->hwEntryIndex());
}

// Without a root the library takes the plug-ins beside itself: the simulated ASIC's, which serve
// the tables of their own devices only.
bool rootIsGiven() {
  char const* const root = std::getenv("ORVIA_PLUGIN_ROOT");
  return root != nullptr && *root != '\0';
}

}  // namespace

int main() {
  if (!rootIsGiven()) {
    std::fputs(
        "example-host: set ORVIA_PLUGIN_ROOT to the folder that the plug-in is installed "
        "in\n",
        stderr);
    return 2;
  }
  try {
    run();
    return 0;
  } catch (std::exception const& failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "example-host: %s\n", failure.what());
    return 1;
  }
}
