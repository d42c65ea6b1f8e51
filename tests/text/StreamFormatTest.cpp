// What a stream is set to does not reach the text of a value: each writes the text that
// valueToStrep gives, to the last character.
#include <iomanip>
#include <locale>
#include <sstream>
#include <string>

#include "LiveObjects.h"
#include "TestHandle.h"
#include "TextTables.h"
#include "Vek/FixedWidth.h"

namespace TextTests {
namespace {

using TableTests::TestHandle;

// Numbers in groups of one digit, with a sign between them.
class Grouping final : public std::numpunct<char> {
 protected:
  char do_thousands_sep() const override { return '\''; }
  std::string do_grouping() const override { return "\1"; }
};

class StreamFormatTest : public TableTests::LiveObjectsTest {
 protected:
  StreamFormatTest() : previous_(std::locale::global(grouping())) {}
  ~StreamFormatTest() override { std::locale::global(previous_); }

  static std::locale grouping() { return {std::locale::classic(), new Grouping}; }

  // The value between two texts, on a stream that is set to everything at once.
  template <class Value>
  static std::string written(Value const& value) {
    std::ostringstream out;
    out << std::hex << std::showbase << std::uppercase << std::internal << std::showpos
        << std::setfill('*') << '[' << std::setw(200) << value << ']';
    return out.str();
  }
  template <class Value>
  static void expectItsText(Value const& value, std::string const& text) {
    EXPECT_EQ(valueToStrep(value).str(), text);
    EXPECT_EQ(written(value), "[" + text + "]");
  }

 private:
  std::locale previous_;
};

// Otherwise nothing below means anything.
TEST_F(StreamFormatTest, ThePlainNumberWouldBeChanged) {
  EXPECT_EQ(written(4095U).find("[*"), std::string::npos);
  EXPECT_EQ(written(4095U).substr(0, 4), "[0X*");
  EXPECT_EQ(written(4095U).size(), 202U);
  std::ostringstream out;
  out << 4095;
  EXPECT_EQ(out.str(), "4'0'9'5");
}

TEST_F(StreamFormatTest, AnIndexIsABareDecimalNumber) {
  expectItsText(EcmpNames::Table::Index(4294967295U), "4294967295");
  expectItsText(GroupNames::Table::Index(4095), "4095");
  expectItsText(MemberNames::Table::Index(0), "0");
}

TEST_F(StreamFormatTest, AFixedWidthNumberIsADecimalNumber) {
  expectItsText(Vek::U14(16383), "16383");
  expectItsText(Vek::U10(1023), "1023");
  expectItsText(Vek::U5(31), "31");
  expectItsText(Vek::U1(1), "1");
}

TEST_F(StreamFormatTest, ARecordIsItsOneLine) {
  expectItsText(GroupNames::Table::Entry(0, nullptr, 4000000000U, 65535),
                "Value('OrviaL3Unicast::L3EcmpGroupTable::Entry', ** {'neededEntryHandle': None, "
                "'lbMode': 4000000000, 'numPaths': 65535})");
  std::string const fields =
      "{'neededEntryHandle': None, 'destination': 65535, 'dvp': 4095, 'dvpL3Oif1': 16383, "
      "'dvpMtuProfilePtr': 1023, 'forwardingType': 15, 'l2McL3McL2OifSysDstValid': 15, "
      "'l3OifType': 1, 'strengthProfileIdx': 31, 'systemOpcode': 15, 'viewType': 3}";
  expectItsText(IngressNames::Table::Entry(65535, 4095, 16383, 1023, 15, 15, 0, nullptr, 1, 0,
                                           nullptr, 31, 15, 3),
                "Value('OrviaL3Unicast::IngL3NextHop1Table::Entry', ** " + fields + ")");
  expectItsText(EcmpNames::Table::Entry(65535, 4095, 16383, 1023, 15, 15, 0, nullptr, 1, 0, nullptr,
                                        31, 15, 3),
                "Value('OrviaL3Unicast::EcmpIngL3NextHop1Table::Entry', ** " + fields + ")");
}

TEST_F(StreamFormatTest, ABlockIsItsOneLine) {
  expectItsText(MemberNames::Table::EntryBlock(Asic::BlockSize(65535)),
                "Value('OrviaL3Unicast::L3EcmpMemberTable::EntryBlock', ** {'blockSize': 65535, "
                "'entryInternal': None})");
}

TEST_F(StreamFormatTest, AMemberIsTheAddressOfItsHandle) {
  TestHandle::Ptr const handle = TestHandle::waiting();
  std::ostringstream address;
  address.imbue(std::locale::classic());
  address << static_cast<void const*>(handle.get());
  expectItsText(MemberNames::Table::Entry(handle), address.str());
  expectItsText(MemberNames::Table::Entry(), "0");
}

TEST_F(StreamFormatTest, AModeIsItsName) {
  expectItsText(IngressNames::Table::EntryHandle::del, "del");
  expectItsText(EcmpNames::Table::EntryHandle::add, "add");
  expectItsText(GroupNames::Table::EntryHandle::del, "del");
  expectItsText(MemberNames::Table::EntryHandle::add, "add");
}

// As any output does: what comes next is not padded for what is written here.
TEST_F(StreamFormatTest, AWidthIsUsedUp) {
  std::ostringstream out;
  out << std::setw(4) << GroupNames::Table::Index(7);
  EXPECT_EQ(out.width(), 0);
  out << 'x';
  EXPECT_EQ(out.str(), "7x");
}

TEST_F(StreamFormatTest, AStreamThatFailedStaysEmpty) {
  std::ostringstream out;
  out.setstate(std::ios_base::failbit);
  out << GroupNames::Table::Index(7);
  EXPECT_EQ(out.str(), "");
}

}  // namespace
}  // namespace TextTests
