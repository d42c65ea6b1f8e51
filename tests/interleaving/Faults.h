// Tables that do one thing wrong, for the tests that show that each rule can be broken.
//
//   expectBroken(rule::held, ahead(Kind::answer, {Kind::unresolvedEntryDel, {2, 0}}), scenario);
//
// Most wrong things are done with the tables' own machinery; where they cannot be made to do it,
// what is told of them is changed. One thread.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Explorer.h"
#include "tests/model/EngineWorld.h"

namespace Interleaving {

using Model::Kind;
using Model::Lines;
using Model::Step;

// What goes wrong. Without a function it goes right.
struct Fault {
  // Instead of the step.
  std::function<void(Model::World& tables, Step const& step)> step{};
  std::function<void(Lines& lines)> log{};
  std::function<void(Lines& lines)> snapshot{};
};

class FaultyWorld final : public Model::World {
 public:
  FaultyWorld(Scenario const& scenario, Fault fault)
      : tables_(scenario.reactions), fault_(std::move(fault)) {}

  void stepIs(Step const& step) override {
    if (fault_.step) {
      fault_.step(tables_, step);
    } else {
      tables_.stepIs(step);
    }
  }
  void listenerIs(std::function<void(std::string const&)> listener) override {
    tables_.listenerIs(std::move(listener));
  }
  Lines takeLog() override { return changed(tables_.takeLog(), fault_.log); }
  Lines snapshot() override { return changed(tables_.snapshot(), fault_.snapshot); }

 private:
  static Lines changed(Lines lines, std::function<void(Lines&)> const& change) {
    if (change) change(lines);
    return lines;
  }

  Model::Engine::EngineWorld tables_;
  Fault fault_;
};

inline Options with(Fault const& fault) {
  Options options;
  options.world = [fault](Scenario const& scenario) {
    return std::make_unique<FaultyWorld>(scenario, fault);
  };
  return options;
}

inline void expectBroken(char const* rule, Fault const& fault, Scenario const& scenario) {
  Options options = with(fault);
  options.findings = 1000;
  options.until = rule;
  Report const report = explore(scenario, options);
  EXPECT_TRUE(report.found(rule)) << rule << " is not missed; " << report.text();
}

// Another step after each of one kind.
inline Fault after(Kind kind, Step const& more) {
  return {[kind, more](Model::World& tables, Step const& step) {
    tables.stepIs(step);
    if (step.kind == kind) tables.stepIs(more);
  }};
}
inline Fault ahead(Kind kind, Step const& more) {
  return {[kind, more](Model::World& tables, Step const& step) {
    if (step.kind == kind) tables.stepIs(more);
    tables.stepIs(step);
  }};
}
inline std::function<void(Lines&)> replaced(std::string const& from, std::string const& to) {
  return [from, to](Lines& lines) {
    for (std::string& line : lines) {
      if (line == from) line = to;
    }
  };
}
inline std::function<void(Lines&)> without(std::string const& what) {
  return [what](Lines& lines) { std::erase(lines, what); };
}

}  // namespace Interleaving
