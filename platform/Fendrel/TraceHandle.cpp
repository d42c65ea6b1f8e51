#include "Fendrel/TraceHandle.h"

#include <exception>
#include <mutex>
#include <utility>
#include <vector>

namespace Fendrel {

namespace detail {
constinit std::atomic<TraceHandle*> defaultTraceHandle{nullptr};
}  // namespace detail

// The files of a multi-threaded handle, in use and free.
class TraceHandle::Pool {
 public:
  explicit Pool(FileMaker maker) : maker_(std::move(maker)) {}

  // None when the file cannot be made.
  TraceFile* take() {
    std::scoped_lock const lock(mutex_);
    if (!free_.empty()) {
      TraceFile* const file = free_.back();
      free_.pop_back();
      return file;
    }
    try {
      if (std::unique_ptr<TraceFile> file = maker_(static_cast<unsigned>(files_.size()))) {
        files_.push_back(std::move(file));
        return files_.back().get();
      }
    } catch (std::exception const&) {  // NOLINT(bugprone-empty-catch)
      // A statement is no place to report that the disk is full: the thread goes on without a ring.
    }
    return nullptr;
  }

  void giveBack(TraceFile* file) {
    std::scoped_lock const lock(mutex_);
    free_.push_back(file);
  }

 private:
  std::mutex mutex_;
  FileMaker maker_;
  std::vector<std::unique_ptr<TraceFile>> files_;
  std::vector<TraceFile*> free_;
};

// The files of one thread: one per handle that the thread has traced for.
struct TraceHandle::ThreadFiles {
  struct Use {
    Pool const* key;
    // Weak, so that the files end with their handle; its control block also keeps `key` from being
    // the address of a later pool.
    std::weak_ptr<Pool> pool;
    TraceFile* file;
  };
  std::vector<Use> uses;

  // Needs no destruction itself, so it can still be read after the rest of the thread's variables
  // have ended: the main thread's end before the process's static destructors run, and those may
  // trace.
  static thread_local bool ended;

  ~ThreadFiles() {
    ended = true;
    for (Use const& use : uses) {
      std::shared_ptr<Pool> const pool = use.pool.lock();
      if (pool != nullptr && use.file != nullptr) {
        pool->giveBack(use.file);
      }
    }
  }
};

constinit thread_local bool TraceHandle::ThreadFiles::ended = false;

TraceHandle::TraceHandle() = default;

std::unique_ptr<TraceHandle> TraceHandle::singleFile(std::unique_ptr<TraceFile> file) {
  std::unique_ptr<TraceHandle> handle(new TraceHandle);
  handle->file_ = std::move(file);
  return handle;
}

std::unique_ptr<TraceHandle> TraceHandle::multiThreaded(FileMaker maker) {
  std::unique_ptr<TraceHandle> handle(new TraceHandle);
  // make_shared puts the pool and its count into one block, which lives as long as a weak
  // reference: no later pool can have the same address while a thread still remembers this one.
  handle->pool_ = std::make_shared<Pool>(std::move(maker));
  return handle;
}

TraceHandle::~TraceHandle() {
  TraceHandle* self = this;
  detail::defaultTraceHandle.compare_exchange_strong(self, nullptr);
}

void TraceHandle::traceFileIs(std::unique_ptr<TraceFile> file) { file_ = std::move(file); }

TraceFile* TraceHandle::mtTraceFile() {
  if (pool_ == nullptr || ThreadFiles::ended) {
    return nullptr;
  }
  thread_local ThreadFiles threadFiles;
  std::vector<ThreadFiles::Use>& uses = threadFiles.uses;
  for (ThreadFiles::Use const& use : uses) {
    if (use.key == pool_.get()) {
      return use.file;
    }
  }
  std::erase_if(uses, [](ThreadFiles::Use const& use) { return use.pool.expired(); });
  uses.push_back({pool_.get(), pool_, pool_->take()});
  return uses.back().file;
}

}  // namespace Fendrel
