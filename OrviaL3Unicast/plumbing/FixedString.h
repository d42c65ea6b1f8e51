// A text known at compile time, usable as a template argument.
//
//   template <FixedString Name>
//   struct Named {
//     static constexpr char const* name() { return Name.c_str(); }
//   };
//   static_assert(concat(FixedString("a"), FixedString("b")) == FixedString("ab"));
//
// The text carries its size in its type. A FixedString that is a template argument has static
// storage, so its c_str() and view() stay valid for the whole process. All members are constexpr;
// there is nothing to synchronise and nothing to own.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace OrviaL3Unicast::plumbing {

// `Size` counts the characters without the terminating zero.
template <std::size_t Size>
struct FixedString {
  // Public, because a class used as a template argument must have no private members. Always zero
  // terminated.
  char characters[Size + 1] = {};

  constexpr FixedString() = default;
  // Implicit on purpose: a string literal is written where a FixedString is expected.
  constexpr FixedString(char const (&literal)[Size + 1]) {  // NOLINT(google-explicit-constructor)
    std::copy_n(literal, Size, characters);
  }

  [[nodiscard]] static constexpr std::size_t size() { return Size; }
  [[nodiscard]] static constexpr bool empty() { return Size == 0; }
  [[nodiscard]] constexpr char const* c_str() const { return characters; }
  [[nodiscard]] constexpr std::string_view view() const { return {characters, Size}; }
  // Implicit on purpose: it is a text like any other.
  // NOLINTNEXTLINE(google-explicit-constructor)
  constexpr operator std::string_view() const { return view(); }
};

template <std::size_t SizeWithZero>
FixedString(char const (&)[SizeWithZero]) -> FixedString<SizeWithZero - 1>;

template <std::size_t Left, std::size_t Right>
constexpr bool operator==(FixedString<Left> const& left, FixedString<Right> const& right) {
  return left.view() == right.view();
}

// All pieces, one after the other.
template <std::size_t... Sizes>
[[nodiscard]] constexpr FixedString<(Sizes + ... + 0)> concat(FixedString<Sizes> const&... pieces) {
  FixedString<(Sizes + ... + 0)> whole;
  [[maybe_unused]] char* end = whole.characters;
  ((end = std::copy_n(pieces.characters, Sizes, end)), ...);
  return whole;
}

template <std::size_t Left, std::size_t Right>
[[nodiscard]] constexpr FixedString<Left + Right> operator+(FixedString<Left> const& left,
                                                            FixedString<Right> const& right) {
  return concat(left, right);
}

template <std::size_t Left, std::size_t RightWithZero>
[[nodiscard]] constexpr auto operator+(FixedString<Left> const& left,
                                       char const (&right)[RightWithZero]) {
  return concat(left, FixedString(right));
}

template <std::size_t LeftWithZero, std::size_t Right>
[[nodiscard]] constexpr auto operator+(char const (&left)[LeftWithZero],
                                       FixedString<Right> const& right) {
  return concat(FixedString(left), right);
}

}  // namespace OrviaL3Unicast::plumbing
