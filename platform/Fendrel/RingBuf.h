// How a statement writes one record.
//
//   Fendrel::RingBuf buffer;
//   buffer.startMsg(file, msgId);
//   if (buffer.active()) buffer.append(std::uint32_t{4});
//   buffer.endMsg();
//
// The record is put together here and moves into the ring at endMsg(), so that the ring is never
// left with half of one by a statement that traces while it computes its values.
//
// Threading: as the file. A RingBuf lives for one statement.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstring>

#include "Fendrel/TraceFile.h"
#include "Vek/Export.h"

namespace Fendrel {

class VEK_EXPORT RingBuf {
 public:
  // Opens a record. Stays inactive when there is no file, the file is paused, or it does not know
  // the statement (which it counts as a dropped record).
  void startMsg(TraceFile* file, int msgId);

  // Values may be appended.
  [[nodiscard]] bool active() const { return file_ != nullptr; }

  // Writes the value at the write position. Values beyond a record's size make the file drop the
  // record.
  template <std::unsigned_integral Value>
  void append(Value value) {
    if (writePosition_ + sizeof value > record_.size()) {
      overflow_ = true;
      return;
    }
    std::memcpy(record_.data() + writePosition_, &value, sizeof value);
    writePosition_ += sizeof value;
  }

  // Closes the record and makes it visible to readers. Does nothing while inactive.
  void endMsg();

 private:
  TraceFile* file_ = nullptr;
  int msgId_ = 0;
  bool overflow_ = false;
  std::size_t writePosition_ = Layout::kRecordHeaderSize;
  alignas(Layout::kAlignment) std::array<std::byte, Layout::kMaxRecordSize> record_;
};

}  // namespace Fendrel
