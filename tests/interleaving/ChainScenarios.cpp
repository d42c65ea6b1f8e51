// Scenarios of a whole chain, and of groups over blocks.

#include <cstdlib>
#include <string_view>

#include "Family.h"

namespace Interleaving {
namespace {

// Slots: 0 and 1 next hops, 2 and 3 blocks, 4 a group.
Move const hopA = refHop(0, {ext(1)}, 0);
Move const hopB = refHop(1, {ext(1)}, 1);
Move const bothHops = refBlock({slot(0), slot(1)}, 2);

}  // namespace

Size size() {
#ifdef __SANITIZE_ADDRESS__
  return Size::small;
#else
  char const* const large = std::getenv("ORVIA_INTERLEAVING_LARGE");
  return large != nullptr && std::string_view(large) == "1" ? Size::large : Size::usual;
#endif
}

std::vector<Scenario> fiveEntries(Size size) {
  Scenario building{"five entries are built"};
  building.before = {program(0)};
  building.actors = {
      {"interface", {program(1)}},
      {"ingress", {commitIngress(0, {ext(1)}, 1)}},
      {"first", {refHop(0, {ext(1)}, 0, 2)}},
      {"second", {refHop(1, {ext(1)}, 1, 2)}},
      {"block", {bothHops, drop(0), drop(1)}},
      {"group", {commitGroup(0, slot(2), 3), drop(2)}},
  };
  building.refuses = size != Size::small;
  if (size == Size::small) {
    building.actors[0].moves.clear();
    building.before.push_back(program(1));
  }
  building.letGoAnywhere = size != Size::small;

  Scenario whole{"five entries come and go"};
  whole.before = {program(0)};
  whole.actors = {
      {"interface", {giveRow(1), giveState(1, 1)}},
      {"ingress", {commitIngress(0, {ext(1)}, 1), removeIngress(0)}},
      {"first", {hopA, drop(0)}},
      {"second", {hopB, drop(1)}},
      {"block", {bothHops, drop(2)}},
      {"group", {commitGroup(0, slot(2), 3), removeGroup(0)}},
  };
  if (size == Size::small) {
    whole.actors[0].moves = {program(1)};
    whole.actors[1].moves.pop_back();
    whole.actors[2].moves.pop_back();
    whole.actors[3].moves.pop_back();
  }

  Scenario members{"member rows are answered"};
  members.before = {program(1), hopA, hopB};
  members.memberAnswers = true;
  members.refuses = true;
  members.actors = {
      {"block", {bothHops, drop(0), drop(1), drop(2)}},
      {"group", {commitGroup(0, slot(2), 3), removeGroup(0)}},
  };
  return {building, whole, members};
}

std::vector<Scenario> sharedBlocks(Size size) {
  Scenario scenario{"two groups share a block"};
  scenario.before = {program(1)};
  scenario.actors = {
      {"first group", {commitGroup(0, slot(2), 1), removeGroup(0)}},
      {"second group", {commitGroup(1, slot(2), 1), removeGroup(1)}},
      {"hops", {hopA, hopB}},
      {"block", {bothHops, together({drop(0), drop(1)}), drop(2)}},
  };
  scenario.mirrors = {{0, 1, {{"g0", "g1"}}}};
  scenario.refuses = size != Size::small;
  scenario.letGoAnywhere = size != Size::small;
  if (size == Size::small) scenario.actors[0].moves.pop_back();
  if (size == Size::small) scenario.mirrors.clear();

  Scenario again{"a block is taken by two callers"};
  again.before = {program(1), hopA, hopB};
  again.actors = {
      {"one", {refBlock({slot(0), slot(1)}, 2), commitGroup(0, slot(2), 1), drop(2)}},
      {"other", {refBlock({slot(0), slot(1)}, 3), commitGroup(1, slot(3), 1), drop(3)}},
      {"hops", {drop(0), drop(1)}},
      {"remover", {removeGroup(0), removeGroup(1)}},
  };
  again.refuses = size != Size::small;
  again.letGoAnywhere = size != Size::small;
  if (size == Size::small) again.actors.pop_back();
  return {scenario, again};
}

std::vector<Scenario> safeSwaps(Size size) {
  Scenario scenario{"a group swaps its block"};
  scenario.before = {program(1), hopA, hopB, refBlock({slot(0)}, 2)};
  scenario.actors = {
      {"group", {commitGroup(0, slot(2), 1), commitGroup(0, slot(3), 2, 1), removeGroup(0)}},
      {"blocks", {refBlock({slot(0), slot(1)}, 3), drop(2), drop(3)}},
      {"hops", {commitHop(0, {ext(1), nothing(), 1}, 3), removeHop(0), drop(0), drop(1)}},
  };
  scenario.refuses = size != Size::small;
  scenario.letGoAnywhere = size != Size::small;

  Scenario waiting{"a group swaps to a block that waits, and back"};
  waiting.before = {program(1), hopA, refBlock({slot(0)}, 2)};
  waiting.actors = {
      {"group",
       {commitGroup(0, slot(2), 1), commitGroup(0, slot(3), 2), commitGroup(0, slot(2), 3)}},
      {"blocks", {refHop(1, {ext(2)}, 1, 4), refBlock({slot(0), slot(1)}, 3), drop(3), drop(2)}},
      {"interface", {giveRow(2), giveState(2, 1)}},
      {"remover", {removeGroup(0)}},
  };
  waiting.refuses = size != Size::small;
  waiting.letGoAnywhere = size != Size::small;
  return {scenario, waiting};
}

std::vector<Scenario> removals(Size size) {
  Scenario scenario{"every entry is removed and dropped at every moment"};
  scenario.before = {program(1)};
  scenario.actors = {
      {"first", {commitHop(0, {ext(1)}, 1, 0), refBlock({slot(0)}, 2), drop(0)}},
      {"group", {commitGroup(0, slot(2), 2), drop(2)}},
      {"hop's remover", {removeHop(0)}},
      {"hop's remover", {removeHop(0)}},
      {"group's remover", {removeGroup(0)}},
  };
  scenario.refuses = true;
  scenario.letGoAnywhere = size != Size::small;
  if (size != Size::small) {
    scenario.actors.push_back({"late group", {commitGroup(0, slot(2), 3, 1)}});
  }

  Scenario again{"a next hop is committed, removed and committed again"};
  again.actors = {
      {"owner", {commitHop(0, {ext(1)}, 1), removeHop(0), commitHop(0, {ext(1)}, 2)}},
      {"holder", {refHop(0, {ext(1)}, 0, 3), drop(0)}},
      {"block", {refBlock({slot(0)}, 2), drop(2)}},
      {"interface", {program(1)}},
      {"remover", {removeHop(0)}},
  };
  again.refuses = size != Size::small;
  again.letGoAnywhere = size != Size::small;

  Scenario ingressKeys{"an ingress next hop comes, changes and goes"};
  ingressKeys.before = {program(0)};
  ingressKeys.actors = {
      {"owner", {commitIngress(0, {ext(1)}, 1), removeIngress(0), commitIngress(0, {ext(1)}, 2)}},
      {"other", {commitIngress(0, {ext(1), nothing(), 1}, 3), removeIngress(0)}},
      {"interface", {giveRow(1), giveState(1, 1), giveState(1, 0), giveState(1, 1)}},
  };
  ingressKeys.refuses = true;
  ingressKeys.letGoAnywhere = size != Size::small;
  return {scenario, again, ingressKeys};
}

}  // namespace Interleaving
