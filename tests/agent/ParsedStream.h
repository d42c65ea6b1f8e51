// What the input side makes of a whole stream: all its messages, the counters, and the error that
// ended it, if any. Comparable, so that two ways of reading the same bytes can be held against each
// other.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/fpm/FrameReader.h"
#include "agent/fpm/MessageReader.h"
#include "agent/fpm/StreamError.h"
#include "tests/agent/StreamBuilder.h"

namespace OrviaL3Agent::Testing {

struct ParsedStream {
  struct Error {
    std::uint64_t offset;
    std::string text;
    friend bool operator==(Error const&, Error const&) = default;
  };
  std::uint64_t frames = 0;
  std::vector<Fpm::Message> messages;
  Fpm::SkipCounts skips;
  std::optional<Error> error;

  friend bool operator==(ParsedStream const&, ParsedStream const&) = default;
};

// Reads the pieces one after the other, each as far as it goes.
inline ParsedStream parse(std::vector<std::string_view> const& pieces) {
  ParsedStream parsed;
  Fpm::FrameReader reader;
  try {
    for (std::string_view const piece : pieces) {
      // A copy of exactly its size: a read beyond it is one that a sanitizer sees.
      std::vector<char> const exact(piece.begin(), piece.end());
      reader.feed(std::as_bytes(std::span(exact)));
      while (auto const frame = reader.next()) {
        ++parsed.frames;
        Fpm::MessageReader messages(*frame, parsed.skips);
        while (auto message = messages.next()) parsed.messages.push_back(*message);
      }
    }
    reader.finish();
  } catch (Fpm::StreamError const& error) {
    parsed.error = {error.offset(), error.what()};
  }
  return parsed;
}

inline ParsedStream parse(Bytes const& bytes) {
  return parse(std::vector<std::string_view>{bytes});
}

}  // namespace OrviaL3Agent::Testing
