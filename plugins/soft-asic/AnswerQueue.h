// The simulated hardware's answers on their way to the tables.
//
// A write only starts something; its answer is delivered at once, or waits here until the agent's
// loop drains the queue. Answers that wait are delivered in the order of the
// writes; one that is delivered at once does not wait for them.
//
// One thread: the loop's. Anything may run inside an answer, further writes included.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <limits>
#include <utility>

#include "Vek/PtrInterface.h"

namespace SoftAsic {

class AnswerQueue final : public Vek::PtrInterface {
 public:
  enum class Delivery { atOnce, whenDrained };

  explicit AnswerQueue(Delivery delivery) : delivery_(delivery) {}

  [[nodiscard]] Delivery delivery() const { return delivery_; }
  // Holds for answers to come; those that wait go on waiting for drain().
  void deliveryIs(Delivery delivery) { delivery_ = delivery; }

  // Delivers or queues one answer. What delivering throws passes out. An answer at once is called
  // where it stands: only one that waits is worth a place in memory.
  template <class Deliver>
  void answer(Deliver&& deliver) {
    if (delivery_ == Delivery::atOnce) {
      std::forward<Deliver>(deliver)();
    } else {
      waiting_.emplace_back(std::forward<Deliver>(deliver));
    }
  }
  // Delivers up to `most` of the answers that wait now; those that join meanwhile wait for the next
  // call. Returns how many were delivered. What an answer throws passes out; that answer is gone.
  std::size_t drain(std::size_t most = std::numeric_limits<std::size_t>::max());
  [[nodiscard]] std::size_t waiting() const { return waiting_.size(); }

 private:
  Delivery delivery_;
  std::deque<std::function<void()>> waiting_;
};

}  // namespace SoftAsic
