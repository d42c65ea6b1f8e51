// Every order of the events of a family of scenarios, with every rule looked at after each event.
// The counts are printed, and kept as properties of the tests.

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "Explorer.h"
#include "Family.h"
#include "LiveObjects.h"
#include "OrviaAsicUtils/Toggles.h"

namespace Interleaving {
namespace {

// Nothing is left behind by all the worlds either.
class Interleaving : public TableTests::LiveObjectsTest {};

void expectRulesKept(std::vector<Scenario> scenarios) {
  std::uint64_t transitions = 0;
  for (Scenario& scenario : scenarios) {
    if (size() == Size::large) {
      scenario.refuses = true;
      scenario.letGoAnywhere = true;
      ++scenario.answersTwice;
    }
    Options options;
    options.findings = 1;
    Report report = explore(scenario, options);
    if (!report.findings.empty()) report.findings = {shortestFinding(scenario)};
    std::cout << report.text() << std::endl;
    EXPECT_TRUE(report.findings.empty()) << report.text();
    // A scenario in which nothing can happen would keep every rule.
    EXPECT_GT(report.states, 50U) << scenario.name;
    EXPECT_GT(report.paths, 50U) << scenario.name;
    // Handlers beyond this many calls do not react any more.
    EXPECT_LT(report.handlerCalls, Model::maximumReactions) << scenario.name;
    transitions += report.transitions;
  }
  testing::Test::RecordProperty("transitions", std::to_string(transitions));
}

}  // namespace

std::vector<Scenario> wholeFamily(Size size) {
  std::vector<Scenario> all;
  for (auto const subject :
       {fiveEntries, changedRecords, sharedBlocks, safeSwaps, removals, rewritesWhileParked,
        answersTwice, tablesThatWaitForEachOther, rowsUsedAgain, handlersThatReenter,
        handlersThatReenterTheWrite, handlersThatPark, handlersThatRaise, answersFromWithinTheWrite,
        fullTables, hardwareThatIsNotReady, tablesThatGo}) {
    for (Scenario& scenario : subject(size)) all.push_back(std::move(scenario));
  }
  return all;
}

TEST_F(Interleaving, FiveEntriesOfAWholeChain) { expectRulesKept(fiveEntries(size())); }
TEST_F(Interleaving, RecordsThatChangeWhileTheOldOneWaitsForItsAnswer) {
  expectRulesKept(changedRecords(size()));
}
TEST_F(Interleaving, ABlockThatTwoGroupsShare) { expectRulesKept(sharedBlocks(size())); }
TEST_F(Interleaving, AGroupThatChangesItsBlockWithRefusals) { expectRulesKept(safeSwaps(size())); }
TEST_F(Interleaving, RemovalAndDroppingAtEveryMoment) { expectRulesKept(removals(size())); }
TEST_F(Interleaving, RecordsWrittenAgainWhileTheyAreParked) {
  expectRulesKept(rewritesWhileParked(size()));
}
TEST_F(Interleaving, AnswersThatComeTwice) { expectRulesKept(answersTwice(size())); }
TEST_F(Interleaving, TablesThatWaitForEachOthersHandles) {
  expectRulesKept(tablesThatWaitForEachOther(size()));
}
TEST_F(Interleaving, RowsThatAreUsedAgainBeforeTheOldAnswerComes) {
  expectRulesKept(rowsUsedAgain(size()));
}
TEST_F(Interleaving, HandlersThatReenterTheTables) { expectRulesKept(handlersThatReenter(size())); }
TEST_F(Interleaving, HandlersThatReenterTheTablesWithinTheWrite) {
  expectRulesKept(handlersThatReenterTheWrite(size()));
}
TEST_F(Interleaving, HandlersThatParkRecordsInTheMiddleOfAWrite) {
  expectRulesKept(handlersThatPark(size()));
}
TEST_F(Interleaving, HandlersThatRaise) { expectRulesKept(handlersThatRaise(size())); }
TEST_F(Interleaving, AnswersFromWithinTheWrite) {
  expectRulesKept(answersFromWithinTheWrite(size()));
}
TEST_F(Interleaving, TablesWithoutARowLeft) { expectRulesKept(fullTables(size())); }
TEST_F(Interleaving, HardwareThatIsNotReady) { expectRulesKept(hardwareThatIsNotReady(size())); }

// Each in a process of its own, that has not read the toggle yet.
TEST_F(Interleaving, RestartsByEitherToggle) {
  for (bool const clears : {true, false}) {
    EXPECT_EXIT(
        {
          OrviaAsicUtils::toggleReaderIs(
              [clears](char const*, char const*, bool) { return clears; });
          expectRulesKept(restarts(size(), clears));
          std::cerr << (clears ? "cleared" : "not cleared");
          std::exit(HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), clears ? "^cleared" : "^not cleared");
  }
}

TEST_F(Interleaving, TablesThatGoWithAnswersUnderWay) { expectRulesKept(tablesThatGo(size())); }

// That merging states loses nothing, in scenarios of the family and not only in small ones.
TEST_F(Interleaving, EverySingleOrderShowsWhatMergedStatesShow) {
  if (size() != Size::large) GTEST_SKIP() << "takes minutes: ORVIA_INTERLEAVING_LARGE=1";
  constexpr std::uint64_t most = 60'000;
  unsigned compared = 0;
  for (Scenario& scenario : wholeFamily(Size::usual)) {
    scenario.letGoAnywhere = false;
    Report const merged = explore(scenario);
    if (merged.paths > most) continue;
    Options options;
    options.mergeStates = false;
    Report const single = explore(scenario, options);
    std::cout << single.text() << std::endl;
    ++compared;
    EXPECT_TRUE(single.findings.empty()) << single.text();
    EXPECT_EQ(merged.paths, single.paths) << scenario.name;
    EXPECT_EQ(merged.states, single.states) << scenario.name;
    EXPECT_EQ(merged.ends, single.ends) << scenario.name;
  }
  EXPECT_GT(compared, 4U);
}

}  // namespace Interleaving
