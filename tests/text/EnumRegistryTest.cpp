// The enum registry of the framework.
#include <algorithm>

#include "TextTables.h"
#include "Vek/EnumRegistry.h"
#include "Vek/TextParser.h"

namespace TextTests {
namespace {

using Vek::enumInstance;
using Vek::Exception;
using Vek::String;

constinit Vek::VekModule const fruits{"Fruits", {}};
constinit Vek::VekModule const tools{"Tools", {}};

constexpr Vek::EnumValue colourValues[] = {{7, "red"}, {0, "green"}, {4294967295U, "last_1"}};
constexpr Vek::EnumType colour{&fruits, 3, "Fruits::Colour", colourValues};
constexpr Vek::EnumType colourAgain{&fruits, 3, "Fruits::Colour", colourValues};
constexpr Vek::EnumValue sizeValues[] = {{7, "small"}, {8, "large"}};
constexpr Vek::EnumType size{&fruits, 4, "Fruits::Size", sizeValues};
constexpr Vek::EnumType toolSize{&tools, 3, "Tools::Size", sizeValues};
constexpr Vek::EnumType wrong{&fruits, 3, "Fruits::Taste", sizeValues};

class EnumRegistryTest : public testing::Test {
 protected:
  EnumRegistryTest() {
    for (Vek::EnumType const* type : {&colour, &size, &toolSize}) Vek::enumTypeIs(type);
  }
};

TEST_F(EnumRegistryTest, FindsAnEnumByModuleAndOrdinal) {
  EXPECT_EQ(Vek::enumType(&fruits, 3), &colour);
  EXPECT_EQ(Vek::enumType(&fruits, 4), &size);
  EXPECT_EQ(Vek::enumType(&tools, 3), &toolSize);
  EXPECT_EQ(Vek::enumType(&tools, 4), nullptr);
  EXPECT_EQ(Vek::enumType(nullptr, 3), nullptr);
}

TEST_F(EnumRegistryTest, NumbersNamesAndTextsBelongTogether) {
  for (Vek::EnumValue const& value : colourValues) {
    EXPECT_EQ(enumInstance(&fruits, 3, value.number), value.number);
    EXPECT_EQ(enumInstance(&fruits, 3, value.name), value.number);
    EXPECT_EQ(Vek::enumText(&fruits, 3, value.number), value.name);
  }
  EXPECT_EQ(Vek::enumText(&tools, 3, 7), "small");
}

TEST_F(EnumRegistryTest, RegisteringAgainHasNoEffect) {
  auto const before = Vek::enumTypes();
  Vek::enumTypeIs(&colour);
  Vek::enumTypeIs(&colourAgain);
  EXPECT_EQ(Vek::enumTypes(), before);
  EXPECT_EQ(Vek::enumType(&fruits, 3), &colour);
}

TEST_F(EnumRegistryTest, AnotherEnumUnderATakenOrdinalIsRefused) {
  EXPECT_EQ(thrown<Exception>([] { Vek::enumTypeIs(&wrong); }),
            "enum 3 of module Fruits is Fruits::Colour and cannot be Fruits::Taste");
  EXPECT_EQ(Vek::enumText(&fruits, 3, 7), "red");
}

TEST_F(EnumRegistryTest, ListsAllInTheOrderOfTheirRegistration) {
  auto const all = Vek::enumTypes();
  auto const first = std::find(all.begin(), all.end(), &colour);
  ASSERT_GE(all.end() - first, 3);
  EXPECT_EQ(first[1], &size);
  EXPECT_EQ(first[2], &toolSize);
}

TEST_F(EnumRegistryTest, UnknownValuesAreRefusedByEnumAndValue) {
  EXPECT_EQ(thrown<Exception>([] { (void)enumInstance(&fruits, 3, 1); }),
            "Fruits::Colour has no value 1");
  EXPECT_EQ(thrown<Exception>([] { (void)Vek::enumText(&fruits, 3, 4294967294U); }),
            "Fruits::Colour has no value 4294967294");
  for (char const* name : {"Red", "re", "reds", "", " red", "7"}) {
    EXPECT_EQ(thrown<Exception>([&] { (void)enumInstance(&fruits, 3, name); }),
              "Fruits::Colour has no value '" + std::string(name) + "'");
  }
}

TEST_F(EnumRegistryTest, UnknownEnumsAreRefusedByModuleAndOrdinal) {
  std::string const text = "no enum 9 is known in module Fruits";
  String const name = "red";
  String::IteratorConst begin = name.begin();
  EXPECT_EQ(thrown<Exception>([] { (void)enumInstance(&fruits, 9, 0); }), text);
  EXPECT_EQ(thrown<Exception>([] { (void)enumInstance(&fruits, 9, "red"); }), text);
  EXPECT_EQ(thrown<Exception>([] { (void)Vek::enumText(&fruits, 9, 0); }), text);
  EXPECT_EQ(thrown<Exception>([&] { (void)Vek::enumFromText(&fruits, 9, begin, name.end()); }),
            text);
  EXPECT_EQ(thrown<Exception>([] { (void)Vek::enumText(nullptr, 9, 0); }),
            "no enum 9 is known in no module");
}

TEST_F(EnumRegistryTest, ReadsANameFromTheFrontOfAText) {
  String const text = "  last_1,red";
  String::IteratorConst begin = text.begin();
  EXPECT_EQ(Vek::enumFromText(&fruits, 3, begin, text.end()), 4294967295U);
  EXPECT_EQ(begin - text.begin(), 8);
  ++begin;
  EXPECT_EQ(Vek::enumFromText(&fruits, 3, begin, text.end()), 7U);
  EXPECT_EQ(begin, text.end());
}

TEST_F(EnumRegistryTest, AnUnknownNameInATextIsRefusedWhereItStands) {
  String const text = "  redder";
  String::IteratorConst begin = text.begin();
  EXPECT_EQ(
      thrown<Vek::TextException>([&] { (void)Vek::enumFromText(&fruits, 3, begin, text.end()); }),
      "Fruits::Colour has no value 'redder' at position 2");
  EXPECT_EQ(begin - text.begin(), 2);
}

}  // namespace
}  // namespace TextTests
