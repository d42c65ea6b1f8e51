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

namespace {

// The chain with hardware that is quick or slow. Handlers of ingress next hops are 3.
Scenario quickChain(std::string const& name, Size size) {
  Scenario scenario = chain(name);
  scenario.atOnce = {allAccepted(), allRefused()};
  if (size == Size::large) scenario.atOnce.push_back(hopsAccepted());
  if (size == Size::small) scenario.actors.pop_back();
  scenario.refuses = size == Size::large;
  scenario.letGoAnywhere = size == Size::large;
  return scenario;
}

// One ingress next hop, which the hardware answers at once or late.
Scenario ingressAlone(std::string const& name, std::vector<Move> const& handler,
                      std::uint32_t handlerOfChange = 3) {
  Scenario scenario{name};
  scenario.before = {program(0)};
  scenario.reactions[2] = steps(handler);
  scenario.actors = {
      {"owner", {commitIngress(0, {ext(1)}, 3, 3), drop(3)}},
      {"change", {commitIngress(0, {ext(1), nothing(), 1}, handlerOfChange)}},
      {"interface", {program(1), giveState(1, 0), giveState(1, 1)}},
      {"remover", {removeIngress(0)}},
  };
  scenario.atOnce = {allAccepted(), allRefused()};
  scenario.refuses = true;
  return scenario;
}

}  // namespace

std::vector<Scenario> handlersThatReenterTheWrite(Size size) {
  std::vector<Scenario> scenarios;
  auto const add = [&](std::string const& what, std::vector<Move> const& hopHandler,
                       std::vector<Move> const& groupHandler) {
    Scenario scenario = quickChain("handlers within the write " + what, size);
    scenario.reactions[0] = steps(hopHandler);
    scenario.reactions[1] = steps(groupHandler);
    scenarios.push_back(std::move(scenario));
  };
  add("remove their own key", {removeHop(0)}, {removeGroup(0)});
  add("drop their own handle", {drop(0), drop(2)}, {drop(2)});
  add("let go of everything below them", {removeHop(0), drop(0)},
      {drop(2), drop(0), removeHop(0), removeGroup(0)});
  add("take the block again", {refBlock({slot(0)}, 3)}, {refBlock({slot(0)}, 3), drop(2)});
  add("write their own key again", {commitHop(0, {ext(1), nothing(), 2}, 4)},
      {commitGroup(0, slot(2), 4, 2)});
  add("write what they need again", {commitGroup(0, slot(2), 2)},
      {commitHop(0, {ext(1), nothing(), 2}, 4)});
  add("take the interface away", {giveState(1, 0)}, {giveState(1, 0)});
  add("remove and write again", {removeHop(0), commitHop(0, {ext(1), nothing(), 2}, 4)},
      {removeGroup(0), commitGroup(0, slot(2), 4, 2)});
  add("destroy the tables below", {destroy(2)}, {destroy(1)});
  add("destroy their own table", {destroy(1)}, {destroy(3)});

  scenarios.push_back(ingressAlone("an ingress handler removes its own key", {removeIngress(0)}));
  scenarios.push_back(ingressAlone("an ingress handler drops its own handle", {drop(3)}));
  scenarios.push_back(ingressAlone("an ingress handler writes its own key again",
                                   {commitIngress(0, {ext(1), nothing(), 2}, 4)}));
  scenarios.push_back(
      ingressAlone("an ingress handler takes the interface away", {giveState(1, 0)}));
  scenarios.push_back(ingressAlone("an ingress handler destroys its table", {destroy(0)}));
  scenarios.push_back(ingressAlone("an ingress handler raises", {raise()}));
  return scenarios;
}

