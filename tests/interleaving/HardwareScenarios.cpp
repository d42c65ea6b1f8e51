// Scenarios of hardware that answers from within the write, that cannot be called, or has no row
// left.

#include "Family.h"

namespace Interleaving {
namespace {

std::vector<AtOnce> const everyAnswerAtOnce{allAccepted(), allRefused(), hopsAccepted(),
                                            hopsAcceptedGroupsRefused()};

}  // namespace

std::vector<Scenario> answersFromWithinTheWrite(Size size) {
  Scenario chain{"a chain is answered at once or late"};
  chain.before = {program(0)};
  chain.actors = {
      {"interface", {giveRow(1), giveState(1, 1)}},
      {"ingress", {commitIngress(0, {ext(1)}, 4), removeIngress(0)}},
      {"first", {refHop(0, {ext(1)}, 0, 1), drop(0)}},
      {"second", {refHop(1, {ext(1)}, 1, 2), drop(1)}},
      {"block", {refBlock({slot(0), slot(1)}, 2), drop(2)}},
      {"group", {commitGroup(0, slot(2), 3), removeGroup(0)}},
  };
  chain.atOnce = {allAccepted()};
  if (size == Size::large) chain.atOnce.push_back(hopsAcceptedGroupsRefused());
  chain.refuses = size == Size::large;
  if (size != Size::large) {
    chain.before.push_back(giveRow(1));
    chain.actors[0].moves.erase(chain.actors[0].moves.begin());
    chain.actors[2].moves.pop_back();
    chain.actors[3].moves.pop_back();
  }
  if (size == Size::small) chain.actors.erase(chain.actors.begin() + 1);

  Scenario changes{"a record changes while hardware is quick or slow"};
  changes.before = {program(1)};
  changes.actors = {
      {"owner", {commitHop(0, {ext(1)}, 1), commitHop(0, {ext(1), nothing(), 1}, 2), removeHop(0)}},
      {"holder", {refHop(0, {ext(1)}, 0, 4), refBlock({slot(0)}, 2), drop(0)}},
      {"group", {commitGroup(0, slot(2), 3), drop(2)}},
      {"interface", {giveState(1, 0), giveState(1, 1)}},
  };
  changes.atOnce = everyAnswerAtOnce;
  changes.refuses = true;
  if (size != Size::large) changes.actors.pop_back();

  Scenario swaps{"a group swaps its block while hardware is quick or slow"};
  swaps.before = {program(1), refHop(0, {ext(1)}, 0), refBlock({slot(0)}, 2)};
  swaps.actors = {
      {"group",
       {commitGroup(0, slot(2), 1), commitGroup(0, slot(3), 2), commitGroup(0, slot(2), 3)}},
      {"blocks", {refHop(1, {ext(1)}, 1, 4), refBlock({slot(0), slot(1)}, 3), drop(3), drop(2)}},
      {"remover", {removeGroup(0)}},
      {"other", {refGroup(0, slot(2), 4, 4), drop(4)}},
  };
  swaps.atOnce = everyAnswerAtOnce;
  swaps.refuses = true;
  if (size != Size::large) swaps.actors.pop_back();
  swaps.letGoAnywhere = size == Size::large;

  Scenario ingressKeys{"an ingress next hop is answered at once or late"};
  ingressKeys.before = {program(0)};
  ingressKeys.actors = {
      {"owner",
       {commitIngress(0, {ext(1)}, 1), removeIngress(0),
        commitIngress(0, {ext(1), nothing(), 2}, 2)}},
      {"other", {commitIngress(0, {ext(1), nothing(), 1}, 3, 3), drop(3)}},
      {"interface", {giveRow(1), giveState(1, 1), giveState(1, 0), giveState(1, 1)}},
  };
  ingressKeys.atOnce = {allAccepted(), allRefused()};
  ingressKeys.refuses = true;
  ingressKeys.letGoAnywhere = size != Size::small;

  Scenario circle{"tables wait for each other while hardware is quick or slow"};
  circle.actors = {
      {"hop", {refHop(0, {ext(1)}, 0, 1), commitHop(0, {slot(4)}, 2), commitHop(0, {ext(1)}, 3)}},
      {"group", {refGroup(0, slot(0), 4, 4), drop(4)}},
      {"interface", {program(1)}},
      {"remover", {removeGroup(0)}},
  };
  circle.atOnce = everyAnswerAtOnce;
  circle.refuses = true;
  circle.untangle = {{Model::Kind::entryDelAll, {2}}};
  circle.letGoAnywhere = size == Size::large;

  Scenario twice{"late answers come twice and others at once"};
  twice.before = {program(1)};
  twice.actors = {
      {"owner", {commitHop(0, {ext(1)}, 1), removeHop(0), commitHop(1, {ext(1)}, 2)}},
      {"holder", {refHop(0, {ext(1), nothing(), 1}, 0, 3), refBlock({slot(0)}, 2), drop(0)}},
  };
  twice.atOnce = {allAccepted(), allRefused()};
  twice.refuses = true;
  twice.answersTwice = size == Size::large ? 2 : 1;
  twice.letGoAnywhere = size == Size::large;
  return {chain, changes, swaps, ingressKeys, circle, twice};
}

std::vector<Scenario> fullTables(Size size) {
  Scenario hops{"three next hops and one row"};
  hops.before = {fewRows(1)};
  hops.actors = {
      {"first", {commitHop(0, {ext(1)}, 1), removeHop(0)}},
      {"second",
       {commitHop(1, {ext(1)}, 2), commitHop(1, {ext(1), nothing(), 1}, 3), removeHop(1)}},
      {"third", {refHop(2, {ext(1)}, 0, 4), drop(0)}},
      {"interface", {program(1)}},
  };
  hops.refuses = true;
  hops.atOnce = {allAccepted(), allRefused()};
  hops.letGoAnywhere = true;
  if (size == Size::small) hops.atOnce.clear();

  Scenario groups{"two groups and one row"};
  groups.before = {fewRows(3), program(1)};
  groups.actors = {
      {"hop", {refHop(0, {ext(1)}, 0, 1), refBlock({slot(0)}, 2), together({drop(0), drop(2)})}},
      {"first", {commitGroup(0, slot(2), 2), removeGroup(0)}},
      {"second", {commitGroup(1, slot(2), 3), commitGroup(1, slot(2), 4, 1), removeGroup(1)}},
      {"third", {refGroup(2, slot(2), 4, 3), drop(4)}},
  };
  groups.refuses = size == Size::large;
  groups.atOnce = {allAccepted()};
  if (size != Size::large) groups.actors.pop_back();
  groups.letGoAnywhere = size != Size::small;

  Scenario members{"three blocks and three rows"};
  members.before = {fewRows(2), program(1), refHop(0, {ext(1)}, 0)};
  members.actors = {
      {"hop", {refHop(1, {ext(1)}, 1, 1)}},
      {"wide", {refBlock({slot(0), slot(1)}, 2), drop(2), refBlock({slot(0), slot(1)}, 2)}},
      {"narrow", {refBlock({slot(0)}, 3), drop(3)}},
      {"other", {refBlock({slot(1), slot(0)}, 4), drop(4)}},
      {"group", {commitGroup(0, slot(2), 2)}},
      {"other group", {commitGroup(1, slot(4), 3), removeGroup(1)}},
  };
  members.atOnce = {allAccepted()};
  members.refuses = size == Size::large;
  if (size != Size::large) members.actors.pop_back();
  members.letGoAnywhere = size == Size::large;
  return {hops, groups, members};
}

std::vector<Scenario> hardwareThatIsNotReady(Size size) {
  Scenario hops{"hardware is not ready for next hops"};
  hops.before = {program(1)};
  hops.actors = {
      {"hardware", {notReady(1), ready(1)}},
      {"owner",
       {commitHop(0, {ext(1)}, 1), commitHop(0, {ext(1), nothing(), 1}, 2),
        commitHop(0, {ext(1)}, 3)}},
      {"other", {refHop(1, {ext(1)}, 0, 4), drop(0)}},
      {"remover", {removeHop(0)}},
  };
  hops.refuses = size == Size::large;
  hops.atOnce = {allAccepted()};
  if (size != Size::large) hops.actors[1].moves.pop_back();
  hops.letGoAnywhere = size != Size::small;

  Scenario members{"hardware is not ready for members"};
  members.before = {program(1), refHop(0, {ext(1)}, 0), refHop(1, {ext(1)}, 1)};
  members.actors = {
      {"hardware", {notReady(2), ready(2)}},
      {"first", {refBlock({slot(0)}, 2), drop(2)}},
      {"second", {refBlock({slot(0), slot(1)}, 3), drop(3)}},
      {"group", {commitGroup(0, slot(2), 1), removeGroup(0)}},
      {"hops", {drop(0), drop(1)}},
  };
  members.refuses = size == Size::large;
  if (size != Size::large) members.actors[4].moves = {together({drop(0), drop(1)})};
  members.letGoAnywhere = true;

  Scenario groups{"hardware is not ready for groups"};
  groups.before = {program(1), refHop(0, {ext(1)}, 0)};
  groups.actors = {
      {"hardware", {notReady(3), ready(3)}},
      {"block", {refBlock({slot(0)}, 2), drop(2)}},
      {"owner", {commitGroup(0, slot(2), 1), commitGroup(0, slot(2), 2, 1), removeGroup(0)}},
      {"other", {refGroup(1, slot(2), 4, 3), drop(4)}},
      {"hop", {drop(0)}},
  };
  groups.refuses = size == Size::large;
  groups.atOnce = {allAccepted()};
  groups.letGoAnywhere = size != Size::small;
  if (size != Size::large) groups.actors.erase(groups.actors.begin() + 3);

  Scenario ingressKeys{"hardware is not ready for ingress next hops"};
  ingressKeys.before = {program(0)};
  ingressKeys.actors = {
      {"hardware", {notReady(0), ready(0)}},
      {"owner", {commitIngress(0, {ext(1)}, 1), commitIngress(0, {ext(1), nothing(), 1}, 2)}},
      {"remover", {removeIngress(0), removeIngress(0)}},
      {"interface", {program(1), giveState(1, 0)}},
  };
  ingressKeys.refuses = true;
  ingressKeys.atOnce = {allAccepted(), allRefused()};
  ingressKeys.letGoAnywhere = true;

  Scenario taken{"hardware is taken from the tables and given back"};
  taken.before = {program(1)};
  taken.actors = {
      {"platform",
       {together({takeHwTable(1), takeHwTable(2), takeHwTable(3)}),
        together({giveHwTable(3), giveHwTable(2), giveHwTable(1)})}},
      {"hop", {refHop(0, {ext(1)}, 0, 1), commitHop(0, {ext(1), nothing(), 1}, 2), drop(0)}},
      {"block", {refBlock({slot(0)}, 2), drop(2)}},
      {"group", {commitGroup(0, slot(2), 3), removeGroup(0)}},
  };
  taken.refuses = size == Size::large;
  taken.letGoAnywhere = size == Size::large;

  Scenario starting{"everything is written before hardware is ready"};
  starting.before = {notReady(1), notReady(2), notReady(3), program(1)};
  starting.actors = {
      {"hardware", {ready(1), ready(2), ready(3)}},
      {"hop", {refHop(0, {ext(1)}, 0, 1), commitHop(0, {ext(1), nothing(), 1}, 2), drop(0)}},
      {"block", {refBlock({slot(0)}, 2), drop(2), refBlock({slot(0)}, 2)}},
      {"group", {commitGroup(0, slot(2), 3), removeGroup(0)}},
  };
  starting.refuses = size == Size::large;
  starting.atOnce = {allAccepted()};
  starting.letGoAnywhere = size == Size::large;

  // Its handles stay with those who wait for them, and nobody answers any more.
  Scenario going{"the next hops' table goes before hardware is ready for it"};
  going.before = {notReady(1), program(1)};
  going.actors = {
      {"hardware", {ready(1)}},
      {"first", {refHop(0, {ext(1)}, 0, 1)}},
      {"second", {refHop(1, {ext(1)}, 1, 2), drop(1)}},
      {"block", {refBlock({slot(0), slot(1)}, 2), drop(2)}},
      {"group", {commitGroup(0, slot(2), 3), removeGroup(0)}},
      {"table", {destroy(1)}},
  };
  going.refuses = size == Size::large;
  going.atOnce = {allAccepted()};
  going.letGoAnywhere = size == Size::large;
  return {hops, members, groups, ingressKeys, taken, starting, going};
}

std::vector<Scenario> restarts(Size size, bool clears) {
  Scenario groups{std::string("the group table restarts, ") + (clears ? "cleared" : "not cleared")};
  groups.clearsOnRestart = clears;
  groups.before = {program(1), refHop(0, {ext(1)}, 0), refBlock({slot(0)}, 2)};
  groups.actors = {
      {"platform", {notReady(3), restart(3), ready(3)}},
      {"owner", {commitGroup(0, slot(2), 1), removeGroup(0), commitGroup(0, slot(2), 2, 1)}},
      {"other", {refGroup(1, slot(2), 4, 3), drop(4)}},
  };
  groups.refuses = true;
  groups.atOnce = {allAccepted()};
  groups.letGoAnywhere = true;

  Scenario all{std::string("tables restart, ") + (clears ? "cleared" : "not cleared")};
  all.clearsOnRestart = clears;
  all.before = {program(0), program(1)};
  all.actors = {
      {"platform",
       {together({notReady(0), notReady(1), notReady(2)}), restart(0), restart(1), restart(2),
        together({ready(2), ready(1), ready(0)})}},
      {"hop", {refHop(0, {ext(1)}, 0, 1), drop(0), refHop(1, {ext(1)}, 1, 2)}},
      {"block", {refBlock({slot(0)}, 2), drop(2)}},
      {"ingress", {commitIngress(0, {ext(1)}, 4), removeIngress(0)}},
  };
  all.refuses = size == Size::large;
  if (size != Size::large) {
    all.actors[1].moves.pop_back();
    all.actors[3].moves.pop_back();
  }
  all.letGoAnywhere = size == Size::large;
  return {groups, all};
}

}  // namespace Interleaving
