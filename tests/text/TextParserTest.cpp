// The framework's attribute parser: what it takes, what it refuses, and where.
#include <bit>
#include <limits>
#include <map>
#include <regex>
#include <set>
#include <string_view>

#include "TextTables.h"
#include "Vek/TextParser.h"

namespace TextTests {
namespace {

using Vek::RangeException;
using Vek::String;
using Vek::TextException;
using Vek::TextParser;

// A value of two attributes, as a type of some module would read it.
struct Pair {
  std::uint16_t left = 0;
  Vek::U4 right;

  Pair(String::IteratorConst& begin, String::IteratorConst const& end) {
    TextParser parser(begin, end);
    parser.expect('{');
    parser.attribute("left", &left);
    parser.expect(',');
    parser.attribute("right", &right);
    parser.expect('}');
  }
};

template <class Kind, class T>
std::string refusal(String const& text) {
  return thrown<Kind>([&] { (void)Vek::strepToValue<T>(text); });
}

TEST(TextParserTest, ReadsAttributesInTheirOrder) {
  Pair const pair = Vek::strepToValue<Pair>("{'left': 65535, 'right': 15}");
  EXPECT_EQ(pair.left, 65535);
  EXPECT_EQ(pair.right, Vek::U4(15));
}

TEST(TextParserTest, WhiteSpaceIsFreeBetweenThePartsAndAround) {
  EXPECT_EQ(Vek::strepToValue<Pair>("{'left':1,'right':2}").right, Vek::U4(2));
  Pair const pair = Vek::strepToValue<Pair>(" \t{\r\n'left' : 3\n,  'right'\t:4 } \n");
  EXPECT_EQ(pair.left, 3);
  EXPECT_EQ(pair.right, Vek::U4(4));
}

TEST(TextParserTest, ARefusalSaysWhatWasExpectedWhatIsThereAndWhere) {
  auto const said = [](String const& text) { return refusal<TextException, Pair>(text); };
  EXPECT_EQ(said(""), "expected '{' but found the end of the text at position 0");
  EXPECT_EQ(said("  x"), "expected '{' but found 'x' at position 2");
  EXPECT_EQ(said("{left: 1, 'right': 2}"), "expected attribute 'left' but found 'l' at position 1");
  EXPECT_EQ(said("{ 'right': 2, 'left': 1}"),
            "expected attribute 'left' but found ''' at position 2");
  EXPECT_EQ(said("{'lef"), "expected attribute 'left' but found ''' at position 1");
  EXPECT_EQ(said("{'left' 1}"), "expected ':' but found '1' at position 8");
  EXPECT_EQ(said("{'left': }"), "expected a number but found '}' at position 9");
  EXPECT_EQ(said("{'left': -1, 'right': 2}"), "expected a number but found '-' at position 9");
  EXPECT_EQ(said("{'left': +1, 'right': 2}"), "expected a number but found '+' at position 9");
  EXPECT_EQ(said("{'left': 0x1, 'right': 2}"), "expected ',' but found 'x' at position 10");
  EXPECT_EQ(said("{'left': 1 2"), "expected ',' but found '2' at position 11");
  EXPECT_EQ(said("{'left': 1, 'right': 2"),
            "expected '}' but found the end of the text at position 22");
  EXPECT_EQ(said("{'left': 1, 'right': 2, }"), "expected '}' but found ',' at position 22");
}

TEST(TextParserTest, BytesThatDoNotPrintAreShownAsNumbers) {
  EXPECT_EQ((refusal<TextException, Pair>(std::string("\0{", 2))),
            "expected '{' but found byte 0x00 at position 0");
  EXPECT_EQ((refusal<TextException, Pair>("{\xc3\xa9")),
            "expected attribute 'left' but found byte 0xc3 at position 1");
  EXPECT_EQ((refusal<TextException, Pair>("\x7f")),
            "expected '{' but found byte 0x7f at position 0");
}

TEST(TextParserTest, WhatIsLeftOverIsRefusedWhereItBegins) {
  auto const said = [](String const& text) { return refusal<TextException, Pair>(text); };
  EXPECT_EQ(said("{'left': 1, 'right': 2} }"), "text left over at position 24");
  EXPECT_EQ(said("{'left': 1, 'right': 2}{'left': 1, 'right': 2}"),
            "text left over at position 23");
  EXPECT_EQ(said(std::string("{'left': 1, 'right': 2}\0", 24)), "text left over at position 23");
}

TEST(TextParserTest, TheExceptionCarriesThePosition) {
  try {
    (void)Vek::strepToValue<Pair>("{'left': ?");
    ADD_FAILURE() << "nothing was thrown";
  } catch (TextException const& refused) {
    EXPECT_EQ(refused.position(), 9U);
  }
}

TEST(TextParserTest, ANumberThatDoesNotFitIsOutOfRangeAtItsFirstDigit) {
  auto const said = [](String const& text) { return refusal<RangeException, Pair>(text); };
  EXPECT_EQ(said("{'left': 65536, 'right': 2}"), "value 65536 does not fit U16 at position 9");
  EXPECT_EQ(said("{'left': 1, 'right': 16}"), "value 16 does not fit U4 at position 21");
  std::string const long50(50, '7');
  EXPECT_EQ(said("{'left': " + long50 + ", 'right': 2}"),
            "value " + std::string(40, '7') + "... does not fit U16 at position 9");
  EXPECT_EQ(said("{'left': " + std::string(40, '7') + ", 'right': 2}"),
            "value " + std::string(40, '7') + " does not fit U16 at position 9");
}

template <class Number>
struct NumberLimit {
  static std::uint64_t maximum() { return std::numeric_limits<Number>::max(); }
};
template <unsigned Bits>
struct NumberLimit<Vek::FixedWidth<Bits>> {
  static std::uint64_t maximum() { return (std::uint64_t{1} << Bits) - 1; }
};

template <class Number>
class TextNumberTest : public testing::Test {};
using Numbers = testing::Types<std::uint8_t, std::uint16_t, std::uint32_t, std::uint64_t, Vek::U1,
                               Vek::U2, Vek::U4, Vek::U5, Vek::U10, Vek::U14>;
TYPED_TEST_SUITE(TextNumberTest, Numbers);

TYPED_TEST(TextNumberTest, TheWholeRangeIsReadAndNothingAboveIt) {
  std::uint64_t const maximum = NumberLimit<TypeParam>::maximum();
  EXPECT_EQ(Vek::strepToValue<TypeParam>("0"), TypeParam(0));
  EXPECT_EQ(Vek::strepToValue<TypeParam>(std::to_string(maximum)), static_cast<TypeParam>(maximum));
  EXPECT_EQ(Vek::strepToValue<TypeParam>("000" + std::to_string(maximum)),
            static_cast<TypeParam>(maximum));
  // One more, and ten times as much: behind the last digit and with one digit more.
  std::string const above = maximum == std::numeric_limits<std::uint64_t>::max()
                                ? "18446744073709551616"
                                : std::to_string(maximum + 1);
  std::string const bits = maximum == std::numeric_limits<std::uint64_t>::max()
                               ? "64"
                               : std::to_string(std::bit_width(maximum));
  std::string const times10 = std::to_string(maximum) + "0";
  EXPECT_EQ((refusal<RangeException, TypeParam>(above)),
            "value " + above + " does not fit U" + bits + " at position 0");
  EXPECT_EQ((refusal<RangeException, TypeParam>(times10)),
            "value " + times10 + " does not fit U" + bits + " at position 0");
}

TYPED_TEST(TextNumberTest, WhatIsNoNumberIsRefused) {
  EXPECT_EQ((refusal<TextException, TypeParam>("")),
            "expected a number but found the end of the text at position 0");
  EXPECT_EQ((refusal<TextException, TypeParam>("'1'")),
            "expected a number but found ''' at position 0");
  EXPECT_EQ((refusal<TextException, TypeParam>("1.0")), "text left over at position 1");
}

TEST(TextParserTest, ValuesAreReadOneAfterTheOtherFromOneText) {
  String const text = "12 , 34rest";
  String::IteratorConst begin = text.begin();
  std::uint32_t number = 0;
  Vek::sequenceToValue(begin, text.end(), &number);
  EXPECT_EQ(number, 12U);
  EXPECT_EQ(begin - text.begin(), 2);
  TextParser parser(begin, text.end());
  EXPECT_FALSE(parser.take(';'));
  EXPECT_TRUE(parser.take(','));
  EXPECT_EQ(parser.number(99, "two digits"), 34U);
  EXPECT_EQ(parser.name(), "rest");
  EXPECT_EQ(begin, text.end());
  EXPECT_EQ(parser.position(), 9U) << "counted from where the parser began";
}

TEST(TextParserTest, AfterARefusalTheIteratorStandsWhereItHappened) {
  String const text = "{'left': 1; 'right': 2}";
  String::IteratorConst begin = text.begin();
  EXPECT_THROW(Pair(begin, text.end()), TextException);
  EXPECT_EQ(begin - text.begin(), 10);
  String const large = "{'left': 99999, 'right': 2}";
  begin = large.begin();
  EXPECT_THROW(Pair(begin, large.end()), RangeException);
  EXPECT_EQ(begin - large.begin(), 9);
}

TEST(TextParserTest, NothingBehindTheEndIsRead) {
  String const text = "{'left': 1, 'right': 2}";
  for (auto end = text.begin(); end != text.end(); ++end) {
    String::IteratorConst begin = text.begin();
    std::string const said = thrown<TextException>([&] { Pair(begin, end); });
    EXPECT_LE(begin, end);
    EXPECT_EQ(said, (refusal<TextException, Pair>(std::string(text.begin(), end))));
    EXPECT_NE(said, "nothing was thrown");
  }
  String const word = "None";
  for (auto end = word.begin(); end != word.end(); ++end) {
    String::IteratorConst begin = word.begin();
    EXPECT_FALSE(TextParser(begin, end).takeWord("None"));
  }
}

TEST(TextParserTest, AValueStaysAsItIsWhenItsTextIsRefused) {
  std::uint32_t number = 5;
  EXPECT_THROW(Vek::strepToValue("6 7", &number), TextException);
  EXPECT_EQ(number, 5U);
  Vek::strepToValue(String(" 6 "), &number);
  EXPECT_EQ(number, 6U);
}

TEST(TextParserTest, AWordIsTakenAsAWholeOnly) {
  String const text = "Nonesuch None_ None";
  String::IteratorConst begin = text.begin();
  TextParser parser(begin, text.end());
  EXPECT_FALSE(parser.takeWord("None"));
  EXPECT_EQ(parser.name(), "Nonesuch");
  EXPECT_FALSE(parser.takeWord("None"));
  EXPECT_EQ(parser.name(), "None_");
  EXPECT_TRUE(parser.takeWord("None"));
  EXPECT_FALSE(parser.takeWord("None"));
  EXPECT_EQ(begin, text.end());
}

TEST(TextParserTest, ANameDoesNotBeginWithADigit) {
  String const text = "9lives";
  String::IteratorConst begin = text.begin();
  EXPECT_EQ(thrown<TextException>([&] { (void)TextParser(begin, text.end()).name(); }),
            "expected a name but found '9' at position 0");
}

// A value of one attribute.
struct Single {
  std::uint8_t number = 0;