std::vector<Scenario> handlersThatPark(Size size) {
  // What they write waits for e2, so it is still parked when the operation that called them goes
  // on.
  std::vector<Scenario> scenarios;
  auto const add = [&](std::string const& what, std::vector<Move> const& hopHandler,
                       std::vector<Move> const& groupHandler) {
    Scenario scenario = quickChain("handlers park " + what, size);
    scenario.actors.push_back({"other interface", {giveRow(2), giveState(2, 1)}});
    scenario.reactions[0] = steps(hopHandler);
    scenario.reactions[1] = steps(groupHandler);
    if (size != Size::large) scenario.actors.erase(scenario.actors.begin() + 3);
    scenarios.push_back(std::move(scenario));
  };
  add("another record of their key", {commitHop(0, {ext(2)}, 4)}, {commitGroup(0, ext(2), 4)});
  add("another key's record", {commitHop(1, {ext(2)}, 4)}, {commitHop(0, {ext(1), ext(2)}, 4)});
  add("a record again behind its removal", {removeHop(0), commitHop(0, {ext(2)}, 4)},
      {removeGroup(0), commitGroup(0, ext(2), 4)});
  add("another record and raise", {commitHop(0, {ext(2)}, 4), raise()},
      {commitGroup(0, ext(2), 4), raise()});
  auto const addIngress = [&](std::string const& what, std::vector<Move> const& handler,
                              std::uint32_t handlerOfChange) {
    Scenario scenario = ingressAlone("an ingress handler parks " + what, handler, handlerOfChange);
    scenario.actors[2].moves = {program(1)};
    scenario.actors.push_back({"other interface", {program(2)}});
    scenarios.push_back(std::move(scenario));
  };
  addIngress("another record of its key", {commitIngress(0, {ext(2)}, 4)}, 3);
  // Once only: to write the same record again while somebody holds the handle of a removed key is a
  // mistake of the caller, which ends the process.
  addIngress("a record behind the removal of its key",
             {removeIngress(0), commitIngress(0, {ext(2)}, 4)}, 4);
  return scenarios;
}

std::vector<Scenario> handlersThatRaise(Size size) {
  std::vector<Scenario> scenarios;
  auto const add = [&](std::string const& what, std::vector<Move> const& hopHandler,
                       std::vector<Move> const& groupHandler) {
    Scenario scenario = quickChain("handlers raise" + what, size);
    scenario.reactions[0] = steps(hopHandler);
    scenario.reactions[1] = steps(groupHandler);
    scenarios.push_back(std::move(scenario));
  };
  add("", {raise()}, {raise()});
  add(" once their key is removed", {removeHop(0), raise()}, {removeGroup(0), raise()});
  add(" once they have let go", {drop(0), drop(2), raise()}, {drop(2), drop(0), raise()});
  add(" once they have written again", {commitHop(0, {ext(1), nothing(), 2}, 4), raise()},
      {commitGroup(0, slot(2), 4, 2), raise()});
  add(" once they have destroyed a table", {destroy(3), raise()}, {destroy(1), raise()});

  // Both groups wait for the block, and the block for both hops; whoever raises keeps nobody else
  // from going on.
  Scenario several{"several handlers of one answer raise"};
  several.before = {program(1), refHop(1, {ext(1)}, 1)};
  several.reactions[0] = steps({raise()});
  several.reactions[1] = steps({raise()});
  several.actors = {
      {"hop", {refHop(0, {ext(1)}, 0, 1), commitHop(0, {ext(1), nothing(), 1}, 1)}},
      {"block", {refBlock({slot(0), slot(1)}, 2), refBlock({slot(0)}, 3), drop(2)}},
      {"first group", {commitGroup(0, slot(2), 2), removeGroup(0)}},
      {"second group", {commitGroup(1, slot(2), 3)}},
  };
  several.atOnce = {allAccepted()};
  if (size == Size::large) several.atOnce.push_back(hopsAcceptedGroupsRefused());
  several.refuses = size == Size::large;
  several.letGoAnywhere = size == Size::large;
  scenarios.push_back(several);

  Scenario full{"handlers raise and a table is full"};
  full.before = {fewRows(1)};
  full.reactions[0] = steps({raise()});
  full.reactions[1] = steps({removeHop(0), raise()});
  full.actors = {
      {"first", {commitHop(0, {ext(1)}, 1), removeHop(0)}},
      {"second", {commitHop(1, {ext(1)}, 2), commitHop(1, {ext(1), nothing(), 1}, 2)}},
      {"third", {refHop(2, {ext(1)}, 0, 1), drop(0)}},
      {"interface", {program(1)}},
  };
  full.atOnce = {allAccepted(), allRefused()};
  full.refuses = true;
  full.letGoAnywhere = true;
  scenarios.push_back(full);
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
