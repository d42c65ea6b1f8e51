// The mode of a table's handles as text, and in the enum registry.
#include <cstdint>
#include <sstream>

#include "TextTables.h"
#include "Vek/EnumRegistry.h"
#include "Vek/TextParser.h"

namespace TextTests {
namespace {

using Vek::String;

template <class Names>
using HandleOf = typename Names::Table::EntryHandle;

template <class Names>
class ModeTextTest : public testing::Test {
 protected:
  static inline std::string const enumName = std::string(Names::table) + "::EntryHandle::Mode";

  static std::string streamed(typename HandleOf<Names>::Mode mode) {
    std::ostringstream out;
    out << mode;
    return out.str();
  }
};
TYPED_TEST_SUITE(ModeTextTest, AllTables, TableNames);

TYPED_TEST(ModeTextTest, TheRegistryHasItUnderOrdinalThreeOfTheTablesModule) {
  Vek::EnumType const* const type = Vek::enumType(TypeParam::Traits::module(), 3);
  ASSERT_NE(type, nullptr);
  EXPECT_STREQ(type->module->name, TypeParam::module);
  EXPECT_EQ(type->name, this->enumName);
  ASSERT_EQ(type->values.size(), 2U);
  EXPECT_EQ(type->values[0].number, 0U);
  EXPECT_STREQ(type->values[0].name, "add");
  EXPECT_EQ(type->values[1].number, 1U);
  EXPECT_STREQ(type->values[1].name, "del");
}

TYPED_TEST(ModeTextTest, EveryFunctionGivesTheNameOfTheValue) {
  using Handle = HandleOf<TypeParam>;
  EXPECT_EQ(valueToStrep(Handle::add), "add");
  EXPECT_EQ(valueToStrep(Handle::del), "del");
  EXPECT_EQ(stringValue(Handle::add), "add");
  EXPECT_EQ(stringValue(Handle::del), "del");
  EXPECT_EQ(this->streamed(Handle::add), "add");
  EXPECT_EQ(this->streamed(Handle::del), "del");
}

TYPED_TEST(ModeTextTest, AValueIsFoundByItsNumberAndByItsName) {
  using Handle = HandleOf<TypeParam>;
  EXPECT_EQ(Handle::ModeInstance(0), Handle::add);
  EXPECT_EQ(Handle::ModeInstance(1), Handle::del);
  EXPECT_EQ(Handle::ModeInstance("add"), Handle::add);
  EXPECT_EQ(Handle::ModeInstance(String("del")), Handle::del);
}

TYPED_TEST(ModeTextTest, WhatItPrintsItReads) {
  using Handle = HandleOf<TypeParam>;
  using Mode = typename Handle::Mode;
  for (Mode const mode : {Handle::add, Handle::del}) {
    EXPECT_EQ(Vek::strepToValue<Mode>(valueToStrep(mode)), mode);
    EXPECT_EQ(Handle::ModeInstance(stringValue(mode)), mode);
  }
}

TYPED_TEST(ModeTextTest, ReadsFromTheFrontOfAText) {
  using Handle = HandleOf<TypeParam>;
  String const text = " del add";
  String::IteratorConst begin = text.begin();
  typename Handle::Mode mode = Handle::add;
  sequenceToValue(begin, text.end(), &mode);
  EXPECT_EQ(mode, Handle::del);
  EXPECT_EQ(begin - text.begin(), 4);
  sequenceToValue(begin, text.end(), &mode);
  EXPECT_EQ(mode, Handle::add);
  EXPECT_EQ(begin, text.end());
}

TYPED_TEST(ModeTextTest, UnknownNumbersAndNamesAreRefusedByEnumAndValue) {
  using Handle = HandleOf<TypeParam>;
  using Mode = typename Handle::Mode;
  using Vek::Exception;
  EXPECT_EQ(thrown<Exception>([] { (void)Handle::ModeInstance(2); }),
            this->enumName + " has no value 2");
  EXPECT_EQ(thrown<Exception>([] { (void)Handle::ModeInstance(256); }),
            this->enumName + " has no value 256")
      << "not cut to the 8 bits of a mode";
  EXPECT_EQ(thrown<Exception>([] { (void)Handle::ModeInstance("Add"); }),
            this->enumName + " has no value 'Add'");
  EXPECT_EQ(thrown<Exception>([] { (void)Handle::ModeInstance(""); }),
            this->enumName + " has no value ''");
  EXPECT_EQ(thrown<Exception>([] { (void)valueToStrep(static_cast<Mode>(7)); }),
            this->enumName + " has no value 7");
  EXPECT_EQ(thrown<Exception>([] { (void)stringValue(static_cast<Mode>(7)); }),
            this->enumName + " has no value 7");
  EXPECT_EQ(thrown<Exception>([] { (void)TestFixture::streamed(static_cast<Mode>(7)); }),
            this->enumName + " has no value 7");
}

TYPED_TEST(ModeTextTest, ARefusedTextLeavesTheModeAsItWas) {
  using Handle = HandleOf<TypeParam>;
  using Mode = typename Handle::Mode;
  Mode mode = Handle::del;
  String const text = " adder";
  String::IteratorConst begin = text.begin();
  EXPECT_EQ(thrown<Vek::TextException>([&] { sequenceToValue(begin, text.end(), &mode); }),
            this->enumName + " has no value 'adder' at position 1");
  EXPECT_EQ(mode, Handle::del);
  EXPECT_EQ(thrown<Vek::TextException>([&] { Vek::strepToValue(String("1"), &mode); }),
            "expected a name but found '1' at position 0");
  EXPECT_EQ(thrown<Vek::TextException>([&] { Vek::strepToValue(String("add del"), &mode); }),
            "text left over at position 4");
  EXPECT_EQ(mode, Handle::del);
}

TYPED_TEST(ModeTextTest, NoOtherOrdinalOfTheModuleIsTaken) {
  for (std::uint16_t ordinal = 0; ordinal < 16; ++ordinal) {
    EXPECT_EQ(Vek::enumType(TypeParam::Traits::module(), ordinal) != nullptr, ordinal == 3);
  }
}

// The types of a module are numbered on their own: whatever type has number 3 there, the enum has
// it too.
template <class Names>
std::string typeOfNumber3() {
  return Vek::VekType{Names::Traits::module(), 3}.name();
}

TEST(ModeOrdinalTest, TheEnumSharesItsNumberWithATypeThatIsNoEnum) {
  EXPECT_EQ(typeOfNumber3<EcmpNames>(), "OrviaL3Unicast::EcmpIngL3NextHop1Table::UnresolvedEntry");
  EXPECT_EQ(typeOfNumber3<GroupNames>(), "OrviaL3Unicast::L3EcmpGroupTable::UnresolvedEntry");
  EXPECT_EQ(typeOfNumber3<MemberNames>(), "OrviaL3Unicast::L3EcmpMemberTable::EntryBlock");
}

}  // namespace
}  // namespace TextTests
