// The four tables over the kernel: chains of rows, answers, restarts.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include <filesystem>

#include "DeviceFixture.h"
#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "Plugin/Registrar.h"
#include "plugins/kernel-nexthop/Utilities.h"

namespace KernelNextHopTests {
namespace {

using namespace OrviaL3Unicast;
using testing::ElementsAre;

using Handle = Vek::Ptr<Asic::SwTable::EntryHandle>;
using ConstHandle = Vek::Ptr<Asic::SwTable::EntryHandle const>;

Handle programmed(std::uint32_t row) {
  Handle handle = new Asic::SwTable::EntryHandle;
  handle->hasNotificationActiveIs(true);
  handle->hwEntryIndexIs(row);
  handle->entryStateIs(Asic::HwTable::success());
  return handle;
}

template <class Entry>
Entry record(unsigned n) {
  static ConstHandle const interface = programmed(1);
  Entry entry;
  entry.destinationIs(static_cast<std::uint16_t>(n));
  entry.l3Oif1HandleIs(interface);
  return entry;
}

L3EcmpNextHopKey key(unsigned n) {
  return L3EcmpNextHopKey::viaGateway(
      0, Asic::GatewayAddress::ipv4({10, 0, 0, static_cast<std::uint8_t>(n)}), 3);
}

template <class Table>
void bringUp(Table& table, UtilPtr const& util, std::uint32_t rows) {
  table.utilIs(util);
  table.hwTableIs(new Asic::HwTable);
  table.numEntriesIs(rows);
}
template <class Table>
void serve(Table& table) {
  table.doInitComplete();
  table.hwTableReadyIs(true);
}

class Tables : public DeviceFixture {
 protected:
  void SetUp() override {
    DeviceFixture::SetUp();
    if (IsSkipped()) return;
    makeTables();
  }
  void TearDown() override { endTables(); }
  void makeTables() {
    ingress = IngL3NextHop1Table::IngL3NextHop1TableIs();
    hops = EcmpIngL3NextHop1Table::EcmpIngL3NextHop1TableIs();
    blocks = L3EcmpMemberTable::L3EcmpMemberTableIs();
    groups = L3EcmpGroupTable::L3EcmpGroupTableIs();
    bringUp(*ingress, makeIngressUtil(*ingress), 1000 - kIngress);
    bringUp(*hops, makeEcmpUtil(*hops), kIngress);
    bringUp(*blocks, makeMemberUtil(*blocks), 2000);
    bringUp(*groups, makeGroupUtil(*groups), 100);
    ingress->syncEntries();
    serve(*ingress);
    serve(*hops);
    serve(*blocks);
    serve(*groups);
  }
  // As an agent's end does: nothing is deleted.
  void endTables() {
    for (auto* const table : std::initializer_list<OrviaAsicUtils::SwTable*>{
             ingress.get(), hops.get(), blocks.get(), groups.get()}) {
      if (table != nullptr) table->hwTableReadyIs(false);
    }
    ingress = nullptr;
    hops = nullptr;
    blocks = nullptr;
    groups = nullptr;
  }
  [[nodiscard]] ConstHandle hop(unsigned n) {
    return hops->entryRef(key(n), record<EcmpIngL3NextHop1Table::Entry>(n));
  }
  static L3EcmpEntryBlock blockOf(std::vector<ConstHandle> const& handles) {
    L3EcmpEntryBlock block(Asic::BlockSize(static_cast<std::uint16_t>(handles.size())));
    std::uint32_t position = 0;
    for (ConstHandle const& handle : handles) block.entryIs(position++, L3EcmpMember(handle));
    return block;
  }
  ConstHandle commitGroup(unsigned number, ConstHandle const& block, unsigned paths) {
    return groups->entryCommitWithResponseHandler(
        L3EcmpGroupTable::Index(number),
        L3EcmpGroupTable::Entry(0, block, 0, static_cast<std::uint16_t>(paths)),
        [this](auto state) { states.push_back(state); });
  }

