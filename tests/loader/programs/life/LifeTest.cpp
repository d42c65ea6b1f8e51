// A whole life of the four tables over the shared objects that an agent loads: load, create,
// attach, sync, init, serve, destroy. What a library that was loaded leaves behind when its tables
// are gone is nothing but its code.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "LifeWorld.h"
#include "Loader/Singleton.h"
#include "OrviaAsicUtils/UtilFactory.h"
#include "Plugin/LoadRecord.h"
#include "Plugin/Root.h"

namespace LifeTests {
namespace {

// The file that the address was mapped from.
std::string fileOf(void const* address) {
  Dl_info info{};
  if (dladdr(address, &info) == 0) return "nowhere";
  return std::filesystem::canonical(info.dli_fname).string();
}

std::string pathOf(Which table) { return "OrviaFeaturePlugin/" + qualifiedName(table); }

// Leaves no object behind, whatever it did.
class LifeTest : public testing::Test {
 protected:
  LifeTest() = default;
  ~LifeTest() override { EXPECT_EQ(liveObjects(), before_) << "objects were left behind"; }

 private:
  Census const before_ = liveObjects();
};

Lines const servedRows = {"next hop 1: to 11 by interface 21, MTU profile 4",
                          "next hop 2: to 12 by interface 21, MTU profile 4",
                          "next hop 40: to 13 by interface 21, MTU profile 4",
                          "member 0: next hop 1",
                          "member 1: next hop 2",
                          "group 1: 2 paths from member 0, mode 0"};

// After leaveUnfinished().
Lines const changedRows = {"next hop 1: to 111 by interface 21, MTU profile 4",
                           "next hop 2: to 12 by interface 21, MTU profile 4",
                           "next hop 40: to 113 by interface 21, MTU profile 4",
                           "member 0: next hop 1",
                           "member 1: next hop 2",
                           "group 1: 2 paths from member 0, mode 7"};

Lines without(Lines lines, std::string const& start) {
  std::erase_if(lines, [&](std::string const& line) { return line.starts_with(start); });
  return lines;
}

// --- Load.

TEST(LoadedLibraryTest, HasRegisteredItsModulesAndLoadedTheUtilitiesBeforeAnyTableExists) {
  std::string const file = fileOf(dlsym(library(), factoryName(Which::groups)));
  std::filesystem::path const root = std::filesystem::path(file).parent_path();
  Lines modules;
  for (Vek::VekModule const* module : Vek::vekModules()) modules.emplace_back(module->name);
  EXPECT_EQ(modules, (Lines{"L3EcmpGroupTable", "L3EcmpIngL3NextHop1Table", "L3EcmpMemberTable",
                            "OrviaL3IngL3NextHop1Table"}));
  for (Which const table : allTables) {
    auto const loader = Vek::Entity::singletonExists(qualifiedName(table) + "UtilLoader");
    ASSERT_TRUE(loader) << qualifiedName(table);
    EXPECT_EQ(fileOf(loader->fwkType().info()), file);
    EXPECT_TRUE(Loader::pathSet().contains(pathOf(table)));
    auto const* const utils = OrviaAsicUtils::utilFactory(qualifiedName(table));
    ASSERT_NE(utils, nullptr) << Plugin::loadRecord(pathOf(table)).text();
    std::string const plugin = (root / pathOf(table) / "soft-asic.so").string();
    EXPECT_EQ(utils->origin, plugin);
    EXPECT_EQ(fileOf(reinterpret_cast<void const*>(utils->create)), plugin);
  }
  EXPECT_EQ(liveObjectsOfLibrary(), Census());
}

TEST(LoadedLibraryTest, IsTheOneThatTheTestsAreBoundTo) {
  void* const linked = reinterpret_cast<void*>(&orviaL3EcmpMemberTableFactory);
  EXPECT_EQ(linked, dlsym(library(), factoryName(Which::members)));
}

using MemberLoader = L3EcmpMemberTableUtilLoader;

TEST(LoadedLibraryTest, GivesTheLoaderOfATableAgainWithoutLoadingAgain) {
  Plugin::pluginRootIs("/nowhere-at-all");
  auto const loader = Loader::Singleton::inst<MemberLoader>();
  Plugin::pluginRootIs("");
  EXPECT_EQ(loader, Vek::Entity::singletonExists(qualifiedName(Which::members) + "UtilLoader"));
  EXPECT_NE(Plugin::loadRecord(loader->path()).directory, "/nowhere-at-all/" + loader->path());
}

// The instantiation that answers is the library's own, with the statics that were made while it was
// loaded: an exception leaves all of them as they were.
TEST(LoadedLibraryTest, TriesAPathAgainAfterAnExceptionAndKeepsItsLoader) {
  namespace fs = std::filesystem;
  std::string const path = pathOf(Which::members);
  auto const known = Loader::Singleton::inst<MemberLoader>();
  // A process without a working directory has no place for a root that is relative.
  std::string gone = (fs::temp_directory_path() / "orvia-life-XXXXXX").string();
  ASSERT_NE(mkdtemp(gone.data()), nullptr);
  fs::path const before = fs::current_path();
  fs::current_path(gone);
  fs::remove(gone);
  Plugin::pluginRootIs("plug-ins");
  Loader::pathSet().erase(path);
  EXPECT_THROW(Loader::Singleton::inst<MemberLoader>(), fs::filesystem_error);
  EXPECT_FALSE(Loader::pathSet().contains(path));
  fs::current_path(before);
  Plugin::pluginRootIs("");
  EXPECT_EQ(Loader::Singleton::inst<MemberLoader>(), known);
  EXPECT_TRUE(Loader::pathSet().contains(path));
  // Its plug-in was there already.
  EXPECT_EQ(Plugin::loadRecord(path).files.size(), 1U);
  EXPECT_TRUE(Plugin::failures(path).empty());
}

// --- One life, stage by stage.

void expectAWholeLife(World& w, Lines const& rowsFromBefore, Lines const& rowsAfterSync) {
  SCOPED_TRACE("rows from before: " + std::to_string(rowsFromBefore.size()));
  w.create();
  EXPECT_EQ(liveObjectsOfLibrary().at("OrviaL3Unicast::L3EcmpGroupTable"), 1U);
  EXPECT_FALSE(w.ingress->hwTable());
  EXPECT_FALSE(w.groups->hwTable());
  EXPECT_FALSE(w.groups->firstFreeIndexAllocator());
  EXPECT_EQ(w.rows(), rowsFromBefore);

  std::uint64_t calls = w.calls();
  w.attach();
  EXPECT_EQ(w.groups->hwTable().get(), &w.device.groups());
  EXPECT_EQ(w.groups->util()->fwkType(), L3EcmpGroupTableUtil::classType());
  EXPECT_EQ(w.nextHops->numEntries(), 32U);
  EXPECT_FALSE(w.groups->hwTableReady());
  EXPECT_EQ(w.calls(), calls);

  w.sync();
  // Three tables empty their hardware; the ingress table never does.
  EXPECT_EQ(w.calls(), calls + 3);
  EXPECT_EQ(w.rows(), rowsAfterSync);
  EXPECT_FALSE(w.groups->firstFreeIndexAllocator());
  EXPECT_FALSE(w.members->indexAllocator());
  EXPECT_EQ(w.groups->entrys() + w.nextHops->entrys() + w.members->entryBlocks(), 0U);

  w.ready(true);
  w.init();
  EXPECT_EQ(w.groups->firstFreeIndexAllocator()->rowsFree(), 7U);
  EXPECT_EQ(w.nextHops->firstFreeIndexAllocator()->rowsFree(), 31U);
  EXPECT_EQ(w.members->indexAllocator()->rowsFree(), 16U);
  EXPECT_TRUE(w.groups->writeResponseSm() && w.nextHops->writeResponseSm());

  // Serve. Nothing goes out before the interface is there; then the chain resolves link by link.
  calls = w.calls();
  ConstHandle const first = w.commitNextHop(1, 11, w.interface);
  ConstHandle second = w.refNextHop(2, 12, w.interface);
  ConstHandle block = w.refBlock({first, second});
  ConstHandle const group = w.commitGroup(1, block, 2);
  ConstHandle const ingress = w.commitIngress(w.ingressKey, 13, w.interface);
  EXPECT_EQ(w.calls(), calls);
  EXPECT_EQ(w.rows(), rowsAfterSync);
  EXPECT_EQ(w.heardNow(), Lines());
  program(w.interface, 21);
  EXPECT_EQ(w.calls(), calls + 3);  // the next hops; the block waits for their answers
  EXPECT_EQ(w.heardNow(), Lines());
  EXPECT_EQ(w.deliver(), 6U);
  EXPECT_EQ(w.heardNow(), (Lines{"next hop 1: 1", "next hop 2: 1", "ingress 40: 1", "group 1: 1"}));
  EXPECT_EQ(w.rows(), servedRows);
  for (ConstHandle const& handle : {first, second, block, group, ingress}) {
    EXPECT_TRUE(handle->isProgrammed());
  }
  second = nullptr;  // the block holds it, and the group the block
  block = nullptr;
  EXPECT_EQ(w.rows(), servedRows);

  // A change keeps its row.
  calls = w.calls();
  w.commitNextHop(1, 111, w.interface);
  EXPECT_EQ(first->entryState(), Asic::HwTable::notAnswered);
  EXPECT_EQ(w.deliver(), 1U);
  EXPECT_EQ(w.heardNow(), (Lines{"next hop 1: 1"}));
  EXPECT_EQ(first->hwEntryIndex(), 1U);
  EXPECT_EQ(w.rows().front(), "next hop 1: to 111 by interface 21, MTU profile 4");
  w.commitNextHop(1, 11, w.interface);
  w.deliver();
  EXPECT_EQ(w.calls(), calls + 2);
  EXPECT_EQ(w.heardNow(), (Lines{"next hop 1: 1"}));

  // What is removed leaves hardware.
  Handle const key = programmedHandle(42);
  w.commitNextHop(3, 14, w.interface);
  w.commitIngress(key, 15, w.interface);
  w.deliver();
  EXPECT_EQ(w.rows().size(), servedRows.size() + 2);
  w.heardNow();
  w.nextHops->entryRemove(via(3));
  w.ingress->entryRemove(key);
  EXPECT_EQ(w.rows(), servedRows);
  EXPECT_EQ(w.deliver(), 0U);
  EXPECT_EQ(w.heardNow(), Lines());
}

TEST_F(LifeTest, GoesThroughItsStagesTwiceOverOneDeviceThatGoesOnForwarding) {
  Device device;
  Lines rowsFromBefore;
  Lines rowsAfterSync;
  for (int life = 1; life <= 2; ++life) {
    SCOPED_TRACE("life " + std::to_string(life));
    World w(device);
    expectAWholeLife(w, rowsFromBefore, rowsAfterSync);
    w.ready(false);
    std::uint64_t const calls = w.calls();
    for (Which const which : allTables) {
      EXPECT_EQ(Vek::vekLiveObjects(qualifiedName(which)), 1U);
      w.destroy(which);
      EXPECT_EQ(Vek::vekLiveObjects(qualifiedName(which)), 0U);
    }
    EXPECT_EQ(w.calls(), calls);
    EXPECT_EQ(w.rows(), servedRows);
    EXPECT_EQ(w.heardNow(), Lines());
    EXPECT_EQ(w.handlers(), 0);
    EXPECT_EQ(liveObjectsOfLibrary(), Census());
    rowsFromBefore = servedRows;
    rowsAfterSync = {servedRows[2]};  // the ingress table's
  }
}

TEST_F(LifeTest, HandlesThatCallersHoldOutliveTheTablesAndDoNothingMore) {
  Device device;
  World w(device);
  w.start();
  w.serve();
  std::vector<ConstHandle> held = {
      w.nextHops->entryHandleAccess(via(1)), w.ingress->entryHandleAccess(w.ingressKey),
      w.groups->entryHandleAccess(1), w.groups->entry(1).ecmpBlockPtrHandle()};
  for (ConstHandle const& handle : held) ASSERT_TRUE(handle);
  w.leaveUnfinished();
  w.heardNow();
  std::uint64_t const calls = w.calls();
  // Hardware is ready, but no entry ends: not even the ingress table's row goes.
  w.destroyAll({Which::ingress, Which::nextHops, Which::members, Which::groups});
  EXPECT_EQ(w.calls(), calls);
  EXPECT_EQ(w.rows(), changedRows);
  // The handles that are held, and the next hop that the held block needs.
  Census const left = liveObjectsOfLibrary();
  EXPECT_EQ(left.at("OrviaL3Unicast::IngL3NextHop1Table::EntryHandle"), 1U);
  EXPECT_EQ(left.at("OrviaL3Unicast::EcmpIngL3NextHop1Table::EntryHandle"), 2U);
  EXPECT_EQ(left.at("OrviaL3Unicast::L3EcmpMemberTable::EntryHandle"), 1U);
  EXPECT_EQ(left.at("OrviaL3Unicast::L3EcmpGroupTable::EntryHandle"), 1U);
  w.deliver();
  program(w.neverProgrammed, 22);
  for (ConstHandle const& handle : held) {
    Handle const writable(const_cast<Asic::SwTable::EntryHandle*>(handle.get()));
    program(writable, 9);
  }
  held.clear();
  EXPECT_EQ(w.heardNow(), Lines());
  EXPECT_EQ(w.calls(), calls);
  EXPECT_EQ(w.rows(), changedRows);
  EXPECT_EQ(liveObjectsOfLibrary(), Census());
}

// --- Destroy, in every order of the four tables.

using Order = std::vector<Which>;

class DestructionTest : public LifeTest, public testing::WithParamInterface<Order> {
 protected:
  // Whether the one table ends before the other.
  [[nodiscard]] static bool isBefore(Which one, Which other) {
    for (Which const which : GetParam()) {
      if (which == one || which == other) return which == one;
    }
    return false;
  }
};

std::vector<Order> allOrders() {
  Order order(std::begin(allTables), std::end(allTables));
  std::vector<Order> orders;
  do orders.push_back(order);
  while (std::next_permutation(order.begin(), order.end()));
  return orders;
}

INSTANTIATE_TEST_SUITE_P(Orders, DestructionTest, testing::ValuesIn(allOrders()),
                         [](testing::TestParamInfo<Order> const& order) {
                           std::string name;
                           for (Which const which : order.param) name += shortName(which);
                           return name;
                         });

TEST_P(DestructionTest, LeavesEveryRowInHardwareThatIsNotReady) {
  Device device;
  World w(device);
  w.start();
  w.serve();
  w.leaveUnfinished();
  EXPECT_EQ(w.rows(), changedRows);
  w.heardNow();
  w.ready(false);
  std::uint64_t const calls = w.calls();
  w.destroyAll(GetParam());
  // What the answers that wait hold: links that lead to no table any more.
  EXPECT_EQ(liveObjectsOfLibrary(),
            (Census{{"OrviaL3Unicast::EcmpIngL3NextHop1Table::TableLink", 1},
                    {"OrviaL3Unicast::IngL3NextHop1Table::TableLink", 1},
                    {"OrviaL3Unicast::L3EcmpGroupTable::TableLink", 1}}));
  EXPECT_EQ(w.handlers(), 0);
  // Answers and needed entries that come too late.
  EXPECT_EQ(w.deliver(), 3U);
  program(w.neverProgrammed, 22);
  EXPECT_EQ(w.heardNow(), Lines());
  EXPECT_EQ(w.calls(), calls);
  EXPECT_EQ(w.rows(), changedRows);
  EXPECT_EQ(liveObjectsOfLibrary(), Census());
}

// The tables that choose rows leave hardware as it is. The ingress table lets go of its handles
// while it is still whole, and each takes its row along. A block and a next hop that are there only
// for the group go when it does, if their own tables are still there to delete them.
TEST_P(DestructionTest, DeletesTheRowsOfTheIngressTableFromHardwareThatIsReady) {
  Device device;
  World w(device);
  w.start();
  w.serve();
  w.leaveUnfinished();
  w.heardNow();
  w.destroyAll(GetParam());
  Lines expected = without(changedRows, "next hop 40");
  if (isBefore(Which::groups, Which::members)) expected = without(expected, "member");
  if (isBefore(Which::groups, Which::nextHops)) expected = without(expected, "next hop 2");
  EXPECT_EQ(w.rows(), expected);
  EXPECT_EQ(w.handlers(), 0);
  EXPECT_EQ(w.deliver(), 3U);
  program(w.neverProgrammed, 22);
  EXPECT_EQ(w.heardNow(), Lines());
  EXPECT_EQ(w.rows(), expected);
  EXPECT_EQ(liveObjectsOfLibrary(), Census());
}

// Answers go on coming while the tables go one by one: they reach the tables that are left.
TEST_P(DestructionTest, TheTablesThatAreLeftGoOnHearingAnswers) {
  Device device;
  World w(device);
  w.start();
  w.serve();
  w.leaveUnfinished();
  w.heardNow();
  w.ready(false);
  Which const first = GetParam().front();
  w.destroy(first);
  EXPECT_EQ(w.heardNow(), Lines());
  EXPECT_EQ(w.deliver(), 3U);
  Lines expected;
  if (first != Which::nextHops) expected.emplace_back("next hop 1: 1");
  if (first != Which::ingress) expected.emplace_back("ingress 40: 1");
  if (first != Which::groups) expected.emplace_back("group 1: 1");
  EXPECT_EQ(w.heardNow(), expected);
  w.destroyAll(GetParam());
  EXPECT_EQ(w.heardNow(), Lines());
  EXPECT_EQ(w.handlers(), 0);
  EXPECT_EQ(w.rows(), changedRows);
  EXPECT_EQ(liveObjectsOfLibrary(), Census());
}

}  // namespace
}  // namespace LifeTests
