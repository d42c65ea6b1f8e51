// Records and blocks hold a collection, so their text constructors end the process.
#include "AbortText.h"
#include "TextTables.h"
#include "Vek/TextParser.h"
#include "Vek/TextRefusal.h"

namespace TextTests {
namespace {

using TableTests::abortsWith;
using TableTests::regexOf;
using Vek::String;

// Everything that standard error shows: one line of the C library, and no more.
std::string refusalText(std::string const& type, std::string const& unit, unsigned line) {
  std::string const nested = type.substr(type.rfind(':') + 1);
  return "^[^:\n]+: " +
         regexOf(unit + ":" + std::to_string(line) + ": " + type + "::" + nested +
                 "(Vek::String::IteratorConst&, const Vek::String::IteratorConst&): Assertion `" +
                 "!\"No String constructor for " + nested + " - has collection\"' failed.") +
         "\n$";
}

struct IngressRecord {
  using Type = OrviaL3Unicast::IngL3NextHop1Table::Entry;
  static std::string death() {
    return refusalText("OrviaL3Unicast::IngL3NextHop1Table::Entry", "OrviaL3IngL3NextHop1Table",
                       189);
  }
};
struct EcmpRecord {
  using Type = OrviaL3Unicast::EcmpIngL3NextHop1Table::Entry;
  static std::string death() {
    return refusalText("OrviaL3Unicast::EcmpIngL3NextHop1Table::Entry", "L3EcmpIngL3NextHop1Table",
                       214);
  }
};
struct GroupRecord {
  using Type = OrviaL3Unicast::L3EcmpGroupTable::Entry;
  static std::string death() {
    return refusalText("OrviaL3Unicast::L3EcmpGroupTable::Entry", "L3EcmpGroupTable", 163);
  }
};
struct Block {
  using Type = OrviaL3Unicast::L3EcmpMemberTable::EntryBlock;
  static std::string death() {
    return refusalText("OrviaL3Unicast::L3EcmpMemberTable::EntryBlock", "L3EcmpMemberTable", 183);
  }
};

template <class Refusing>
class TextConstructorDeathTest : public testing::Test {};
using Refusing = testing::Types<IngressRecord, EcmpRecord, GroupRecord, Block>;
TYPED_TEST_SUITE(TextConstructorDeathTest, Refusing);

TYPED_TEST(TextConstructorDeathTest, RefusesEveryTextItsOwnIncluded) {
  using Type = typename TypeParam::Type;
  for (String const& text : {String(), String("{}"), String("x"), String(valueToStrep(Type()))}) {
    String::IteratorConst begin = text.begin();
    EXPECT_EXIT(Type(begin, text.end()), abortsWith(), TypeParam::death()) << text;
  }
}

TYPED_TEST(TextConstructorDeathTest, ReadingAWholeTextEndsTheSameWay) {
  using Type = typename TypeParam::Type;
  EXPECT_EXIT((void)Vek::strepToValue<Type>("{}"), abortsWith(), TypeParam::death());
  Type value;
  EXPECT_EXIT(Vek::strepToValue(valueToStrep(value), &value), abortsWith(), TypeParam::death());
}

TYPED_TEST(TextConstructorDeathTest, TheTypeSaysBeforehandThatItRefuses) {
  EXPECT_TRUE(Vek::RefusesText<typename TypeParam::Type>);
}

TEST(TextConstructorTest, TheOtherValueTypesDoNotRefuse) {
  EXPECT_FALSE(Vek::RefusesText<OrviaL3Unicast::L3EcmpMemberTable::Entry>);
  EXPECT_FALSE(Vek::RefusesText<OrviaL3Unicast::L3EcmpMemberTable::Index>);
  EXPECT_FALSE(Vek::RefusesText<OrviaL3Unicast::L3EcmpGroupTable::Index>);
  EXPECT_FALSE(Vek::RefusesText<OrviaL3Unicast::EcmpIngL3NextHop1Table::Index>);
}

TEST(TextRefusalDeathTest, ShowsTheNegatedLiteralAndNothingElse) {
  EXPECT_EXIT(
      Vek::refuseText("100%s \"quoted\"", {"Some.unit", 7, "Type::Type(int)"}), abortsWith(),
      "^[^:\n]+: " +
          regexOf("Some.unit:7: Type::Type(int): Assertion `!\"100%s \"quoted\"\"' failed.") +
          "\n$");
}

}  // namespace
}  // namespace TextTests
