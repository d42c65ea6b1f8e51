#include "Fendrel/RingBuf.h"

namespace Fendrel {

void RingBuf::startMsg(TraceFile* file, int msgId) {
  file_ = nullptr;
  overflow_ = false;
  writePosition_ = Layout::kRecordHeaderSize;
  if (file == nullptr || !file->active()) {
    return;
  }
  if (!file->knows(msgId)) {
    file->droppedInc();
    return;
  }
  file_ = file;
  msgId_ = msgId;
}

void RingBuf::endMsg() {
  if (file_ == nullptr) {
    return;
  }
  if (overflow_) {
    file_->droppedInc();
  } else {
    file_->recordIs(msgId_, record_, writePosition_ - Layout::kRecordHeaderSize);
  }
  file_ = nullptr;
}

}  // namespace Fendrel
