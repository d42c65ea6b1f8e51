// The one-line texts of the records: approved, whole, to the last character.
#include <sstream>

#include "TestHandle.h"
#include "TextTables.h"

namespace TextTests {
namespace {

using OrviaL3Unicast::L3EcmpGroupTable;
using TableTests::TestHandle;

template <class Names>
class NextHopTextTest : public testing::Test {
 protected:
  static std::string approved(std::string const& attributes) {
    return "Value('" + std::string(Names::table) + "::Entry', ** {'neededEntryHandle': None, " +
           attributes + "})";
  }
  static std::string streamed(typename Names::Table::Entry const& entry) {
    std::ostringstream out;
    out << entry;
    return out.str();
  }
};
TYPED_TEST_SUITE(NextHopTextTest, NextHopTables, TableNames);

TYPED_TEST(NextHopTextTest, ADefaultRecordShowsZeroEverywhere) {
  typename TypeParam::Table::Entry const entry;
  std::string const text = this->approved(
      "'destination': 0, 'dvp': 0, 'dvpL3Oif1': 0, 'dvpMtuProfilePtr': 0, 'forwardingType': 0, "
      "'l2McL3McL2OifSysDstValid': 0, 'l3OifType': 0, 'strengthProfileIdx': 0, 'systemOpcode': 0, "
      "'viewType': 0");
  EXPECT_EQ(valueToStrep(entry).str(), text);
  EXPECT_EQ(this->streamed(entry), text);
}

TYPED_TEST(NextHopTextTest, EveryStoredFieldStandsInItsPlace) {
  typename TypeParam::Table::Entry const entry(1, 2, 3, 4, 5, 6, 77, nullptr, 1, 88, nullptr, 9, 10,
                                               3);
  std::string const text = this->approved(
      "'destination': 1, 'dvp': 2, 'dvpL3Oif1': 3, 'dvpMtuProfilePtr': 4, 'forwardingType': 5, "
      "'l2McL3McL2OifSysDstValid': 6, 'l3OifType': 1, 'strengthProfileIdx': 9, 'systemOpcode': 10, "
      "'viewType': 3");
  EXPECT_EQ(valueToStrep(entry).str(), text);
  EXPECT_EQ(this->streamed(entry), text);
}

TYPED_TEST(NextHopTextTest, EveryFieldAtItsLimitIsADecimalNumber) {
  typename TypeParam::Table::Entry const entry(65535, 65535, 16383, 1023, 15, 15, 65535, nullptr, 1,
                                               65535, nullptr, 31, 15, 3);
  EXPECT_EQ(valueToStrep(entry).str(),
            this->approved("'destination': 65535, 'dvp': 65535, 'dvpL3Oif1': 16383, "
                           "'dvpMtuProfilePtr': 1023, 'forwardingType': 15, "
                           "'l2McL3McL2OifSysDstValid': 15, 'l3OifType': 1, "
                           "'strengthProfileIdx': 31, 'systemOpcode': 15, 'viewType': 3"));
}

// Formatting of the stream it is written to does not change a record's text.
TYPED_TEST(NextHopTextTest, AStreamsOwnFormatDoesNotReachTheNumbers) {
  typename TypeParam::Table::Entry const entry(65535, 0, 0, 0, 0, 0, 0, nullptr, 0, 0, nullptr, 0,
                                               0, 0);
  std::ostringstream out;
  out << std::hex << std::showbase << entry;
  EXPECT_EQ(out.str(), valueToStrep(entry).str());
}

TYPED_TEST(NextHopTextTest, ARecordWithTwoNeededHandlesPrintsLikeOneWithNone) {
  using Entry = typename TypeParam::Table::Entry;
  TestHandle::Ptr const oif = TestHandle::programmed(5);
  TestHandle::Ptr const mtu = TestHandle::programmed(6);
  Entry const with(1, 2, 3, 4, 5, 6, 0, oif, 1, 0, mtu, 9, 10, 3);
  Entry const without(1, 2, 3, 4, 5, 6, 0, nullptr, 1, 0, nullptr, 9, 10, 3);
  ASSERT_EQ(with.neededEntryHandleCount(), 2U);
  ASSERT_FALSE(with == without);
  EXPECT_EQ(valueToStrep(with), valueToStrep(without));
  EXPECT_NE(valueToStrep(with).str().find("'neededEntryHandle': None"), std::string::npos);
}

TEST(GroupTextTest, ModeAndPathsArePlainDecimals) {
  using Entry = L3EcmpGroupTable::Entry;
  std::string const text =
      "Value('OrviaL3Unicast::L3EcmpGroupTable::Entry', ** {'neededEntryHandle': None, 'lbMode': "
      "2, 'numPaths': 8})";
  EXPECT_EQ(valueToStrep(Entry(7, nullptr, 2, 8)).str(), text);
  Entry const withBlock(7, TestHandle::programmed(64), 2, 8);
  ASSERT_EQ(withBlock.neededEntryHandleCount(), 1U);
  EXPECT_EQ(valueToStrep(withBlock).str(), text);
  EXPECT_EQ(valueToStrep(Entry()).str(),
            "Value('OrviaL3Unicast::L3EcmpGroupTable::Entry', ** {'neededEntryHandle': None, "
            "'lbMode': 0, 'numPaths': 0})");
}

TEST(BlockTextTest, TheLargestBlockShowsItsSize) {
  using Block = OrviaL3Unicast::L3EcmpMemberTable::EntryBlock;
  EXPECT_EQ(valueToStrep(Block(Asic::BlockSize(65535))).str(),
            "Value('OrviaL3Unicast::L3EcmpMemberTable::EntryBlock', ** {'blockSize': 65535, "
            "'entryInternal': None})");
}

}  // namespace
}  // namespace TextTests
