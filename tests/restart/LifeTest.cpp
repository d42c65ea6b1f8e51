// The two ends of a table's life: what initialisation makes, and in which order it goes again.
#include <gtest/gtest.h>

#include "RestartTables.h"

namespace RestartTests {
namespace {

using TableTests::AdapterNames;
using TableTests::linesWith;
using TableTests::Observer;

constexpr Asic::HwTable::EntryState accepted = Asic::HwTable::accepted;

// Every announcement of a table by name, those without a key included.
template <class Table>
std::string nameOf(Vek::AttributeId attribute) {
  using Attribute = typename Table::Attribute;
  if (attribute == Attribute::writeResponseSm) return "writeResponseSm";
  if (attribute == Attribute::firstFreeIndexAllocator) return "firstFreeIndexAllocator";
  if (attribute == Attribute::indexAllocator) return "indexAllocator";
  if (attribute == Attribute::entryBlock) return "entryBlock";
  if (attribute == Attribute::unresolvedEntryBlock) return "unresolvedEntryBlock";
  return TableTests::attributeText<Table>(attribute);
}

// One table with a journal of its announcements and of its hardware calls.
template <class A>
struct LifeWorld : RestartWorld<A> {
  std::function<void(std::string const&)> onAnnouncement;
  Observer::Ptr observer =
      Observer::of(this->table.get(), [this](Vek::AttributeId attribute, void const* key) {
        std::string line = nameOf<typename A::Table>(attribute);
        if constexpr (requires { A::key(1); }) {
          if (key != nullptr) line += " " + A::text(*static_cast<typename A::Key const*>(key));
        }
        this->journal.add(line);
        if (auto const hook = onAnnouncement) hook(line);
      });

