// Who holds a row of the hardware, down to the routes.
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>

#include "tests/serve/InsightFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using SoftAsic::TableId;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class WhoTest : public InsightFixture {
 protected:
  Strings who(Strings words) {
    words.insert(words.begin(), "who");
    return ask(words).steps("who", "detail");
  }

  Bytes const two = announce(1, 2, "10.0.1.2") + announce(2, 3, "10.0.2.2");
  Bytes const group = two + announceGroup(100, {{1, 1}, {2, 0}}) + routeTo(100);
};

TEST_F(WhoTest, ANextHopOfRoutesIsHeldByIdsAndRoutes) {
  feed(two + routeTo(1) + announceRoute("20.0.0.0", 8, routeByPath(2, "10.0.1.2")));
  Collected const held = ask({"who", "next-hop", "32"});
  EXPECT_THAT(
      held.steps("who", "detail"),
      ElementsAre("0 next-hop row 32: neighbour 1, interface slot 1, MTU slot 1",
                  "1 nexthop 10.0.1.2@2: programmed", "2 id 1",
                  "3 10.0.1.0/24 metric 20: forwarded", "3 20.0.0.0/8 metric 20: forwarded"));
  EXPECT_EQ(held.row("who", "10.0.1.0/24 metric 20")["by"], "id 1");
  EXPECT_EQ(held.row("who", "20.0.0.0/8 metric 20")["by"], "nexthop 10.0.1.2@2");
}

TEST_F(WhoTest, ANextHopOfGroupsIsHeldByBlocksGroupsIdsAndRoutes) {
  feed(group + announceRoute("20.0.0.0", 8, routeByPaths({{2, "10.0.1.2", 1}, {3, "10.0.2.2"}})));
  Collected const held = ask({"who", "next-hop", "1"});
  EXPECT_THAT(
      held.steps("who", "detail"),
      ElementsAre("0 next-hop row 1: neighbour 1, interface slot 1, MTU slot 1",
                  "1 nexthop 10.0.1.2@2: programmed", "2 block 0: positions 0 to 1",
                  "3 group 1: programmed", "4 id 100", "5 10.0.100.0/24 metric 20: forwarded",
                  "5 20.0.0.0/8 metric 20: forwarded"));
  EXPECT_EQ(held.row("who", "block 0")["by"], "nexthop 10.0.1.2@2");
  EXPECT_EQ(held.row("who", "group 1")["by"], "block 0");
  EXPECT_EQ(held.row("who", "id 100")["by"], "group 1");
  EXPECT_EQ(held.row("who", "10.0.100.0/24 metric 20")["by"], "id 100");
  EXPECT_EQ(held.row("who", "20.0.0.0/8 metric 20")["by"], "group 1");
}

TEST_F(WhoTest, AMemberRowIsAPositionOfABlock) {
  feed(group);
  EXPECT_THAT(
      who({"member", "2"}),
      ElementsAre("0 member row 2: next-hop row 2", "1 block 0: position 2",
                  "2 group 1: programmed", "3 id 100", "4 10.0.100.0/24 metric 20: forwarded"));
}

TEST_F(WhoTest, AGroupRowIsHeldByItsGroup) {
  feed(group);
  EXPECT_THAT(who({"group", "1"}),
              ElementsAre("0 group row 1: 3 paths from member row 0", "1 group 1: programmed",
                          "2 id 100", "3 10.0.100.0/24 metric 20: forwarded"));
}

TEST_F(WhoTest, ABareRowIsLookedForInEveryTableThatHasIt) {
  feed(group);
  Strings const one = who({"1"});
  ASSERT_EQ(one.size(), 15U);
  EXPECT_THAT(one.at(0), HasSubstr("0 next-hop row 1"));
  EXPECT_THAT(one.at(6), HasSubstr("0 member row 1"));
  EXPECT_THAT(one.at(11), HasSubstr("0 group row 1"));
  // Only the member table is that long.
  EXPECT_THAT(who({"200"}), ElementsAre("0 member row 200: empty", "1 free"));
}

TEST_F(WhoTest, TheTablesOfNextHopsAreKnownByTheirOwnNamesToo) {
  feed(group + routeTo(1));
  EXPECT_EQ(who({"ingress", "32"}), who({"next-hop", "32"}));
  EXPECT_EQ(who({"ecmp", "1"}), who({"next-hop", "1"}));
  // A row of the one is none of the other.
  EXPECT_EQ(refused({"who", "ecmp", "32"}), "who: the ecmp table has no row 32");
  EXPECT_EQ(refused({"who", "ingress", "1"}), "who: the ingress table has no row 1");
}

TEST_F(WhoTest, SaysThatARowIsFreeOrNobodys) {
  feed(group);
  EXPECT_THAT(who({"next-hop", "40"}), ElementsAre("0 next-hop row 40: empty", "1 free"));
  EXPECT_THAT(who({"group", "0"}), ElementsAre("0 group row 0: empty", "1 nobody's: reserved"));
  EXPECT_THAT(who({"group", "9"}), ElementsAre("0 group row 9: empty", "1 free"));
}

