// The live objects of one world: how many of each type came and went while the world was at work.
// The counters are the process's, so that a world that rests does not notice another one's work.
//
//   LiveTally live;
//   { LiveTally::Work const work(live); ... }
//   live.appendTo(lines);  // "live hop EntryHandle 2", ...
//
// One thread; a tally outlives the work that is counted in it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "World.h"

namespace Model::Engine {

class LiveTally {
 public:
  static constexpr std::size_t typeCount = 15;
  using Counts = std::array<std::int64_t, typeCount>;

  class Work {
   public:
    explicit Work(LiveTally& tally) : tally_(tally), before_(ofProcess()) {}
    ~Work();
    Work(Work const&) = delete;
    Work& operator=(Work const&) = delete;

   private:
    LiveTally& tally_;
    Counts before_;
  };

  void appendTo(Lines& lines) const;

 private:
  static Counts ofProcess();

  Counts counts_{};
};

}  // namespace Model::Engine