  auto handler() {
    return [this](Asic::HwTable::EntryState) { this->journal.add("handler"); };
  }
  // Serving: initialised, with hardware that is ready.
  void serve() {
    this->table->doInitComplete();
    this->table->hwTableReadyIs(true);
  }
};

template <class A>
class AllocatedLifeTest : public NothingLeftTest {};
using AllocatedTables = testing::Types<EcmpNextHops, Groups>;
TYPED_TEST_SUITE(AllocatedLifeTest, AllocatedTables, AdapterNames);

// One key that waits, one whose write has no answer yet, one that is programmed and waits for its
// next record. All with handlers; the table owns their handles.
template <class A>
void oneAtEachStage(LifeWorld<A>& w) {
  auto const commit = [&w](typename A::Key const& key, unsigned record,
                           TableTests::Needed const& needed) {
    (void)w.table->entryCommitWithResponseHandler(
        key, A::entry(record, std::vector<TableTests::Needed>{needed}), w.handler());
  };
  auto const third = A::key(3);  // keys may be objects with an identity
  commit(A::key(1), 1, TestHandle::waiting());
  commit(A::key(2), 2, TestHandle::programmed(5));
  commit(third, 3, TestHandle::programmed(5));
  if constexpr (A::rawRegistry) w.hwTable->writeResponseIs(2, accepted);
  commit(third, 4, TestHandle::waiting());
  w.journal.clear();
}

TYPED_TEST(AllocatedLifeTest, ATableIsBornWithoutAllocatorAndReactor) {
  LifeWorld<TypeParam> w;
  EXPECT_FALSE(w.table->firstFreeIndexAllocator());
  EXPECT_FALSE(w.table->writeResponseSm());
  EXPECT_EQ(w.table->entrys(), 0U);
  EXPECT_EQ(w.table->entryHandles(), 0U);
  EXPECT_EQ(w.journal.take(), Lines{});
}

TYPED_TEST(AllocatedLifeTest, SyncingMakesNeitherAllocatorNorReactor) {
  inChild([] {
    LifeWorld<TypeParam> w;
    w.table->syncEntries();
    EXPECT_FALSE(w.table->firstFreeIndexAllocator());
    EXPECT_FALSE(w.table->writeResponseSm());
  });
}

TYPED_TEST(AllocatedLifeTest, InitialisationMakesTheAllocatorForEveryRowThenTheReactor) {
  LifeWorld<TypeParam> w;
  w.table->doInitComplete();
  EXPECT_EQ(w.journal.take(), (Lines{"firstFreeIndexAllocator", "writeResponseSm"}));
  EXPECT_EQ(w.table->firstFreeIndexAllocator()->size(), 16U);
  EXPECT_EQ(w.table->firstFreeIndexAllocator()->rowsFree(), 15U);
  EXPECT_TRUE(w.table->writeResponseSm()->hasNotificationActive());
}

TYPED_TEST(AllocatedLifeTest, AnObserverMayTakeTheAllocatorOutInTheMiddleOfInitialisation) {
  LifeWorld<TypeParam> w;
  Vek::Ptr<Asic::FirstFreeIndexAllocator> taken;
  w.onAnnouncement = [&](std::string const&) {
    if (!taken) taken = w.table->firstFreeIndexAllocatorDel();
  };
  w.table->doInitComplete();
  ASSERT_TRUE(taken);
  EXPECT_EQ(taken->rowsFree(), 15U);
  EXPECT_FALSE(w.table->firstFreeIndexAllocator());
  EXPECT_TRUE(w.table->writeResponseSm());
}

TYPED_TEST(AllocatedLifeTest, TheFirstRowHandedOutIsOneAndZeroNeverIs) {
  LifeWorld<TypeParam> w;
  w.serve();
  std::vector<std::uint32_t> rows;
  for (unsigned number = 1; number <= 15; ++number) {
    auto const key = TypeParam::key(number);
    w.table->entryIs(key, TypeParam::entry(number));
    rows.push_back(TypeParam::whereOf(*w.table, key).value());
  }
  EXPECT_EQ(rows.front(), 1U);
  EXPECT_EQ(std::count(rows.begin(), rows.end(), 0U), 0);
  EXPECT_THROW(w.table->entryIs(TypeParam::key(16), TypeParam::entry(16)), Asic::NoRowException);
}

TYPED_TEST(AllocatedLifeTest, WithoutAHardwareTableNoReactorExistsAndNoAnswersArrive) {
  LifeWorld<TypeParam> w;
  auto const hwTable = w.hwTable;
  w.table->hwTableIs(nullptr);
  w.journal.clear();
  w.serve();
  EXPECT_FALSE(w.table->writeResponseSm());
  auto const handle = w.table->entryRefWithResponseHandler(
      TypeParam::key(1),
      TypeParam::entry(1, std::vector<TableTests::Needed>{TestHandle::programmed(5)}), w.handler());
  w.table->hwTableIs(hwTable);
  w.journal.clear();
  hwTable->writeResponseIs(1, accepted);
  EXPECT_EQ(w.journal.take(), Lines{});
  EXPECT_FALSE(handle->isProgrammed());
}

TYPED_TEST(AllocatedLifeTest, AllocatorAndReactorGoFirstThenParkedRecordsThenPendingReactors) {
  LifeWorld<TypeParam> w;
  w.serve();
  oneAtEachStage(w);
  EXPECT_EQ(w.table->pendingEntrySms(), 2U);
  EXPECT_EQ(w.table->unresolvedEntrys(), 2U);
  w.table = nullptr;
  // The last ones are the handles, which end with the table's registry: not a word of the hardware.
  EXPECT_EQ(w.journal.take(),
            (Lines{"firstFreeIndexAllocator", "writeResponseSm", "unresolvedEntry key1",
                   "unresolvedEntry key3", "pendingEntrySm key2", "pendingEntrySm key3",
                   "rawEntryHandle key1", "rawEntryHandle key2", "rawEntryHandle key3"}));
}

TYPED_TEST(AllocatedLifeTest, AnAnswerInTheMiddleOfTheEndReachesNobody) {
  LifeWorld<TypeParam> w;
  w.serve();
  oneAtEachStage(w);
  auto const handle = w.table->entryHandleAccess(TypeParam::key(2));
  std::size_t answers = 0;
  w.onAnnouncement = [&](std::string const& line) {
    if (line == "firstFreeIndexAllocator") return;  // the reactor is next
    w.hwTable->writeResponseIs(1, accepted);
    ++answers;
  };
  w.table = nullptr;
  EXPECT_GE(answers, 6U);
  EXPECT_EQ(linesWith(w.journal.lines(), "handler"), Lines{});
  EXPECT_FALSE(handle->isProgrammed());
}

TYPED_TEST(AllocatedLifeTest, AHandleThatOutlivesTheTableStaysSilent) {
  LifeWorld<TypeParam> w;
  w.serve();
  auto handle = w.table->entryRefWithResponseHandler(
      TypeParam::key(1),
      TypeParam::entry(1, std::vector<TableTests::Needed>{TestHandle::programmed(5)}), w.handler());
  auto writable = w.table->entryHandleAccess(TypeParam::key(1));
  w.table = nullptr;
  w.journal.clear();
  writable->hwEntryIndexIs(1);
  writable->entryStateIs(accepted);
  handle = nullptr;
  writable = nullptr;
  EXPECT_EQ(w.journal.take(), Lines{});
}

class IngressLifeTest : public NothingLeftTest {};

TEST_F(IngressLifeTest, InitialisationMakesNothing) {
  LifeWorld<Ingress> w;
  w.table->doInitComplete();
  EXPECT_EQ(w.journal.take(), Lines{});
}

TEST_F(IngressLifeTest, HandlesGoFirstThenPendingReactorsThenParkedRecords) {
  LifeWorld<Ingress> w;
  w.serve();
  oneAtEachStage(w);
  // A key with a reactor and a parked record that no handle takes along.
  auto const key = Ingress::key(4);
  w.table->pendingEntrySmIs(nullptr, key);
  w.table->unresolvedEntryIs(key);
  // A clean shutdown takes the hardware away first.
  w.table->hwTableReadyIs(false);
  w.journal.clear();
  w.table = nullptr;
  EXPECT_EQ(w.journal.take(),
            (Lines{"entryHandle key1", "unresolvedEntry key1", "entryHandle key2", "entry key2",
                   "entryHandle key3", "unresolvedEntry key3", "entry key3", "pendingEntrySm key2",
                   "pendingEntrySm key3", "pendingEntrySm key4", "unresolvedEntry key4"}));
}

// The end of a handle that nobody else holds is the end of its entry, also here.
TEST_F(IngressLifeTest, WithHardwareReadyTheEndOfEachHandleDeletesItsRow) {
  LifeWorld<Ingress> w;
  w.serve();
  oneAtEachStage(w);
  w.table = nullptr;
  EXPECT_EQ(linesWith(w.journal.lines(), "delete").size(), 2U);
  EXPECT_EQ(linesWith(w.journal.lines(), "handler"), Lines{});
}

class MemberLifeTest : public NothingLeftTest {};

TEST_F(MemberLifeTest, InitialisationMakesTheAllocatorForEveryRowAndReservesNone) {
  LifeWorld<Members> w;
  EXPECT_FALSE(w.table->indexAllocator());
  w.table->doInitComplete();
  EXPECT_EQ(w.journal.take(), (Lines{"indexAllocator"}));
  EXPECT_EQ(w.table->indexAllocator()->rowsFree(), 16U);
  EXPECT_EQ(w.table->indexAllocator()->blockType(), Members::Traits::keyType());
  auto const handle = w.table->entryBlockRef(Members::block());
  w.table->hwTableReadyIs(true);
  auto const other = w.table->entryBlockRef([] {
    Members::Key block(Asic::BlockSize(1));
    block.entryIs(0, Members::Entry(TestHandle::programmed(9)));
    return block;
  }());
  EXPECT_EQ(other->hwEntryIndex().value(), 2U) << "the first block lies in rows 0 and 1";
}

TEST_F(MemberLifeTest, TheAllocatorGoesFirstThenWaitingBlocksWithoutAHardwareCall) {
  LifeWorld<Members> w;
  w.serve();
  auto const committed = w.table->entryBlockRef(Members::block());
  EXPECT_TRUE(committed->isProgrammed());
  auto const needed = TestHandle::waiting();
  Members::Key block(Asic::BlockSize(1));
  block.entryIs(0, Members::Entry(needed));
  auto const waiting = w.table->entryBlockRef(block);
  EXPECT_EQ(w.table->unresolvedEntryBlocks(), 1U);
  w.journal.clear();
  w.table = nullptr;
  EXPECT_EQ(w.journal.take(), (Lines{"indexAllocator", "unresolvedEntryBlock"}));
  needed->program(7);
  EXPECT_EQ(w.journal.take(), Lines{});
  EXPECT_EQ(committed->swTable(), nullptr);
  EXPECT_EQ(waiting->swTable(), nullptr);
}

// Every stage of a life, one after the other, in a table that stays empty until it serves.
template <class A>
class WholeLifeTest : public NothingLeftTest {};
TYPED_TEST_SUITE(WholeLifeTest, AllTables, AdapterNames);

TYPED_TEST(WholeLifeTest, GoesThroughItsStagesTwice) {
  inChild([] {
    toggleIs(true);
    Lines const start = std::is_same_v<TypeParam, Ingress> ? Lines{"sync"} : Lines{"delete all"};
    for (int life = 0; life < 2; ++life) {
      RestartWorld<TypeParam> w;
      w.table->syncEntries();
      w.table->doInitComplete();
      w.table->hwTableReadyIs(true);
      EXPECT_EQ(w.journal.take(), start);
      TypeParam::program(*w.table);
      EXPECT_EQ(linesWith(w.journal.lines(), "write").size(), w.journal.lines().size());
      w.table->hwTableReadyIs(false);
      w.journal.clear();
      w.table = nullptr;
      EXPECT_EQ(w.journal.take(), Lines{});
    }
  });
}

}  // namespace
}  // namespace RestartTests
