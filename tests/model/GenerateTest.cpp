// That sequences are what Generate.h promises, and shrink to what matters.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck/Random.h>
#include <rapidcheck/seq/Transform.h>  // before Operations.h, which forgets it
#include <rapidcheck/shrinkable/Operations.h>

#include <algorithm>
#include <set>

#include "Generate.h"

namespace Model {
namespace {

std::vector<Sequence> some(Profile profile, std::size_t count) {
  std::vector<Sequence> made;
  rc::Random random(7);
  auto const generate = sequences(profile);
  for (std::size_t i = 0; i < count; ++i) made.push_back(generate(random.split()).value());
  return made;
}

std::size_t reactionSteps(Sequence const& sequence) {
  std::size_t steps = 0;
  for (auto const& reaction : sequence.reactions) steps += reaction.size();
  return steps;
}

TEST(Generate, HasOneToAHundredAndTwentySteps) {
  std::set<std::size_t> lengths;
  for (Sequence const& sequence : some(Profile::everything, 3000)) {
    lengths.insert(sequence.steps.size());
  }
  EXPECT_EQ(*lengths.begin(), 1U);
  EXPECT_EQ(*lengths.rbegin(), 120U);
}

TEST(Generate, ReactsInAboutAThirdOfTheSequences) {
  auto const made = some(Profile::callers, 3000);
  auto const reacting = std::count_if(made.begin(), made.end(), [](Sequence const& sequence) {
    return reactionSteps(sequence) != 0;
  });
  EXPECT_GT(reacting, 800);
  EXPECT_LT(reacting, 1200);
}

TEST(Generate, UsesExactlyTheKindsOfTheProfile) {
  for (Profile const profile : {Profile::callers, Profile::everything}) {
    std::set<Kind> found;
    for (Sequence const& sequence : some(profile, 3000)) {
      for (Step const& step : sequence.steps) found.insert(step.kind);
    }
    EXPECT_THAT(kindsOf(profile), testing::UnorderedElementsAreArray(found));
    EXPECT_EQ(found.count(Kind::raise), 0U);
  }
  EXPECT_EQ(kindsOf(Profile::everything).size(), static_cast<std::size_t>(Kind::raise));
}

TEST(Generate, RepeatsItselfForTheSameSeed) {
  auto const first = some(Profile::everything, 20);
  auto const second = some(Profile::everything, 20);
  for (std::size_t i = 0; i < first.size(); ++i) {
    EXPECT_EQ(first[i].steps, second[i].steps);
    EXPECT_EQ(first[i].reactions, second[i].reactions);
  }
  EXPECT_NE(first[0].steps, first[1].steps);
}

TEST(Generate, ShrinksToTheStepsAndNumbersThatMatter) {
  // Two steps in their order, one of them with a number that must not be too small.
  auto const matters = [](Sequence const& sequence) {
    auto const commit = std::find_if(
        sequence.steps.begin(), sequence.steps.end(),
        [](Step const& step) { return step.kind == Kind::hopCommit && step.n[1] % 13 >= 2; });
    return std::any_of(commit, sequence.steps.end(),
                       [](Step const& step) { return step.kind == Kind::remove; });
  };
  rc::Random random(1);
  auto const generate = sequences(Profile::callers);
  for (int found = 0; found < 5;) {
    rc::Shrinkable<Sequence> const made = generate(random.split());
    if (!matters(made.value())) continue;
    ++found;
    Sequence const least = rc::shrinkable::findLocalMin(made, matters).first;
    EXPECT_EQ(least.steps, (std::vector<Step>{{Kind::hopCommit, {0, 2}}, {Kind::remove, {}}}));
    EXPECT_EQ(reactionSteps(least), 0U);
  }
}

TEST(Generate, ShrinksReactionsToo) {
  auto const matters = [](Sequence const& sequence) {
    auto const& reaction = sequence.reactions[2];
    return std::any_of(reaction.begin(), reaction.end(),
                       [](Step const& step) { return step.kind == Kind::answer; });
  };
  rc::Random random(1);
  auto const generate = sequences(Profile::callers);
  rc::Shrinkable<Sequence> made = generate(random.split());
  while (!matters(made.value())) made = generate(random.split());
  Sequence const least = rc::shrinkable::findLocalMin(made, matters).first;
  EXPECT_TRUE(least.steps.empty());
  EXPECT_EQ(least.reactions[2], (std::vector<Step>{{Kind::answer, {}}}));
  EXPECT_EQ(reactionSteps(least), 1U);
}

}  // namespace
}  // namespace Model
