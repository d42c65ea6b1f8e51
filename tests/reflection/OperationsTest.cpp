// Operations that are called by name do what they do for callers of the classes.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "Journal.h"
#include "LiveObjects.h"
#include "ReflectionWorld.h"

namespace ReflectionTests {
namespace {

using Vek::Walker;

class OperationsTest : public TableTests::LiveObjectsTest {};

// What no case here or in WalkerTest.cpp calls would show here.
TEST_F(OperationsTest, TheseCanBeCalled) {
  std::set<std::string> names;
  for (VekType const type : Vek::vekTypes()) {
    for (auto const& owned : Vek::operationsOf(type)) {
      if (owned.operation->call != nullptr) names.insert(owned.operation->name);
    }
  }
  EXPECT_EQ(names, (std::set<std::string>{"cleanup", "doCreateHwTable", "doCreateHwTableResponse",
                                          "doEnclosingInit", "doInitComplete", "enclosingInit",
                                          "handleEntryHandleProgramSuccessCount",
                                          "handleEntryProgramming", "processEntryHandleCompletion",
                                          "responseNeeded", "syncEntries"}));
}

TEST_F(OperationsTest, ThoseWithArgumentsSaySoWhenTheyAreCalled) {
  Tables const tables;
  Found const found(tables);
  std::size_t refused = 0;
  for (Value thing : found.all()) {
    for (auto const& owned : Vek::operationsOf(thing.objectType())) {
      if (owned.operation->call != nullptr) continue;
      ++refused;
      try {
        Vek::callOperation(thing, owned.operation->name);
        ADD_FAILURE() << owned.operation->name << " was called";
      } catch (Vek::ReflectionException const& refusal) {
        EXPECT_EQ(refusal.what(), std::string(thing.objectType().name()) + "." +
                                      owned.operation->name + " takes arguments");
      }
    }
  }
  EXPECT_GE(refused, 80U);
}

// Each of them counts for a handle that was programmed without the watcher's hearing of it.
TEST_F(OperationsTest, AWatcherLooksAtItsHandleInEachOfItsSteps) {
  std::string const traced = "doEnclosingInit: initializing neededEntryHandleSm: 3";
  for (std::string const step : {"enclosingInit", "doEnclosingInit", "handleEntryProgramming"}) {
    SCOPED_TRACE(step);
    Tables const tables;
    auto& table = *tables.chain.groups.table;
    std::string const path = "unresolvedEntry[8].neededEntryHandleSm[3]." + step;
    Walker const groups(&table);
    EXPECT_TRUE(groups.call(path).isNone());
    ASSERT_TRUE(table.unresolvedEntry(8)) << "its handle is not programmed";
    table.unresolvedEntry(8)->neededEntryHandleSm(3)->hasNotificationActiveIs(false);
    ChainTests::program(*tables.waiting, 9);
    ASSERT_TRUE(table.unresolvedEntry(8)) << "it was told";

    TableTests::Journal journal;
    {
      TableTests::TraceRecorder const traces(journal);
      EXPECT_TRUE(groups.call(path).isNone());
    }
    EXPECT_FALSE(table.unresolvedEntry(8));
    EXPECT_EQ(table.entry(8).ecmpBlockPtr(), 9U);
    auto const lines = journal.take();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "trace3 " + traced),
              step == "handleEntryProgramming" ? 0 : 1);
  }
}

TEST_F(OperationsTest, APendingReactorTellsItsHandlerAgain) {
  ChainTests::World world;
  auto& table = *world.groups.table;
  world.groups.answerAtOnce();
  std::vector<int> answers;
  table.entryCommitWithResponseHandler(
      7, ChainTests::Groups::entry(ChainTests::programmedHandle(40), 2),
      [&](auto state) { answers.push_back(state); });
  ASSERT_FALSE(answers.empty());
  answers.clear();
  Walker const groups(&table);
  std::string const path = "pendingEntrySm[7].processEntryHandleCompletion";
  EXPECT_TRUE(groups.call(path).isNone());
  EXPECT_EQ(answers, std::vector<int>{1});
  table.entryHandle(7)->entryStateIs(ChainTests::refused);
  groups.call(path);
  EXPECT_EQ(answers, (std::vector<int>{1, 2, 2}));
  table.entryHandle(7)->entryStateIs(ChainTests::notAnswered);
  groups.call(path);
  EXPECT_EQ(answers, (std::vector<int>{1, 2, 2})) << "there is nothing to tell";
}

