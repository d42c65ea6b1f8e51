#include <gtest/gtest.h>

#include <string>

#include "Brastel/FendrelConverter.h"

namespace Brastel {
namespace {

using Fendrel::MsgFormatString;

TEST(FendrelConverterTest, ReplacesTheNextPlaceWithEachValue) {
  MsgFormatString& text = FendrelConverter::sharedText();
  text.put("initializeUnresolvedEntryBlock");
  text.put(": initializing the unresolvedEntryBlock, blockSize ");
  text.put("%s");
  text.put(" entrys: ");
  text.put("%s");
  FendrelConverter converter(text);
  converter << Asic::BlockSize(4) << 5U;
  EXPECT_EQ(converter.str(),
            "initializeUnresolvedEntryBlock: initializing the unresolvedEntryBlock, blockSize 4 "
            "entrys: 5");
}

TEST(FendrelConverterTest, PrintsTheWholeRangeOfEveryType) {
  MsgFormatString text;
  text.put("%s %s %s");
  FendrelConverter converter(text);
  converter << 4294967295U << Vek::AttributeId(4294967294U) << Asic::BlockSize(65535);
  EXPECT_EQ(converter.str(), "4294967295 4294967294 65535");
}

TEST(FendrelConverterTest, ClosesAStatementWithoutValue) {
  MsgFormatString text;
  text.put("getEntry");
  text.put(" : Found an existing entry: ");
  FendrelConverter converter(text);
  converter << Fendrel::QNull{};
  EXPECT_EQ(converter.str(), "getEntry : Found an existing entry: ");
}

TEST(FendrelConverterTest, LeavesAPlaceWithoutValueAsItIs) {
  MsgFormatString text;
  text.put("a %s b %s c");
  FendrelConverter converter(text);
  converter << 1U;
  EXPECT_EQ(converter.str(), "a 1 b %s c");
}

TEST(FendrelConverterTest, IgnoresAValueWithoutPlace) {
  MsgFormatString text;
  text.put("a %s b");
  FendrelConverter converter(text);
  converter << 1U << 2U;
  EXPECT_EQ(converter.str(), "a 1 b");
  converter << Fendrel::QNull{} << 3U;
  EXPECT_EQ(converter.str(), "a 1 b");
}

TEST(FendrelConverterTest, LeavesTheSharedTextEmptyForTheNextStatement) {
  {
    MsgFormatString& text = FendrelConverter::sharedText();
    text.put("first");
    FendrelConverter const converter(text);
    EXPECT_EQ(converter.str(), "first");
  }
  EXPECT_EQ(FendrelConverter::sharedText().view(), "");
}

TEST(FendrelConverterTest, CutsOffATextBeyondTheFixedRoom) {
  MsgFormatString text;
  std::string const long_text(MsgFormatString::capacity - 1, 'x');
  text.put(long_text.c_str());
  text.put("yz");
  EXPECT_EQ(text.view(), long_text + "y");
  text.put("z");
  EXPECT_EQ(text.view(), long_text + "y");
}

}  // namespace
}  // namespace Brastel
