// The chain from an entry down to its root causes, and the root causes by what they block.
#include <gmock/gmock.h>

#include <thread>

#include "tests/serve/WhyFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using SoftAsic::TableId;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class WhyTest : public WhyFixture {};

TEST_F(WhyTest, SaysThatAnEntryIsProgrammed) {
  feed(two + announceGroup(100, {{1, 0}, {2, 0}}) + routeTo(100) + routeTo(1));
  EXPECT_THAT(
      chain({"10.0.100.0/24"}),
      ElementsAre("0 10.0.100.0/24 metric 20: forwarded", "1 id 100: announced",
                  "2 group 1: programmed in row 1", "3 block 0: programmed, 2 rows, 2 next hops"));
  EXPECT_THAT(chain({"10.0.1.77"}), ElementsAre("0 10.0.1.0/24 metric 20: forwarded",
                                                "1 nexthop 10.0.1.2@2: programmed in row 32"));
  EXPECT_TRUE(causes().empty());
}

TEST_F(WhyTest, FollowsARouteDownToAnInterfaceThatIsNeverProgrammed) {
  options.interfaceDelay.reset();
  feed(announceRouted(1, 7, "10.0.1.2"));
  Collected const why = ask({"why", "10.0.1.0/24"});
  EXPECT_THAT(why.steps("why", "state"), ElementsAre("0 10.0.1.0/24 metric 20: not-in-force",
                                                     "1 nexthop 10.0.1.2@7: parked in row 32",
                                                     "2 interface 7: not-programmed"));
  Json const& root = why.row("why", "interface 7");
  EXPECT_EQ(root["cause"], "not-programmed");
  EXPECT_EQ(root["routes"], 1);
  EXPECT_EQ(root["nextHops"], 1);
  EXPECT_EQ(root["groups"], 0);
  EXPECT_EQ(root["seconds"], 0);
  // What is no root cause has no counts.
  EXPECT_TRUE(why.row("why", "nexthop 10.0.1.2@7")["cause"].is_null());
  EXPECT_TRUE(why.row("why", "nexthop 10.0.1.2@7")["routes"].is_null());
}

TEST_F(WhyTest, FollowsAGroupThroughItsBlockToTheNextHopsThatAreInItsWay) {
  fault(TableId::ecmpNextHops).refusedRows = {2};
  feed(two + announceGroup(100, {{1, 0}, {2, 1}}) + routeTo(100));
  Collected const why = ask({"why", "id", "100"});
  EXPECT_THAT(why.steps("why", "state"),
              ElementsAre("0 id 100: announced", "1 group 1: parked",
                          "2 block of group 1: waits for 1 of 2 next hops",
                          "3 nexthop 10.0.2.2@3: refused in row 2"));
  Json const& root = why.row("why", "nexthop 10.0.2.2@3");
  EXPECT_EQ(root["cause"], "refused");
  EXPECT_EQ(root["routes"], 1);
  EXPECT_EQ(root["groupIds"], 1);
  EXPECT_EQ(root["groups"], 1);
  EXPECT_EQ(root["blocks"], 1);
  EXPECT_EQ(root["nextHops"], 1);
}

TEST_F(WhyTest, FindsWhatTheHardwareHasNotAnswered) {
  fault(TableId::ingressNextHops).loseAnswerEvery = 1;
  feed(announceRouted(1, 7, "10.0.1.2"));
  EXPECT_THAT(chain({"nexthop", "10.0.1.2@7"}),
              ElementsAre("0 nexthop 10.0.1.2@7: unanswered in row 32"));
  EXPECT_THAT(causes(), ElementsAre("unanswered nexthop 10.0.1.2@7"));
  EXPECT_EQ(ask({"why"}).rows("causes")[0]["detail"], "of routes, row 32");
}

TEST_F(WhyTest, FindsTheMtuProfileThatIsMissing) {
  options.mtuDelay.reset();
  feed(announceRouted(1, 7, "10.0.1.2"));
  EXPECT_THAT(chain({"10.0.1.0/24"}),
              ElementsAre(StartsWith("0 "), StartsWith("1 "), "2 mtu 1500: not-programmed"));
}

