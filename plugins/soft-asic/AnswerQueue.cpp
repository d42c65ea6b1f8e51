#include "AnswerQueue.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace SoftAsic {

void AnswerQueue::queue(std::uint64_t turns, bool inAnyOrder, std::function<void()> deliver) {
  Answers& answers = turns == 1 ? next_ : later_[turn_ + turns];
  answers.push_back({++queued_, inAnyOrder, std::move(deliver)});
}

std::size_t AnswerQueue::turn() {
  ++turn_;
  bool const waitedLonger = !later_.empty() && later_.begin()->first <= turn_;
  if (due_.empty() && !waitedLonger) {  // as nearly always
    due_.swap(next_);
    strew(due_);
    return due_.size();
  }
  Answers joining = std::exchange(next_, {});
  while (!later_.empty() && later_.begin()->first <= turn_) {
    // Whatever has waited for longer is of earlier writes than most, but not than all: a table that
    // answers soon may have written before one whose answers take long.
    Answers& waited = later_.begin()->second;
    Answers merged;
    std::merge(std::make_move_iterator(joining.begin()), std::make_move_iterator(joining.end()),
               std::make_move_iterator(waited.begin()), std::make_move_iterator(waited.end()),
               std::back_inserter(merged),
               [](Answer const& a, Answer const& b) { return a.number < b.number; });
    joining = std::move(merged);
    later_.erase(later_.begin());
  }
  strew(joining);
  std::move(joining.begin(), joining.end(), std::back_inserter(due_));
  return due_.size();
}

// Puts the answers that may come in any order at random places among the others, which keep theirs.
void AnswerQueue::strew(Answers& answers) {
  if (std::none_of(answers.begin(), answers.end(),
                   [](Answer const& answer) { return answer.inAnyOrder; })) {
    return;
  }
  Answers ordered;
  std::vector<Answer> loose;
  for (Answer& answer : answers) {
    if (answer.inAnyOrder) {
      loose.push_back(std::move(answer));
    } else {
      ordered.push_back(std::move(answer));
    }
  }
  answers.clear();
  while (!loose.empty()) {
    // Each place is as likely as any other for one of these.
    auto const pick = static_cast<std::size_t>(nextRandom() % (loose.size() + ordered.size()));
    if (pick < loose.size()) {
      answers.push_back(std::move(loose[pick]));
      if (pick + 1 != loose.size()) loose[pick] = std::move(loose.back());
      loose.pop_back();
    } else {
      answers.push_back(std::move(ordered.front()));
      ordered.pop_front();
    }
  }
  std::move(ordered.begin(), ordered.end(), std::back_inserter(answers));
}

// SplitMix64. The standard library's distributions differ between its implementations, and a seed
// is to give the same order everywhere.
std::uint64_t AnswerQueue::nextRandom() {
  random_ += 0x9E3779B97F4A7C15U;
  std::uint64_t mixed = random_;
  mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
  mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
  return mixed ^ (mixed >> 31U);
}

bool AnswerQueue::deliverOne() {
  if (due_.empty()) return false;
  Vek::Ptr<AnswerQueue> const alive(this);
  std::function<void()> const deliver = std::move(due_.front().deliver);
  due_.pop_front();
  deliver();
  return true;
}

std::size_t AnswerQueue::drain(std::size_t most) {
  Vek::Ptr<AnswerQueue> const alive(this);
  std::size_t const now = std::min(most, turn());
  std::size_t delivered = 0;
  // A nested drain may take answers from under this one.
  while (delivered < now && deliverOne()) ++delivered;
  return delivered;
}

std::size_t AnswerQueue::waiting() const {
  std::size_t count = due_.size() + next_.size();
  for (auto const& [turn, answers] : later_) count += answers.size();
  return count;
}

void AnswerQueue::inOrderIs() {
  for (Answer& answer : next_) answer.inAnyOrder = false;
  for (auto& [turn, answers] : later_) {
    for (Answer& answer : answers) answer.inAnyOrder = false;
  }
  std::sort(due_.begin(), due_.end(),
            [](Answer const& a, Answer const& b) { return a.number < b.number; });
}

}  // namespace SoftAsic