  Vek::Ptr<IngL3NextHop1Table> ingress;
  Vek::Ptr<EcmpIngL3NextHop1Table> hops;
  Vek::Ptr<L3EcmpMemberTable> blocks;
  Vek::Ptr<L3EcmpGroupTable> groups;
  std::vector<int> states;
};

TEST_F(Tables, AGroupResolvesFromTheBottomUp) {
  ConstHandle const one = hop(1);
  ConstHandle const two = hop(202);
  ConstHandle const block = blocks->entryBlockRef(blockOf({one, two, one}));
  ConstHandle const group = commitGroup(5, block, 3);
  EXPECT_FALSE(one->isProgrammed());
  settle();
  EXPECT_THAT(states, ElementsAre(1));
  EXPECT_TRUE(group->isProgrammed());
  std::uint32_t const row = group->hwEntryIndex().value();
  EXPECT_EQ(inKernel(groupRow(row)),
            fmt::format("{}x2 {}", id(nextHopRow(one->hwEntryIndex().value())),
                        id(nextHopRow(two->hwEntryIndex().value()))));
  EXPECT_EQ(groups->util()->hwTableEntryIndex(groups->hwTable(), L3EcmpGroupTable::Index(5)), row);
}

TEST_F(Tables, AGroupMovesToAnotherBlockInOneReplacement) {
  ConstHandle one = hop(1);
  ConstHandle const two = hop(2);
  ConstHandle const three = hop(3);
  ConstHandle block = blocks->entryBlockRef(blockOf({one, two}));
  ConstHandle const group = commitGroup(5, block, 2);
  settle();
  std::uint32_t const row = group->hwEntryIndex().value();
  std::uint32_t const rowOfOne = one->hwEntryIndex().value();
  ConstHandle const next = blocks->entryBlockRef(blockOf({two, three}));
  commitGroup(5, next, 2);
  settle();
  EXPECT_THAT(states, ElementsAre(1, 1));
  // The old one goes after the answer.
  block = nullptr;
  one = nullptr;
  settle();
  EXPECT_EQ(inKernel(groupRow(row)),
            ids({two->hwEntryIndex().value(), three->hwEntryIndex().value()}));
  EXPECT_EQ(inKernel(nextHopRow(rowOfOne)), "none");
}

TEST_F(Tables, ARefusalReachesTheHandlerAndHoldsBackWhatWaits) {
  plane.run("ip addr flush dev d0");
  ConstHandle const one = hop(1);
  ConstHandle const block = blocks->entryBlockRef(blockOf({one}));
  ConstHandle const group = commitGroup(5, block, 1);
  settle();
  EXPECT_EQ(one->entryState(), Asic::HwTable::refused);
  EXPECT_THAT(states, testing::IsEmpty());
  plane.run("ip addr add 10.0.0.1/16 dev d0");
  device->recheck();
  settle();
  EXPECT_THAT(states, ElementsAre(1));
}

TEST_F(Tables, ChainsEndFromTheTop) {
  ConstHandle one = hop(1);
  ConstHandle two = hop(2);
  ConstHandle block = blocks->entryBlockRef(blockOf({one, two}));
  ConstHandle group = commitGroup(5, block, 2);
  settle();
  groups->entryRemove(L3EcmpGroupTable::Index(5));
  group = nullptr;
  block = nullptr;
  one = two = nullptr;
  settle();
  EXPECT_THAT(plane.objects(), testing::IsEmpty());
}

TEST_F(Tables, AnIngressRowIsAnsweredOnItsHandle) {
  Handle const at = programmed(kIngress + 7);
  ConstHandle const handle = ingress->entryCommitWithResponseHandler(
      at, record<IngL3NextHop1Table::Entry>(7), [this](auto state) { states.push_back(state); });
  settle();
  EXPECT_TRUE(handle->isProgrammed());
  EXPECT_EQ(handle->hwEntryIndex(), kIngress + 7);
  EXPECT_EQ(inKernel(nextHopRow(kIngress + 7)), gateway(7) + "@d0");
  EXPECT_EQ(ingress->util()->hwTableEntryIndex(ingress->hwTable(), at), kIngress + 7);
  ingress->entryRemove(at);
}

TEST_F(Tables, AnIngressRowComesBackAfterARestart) {
  Handle at = programmed(kIngress + 7);
  Handle const other = programmed(kIngress + 8);
  ConstHandle handle =
      ingress->entryCommitWithResponseHandler(at, record<IngL3NextHop1Table::Entry>(7), {});
  ConstHandle second =
      ingress->entryCommitWithResponseHandler(other, record<IngL3NextHop1Table::Entry>(8), {});
  settle();
  endTables();
  handle = second = nullptr;
  start();
  at = programmed(kIngress + 7);
  device->rowOwnersIs([&](Asic::Index row, NextHop const& nextHop) -> std::optional<RowOwner> {
    if (row != at->hwEntryIndex()) return std::nullopt;
    EXPECT_EQ(nextHop.interface, d0);
    EXPECT_EQ(nextHop.gateway[3], 9);
    return RowOwner{at, record<IngL3NextHop1Table::Entry>(7)};
  });
  makeTables();
  ASSERT_TRUE(ingress->entryHandleAccess(at));
  EXPECT_TRUE(ingress->entryHandleAccess(at)->isProgrammed());
  // The same again disturbs nothing.
  handle = ingress->entryCommitWithResponseHandler(at, record<IngL3NextHop1Table::Entry>(7), {});
  settle();
  EXPECT_EQ(device->counts().requests, 0U);
  EXPECT_TRUE(handle->isProgrammed());
  device->release();
  settle();
  EXPECT_EQ(plane.objects().size(), 1U);
  EXPECT_EQ(inKernel(nextHopRow(kIngress + 7)), gateway(7) + "@d0");
}

TEST_F(Tables, AreEmptiedByTheirOwnDeleteAll) {
  ConstHandle const one = hop(1);
  ConstHandle const block = blocks->entryBlockRef(blockOf({one}));
  ConstHandle const group = commitGroup(5, block, 1);
  Handle const at = programmed(kIngress + 7);
  ConstHandle const handle =
      ingress->entryCommitWithResponseHandler(at, record<IngL3NextHop1Table::Entry>(7), {});
  settle();
  endTables();
  start();
  makeTables();
  groups->util()->hwTableEntryDelAll({});
  blocks->util()->hwTableEntryDelAll({});
  hops->util()->hwTableEntryDelAll({});
  settle();
  EXPECT_EQ(plane.objects().size(), 1U);
  ingress->util()->hwTableEntryDelAll({});
  settle();
  EXPECT_THAT(plane.objects(), testing::IsEmpty());
}

TEST_F(Tables, AnAnswerAfterTheirEndChangesNothing) {
  ConstHandle const one = hop(1);
  Handle const at = programmed(kIngress + 7);
  ConstHandle const handle =
      ingress->entryCommitWithResponseHandler(at, record<IngL3NextHop1Table::Entry>(7), {});
  endTables();
  settle();
  EXPECT_FALSE(one->isProgrammed());
  EXPECT_EQ(plane.objects().size(), 2U);
}

TEST(KernelNextHopUtilities, NeedADevice) {
  auto const table = L3EcmpGroupTable::L3EcmpGroupTableIs();
  EXPECT_THROW(makeGroupUtil(*table), std::logic_error);
}

// Each module announces the utility of the table in whose directory it lies.
TEST(KernelNextHopModules, AnnounceTheirTables) {
  for (std::string const table :
       {"IngL3NextHop1Table", "EcmpIngL3NextHop1Table", "L3EcmpMemberTable", "L3EcmpGroupTable"}) {
    std::string const path = "OrviaFeaturePlugin/OrviaL3Unicast::" + table;
    std::string const file =
        std::string(ORVIA_KERNEL_NEXTHOP_ROOT) + "/" + path + "/kernel-nexthop.so";
    void* const module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    auto* const init =
        reinterpret_cast<int (*)(Plugin::Registrar&)>(dlsym(module, Plugin::entryName));
    ASSERT_NE(init, nullptr);
    Plugin::Registrar registrar("test", path, file);
    EXPECT_EQ(init(registrar), 0);
    ASSERT_EQ(registrar.utilFactories().size(), 1U);
    EXPECT_EQ(registrar.utilFactories()[0].table, "OrviaL3Unicast::" + table);
  }
}

}  // namespace
}  // namespace KernelNextHopTests
