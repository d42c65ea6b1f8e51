// What each request shows.

#include <gmock/gmock.h>

#include "Vek/Memory.h"
#include "agent/RouteText.h"
#include "tests/serve/SmallAgent.h"

namespace OrviaL3Agent::Testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ControlVerbsTest : public SmallAgentTest {};

TEST_F(ControlVerbsTest, ListsItsVerbs) {
  start();
  std::vector<std::string> listed;
  Answered const answered = right({"verbs"});
  for (Json const& row : answered.rows("verbs")) listed.push_back(row["verb"]);
  for (char const* verb : {"show tables",
                           "show groups",
                           "show group",
                           "show block",
                           "show nexthops",
                           "show routes",
                           "show interfaces",
                           "show allocators",
                           "show hardware",
                           "show trace",
                           "show memory",
                           "show stream",
                           "get",
                           "set",
                           "ls",
                           "interface",
                           "fault",
                           "retry",
                           "resync",
                           "trace level",
                           "trace follow",
                           "ring dump",
                           "verbs"}) {
    EXPECT_THAT(listed, Contains(verb));
  }
}

TEST_F(ControlVerbsTest, CountsEntriesOfTablesByState) {
  options.refusedRows = {32};
  startSmall();
  Answered const answered = right({"show", "tables"});
  EXPECT_EQ(answered.row("tables", "ingress"), (Json{{"table", "ingress"},
                                                     {"entries", 1},
                                                     {"programmed", 0},
                                                     {"unanswered", 0},
                                                     {"parked", 0},
                                                     {"refused", 1},
                                                     {"notPlaced", 0},
                                                     {"rows", 32}}));
  EXPECT_EQ(answered.row("tables", "ecmp")["programmed"], 2);
  EXPECT_EQ(answered.row("tables", "member"), (Json{{"table", "member"},
                                                    {"entries", 1},
                                                    {"programmed", 1},
                                                    {"unanswered", 0},
                                                    {"parked", 0},
                                                    {"refused", 0},
                                                    {"notPlaced", nullptr},
                                                    {"rows", 256}}));
  EXPECT_EQ(answered.row("tables", "group")["programmed"], 1);
}

// The table has published it all the same.
TEST_F(ControlVerbsTest, ABlockWhoseRowsDidNotTakeTheirWriteIsNotProgrammed) {
  startSmall();
  right({"fault", "member", "lose-write-every=2"});
  feed(announceGroup(20, {{1, 0}, {3, 0}}) + announceRoute("10.20.0.0", 16, 20));
  Json member = right({"show", "tables"}).row("tables", "member");
  EXPECT_EQ(member["entries"], 2);
  EXPECT_EQ(member["programmed"], 1);
  EXPECT_EQ(member["unanswered"], 1);
  right({"fault", "member", "off"});
  right({"fault", "member", "refuse-every=2"});
  feed(announceGroup(30, {{2, 0}, {3, 0}}) + announceRoute("10.30.0.0", 16, 30) +
       announceRoute("10.31.0.0", 16, 30));
  member = right({"show", "tables"}).row("tables", "member");
  EXPECT_EQ(member["entries"], 3);
  EXPECT_EQ(member["programmed"], 1);
  EXPECT_EQ(member["unanswered"], 1);
  EXPECT_EQ(member["refused"], 1);
  right({"fault", "member", "off"});
  right({"retry"});
  settle();
  EXPECT_EQ(right({"show", "tables"}).row("tables", "member")["programmed"], 3);
}

TEST_F(ControlVerbsTest, WhatWaitsIsCountedAsParked) {
  options.interfaceDelay.reset();
  startSmall();
  Answered const answered = right({"show", "tables"});
  EXPECT_EQ(answered.row("tables", "ingress")["parked"], 1);
  EXPECT_EQ(answered.row("tables", "member")["parked"], 1);
  EXPECT_EQ(answered.row("tables", "group")["parked"], 1);
}

TEST_F(ControlVerbsTest, ShowsGroups) {
  startSmall();
  Json const groups = right({"show", "groups"}).rows("groups");
  ASSERT_EQ(groups.size(), 1U);
  EXPECT_EQ(groups[0], (Json{{"group", 1},
                             {"state", "programmed"},
                             {"row", 1},
                             {"blockRow", 0},
                             {"width", 2},
                             {"paths", 2},
                             {"pathsDown", 0},
                             {"ids", {10}},
                             {"routes", 0},
                             {"missingRows", 0},
                             {"reason", nullptr}}));
}

TEST_F(ControlVerbsTest, ShowsWhereARowOfAGroupLeads) {
  startSmall();
  Json const group = right({"show", "group", "1"}).object("group");
  EXPECT_EQ(group["state"], "programmed");
  EXPECT_EQ(group["ids"], Json({10}));
  ASSERT_EQ(group["members"].size(), 2U);
  EXPECT_EQ(group["members"][0]["nextHop"], "10.0.0.1 on interface 1");
  EXPECT_EQ(group["members"][1]["nextHop"], "10.0.0.2 on interface 2");
  EXPECT_EQ(group["paths"][1]["rows"], 1);
  EXPECT_THAT(wrong({"show", "group", "2"}).error, HasSubstr("there is no group 2"));
}

