// The rules can be broken as well where hardware answers from within the write, cannot be called or
// has no row left, and where handlers raise or park something.

#include <cstdlib>
#include <iostream>

#include "Family.h"
#include "Faults.h"
#include "OrviaAsicUtils/Toggles.h"

namespace Interleaving {
namespace {

constexpr std::uint32_t hopTable = 1;
constexpr std::uint32_t groupTable = 3;

// A next hop, a block and a group, each answered at once or late.
Scenario quickChain() {
  Scenario scenario{"faulty quick chain"};
  scenario.before = {program(1)};
  scenario.actors = {
      {"hop", {refHop(0, {ext(1)}, 0, 1), drop(0)}},
      {"block", {refBlock({slot(0)}, 2), drop(2)}},
      {"group", {commitGroup(0, slot(2), 2), removeGroup(0)}},
  };
  scenario.atOnce = {allAccepted(), allRefused()};
  return scenario;
}

Scenario groupsAndReadiness() {
  Scenario scenario{"faulty readiness"};
  scenario.before = {program(1), refHop(0, {ext(1)}, 0), refBlock({slot(0)}, 2)};
  scenario.actors = {
      {"hardware", {notReady(groupTable), ready(groupTable)}},
      {"owner", {commitGroup(0, slot(2), 1), commitGroup(0, slot(2), 2, 1)}},
  };
  return scenario;
}

Scenario oneRow() {
  Scenario scenario{"faulty rows"};
  scenario.before = {fewRows(hopTable), program(1)};
  scenario.actors = {
      {"first", {commitHop(0, {ext(1)}, 1), removeHop(0)}},
      {"second", {commitHop(1, {ext(1)}, 2), commitHop(1, {ext(1), nothing(), 1}, 2)}},
  };
  return scenario;
}

bool contains(Lines const& lines, std::string const& beginning) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](std::string const& line) { return line.starts_with(beginning); });
}

// The step is not done, and what would announce it is told nevertheless.
Fault onlyTold(Step const& instead, std::string const& line) {
  auto const told = std::make_shared<bool>(false);
  return {[=](Model::World& tables, Step const& step) {
            if (step == instead) {
              *told = true;
            } else {
              tables.stepIs(step);
            }
          },
          [=](Lines& lines) {
            if (std::exchange(*told, false)) lines.push_back(line);
          },
          {}};
}

}  // namespace

TEST(BrokenHardware, ScenariosAreWholeWithoutAFault) {
  for (Scenario const& scenario : {quickChain(), groupsAndReadiness(), oneRow()}) {
    Report const report = explore(scenario, with({}));
    EXPECT_TRUE(report.findings.empty()) << report.text();
    EXPECT_GT(report.states, 5U);
  }
}

TEST(BrokenHardware, KeepsAnAnswerWithinTheWriteFromTheHandler) {
  expectBroken(rule::heard,
               {{},
                [](Lines& lines) {
                  if (contains(lines, "group write")) std::erase(lines, "handler 2 hears 1");
                },
                {}},
               quickChain());
}

TEST(BrokenHardware, AnswersWithinTheWriteWhatItWasNotAskedFor) {
  expectBroken(rule::answered, {[](Model::World& tables, Step step) {
                 if (step.kind == Kind::answerMode && step.n[1] == AtOnce::accepted) {
                   step.n[1] = AtOnce::refused;
                 }
                 tables.stepIs(step);
               }},
               quickChain());
}

TEST(BrokenHardware, LosesWhatAHandlerParksInTheMiddleOfAWrite) {
  Scenario scenario = quickChain();
  scenario.reactions[0] = commitHop(0, {ext(2)}, 4).steps;
  expectBroken(rule::held, after(Kind::hopRef, {Kind::unresolvedEntryDel, {hopTable, 0}}),
               scenario);
  // Another record in its place.
  expectBroken(rule::held,
               {{},
                {},
                replaced("hop parked k0 e2/none/0 needed 1 seen 0 watching 9",
                         "hop parked k0 e3/none/0 needed 1 seen 0 watching 9")},
               scenario);
}

