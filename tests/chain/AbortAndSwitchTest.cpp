// What ends the process, with its whole text, and the switch that is read once per process.
#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "ChainDeath.h"
#include "ChainTables.h"

namespace ChainTests {
namespace {

template <class A>
class ChainDeathTest : public AllocatedRowTest<A> {
 protected:
  static std::string tableName() { return A::Table::typeName(); }
  static std::string keyAndEntry() {
    return "const " + std::string(A::keyType) + "&, const " + tableName() + "::Entry&";
  }
  static std::string constHandle() { return "Vek::Ptr<const " + tableName() + "::EntryHandle>"; }
  static std::string death(std::string const& condition, std::string const& message,
                           std::string const& result, std::string const& operation) {
    return deathText(condition, message, A::unit, result + " " + tableName() + "::" + operation);
  }
};
TYPED_TEST_SUITE(ChainDeathTest, AllocatedRowTables, AdapterName);

TYPED_TEST(ChainDeathTest, AnotherAutoRemoveTypeIsUnsupported) {
  auto const expected =
      this->death("0", "unsupported autoRemoveType", this->constHandle(),
                  "entryWriteWithResponseHandler(" + this->keyAndEntry() +
                      ", const OrviaL3Unicast::WriteResponseHandler&, Asic::AutoRemoveType)");
  EXPECT_DEATH(this->table.entryWrite(this->key(), this->parkedEntry(), Asic::AutoRemoveType(2)),
               expected);
  EXPECT_DEATH(this->table.entryWriteWithResponseHandler(this->key(), this->parkedEntry(), {},
                                                         Asic::AutoRemoveType(255)),
               expected);
}

TYPED_TEST(ChainDeathTest, OnlyRowZeroMayBeAskedFor) {
  auto const expected = this->death(
      "0", "index is not within reserved range:         ( 0, 0 )", this->constHandle(),
      "entryWriteAtIndex(Asic::Index, " + this->keyAndEntry() + ", Asic::AutoRemoveType)");
  EXPECT_DEATH(
      this->table.entryWriteAtIndex(1, this->key(), this->parkedEntry(), Asic::noAutoRemove),
      expected);
  EXPECT_DEATH(
      this->table.entryWriteAtIndex(noRow, this->key(), this->parkedEntry(), Asic::noAutoRemove),
      expected);
}

TYPED_TEST(ChainDeathTest, RowZeroOfAnotherKeyIsNamedWithBothKeys) {
  this->table.entryWriteAtIndex(0, this->key(9), this->parkedEntry(), Asic::noAutoRemove);
  EXPECT_DEATH(
      this->table.entryWriteAtIndex(0, this->key(8), this->parkedEntry(), Asic::noAutoRemove),
      "^" +
          quotedForDeath("!keyOfIndex( index ): row 0, asked for by key " +
                         TypeParam::keyStream(8) + ", belongs to key " + TypeParam::keyStream(9)) +
          "\n");
}

TYPED_TEST(ChainDeathTest, ASecondRowForAKeyIsNamedWithBothRows) {
  auto const handle = this->table.entryRef(this->key(8), this->readyEntry());
  EXPECT_DEATH(
      this->table.entryWriteAtIndex(0, this->key(8), this->readyEntry(2), Asic::noAutoRemove),
      quotedForDeath("row 0 was asked for by key " + TypeParam::keyStream(8) +
                     ", which has row 1") +
          "\n");
}

TYPED_TEST(ChainDeathTest, AParkedRecordWithoutAHandleIsFatalInALookup) {
  auto const expected = this->death("entryHandleExists( key )",
                                    "expect a valid entryHandle, key: " + TypeParam::keyStream(1),
                                    "Vek::Ptr<" + this->tableName() + "::EntryHandle>",
                                    "lookupExistingEntry(" + this->keyAndEntry() + ")");
  auto const parked = this->table.unresolvedEntryIs(this->key());
  parked->initializeUnresolvedEntry(this->parkedEntry());
  EXPECT_DEATH(this->table.entryCommit(this->key(), this->parkedEntry()), expected);
  this->table.entryIs(this->key(2), this->readyEntry());
  EXPECT_DEATH(
      this->table.lookupExistingEntry(this->key(2), this->readyEntry()),
      quotedForDeath("expect a valid entryHandle, key: " + TypeParam::keyStream(2) + "\n"));
}

TYPED_TEST(ChainDeathTest, AHandleLostDuringARemovalIsFatal) {
  auto const handle = this->table.entryRef(this->key(), this->parkedEntry());
  this->world.observe();
  this->world.watch->onAnnouncement = [this](std::string const& attribute) {
    if (attribute == "unresolvedEntry") this->table.rawEntryHandleDel(this->key());
  };
  EXPECT_DEATH(this->table.entryRemove(this->key()),
               this->death("entryHandleExists( key )", "expected to see rawEntryHandle", "void",
                           "entryRemove(const " + std::string(TypeParam::keyType) + "&)"));
}

TYPED_TEST(ChainDeathTest, ABareFactoryHandleAbortsWhenItIsDropped) {
  EXPECT_DEATH(this->table.entryHandleFactory(this->key(), &this->table),
               this->death("swTable()->rawEntryHandleHas( key() )",
                           "expected to see rawEntryHandle", "void", "EntryHandle::cleanup()"));
}

TYPED_TEST(ChainDeathTest, ProgrammingBeforeInitialisationIsAClearAbort) {
  auto const bare = TypeParam::make();
  EXPECT_DEATH(bare->entryCommit(this->key(), this->readyEntry()),
               this->death("firstFreeIndexAllocator()",
                           "expected doInitComplete before an entry is programmed", "void",
                           "handleEntry(const " + std::string(TypeParam::keyType) + "&)"));
  EXPECT_DEATH(
      bare->entryWriteAtIndex(0, this->key(), this->readyEntry(), Asic::noAutoRemove),
      this->death(
          "firstFreeIndexAllocator()", "expected doInitComplete before an entry is programmed",
          this->constHandle(),
          "entryWriteAtIndex(Asic::Index, " + this->keyAndEntry() + ", Asic::AutoRemoveType)"));
  bare->entryCommit(this->key(), this->parkedEntry());  // waiting is no programming
}

class ChainMemberDeathTest : public ChainTest {
 protected:
  Journal journal;
  Vek::Ptr<TestHandle> const a = programmedHandle(11);
  TableWorld<Members> world{journal};
  L3EcmpMemberTable& table = *world.table;
  static std::string death(std::string const& condition, std::string const& message,
                           std::string const& result, std::string const& operation) {
    return deathText(condition, message, "L3EcmpMemberTable",
                     result + " OrviaL3Unicast::L3EcmpMemberTable::" + operation);
  }
  static constexpr char const* handleText =
      "Vek::Ptr<const OrviaL3Unicast::L3EcmpMemberTable::EntryHandle>";
};

TEST_F(ChainMemberDeathTest, OnlyAutoRemoveIsSupported) {
  EXPECT_DEATH(
      table.entryBlockWrite(blockOf({a}), Asic::noAutoRemove),
      death("autoRemoveType == Asic::needsAutoRemove()", "only autoRemove is supported", handleText,
            "entryBlockWrite(const OrviaL3Unicast::L3EcmpMemberTable::EntryBlock&, "
            "Asic::AutoRemoveType)"));
}

TEST_F(ChainMemberDeathTest, AWaitingBlockWithoutAHandleIsFatalInARef) {
  Vek::Ptr<TestHandle> const late = waitingHandle();
  table.unresolvedEntryBlockIs(blockOf({late}));
  EXPECT_DEATH(
      table.entryBlockRef(blockOf({late})),
      death("rawEntryHandleHas( tableentryBlock )",
            "expect a valid neededTable, tableentryBlock: "
            "Value('OrviaL3Unicast::L3EcmpMemberTable::EntryBlock', ** {'blockSize': 1, "
            "'entryInternal': None})",
            handleText, "entryBlockRef(const OrviaL3Unicast::L3EcmpMemberTable::EntryBlock&)"));
}

TEST_F(ChainMemberDeathTest, ABareFactoryHandleAbortsWhenItIsDropped) {
  EXPECT_DEATH(L3EcmpMemberTable::entryHandleFactory(blockOf({a}), &table),
               death("swTable()->rawEntryHandleHas( key() )", "expected to see rawEntryHandle",
                     "void", "EntryHandle::cleanup()"));
}

TEST_F(ChainMemberDeathTest, ProgrammingBeforeInitialisationIsAClearAbort) {
  auto const bare = Members::make();
  EXPECT_DEATH(
      bare->entryBlockRef(blockOf({a})),
      death("indexAllocator()", "expected doInitComplete before a block is programmed", "void",
            "handleEntryBlock(const OrviaL3Unicast::L3EcmpMemberTable::EntryBlock&)"));
}

// The switch is read once per process, so each case runs in a child process of its own, which
// leaves with what the handles show: one digit per table, 0 unprogrammed, 1 programmed.
constexpr char const* switchName = "PUBLISH_ENTRY_HANDLE_PROGRAMMED_STATE";

template <class A>
bool publishes(bool ready) {
  Journal journal;
  TableWorld<A> world(journal);
  world.table->hwTableReadyIs(ready);
  Vek::Ptr<TestHandle> const needed = programmedHandle(5);
  if constexpr (std::is_same_v<A, Members>) {
    auto const handle = world.table->entryBlockRef(blockOf({needed}));
    return handle->isProgrammed() && handle->hwEntryIndex() == 0;
  } else {
    auto const handle = world.table->entryRef(A::key(1), A::entry(needed, 1));
    bool const wrote = !world.util->rows.empty();
    return wrote == ready && handle->isProgrammed() && handle->hwEntryIndex() == 1;
  }
}

int published(char const* value, bool ready) {
  if (value == nullptr) {
    unsetenv(switchName);
  } else {
    setenv(switchName, value, 1);
  }
  return 100 + (publishes<NextHops>(ready) ? 1 : 0) + (publishes<Groups>(ready) ? 2 : 0) +
         (publishes<Members>(ready) ? 4 : 0);
}

// The child starts the program anew: a fork of this process may have read the switch already.
class StartAnew {
 public:
  StartAnew() : style_(GTEST_FLAG_GET(death_test_style)) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
  }
  ~StartAnew() { GTEST_FLAG_SET(death_test_style, style_); }
  StartAnew(StartAnew const&) = delete;
  StartAnew& operator=(StartAnew const&) = delete;

