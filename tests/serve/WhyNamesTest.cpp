// What `why` takes for a name, how many causes it lists, and what it says of stale routes.
#include <gmock/gmock.h>

#include "tests/serve/WhyFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using SoftAsic::TableId;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class WhyNamesTest : public WhyFixture {};

TEST_F(WhyNamesTest, TakesNoRouteOfAConnectionBeforeForACause) {
  feed(two + announceGroup(100, {{1, 0}, {2, 0}}) + routeTo(100) + routeTo(1) + routeTo(77));
  ASSERT_THAT(causes(), ElementsAre("not-announced id 77"));
  connectAnew();
  ASSERT_EQ(agent().mapping().routes().stale(), 3U);
  // Not even the one that nothing leads: it waits for the daemon and for no entry.
  EXPECT_TRUE(causes().empty());
  constexpr char const* stale = " metric 20: former-way, stale: not announced again yet";
  EXPECT_THAT(chain({"10.0.1.0/24"}), ElementsAre(std::string("0 10.0.1.0/24") + stale,
                                                  "1 nexthop 10.0.1.2@2: programmed in row 32"));
  EXPECT_THAT(chain({"10.0.100.0/24"}),
              ElementsAre(std::string("0 10.0.100.0/24") + stale, "1 group 1: programmed in row 1",
                          "2 block 0: programmed, 2 rows, 2 next hops"));
  EXPECT_THAT(
      chain({"10.0.77.0/24"}),
      ElementsAre("0 10.0.77.0/24 metric 20: not-in-force, stale: not announced again yet"));
  feed(routeTo(77));
  EXPECT_THAT(causes(), ElementsAre("not-announced id 77"));
}

TEST_F(WhyNamesTest, SaysWhatIsMissingOfTheRowsThatLeadAStaleRoute) {
  feed(two + announceGroup(100, {{1, 0}, {2, 0}}) + routeTo(100) + routeTo(1));
  connectAnew();
  agent().mapping().interfaceIs(2, false);
  settle();
  Json const all = ask({"why"}).rows("causes");
  ASSERT_EQ(all.size(), 1U) << all;
  EXPECT_EQ(all[0]["entry"], "interface 2");
  // Over the group packets go on over the other interface.
  EXPECT_EQ(all[0]["routes"], 1);
  EXPECT_EQ(chain({"10.0.1.0/24"}).back(), "2 interface 2: down");
}

TEST_F(WhyNamesTest, FindsEntriesByEveryNameThatTheyHave) {
  feed(two + announce(3, 4) + announceGroup(100, {{1, 0}, {2, 0}}) + routeTo(100) + routeTo(1) +
       routeTo(3) + announceRoute("10.0.1.0", 24, 1, {.priority = 5}) +
       announceRoute("10.0.1.0", 24, 1, {.table = 1000}) + announceRoute("fd00::", 16, 1));
  EXPECT_EQ(chain({"10.0.1.0/24"}).size(), 6U);
  EXPECT_EQ(chain({"route", "10.0.1.0/24", "metric", "5"}).size(), 2U);
  EXPECT_EQ(chain({"10.0.1.7/24", "table", "1000"}).front(),
            "0 10.0.1.0/24 table 1000 metric 20: forwarded");
  EXPECT_EQ(chain({"10.0.1.9"}).size(), 4U);  // the best one of each table
  EXPECT_EQ(chain({"fd00::1"}).front(), "0 fd00::/16 metric 20: forwarded");
  // One of routes and one of groups.
  EXPECT_EQ(chain({"nexthop", "10.0.1.2"}).size(), 2U);
  EXPECT_THAT(chain({"nexthop", "1"}), ElementsAre("0 nexthop 10.0.1.2@2: programmed in row 1"));
  EXPECT_THAT(chain({"nexthop", "@4"}), ElementsAre(StartsWith("0 nexthop @4: programmed in row")));
  EXPECT_THAT(chain({"interface", "2"}),
              ElementsAre(StartsWith("0 interface 2: programmed in slot")));
}

TEST_F(WhyNamesTest, RefusesWhatItDoesNotKnow) {
  feed(two);
  EXPECT_EQ(refused({"why", "group", "9"}), "group 9: there is no such entry");
  EXPECT_EQ(refused({"why", "id", "9"}), "id 9: there is no such entry");
  EXPECT_EQ(refused({"why", "block", "9"}), "block 9: there is no such entry");
  EXPECT_EQ(refused({"why", "interface", "9"}), "interface 9: there is no such entry");
  EXPECT_EQ(refused({"why", "nexthop", "10.9.9.9"}), "nexthop 10.9.9.9: there is no such entry");
  EXPECT_EQ(refused({"why", "10.0.0.0/8"}), "10.0.0.0/8: there is no such route");
  EXPECT_EQ(refused({"why", "10.0.0.1"}), "10.0.0.1: no route leads there");
  EXPECT_THAT(refused({"why", "group"}),
              StartsWith("group: a number was expected; expected PREFIX"));
  EXPECT_EQ(refused({"why", "group", "x1"}), "group: a number was expected, not \"x1\"");
  EXPECT_THAT(refused({"why", "nonsense"}), StartsWith("\"nonsense\" is no name; expected PREFIX"));
  EXPECT_THAT(refused({"why", "10.0.0.0/33"}), HasSubstr("its length is 0 to 32"));
  EXPECT_THAT(refused({"why", "10.0.0.0/8", "via", "3"}), HasSubstr("\"via\" was not expected"));
  EXPECT_THAT(refused({"why", "nexthop", "10.0.0"}), HasSubstr("\"10.0.0\" is no address"));
  EXPECT_THAT(refused({"why", "nexthop", "10.0.0.1@x"}), HasSubstr("not \"x\""));
}

TEST_F(WhyNamesTest, ListsTheFirstCausesAndAllOnRequest) {
  options.rows = 256;
  fault(TableId::ingressNextHops).refuseEvery = 1;
  Bytes stream;
  for (std::uint32_t id = 1; id <= 60; ++id) {
    stream += announceRouted(id, 7, ("10.0.7." + std::to_string(id)).c_str());
  }
  feed(stream);
  Collected const some = ask({"why"});
  EXPECT_EQ(some.rows("causes").size(), 50U);
  EXPECT_THAT(some.lines, ElementsAre("and 10 more: \"why all\" lists them"));
  Collected const all = ask({"why", "all"});
  EXPECT_EQ(all.rows("causes").size(), 60U);
  EXPECT_TRUE(all.lines.empty());
}

}  // namespace
}  // namespace OrviaL3Agent