TEST(BrokenHardware, ForgetsWhoWaitsWhenAHandlerRaises) {
  Scenario scenario = quickChain();
  scenario.reactions[0] = raise().steps;
  // The group's parked record loses its place among those that watch.
  expectBroken(rule::forgotten,
               {[](Model::World& tables, Step const& step) {
                  tables.stepIs(step);
                  if (step.kind == Kind::groupCommit) {
                    tables.stepIs({Kind::unresolvedEntryDel, {2, 0}});
                    tables.stepIs({Kind::entryDel, {2, 0}});
                  }
                },
                {},
                [](Lines& lines) {
                  // As if nobody had asked it.
                  if (!contains(lines, "member#1 row 0 state 1")) return;
                  lines.push_back("group parked g0 member#1/0 needed 1 seen 0 watching 3");
                }},
               scenario);
  // A handler that raises keeps another one's from hearing.
  Scenario several = quickChain();
  several.reactions[0] = raise().steps;
  several.actors[2].moves = {commitGroup(0, slot(2), 2)};
  expectBroken(rule::heard,
               {{},
                [](Lines& lines) {
                  if (contains(lines, "raises ")) std::erase(lines, "handler 2 hears 1");
                },
                {}},
               several);
}

TEST(BrokenHardware, RefusesARowThatIsFree) {
  // Next hops have five rows here, and say that they have none.
  expectBroken(rule::room,
               {{},
                [](Lines& lines) {
                  if (!contains(lines, "hop write")) return;
                  lines.push_back(
                      "raises no free run of width 1: table size 6, free rows 0, largest free run "
                      "0");
                },
                {}},
               quickChain());
}

TEST(BrokenHardware, LeavesARecordWithoutARowWhenThereIsRoom) {
  // The row that came back is not told.
  expectBroken(rule::room, {{}, {}, [](Lines& lines) { std::erase(lines, "hop row k1 0"); }},
               oneRow());
}

TEST(BrokenHardware, IsCalledWhileItIsNotReady) {
  expectBroken(rule::ready,
               onlyTold({Kind::hwReady, {groupTable, 0}}, "group announces hwTableReady"),
               groupsAndReadiness());
}

TEST(BrokenHardware, IsNotCalledWhenItIsReadyAgain) {
  expectBroken(rule::hardware,
               onlyTold({Kind::hwReady, {groupTable, 1}}, "group announces hwTableReady"),
               groupsAndReadiness());
}

TEST(BrokenHardware, LosesAnAnswerOnceItIsReadyAgain) {
  expectBroken(rule::awaited, {[](Model::World& tables, Step const& step) {
                 tables.stepIs(step);
                 if (step == Step{Kind::hwReady, {groupTable, 1}}) {
                   tables.stepIs({Kind::answerMode, {groupTable, 3}});
                 }
               }},
               groupsAndReadiness());
}

// In processes of their own: they read the toggle.
TEST(BrokenHardware, IsAskedForTheWrongThingByARestart) {
  auto const brokenBy = [](Fault const& fault, bool told) {
    EXPECT_EXIT(
        {
          OrviaAsicUtils::toggleReaderIs([](char const*, char const*, bool) { return true; });
          Options options = with(fault);
          options.until = rule::restart;
          Report const report = explore(restarts(Size::small, told).front(), options);
          std::cerr << report.text();
          std::exit(report.found(rule::restart) ? 0 : 1);
        },
        testing::ExitedWithCode(0), "broken: a restart asks hardware for one thing");
  };
  // Cleared where the old rows should stay; cleared twice.
  brokenBy({}, false);
  brokenBy(after(Kind::syncEntries, {Kind::syncEntries, {groupTable}}), true);
}

}  // namespace Interleaving