TEST_F(ControlVerbsTest, ShowsTheBlockThatCoversARow) {
  startSmall();
  Answered const answered = right({"show", "block", "1"});
  EXPECT_EQ(answered.object("block"), (Json{{"row", 0}, {"width", 2}, {"groups", {1}}}));
  ASSERT_EQ(answered.rows("members").size(), 2U);
  EXPECT_EQ(answered.rows("members")[1]["nextHop"], "10.0.0.2 on interface 2");
  EXPECT_EQ(answered.rows("members")[1]["answer"], "accepted");
  EXPECT_THAT(wrong({"show", "block", "2"}).error,
              HasSubstr("member row 2 is of no group's block"));
}

TEST_F(ControlVerbsTest, ShowsNextHopsOfBothTables) {
  options.interfaceDelay.reset();
  startSmall();
  Json const hops = right({"show", "nexthops"}).rows("nexthops");
  ASSERT_EQ(hops.size(), 3U);
  EXPECT_EQ(hops[0]["table"], "ingress");
  EXPECT_EQ(hops[0]["gateway"], "10.0.0.3");
  EXPECT_EQ(hops[0]["interface"], 3);
  EXPECT_EQ(hops[0]["ids"], 1);
  EXPECT_EQ(hops[0]["state"], "parked");
  EXPECT_EQ(hops[0]["reason"], "parked, waits for its interface");
  EXPECT_EQ(hops[2]["table"], "ecmp");
}

TEST_F(ControlVerbsTest, ShowsAllRoutesThoseWithinAPrefixAndTheBestOfAnAddress) {
  startSmall();
  feed(announceRoute("10.0.0.0", 8, 3) + announceRoute("10.10.1.128", 25, 3) +
       announceRoute("10.11.0.0", 16, 3) + announceRoute("2001:db8::", 32, 3) +
       announceRoute("10.10.0.0", 16, 3, {.priority = 30}) +
       announceRoute("10.10.7.0", 24, 3, {.table = 100}) +
       announceRoute("0.0.0.0", 0, 3, {.table = 100}) +
       announceRoute("192.0.2.0", 24, 3, {.table = 100}));
  EXPECT_EQ(prefixes({"show", "routes"}).size(), 11U);
  EXPECT_THAT(prefixes({"show", "routes", "10.10.0.0/16"}),
              ElementsAre("10.10.7.0/24", "10.10.0.0/16", "10.10.0.0/16", "10.10.1.0/24",
                          "10.10.1.128/25"));
  EXPECT_THAT(prefixes({"show", "routes", "10.10.1.0/24"}),
              ElementsAre("10.10.1.0/24", "10.10.1.128/25"));
  EXPECT_THAT(prefixes({"show", "routes", "2000::/3"}), ElementsAre("2001:db8::/32"));
  EXPECT_THAT(prefixes({"show", "routes", "2000::/64"}), ElementsAre());
  EXPECT_EQ(prefixes({"show", "routes", "0.0.0.0/0"}).size(), 10U);
  EXPECT_THAT(prefixes({"show", "routes", "192.0.2.0/24"}), ElementsAre("192.0.2.0/24"));
  // The best of each table, by its number.
  EXPECT_THAT(prefixes({"show", "routes", "10.10.1.200"}),
              ElementsAre("0.0.0.0/0", "10.10.1.128/25"));
  EXPECT_THAT(prefixes({"show", "routes", "2001:db8::1"}), ElementsAre("2001:db8::/32"));
  EXPECT_THAT(prefixes({"show", "routes", "2002::1"}), ElementsAre());
  EXPECT_THAT(wrong({"show", "routes", "10.10.1"}).error,
              HasSubstr("\"10.10.1\" is neither a prefix nor an address"));
  EXPECT_THAT(wrong({"show", "routes", "10.10.0.0/33"}).error, HasSubstr("neither a prefix"));
  EXPECT_THAT(wrong({"show", "routes", "10.10.0.0/x"}).error, HasSubstr("the length of a prefix"));
}

TEST_F(ControlVerbsTest, ShowsWhatRoutesPointTo) {
  startSmall();
  Json const routes = right({"show", "routes"}).rows("routes");
  ASSERT_EQ(routes.size(), 3U);
  EXPECT_EQ(routes[0], (Json{{"prefix", "10.3.0.0/16"},
                             {"table", 254},
                             {"metric", 20},
                             {"state", "forwarded"},
                             {"stale", false},
                             {"id", 3},
                             {"group", nullptr},
                             {"row", 32},
                             {"way", "10.0.0.3 on interface 3"}}));
  EXPECT_EQ(routes[1]["group"], 1);
  EXPECT_EQ(routes[1]["way"], "2 paths");
}