 private:
  std::string const style_;
};

class ChainPublishSwitchTest : public testing::TestWithParam<std::pair<char const*, bool>> {
 private:
  StartAnew const startAnew_;
};
class ChainPublishOnceTest : public testing::Test {
 private:
  StartAnew const startAnew_;
};

TEST_P(ChainPublishSwitchTest, WithoutHardwareTheSwitchDecides) {
  EXPECT_EXIT(_exit(published(GetParam().first, false)),
              testing::ExitedWithCode(GetParam().second ? 107 : 100), "");
}

TEST_P(ChainPublishSwitchTest, WithHardwareTheMemberTablePublishesAnyway) {
  EXPECT_EXIT(_exit(published(GetParam().first, true)),
              testing::ExitedWithCode(GetParam().second ? 107 : 104), "");
}

INSTANTIATE_TEST_SUITE_P(Values, ChainPublishSwitchTest,
                         testing::Values(std::pair{static_cast<char const*>(nullptr), false},
                                         std::pair{"", false}, std::pair{"0", false},
                                         std::pair{"no", false}, std::pair{"x1", false},
                                         std::pair{"00", false}, std::pair{"a", false},
                                         std::pair{"1", true}, std::pair{"7up", true},
                                         std::pair{" 3", true}, std::pair{"-1", true},
                                         std::pair{"010", true}, std::pair{"4294967296", true}));

TEST_F(ChainPublishOnceTest, AChangeAfterATablesFirstWriteHasNoEffectOnThatTable) {
  EXPECT_EXIT(
      {
        setenv(switchName, "1", 1);
        bool const first = publishes<NextHops>(true);
        setenv(switchName, "0", 1);
        bool const later = publishes<NextHops>(true);
        bool const otherTable = publishes<Groups>(true);
        _exit(first && later && !otherTable ? 42 : 1);
      },
      testing::ExitedWithCode(42), "");
}

TEST_F(ChainPublishOnceTest, TheMemberTableReadsTheSwitchOnlyWhereNoHardwareMayBeCalled) {
  EXPECT_EXIT(
      {
        setenv(switchName, "0", 1);
        bool const withHardware = publishes<Members>(true);
        setenv(switchName, "1", 1);
        bool const without = publishes<Members>(false);
        setenv(switchName, "0", 1);
        bool const again = publishes<Members>(false);
        _exit(withHardware && without && again ? 42 : 1);
      },
      testing::ExitedWithCode(42), "");
}

// The answer from within a write may end the key and begin it anew: the row of the old write is
// another key's by then, and is published for nobody.
template <class A>
bool publishesTheRowOfTheNewWrite() {
  Journal journal;
  TableWorld<A> world(journal);
  auto& table = *world.table;
  Vek::Ptr<TestHandle> const needed = programmedHandle(5);
  typename A::Table::EntryHandle::PtrConst other;
  bool done = false;
  world.util->onWrite = [&](std::uint32_t) {
    if (std::exchange(done, true)) return;
    table.entryRemove(A::key(1));
    other = table.entryRef(A::key(2), A::entry(needed, 2));
    table.entryCommit(A::key(1), A::entry(needed, 1));
  };
  {
    auto const late = waitingHandle();
    table.entryCommit(A::key(1), A::entry(late, 1));
    program(*late, 6);
  }
  auto const handle = table.entryLookup(A::key(1));
  return done && handle->isProgrammed() && handle->hwEntryIndex() == 2 &&
         other->hwEntryIndex() == 1;
}

TEST_F(ChainPublishOnceTest, AWriteWhoseKeyBeganAnewInAnotherRowPublishesNothing) {
  EXPECT_EXIT(
      {
        setenv(switchName, "1", 1);
        bool const hops = publishesTheRowOfTheNewWrite<NextHops>();
        bool const groups = publishesTheRowOfTheNewWrite<Groups>();
        _exit(hops && groups ? 42 : 1);
      },
      testing::ExitedWithCode(42), "");
}

TEST_F(ChainPublishOnceTest, PublishingResolvesTheWholeChainWithoutHardware) {
  EXPECT_EXIT(
      {
        setenv(switchName, "1", 1);
        World world;
        world.hops.table->hwTableReadyIs(false);
        world.members.table->hwTableReadyIs(false);
        world.groups.table->hwTableReadyIs(false);
        Vek::Ptr<TestHandle> const oif = programmedHandle(5);
        auto const hop = world.hops.table->entryRef(NextHops::key(1), NextHops::entry(oif, 1));
        auto const block = world.members.table->entryBlockRef(blockOf({hop}));
        bool answered = false;
        auto const group = world.groups.table->entryRefWithResponseHandler(
            Groups::key(1), Groups::entry(block, 1), [&](State s) { answered = s == accepted; });
        _exit(group->isProgrammed() && answered && world.journal.take().empty() ? 42 : 1);
      },
      testing::ExitedWithCode(42), "");
}

}  // namespace
}  // namespace ChainTests
