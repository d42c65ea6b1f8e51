// An agent that embeds the library: makes the four tables, brings its own utilities for them,
// programs one ECMP group and one ordinary next hop, restarts, and takes everything down again.
//
// It links the library. How one that loads it with dlopen gets its tables: docs/embedding.md.
#include <cstdio>
#include <cstdlib>

#include "Hardware.h"
#include "Utilities.h"

namespace {

using OrviaL3Unicast::EcmpIngL3NextHop1Table;
using OrviaL3Unicast::IngL3NextHop1Table;
using OrviaL3Unicast::L3EcmpGroupTable;
using OrviaL3Unicast::L3EcmpMember;
using OrviaL3Unicast::L3EcmpMemberTable;
using OrviaL3Unicast::L3EcmpNextHopKey;
using State = OrviaAsicUtils::SwTable::EntryState;

// An entry of one of the agent's own tables, such as an interface: a row, and what is known of it.
Vek::Ptr<Handle> entryAt(Asic::Index row) {
  Vek::Ptr<Handle> handle = new Handle;
  handle->hwEntryIndexIs(row);
  return handle;
}

Vek::Ptr<Handle> programmedEntryAt(Asic::Index row) {
  auto handle = entryAt(row);
  handle->entryStateIs(Asic::HwTable::success());
  return handle;
}

struct Tables {
  Vek::Ptr<IngL3NextHop1Table> nextHops = OrviaL3Unicast::ingL3NextHop1TableFactory();
  Vek::Ptr<EcmpIngL3NextHop1Table> ecmpNextHops = OrviaL3Unicast::ecmpIngL3NextHop1TableFactory();
  Vek::Ptr<L3EcmpMemberTable> members = OrviaL3Unicast::l3EcmpMemberTableFactory();
  Vek::Ptr<L3EcmpGroupTable> groups = OrviaL3Unicast::l3EcmpGroupTableFactory();
};

// What the platform does with each table, at a start and at a restart alike. The order matters.
void bringUp(OrviaAsicUtils::SwTable& table, Vek::Ptr<OrviaAsicUtils::SwTableUtil> const& util,
             std::uint32_t rows) {
  table.utilIs(util);
  table.hwTableIs(new Asic::HwTable);  // one for each table: it carries that table's answers
  table.numEntriesIs(rows);
  table.syncEntries();         // meets what the hardware holds
  table.doInitComplete();      // makes what gives out the rows
  table.hwTableReadyIs(true);  // from here on, writes reach the hardware
}

Tables makeTables(Hardware& hardware, IngressUtil::Owners const& owners) {
  Tables tables;
  bringUp(*tables.nextHops, new IngressUtil(*tables.nextHops, hardware, owners),
          Hardware::nextHopRows - Hardware::firstIngressRow);
  bringUp(*tables.ecmpNextHops, new EcmpNextHopUtil(hardware), Hardware::firstIngressRow);
  bringUp(*tables.members, new MemberUtil(hardware), Hardware::memberRows);
  bringUp(*tables.groups, new GroupUtil(hardware), Hardware::groupRows);
  return tables;
}

// An agent that goes away leaves the switch forwarding: not ready first, then the tables.
void letGoOf(Tables& tables) {
  tables.nextHops->hwTableReadyIs(false);
  tables.ecmpNextHops->hwTableReadyIs(false);
  tables.members->hwTableReadyIs(false);
  tables.groups->hwTableReadyIs(false);
  tables = {};
}

// Next hops of groups are named by what a route says about them.
L3EcmpNextHopKey neighbour(std::uint8_t host) {
  return L3EcmpNextHopKey::viaGateway(0, Asic::GatewayAddress::ipv4({192, 0, 2, host}), 3);
}

EcmpIngL3NextHop1Table::Entry nextHop(Vek::Ptr<Handle> const& interface,
                                      Vek::Ptr<Handle> const& mtuProfile,
                                      std::uint16_t destination) {
  EcmpIngL3NextHop1Table::Entry entry;
  entry.l3Oif1HandleIs(interface);
  entry.mtuProfilePtrHandleIs(mtuProfile);
  entry.destinationIs(destination);
  return entry;
}

// A group over two neighbours, and everything that it stands on.
struct Group {
  static constexpr std::uint32_t number = 7;  // the agent's, not a row

