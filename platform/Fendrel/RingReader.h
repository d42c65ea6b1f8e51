// Turns a ring file back into text, oldest record first.
//
//   auto const summary = Fendrel::RingReader::readFile(
//       "agent.ring", [](std::string_view line) { std::cout << line << '\n'; });
//   if (!summary.error.empty()) std::cerr << summary.error << '\n';
//
// A line is "2024-11-21T01:37:00.123456789Z FILE:LINE TEXT". The file may be written at the same
// time, by this or another process: the reader takes a snapshot and leaves out what was overwritten
// meanwhile. A file that is cut off or damaged gives every record that is still whole, and one
// error that says what is wrong first and how much was left out; a damaged record never becomes a
// line. Memory is bounded by the size of the file, whatever its header claims.
//
// Threading: no state; any thread. The sink runs on the calling thread and may throw through the
// reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "Vek/Export.h"

namespace Fendrel {

struct RingSummary {
  std::uint64_t lines = 0;         // handed to the sink
  std::uint64_t dropped = 0;       // records that the writer had to drop
  std::uint64_t damagedBytes = 0;  // of the ring, left out
  std::string error;               // empty when the file is whole
};

class VEK_EXPORT RingReader {
 public:
  using LineSink = std::function<void(std::string_view line)>;

  static RingSummary readFile(std::string const& path, LineSink const& sink);
  // The same for the bytes of a file, as TraceFile::image() gives them.
  static RingSummary readImage(std::span<std::byte const> image, LineSink const& sink);
};

}  // namespace Fendrel
