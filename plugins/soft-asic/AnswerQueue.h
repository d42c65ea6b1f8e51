// The simulated hardware's answers on their way to the tables.
//
//   for (std::size_t due = queue->turn(); due > 0; --due) queue->deliverOne();  // the agent's loop
//   queue->drain();                                                            // the same, in a
//   test
//
// A write only starts something; its answer is delivered at once, or waits here for a turn of the
// agent's loop: the next one, or a later one. The answers of one turn are delivered in the order of
// the writes; those that may come in any order are strewn among the others, in a way that depends
// on the seed alone. Answers that join within a turn wait for the next. One that is delivered at
// once does not wait for those that wait.
//
// One thread: the loop's. Anything may run inside an answer, further writes and turns included.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "Vek/PtrInterface.h"
#include "plugins/soft-asic/Export.h"

namespace SoftAsic {

// When an answer is delivered.
struct Timing {
  // How many turns must begin until then, 0 being at once; none: as the queue's delivery says.
  std::optional<std::uint64_t> turns;
  bool inAnyOrder = false;  // among the answers of its turn
};

class SOFT_ASIC_EXPORT AnswerQueue final : public Vek::PtrInterface {
 public:
  // Of the answers that do not say it themselves: at once, or in the next turn.
  enum class Delivery { atOnce, whenDrained };

  explicit AnswerQueue(Delivery delivery) : delivery_(delivery) {}

  [[nodiscard]] Delivery delivery() const { return delivery_; }
  // Holds for answers to come; those that wait go on waiting for their turn.
  void deliveryIs(Delivery delivery) { delivery_ = delivery; }
  // Starts the sequence of random orders anew.
  void seedIs(std::uint64_t seed) { random_ = seed; }

  // Delivers or queues one answer. What delivering throws passes out. An answer at once is called
  // where it stands: only one that waits is worth a place in memory.
  template <class Deliver>
  void answer(Timing const& timing, Deliver&& deliver) {
    std::uint64_t const turns = timing.turns.value_or(delivery_ == Delivery::atOnce ? 0 : 1);
    if (turns == 0) {
      std::forward<Deliver>(deliver)();
    } else {
      queue(turns, timing.inAnyOrder, std::forward<Deliver>(deliver));
    }
  }
  template <class Deliver>
  void answer(Deliver&& deliver) {
    answer(Timing{}, std::forward<Deliver>(deliver));
  }

  // Begins a turn, and returns how many answers are due in it, those included that an earlier turn
  // left behind.
  std::size_t turn();
  // Delivers the next answer that is due; returns whether there was one. What it throws passes out;
  // that answer is gone, the others stay.
  bool deliverOne();
  // Begins a turn and delivers up to `most` of its answers. Returns how many were delivered. What
  // an answer throws passes out, as of deliverOne().
  std::size_t drain(std::size_t most = std::numeric_limits<std::size_t>::max());
  // All answers that wait, those of later turns included.
  [[nodiscard]] std::size_t waiting() const;
  // From now on the answers that wait come in the order of their writes, each in its turn.
  void inOrderIs();

 private:
  struct Answer {
    std::uint64_t number;  // in the order of the writes
    bool inAnyOrder;
    std::function<void()> deliver;
  };
  using Answers = std::deque<Answer>;

  void queue(std::uint64_t turns, bool inAnyOrder, std::function<void()> deliver);
  void strew(Answers& answers);
  std::uint64_t nextRandom();

  Delivery delivery_;
  std::uint64_t turn_ = 0;  // begun so far
  std::uint64_t queued_ = 0;
  std::uint64_t random_ = 0;  // the generator's state
  Answers due_;
  Answers next_;                            // of the next turn
  std::map<std::uint64_t, Answers> later_;  // by turn; may hold some of the next turn as well
};

}  // namespace SoftAsic
