// Reading values from text: the framework's attribute parser.
//
// A text constructor T(begin, end) and a sequenceToValue(begin, end, T*) read one value from the
// front of a text and leave `begin` behind it, so that several can be read one after the other. A
// type reads its attributes with a TextParser, or its only one with attributeFromText:
//
//   Index(Vek::String::IteratorConst& begin, Vek::String::IteratorConst const& end) {
//     Vek::attributeFromText(begin, end, "value", &value_);      // {'value': 7}
//   }
//   auto const index = Vek::strepToValue<Index>("{ 'value' : 7 }");  // the whole text, no more
//
// White space is free between the parts and around the whole. What does not belong raises
// TextException, a number that is too large RangeException; both name the position, counted in
// characters from where the parser began. After an exception `begin` stands at that position.
//
// Parsers hold no state of the process; the text must live while it is read.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "Vek/Exception.h"
#include "Vek/FixedWidth.h"
#include "Vek/String.h"

namespace Vek {

// A text that is not the text form of what is read.
class VEK_EXPORT TextException : public Exception {
 public:
  TextException(std::string const& text, std::size_t position);
  ~TextException() override;

  // Where, in characters from the beginning of what was read.
  [[nodiscard]] std::size_t position() const { return position_; }

 private:
  std::size_t position_;
};

// The numbers that have a text form of plain decimal digits.
template <class T>
concept TextNumber = std::unsigned_integral<T> && !std::same_as<T, bool> && !std::same_as<T, char>;

class VEK_EXPORT TextParser {
 public:
  // Reads from `begin` on, which follows what was read.
  TextParser(String::IteratorConst& begin, String::IteratorConst const& end)
      : start_(begin), at_(begin), end_(end) {}

  [[nodiscard]] std::size_t position() const { return static_cast<std::size_t>(at_ - start_); }
  void skipBlanks();

  // Each of the following skips white space first.

  // Whether the character comes next; takes it if so.
  bool take(char character);
  // The character, which must come next.
  void expect(char character);
  // The word, when it comes next as a whole word; takes it if so.
  bool takeWord(std::string_view word);
  // A name of letters, digits and underscores that does not begin with a digit.
  std::string name();
  // Decimal digits of at most that value; `type` names what it has to fit in the exception.
  std::uint64_t number(std::uint64_t maximum, std::string_view type);
  // "0x" and hexadecimal digits of at most 64 bits.
  std::uint64_t address();
  // The name of an attribute in single quotes and a colon: 'value':
  void attributeName(std::string_view name);

  void value(TextNumber auto* number) {
    using Number = std::remove_pointer_t<decltype(number)>;
    *number = static_cast<Number>(this->number(std::numeric_limits<Number>::max(),
                                               bitsText(std::numeric_limits<Number>::digits)));
  }
  template <unsigned Bits>
  void value(FixedWidth<Bits>* number) {
    *number = static_cast<typename FixedWidth<Bits>::Storage>(
        this->number(FixedWidth<Bits>::maximum, bitsText(Bits)));
  }
  // 'name': value
  template <class T>
  void attribute(std::string_view name, T* value) {
    attributeName(name);
    this->value(value);
  }

  // Raises TextException: "expected <what> but found <what comes next> at position <position>".
  [[noreturn]] void refuse(std::string_view expected) const;

 private:
  static std::string bitsText(unsigned bits) { return "U" + std::to_string(bits); }
  [[nodiscard]] bool atDigit(unsigned base) const;
  std::uint64_t digits(unsigned base, std::uint64_t maximum, std::string_view type);

  String::IteratorConst const start_;
  String::IteratorConst& at_;
  String::IteratorConst const end_;
};

template <class T>
requires requires(TextParser& parser, T* value) { parser.value(value); }
void sequenceToValue(String::IteratorConst& begin, String::IteratorConst const& end, T* value) {
  TextParser(begin, end).value(value);
}

// A value that has one attribute: {'<name>': <value>}.
template <class T>
void attributeFromText(String::IteratorConst& begin, String::IteratorConst const& end,
                       std::string_view name, T* value) {
  TextParser parser(begin, end);
  parser.expect('{');
  parser.attribute(name, value);
  parser.expect('}');
}

// Raises TextException when more than white space is left of the text, naming where it begins.
VEK_EXPORT void expectEndOfText(String const& text, String::IteratorConst at);

namespace detail {
// Not the standard's strings, which would take the iterators for their characters.
template <class T>
concept TextConstructible =
    std::constructible_from<T, String::IteratorConst&, String::IteratorConst const&> &&
    !std::same_as<T, std::string>;

template <class T>
[[nodiscard]] T valueFromText(String::IteratorConst& begin, String::IteratorConst const& end) {
  if constexpr (TextConstructible<T>) {
    return T(begin, end);
  } else {
    T value{};
    sequenceToValue(begin, end, &value);
    return value;
  }
}
}  // namespace detail

// The value that the whole text stands for: through the type's text constructor, or through its
// sequenceToValue when it has none. A type whose text constructor refuses (Vek/TextRefusal.h) ends
// the process here.
template <class T>
[[nodiscard]] T strepToValue(String const& text) {
  String::IteratorConst begin = text.begin();
  T value = detail::valueFromText<T>(begin, text.end());
  expectEndOfText(text, begin);
  return value;
}
// The same; `value` changes only when the whole text was read.
template <class T>
void strepToValue(String const& text, T* value) {
  *value = strepToValue<T>(text);
}

}  // namespace Vek
