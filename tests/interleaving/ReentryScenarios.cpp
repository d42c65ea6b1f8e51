// Scenarios of handlers that work on the tables, and of tables that go.

#include <string>

#include "Family.h"

namespace Interleaving {
namespace {

std::vector<Model::Step> steps(std::vector<Move> const& moves) { return together(moves).steps; }

// A chain of one next hop, one block and one group, whose handlers are 1 and 2.
Scenario chain(std::string const& name) {
  Scenario scenario{name};
  scenario.before = {program(1)};
  scenario.actors = {
      {"hop", {refHop(0, {ext(1)}, 0, 1), drop(0)}},
      {"block", {refBlock({slot(0)}, 2), drop(2)}},
      {"group", {commitGroup(0, slot(2), 2), removeGroup(0)}},
      {"change", {commitHop(0, {ext(1), nothing(), 1}, 1)}},
  };
  scenario.refuses = true;
  return scenario;
}

}  // namespace

std::vector<Scenario> handlersThatReenter(Size size) {
  std::vector<Scenario> scenarios;
  auto const add = [&](std::string const& what, std::vector<Move> const& hopHandler,
                       std::vector<Move> const& groupHandler) {
    Scenario scenario = chain("handlers " + what);
    scenario.reactions[0] = steps(hopHandler);
    scenario.reactions[1] = steps(groupHandler);
    scenario.letGoAnywhere = size != Size::small;
    if (size == Size::small) scenario.actors.pop_back();
    scenarios.push_back(std::move(scenario));
  };
  add("remove their own key", {removeHop(0)}, {removeGroup(0)});
  add("drop their own handle", {drop(0), drop(2)}, {drop(2)});
  add("commit another group", {commitGroup(1, slot(2), 3)},
      {commitGroup(1, slot(2), 3, 1), removeGroup(0)});
  add("take the block again", {refBlock({slot(0)}, 3)}, {refBlock({slot(0)}, 3), drop(2)});
  add("let go of everything below them", {removeHop(0), drop(0)},
      {drop(2), drop(0), removeHop(0), removeGroup(0)});
  add("write their own key again", {commitHop(0, {ext(1), nothing(), 2}, 1)},
      {commitGroup(0, slot(2), 2, 2)});
  add("write what they need again", {commitGroup(0, slot(2), 2)},
      {commitHop(0, {ext(1), nothing(), 2}, 3)});
  add("take the interface away", {giveState(1, 0)}, {giveState(1, 1)});
  add("destroy the group table", {}, {destroy(3)});
  add("destroy the tables below", {destroy(2)}, {destroy(1)});
  add("destroy their own table", {destroy(1)}, {destroy(3)});
  return scenarios;
}

std::vector<Scenario> tablesThatGo(Size size) {
  std::vector<Scenario> scenarios;
  for (std::uint32_t table = 0; table < 4; ++table) {
    Scenario scenario = chain("a table goes: " + destroy(table).name);
    scenario.before = {program(0)};
    scenario.actors.pop_back();
    scenario.actors.push_back({"table", {destroy(table)}});
    scenario.actors.push_back({"interface", {program(1)}});
    if (size != Size::small) {
      scenario.actors.push_back({"ingress", {commitIngress(0, {ext(1)}, 3, 3), drop(3)}});
    }
    scenarios.push_back(std::move(scenario));
  }
  Scenario all = chain("all tables go");
  all.actors.pop_back();
  for (std::uint32_t table = 0; table < 4; ++table) {
    all.actors.push_back({"table", {destroy(table)}});
  }
  all.letGoAnywhere = size != Size::small;
  if (size == Size::small) all.actors.resize(5);
  scenarios.push_back(std::move(all));
  return scenarios;
}

}  // namespace Interleaving