TEST_F(WhyTest, FindsTheRowsOfABlockThatWereRefused) {
  fault(TableId::members).refusedRows = {1};
  feed(two + announceGroup(100, {{1, 0}, {2, 0}}) + routeTo(100));
  Collected const why = ask({"why", "10.0.100.0/24"});
  EXPECT_THAT(
      why.steps("why", "state"),
      ElementsAre("0 10.0.100.0/24 metric 20: not-in-force", "1 id 100: announced",
                  "2 group 1: programmed in row 1", "3 block 0: refused: 1 of 2 rows from 0"));
  Json const& root = why.row("why", "block 0");
  EXPECT_EQ(root["cause"], "refused");
  EXPECT_EQ(root["routes"], 1);
  EXPECT_EQ(root["blocks"], 1);
  EXPECT_THAT(chain({"block", "1"}), ElementsAre("0 block 0: refused: 1 of 2 rows from 0"));
}

TEST_F(WhyTest, FindsTheGroupThatWasRefused) {
  fault(TableId::groups).refuseEvery = 1;
  feed(two + announceGroup(100, {{1, 0}, {2, 0}}) + routeTo(100));
  Collected const why = ask({"why", "group", "1"});
  EXPECT_EQ(why.steps("why", "state").front(), "0 group 1: refused in row 1");
  EXPECT_EQ(why.row("why", "group 1")["cause"], "refused");
  EXPECT_EQ(why.row("why", "group 1")["routes"], 1);
  EXPECT_THAT(causes(), ElementsAre("refused group 1"));
}

TEST_F(WhyTest, NamesTheTableThatIsFullOnceForAllThatFindNoRoom) {
  options.memberRows = 3;
  feed(two + announce(3, 4, "10.0.3.2") + announceGroup(100, {{1, 0}, {2, 0}}) + routeTo(100) +
       announceGroup(101, {{1, 0}, {3, 0}}) + routeTo(101) + announceGroup(102, {{2, 0}, {3, 0}}) +
       routeTo(102));
  Collected const all = ask({"why"});
  ASSERT_EQ(all.rows("causes").size(), 1U) << all.tables.dump(1);
  Json const& full = all.row("causes", "no room in the member table");
  EXPECT_EQ(full["cause"], "no-room");
  EXPECT_EQ(full["groups"], 2);
  EXPECT_EQ(full["routes"], 2);
  EXPECT_EQ(full["groupIds"], 2);
  Collected const why = ask({"why", "group", "2"});
  EXPECT_THAT(why.row("why", "group 2")["state"].get<std::string>(), HasSubstr("no room in the"));
  EXPECT_EQ(why.row("why", "no room in the member table")["groups"], 2);
}

TEST_F(WhyTest, NamesTheRowsOfRoutesNextHopsThatAreAllTaken) {
  options.rows = 34;
  options.ecmpRows = 32;
  feed(announceRouted(1, 7, "10.0.1.2") + announceRouted(2, 7, "10.0.1.3") +
       announceRouted(3, 7, "10.0.1.4") + announceRouted(4, 7, "10.0.1.5"));
  EXPECT_THAT(causes(), ElementsAre("no-room no free row for next hops of routes"));
  EXPECT_EQ(ask({"why"}).rows("causes")[0]["routes"], 2);
}

TEST_F(WhyTest, NamesIdsThatWereNeverAnnounced) {
  feed(two + announceGroup(100, {{1, 0}, {9, 0}}) + routeTo(100) + routeTo(50));
  EXPECT_THAT(
      chain({"10.0.100.0/24"}),
      ElementsAre(StartsWith("0 10.0.100.0/24"),
                  "1 id 100: waits for 1 of 2 members to be announced", "2 id 9: not-announced"));
  EXPECT_THAT(chain({"id", "50"}), ElementsAre("0 id 50: not-announced"));
  EXPECT_THAT(causes(), ElementsAre("not-announced id 9", "not-announced id 50"));
  EXPECT_EQ(ask({"why"}).row("causes", "id 9")["groupIds"], 1);
}

TEST_F(WhyTest, SaysWhatIsNotPossible) {
  feed(two + announceBlackhole(3) + announceGroup(100, {{1, 0}, {2, 0}}) +
       announceGroup(101, {{100, 0}, {1, 0}}) + routeTo(101) +
       announceGroup(102, {{1, 0}, {3, 0}}) + routeTo(102));
  EXPECT_THAT(chain({"id", "101"}), ElementsAre("0 id 101: not-possible: member 100 is a group"));
  EXPECT_THAT(chain({"id", "102"}),
              ElementsAre("0 id 102: not-possible: drops over members 3, which no row says"));
  EXPECT_THAT(causes(), ElementsAre("not-possible id 101", "not-possible id 102"));
  EXPECT_EQ(chain({"id", "3"}), Strings{"0 id 3: drop, as announced"});
}

