#include "Vek/TextParser.h"

#include <algorithm>

namespace Vek {
namespace {

// Not those of <cctype>, which follow the locale.
constexpr bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
constexpr bool isDecimal(char c) { return c >= '0' && c <= '9'; }
constexpr bool isNamePart(char c) {
  return isDecimal(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
constexpr unsigned notADigit = 99;
constexpr unsigned digitValue(char c) {
  if (isDecimal(c)) return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
  return notADigit;
}

std::string atPosition(std::size_t position) { return " at position " + std::to_string(position); }

// One character as an operator can read it, whatever it is.
std::string shown(char c) {
  if (c >= ' ' && c <= '~') return std::string("'") + c + "'";
  constexpr char hex[] = "0123456789abcdef";
  auto const byte = static_cast<unsigned char>(c);
  return std::string("byte 0x") + hex[byte >> 4U] + hex[byte & 15U];
}

}  // namespace

TextException::TextException(std::string const& text, std::size_t position)
    : Exception(text + atPosition(position)), position_(position) {}
TextException::~TextException() = default;

void TextParser::refuse(std::string_view expected) const {
  throw TextException("expected " + std::string(expected) + " but found " +
                          (at_ == end_ ? std::string("the end of the text") : shown(*at_)),
                      position());
}

void TextParser::skipBlanks() { at_ = std::find_if_not(at_, end_, isBlank); }

bool TextParser::take(char character) {
  skipBlanks();
  if (at_ == end_ || *at_ != character) return false;
  ++at_;
  return true;
}

void TextParser::expect(char character) {
  if (!take(character)) refuse(shown(character));
}

bool TextParser::takeWord(std::string_view word) {
  skipBlanks();
  auto const wordEnd = std::find_if_not(at_, end_, isNamePart);
  if (!std::equal(at_, wordEnd, word.begin(), word.end())) return false;
  at_ = wordEnd;
  return true;
}

std::string TextParser::name() {
  skipBlanks();
  if (at_ == end_ || isDecimal(*at_) || !isNamePart(*at_)) refuse("a name");
  auto const begin = at_;
  at_ = std::find_if_not(at_, end_, isNamePart);
  return std::string(begin, at_);
}

bool TextParser::atDigit(unsigned base) const { return at_ != end_ && digitValue(*at_) < base; }

std::uint64_t TextParser::digits(unsigned base, std::uint64_t maximum, std::string_view type) {
  if (!atDigit(base)) refuse(base == 16 ? "a hexadecimal digit" : "a number");
  auto const begin = at_;
  std::uint64_t result = 0;
  for (; atDigit(base); ++at_) {
    unsigned const digit = digitValue(*at_);
    if (digit > maximum || result > (maximum - digit) / base) {
      constexpr std::ptrdiff_t shownDigits = 40;
      auto const last = std::find_if_not(at_, end_, [&](char c) { return digitValue(c) < base; });
      bool const shortened = last - begin > shownDigits;
      std::string const number(begin, shortened ? begin + shownDigits : last);
      at_ = begin;
      throw RangeException("value " + number + (shortened ? "..." : "") + " does not fit " +
                           std::string(type) + atPosition(position()));
    }
    result = result * base + digit;
  }
  return result;
}

std::uint64_t TextParser::number(std::uint64_t maximum, std::string_view type) {
  skipBlanks();
  return digits(10, maximum, type);
}

std::uint64_t TextParser::address() {
  skipBlanks();
  if (at_ == end_ || *at_ != '0') refuse("an address");
  ++at_;
  if (at_ == end_ || *at_ != 'x') refuse("'x'");
  ++at_;
  return digits(16, std::numeric_limits<std::uint64_t>::max(), "an address");
}

void TextParser::attributeName(std::string_view name) {
  std::string const quoted = "'" + std::string(name) + "'";
  skipBlanks();
  auto const quotedSize = static_cast<std::ptrdiff_t>(quoted.size());
  if (end_ - at_ < quotedSize || !std::equal(quoted.begin(), quoted.end(), at_)) {
    refuse("attribute " + quoted);
  }
  at_ += quotedSize;
  expect(':');
}

void expectEndOfText(String const& text, String::IteratorConst at) {
  at = std::find_if_not(at, text.end(), isBlank);
  if (at != text.end()) {
    throw TextException("text left over", static_cast<std::size_t>(at - text.begin()));
  }
}

}  // namespace Vek
