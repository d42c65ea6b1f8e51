// Who records into which ring file, and the process-wide default.
//
//   auto handle = Fendrel::TraceHandle::singleFile(Fendrel::TraceFile::open("agent.ring"));
//   Fendrel::defaultTraceHandleIs(handle.get());
//
// A handle has either one file, for a process that traces from one thread, or one file per thread.
// A statement asks defaultFendrelFile() for the file of the moment; without a default handle that
// is one load and one test.
//
// Threading: of a handle, mtTraceFile() may be called from any thread; everything else, and setting
// the default, from one thread while no other one traces. Ownership: the handle owns its files; the
// default is an uncounted pointer, cleared when the handle ends.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "Fendrel/TraceFile.h"
#include "Vek/Export.h"

namespace Fendrel {

class VEK_EXPORT TraceHandle {
 public:
  // Makes the file of the n-th thread, counted from 0. May throw; that thread then records nothing.
  using FileMaker = std::function<std::unique_ptr<TraceFile>(unsigned n)>;

  static std::unique_ptr<TraceHandle> singleFile(std::unique_ptr<TraceFile> file);
  // A thread's file is made at its first statement. When a thread ends, its file keeps its records
  // and is handed to the next new thread, so there are as many files as there were threads at once.
  static std::unique_ptr<TraceHandle> multiThreaded(FileMaker maker);

  ~TraceHandle();
  TraceHandle(TraceHandle const&) = delete;
  TraceHandle& operator=(TraceHandle const&) = delete;

  [[nodiscard]] bool isMultiThreaded() const { return pool_ != nullptr; }

  // The single file; none for a multi-threaded handle.
  [[nodiscard]] TraceFile* traceFile() const { return file_.get(); }
  // Puts another file in the place of the single one, which ends. Statements describe themselves
  // again.
  void traceFileIs(std::unique_ptr<TraceFile> file);

  // The calling thread's file; none when it could not be made, and for a handle with a single file.
  [[nodiscard]] TraceFile* mtTraceFile();

 private:
  class Pool;
  struct ThreadFiles;

  TraceHandle();

  std::unique_ptr<TraceFile> file_;
  std::shared_ptr<Pool> pool_;  // shared with the threads that have to give their file back
};

namespace detail {
VEK_EXPORT extern std::atomic<TraceHandle*> defaultTraceHandle;
}  // namespace detail

[[nodiscard]] inline TraceHandle* defaultTraceHandle() {
  return detail::defaultTraceHandle.load(std::memory_order_acquire);
}
// The handle must outlive its time as the default; null switches the ring buffer off.
inline void defaultTraceHandleIs(TraceHandle* handle) {
  detail::defaultTraceHandle.store(handle, std::memory_order_release);
}

// The file a statement records into at this moment: none without a default handle, the calling
// thread's file when the default handle is multi-threaded, its single file otherwise.
[[nodiscard]] inline TraceFile* defaultFendrelFile() {
  TraceHandle* const handle = defaultTraceHandle();
  if (handle == nullptr) [[likely]] {
    return nullptr;
  }
  return handle->isMultiThreaded() ? handle->mtTraceFile() : handle->traceFile();
}

}  // namespace Fendrel