  Single(String::IteratorConst& begin, String::IteratorConst const& end) {
    Vek::attributeFromText(begin, end, "v", &number);
  }
};

// What reading a text gives: its number, or which kind of refusal.
std::string outcome(std::string const& text) {
  // A copy of exactly that size, so that a sanitizer sees a read behind the end.
  String const exact = std::string(text.begin(), text.end());
  try {
    return std::to_string(Vek::strepToValue<Single>(exact).number);
  } catch (RangeException const&) {
    return "out of range";
  } catch (TextException const& refused) {
    return refused.position() <= text.size() ? "refused" : "refused behind the end";
  }
}

// The same by a description of the whole form. A number that is too large ends the reading before
// what follows it is seen.
std::string expectedOutcome(std::string const& text) {
  static std::regex const start("[ \t]*\\{[ \t]*'v'[ \t]*:[ \t]*([0-9]+)");
  static std::regex const rest("[ \t]*\\}[ \t]*");
  std::smatch match;
  if (!std::regex_search(text, match, start, std::regex_constants::match_continuous)) {
    return "refused";
  }
  unsigned long const number = std::stoul(match[1]);
  if (number > 255) return "out of range";
  std::string const after = match.suffix();
  return std::regex_match(after, rest) ? std::to_string(number) : "refused";
}

TEST(TextParserTest, EveryTextThatIsTwoEditsFromAGoodOneIsReadOrRefusedByItsForm) {
  std::string const good = "{'v': 25}";
  ASSERT_EQ(outcome(good), "25");
  std::set<std::string> texts{good};
  for (int edits = 0; edits < 2; ++edits) {
    std::set<std::string> edited = texts;
    for (std::string const& text : texts) {
      for (std::size_t at = 0; at <= text.size(); ++at) {
        if (at < text.size()) edited.insert(text.substr(0, at) + text.substr(at + 1));
        for (char const c : std::string_view("{}':v,19 \t")) {
          edited.insert(text.substr(0, at) + c + text.substr(at));
        }
      }
    }
    texts = std::move(edited);
  }
  std::map<std::string, int> seen;
  for (std::string const& text : texts) {
    std::string const result = outcome(text);
    ASSERT_EQ(result, expectedOutcome(text)) << text;
    ++seen[result];
  }
  EXPECT_GT(seen["refused"], 1000);
  EXPECT_GT(seen["out of range"], 10);
  EXPECT_GT(seen["25"], 10);
  EXPECT_GT(seen["192"] + seen["125"] + seen["215"], 0) << "numbers beside the good one";
}

}  // namespace
}  // namespace TextTests
