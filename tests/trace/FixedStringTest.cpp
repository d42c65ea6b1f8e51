#include <gtest/gtest.h>

#include <string_view>
#include <type_traits>

#include "OrviaL3Unicast/plumbing/FixedString.h"

namespace OrviaL3Unicast::plumbing {
namespace {

template <FixedString Text>
struct Named {
  static constexpr char const* text() { return Text.c_str(); }
};

template <FixedString... Pieces>
constexpr auto joined() {
  return concat(Pieces...);
}

TEST(FixedStringTest, CarriesItsSizeWithoutTheTerminatingZero) {
  static_assert(FixedString("four").size() == 4);
  static_assert(FixedString("").empty());
  static_assert(!FixedString("x").empty());
  EXPECT_EQ(FixedString("four").view(), std::string_view("four"));
  EXPECT_STREQ(FixedString("four").c_str(), "four");
}

TEST(FixedStringTest, IsATemplateArgumentWithStaticStorage) {
  EXPECT_STREQ(Named<"getEntry">::text(), "getEntry");
  EXPECT_EQ(Named<"getEntry">::text(), Named<"getEntry">::text());
}

TEST(FixedStringTest, EqualTextsGiveEqualTypes) {
  static_assert(std::is_same_v<Named<"a">, Named<"a">>);
  static_assert(!std::is_same_v<Named<"a">, Named<"b">>);
  static_assert(!std::is_same_v<Named<"a">, Named<"a ">>);
  EXPECT_STRNE(Named<"a">::text(), Named<"b">::text());
}

TEST(FixedStringTest, ConcatenatesAnyNumberOfPieces) {
  static_assert(concat().empty());
  static_assert(concat(FixedString("one")) == FixedString("one"));
  constexpr auto whole = joined<"void ", "", "Table", "::sync()">();
  EXPECT_STREQ(whole.c_str(), "void Table::sync()");
  EXPECT_EQ(whole.size(), std::string_view("void Table::sync()").size());
}

TEST(FixedStringTest, AddsTextsOnBothSides) {
  constexpr auto whole = "a" + FixedString("b") + "c" + FixedString("d");
  EXPECT_STREQ(whole.c_str(), "abcd");
}

TEST(FixedStringTest, ComparesByContent) {
  static_assert(FixedString("ab") == FixedString("a") + "b");
  static_assert(!(FixedString("ab") == FixedString("ac")));
  static_assert(!(FixedString("ab") == FixedString("abc")));
  EXPECT_TRUE(FixedString("ab") == FixedString("ab"));
}

}  // namespace
}  // namespace OrviaL3Unicast::plumbing
