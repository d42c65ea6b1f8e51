// The indexes in text: a bare number when printed, the named attribute when read.
#include <sstream>

#include "TextTables.h"
#include "Vek/TextParser.h"

namespace TextTests {
namespace {

using Vek::RangeException;
using Vek::String;
using Vek::TextException;

template <class Names>
class IndexTextTest : public testing::Test {
 protected:
  using Index = typename Names::Table::Index;

  static Index read(String const& text) { return Vek::strepToValue<Index>(text); }
  template <class Kind>
  static std::string refusal(String const& text) {
    return thrown<Kind>([&] { (void)read(text); });
  }
};
TYPED_TEST_SUITE(IndexTextTest, IndexTables, TableNames);

TYPED_TEST(IndexTextTest, ReadsTheAttributeValue) {
  EXPECT_EQ(this->read("{'value': 7}").value(), 7U);
  EXPECT_EQ(this->read("{'value': 0}").value(), 0U);
  EXPECT_EQ(this->read("{'value': 4294967295}").value(), 4294967295U);
}

TYPED_TEST(IndexTextTest, WhiteSpaceIsFree) {
  EXPECT_EQ(this->read("{'value':7}").value(), 7U);
  EXPECT_EQ(this->read("\t{ 'value'\n:  7\r}  ").value(), 7U);
}

TYPED_TEST(IndexTextTest, ItsOwnPrintedNumberIsNotWhatItReads) {
  typename TestFixture::Index const index(7);
  std::ostringstream out;
  out << index;
  EXPECT_EQ(out.str(), "7");
  EXPECT_EQ(valueToStrep(index), "7");
  EXPECT_EQ(this->template refusal<TextException>(valueToStrep(index)),
            "expected '{' but found '7' at position 0");
}

TYPED_TEST(IndexTextTest, EveryValueComesBackFromTheTextThatNamesIt) {
  for (std::uint64_t value = 1; value <= 4294967295U; value = value * 3 + 1) {
    typename TestFixture::Index const index(static_cast<std::uint32_t>(value));
    EXPECT_EQ(this->read("{'value': " + valueToStrep(index).str() + "}"), index);
  }
}

TYPED_TEST(IndexTextTest, WhatFollowsTheValueIsRefusedWhereItBegins) {
  EXPECT_EQ(this->template refusal<TextException>("{'value': 7} 8"),
            "text left over at position 13");
  EXPECT_EQ(this->template refusal<TextException>("{'value': 7}}"),
            "text left over at position 12");
  EXPECT_EQ(this->template refusal<TextException>("{'value': 7, 'value': 8}"),
            "expected '}' but found ',' at position 11");
}

TYPED_TEST(IndexTextTest, ANumberOfMoreThan32BitsIsOutOfRange) {
  EXPECT_EQ(this->template refusal<RangeException>("{'value': 4294967296}"),
            "value 4294967296 does not fit U32 at position 10");
  EXPECT_EQ(this->template refusal<RangeException>("{'value': 42949672950}"),
            "value 42949672950 does not fit U32 at position 10");
}

TYPED_TEST(IndexTextTest, AnythingElseIsRefused) {
  auto const said = [](String const& text) {
    return TestFixture::template refusal<TextException>(text);
  };
  EXPECT_EQ(said(""), "expected '{' but found the end of the text at position 0");
  EXPECT_EQ(said("{}"), "expected attribute 'value' but found '}' at position 1");
  EXPECT_EQ(said("{'values': 7}"), "expected attribute 'value' but found ''' at position 1");
  EXPECT_EQ(said("{\"value\": 7}"), "expected attribute 'value' but found '\"' at position 1");
  EXPECT_EQ(said("{'value': }"), "expected a number but found '}' at position 10");
  EXPECT_EQ(said("{'value': -7}"), "expected a number but found '-' at position 10");
  EXPECT_EQ(said("{'value': '7'}"), "expected a number but found ''' at position 10");
  EXPECT_EQ(said("{'value': 7"), "expected '}' but found the end of the text at position 11");
}

TYPED_TEST(IndexTextTest, TheTextConstructorLeavesTheIteratorBehindTheValue) {
  String const text = "{'value': 1}{'value': 2}";
  String::IteratorConst begin = text.begin();
  typename TestFixture::Index const first(begin, text.end());
  EXPECT_EQ(first.value(), 1U);
  EXPECT_EQ(begin - text.begin(), 12);
  typename TestFixture::Index const second(begin, text.end());
  EXPECT_EQ(second.value(), 2U);
  EXPECT_EQ(begin, text.end());
}

TYPED_TEST(IndexTextTest, ARefusedTextLeavesTheIndexAsItWas) {
  typename TestFixture::Index index(3);
  EXPECT_THROW(Vek::strepToValue("{'value': 4} x", &index), TextException);
  EXPECT_EQ(index.value(), 3U);
  Vek::strepToValue("{'value': 4}", &index);
  EXPECT_EQ(index.value(), 4U);
}

}  // namespace
}  // namespace TextTests
