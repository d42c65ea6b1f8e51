// An agent that embeds the library: makes the four tables, brings its own utilities for them,
// programs ECMP groups and one ordinary next hop, restarts, and takes everything down again. main()
// says which groups, a line for each.
//
// It links the library. How one that loads it with dlopen gets its tables: docs/embedding.md.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <vector>

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

// What points at something comes before what it points at: a restart clears rows, and at no moment
// does a group that still forwards lead to cleared ones.
Tables makeTables(Hardware& hardware, IngressUtil::Owners const& owners) {
  Tables tables;
  bringUp(*tables.groups, new GroupUtil(hardware), Hardware::groupRows);
  bringUp(*tables.members, new MemberUtil(hardware), Hardware::memberRows);
  bringUp(*tables.ecmpNextHops, new EcmpNextHopUtil(hardware), Hardware::firstIngressRow);
  bringUp(*tables.nextHops, new IngressUtil(*tables.nextHops, hardware, owners),
          Hardware::nextHopRows - Hardware::firstIngressRow);
  return tables;
}

// An agent that goes away leaves the switch forwarding: what ends after this touches no row.
void leave(Tables const& tables) {
  tables.nextHops->hwTableReadyIs(false);
  tables.ecmpNextHops->hwTableReadyIs(false);
  tables.members->hwTableReadyIs(false);
  tables.groups->hwTableReadyIs(false);
}

// Next hops of groups are named by what a route says about them.
L3EcmpNextHopKey keyOf(std::uint8_t host) {
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

struct Neighbour {
  std::uint8_t host;
  std::uint16_t destination;
};

struct GroupPlan {
  std::uint32_t number;  // the agent's, not a row; a group has its own
  std::vector<Neighbour> neighbours;
};

// A group in the tables, with everything that it stands on, for as long as this object lives. Its
// handler knows the object by address, so there is one for each group and it stays where it is.
class Group {
 public:
  Group(Tables const& tables, GroupPlan const& plan, Vek::Ptr<Handle> const& interface,
        Vek::Ptr<Handle> const& mtuProfile)
      : tables_(tables), plan_(plan) {
    auto const paths = static_cast<std::uint16_t>(plan_.neighbours.size());
    L3EcmpMemberTable::EntryBlock members{Asic::BlockSize(paths)};
    for (std::uint16_t i = 0; i < paths; ++i) {
      Neighbour const& neighbour = plan_.neighbours[i];
      // The member holds the next hop's handle, the block that is referenced here its members.
      members.entryIs(
          i, L3EcmpMember(tables_.ecmpNextHops->entryCommit(
                 keyOf(neighbour.host), nextHop(interface, mtuProfile, neighbour.destination))));
    }
    block_ = tables_.members->entryBlockRef(members);

    L3EcmpGroupTable::Entry record;
    record.ecmpBlockPtrHandleIs(block_);
    record.numPathsIs(paths);
    handle_ =
        tables_.groups->entryCommitWithResponseHandler(plan_.number, record, [this](State state) {
          bool const isIn = state == Asic::HwTable::success();
          std::printf("  group %u is %s\n", plan_.number, isIn ? "in" : "refused");
          answered_ = true;
        });
  }

  // What points at something goes before what it points at. The handler goes with the entry.
  ~Group() {
    tables_.groups->entryRemove(plan_.number);
    handle_ = nullptr;
    block_ = nullptr;
    for (Neighbour const& each : plan_.neighbours) {
      tables_.ecmpNextHops->entryRemove(keyOf(each.host));
    }
  }
  Group(Group const&) = delete;
  Group& operator=(Group const&) = delete;

  [[nodiscard]] std::uint32_t number() const { return plan_.number; }
  [[nodiscard]] Asic::Index row() const { return handle_->hwEntryIndex(); }
  [[nodiscard]] bool answered() const { return answered_; }

 private:
  Tables const tables_;
  GroupPlan const plan_;
  Vek::Ptr<Handle const> block_;
  Vek::Ptr<Handle const> handle_;
  bool answered_ = false;
};

// A list: groups do not move.
using Groups = std::list<Group>;

void waitFor(Groups const& groups, Hardware& hardware) {
  auto const answered = [](Group const& group) { return group.answered(); };
  while (!std::all_of(groups.begin(), groups.end(), answered)) {
    if (!hardware.deliver()) {
      std::puts("  the hardware is silent");
      std::exit(1);
    }
  }
}

}  // namespace

int main() {
  // A group is a line: its number, and host and destination of each neighbour.
  std::vector<GroupPlan> const plan = {
      {7, {{1, 101}, {2, 102}}},
  };

  Hardware hardware;
  // The agent's own tables have entries that ours point at.
  auto const interface = entryAt(7);  // the hardware has not confirmed it yet
  auto const mtuProfile = programmedEntryAt(1);
  auto const key = programmedEntryAt(Hardware::firstIngressRow + 4);

  IngL3NextHop1Table::Entry record;
  record.l3Oif1HandleIs(interface);
  record.mtuProfilePtrHandleIs(mtuProfile);
  record.destinationIs(5);

  auto const addGroups = [&](Groups& groups, Tables const& tables) {
    for (GroupPlan const& each : plan) groups.emplace_back(tables, each, interface, mtuProfile);
  };

  {
    std::puts("start");
    Tables const tables = makeTables(hardware, {});

    std::puts("groups and a next hop, while their interface is not there yet");
    Groups groups;
    addGroups(groups, tables);
    auto const handle = tables.nextHops->entryCommit(key, record);
    std::printf("  waiting: next hops %zu + %zu, blocks %zu, groups %zu\n",
                tables.ecmpNextHops->unresolvedEntrys(), tables.nextHops->unresolvedEntrys(),
                tables.members->unresolvedEntryBlocks(), tables.groups->unresolvedEntrys());

    std::puts("the interface is there");
    interface->entryStateIs(Asic::HwTable::success());
    std::puts("the hardware answers");
    waitFor(groups, hardware);
    for (Group const& group : groups) {
      std::printf("  group %u has row %u\n", group.number(), group.row().value());
    }

    std::puts("the agent goes away");
    leave(tables);
  }
  {
    std::puts("restart");
    Tables const tables = makeTables(hardware, {{Hardware::firstIngressRow + 4, {key, record}}});

    std::puts("the same once more: only what was cleared is written");
    Groups groups;
    addGroups(groups, tables);
    auto handle = tables.nextHops->entryCommit(key, record);
    std::printf("  the next hop is %s\n", handle->isProgrammed() ? "in" : "missing");
    waitFor(groups, hardware);

    std::puts("removal");
    groups.clear();
    tables.nextHops->entryRemove(key);
    handle = nullptr;  // both: the row goes when nobody holds the handle
    std::puts("end");
  }
  return 0;
}
