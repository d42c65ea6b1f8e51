// Each rule can be broken: the tables are wrapped so that they do one thing wrong, and the
// enumeration says so.

#include "Faults.h"

namespace Interleaving {
namespace {

// Two next hops, a block and a group, with everything answered.
Scenario chain() {
  Scenario scenario{"faulty chain"};
  scenario.before = {program(1)};
  scenario.actors = {
      {"hops", {refHop(0, {ext(1)}, 0, 1), refHop(1, {ext(1), ext(2)}, 1, 1)}},
      {"interface", {program(2)}},
      {"block", {refBlock({slot(0), slot(1)}, 2), together({drop(0), drop(1)})}},
      {"group", {commitGroup(0, slot(2), 2), drop(2)}},
  };
  return scenario;
}

void expectBroken(char const* rule, Fault const& fault) { expectBroken(rule, fault, chain()); }

constexpr std::uint32_t hopTable = 1;

}  // namespace

TEST(BrokenTables, AreWholeWithoutAFault) {
  Report const report = explore(chain(), with({}));
  EXPECT_TRUE(report.findings.empty()) << report.text();
}

TEST(BrokenTables, CallAHandlerWithZero) {
  expectBroken(rule::handlers, {{}, replaced("handler 1 hears 1", "handler 1 hears 0"), {}});
}

TEST(BrokenTables, KeepAnAnswerFromTheHandler) {
  expectBroken(rule::heard, ahead(Kind::answer, {Kind::pendingZombie, {hopTable, 0, 1}}));
  expectBroken(rule::heard, {{},
                             [](Lines& lines) {
                               Lines const copy = lines;
                               for (std::string const& line : copy) {
                                 if (line.starts_with("handler 2 ")) lines.push_back(line);
                               }
                             },
                             {}});
}

TEST(BrokenTables, GiveARowToTwoKeys) {
  expectBroken(rule::rowOwner, {{}, {}, replaced("hop row k1 2", "hop row k1 1")});
  expectBroken(rule::rowOwner, {{}, {}, [](Lines& lines) {
                                  Lines const copy = lines;
                                  for (std::string const& line : copy) {
                                    if (line.starts_with("member run ")) lines.push_back(line);
                                  }
                                }});
}

TEST(BrokenTables, KeepARowWithoutARecord) {
  expectBroken(rule::rowLeak, {{}, {}, [](Lines& lines) {
                                 std::erase_if(lines, [](std::string const& line) {
                                   return line.starts_with("group record ");
                                 });
                               }});
}

TEST(BrokenTables, DoNotWriteARecord) {
  // What makes them not do it is kept from the log.
  auto const silently = [](std::string const& table, Fault fault) {
    fault.log = without(table + " announces hwTableReady");
    return fault;
  };
  expectBroken(rule::hardware,
               silently("hop", after(Kind::hopRef, {Kind::hwReady, {hopTable, 0}})));

  Scenario keyRows{"faulty key rows"};
  keyRows.before = {program(0), program(1)};
  keyRows.actors = {{"ingress", {commitIngress(0, {ext(1)}), removeIngress(0)}}};
  EXPECT_TRUE(explore(keyRows).findings.empty());
  expectBroken(rule::hardware,
               silently("ingress", ahead(Kind::ingressCommit, {Kind::hwReady, {0, 0}})), keyRows);
  expectBroken(rule::hardware, silently("ingress", ahead(Kind::remove, {Kind::hwReady, {0, 0}})),
               keyRows);
}

TEST(BrokenTables, WriteAGroupAheadOfItsBlock) {
  expectBroken(rule::blockFirst, {[](Model::World& tables, Step const& step) {
                 tables.stepIs(step);
                 if (step.kind == Kind::groupCommit) {
                   tables.stepIs({Kind::entryIs, {2, step.n[0], step.n[1]}});
                 }
               }});
}

TEST(BrokenTables, TakeANextHopForProgrammedBeforeItIsAnswered) {
  Fault const fault = after(Kind::hopRef, {Kind::handleState, {0, 1}});
  expectBroken(rule::answered, fault);
  // Nobody is told, either.
  Scenario scenario = chain();
  scenario.actors[0].moves = {refHop(0, {ext(1)}, 0), refHop(1, {ext(1), ext(2)}, 1)};
  // What was broken first must not hide what follows from it: the change is kept from the log.
  expectBroken(rule::hopFirst,
               {fault.step,
                [](Lines& lines) {
                  std::erase_if(lines, [](std::string const& line) {
                    return line.starts_with("hop#") && line.ends_with(" state 1");
                  });
                },
                {}},
               scenario);
}

TEST(BrokenTables, TakeABlockAwayUnderItsGroup) {
  expectBroken(rule::pointers, ahead(Kind::drop, {Kind::entryBlockDel, {0, 2}}));
}

TEST(BrokenTables, WriteARowAgainWhileItsHandleShowsAnAnswer) {
  // The change to 0 is kept from the log.
  expectBroken(
      rule::reset,
      {after(Kind::groupCommit, {Kind::handleEntry, {1, 0}}).step, without("hop#1 state 0"), {}});
}

TEST(BrokenTables, LoseAnAnswer) {
  expectBroken(rule::awaited, ahead(Kind::hopRef, {Kind::answerMode, {hopTable, 3}}));
}

TEST(BrokenTables, ForgetAParkedRecord) {
  // k1 needs two handles and has seen the first; the count loses it.
  expectBroken(rule::forgotten, after(Kind::hopRef, {Kind::successCountIs, {hopTable, 1, 0}}));
}

TEST(BrokenTables, CountAMemberThatIsNotProgrammed) {
  expectBroken(rule::counted, {[](Model::World& tables, Step const& step) {
                 tables.stepIs(step);
                 if (step.kind == Kind::drop && step.n[0] == 0) {
                   tables.stepIs({Kind::successCountInc, {2, 2, 1}});
                 }
               }});
}

TEST(BrokenTables, WriteAnotherRecordThanTheCallersOne) {
  expectBroken(rule::held, {[](Model::World& tables, Step step) {
                 if (step.kind == Kind::groupCommit) step.n[1] += 13;  // one path more
                 tables.stepIs(step);
               }});
}

TEST(BrokenTables, LoseARecordInAnAnswer) {
  expectBroken(rule::held, ahead(Kind::answer, {Kind::unresolvedEntryDel, {2, 0}}));
}

TEST(BrokenTables, KeepAnObjectThatNobodySees) {
  expectBroken(rule::objects,
               {{}, {}, replaced("live group PendingEntrySm 1", "live group PendingEntrySm 2")});
  expectBroken(rule::objects, {{}, {}, [](Lines& lines) {
                                 std::erase_if(lines, [](std::string const& line) {
                                   return line.starts_with("hop parked ");
                                 });
                               }});
}

TEST(BrokenTables, DoNotSayWhatTheyWrite) {
  expectBroken(rule::journal, {{},
                               [](Lines& lines) {
                                 std::erase_if(lines, [](std::string const& line) {
                                   return line.starts_with("group write ");
                                 });
                               },
                               {}});
}

TEST(BrokenTables, KeepAKeyThatIsRemoved) {
  expectBroken(rule::leftovers, {[](Model::World& tables, Step const& step) {
                 if (step.kind != Kind::remove || step.n[0] != 2) tables.stepIs(step);
               }});
}

TEST(BrokenTables, LetALateAnswerChangeSomething) {
  // The handle of e5 stands for anything that a late answer could reach.
  Scenario scenario = chain();
  scenario.letGoAnywhere = true;
  expectBroken(rule::late, after(Kind::answer, {Kind::externState, {5, 1}}), scenario);
}

TEST(BrokenTables, WriteAgainAfterEachAnswer) {
  expectBroken(rule::progress, after(Kind::answer, {Kind::handleEntry, {2, 0}}));
}

TEST(BrokenTables, AreShownWithAShortestPath) {
  Fault const fault{[](Model::World& tables, Step const& step) {
    if (step.kind == Kind::drop && step.n[0] == 0) tables.stepIs({Kind::entryBlockDel, {0, 2}});
    tables.stepIs(step);
  }};
  Finding const finding = shortestFinding(chain(), with(fault));
  std::vector<std::string> names;
  for (Event const& event : finding.path) names.push_back(event.name);
  // Everything that a written group needs, and the drop.
  EXPECT_EQ(names.size(), 8U) << testing::PrintToString(names);
  EXPECT_EQ(names.back(), "block drops slot 0, drops slot 1");
  // There is none with fewer events.
  Options options = with(fault);
  options.longestPath = 7;
  EXPECT_TRUE(explore(chain(), options).findings.empty());
  options.longestPath = 8;
  EXPECT_FALSE(explore(chain(), options).findings.empty());
}

using BrokenTablesDeath = testing::Test;

TEST(BrokenTablesDeath, TellTheirPathWhenAnAssertionEndsTheProcess) {
  // Only row 0 can be asked for.
  Fault const fault = ahead(Kind::memberRef, {Kind::hopWriteAtIndex, {2, 2, 1, 0}});
  EXPECT_DEATH(
      explore(chain(), with(fault)),
      "index is not within reserved range(.|\n)*under way: faulty chain\n    hops refs k0(.|\n)*"
      "block refs a block");
}

}  // namespace Interleaving
