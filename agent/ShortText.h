// Text that an operator typed, for messages: long texts are cut in the middle.
//
//   fmt::print(stderr, "{}: no such thing\n", shortened(path));
//
// What a path ends with says as much as its beginning, so both ends stay.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <string>
#include <string_view>

namespace OrviaL3Agent {

// A text that is longer than this is cut.
inline constexpr std::size_t kLongestShown = 120;

// The text, or its beginning and its end with "..." between them. A character of several bytes is
// not cut in two.
inline std::string shortened(std::string_view text) {
  if (text.size() <= kLongestShown) return std::string(text);
  auto const isInside = [&text](std::size_t at) {
    return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
  };
  std::size_t head = kLongestShown / 2;
  while (head > 0 && isInside(head)) --head;
  std::size_t tail = text.size() - kLongestShown / 4;
  while (isInside(tail)) ++tail;
  return std::string(text.substr(0, head)) + "..." + std::string(text.substr(tail));
}

}  // namespace OrviaL3Agent
