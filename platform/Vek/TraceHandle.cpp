#include "Vek/TraceHandle.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace Vek {

// Every handle and every switch of the process.
class TraceRegistry {
 public:
  static TraceRegistry& instance() {
    // Never destroyed: handles of static statements report here until the very end of the process.
    static TraceRegistry& registry = *new TraceRegistry;
    return registry;
  }

  void handleIs(TraceHandle& handle, bool allLevels) {
    std::scoped_lock const lock(mutex_);
    handles_.push_back(&handle);
    if (allLevels) {
      handle.levels_.store(kAllLevels, std::memory_order_relaxed);
      return;
    }
    for (Switch const& entry : switches_) {
      apply(entry, handle);
    }
  }

  void handleDel(TraceHandle& handle) {
    std::scoped_lock const lock(mutex_);
    std::erase(handles_, &handle);
  }

  void switchIs(std::string_view pattern, TraceLevelMask levels, bool on) {
    std::scoped_lock const lock(mutex_);
    // What earlier switches of the same pattern said about these levels can never count again.
    // Without this an operator who toggles a level all day would grow the list.
    for (Switch& earlier : switches_) {
      if (earlier.pattern == pattern) {
        earlier.levels &= ~levels;
      }
    }
    std::erase_if(switches_, [](Switch const& earlier) { return earlier.levels == 0; });
    switches_.push_back({std::string(pattern), levels, on});
    for (TraceHandle* handle : handles_) {
      apply(switches_.back(), *handle);
    }
  }

  void switchDelAll() {
    std::scoped_lock const lock(mutex_);
    switches_.clear();
    for (TraceHandle* handle : handles_) {
      handle->levels_.store(0, std::memory_order_relaxed);
    }
  }

  std::vector<TraceLevels> levels() {
    std::map<std::string, TraceLevelMask> byName;
    {
      std::scoped_lock const lock(mutex_);
      for (TraceHandle const* handle : handles_) {
        byName[handle->name_] |= handle->levels_.load(std::memory_order_relaxed);
      }
    }
    std::vector<TraceLevels> levels;
    levels.reserve(byName.size());
    for (auto const& [name, mask] : byName) levels.push_back({name, mask});
    return levels;
  }

  TraceSink sinkIs(TraceSink sink) {
    auto next = sink ? std::make_shared<TraceSink>(std::move(sink)) : nullptr;
    {
      std::scoped_lock const lock(mutex_);
      next.swap(sink_);
    }
    return next ? *next : TraceSink();
  }

  // A copy, so that the sink runs without the lock and may itself trace or be replaced meanwhile.
  std::shared_ptr<TraceSink> sink() {
    std::scoped_lock const lock(mutex_);
    return sink_;
  }

 private:
  static constexpr TraceLevelMask kAllLevels = (traceLevelBit(TraceFacility::level9) << 1) - 1;

  struct Switch {
    std::string pattern;
    TraceLevelMask levels;
    bool on;
  };

  static void apply(Switch const& entry, TraceHandle& handle) {
    if (fnmatch(entry.pattern.c_str(), handle.name_.c_str(), 0) != 0) {
      return;
    }
    TraceLevelMask const levels = handle.levels_.load(std::memory_order_relaxed);
    handle.levels_.store(entry.on ? levels | entry.levels : levels & ~entry.levels,
                         std::memory_order_relaxed);
  }

  std::mutex mutex_;
  std::vector<TraceHandle*> handles_;
  std::vector<Switch> switches_;  // in the order in which they were made
  std::shared_ptr<TraceSink> sink_;
};

void traceToStandardError(TraceLine const& line) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  std::array<char, 32> time{};
  std::size_t const length = std::strftime(time.data(), time.size(), "%H:%M:%S", &local);
  std::array<char, 16> fraction{};
  std::snprintf(fraction.data(), fraction.size(), ".%06u ",
                static_cast<unsigned>(now.tv_nsec / 1000) % 1'000'000U);

  // One call, so that lines of several threads do not mix.
  std::string const whole = std::string(time.data(), length) + fraction.data() + line.str() + '\n';
  std::fwrite(whole.data(), 1, whole.size(), stderr);
}

TraceHandle::TraceHandle(char const* name, bool allLevels) : name_(name) {
  TraceRegistry::instance().handleIs(*this, allLevels);
}

TraceHandle::~TraceHandle() { TraceRegistry::instance().handleDel(*this); }

void traceLevelIs(std::string_view pattern, TraceFacility::FacilityLevel level, bool on) {
  TraceRegistry::instance().switchIs(pattern, traceLevelBit(level), on);
}

void traceLevelsUpToIs(std::string_view pattern, TraceFacility::FacilityLevel highest, bool on) {
  TraceRegistry::instance().switchIs(pattern, (traceLevelBit(highest) << 1) - 1, on);
}

void traceLevelDelAll() { TraceRegistry::instance().switchDelAll(); }

std::vector<TraceLevels> traceLevels() { return TraceRegistry::instance().levels(); }

TraceSink traceSinkIs(TraceSink sink) { return TraceRegistry::instance().sinkIs(std::move(sink)); }

std::string TraceLine::str() const {
  std::string whole;
  whole.reserve(handleName.size() + file.size() + function.size() + text.size() + 16);
  whole.append(handleName).append(" ").append(std::to_string(level)).append(" ");
  whole.append(file).append(":").append(std::to_string(line)).append(" ");
  whole.append(function).append("] ").append(text);
  return whole;
}

TraceStream& TraceStream::operator<<(std::string const& text) {
  text_ += text;
  return *this;
}

TraceHelper::TraceHelper(TraceHandle& handle, TraceFacility::FacilityLevel level, char const* file,
                         int line, char const* function)
    : handle_(handle), level_(level), file_(file), line_(line), function_(function) {}

TraceHelper::~TraceHelper() {
  TraceLine const line{handle_.name(), level_, file_, line_, function_, stream_.text_};
  std::shared_ptr<TraceSink> const sink = TraceRegistry::instance().sink();
  if (sink == nullptr) {
    traceToStandardError(line);
    return;
  }
  try {
    (*sink)(line);
  } catch (...) {  // NOLINT(bugprone-empty-catch)
    // A broken sink must not end the process that it watches.
  }
}

}  // namespace Vek
