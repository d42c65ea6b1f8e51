// Blocks, records, indexes and keys as values: comparison, hash, copies, text.
#include <limits>

#include "ChainTables.h"
#include "Vek/Exception.h"

namespace ChainTests {
namespace {

class ChainBlockValueTest : public ChainTest {
 protected:
  ChainBlockValueTest() {
    if (!(low < high)) low.swap(high);
  }
  NeededHandle low = waitingHandle();
  NeededHandle high = waitingHandle();
};

TEST_F(ChainBlockValueTest, ADefaultBlockIsFalseAndASizeOrAMemberMakesItTrue) {
  EXPECT_FALSE(Block());
  EXPECT_EQ(Block().blockSize(), Asic::BlockSize(0));
  EXPECT_TRUE(Block(Asic::BlockSize(1)));
  Block outside;
  outside.entryInternalIs(0, L3EcmpMember(low));
  EXPECT_TRUE(outside);
  outside.entryInternalDelAll();
  EXPECT_FALSE(outside);
}

TEST_F(ChainBlockValueTest, BothSizeConstructorsBehaveAlike) {
  EXPECT_EQ(Block(Asic::BlockSize(4)), Block(Asic::EntryBlockBase(Asic::BlockSize(4))));
  EXPECT_EQ(Block(Asic::BlockSize(4)).entrys(), 0U);
}

TEST_F(ChainBlockValueTest, OnlyEntryIsChecksThePosition) {
  Block block(Asic::BlockSize(3));
  try {
    block.entryIs(3, L3EcmpMember(low));
    FAIL() << "no exception";
  } catch (Vek::RangeException const& outside) {
    EXPECT_STREQ(outside.what(), "index must be smaller than blockSize");
  }
  EXPECT_EQ(block, Block(Asic::BlockSize(3)));
  EXPECT_THROW(Block().entryIs(0, L3EcmpMember(low)), Vek::RangeException);
  block.entryInternalIs(3, L3EcmpMember(low));
  EXPECT_EQ(block.entryInternal(3).nextHopEntryHandle(), low);
  block.entryDel(7);
  EXPECT_EQ(block.entrys(), 1U);
  block.entryDel(3);
  EXPECT_EQ(block.entrys(), 0U);
}

TEST_F(ChainBlockValueTest, APositionWithoutAMemberReadsAsAnEmptyOne) {
  Block block(Asic::BlockSize(2));
  EXPECT_EQ(block.entry(0), L3EcmpMember());
  EXPECT_FALSE(block.entryInternal(1).nextHopEntryHandle());
}

TEST_F(ChainBlockValueTest, SettingAPositionAgainReplacesItsMember) {
  Block block(Asic::BlockSize(2));
  block.entryIs(1, L3EcmpMember(low));
  block.entryIs(1, L3EcmpMember(high));
  EXPECT_EQ(block.entrys(), 1U);
  EXPECT_EQ(block.entry(1).nextHopEntryHandle(), high);
}

TEST_F(ChainBlockValueTest, EqualityIsOfSizePositionsAndHandleIdentities) {
  EXPECT_EQ(blockOf({low, high}), blockOf({low, high}));
  EXPECT_FALSE(blockOf({low, high}) == blockOf({high, low}));
  EXPECT_FALSE(blockOf({low}) == blockOf({low, low}));
  Block two(Asic::BlockSize(2));
  Block three(Asic::BlockSize(3));
  EXPECT_FALSE(two == three);
  Block first(Asic::BlockSize(2));
  Block second(Asic::BlockSize(2));
  first.entryIs(0, L3EcmpMember(low));
  second.entryIs(1, L3EcmpMember(low));
  EXPECT_FALSE(first == second);
}

TEST_F(ChainBlockValueTest, TheOrderOfInsertionDoesNotMatter) {
  Block forth(Asic::BlockSize(64));
  Block back(Asic::BlockSize(64));
  for (std::uint32_t i = 0; i < 64; ++i) {
    forth.entryIs(i, L3EcmpMember(i % 3 == 0 ? low : high));
    back.entryIs(63 - i, L3EcmpMember((63 - i) % 3 == 0 ? low : high));
  }
  EXPECT_EQ(forth, back);
  EXPECT_EQ(forth.hash(7), back.hash(7));
  EXPECT_FALSE(forth < back);
  EXPECT_FALSE(back < forth);
}

TEST_F(ChainBlockValueTest, OrderIsBySizeThenMembersThenPositionThenAddress) {
  EXPECT_LT(blockOf({high}), blockOf({low, low}));
  Block one(Asic::BlockSize(2));
  one.entryIs(1, L3EcmpMember(high));
  EXPECT_LT(one, blockOf({low, low})) << "fewer members";
  EXPECT_FALSE(blockOf({low, low}) < one);
  Block zero(Asic::BlockSize(2));
  zero.entryIs(0, L3EcmpMember(high));
  Block other(Asic::BlockSize(2));
  other.entryIs(1, L3EcmpMember(low));
  EXPECT_LT(zero, other) << "the smaller position";
  EXPECT_LT(blockOf({low, high}), blockOf({high, low})) << "the lower address";
  EXPECT_LT(blockOf({low, low}), blockOf({low, high}));
  auto const same = blockOf({low, high});
  EXPECT_FALSE(same < same);
  EXPECT_FALSE(same < blockOf({low, high}));
  Block large(Asic::BlockSize(3));
  EXPECT_FALSE(large < blockOf({low, low}));
}

TEST_F(ChainBlockValueTest, TheHashFollowsContentAndSeed) {
  auto const block = blockOf({low, high});
  EXPECT_EQ(block.hash(1), blockOf({low, high}).hash(1));
  EXPECT_NE(block.hash(1), block.hash(2));
  EXPECT_NE(block.hash(1), blockOf({high, low}).hash(1));
  EXPECT_NE(block.hash(1), blockOf({low}).hash(1));
  Block changed = block;
  EXPECT_EQ(changed.hash(1), block.hash(1));
  changed.entryIs(0, L3EcmpMember(high));
  EXPECT_EQ(changed.hash(1), blockOf({high, high}).hash(1)) << "a digest goes with a change";
  EXPECT_NE(Block(Asic::BlockSize(1)).hash(1), Block(Asic::BlockSize(2)).hash(1));
}

TEST_F(ChainBlockValueTest, CopiesShareUntilOneChanges) {
  auto const original = blockOf({low, high});
  auto const references = low->references();
  Block copy = original;
  EXPECT_EQ(low->references(), references) << "the members are shared";
  copy.entryIs(0, L3EcmpMember(high));
  EXPECT_EQ(original, blockOf({low, high}));
  EXPECT_EQ(copy, blockOf({high, high}));
  Block third = original;
  third.entryInternalDel(1);
  EXPECT_EQ(original.entrys(), 2U);
  third = original;
  third.entryInternalDelAll();
  EXPECT_EQ(original.entrys(), 2U);
  EXPECT_EQ(third.blockSize(), Asic::BlockSize(2));
}

TEST_F(ChainBlockValueTest, AMemberMayBeSetFromAMemberOfTheBlockItself) {
  Block block = blockOf({low, high, low});
  block.entryIs(
      0, block.members().find(1)->nextHopEntryHandle() ? *block.members().find(1) : L3EcmpMember());
  EXPECT_EQ(block, blockOf({high, high, low}));
  Block const& alias = block;
  block = alias;
  EXPECT_EQ(block, blockOf({high, high, low}));
}

TEST_F(ChainBlockValueTest, AMemberFollowsItsHandlesRow) {
  Vek::Ptr<TestHandle> const hop = programmedHandle(0x12345);
  L3EcmpMember const member{NeededHandle(hop)};
  EXPECT_EQ(member.nextHopEntry(), 0x12345);
  hop->hwEntryIndexIs(3);
  EXPECT_EQ(member.nextHopEntry(), 3);
  EXPECT_LT(L3EcmpMember(low), L3EcmpMember(high));
  EXPECT_LT(L3EcmpMember(), L3EcmpMember(low));
}

TEST_F(ChainBlockValueTest, TheTextShowsTheSizeAndNeverTheMembers) {
  std::string const text =
      "Value('OrviaL3Unicast::L3EcmpMemberTable::EntryBlock', ** {'blockSize': 2, "
      "'entryInternal': None})";
  EXPECT_EQ(valueToStrep(blockOf({low, high})).str(), text);
  std::ostringstream out;
  out << blockOf({low, high});
  EXPECT_EQ(out.str(), text);
  EXPECT_EQ(valueToStrep(Block()).str(),
            "Value('OrviaL3Unicast::L3EcmpMemberTable::EntryBlock', ** {'blockSize': 0, "
            "'entryInternal': None})");
}

TEST_F(ChainBlockValueTest, TheTextOfAMemberIsTheAddressOfItsHandle) {
  std::ostringstream pointer;
  pointer << static_cast<void const*>(low.get());
  EXPECT_EQ(valueToStrep(L3EcmpMember(low)).str(), pointer.str());
  std::ostringstream out;
  out << L3EcmpMember(low);
  EXPECT_EQ(out.str(), pointer.str());
}

class ChainRecordTest : public ChainTest {};

TEST_F(ChainRecordTest, TheIgnoredArgumentOfAGroupLeavesItFalse) {
  using Entry = L3EcmpGroupTable::Entry;
  EXPECT_FALSE(Entry());
  EXPECT_FALSE(Entry(7, nullptr, 0, 0));
  EXPECT_EQ(Entry(7, nullptr, 0, 0).ecmpBlockPtr(), 0);
  EXPECT_TRUE(Entry(0, nullptr, 1, 0));
  EXPECT_TRUE(Entry(0, nullptr, 0, 1));
  EXPECT_TRUE(Entry(0, waitingHandle(), 0, 0));
  EXPECT_EQ(Entry(7, nullptr, 0, 0).neededEntryHandleCount(), 0U);
}

TEST_F(ChainRecordTest, AGroupReadsItsBlocksRowFromTheHandle) {
  Vek::Ptr<TestHandle> const block = waitingHandle();
  L3EcmpGroupTable::Entry entry(7, block, 0, 0);
  EXPECT_EQ(entry.ecmpBlockPtr(), 0xFFFF);
  block->hwEntryIndexIs(64);
  EXPECT_EQ(entry.ecmpBlockPtr(), 64);
  block->hwEntryIndexIs(0x10005);
  EXPECT_EQ(entry.ecmpBlockPtr(), 5) << "the low 16 bits";
  EXPECT_EQ(entry.ecmpBlockPtrHandle(), block);
  EXPECT_EQ(entry.neededEntryHandle(3), block);
  entry.ecmpBlockPtrHandleIs(nullptr);
  EXPECT_EQ(entry.neededEntryHandleCount(), 0U);
  entry.neededEntryHandleIs(3, block);
  EXPECT_EQ(entry.neededEntryHandleDel(3), block);
  entry.ecmpBlockPtrHandleIs(block);
  entry.neededEntryHandleDelAll();
  EXPECT_FALSE(entry);
}

TEST_F(ChainRecordTest, GroupsCompareByHandlesThenModeThenPaths) {
  using Entry = L3EcmpGroupTable::Entry;
  NeededHandle low = waitingHandle();
  NeededHandle high = waitingHandle();
  if (!(low < high)) low.swap(high);
  EXPECT_LT(Entry(0, low, 1, 9), Entry(0, low, 2, 1));
  EXPECT_LT(Entry(0, low, 1, 1), Entry(0, low, 1, 2));
  EXPECT_LT(Entry(0, nullptr, 9, 9), Entry(0, low, 0, 0)) << "fewer slots";
  EXPECT_LT(Entry(0, low, 9, 9), Entry(0, high, 0, 0)) << "the lower address";
  EXPECT_LT(Entry(0, low, 1, 1), Entry(0, low, 0xFFFFFFFF, 0)) << "unsigned";
  EXPECT_FALSE(Entry(0, low, 1, 1) < Entry(0, low, 1, 1));
  EXPECT_EQ(Entry(1, low, 1, 1), Entry(2, low, 1, 1));
  EXPECT_FALSE(Entry(0, low, 1, 1) == Entry(0, high, 1, 1));
  Entry slot4(0, nullptr, 0, 0);
  slot4.neededEntryHandleIs(4, low);
  EXPECT_LT(Entry(0, high, 0, 0), slot4) << "the smaller slot";
}

TEST_F(ChainRecordTest, AGroupsFieldsAreSetEachByItsName) {
  L3EcmpGroupTable::Entry entry;
  entry.lbModeIs(70000);
  EXPECT_EQ(entry, L3EcmpGroupTable::Entry(0, nullptr, 70000, 0));
  entry.numPathsIs(12);
  EXPECT_EQ(entry, L3EcmpGroupTable::Entry(0, nullptr, 70000, 12));
  EXPECT_EQ(entry.lbMode(), 70000U);
  EXPECT_EQ(entry.numPaths(), 12);
}

TEST_F(ChainRecordTest, TheTextOfAGroupHasItsStoredFieldsOnly) {
  L3EcmpGroupTable::Entry const entry(9, waitingHandle(), 4294967295U, 65535);
  std::string const text =
      "Value('OrviaL3Unicast::L3EcmpGroupTable::Entry', ** {'neededEntryHandle': None, "
      "'lbMode': 4294967295, 'numPaths': 65535})";
  EXPECT_EQ(valueToStrep(entry).str(), text);
  std::ostringstream out;
  out << entry;
  EXPECT_EQ(out.str(), text);
}

TEST_F(ChainRecordTest, TheTextOfAnEcmpNextHopNamesItsTable) {
  Vek::Ptr<TestHandle> const oif = programmedHandle(5);
  EcmpIngL3NextHop1Table::Entry entry(1, 2, 3, 4, 5, 6, 99, oif, 1, 98, nullptr, 7, 8, 3);
  std::string const text =
      "Value('OrviaL3Unicast::EcmpIngL3NextHop1Table::Entry', ** {'neededEntryHandle': None, "
      "'destination': 1, 'dvp': 2, 'dvpL3Oif1': 3, 'dvpMtuProfilePtr': 4, 'forwardingType': 5, "
      "'l2McL3McL2OifSysDstValid': 6, 'l3OifType': 1, 'strengthProfileIdx': 7, 'systemOpcode': 8, "
      "'viewType': 3})";
  EXPECT_EQ(valueToStrep(entry).str(), text);
  std::ostringstream out;
  out << entry;
  EXPECT_EQ(out.str(), text);
  EXPECT_EQ(entry.l3Oif1(), 5);
  EXPECT_EQ(entry.mtuProfilePtr(), 0);
  EXPECT_TRUE(entry);
  EXPECT_FALSE(
      EcmpIngL3NextHop1Table::Entry(0, 0, 0, 0, 0, 0, 99, nullptr, 0, 98, nullptr, 0, 0, 0));
}

template <class Index>
class ChainIndexTest : public ChainTest {};
using IndexTypes = testing::Types<EcmpIngL3NextHop1Table::Index, L3EcmpGroupTable::Index,
                                  L3EcmpMemberTable::Index>;
TYPED_TEST_SUITE(ChainIndexTest, IndexTypes);

TYPED_TEST(ChainIndexTest, AnIndexIsAPlainNumber) {
  EXPECT_EQ(TypeParam().value(), 0U);
  EXPECT_LT(TypeParam(1), TypeParam(2));
  EXPECT_EQ(TypeParam(7), TypeParam(7));
  EXPECT_EQ(TypeParam(7).hash(3), TypeParam(7).hash(3));
  EXPECT_NE(TypeParam(7).hash(3), TypeParam(8).hash(3));
  EXPECT_NE(TypeParam(7).hash(3), TypeParam(7).hash(4));
  std::ostringstream out;
  out << TypeParam(4294967295U);
  EXPECT_EQ(out.str(), "4294967295");
  EXPECT_EQ(valueToStrep(TypeParam(42)).str(), "42");
}

class ChainGroupLimitsTest : public ChainTest {};

TEST_F(ChainGroupLimitsTest, TheLimitsAreTheUtilitysOnceAHardwareTableIsThere) {
  auto const table = L3EcmpGroupTable::L3EcmpGroupTableIs();
  Journal journal;
  table->utilIs(new RecordingUtil<Groups>(journal));
  EXPECT_EQ(table->minIndex(), 0U);
  EXPECT_EQ(table->maxIndex(), 0xFFFFFFFFU);
  table->hwTableReadyIs(true);
  EXPECT_EQ(table->minIndex(), 0U);
  table->hwTableReadyIs(false);
  table->hwTableIs(new Asic::HwTable);
  EXPECT_EQ(table->minIndex(), 3U);
  EXPECT_EQ(table->maxIndex(), 77U);
}

}  // namespace
}  // namespace ChainTests
