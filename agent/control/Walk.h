// Going over an ordered map in slices, and what jobs that do so have in common.
//
//   class Numbers final : public Job {
//     bool runSlice(Answer& answer) override {
//       SliceTime const time;
//       begin(answer, "numbers", {"number"});
//       return walk_.run(map, time, [&](auto key, auto& value) { answer.row(Json::array({key}));
//       });
//     }
//     Walk<int> walk_;
//   };
//
// Between slices elements may come and go: what comes behind the last key is seen, what comes
// before it is not.
//
// Threading: the loop's thread. Ownership: keys are copies.
#pragma once

#include <optional>

#include "agent/control/Job.h"

namespace OrviaL3Agent::Control {

template <class Key>
class Walk {
 public:
  // Visits elements from where it stopped on until the slice is over. Returns whether it is
  // through. The visit must not change the map.
  template <class Map, class Visit>
  bool run(Map const& map, SliceTime const& time, Visit const& visit) {
    for (auto at = last_ ? map.upper_bound(*last_) : map.begin(); at != map.end();) {
      visit(at->first, at->second);
      last_ = at->first;
      if (++at != map.end() && time.isOver()) return false;
    }
    return true;
  }
  // As if it had visited all up to that key.
  void lastIs(Key key) { last_ = std::move(key); }

 private:
  std::optional<Key> last_;
};

}  // namespace OrviaL3Agent::Control
