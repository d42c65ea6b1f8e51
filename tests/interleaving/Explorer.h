// Goes through every order of a scenario's events, depth first, and checks the rules after each.
//
//   Report report = explore(scenario);
//   EXPECT_TRUE(report.findings.empty()) << report.text();
//
// A state that was met before is not gone through again. A world cannot be copied, so every branch
// but the first begins with a new world and repeats the path. With a finding, shortestFinding()
// goes through the scenario again with a growing limit of events.
//
// One thread. When the process is ended by a failed assertion or by the sanitizer, the path that
// was under way is printed.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "Course.h"
#include "tests/model/World.h"

namespace Interleaving {

using Path = std::vector<Event>;

struct Finding {
  Violations violations;
  Path path;
};

struct Report {
  std::string scenario;
  std::uint64_t states = 0;
  std::uint64_t transitions = 0;
  // Orders of events from the start to where nothing is left to happen; those through a state that
  // was met before are counted and not gone through.
  std::uint64_t paths = 0;
  std::uint64_t ends = 0;  // different states in which nothing is left to happen
  std::size_t longest = 0;
  unsigned handlerCalls = 0;  // the most of a path
  std::vector<Finding> findings;

  // The counts, and the findings.
  [[nodiscard]] std::string text() const;
  [[nodiscard]] bool found(std::string const& rule) const;
};

using MakeWorld = std::function<std::unique_ptr<Model::World>(Scenario const&)>;

struct Options {
  // Goes through every single order.
  bool mergeStates = true;
  // Takes interchangeable actors in order.
  bool symmetry = true;
  std::size_t longestPath = std::numeric_limits<std::size_t>::max();
  // Stops after so many, or when this rule is broken.
  std::size_t findings = 3;
  std::string until{};
  // The tables, unless something else is asked for.
  MakeWorld world{};
};

Report explore(Scenario const& scenario, Options const& options = {});
// A path with as few events as any that breaks a rule. There must be one.
Finding shortestFinding(Scenario const& scenario, Options options = {});

}  // namespace Interleaving