  Group(Tables const& owner, Vek::Ptr<Handle> const& interface, Vek::Ptr<Handle> const& mtuProfile)
      : tables(owner) {
    first = tables.ecmpNextHops->entryCommit(neighbour(1), nextHop(interface, mtuProfile, 101));
    second = tables.ecmpNextHops->entryCommit(neighbour(2), nextHop(interface, mtuProfile, 102));

    L3EcmpMemberTable::EntryBlock members(Asic::BlockSize(2));
    members.entryIs(0, L3EcmpMember(first));
    members.entryIs(1, L3EcmpMember(second));
    block = tables.members->entryBlockRef(members);

    L3EcmpGroupTable::Entry record;
    record.ecmpBlockPtrHandleIs(block);
    record.numPathsIs(2);
    handle = tables.groups->entryCommitWithResponseHandler(number, record, [this](State state) {
      std::printf("  the group is %s\n", state == Asic::HwTable::success() ? "in" : "refused");
      answered = true;
    });
  }

  // What points at something goes before what it points at.
  void remove() {
    tables.groups->entryRemove(number);
    handle = nullptr;
    block = nullptr;
    tables.ecmpNextHops->entryRemove(neighbour(1));
    tables.ecmpNextHops->entryRemove(neighbour(2));
    first = nullptr;
    second = nullptr;
  }

  Tables const& tables;
  Vek::Ptr<Handle const> first;
  Vek::Ptr<Handle const> second;
  Vek::Ptr<Handle const> block;
  Vek::Ptr<Handle const> handle;
  bool answered = false;
};

void waitFor(Group const& group, Hardware& hardware) {
  while (!group.answered) {
    if (!hardware.deliver()) {
      std::puts("  the hardware is silent");
      std::exit(1);
    }
  }
}

}  // namespace

int main() {
  Hardware hardware;
  // The agent's own tables have entries that ours point at.
  auto const interface = entryAt(7);  // the hardware has not confirmed it yet
  auto const mtuProfile = programmedEntryAt(1);
  auto const key = programmedEntryAt(Hardware::firstIngressRow + 4);

  IngL3NextHop1Table::Entry record;
  record.l3Oif1HandleIs(interface);
  record.mtuProfilePtrHandleIs(mtuProfile);
  record.destinationIs(5);

  {
    std::puts("start");
    Tables tables = makeTables(hardware, {});

    std::puts("a group and a next hop, while their interface is not there yet");
    Group group(tables, interface, mtuProfile);
    auto const handle = tables.nextHops->entryCommit(key, record);
    std::printf("  waiting: %zu + %zu next hops, %zu block, %zu group\n",
                tables.ecmpNextHops->unresolvedEntrys(), tables.nextHops->unresolvedEntrys(),
                tables.members->unresolvedEntryBlocks(), tables.groups->unresolvedEntrys());

    std::puts("the interface is there");
    interface->entryStateIs(Asic::HwTable::success());
    std::puts("the hardware answers");
    waitFor(group, hardware);
    std::printf("  group %u has row %u\n", Group::number, group.handle->hwEntryIndex().value());

    std::puts("the agent goes away");
    letGoOf(tables);
  }
  {
    std::puts("restart");
    Tables tables = makeTables(hardware, {{Hardware::firstIngressRow + 4, {key, record}}});

    std::puts("the same once more: only what was cleared is written");
    Group group(tables, interface, mtuProfile);
    auto handle = tables.nextHops->entryCommit(key, record);
    std::printf("  the next hop is %s\n", handle->isProgrammed() ? "in" : "missing");
    waitFor(group, hardware);

    std::puts("removal");
    group.remove();
    tables.nextHops->entryRemove(key);
    handle = nullptr;  // both: the row goes when nobody holds the handle
    std::puts("end");
  }
  return 0;
}