// The list of a prefix and the list of all routes agree, whatever the routes.
TEST_F(ControlVerbsTest, RoutesWithinAPrefixAreThoseOfAllThatItCovers) {
  start();
  Bytes bytes = announce(3, 3, "10.0.0.3");
  unsigned random = 1;
  for (int i = 0; i < 300; ++i) {
    random = random * 1103515245U + 12345U;
    std::string const address = std::to_string(8 + (random >> 16U) % 4) + "." +
                                std::to_string((random >> 20U) % 4 * 64) + ".0.0";
    bytes += announceRoute(address.c_str(), static_cast<std::uint8_t>((random >> 24U) % 18), 3,
                           {.table = 200 + (random >> 9U) % 3});
  }
  feed(bytes);
  for (char const* within : {"8.0.0.0/6", "8.0.0.0/7", "9.0.0.0/8", "10.64.0.0/10", "0.0.0.0/0",
                             "0.0.0.0/4", "11.192.0.0/16", "12.0.0.0/8"}) {
    std::string const text = within;
    Fpm::Address const first = *addressOf(text.substr(0, text.find('/')));
    auto const length = static_cast<unsigned>(std::stoul(text.substr(text.find('/') + 1)));
    std::vector<std::string> expected;
    for (auto const& [key, route] : agent->mapping().routes().routes()) {
      bool const isWithin =
          key.length >= length &&
          withoutHostBits({static_cast<std::uint8_t>(length), key.address}).address == first;
      if (isWithin) expected.push_back(Fpm::text(key.prefix()));
    }
    EXPECT_EQ(prefixes({"show", "routes", within}), expected) << within;
  }
}

TEST_F(ControlVerbsTest, ShowsInterfacesInUseAndThoseDown) {
  options.interfaceDelay = 2;
  startSmall();
  right({"interface", "2", "down"});
  right({"interface", "77", "down"});
  Answered const answered = right({"show", "interfaces"});
  ASSERT_EQ(answered.rows("interfaces").size(), 4U);
  EXPECT_EQ(answered.row("interfaces", 1)["state"], "up");
  EXPECT_EQ(answered.row("interfaces", 1)["programmed"], true);
  EXPECT_EQ(answered.row("interfaces", 2)["state"], "down");
  EXPECT_EQ(answered.row("interfaces", 2)["downSeconds"], 0);
  EXPECT_EQ(answered.row("interfaces", 77)["slot"], nullptr);
  EXPECT_EQ(answered.row("interfaces", 77)["state"], "down");
}

TEST_F(ControlVerbsTest, ShowsAllocators) {
  startSmall();
  Answered const answered = right({"show", "allocators"});
  EXPECT_EQ(answered.row("allocators", "member"), (Json{{"table", "member"},
                                                        {"rows", 256},
                                                        {"inUse", 2},
                                                        {"free", 254},
                                                        {"largestFreeRun", 254}}));
  // The agent's own: rows 32 to 63.
  EXPECT_EQ(answered.row("allocators", "ingress"), (Json{{"table", "ingress"},
                                                         {"rows", 32},
                                                         {"inUse", 1},
                                                         {"free", 31},
                                                         {"largestFreeRun", nullptr}}));
  EXPECT_EQ(answered.row("allocators", "ecmp")["inUse"], 2);
  EXPECT_EQ(answered.row("allocators", "group")["inUse"], 1);
}

TEST_F(ControlVerbsTest, ShowsTheStream) {
  startSmall();
  stream.told.port = 2620;
  stream.told.peer = "127.0.0.1:40312";
  stream.told.since = std::chrono::steady_clock::now() - std::chrono::seconds(90);
  stream.told.connections = 3;
  stream.told.resynchronising = true;
  stream.told.stale = 17;
  stream.told.lag = std::chrono::microseconds(250);
  Json const about = right({"show", "stream"}).object("stream");
  EXPECT_EQ(about["peer"], "127.0.0.1:40312");
  EXPECT_EQ(about["seconds"], 90);
  EXPECT_EQ(about["connections"], 3);
  EXPECT_EQ(about["resynchronising"], true);
  EXPECT_EQ(about["stale"], 17);
  EXPECT_EQ(about["lagMicroseconds"], 250);
  stream.told.peer.reset();
  EXPECT_EQ(right({"show", "stream"}).object("stream")["peer"], nullptr);
}

TEST_F(ControlVerbsTest, ShowsLiveObjectsAndTheProcess) {
  startSmall();
  Answered const answered = right({"show", "memory"});
  EXPECT_GT(answered.object("memory")["residentBytes"], 1000000);
  std::string const type = "OrviaL3Unicast::L3EcmpGroupTable";
  EXPECT_EQ(answered.row("objects", type)["live"], Vek::vekLiveObjects(type));
  EXPECT_EQ(answered.row("objects", type)["live"], 1);
}

}  // namespace
}  // namespace OrviaL3Agent::Testing
