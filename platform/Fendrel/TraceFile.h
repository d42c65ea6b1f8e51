// One ring of trace records, in a memory-mapped file or in plain memory.
//
//   auto file = Fendrel::TraceFile::open("agent.ring");
//
// A mapped file keeps what was written when the process dies at any point. Its size is fixed at
// creation: an area that holds one description per statement, and a ring in which the newest
// records overwrite the oldest whole ones. What the bytes mean is in Layout.h; RingReader.h turns
// them back into text. Statements write through MsgDesc and RingBuf.
//
// When the description area or the table of ids is full, records of further statements are dropped
// and counted; everything described before goes on being recorded.
//
// Threading: one writing thread at a time (a handle for several threads gives each its own file).
// Readers in any process need no agreement with the writer. Ownership: the file belongs to whoever
// opened it, usually a Fendrel::TraceHandle.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Fendrel/Layout.h"
#include "Vek/Export.h"

namespace Fendrel {

// A ring file cannot be made. The text names the file and the reason.
class VEK_EXPORT FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~FileError() override;
};

class VEK_EXPORT TraceFile {
 public:
  struct Config {
    std::size_t ringBytes = std::size_t{1} << 20;
    std::size_t descriptionBytes = std::size_t{1} << 17;
    // Ids are given out process-wide, so this bounds the statements of the process and not of the
    // file.
    std::size_t statements = 2048;
    // Nanoseconds since 1970 for a record; the system's clock when null.
    std::uint64_t (*now)() = nullptr;
  };

  // Makes a new file. A ring file that is already there becomes "PATH.old", so that a restart after
  // a crash does not destroy the evidence; anything else that is there is refused. The disk space
  // is reserved at once: a full disk shows here and not in the middle of a record. Throws
  // FileError.
  static std::unique_ptr<TraceFile> open(std::string const& path, Config const& config);
  static std::unique_ptr<TraceFile> open(std::string const& path);
  // The same bytes without a file.
  static std::unique_ptr<TraceFile> inMemory(Config const& config);
  static std::unique_ptr<TraceFile> inMemory();

  ~TraceFile();
  TraceFile(TraceFile const&) = delete;
  TraceFile& operator=(TraceFile const&) = delete;

  // Empty for a file in memory.
  [[nodiscard]] std::string const& path() const { return path_; }

  // Recording can be paused; a paused file drops records without counting them.
  [[nodiscard]] bool active() const { return active_.load(std::memory_order_relaxed); }
  void activeIs(bool active) { active_.store(active, std::memory_order_relaxed); }

  // Whether the id is described here: it lies inside the table of ids and its slot is taken.
  [[nodiscard]] bool knows(int msgId) const {
    return msgId > 0 && static_cast<std::size_t>(msgId) < idTable_.size() &&
           idTable_[static_cast<std::size_t>(msgId)] != 0;
  }

  // Records that were lost: no room for their description, or arguments beyond a record's size.
  [[nodiscard]] std::uint64_t dropped() const { return state_.dropped; }
  // Bytes of descriptions so far.
  [[nodiscard]] std::uint64_t descriptionUsed() const { return state_.descriptionUsed; }

  // A copy of the bytes, as a reader of the file would find them.
  [[nodiscard]] std::vector<std::byte> image() const;

 private:
  friend class MsgDesc;
  friend class RingBuf;

  TraceFile(std::string path, std::byte* base, std::size_t size, Layout::Header const& header,
            std::uint64_t (*now)());
  static Layout::Header plan(Config const& config);

  // Appends one description; false when there is no room for it.
  bool descriptionIs(Layout::Description description, std::span<std::byte const> argWidths,
                     std::string_view file, std::string_view format);
  // Appends one record whose arguments are in place; the function fills in the rest of it.
  void recordIs(int msgId, std::span<std::byte, Layout::kMaxRecordSize> record,
                std::size_t argSize);
  void droppedInc();

  void makeRoom(std::size_t size);
  void publish(std::size_t fieldOffset, std::uint64_t value);

  std::string path_;
  std::byte* base_;
  std::size_t size_;
  std::span<std::uint32_t> idTable_;
  std::span<std::byte> descriptions_;
  std::span<std::byte> ring_;
  // The writer trusts these and never reads the mapped copies: whatever else writes into the file,
  // records stay inside it.
  Layout::State state_;
  std::size_t beginOffset_ = 0;  // begin % ring size, kept to save the divisions
  std::size_t endOffset_ = 0;
  std::atomic<bool> active_{true};
  std::uint64_t (*now_)();
};

}  // namespace Fendrel
