// That the tables' world says what World.h says, by hand-made steps.

#include <gtest/gtest.h>

#include <algorithm>

#include "EngineWorld.h"
#include "LiveObjects.h"

namespace Model::Engine {
namespace {

class EngineWorldTest : public TableTests::LiveObjectsTest {
 protected:
  // A row and an accepting answer for a handle from outside.
  static void program(EngineWorld& world, std::uint32_t which) {
    world.stepIs({Kind::externRow, {which, 1}});
    world.stepIs({Kind::externState, {which, 1}});
    static_cast<void>(world.takeLog());
  }
  static Lines logOf(EngineWorld& world, Step const& step) {
    world.stepIs(step);
    return world.takeLog();
  }
  static bool has(Lines const& lines, std::string const& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
  // Without traces.
  static Lines quiet(Lines lines) {
    std::erase_if(
        lines, [](std::string const& line) { return line.find(" trace ") != std::string::npos; });
    return lines;
  }
};

TEST_F(EngineWorldTest, StartsSilentWithSixHandlesAndNothingElse) {
  EngineWorld world;
  EXPECT_EQ(world.takeLog(), Lines{});
  Lines state = world.snapshot();
  EXPECT_TRUE(std::is_sorted(state.begin(), state.end()));
  std::erase_if(state, [](std::string const& line) { return line.starts_with("live "); });
  EXPECT_EQ(state, (Lines{"e0 row none state 0", "e1 row none state 0", "e2 row none state 0",
                          "e3 row none state 0", "e4 row none state 0", "e5 row none state 0",
                          "slot 0 none", "slot 1 none", "slot 2 none", "slot 3 none", "slot 4 none",
                          "slot 5 none"}));
}

TEST_F(EngineWorldTest, LogsAParkedNextHopFromItsHandleToItsEnd) {
  EngineWorld world;
  EXPECT_EQ(logOf(world, {Kind::hopRef, {1, 2, 3}}),
            (Lines{"hop trace 3 entryRefWithResponseHandler : Returning a new pending entry: ",
                   "hop announces rawEntryHandle k1", "hop announces unresolvedEntry k1",
                   "hop trace 3 initializeUnresolvedEntry: initializing the unresolvedEntry: ",
                   "hop trace 3 doEnclosingInit: initializing neededEntryHandleSm: 9",
                   "hop trace 3 handleEntryProgramming: returning from ", "returns hop#1"}));
  Lines const state = world.snapshot();
  for (char const* line :
       {"hop parked k1 e1/none/0 needed 1 seen 0 watching 9", "hop registered k1 hop#1",
        "hop#1 row none state 0 mode 0 handler 3", "slot 0 hop#1", "live hop EntryHandle 1",
        "live hop NeededEntryHandleSm 1", "live ingress EntryHandle 0"}) {
    EXPECT_TRUE(has(state, line)) << line;
  }
  EXPECT_EQ(
      logOf(world, {Kind::drop, {0}}),
      (Lines{"hop announces unresolvedEntry k1", "hop announces rawEntryHandle k1", "hop#1 gone"}));
}

TEST_F(EngineWorldTest, ChainsAGroupOverABlockOverANextHopAndReacts) {
  EngineWorld world({{{{Kind::getEntry, {1, 0}}}, {}, {}, {}}});
  program(world, 0);
  EXPECT_EQ(quiet(logOf(world, {Kind::hopRef, {0, 1, 1}})),
            (Lines{"hop announces rawEntryHandle k0", "hop announces unresolvedEntry k0",
                   "hop announces pendingEntrySm k0", "hop write 1 e0@101/none/0",
                   "hop announces entry k0", "hop announces unresolvedEntry k0", "returns hop#1"}));
  EXPECT_EQ(quiet(logOf(world, {Kind::memberRef, {0, 1 + 4 * 7, 0, 0, 1}})),
            (Lines{"member announces rawEntryHandle [hop#1]",
                   "member announces unresolvedEntryBlock [hop#1]", "returns member#1"}));
  EXPECT_EQ(quiet(logOf(world, {Kind::groupCommit, {2, 8 + 13, 0, 0, 2}})),
            (Lines{"group announces entryHandle g2", "group announces rawEntryHandle g2",
                   "group announces unresolvedEntry g2", "returns group#1"}));
  Lines const state = world.snapshot();
  for (char const* line :
       {"waits 0 hop 1", "hop row k0 1", "hop record k0 e0/none/0", "hop pending k0 hop#1 on",
        "hop hardware 1 e0@101/none/0", "group parked g2 member#1/1 needed 1 seen 0 watching 3",
        "group owns g2 group#1", "member parked [hop#1] needed 1 seen 0 watching 0"}) {
    EXPECT_TRUE(has(state, line)) << line;
  }
  EXPECT_EQ(quiet(logOf(world, {Kind::answer, {}})),
            (Lines{"hop#1 row 1", "hop#1 state 1", "handler 1 hears 1", "returns e0/none/0",
                   "member write 0 hop#1@1", "member#1 row 0", "member#1 state 1",
                   "group announces pendingEntrySm g2", "group write 1 member#1@0/1",
                   "group announces entry g2", "group announces unresolvedEntry g2",
                   "member announces entryBlock [hop#1]",
                   "member announces unresolvedEntryBlock [hop#1]"}));
  EXPECT_TRUE(has(world.snapshot(), "member run [hop#1] 0"));
  EXPECT_TRUE(has(world.snapshot(), "member committed [hop#1]"));
}

TEST_F(EngineWorldTest, EndsAStepWithWhatAHandlerRaises) {
  EngineWorld world({{{{Kind::raise, {}}}, {}, {}, {}}});
  program(world, 0);
  EXPECT_EQ(quiet(logOf(world, {Kind::ingressCommit, {0, 1, 1, 0, 3}})),
            (Lines{"ingress announces entryHandle e0", "ingress announces unresolvedEntry e0",
                   "ingress announces pendingEntrySm e0", "ingress write 101 e0@101/none/0",
                   "ingress announces entry e0", "ingress announces unresolvedEntry e0",
                   "ingress#1 row 101", "ingress#1 state 1", "handler 1 hears 1",
                   "raises handler raises", "raises handler raises"}));
  EXPECT_FALSE(has(world.snapshot(), "slot 3 ingress#1")) << "the slot stays as it was";
}

TEST_F(EngineWorldTest, ReactsTwoDeepAndTwentyFourTimes) {
  // A call changes the handle twice, unless it finds it changed, and so calls the handler again.
  EngineWorld world({{{{Kind::handleRow, {0, 2}}, {Kind::handleRow, {0, 1}}}, {}, {}, {}}});
  program(world, 0);
  world.stepIs({Kind::hopRef, {0, 1, 1}});
  auto const calls = [&world](Step const& step) {
    Lines const log = logOf(world, step);
    return std::count(log.begin(), log.end(), "handler 1 hears 1");
  };
  // The first call and one of those that it causes react; a third, inside that one, does not.
  EXPECT_EQ(calls({Kind::answer, {}}), 3);
  for (int i = 1; i < 12; ++i) EXPECT_EQ(calls({Kind::handleRow, {0, 3}}), 3) << i;
  EXPECT_EQ(calls({Kind::handleRow, {0, 3}}), 1) << "twenty-four have reacted";
}

TEST_F(EngineWorldTest, IgnoresATableThatIsGone) {
  EngineWorld world;
  EXPECT_EQ(logOf(world, {Kind::destroy, {1}}),
            (Lines{"hop announces firstFreeIndexAllocator", "hop announces writeResponseSm"}));
  for (Kind const kind : {Kind::hopCommit, Kind::hopRef, Kind::hopWriteAtIndex}) {
    EXPECT_EQ(logOf(world, {kind, {0, 1, 1}}), Lines{});
  }
  for (Kind const kind : {Kind::destroy, Kind::remove, Kind::entryIs, Kind::hwReady}) {
    EXPECT_EQ(logOf(world, {kind, {1, 0, 1}}), Lines{});
  }
}

TEST_F(EngineWorldTest, KeepsTwoWorldsApart) {
  EngineWorld first;
  EngineWorld second;
  first.stepIs({Kind::hopRef, {0, 1, 0}});
  EXPECT_EQ(second.takeLog(), Lines{});
  EXPECT_TRUE(has(second.snapshot(), "live hop EntryHandle 0"));
  EXPECT_TRUE(has(first.snapshot(), "live hop EntryHandle 1"));
  second.stepIs({Kind::hopRef, {0, 1, 0}});
  EXPECT_EQ(first.takeLog(), second.takeLog());
  EXPECT_EQ(first.snapshot(), second.snapshot());
}

TEST_F(EngineWorldTest, AbortsAsTheTablesDo) {
  EngineWorld world;
  EXPECT_DEATH(world.stepIs({Kind::hopWrite, {0, 1, 0, 2}}), "^0: unsupported autoRemoveType\n");
}

}  // namespace
}  // namespace Model::Engine
