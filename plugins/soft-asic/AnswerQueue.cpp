#include "AnswerQueue.h"

#include <algorithm>
#include <utility>

namespace SoftAsic {

std::size_t AnswerQueue::drain(std::size_t most) {
  Vek::Ptr<AnswerQueue> const alive(this);
  std::size_t const now = std::min(most, waiting_.size());
  std::size_t delivered = 0;
  // A nested drain may take answers from under this one.
  while (delivered < now && !waiting_.empty()) {
    std::function<void()> const deliver = std::move(waiting_.front());
    waiting_.pop_front();
    ++delivered;
    deliver();
  }
  return delivered;
}

}  // namespace SoftAsic
