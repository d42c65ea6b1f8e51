// What happened, in order, as lines of text: utility calls, announcements, handler calls, traces.
//
// One thread. Whoever writes into a journal must not outlive it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Vek/TraceHandle.h"

namespace ChainTests {

using Lines = std::vector<std::string>;

class Journal {
 public:
  void add(std::string line) { lines_.push_back(std::move(line)); }
  // The lines so far; the journal starts anew.
  Lines take() { return std::exchange(lines_, {}); }

 private:
  Lines lines_;
};

// The text traces of all tables up to level 9, as "<level> <text>", into the journal while it
// lives.
class ChainTraces {
 public:
  explicit ChainTraces(Journal& journal)
      : previous_(Vek::traceSinkIs([&journal](Vek::TraceLine const& line) {
          journal.add(std::to_string(line.level) + " " + std::string(line.text));
        })) {
    Vek::traceLevelDelAll();
    Vek::traceLevelsUpToIs("OrviaL3Unicast*", Vek::TraceFacility::level9, true);
  }
  ~ChainTraces() {
    Vek::traceLevelDelAll();
    Vek::traceSinkIs(std::move(previous_));
  }
  ChainTraces(ChainTraces const&) = delete;
  ChainTraces& operator=(ChainTraces const&) = delete;

 private:
  Vek::TraceSink previous_;
};

}  // namespace ChainTests
