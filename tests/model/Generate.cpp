#include "Generate.h"

#include <rapidcheck/Random.h>
#include <rapidcheck/shrinkable/Create.h>

#include <numeric>

#include "Weights.h"

namespace Model {
namespace {

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
    steps.push_back(step(drawn()));
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

Step Builder::step(Kind kind) {
  switch (kind) {
    case Kind::externRow: {
      std::uint32_t const which = below(6);
      std::uint32_t const row = chance(85) ? 1 + below(3) : 0;
      row_[which] = row != 0;
      return {kind, {which, row}};
    }
    case Kind::externState: {
      std::uint32_t const which = below(6);
      std::uint32_t const state = chance(75) ? 1 : below(2) * 2;
      accepted_[which] = state == 1;
      return {kind, {which, state}};
    }
    case Kind::drop: {
      std::uint32_t const which = below(6);
      slots_[which] = Holds::nothing;
      return {kind, {which}};
    }
    case Kind::copySlot: {
      std::uint32_t const from = below(6);
      std::uint32_t const to = below(6);
      slots_[to] = slots_[from];
      return {kind, {from, to}};
    }
    case Kind::answer:
      return {kind, {chance(60) ? 0 : below(4), chance(80) ? 0U : 1U, chance(88) ? 0U : 1U}};
    case Kind::answerMode: {
      std::uint32_t const draw = below(100);
      return {kind, {below(4), draw < 40 ? 0U : draw < 78 ? 1U : draw < 92 ? 2U : 3U}};
    }
    case Kind::hwReady:
    case Kind::hwTable: {
      auto& off = kind == Kind::hwReady ? notReady_ : detached_;
      // Back on soon.
      std::uint32_t which = below(4);
      for (std::uint32_t table = 0; table < 4; ++table) {
        if (off[table] && chance(70)) which = table;
      }
      off[which] = !off[which];
      return {kind, {which, off[which] ? 0U : 1U}};
    }
    default:
      return callersStep(kind);
  }
}

Step Builder::callersStep(Kind kind) {
  switch (kind) {
    case Kind::ingressCommit:
    case Kind::ingressWrite: {
      std::uint32_t const key = chance(99) ? programmed() : below(6);
      if (!(row_[key] && accepted_[key]) && chance(95)) {
        // It would end the process: the key is programmed instead.
        (row_[key] ? accepted_ : row_)[key] = true;
        return {accepted_[key] && row_[key] ? Kind::externState : Kind::externRow, {key, 1}};
      }
      return stored({kind, {key, hopRecord(), handler(), chance(99) ? 1U : below(3)}},
                    Holds::ingress);
    }
    case Kind::hopCommit:
    case Kind::hopRef:
    case Kind::hopWrite:
      return stored({kind, {anyKey(), hopRecord(), handler(), autoRemove()}}, Holds::hop);
    case Kind::hopWriteAtIndex:
      return stored({kind, {atIndexKey(), hopRecord(), chance(98) ? 0U : 1U, autoRemove()}},
                    Holds::hop);
    case Kind::groupCommit:
    case Kind::groupRef:
    case Kind::groupWrite:
      return stored({kind, {anyKey(), groupRecord(), handler(), autoRemove()}}, Holds::group);
    case Kind::groupWriteAtIndex:
      return stored({kind, {atIndexKey(), groupRecord(), chance(98) ? 0U : 1U, autoRemove()}},
                    Holds::group);
    case Kind::memberRef:
    case Kind::memberWrite:
      return stored({kind, {0, blockNumber(), 0, chance(98) ? 0 : below(3)}}, Holds::member);
    case Kind::destroy:
      return {kind, {below(4)}};
    case Kind::entryLookup:
      return {kind, {below(2), below(3)}};
    case Kind::remove:
    case Kind::getEntry: {
      std::uint32_t const table = below(3);
      return {kind, {table, keyOf(table)}};
    }
    case Kind::lookupExisting: {
      std::uint32_t const table = below(3);
      return {kind, {table, keyOf(table), recordOf(table)}};
    }
    default:
      return innerStep(kind);
  }
}

Step Builder::innerStep(Kind kind) {
  std::uint32_t const table = below(3);
  switch (kind) {
    case Kind::entryIs:
      return {kind, {table, keyOf(table), recordOf(table)}};
    case Kind::entryHandleMutate: {
      Step const made{kind, {table, keyOf(table), 0, 0, below(6)}};
      slots_[made.n[4]] = table == 0 ? Holds::ingress : table == 1 ? Holds::hop : Holds::group;
      return made;
    }
    case Kind::entryHandleOwn: {
      std::uint32_t const which = below(2);
      return {kind, {which, below(3), slotWith(which == 0 ? Holds::hop : Holds::group)}};
    }
    case Kind::pendingEntrySmIs: {
      Holds const wanted = table == 0 ? Holds::ingress : table == 1 ? Holds::hop : Holds::group;
      return {kind, {table, keyOf(table), slotWith(wanted)}};
    }
    case Kind::pendingZombie:
      return {kind, {table, keyOf(table), below(2)}};
    case Kind::successCountIs:
    case Kind::successCountInc: {
      std::uint32_t const any = below(4);
      std::uint32_t const key = any == 2 ? slotWith(Holds::member) : any == 0 ? keyOf(0) : below(3);
      return {kind, {any, key, chance(60) ? 1 : below(4)}};
    }
    case Kind::entryBlockDel:
    case Kind::unresolvedBlockDel:
      return {kind, {0, slotWith(Holds::member)}};
    case Kind::handleRow:
      return {kind, {below(6), below(4)}};
    case Kind::handleState:
      return {kind, {below(6), below(3)}};
    case Kind::handleMode:
      return {kind, {below(6), below(2)}};
    case Kind::unresolvedEntryDelAll:
    case Kind::syncEntries:
    case Kind::doInitComplete:
      return {kind, {below(4)}};
    case Kind::rawEntryHandleDel:
      return {kind, {below(2), below(3)}};
    case Kind::writeResponseSmDel:
      return {kind, {below(2)}};
    default:
      return {kind, {table, keyOf(table)}};
  }
}

}  // namespace

rc::Gen<Sequence> sequences(Profile profile) {
  return [profile](rc::Random const& random, int) {
    return rc::shrinkable::shrinkRecur(Builder(random, profile).sequence(), &smaller);
  };
}

std::vector<Kind> kindsOf(Profile profile) {
  std::vector<Kind> kinds;
  for (Weight const& weight : weights) {
    if (weight.of(profile) != 0) kinds.push_back(weight.kind);
  }
  return kinds;
}

}  // namespace Model