// The step itself looks at the count only; whether anything else has changed is no matter.
TEST_F(OperationsTest, AParkedRecordIsWrittenInItsStepWhenItsCountIsComplete) {
  TableTests::World<TableTests::IngressAdapter> world{TableTests::Traced::no};
  auto const ready = TableTests::TestHandle::programmed(7);
  auto const waiting = TableTests::TestHandle::waiting();
  auto const key = world.key(5);
  Walker const ingress(world.table);
  world.table->entryCommit(key, world.entry(1, {ready, waiting}));
  std::string const path = "unresolvedEntry[#1].handleEntryHandleProgramSuccessCount";
  EXPECT_TRUE(ingress.call(path).isNone());
  EXPECT_TRUE(world.table->unresolvedEntry(key)) << "one of two is programmed";
  // Written again, it needs one handle, and the count of the first time stays.
  auto const again = world.entry(2, {waiting});
  world.table->unresolvedEntry(key)->initializeUnresolvedEntry(again);
  ASSERT_EQ(ingress.read("unresolvedEntry[#1].neededEntryHandleCount").text(), "1");
  ASSERT_EQ(ingress.read("unresolvedEntry[#1].entryHandleProgramSuccessCount").text(), "1");
  ingress.call(path);
  EXPECT_FALSE(world.table->unresolvedEntry(key));
  EXPECT_EQ(world.table->entry(key), again);
  EXPECT_TRUE(world.table->pendingEntrySm(key));
}

TEST_F(OperationsTest, AWaitingBlockStaysUntilItsCountIsComplete) {
  Tables const tables;
  Walker const members(tables.chain.members.table);
  std::string const block = "unresolvedEntryBlock[#1].";
  ASSERT_EQ(members.read(block + "entryHandleProgramSuccessCount").text(), "1");
  members.call(block + "handleEntryHandleProgramSuccessCount");
  EXPECT_EQ(members.count("unresolvedEntryBlock"), 1U);
  EXPECT_EQ(members.count("entryBlock"), 1U);
  // A position whose next hop is not programmed.
  members.call(block + "neededEntryHandleSm[1].doEnclosingInit");
  EXPECT_EQ(members.read(block + "entryHandleProgramSuccessCount").text(), "1");
}

TEST_F(OperationsTest, ATableIsInitialisedByName) {
  auto const table = OrviaL3Unicast::l3EcmpGroupTableFactory();
  table->numEntriesIs(8);
  table->hwTableIs(new Asic::HwTable);
  Walker const groups(table);
  EXPECT_EQ(groups.read("firstFreeIndexAllocator").text(), "None");
  EXPECT_EQ(groups.read("writeResponseSm").text(), "None");
  EXPECT_TRUE(groups.call("doInitComplete").isNone());
  EXPECT_EQ(groups.read("firstFreeIndexAllocator.size").text(), "8");
  EXPECT_EQ(groups.read("writeResponseSm.table"), valueOf(table.get()));
}

// Tables do nothing when they are asked to make their hardware table; a platform's own may.
class MakingTable final : public Vek::Tracked<MakingTable, OrviaAsicUtils::SwTable> {
 public:
  static constexpr char const* typeName() { return "ReflectionTests::MakingTable"; }
  void doCreateHwTable() override { calls.emplace_back("make"); }
  void doCreateHwTableResponse() override { calls.emplace_back("made"); }

  std::vector<std::string> calls;
};

TEST_F(OperationsTest, ATableIsAskedByNameToMakeItsHardwareTable) {
  Vek::Ptr<MakingTable> const table = new MakingTable;
  Walker const walker(table);
  EXPECT_TRUE(walker.call("doCreateHwTable").isNone());
  EXPECT_TRUE(walker.call("doCreateHwTableResponse").isNone());
  EXPECT_EQ(table->calls, (std::vector<std::string>{"make", "made"}));

  Tables const tables;
  for (auto const& one : tables.tables()) {
    std::string const hardware = Walker(one).read("hwTable").text();
    Walker(one).call("doCreateHwTable");
    Walker(one).call("doCreateHwTableResponse");
    EXPECT_EQ(Walker(one).read("hwTable").text(), hardware);
  }
}

}  // namespace
}  // namespace ReflectionTests
