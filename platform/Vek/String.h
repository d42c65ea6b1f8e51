// The framework's text: a std::string under the framework's name, with the iterator type that text
// constructors take. Converts both ways without ceremony.
//
// A text on a stream is laid out as the stream says. The text form of a value is not: it is what
// others read, so a value's stream output goes through writeText().
#pragma once

#include <compare>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

namespace Vek {

class String {
 public:
  using IteratorConst = std::string::const_iterator;

  String() = default;
  String(char const* text) : text_(text) {}             // NOLINT(google-explicit-constructor)
  String(std::string text) : text_(std::move(text)) {}  // NOLINT(google-explicit-constructor)
  String(std::string_view text) : text_(text) {}        // NOLINT(google-explicit-constructor)

  operator std::string const&() const { return text_; }  // NOLINT(google-explicit-constructor)
  [[nodiscard]] std::string const& str() const { return text_; }
  [[nodiscard]] char const* c_str() const { return text_.c_str(); }
  [[nodiscard]] std::size_t size() const { return text_.size(); }
  [[nodiscard]] bool empty() const { return text_.empty(); }
  [[nodiscard]] IteratorConst begin() const { return text_.begin(); }
  [[nodiscard]] IteratorConst end() const { return text_.end(); }

  String& operator+=(String const& other) {
    text_ += other.text_;
    return *this;
  }
  friend bool operator==(String const&, String const&) = default;
  friend auto operator<=>(String const&, String const&) = default;
  friend std::ostream& operator<<(std::ostream& out, String const& text) {
    return out << text.text_;
  }

 private:
  std::string text_;
};

// Writes the text to the last character, whatever width, fill, base or locale the stream is set to.
// A width that is set is used up, as by any output.
inline std::ostream& writeText(std::ostream& out, std::string_view text) {
  out.width(0);
  return out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace Vek