TEST_F(WhyTest, TellsADownInterfaceFromOneThatIsMissing) {
  feed(two + announceGroup(100, {{1, 0}, {2, 0}}) + routeTo(100) + routeTo(1));
  agent().mapping().interfaceIs(2, false);
  settle();
  Collected const all = ask({"why"});
  ASSERT_EQ(all.rows("causes").size(), 1U);
  Json const& down = all.row("causes", "interface 2");
  EXPECT_EQ(down["cause"], "interface-down");
  // The route over the group goes on over the other interface.
  EXPECT_EQ(down["routes"], 1);
  EXPECT_EQ(down["groups"], 1);
  EXPECT_EQ(down["nextHops"], 1);
  EXPECT_THAT(chain({"10.0.1.0/24"}),
              ElementsAre("0 10.0.1.0/24 metric 20: forwarded, over an interface that is down",
                          "1 nexthop 10.0.1.2@2: programmed in row 32", "2 interface 2: down"));
  EXPECT_THAT(chain({"group", "1"}),
              ElementsAre("0 group 1: programmed in row 1, without its paths over interface 2",
                          StartsWith("1 block "), "1 interface 2: down"));
  agent().mapping().interfaceIs(3, false);
  settle();
  EXPECT_EQ(ask({"why"}).row("causes", "interface 3")["routes"], 1);
  agent().mapping().interfaceIs(2, true);
  agent().mapping().interfaceIs(3, true);
  settle();
  EXPECT_TRUE(causes().empty());
}

TEST_F(WhyTest, TellsBothOfTwoCauses) {
  fault(TableId::ecmpNextHops).refusedRows = {1};
  fault(TableId::ecmpNextHops).loseAnswerEvery = 2;
  feed(two + announceGroup(100, {{1, 0}, {2, 0}}) + routeTo(100));
  EXPECT_THAT(chain({"group", "1"}),
              ElementsAre("0 group 1: parked", "1 block of group 1: waits for 2 of 2 next hops",
                          "2 nexthop 10.0.1.2@2: refused in row 1",
                          "2 nexthop 10.0.2.2@3: unanswered in row 2"));
  Collected const all = ask({"why"});
  for (Json const& row : all.rows("causes")) {
    EXPECT_EQ(row["routes"], 1) << row;
    EXPECT_EQ(row["groups"], 1) << row;
  }
}

TEST_F(WhyTest, RanksCausesByTheRoutesThatTheyBlockAndThenByEntries) {
  fault(TableId::ingressNextHops).refuseEvery = 1;
  feed(announceRouted(1, 7, "10.0.1.2"));                                    // one route
  feed(announceRouted(2, 7, "10.0.1.3") + announceRoute("20.0.0.0", 8, 2));  // two
  feed(announceRoute("30.0.0.0", 8, 90));                                    // one, and no next hop
  EXPECT_THAT(causes(), ElementsAre("refused nexthop 10.0.1.3@7", "refused nexthop 10.0.1.2@7",
                                    "not-announced id 90"));
}

TEST_F(WhyTest, CountsRoutesThatAreLedAsBeforeByThemselves) {
  feed(two + routeTo(1));
  faultNow(TableId::ingressNextHops, {.refuseEvery = 1});
  feed(announceRoute("10.0.1.0", 24, 2));
  Json const row = ask({"why"}).rows("causes").at(0);
  EXPECT_EQ(row["entry"], "nexthop 10.0.2.2@3");
  EXPECT_EQ(row["routes"], 0);
  EXPECT_EQ(row["kept"], 1);
  EXPECT_EQ(chain({"10.0.1.0/24"}).front(),
            "0 10.0.1.0/24 metric 20: former-way: led as before until its way is there");
}

TEST_F(WhyTest, ForgetsACauseThatIsMended) {
  fault(TableId::ingressNextHops).refuseEvery = 1;
  feed(announceRouted(1, 7, "10.0.1.2"));
  ASSERT_EQ(causes().size(), 1U);
  agent().hardware().device().faultsDel();
  agent().mapping().retry(true);
  settle();
  EXPECT_TRUE(causes().empty());
}

TEST_F(WhyTest, CountsTheTimeFromTheRefusal) {
  feed(two);
  Since const before = sinceNow();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  faultNow(TableId::ingressNextHops, {.refuseEvery = 1});
  feed(routeTo(1));
  auto const& hops = agent().mapping().ingress().hops();
  Since const refused = hops.begin()->second->since;
  EXPECT_GT(refused, before + std::chrono::milliseconds(15));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  agent().mapping().retry(false);
  settle();
  EXPECT_GT(hops.begin()->second->since, refused);
}

}  // namespace
}  // namespace OrviaL3Agent
