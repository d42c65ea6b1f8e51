// The enumeration itself: that it is complete, and that merging states and taking equal actors in
// order lose nothing.

#include <gtest/gtest.h>

#include "Explorer.h"

namespace Interleaving {
namespace {

std::vector<Move> handleChanges(std::uint32_t externNumber, std::size_t moves) {
  std::vector<Move> result;
  for (std::size_t n = 0; n < moves; ++n) {
    result.push_back(giveState(externNumber, n % 2 == 0 ? 1 : 2));
  }
  return result;
}

std::uint64_t binomial(std::uint64_t n, std::uint64_t k) {
  std::uint64_t result = 1;
  for (std::uint64_t i = 1; i <= k; ++i) result = result * (n - k + i) / i;
  return result;
}

Options everySingleOrder() {
  Options options;
  options.mergeStates = false;
  options.symmetry = false;
  return options;
}

void expectClean(Report const& report) { EXPECT_TRUE(report.findings.empty()) << report.text(); }

// A next hop that waits for its interface, is written, answered, and let go of; with a second one
// beside it.
Scenario smallChain() {
  Scenario scenario{"small chain"};
  scenario.actors = {
      {"first", {refHop(0, {ext(1)}, 0), drop(0)}},
      {"second", {commitHop(1, {ext(1)}, 2), removeHop(1)}},
      {"interface", {program(1)}},
  };
  scenario.refuses = true;
  return scenario;
}

// A block that waits for two next hops, one of which is written again meanwhile.
Scenario smallBlock() {
  Scenario scenario{"small block"};
  scenario.before = {program(1)};
  scenario.actors = {
      {"first", {refHop(0, {ext(1)}, 0), commitHop(0, {ext(1), nothing(), 1})}},
      {"second", {refHop(1, {ext(1)}, 1)}},
      {"block", {refBlock({slot(0), slot(1)}, 2), drop(2)}},
  };
  return scenario;
}

// A group whose handler writes it again, over another block.
Scenario smallSwap() {
  Scenario scenario{"small swap"};
  scenario.before = {program(1), refHop(0, {ext(1)}, 0), refBlock({slot(0)}, 2)};
  scenario.actors = {
      {"group", {commitGroup(0, slot(2), 1), removeGroup(0)}},
      {"block", {refBlock({slot(0), slot(0)}, 3), drop(2), drop(3)}},
  };
  scenario.reactions[0] = commitGroup(0, slot(3), 2, 1).steps;
  scenario.refuses = true;
  return scenario;
}

}  // namespace

TEST(Enumeration, TakesEveryOrderOfTwoListsOnce) {
  for (std::size_t n = 0; n <= 5; ++n) {
    for (std::size_t m = 0; m <= 4; ++m) {
      Scenario scenario{"two lists"};
      scenario.actors = {{"one", handleChanges(1, n)}, {"other", handleChanges(2, m)}};
      Report const report = explore(scenario, everySingleOrder());
      expectClean(report);
      EXPECT_EQ(report.paths, binomial(n + m, n)) << n << " and " << m;
      EXPECT_EQ(report.longest, n + m);
    }
  }
}

TEST(Enumeration, TakesEveryOrderOfThreeListsOnce) {
  Scenario scenario{"three lists"};
  scenario.actors = {
      {"one", handleChanges(1, 2)}, {"two", handleChanges(2, 3)}, {"three", handleChanges(3, 2)}};
  Report const report = explore(scenario, everySingleOrder());
  expectClean(report);
  EXPECT_EQ(report.paths, binomial(7, 2) * binomial(5, 3));
}

TEST(Enumeration, TakesAnAnswerAtEveryMomentAfterItsWrite) {
  // The hop is written first; its answer comes in one of the four places among three others.
  Scenario scenario{"one answer"};
  scenario.before = {program(1), refHop(0, {ext(1)}, 0)};
  scenario.beforeIsAnswered = false;
  scenario.actors = {{"others", handleChanges(2, 3)}};
  Report const accepted = explore(scenario, everySingleOrder());
  expectClean(accepted);
  EXPECT_EQ(accepted.paths, 4U);

  scenario.refuses = true;
  EXPECT_EQ(explore(scenario, everySingleOrder()).paths, 8U);

  // An answer that comes twice takes two of five places, and refused or accepted each time.
  scenario.answersTwice = 1;
  EXPECT_EQ(explore(scenario, everySingleOrder()).paths, 8U + 4U * binomial(5, 2));
}

TEST(Enumeration, TakesEachWriteWithEveryWayOfAnsweringIt) {
  // Late accepted, late refused, at once accepted, at once refused.
  Scenario scenario{"one write"};
  scenario.before = {program(1)};
  scenario.actors = {{"hop", {refHop(0, {ext(1)}, 0)}}, {"others", {}}};
  scenario.refuses = true;
  scenario.atOnce = {allAccepted(), allRefused()};
  Report const alone = explore(scenario, everySingleOrder());
  expectClean(alone);
  EXPECT_EQ(alone.paths, 4U);
  EXPECT_EQ(alone.ends, 2U);

  // The other moves write nothing, so they come in one way: two among write and late answer, or
  // around the write alone.
  scenario.actors[1].moves = handleChanges(2, 2);
  Report const among = explore(scenario, everySingleOrder());
  expectClean(among);
  EXPECT_EQ(among.paths, 2U * binomial(4, 2) + 2U * binomial(3, 1));
  EXPECT_EQ(explore(scenario).paths, among.paths);

  // A group's write is the same event when only next hops would be answered at once.
  scenario.atOnce = {hopsAccepted()};
  scenario.refuses = false;
  scenario.before = {program(1), refHop(0, {ext(1)}, 0), refBlock({slot(0)}, 2)};
  scenario.actors = {{"group", {commitGroup(0, slot(2))}}};
  EXPECT_EQ(explore(scenario, everySingleOrder()).paths, 1U);
}

TEST(Enumeration, CountsTheOrdersThatItDoesNotGoThrough) {
  Scenario scenario{"two lists, merged"};
  scenario.actors = {{"one", handleChanges(1, 5)}, {"other", handleChanges(2, 4)}};
  Report const report = explore(scenario);
  expectClean(report);
  EXPECT_EQ(report.paths, binomial(9, 4));
  EXPECT_EQ(report.states, 6U * 5U);
  EXPECT_EQ(report.transitions, 5U * 5U + 6U * 4U);
}

TEST(Enumeration, MergingStatesLosesNeitherOrderNorState) {
  Scenario quick = smallSwap();
  quick.name = "small swap, answered at once or late";
  quick.atOnce = {allAccepted(), allRefused()};
  for (Scenario const& scenario : {smallChain(), smallBlock(), smallSwap(), quick}) {
    Report const merged = explore(scenario);
    Report const single = explore(scenario, everySingleOrder());
    expectClean(merged);
    expectClean(single);
    EXPECT_EQ(merged.paths, single.paths) << scenario.name;
    EXPECT_EQ(merged.states, single.states) << scenario.name;
    EXPECT_EQ(merged.ends, single.ends) << scenario.name;
    EXPECT_EQ(merged.longest, single.longest) << scenario.name;
    EXPECT_LT(merged.transitions * 5, single.transitions) << scenario.name;
  }
}

TEST(Enumeration, TakesInterchangeableActorsInOrder) {
  Scenario scenario{"three equal lists"};
  Actor const toy{"one of three", handleChanges(1, 2)};
  scenario.actors = {toy, toy, toy};
  Options inAnyOrder = everySingleOrder();
  EXPECT_EQ(explore(scenario, inAnyOrder).paths, 90U);
  inAnyOrder.symmetry = true;
  // Of six places, in each beginning no actor is ahead of the one before it.
  EXPECT_EQ(explore(scenario, inAnyOrder).paths, 5U);

  // What can be reached is the same.
  Actor const actor{"one of three", {commitHop(0, {ext(1)}), removeHop(0)}};
  scenario.before = {program(1)};
  scenario.actors = {actor, actor, actor};
  scenario.refuses = true;
  Options options;
  Report const ordered = explore(scenario, options);
  options.symmetry = false;
  Report const all = explore(scenario, options);
  expectClean(all);
  expectClean(ordered);
  EXPECT_EQ(all.ends, ordered.ends);
  EXPECT_EQ(all.longest, ordered.longest);
  EXPECT_LT(ordered.states * 2, all.states);
}

TEST(Enumeration, MirroredStatesAreOne) {
  Scenario scenario{"two next hops alike"};
  scenario.actors = {
      {"first", {commitHop(0, {ext(1)}, 1), removeHop(0)}},
      {"second", {commitHop(1, {ext(1)}, 1), removeHop(1)}},
      {"interface", {program(1)}},
  };
  scenario.refuses = true;
  Report const plain = explore(scenario);
  scenario.mirrors = {{0, 1, {{"k0", "k1"}}}};
  Report const mirrored = explore(scenario);
  expectClean(plain);
  expectClean(mirrored);
  EXPECT_EQ(plain.paths, mirrored.paths);
  EXPECT_EQ(plain.longest, mirrored.longest);
  EXPECT_LT(mirrored.states * 3, plain.states * 2);
}

}  // namespace Interleaving
