#include "plugins/kernel-nexthop/Utilities.h"

#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "plugins/kernel-nexthop/KernelUtil.h"

namespace KernelNextHop {
namespace {

using State = Asic::HwTable::EntryState;
using Tell = KernelDevice::Tell;
using TablePtr = Vek::Ptr<OrviaAsicUtils::SwTable>;
// The first row, and the one after the last.
using Rows = std::pair<std::uint32_t, std::uint32_t>;

template <class Entry>
Record recordOf(Entry const& entry) {
  return {entry.fields(), entry.l3Oif1(), entry.mtuProfilePtr()};
}

struct IngressWiring {
  using Traits = OrviaL3Unicast::IngL3NextHop1Traits;

  static Rows rows(KernelSizes const& sizes) { return {sizes.ecmpNextHops, sizes.nextHops}; }
  static Asic::Index row(Traits::Key const& key) { return key->hwEntryIndex(); }
  static Asic::Index boundRow(Traits::Table const&, Traits::Key const& key) {
    return key->hwEntryIndex();
  }
  static bool isInForce(KernelDevice const& device, Asic::Index row) {
    return device.isInForce({Target::Kind::nextHop, row.value()});
  }
  static void write(KernelDevice& device, std::uint32_t row, Traits::Entry const& entry,
                    Tell tell) {
    device.nextHopIs(row, recordOf(entry), std::move(tell));
  }
  static void remove(KernelDevice& device, std::uint32_t row) { device.nextHopDel(row); }
  static void removeAll(KernelDevice& device) {
    auto const [first, last] = rows(device.options().sizes);
    device.nextHopsDel(first, last);
  }
  static void deliver(Traits::Table* table, Asic::HwTable&, Traits::Key const& key, Asic::Index row,
                      State state) {
    auto const handle = table != nullptr ? table->entryHandleAccess(key) : nullptr;
    if (!handle) return;
    handle->hwEntryIndexIs(row);
    handle->entryStateIs(state);
  }
  static void refill(KernelDevice& device, TablePtr const& swTable) {
    // A copy: whoever is asked may name another.
    KernelDevice::RowOwnerOf const ownerOf = device.rowOwners();
    if (!ownerOf) return;
    auto& table = static_cast<Traits::Table&>(*swTable);
    auto const link = table.link();
    device.ingressFromBefore([&](std::uint32_t row, NextHop const& nextHop) {
      std::optional<RowOwner> const owner = ownerOf(row, nextHop);
      if (!owner) return;
      device.nextHopRestored(row, recordOf(owner->record),
                             [link, hwTable = table.hwTable(), key = owner->key, row](State state) {
                               Vek::Ptr<Traits::Table> const then = link->table();
                               deliver(then.get(), *hwTable, key, row, state);
                             });
      auto const handle = table.entryHandleIs(owner->key, &table);
      table.entryIs(owner->key, owner->record);
      // Last, since storing the record resets the state.
      handle->hwEntryIndexIs(row);
      handle->entryStateIs(Asic::HwTable::success());
    });
  }
};

// A table that chooses its rows.
template <class TableTraits>
struct AllocatedWiring {
  using Traits = TableTraits;

  static Asic::Index row(Asic::Index row) { return row; }
  static Asic::Index boundRow(typename Traits::Table const& table,
                              typename Traits::Key const& key) {
    auto const& allocator = table.firstFreeIndexAllocator();
    return allocator ? allocator->indexForKey(Traits::keyType(), &key)
                     : Asic::Index::invalidIndex();
  }
  static void deliver(typename Traits::Table*, Asic::HwTable& hwTable, Asic::Index, Asic::Index row,
                      State state) {
    hwTable.writeResponseIs(row, state);
  }
  // Never asked for: no record could be told from a row that the table chose.
  static void refill(KernelDevice&, TablePtr const&) {}
};

struct EcmpWiring : AllocatedWiring<OrviaL3Unicast::EcmpIngL3NextHop1Traits> {
  static Rows rows(KernelSizes const& sizes) { return {0, sizes.ecmpNextHops}; }
  static bool isInForce(KernelDevice const& device, Asic::Index row) {
    return device.isInForce({Target::Kind::nextHop, row.value()});
  }
  static void write(KernelDevice& device, std::uint32_t row, Traits::Entry const& entry,
                    Tell tell) {
    device.nextHopIs(row, recordOf(entry), std::move(tell));
  }
  static void remove(KernelDevice& device, std::uint32_t row) { device.nextHopDel(row); }
  static void removeAll(KernelDevice& device) {
    auto const [first, last] = rows(device.options().sizes);
    device.nextHopsDel(first, last);
  }
};

struct GroupWiring : AllocatedWiring<OrviaL3Unicast::L3EcmpGroupTraits> {
  static Rows rows(KernelSizes const& sizes) { return {0, sizes.groups}; }
  static bool isInForce(KernelDevice const& device, Asic::Index row) {
    return device.isInForce({Target::Kind::group, row.value()});
  }
  static void write(KernelDevice& device, std::uint32_t row, Traits::Entry const& entry,
                    Tell tell) {
    device.groupIs(row, entry.ecmpBlockPtr(), entry.numPaths(), std::move(tell));
  }
  static void remove(KernelDevice& device, std::uint32_t row) { device.groupDel(row); }
  static void removeAll(KernelDevice& device) { device.groupsDel(); }
};

struct MemberWiring {
  using Traits = OrviaL3Unicast::L3EcmpMemberTraits;

  static Rows rows(KernelSizes const& sizes) { return {0, sizes.members}; }
  static Asic::Index row(Traits::HwKey row) { return row.value(); }
  static Asic::Index boundRow(Traits::Table const& table, Traits::Key const& block) {
    auto const& allocator = table.indexAllocator();
    return allocator ? allocator->indexForBlock(static_cast<Asic::EntryBlockBase const*>(&block))
                     : Asic::Index::invalidIndex();
  }
  static bool isInForce(KernelDevice const& device, Asic::Index row) {
    return row.value() < device.options().sizes.members;
  }
  // A member without a next hop names no row.
  static void write(KernelDevice& device, std::uint32_t row, Traits::Entry const& member,
                    Tell const&) {
    if (!member.nextHopEntryHandle()) return device.memberDel(row);
    device.memberIs(row, member.nextHopEntry().value());
  }
  static void remove(KernelDevice& device, std::uint32_t row) { device.memberDel(row); }
  static void removeAll(KernelDevice& device) { device.membersDel(); }
  static void deliver(Traits::Table*, Asic::HwTable&, Traits::HwKey, Asic::Index, State) {}
  static void refill(KernelDevice&, TablePtr const&) {}
};

template <class Wiring>
UtilPtr make(OrviaAsicUtils::SwTable& table) {
  return new KernelUtil<Wiring>(static_cast<typename Wiring::Traits::Table&>(table),
                                KernelDevice::current());
}

}  // namespace

UtilPtr makeIngressUtil(OrviaAsicUtils::SwTable& table) { return make<IngressWiring>(table); }
UtilPtr makeEcmpUtil(OrviaAsicUtils::SwTable& table) { return make<EcmpWiring>(table); }
UtilPtr makeMemberUtil(OrviaAsicUtils::SwTable& table) { return make<MemberWiring>(table); }
UtilPtr makeGroupUtil(OrviaAsicUtils::SwTable& table) { return make<GroupWiring>(table); }

}  // namespace KernelNextHop
