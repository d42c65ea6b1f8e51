// What each request shows and does.

#include <gmock/gmock.h>

#include "Fendrel/RingReader.h"
#include "Fendrel/TraceHandle.h"
#include "Vek/Memory.h"
#include "Vek/TraceHandle.h"
#include "agent/RouteText.h"
#include "tests/serve/ControlFixture.h"

namespace OrviaL3Agent::Testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ControlVerbsTest : public ControlFixture {
 protected:
  // Next hops 1 to 3 over interfaces of the same numbers; group 10 of 1 and 2; routes to 3 and 10.
  void startSmall() {
    start();
    feed(announce(1, 1, "10.0.0.1") + announce(2, 2, "10.0.0.2") + announce(3, 3, "10.0.0.3") +
         announceGroup(10, {{1, 0}, {2, 0}}) + announceRoute("10.3.0.0", 16, 3) +
         announceRoute("10.10.0.0", 16, 10) + announceRoute("10.10.1.0", 24, 3));
  }
  Answered wrong(std::vector<std::string> const& words) {
    Answered answered = ask(words);
    EXPECT_EQ(answered.exitCode, 2) << answered.error;
    return answered;
  }
  Answered right(std::vector<std::string> const& words) {
    Answered answered = ask(words);
    EXPECT_EQ(answered.exitCode, 0) << answered.error;
    return answered;
  }
  std::vector<std::string> prefixes(std::vector<std::string> const& words) {
    std::vector<std::string> prefixes;
    Answered const answered = right(words);
    for (Json const& row : answered.rows("routes")) prefixes.push_back(row["prefix"]);
    return prefixes;
  }
};

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
                                                    {"unanswered", nullptr},
                                                    {"parked", 0},
                                                    {"refused", nullptr},
                                                    {"notPlaced", nullptr},
                                                    {"rows", 256}}));
  EXPECT_EQ(answered.row("tables", "group")["programmed"], 1);
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
  EXPECT_EQ(right({"interface", "2", "down"}).lines.size(), 0U);
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

TEST_F(ControlVerbsTest, TakesInterfacesOutOfGroupsAndBackIn) {
  startSmall();
  right({"interface", "2", "down"});
  settle();
  EXPECT_EQ(right({"show", "groups"}).rows("groups")[0]["pathsDown"], 1);
  right({"interface", "2", "up"});
  settle();
  EXPECT_EQ(right({"show", "groups"}).rows("groups")[0]["pathsDown"], 0);
  EXPECT_THAT(wrong({"interface", "2", "sideways"}).error, HasSubstr("neither down nor up"));
  EXPECT_THAT(wrong({"interface", "eth0", "down"}).error, HasSubstr("an interface's number"));
}

TEST_F(ControlVerbsTest, ShowsAllocators) {
  startSmall();
  Answered const answered = right({"show", "allocators"});
  EXPECT_EQ(answered.row("allocators", "member"), (Json{{"table", "member"},
                                                        {"rows", 256},
                                                        {"inUse", 2},
                                                        {"free", 254},
                                                        {"largestFreeRun", 254}}));
  EXPECT_EQ(answered.row("allocators", "ecmp")["inUse"], 2);
  EXPECT_EQ(answered.row("allocators", "group")["inUse"], 1);
}

TEST_F(ControlVerbsTest, ShowsWhatTheHardwareWasToldAndDoesWrong) {
  startSmall();
  right({"fault", "group", "refuse-every=3,answer=2"});
  Answered const answered = right({"show", "hardware"});
  Json const group = answered.row("hardware", "group");
  EXPECT_EQ(group["writes"], 1);
  EXPECT_EQ(group["inForce"], 1);
  EXPECT_EQ(group["accepted"], 1);
  EXPECT_THAT(group["fault"].get<std::string>(), HasSubstr("refuses every 3rd write"));
  EXPECT_EQ(answered.row("hardware", "member")["inForce"], 2);
  EXPECT_EQ(answered.row("hardware", "member")["fault"], nullptr);
  EXPECT_EQ(answered.object("answers")["waiting"], 0);
}

TEST_F(ControlVerbsTest, WhatTheHardwareDoesWrongCanBeChangedAndEnded) {
  startSmall();
  Json const now = right({"fault", "ingress", "refuse-every=1"}).object("fault");
  EXPECT_EQ(now["table"], "ingress");
  EXPECT_THAT(now["profile"].get<std::string>(), HasSubstr("refuses every write"));
  feed(announceRouted(4, 4, "10.0.0.4"));
  EXPECT_EQ(right({"show", "tables"}).row("tables", "ingress")["refused"], 1);
  // Another part of the profile leaves the first as it is.
  EXPECT_THAT(right({"fault", "ingress", "answer=2"}).object("fault")["profile"].get<std::string>(),
              HasSubstr("refuses every write"));
  right({"fault", "ingress", "off"});
  EXPECT_EQ(right({"show", "hardware"}).row("hardware", "ingress")["fault"], nullptr);
  right({"retry"});
  settle();
  EXPECT_EQ(right({"show", "tables"}).row("tables", "ingress")["refused"], 0);
  EXPECT_THAT(wrong({"fault", "cats", "off"}).error, HasSubstr("there is no table \"cats\""));
  EXPECT_THAT(wrong({"fault", "ecmp", "refuse-every"}).error, HasSubstr("refuse-every"));
  EXPECT_THAT(wrong({"fault", "ecmp", "bite=1"}).error, HasSubstr("bite"));
}

