// Builds one random sequence: keeps the sketch of the world that Generate.h speaks of.
//
//   Sequence const made = Builder(random, Profile::callers).sequence();
//
// Used once, by one thread.
#pragma once

#include <rapidcheck/Random.h>

#include <array>
#include <cstdint>
#include <numeric>
#include <vector>

#include "Generate.h"
#include "Weights.h"

namespace Model {

// What a handle in a slot may be of.
enum class Holds : std::uint8_t { nothing, ingress, hop, member, group };

class Builder {
 public:
  Builder(rc::Random const& random, Profile profile) : random_(random), profile_(profile) {}

  Sequence sequence() {
    Sequence made;
    std::uint32_t const length = 1 + below(120);
    if (chance(85)) programExterns(made.steps, 2 + below(4));
    while (made.steps.size() < length) add(made.steps);
    made.steps.resize(length);
    if (chance(33)) addReactions(made);
    return made;
  }

 private:
  std::uint32_t below(std::uint32_t limit) {
    return static_cast<std::uint32_t>(random_.next() % limit);
  }
  bool chance(std::uint32_t percent) { return below(100) < percent; }

  void programExterns(std::vector<Step>& steps, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      std::uint32_t const which = below(6);
      row_[which] = true;
      accepted_[which] = true;
      Step const row{Kind::externRow, {which, 1 + below(3)}};
      Step const state{Kind::externState, {which, 1}};
      bool const rowFirst = chance(70);
      steps.push_back(rowFirst ? row : state);
      steps.push_back(rowFirst ? state : row);
    }
  }

  void addReactions(Sequence& made) {
    for (auto& reaction : made.reactions) {
      if (!chance(60)) continue;
      for (std::uint32_t left = 1 + below(3); left > 0; --left) {
        if (chance(6)) {
          reaction.push_back({Kind::raise, {}});
        } else {
          add(reaction);
        }
      }
    }
  }

  void add(std::vector<Step>& steps) {
    // The same write once more, perhaps with another handler.
    if (!writes_.empty() && chance(6)) {
      Step again = writes_[below(static_cast<std::uint32_t>(writes_.size()))];
      if (again.kind != Kind::memberRef && chance(50)) again.n[2] = handler();
      steps.push_back(again);
      return;
    }
    Step const drawnStep = step(drawn());
    steps.push_back(drawnStep);
    // A made handle that nobody registers ends the process with its last reference.
    if (drawnStep.kind == Kind::handleMake && drawnStep.n[0] != 0 && chance(60)) {
      steps.push_back({Kind::rawEntryHandleIs, {drawnStep.n[0] - 1, drawnStep.n[4]}});
    }
  }

  Kind drawn() {
    std::uint32_t const all =
        std::accumulate(weights.begin(), weights.end(), 0U,
                        [this](std::uint32_t sum, auto& w) { return sum + w.of(profile_); });
    std::uint32_t left = below(all);
    for (Weight const& weight : weights) {
      if (left < weight.of(profile_)) return weight.kind;
      left -= weight.of(profile_);
    }
    return Kind::answer;
  }

  Step step(Kind kind);

  // --- Numbers.

  std::uint32_t handler() { return chance(25) ? 0 : 1 + below(4); }
  std::uint32_t autoRemove() { return chance(99) ? below(2) : 2; }

  // The reserved row takes one key, and a key that has no row yet: others would end the process.
  std::uint32_t atIndexKey() { return chance(90) ? 0 : below(3); }
  std::uint32_t programmed() {
    std::uint32_t which = below(6);
    for (std::uint32_t i = 0; i < 6 && !(row_[which] && accepted_[which]); ++i) {
      which = (which + 1) % 6;
    }
    return which;
  }
  std::uint32_t slotWith(Holds wanted) {
    std::uint32_t which = below(6);
    for (std::uint32_t i = 0; i < 6 && slots_[which] != wanted; ++i) which = (which + 1) % 6;
    return which;
  }

  std::uint32_t externRef() { return 1 + (chance(75) ? programmed() : below(6)); }
  std::uint32_t slotRef(Holds wanted) { return 7 + slotWith(wanted); }
  std::uint32_t ref(std::uint32_t none, std::uint32_t extern_, Holds wanted) {
    std::uint32_t const draw = below(100);
    if (draw < none) return 0;
    return draw < none + extern_ ? externRef() : slotRef(wanted);
  }
  std::uint32_t hopRecord() {
    return ref(6, 82, Holds::hop) + 13 * ref(55, 38, Holds::group) + 169 * below(3);
  }
  std::uint32_t groupRecord() { return ref(4, 12, Holds::member) + 13 * below(3); }
  std::uint32_t blockNumber() {
    std::uint32_t const draw = below(100);
    std::uint32_t const width = draw < 3 ? 0 : draw < 38 ? 1 : draw < 75 ? 2 : 3;
    std::uint32_t number = width;
    std::uint32_t factor = 4;
    for (std::uint32_t i = 0; i < width; ++i) {
      number += factor * ref(2, 25, chance(92) ? Holds::hop : Holds::group);
      factor *= 13;
    }
    return number;
  }
  std::uint32_t anyKey() { return chance(25) ? 0 : 1 + below(2); }
  // Of the tables but the member table.
  std::uint32_t keyOf(std::uint32_t entryTable) {
    return entryTable == 0 ? (chance(60) ? programmed() : below(6)) : below(3);
  }
  std::uint32_t recordOf(std::uint32_t entryTable) {
    return entryTable == 2 ? groupRecord() : hopRecord();
  }

  Step stored(Step step, Holds holds) {
    step.n[4] = below(6);
    slots_[step.n[4]] = holds;
    writes_.push_back(step);
    return step;
  }
  // The parked record that a step works on: as a rule of one of the last writes.
  Step onParked(Kind kind, std::uint32_t c);
  std::uint32_t anyRef() { return ref(5, 60, static_cast<Holds>(1 + below(4))); }
  Step callersStep(Kind kind);
  Step innerStep(Kind kind);

  rc::Random random_;
  Profile profile_;
  std::array<bool, 6> row_{};
  std::array<bool, 6> accepted_{};
  std::array<bool, 4> notReady_{};
  std::array<bool, 4> detached_{};
  std::array<Holds, 6> slots_{};
  std::vector<Step> writes_;
};

}  // namespace Model
