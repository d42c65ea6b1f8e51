// Random sequences over the model and the tables, until they differ.
//
//   ORVIA_MODEL_STEPS=10000000 ORVIA_MODEL_SEED=7 test-model --gtest_filter='Model.*'
//
// A difference is shrunk and printed as a test for FoundTest.cpp. What the sequences came to is
// printed too: a kind of step that never has an effect is not tested.

#include <gtest/gtest.h>
#include <rapidcheck/Random.h>
#include <rapidcheck/seq/Transform.h>  // before Operations.h, which forgets it
#include <rapidcheck/shrinkable/Operations.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <set>

#include "Compare.h"
#include "Generate.h"

namespace Model {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool sanitized = true;
#elif defined(__has_feature)
constexpr bool sanitized = __has_feature(address_sanitizer);
#else
constexpr bool sanitized = false;
#endif

std::uint64_t fromEnvironment(char const* name, std::uint64_t otherwise) {
  char const* const value = std::getenv(name);
  return value != nullptr ? std::strtoull(value, nullptr, 10) : otherwise;
}

void compareMany(Profile profile) {
  std::uint64_t const wanted = fromEnvironment("ORVIA_MODEL_STEPS", sanitized ? 5'000 : 100'000);
  std::uint64_t const seed = fromEnvironment("ORVIA_MODEL_SEED", 1);
  auto const start = std::chrono::steady_clock::now();
  auto const generate = sequences(profile);
  rc::Random random(seed);
  Tally tally;
  while (tally.steps < wanted) {
    rc::Shrinkable<Sequence> const made = generate(random.split());
    std::string const found = differenceBetween(modelAndEngine(), made.value(), &tally);
    if (found.empty()) continue;
    auto const differs = [](Sequence const& sequence) { return !difference(sequence).empty(); };
    Sequence const least = rc::shrinkable::findLocalMin(made, differs).first;
    FAIL() << "seed " << seed << ", sequence " << tally.sequences << ", made as small as it goes:\n"
           << difference(least) << "\n"
           << pasted(least);
  }
  std::chrono::duration<double> const taken = std::chrono::steady_clock::now() - start;
  std::cout << "seed " << seed << ", " << taken.count() << " s: " << tally.text();

  // What never shows in a log by itself.
  std::set<Kind> const silent{Kind::answerMode,
                              Kind::tableReacts,
                              Kind::pendingZombie,
                              Kind::neededZombie,
                              Kind::neededEntryHandleSmDel,
                              Kind::neededEntryHandleSmDelAll};
  if (wanted < 50'000) return;  // too few to say that something is never reached
  for (Kind const kind : kindsOf(profile)) {
    if (silent.contains(kind)) continue;
    EXPECT_GT(tally.withEffect[static_cast<std::size_t>(kind)], 0U) << kindName(kind);
  }
  for (std::uint64_t const rows : tally.writes) EXPECT_GT(rows, wanted / 100);
  EXPECT_GT(tally.aborts, 0U);
  EXPECT_GT(tally.exceptions, 0U);
  EXPECT_GT(tally.handlerCalls, 0U);
}

TEST(Model, AgreesWithTheTablesOnWhatCallersDo) { compareMany(Profile::callers); }

TEST(Model, AgreesWithTheTablesOnEverythingThatCanBeDone) { compareMany(Profile::everything); }

}  // namespace
}  // namespace Model
