// Unsigned integers of a given number of bits.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <type_traits>

#include "Vek/FixedWidth.h"

namespace {

template <class Number, class Value>
std::string refusalOf(Value value) {
  try {
    Number const number = value;
    return "took " + std::to_string(number.value());
  } catch (Vek::RangeException const& exception) {
    return exception.what();
  }
}

template <class Width>
class FixedWidthTest : public testing::Test {};
template <unsigned Bits>
using Width = std::integral_constant<unsigned, Bits>;
using Widths = testing::Types<Width<1>, Width<2>, Width<3>, Width<4>, Width<5>, Width<6>, Width<7>,
                              Width<8>, Width<9>, Width<10>, Width<11>, Width<12>, Width<13>,
                              Width<14>, Width<15>, Width<16>>;
TYPED_TEST_SUITE(FixedWidthTest, Widths);

TYPED_TEST(FixedWidthTest, TakesEveryValueUpToItsLimit) {
  using Number = Vek::FixedWidth<TypeParam::value>;
  unsigned const limit = (1U << TypeParam::value) - 1;
  EXPECT_EQ(Number::maximum, limit);
  EXPECT_EQ(Number::bits, TypeParam::value);
  EXPECT_EQ(sizeof(Number), TypeParam::value <= 8 ? 1U : 2U);
  EXPECT_EQ(Number().value(), 0U);
  for (unsigned value = 0; value <= limit; ++value) {
    Number const number = value;
    ASSERT_EQ(number.value(), value);
    ASSERT_EQ(Number(static_cast<std::int64_t>(value)), number);
    ASSERT_EQ(Vek::valueToStrep(number), std::to_string(value));
  }
}

TYPED_TEST(FixedWidthTest, RefusesWhatDoesNotFitAndSaysSo) {
  using Number = Vek::FixedWidth<TypeParam::value>;
  std::string const type = " does not fit U" + std::to_string(TypeParam::value);
  unsigned const limit = Number::maximum;
  EXPECT_EQ(refusalOf<Number>(limit + 1), "value " + std::to_string(limit + 1) + type);
  EXPECT_EQ(refusalOf<Number>(-1), "value -1" + type);
  EXPECT_EQ(refusalOf<Number>(std::int8_t{-128}), "value -128" + type);
  EXPECT_EQ(refusalOf<Number>(std::numeric_limits<std::int64_t>::min()),
            "value -9223372036854775808" + type);
  EXPECT_EQ(refusalOf<Number>(std::numeric_limits<std::uint64_t>::max()),
            "value 18446744073709551615" + type);
  EXPECT_EQ(refusalOf<Number>(std::uint64_t{1} << 32), "value 4294967296" + type);
}

TEST(FixedWidthNamesTest, NamesAreTheWidthsInUse) {
  EXPECT_EQ(Vek::U1::maximum, 1U);
  EXPECT_EQ(Vek::U2::maximum, 3U);
  EXPECT_EQ(Vek::U4::maximum, 15U);
  EXPECT_EQ(Vek::U5::maximum, 31U);
  EXPECT_EQ(Vek::U10::maximum, 1023U);
  EXPECT_EQ(Vek::U14::maximum, 16383U);
  EXPECT_EQ(std::numeric_limits<Vek::U16>::max(), 65535U);
}

TEST(FixedWidthNamesTest, ARefusedAssignmentLeavesTheOldValue) {
  Vek::U4 number = 7;
  EXPECT_THROW(number = 16, Vek::RangeException);
  EXPECT_EQ(number, Vek::U4(7));
}

TEST(FixedWidthNamesTest, ComparesAndPrintsAsANumber) {
  EXPECT_LT(Vek::U14(9), Vek::U14(10));
  EXPECT_NE(Vek::U1(0), Vek::U1(1));
  std::ostringstream out;
  out << Vek::U5(7) << ' ' << Vek::U10(1000) << ' ' << Vek::U14();  // a byte is no character
  EXPECT_EQ(out.str(), "7 1000 0");
}

}  // namespace
