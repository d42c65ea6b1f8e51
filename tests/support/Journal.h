// What happened, in order, as lines of text: announcements, utility calls, handler calls, traces.
//
//   Journal journal;
//   TraceRecorder traces(journal);  // from here on: "trace3 <text>", "trace8 <text>"
//   ...
//   EXPECT_EQ(journal.take(), (Lines{"entry key1", "trace3 entryRemove: No entry found: "}));
//
// One thread. Observers and utilities refer to a journal, which outlives them.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Fendrel/RingReader.h"
#include "Fendrel/TraceFile.h"
#include "Fendrel/TraceHandle.h"
#include "Vek/TraceHandle.h"

namespace TableTests {

using Lines = std::vector<std::string>;

class Journal {
 public:
  void add(std::string line) { lines_.push_back(std::move(line)); }
  [[nodiscard]] Lines const& lines() const { return lines_; }
  // The lines so far; the journal starts anew.
  Lines take() { return std::exchange(lines_, {}); }
  void clear() { lines_.clear(); }

 private:
  Lines lines_;
};

// The lines that start with the text, in their order.
inline Lines linesWith(Lines const& lines, std::string_view start) {
  Lines result;
  for (std::string const& line : lines) {
    if (line.starts_with(start)) result.push_back(line);
  }
  return result;
}

// Records the text trace in a journal and the ring trace in a file in memory while it lives; its
// end expects that both sides told the same, statement by statement.
class TraceRecorder {
 public:
  explicit TraceRecorder(Journal& journal)
      : previousSink_(Vek::traceSinkIs([this, &journal](Vek::TraceLine const& line) {
          journal.add("trace" + std::to_string(line.level) + " " + std::string(line.text));
          texts_.emplace_back(line.text);
          places_.push_back(line.str());
        })),
        ring_(Fendrel::TraceHandle::singleFile(Fendrel::TraceFile::inMemory({}))) {
    Vek::traceLevelDelAll();
    Vek::traceLevelsUpToIs("*", Vek::TraceFacility::level9, true);
    Fendrel::defaultTraceHandleIs(ring_.get());
  }
  ~TraceRecorder() {
    Fendrel::defaultTraceHandleIs(nullptr);
    Vek::traceLevelDelAll();
    Vek::traceSinkIs(std::move(previousSink_));
    EXPECT_EQ(ringTexts(), texts_) << "the ring file and the text trace differ";
  }
  TraceRecorder(TraceRecorder const&) = delete;
  TraceRecorder& operator=(TraceRecorder const&) = delete;

  // The messages in the ring file, read back.
  [[nodiscard]] Lines ringTexts() const {
    Lines result;
    Fendrel::RingReader::readImage(ring_->traceFile()->image(), [&result](std::string_view line) {
      std::size_t const time = line.find(' ');
      result.emplace_back(line.substr(line.find(' ', time + 1) + 1));
    });
    return result;
  }
  // The text lines with handle, level, unit and function.
  [[nodiscard]] Lines const& places() const { return places_; }

 private:
  Vek::TraceSink previousSink_;
  std::unique_ptr<Fendrel::TraceHandle> ring_;
  Lines texts_;
  Lines places_;
};

}  // namespace TableTests