TEST_F(ControlVerbsTest, AskingForAllAgainIsTheStreams) {
  start();
  stream.told.peer = "127.0.0.1:40312";
  EXPECT_EQ(right({"resync"}).lines, std::vector<std::string>());
  EXPECT_EQ(stream.resyncs, 1);
  stream.told.peer.reset();
  EXPECT_EQ(right({"resync"}).lines,
            std::vector<std::string>{"no routing daemon is connected: there is nothing to drop"});
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

// --- Names.

TEST_F(ControlVerbsTest, GetsAndSetsByName) {
  startSmall();
  EXPECT_EQ(right({"get", "group.entry[#1].numPaths"}).object("get")["value"], "2");
  EXPECT_EQ(right({"set", "group.entry[#1].lbMode", "1"}).object("set")["value"], "1");
  settle();
  EXPECT_EQ(right({"get", "group.entry[#1].lbMode"}).object("get")["value"], "1");
  EXPECT_THAT(wrong({"get", "group.cats"}).error, HasSubstr("cats"));
  EXPECT_THAT(wrong({"get", "group.entry[#2].numPaths"}).error, HasSubstr("fewer elements than 2"));
  EXPECT_THAT(wrong({"set", "group.numEntries", "many"}).error, HasSubstr("group.numEntries"));
  EXPECT_THAT(wrong({"set", "group.entry[#1].numPaths"}).error,
              HasSubstr("too little is said: set PATH VALUE"));
}

TEST_F(ControlVerbsTest, ListsNames) {
  startSmall();
  Json const tables = right({"ls"}).rows("names");
  ASSERT_EQ(tables.size(), 4U);
  EXPECT_EQ(tables[2]["name"], "member");
  Answered const answered = right({"ls", "group.entry[#1]"});
  EXPECT_EQ(answered.row("names", "numPaths")["value"], "2");
  EXPECT_EQ(answered.row("names", "numPaths")["canBeSet"], true);
  EXPECT_EQ(right({"ls", "group"}).row("names", "entry")["value"], "1 element");
  EXPECT_EQ(right({"ls", "group.unresolvedEntry"}).rows("names").size(), 0U);
}

TEST_F(ControlVerbsTest, ListsALargeCollectionAPartAtATime) {
  options.rows = 4096;
  options.ecmpRows = 1;
  start();
  Bytes bytes;
  for (std::uint32_t id = 1; id <= 1500; ++id) {
    std::string const gateway =
        "172.16." + std::to_string(id >> 8U) + "." + std::to_string(id & 255U);
    bytes += announceRouted(id, 1, gateway.c_str());
  }
  feed(bytes);
  Answered const first = right({"ls", "ingress.entry"});
  EXPECT_EQ(first.rows("names").size(), 100U);
  EXPECT_THAT(first.lines, ElementsAre("1400 more: ls ingress.entry 101-200"));
  Answered const last = right({"ls", "ingress.entry", "1401-1600"});
  EXPECT_EQ(last.rows("names").size(), 100U);
  EXPECT_TRUE(last.lines.empty());
  // All of the parts are the whole.
  Json whole = right({"ls", "ingress.entry", "1-1500"}).rows("names");
  ASSERT_EQ(whole.size(), 1500U);
  for (std::size_t i = 0; i < 100; ++i) {
    ASSERT_EQ(whole[i], first.rows("names")[i]);
    ASSERT_EQ(whole[1400 + i], last.rows("names")[i]);
  }
  EXPECT_EQ(right({"ls", "ingress.entry", "7"}).rows("names").size(), 1U);
  EXPECT_THAT(wrong({"ls", "ingress.entry", "0-5"}).error, HasSubstr("FIRST-LAST"));
  EXPECT_THAT(wrong({"ls", "ingress.entry", "5-4"}).error, HasSubstr("FIRST-LAST"));
  EXPECT_THAT(wrong({"ls", "ingress.entry", "1-100000"}).error, HasSubstr("at most 10000"));
  // Nobody looks through all keys for one that is not there.
  EXPECT_THAT(wrong({"get", "ingress.entry[no key].l3Oif1"}).error,
              HasSubstr("name one by its position"));
}

// --- Traces.

class TracesTest : public ControlVerbsTest {
 protected:
  ~TracesTest() override { Vek::traceLevelDelAll(); }

  static void trace(std::string const& text) {
    Vek::TraceHelper helper(handle(), Vek::TraceFacility::level3, "Somewhere.cpp", 12, "doIt");
    helper.stream() << text;
  }
  static Vek::TraceHandle& handle() {
    static Vek::TraceHandle& handle = *new Vek::TraceHandle("TracesTestHandle", false);
    return handle;
  }
};

TEST_F(TracesTest, LevelsAreSwitchedByName) {
  start();
  (void)handle();
  Json const switched = right({"trace", "level", "TracesTest*", "3"}).object("trace");
  EXPECT_EQ(switched["handles"], 1);
  EXPECT_TRUE(handle().levelEnabled(Vek::TraceFacility::level3));
  EXPECT_FALSE(handle().levelEnabled(Vek::TraceFacility::level4));
  EXPECT_EQ(right({"show", "trace"}).row("handles", "TracesTestHandle")["levels"],
            Json({0, 1, 2, 3}));
  right({"trace", "level", "TracesTest*", "1"});
  EXPECT_FALSE(handle().levelEnabled(Vek::TraceFacility::level3));
  right({"trace", "level", "TracesTest*", "off"});
  EXPECT_EQ(right({"show", "trace"}).row("handles", "TracesTestHandle")["levels"], Json::array());
  EXPECT_THAT(wrong({"trace", "level", "*", "10"}).error, HasSubstr("no level from 0 to 9"));
}

TEST_F(TracesTest, WhoFollowsGetsLinesAsTheyComeAndTheSinkOfBeforeGetsThemToo) {
  std::vector<std::string> before;
  Vek::TraceSink const former =
      Vek::traceSinkIs([&](Vek::TraceLine const& line) { before.emplace_back(line.text); });
  start();
  trace("too early");
  TestClient first(path);
  TestClient second(path);
  first.ask({"trace", "follow"});
  second.ask({"trace", "follow"});
  turns(10);
  trace("heard");
  turns(10);
  first.receive();
  second.receive();
  EXPECT_EQ((*first.next())["line"], "TracesTestHandle 3 Somewhere.cpp:12 doIt] heard");
  EXPECT_TRUE(second.next().has_value());
  EXPECT_FALSE(first.next().has_value());
  first.close();
  ASSERT_TRUE(turnsUntil([&] { return server->clients() == 1; }));
  trace("by one");
  turns(10);
  second.receive();
  EXPECT_THAT((*second.next())["line"].get<std::string>(), HasSubstr("by one"));
  second.close();
  ASSERT_TRUE(turnsUntil([&] { return server->clients() == 0; }));
  trace("by nobody");
  EXPECT_THAT(before, ElementsAre("too early", "heard", "by one", "by nobody"));
  Vek::traceSinkIs(former);
}

TEST_F(TracesTest, WhoDoesNotReadIsToldHowManyLinesAreLost) {
  Vek::TraceSink const former = Vek::traceSinkIs([](Vek::TraceLine const&) {});
  start();
  TestClient client(path);
  client.ask({"trace", "follow"});
  turns(10);
  constexpr int kLines = 60000;
  std::string const text(100, 'x');
  for (int i = 0; i < kLines; ++i) {
    trace(text);
    if (i % 100 == 0) turn();
  }
  int lines = 0;
  int lost = 0;
  std::string seen;
  ASSERT_TRUE(turnsUntil([&] {
    client.receive();
    while (auto const message = client.next()) {
      std::string const line = (*message)["line"];
      if (line.starts_with("... ")) {
        lost += std::stoi(line.substr(4));
      } else {
        ++lines;
      }
    }
    return lines + lost == kLines;
  })) << lines
      << " + " << lost;
  EXPECT_GT(lost, 0);
  EXPECT_GT(lines, 10000);
  client.close();
  turns(10);
  Vek::traceSinkIs(former);
}

TEST_F(TracesTest, ARingIsNeededForItsDump) {
  start();
  EXPECT_THAT(wrong({"ring", "dump"}).error, HasSubstr("runs without --ring"));
  EXPECT_EQ(right({"show", "trace"}).object("trace")["ring"], nullptr);
}

TEST_F(TracesTest, DumpsTheRingAsText) {
  auto const ring = Fendrel::TraceHandle::singleFile(Fendrel::TraceFile::inMemory());
  Fendrel::defaultTraceHandleIs(ring.get());
  startSmall();
  Answered const answered = right({"ring", "dump"});
  Fendrel::defaultTraceHandleIs(nullptr);
  std::vector<std::string> expected;
  Fendrel::RingReader::readImage(ring->traceFile()->image(),
                                 [&](std::string_view line) { expected.emplace_back(line); });
  ASSERT_GT(answered.lines.size(), 10U);
  ASSERT_GE(expected.size(), answered.lines.size());
  expected.resize(answered.lines.size());
  EXPECT_EQ(answered.lines, expected);
}

TEST_F(TracesTest, AClientThatGoesEndsTheDump) {
  auto const ring = Fendrel::TraceHandle::singleFile(Fendrel::TraceFile::inMemory());
  Fendrel::defaultTraceHandleIs(ring.get());
  startSmall();
  for (int i = 0; i < 200; ++i)
    feed(withdrawRoute("10.3.0.0", 16) + announceRoute("10.3.0.0", 16, 3));
  TestClient client(path);
  client.ask({"ring", "dump"});
  turns(5);
  client.close();
  EXPECT_TRUE(turnsUntil([&] { return server->clients() == 0; }));
  Fendrel::defaultTraceHandleIs(nullptr);
}

}  // namespace
}  // namespace OrviaL3Agent::Testing
