// Attributes by name: get, set, ls.

#include <gmock/gmock.h>

#include "tests/serve/SmallAgent.h"

namespace OrviaL3Agent::Testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ControlNamesTest : public SmallAgentTest {};

TEST_F(ControlNamesTest, GetsAndSetsByName) {
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

TEST_F(ControlNamesTest, ANameThatIsNoneHasNoList) {
  startSmall();
  Answered const answered = wrong({"ls", "nosuch"});
  EXPECT_THAT(answered.error, HasSubstr("nosuch"));
  EXPECT_TRUE(answered.tables.empty());
}

TEST_F(ControlNamesTest, ListsNames) {
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

TEST_F(ControlNamesTest, ListsALargeCollectionAPartAtATime) {
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

}  // namespace
}  // namespace OrviaL3Agent::Testing
