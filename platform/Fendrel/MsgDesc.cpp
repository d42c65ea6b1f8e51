#include "Fendrel/MsgDesc.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string_view>

namespace Fendrel {
namespace {

constinit std::atomic<int> nextMsgId{1};

// A source unit's name is short; the bound is there for the width of the field.
constexpr std::size_t kMaxFileSize = 255;

}  // namespace

void MsgFormatString::put(char const* text) {
  std::size_t const size = std::min(std::strlen(text), capacity - size_);
  std::memcpy(text_.data() + size_, text, size);
  size_ += size;
}

MsgDesc::MsgDesc(TraceFile* traceFile, int* msgId, char const* file, int line)
    : traceFile_(traceFile), msgId_(msgId), file_(file), line_(line) {}

MsgDesc& MsgDesc::operator<<(char const* text) {
  format_.put(text);
  return *this;
}

MsgDesc& MsgDesc::operator<<(ArgWidth width) {
  // More values than one record can hold: RingBuf drops such records, so their widths do not
  // matter.
  if (argCount_ < argWidths_.size()) {
    argWidths_[argCount_++] = static_cast<std::byte>(width);
  }
  return *this;
}

void MsgDesc::finish() {
  std::atomic_ref<int> const msgId(*msgId_);
  int number = msgId.load(std::memory_order_relaxed);
  if (number == 0) {
    int const fresh = nextMsgId.fetch_add(1, std::memory_order_relaxed);
    // Another thread may have numbered the statement meanwhile; then that number counts and ours
    // stays unused.
    if (msgId.compare_exchange_strong(number, fresh, std::memory_order_relaxed)) {
      number = fresh;
    }
  }
  if (traceFile_->knows(number)) {
    return;
  }
  Layout::Description description;
  description.id = static_cast<std::uint32_t>(number);
  description.line = static_cast<std::uint32_t>(line_);
  traceFile_->descriptionIs(description, std::span(argWidths_).first(argCount_),
                            std::string_view(file_).substr(0, kMaxFileSize), format_.view());
}

}  // namespace Fendrel
