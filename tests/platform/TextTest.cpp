// Text: Vek::String and Vek::format.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>

#include "Vek/AttributeId.h"
#include "Vek/Exception.h"
#include "Vek/FixedWidth.h"
#include "Vek/Format.h"
#include "Vek/String.h"

namespace {

using Vek::format;
using Vek::String;

std::string whatOf(auto&& step) {
  try {
    step();
  } catch (Vek::Exception const& exception) {
    return exception.what();
  }
  return "nothing was thrown";
}

TEST(FormatTest, ReplacesEachPlaceByTheNextArgument) {
  EXPECT_EQ(format("plain"), "plain");
  EXPECT_EQ(format(""), "");
  EXPECT_EQ(format("%s", "x"), "x");
  EXPECT_EQ(format("%s and %u.", "one", 2), "one and 2.");
  EXPECT_EQ(format("%u%s%u", 1U, std::string("-"), -3), "1--3");
  EXPECT_EQ(format("%s", String("text")), "text");
  EXPECT_EQ(format("%s", Vek::AttributeId(12)), "12");
  EXPECT_EQ(format("%u", Vek::U4(9)), "9");
}

TEST(FormatTest, TwoPercentSignsAreOne) {
  EXPECT_EQ(format("100%%"), "100%");
  EXPECT_EQ(format("%%s %s", 1), "%s 1");
  EXPECT_EQ(format("%%%s", 1), "%1");
}

TEST(FormatTest, OtherPercentSignsStay) {
  EXPECT_EQ(format("50% of %d"), "50% of %d");
  EXPECT_EQ(format("%"), "%");
  EXPECT_EQ(format("%s%", 1), "1%");
}

TEST(FormatTest, ArgumentsAreNotFormattedAgain) {
  EXPECT_EQ(format("%s %s", "%s%%", "b"), "%s%% b");
}

TEST(FormatTest, RefusesTooFewAndTooManyArguments) {
  EXPECT_EQ(whatOf([] { (void)format("%s %s", 1); }),
            "format text asks for more arguments than given: %s %s");
  EXPECT_EQ(whatOf([] { (void)format("%u"); }),
            "format text asks for more arguments than given: %u");
  EXPECT_EQ(whatOf([] { (void)format("%s", 1, 2); }),
            "format text asks for fewer arguments than given: %s");
  EXPECT_EQ(whatOf([] { (void)format("", 1); }),
            "format text asks for fewer arguments than given: ");
}

TEST(StringTest, ConvertsBothWays) {
  String const fromLiteral = "abc";
  String const fromString = std::string("abc");
  String const fromView = std::string_view("abcdef").substr(0, 3);
  EXPECT_EQ(fromLiteral, fromString);
  EXPECT_EQ(fromLiteral, fromView);
  std::string const& back = fromLiteral;
  EXPECT_EQ(back, "abc");
  EXPECT_EQ(fromLiteral.str(), "abc");
  EXPECT_STREQ(fromLiteral.c_str(), "abc");
}

TEST(StringTest, KnowsItsSizeAndIterates) {
  EXPECT_TRUE(String().empty());
  EXPECT_EQ(String().size(), 0U);
  String const text = std::string("a\0b", 3);
  EXPECT_FALSE(text.empty());
  EXPECT_EQ(text.size(), 3U);
  EXPECT_EQ(std::string(text.begin(), text.end()), text.str());
}

TEST(StringTest, AppendsComparesAndPrints) {
  String text = "ab";
  text += "cd";
  text += String("!");
  EXPECT_EQ(text, "abcd!");
  EXPECT_NE(text, "abcd");
  EXPECT_LT(String("abc"), String("abd"));
  EXPECT_LT(String("ab"), String("abc"));
  std::ostringstream out;
  out << text << 1;
  EXPECT_EQ(out.str(), "abcd!1");
}

TEST(ExceptionTest, CarriesItsTextAndItsKind) {
  EXPECT_EQ(whatOf([] { throw Vek::RangeException("out of range"); }), "out of range");
  EXPECT_EQ(whatOf([] { throw Vek::ReinstantiationException("again"); }), "again");
  EXPECT_THROW(throw Vek::RangeException("x"), std::runtime_error);
}

}  // namespace
