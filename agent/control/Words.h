// A request's arguments.
//
//   requireCount(arguments, 1, 1, "show block N");
//   std::uint32_t const number = numberOf(arguments[0], "a group's number");
//
// All throw RequestError.
//
// Threading: any. Ownership: plain values.
#pragma once

#include <fmt/format.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "agent/ShortText.h"
#include "agent/control/Job.h"

namespace OrviaL3Agent::Control {

// `usage`: the whole request, "show block N".
inline void requireCount(Arguments const& arguments, std::size_t least, std::size_t most,
                         std::string_view usage) {
  if (arguments.size() < least) throw RequestError(fmt::format("too little is said: {}", usage));
  if (arguments.size() > most) {
    throw RequestError(fmt::format("\"{}\" is too much: {}", shortened(arguments[most]), usage));
  }
}

inline std::uint32_t numberOf(std::string const& text, std::string_view what) {
  std::uint32_t number = 0;
  char const* const end = text.data() + text.size();
  auto const [parsed, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || parsed != end) {
    throw RequestError(fmt::format("\"{}\" is not {}", shortened(text), what));
  }
  return number;
}

}  // namespace OrviaL3Agent::Control
