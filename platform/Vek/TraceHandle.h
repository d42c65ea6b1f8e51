// The text trace: lines of progress for a person, filtered per handle and level.
//
//   static Vek::TraceHandle& handle = *new Vek::TraceHandle("MyModule", false);
//   if (handle.levelEnabled(Vek::TraceFacility::level3)) {
//     Vek::TraceHelper helper(handle, Vek::TraceFacility::level3, "MyModule.cpp", 12, "doIt");
//     helper.stream() << text;
//   }  // the helper's end is the line's end
//
//   Vek::traceLevelsUpToIs("MyModule*", Vek::TraceFacility::level3, true);  // an operator's switch
//
// A handle is a name with ten levels, each on or off by itself. Levels are switched by name or by a
// shell pattern ('*', '?', '[...]'); a switch also holds for handles that are created later, so an
// operator may switch on a module that is not loaded yet. Later switches win over earlier ones.
//
// Finished lines go to one process-wide sink, standard error unless replaced. A sink that wants
// both hands what it gets to the sink before it, or to traceToStandardError() where that was empty.
//
// Threading: everything here may be used from any thread. The level test takes no lock; a level
// that is switched by another thread is seen a little later. A sink runs on the thread that traces,
// with no lock held. Ownership: a handle belongs to its creator and must outlive the statements
// that use it; handles of static statements are therefore created once and never destroyed.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Vek/Export.h"

namespace Vek {

class TraceFacility {
 public:
  enum FacilityLevel : std::uint8_t {
    level0,
    level1,
    level2,
    level3,
    level4,
    level5,
    level6,
    level7,
    level8,
    level9,
  };
};

// Which levels are on: bit n stands for level n.
using TraceLevelMask = std::uint32_t;

[[nodiscard]] constexpr TraceLevelMask traceLevelBit(TraceFacility::FacilityLevel level) {
  return TraceLevelMask{1} << level;
}

class VEK_EXPORT TraceHandle {
 public:
  // `name` is copied. With `allLevels` the handle starts with every level on; otherwise with what
  // the switches so far say about its name. Several handles may share a name; a switch reaches all
  // of them.
  TraceHandle(char const* name, bool allLevels);
  ~TraceHandle();
  TraceHandle(TraceHandle const&) = delete;
  TraceHandle& operator=(TraceHandle const&) = delete;

  [[nodiscard]] std::string const& name() const { return name_; }

  // One load and one test: this is what a statement costs while its level is off.
  [[nodiscard]] bool levelEnabled(TraceFacility::FacilityLevel level) const {
    return (levels_.load(std::memory_order_relaxed) & traceLevelBit(level)) != 0;
  }

  // The word behind levelEnabled(), for a statement that keeps its own pointer to it.
  [[nodiscard]] std::atomic<TraceLevelMask> const& levels() const { return levels_; }

 private:
  friend class TraceRegistry;

  std::atomic<TraceLevelMask> levels_{0};
  std::string name_;
};

// Switches one level of every handle whose name matches `pattern`, present or future.
VEK_EXPORT void traceLevelIs(std::string_view pattern, TraceFacility::FacilityLevel level, bool on);
// Switches levels 0 to `highest` together; the levels above it stay as they are.
VEK_EXPORT void traceLevelsUpToIs(std::string_view pattern, TraceFacility::FacilityLevel highest,
                                  bool on);
// Forgets every switch: all levels of all handles are off, also of those created with `allLevels`.
VEK_EXPORT void traceLevelDelAll();

// The handles of the moment by name, each name once with the levels that are on for any of its
// handles.
struct TraceLevels {
  std::string name;
  TraceLevelMask levels = 0;
};
VEK_EXPORT std::vector<TraceLevels> traceLevels();

// One finished line. The views are valid during the call of the sink only.
struct TraceLine {
  std::string_view handleName;
  TraceFacility::FacilityLevel level;
  std::string_view file;
  int line;
  std::string_view function;
  std::string_view text;

  // "HANDLE LEVEL FILE:LINE FUNCTION] TEXT", without a line end.
  [[nodiscard]] VEK_EXPORT std::string str() const;
};

// Must not throw: a line whose sink throws is lost.
using TraceSink = std::function<void(TraceLine const&)>;

// Replaces the sink and returns the one that was there, so that a test can put it back. An empty
// sink means standard error, where a line is preceded by the time of day.
VEK_EXPORT TraceSink traceSinkIs(TraceSink sink);
// What happens to lines without a sink.
VEK_EXPORT void traceToStandardError(TraceLine const& line);

// The text of a line under construction.
class VEK_EXPORT TraceStream {
 public:
  TraceStream& operator<<(std::string const& text);

 private:
  friend class TraceHelper;
  std::string text_;
};

// One line: opened by the constructor, ended and handed to the sink by the destructor. Does not
// test the level; the statement has done so. `file` and `function` must stay valid until then.
class VEK_EXPORT TraceHelper {
 public:
  TraceHelper(TraceHandle& handle, TraceFacility::FacilityLevel level, char const* file, int line,
              char const* function);
  ~TraceHelper();
  TraceHelper(TraceHelper const&) = delete;
  TraceHelper& operator=(TraceHelper const&) = delete;

  [[nodiscard]] TraceStream& stream() { return stream_; }

 private:
  TraceHandle& handle_;
  TraceFacility::FacilityLevel level_;
  char const* file_;
  int line_;
  char const* function_;
  TraceStream stream_;
};

}  // namespace Vek
