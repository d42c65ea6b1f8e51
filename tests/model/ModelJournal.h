// What the model's parts have in common: the log, the tally of living things, and the end of the
// process as far as a model can have one.
//
// An abort freezes the log and is thrown as Abort; where that cannot be thrown (a handle dies while
// a reference is released), it is remembered, and check() throws it at the end of the step.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "World.h"

namespace Model {

inline constexpr std::uint32_t noRow = 0xFFFFFFFFU;

inline std::string rowText(std::uint32_t row) {
  return row == noRow ? "none" : std::to_string(row);
}

class Handle;

class Journal {
 public:
  void line(std::string const& text) {
    if (frozen_) return;
    lines_.push_back(text);
    if (listener) listener(text);
  }
  Lines take() { return std::exchange(lines_, {}); }

  [[noreturn]] void abort(std::string const& condition, std::string const& message) {
    check();  // the process ends but once
    abort_.emplace(condition, message);
    frozen_ = true;
    throw Abort(*abort_);
  }
  // The step ended the process somewhere.
  void check() const {
    if (abort_) throw Abort(*abort_);
  }

  // Nothing is logged, and no handler called, while frozen.
  void frozenIs(bool frozen) { frozen_ = frozen || abort_.has_value(); }
  [[nodiscard]] bool frozen() const { return frozen_; }

  // Hears each line.
  std::function<void(std::string const&)> listener;
  // A response handler is called: who logs it and runs its reactions.
  std::function<void(std::uint32_t handler, std::uint32_t state)> handlerCalled;

  // A table that reacts announced something: who runs the reaction.
  std::function<void(std::uint32_t reaction)> tableReacts;

  // Living objects by the name of their type.
  std::map<std::string, int> live;
  std::set<Handle const*> handles;

  // Numbers that are never given twice, for what is told apart by age.
  std::uint64_t newAge() { return ++age_; }

 private:
  Lines lines_;
  std::optional<Abort> abort_;
  bool frozen_ = false;
  std::uint64_t age_ = 0;
};

// One living object of a type.
class Alive {
 public:
  Alive(Journal& journal, std::string const& type) : count_(journal.live[type]) { ++count_; }
  ~Alive() { --count_; }
  Alive(Alive const&) = delete;
  Alive& operator=(Alive const&) = delete;

 private:
  int& count_;
};

}  // namespace Model