TEST_F(WhoTest, SaysWhatBecameOfTheLastWrite) {
  fault(TableId::ingressNextHops).refusedRows = {32};
  fault(TableId::groups).loseAnswerEvery = 1;
  feed(group + routeTo(1));
  EXPECT_EQ(who({"next-hop", "32"}).at(0), "0 next-hop row 32: empty, the last write was refused");
  EXPECT_EQ(who({"next-hop", "32"}).at(1), "1 nexthop 10.0.1.2@2: refused");
  EXPECT_EQ(who({"group", "1"}).at(0),
            "0 group row 1: 3 paths from member row 0, the last write is not answered");
}

TEST_F(WhoTest, NamesWhatIsHeldForTheTimeBeing) {
  feed(two + routeTo(1));
  faultNow(TableId::ingressNextHops, {.refuseEvery = 1});
  feed(announceRoute("10.0.1.0", 24, 2));
  EXPECT_EQ(who({"next-hop", "32"}).back(), "3 10.0.1.0/24 metric 20: former-way");
  EXPECT_EQ(who({"next-hop", "33"}).back(), "3 10.0.1.0/24 metric 20: former-way");
}

TEST_F(WhoTest, NamesWhatTheResynchronisationHolds) {
  feed(group + routeTo(1) + withdrawRouteTo(1));
  agent().mark();
  while (!agent().markSlice(Deadline(std::chrono::milliseconds(1)))) {
  }
  Strings const held{"0 group row 1: 3 paths from member row 0",
                     "1 group 1: programmed, held until the resynchronisation ends",
                     "3 10.0.100.0/24 metric 20: former-way, stale"};
  EXPECT_EQ(who({"group", "1"}), held);
  EXPECT_EQ(who({"member", "2"}).at(2), "2 " + held[1].substr(2));
  // Said again, it is held by what says so, and still by the resynchronisation.
  feed(group);
  EXPECT_EQ(who({"group", "1"}).at(1), held[1]);
  EXPECT_EQ(who({"group", "1"}).at(2), "2 id 100");
  agent().sweep();
  while (!agent().sweepSlice(Deadline(std::chrono::milliseconds(1)))) settle();
  EXPECT_EQ(who({"group", "1"}).at(1), "1 group 1: programmed");
}

TEST_F(WhoTest, ANextHopOfRoutesThatOnlyTheResynchronisationHoldsIsNamed) {
  feed(two + routeTo(1));
  agent().mark();
  while (!agent().markSlice(Deadline(std::chrono::milliseconds(1)))) {
  }
  feed(withdrawRouteTo(1));
  EXPECT_THAT(who({"next-hop", "32"}),
              ElementsAre("0 next-hop row 32: neighbour 1, interface slot 1, MTU slot 1",
                          "1 nexthop 10.0.1.2@2: programmed, held until the resynchronisation "
                          "ends"));
}

TEST_F(WhoTest, ListsTheFirstOfManyAndAllOnRequest) {
  Bytes stream = group;
  for (std::uint32_t id = 200; id < 250; ++id) {
    stream += announceRoute(destinationOf(id).c_str(), 24, 100);
  }
  feed(stream);
  Collected const some = ask({"who", "group", "1"});
  ASSERT_EQ(some.rows("who").size(), 3U + 20U + 1U);
  Json const& last = some.rows("who").back();
  EXPECT_EQ(last["entry"], "and 31 more routes");
  EXPECT_EQ(last["more"], 31);
  EXPECT_EQ(last["level"], 3);
  EXPECT_TRUE(some.rows("who")[4]["more"].is_null());
  EXPECT_EQ(ask({"who", "group", "1", "all"}).rows("who").size(), 3U + 51U);
}

TEST_F(WhoTest, SaysThatARowIsFromBeforeARestart) {
  std::string const file = ::testing::TempDir() + "orvia-who-" + std::to_string(::getpid());
  std::filesystem::remove(file);
  options.hardwareFile = file;
  feed(group + routeTo(1));
  std::string const owners = options.ownersFile();
  end();
  agent();
  settle();
  Strings const held = who({"next-hop", "32"});
  EXPECT_THAT(held.at(0), HasSubstr("from before this process"));
  EXPECT_EQ(held.at(1), "1 nexthop 10.0.1.2@2: programmed");
  end();
  // Whose it is is not known any more: a stranger.
  std::filesystem::remove(owners);
  agent();
  settle();
  EXPECT_THAT(who({"next-hop", "32"}).at(1), HasSubstr("held by nobody known"));
  end();
  std::filesystem::remove(file);
  std::filesystem::remove(owners);
}

TEST_F(WhoTest, RefusesWhatIsNoRow) {
  EXPECT_EQ(refused({"who"}),
            "who: expected ROW, or next-hop, ingress, ecmp, member or group and ROW");
  EXPECT_EQ(refused({"who", "1000"}), "who: no table has a row 1000");
  EXPECT_EQ(refused({"who", "group", "64"}),
            "who: the group table has no row 64 (`show group N` asks for a group by its number)");
  EXPECT_THAT(refused({"who", "cat", "1"}), HasSubstr("there is no table \"cat\""));
  EXPECT_THAT(refused({"who", "group", "x"}), HasSubstr("a number was expected, not \"x\""));
  EXPECT_THAT(refused({"who", "group", "1", "2"}), HasSubstr("expected ROW"));
}

}  // namespace
}  // namespace OrviaL3Agent
