// Scenarios of what is written, when it is answered, and how it waits.

#include "Family.h"

namespace Interleaving {

std::vector<Scenario> changedRecords(Size size) {
  Scenario hops{"a next hop's record changes before its answer"};
  hops.before = {program(1)};
  hops.actors = {
      {"owner",
       {commitHop(0, {ext(1)}, 1), commitHop(0, {ext(1), nothing(), 1}, 2),
        commitHop(0, {ext(1), nothing(), 2}, 3)}},
      {"holder", {refHop(0, {ext(1)}, 0, 4), refBlock({slot(0)}, 2), drop(0)}},
      {"group", {commitGroup(0, slot(2), 1)}},
      {"interface", {giveState(1, 0), giveState(1, 1)}},
  };
  hops.refuses = size != Size::small;
  if (size == Size::small) hops.actors[0].moves.pop_back();

  Scenario groups{"a group's record changes before its answer"};
  groups.before = {program(1), refHop(0, {ext(1)}, 0), refBlock({slot(0)}, 2)};
  groups.actors = {
      {"owner",
       {commitGroup(0, slot(2), 1), commitGroup(0, slot(2), 2, 1), commitGroup(0, slot(2), 3)}},
      {"other", {refGroup(0, slot(2), 4, 4), drop(4)}},
      {"hop", {commitHop(0, {ext(1), nothing(), 1}, 4), drop(0)}},
      {"remover", {removeGroup(0)}},
  };
  groups.refuses = size != Size::small;
  if (size == Size::small) groups.actors.pop_back();
  groups.letGoAnywhere = size != Size::small;

  Scenario blocks{"a next hop changes while a block waits for another one"};
  blocks.actors = {
      {"first", {refHop(0, {ext(1)}, 0, 1), commitHop(0, {ext(1), nothing(), 1}, 2)}},
      {"second", {refHop(1, {ext(2)}, 1, 3), commitHop(1, {ext(2), nothing(), 1}, 4)}},
      {"block", {refBlock({slot(0), slot(1)}, 2), drop(2)}},
      {"interfaces", {program(1), program(2)}},
  };
  blocks.refuses = true;
  if (size == Size::small) blocks.actors[1].moves.pop_back();
  return {hops, groups, blocks};
}

std::vector<Scenario> rewritesWhileParked(Size size) {
  Scenario hops{"a parked next hop is written again"};
  hops.actors = {
      {"owner",
       {commitHop(0, {ext(1), ext(2)}, 1), commitHop(0, {ext(1), ext(2)}, 2),
        commitHop(0, {ext(1), ext(2), 1}, 3)}},
      {"first interface", {program(1), giveState(1, 0), giveState(1, 1)}},
      {"second interface", {giveRow(2), giveState(2, 1)}},
      {"holder", {refHop(0, {ext(2)}, 0, 4), drop(0)}},
  };
  hops.refuses = size != Size::small;

  Scenario ingressKeys{"a parked ingress next hop is written again"};
  ingressKeys.before = {program(0)};
  ingressKeys.actors = {
      {"owner",
       {commitIngress(0, {ext(1), ext(2)}, 1), commitIngress(0, {ext(1), ext(2)}, 2),
        commitIngress(0, {ext(1), ext(2)}, 3)}},
      {"first interface", {program(1), giveState(1, 0), giveState(1, 1)}},
      {"second interface", {giveRow(2), giveState(2, 1)}},
      {"remover", {removeIngress(0)}},
  };
  ingressKeys.refuses = true;
  ingressKeys.letGoAnywhere = size != Size::small;

  Scenario blocks{"a parked block is taken again"};
  blocks.actors = {
      {"hops", {refHop(0, {ext(1)}, 0, 1), refHop(1, {ext(2)}, 1, 2)}},
      {"block", {refBlock({slot(0), slot(1), slot(0)}, 2), drop(2)}},
      {"other", {refBlock({slot(0), slot(1), slot(0)}, 3), drop(3)}},
      {"interfaces", {program(1), giveState(1, 0), program(2), giveState(1, 1)}},
      {"group", {commitGroup(0, slot(2), 3), removeGroup(0)}},
  };
  blocks.refuses = size != Size::small;
  if (size == Size::small) blocks.actors[2].moves.clear();
  return {hops, ingressKeys, blocks};
}

std::vector<Scenario> answersTwice(Size size) {
  Scenario scenario{"answers come twice"};
  scenario.before = {program(0), program(1)};
  scenario.actors = {
      {"hop", {refHop(0, {ext(1)}, 0, 1), commitHop(0, {ext(1), nothing(), 1}, 2), drop(0)}},
      {"block", {refBlock({slot(0)}, 2), drop(2)}},
      {"group", {commitGroup(0, slot(2), 3), removeGroup(0)}},
      {"ingress", {commitIngress(0, {ext(1)}, 4), removeIngress(0)}},
  };
  scenario.refuses = true;
  scenario.answersTwice = 1;
  if (size == Size::small) scenario.actors.pop_back();

  Scenario often{"one next hop's answers come over and over"};
  often.before = {program(1)};
  often.actors = {
      {"owner",
       {commitHop(0, {ext(1)}, 1), commitHop(0, {ext(1), nothing(), 1}, 2), removeHop(0),
        commitHop(0, {ext(1)}, 3)}},
      {"block", {refHop(0, {ext(1)}, 0, 4), refBlock({slot(0)}, 2), drop(0), drop(2)}},
  };
  often.refuses = true;
  often.answersTwice = size == Size::small ? 1 : 3;
  often.letGoAnywhere = size != Size::small;
  return {scenario, often};
}

std::vector<Scenario> tablesThatWaitForEachOther(Size size) {
  // A next hop that waits for the group that waits for it, until somebody gives it another record.
  Scenario circle{"a next hop and a group wait for each other"};
  circle.actors = {
      {"hop", {refHop(0, {ext(1)}, 0, 1), commitHop(0, {slot(4)}, 2), commitHop(0, {ext(2)}, 3)}},
      {"group", {refGroup(0, slot(0), 4, 4), drop(4)}},
      {"interfaces", {program(1), program(2)}},
      {"remover", {removeGroup(0)}},
  };
  circle.refuses = size != Size::small;
  // Two records that hold each other's handles stay until one of them is taken out by hand.
  circle.untangle = {{Model::Kind::entryDelAll, {2}}};
  circle.letGoAnywhere = size != Size::small;

  // Ingress next hop over a next hop that needs the ingress handle.
  Scenario ingressToo{"an ingress next hop and a next hop wait for each other"};
  ingressToo.before = {program(0)};
  ingressToo.actors = {
      {"hop", {refHop(0, {ext(1)}, 0, 1), commitHop(0, {ext(2), slot(3)}, 2), drop(0)}},
      {"ingress", {commitIngress(0, {slot(0), ext(2)}, 3, 3), drop(3), removeIngress(0)}},
      {"interfaces", {program(1), giveRow(2), giveState(2, 1)}},
      {"remover", {removeHop(0)}},
  };
  ingressToo.refuses = size != Size::small;
  if (size == Size::small) ingressToo.actors.pop_back();
  ingressToo.untangle = {{Model::Kind::entryDelAll, {1}}, {Model::Kind::entryDelAll, {0}}};
  ingressToo.letGoAnywhere = size != Size::small;
  return {circle, ingressToo};
}

std::vector<Scenario> rowsUsedAgain(Size size) {
  Scenario hops{"next hops follow each other in one row"};
  hops.before = {program(1)};
  hops.actors = {
      {"first", {commitHop(0, {ext(1)}, 1), removeHop(0)}},
      {"second", {commitHop(1, {ext(1)}, 2), removeHop(1)}},
      {"third", {refHop(2, {ext(1)}, 0, 3), refBlock({slot(0)}, 2), drop(0), drop(2)}},
  };
  hops.mirrors = {{0, 1, {{"k0", "k1"}, {"handler 1", "handler 2"}}}};
  hops.refuses = true;
  hops.answersTwice = size == Size::small ? 0 : 1;
  if (size == Size::small) hops.actors[2].moves = {commitHop(2, {ext(1)}, 3), removeHop(2)};

  Scenario runs{"blocks and groups follow each other in their rows"};
  runs.before = {program(1), refHop(0, {ext(1)}, 0), refHop(1, {ext(1)}, 1)};
  runs.actors = {
      {"first", {refBlock({slot(0)}, 2), commitGroup(0, slot(2), 1), removeGroup(0), drop(2)}},
      {"second",
       {refBlock({slot(0), slot(1)}, 3), commitGroup(1, slot(3), 2), drop(3), removeGroup(1)}},
      {"third", {refBlock({slot(1)}, 4), drop(4)}},
  };
  runs.refuses = size != Size::small;
  if (size == Size::small) runs.actors.pop_back();
  runs.letGoAnywhere = size != Size::small;
  return {hops, runs};
}

}  // namespace Interleaving
