// The tables of a replay by name, and the catalogue of names.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "agent/Catalogue.h"
#include "tests/agent/AgentProcess.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

// What comes before the summary.
std::string printed(std::string const& options) {
  Ended const ended = agent("replay " + stream("w1-static.0.fpm") + " " + options);
  EXPECT_EQ(ended.exitCode, 0) << ended.error;
  return ended.output.substr(0, ended.output.find("\nReplayed "));
}
std::string complaint(std::string const& options) {
  Ended const ended = agent("replay " + stream("w1-static.0.fpm") + " " + options);
  EXPECT_EQ(ended.exitCode, kExitUsage) << ended.output;
  EXPECT_TRUE(ended.error.starts_with("orvia-l3-agent: ")) << ended.error;
  return ended.error;
}

TEST(ByName, PrintsAValue) {
  EXPECT_EQ(printed("--get 'group.entry[#1].numPaths'"), "2\n");
  EXPECT_EQ(printed("--get group.numEntries --get member.numEntries"), "16384\n65536\n");
  EXPECT_EQ(printed("--get ecmp.hwTableReady"), "true\n");
}

TEST(ByName, PrintsAValueOfSeveralAttributes) {
  EXPECT_EQ(printed("--get 'group.entry[#1]'"),
            "Value('OrviaL3Unicast::L3EcmpGroupTable::Entry', ** {'neededEntryHandle': None, "
            "'lbMode': 0, 'numPaths': 2})\n");
}

TEST(ByName, ListsTablesAttributesAndElements) {
  EXPECT_EQ(printed("--ls ''"), "ingress\necmp\nmember\ngroup\n");
  std::string const table = printed("--ls group");
  EXPECT_TRUE(contains(table, "entry: OrviaL3Unicast::L3EcmpGroupTable::Entry = 3 elements"));
  EXPECT_TRUE(contains(table, "numEntries: "));
  EXPECT_FALSE(contains(table, "elements elements"));
  EXPECT_EQ(printed("--ls group.numEntries"), "nothing\n");
  std::string const entry = printed("--ls 'group.entry[#1]'");
  EXPECT_TRUE(contains(entry, "numPaths: "));
  EXPECT_TRUE(contains(entry, "(read only)"));
  EXPECT_EQ(lines(printed("--ls group.entry")), 3U);
}

TEST(ByName, FindsAnElementByItsKey) {
  std::string const listed = printed("--ls group.entry");
  std::string const key = listed.substr(0, listed.find(':'));  // "[7]"
  EXPECT_EQ(printed("--get 'group.entry" + key + ".numPaths'"), "2\n");
  std::string const number = key.substr(1, key.size() - 2);
  EXPECT_EQ(printed("--get \"group.entry[{'value': " + number + "}].numPaths\""), "2\n");
}

TEST(ByName, SetsAValueAndTheHardwareFollows) {
  Ended const ended = agent("replay " + stream("w1-static.0.fpm") +
                            " --set 'group.entry[#1].lbMode=2' --get 'group.entry[#1].lbMode' "
                            "--verify");
  EXPECT_EQ(ended.exitCode, kExitDifference);
  EXPECT_TRUE(ended.output.starts_with("2\n")) << ended.output;
  EXPECT_TRUE(contains(ended.output, "in load-balancing mode 2"));
}

TEST(ByName, SetsBeforeItPrintsAndInOrder) {
  EXPECT_EQ(printed("--get group.numEntries --set group.numEntries=7 --set group.numEntries=8"),
            "8\n");
}

TEST(ByName, ListsEveryElement) {
  Bytes many;
  for (std::uint32_t id = 1; id <= 1200; ++id) many += announceRouted(id, id);
  TemporaryFile const file(many);
  Ended const ended = agent("replay '" + file.path() + "' --ls ingress.entry");
  EXPECT_EQ(lines(ended.output.substr(0, ended.output.find("\nReplayed "))), 1200U);
}

TEST(ByName, SetsARowThatIsNotThere) {
  Ended const ended = agent("replay " + stream("w1-static.0.fpm") +
                            " --set 'ingress.entryHandle[#1].key.hwEntryIndex=32768'");
  EXPECT_EQ(ended.exitCode, 0) << ended.error;
  EXPECT_TRUE(contains(ended.output, "1 unanswered"));
}

TEST(ByName, DoesTheRestWhenANameIsWrong) {
  Ended const ended =
      agent("replay " + stream("w1-static.0.fpm") + " --get group.nothing --get group.numEntries");
  EXPECT_EQ(ended.exitCode, kExitUsage);
  EXPECT_TRUE(ended.output.starts_with("16384\n\nReplayed ")) << ended.output;
  EXPECT_TRUE(contains(ended.error, "nothing"));
}

TEST(ByName, RefusesWhatCannotBe) {
  EXPECT_TRUE(contains(complaint("--get nothing"), "nothing: there is no table \"nothing\""));
  EXPECT_TRUE(contains(complaint("--get group.nothing"), "nothing"));
  EXPECT_TRUE(contains(complaint("--get 'group.entry[#9].numPaths'"), "#9"));
  EXPECT_TRUE(contains(complaint("--set group.numEntries=many"), "numEntries"));
  EXPECT_TRUE(contains(complaint("--set 'group.entry[#1].ecmpBlockPtr=3'"), "ecmpBlockPtr"));
  EXPECT_TRUE(contains(complaint("--set group.util=None"), "only plain values can be set"));
  EXPECT_TRUE(contains(complaint("--set 'group.entry[#1]=x'"), "only plain values can be set"));
  EXPECT_TRUE(contains(complaint("--set group.numEntries"), "is not PATH=VALUE"));
}

TEST(Catalogue, HasEveryTypeInAllThreeForms) {
  std::string const text = catalogueText();
  auto const json = nlohmann::json::parse(catalogueJson());
  std::string const markdown = catalogueMarkdown();
  std::set<std::string> names;
  for (auto const& type : json.at("types")) {
    std::string const name = type.at("name");
    names.insert(name);
    EXPECT_TRUE(contains(text, name + " ("));
    EXPECT_TRUE(contains(markdown, "\n## " + name + "\n"));
    for (auto const& attribute : type.at("attributes")) {
      std::string const line = "| `" + attribute.at("name").get<std::string>() + "` |";
      EXPECT_TRUE(contains(markdown, line));
    }
  }
  EXPECT_EQ(names.size(), json.at("types").size());
  for (char const* const table :
       {"IngL3NextHop1Table", "EcmpIngL3NextHop1Table", "L3EcmpMemberTable", "L3EcmpGroupTable"}) {
    EXPECT_TRUE(names.contains(std::string("OrviaL3Unicast::") + table));
    EXPECT_TRUE(names.contains(std::string("OrviaL3Unicast::") + table + "::EntryHandle"));
  }
}

TEST(Catalogue, IsPrintedByTheProgram) {
  EXPECT_EQ(agent("catalogue").output, catalogueText());
  EXPECT_EQ(agent("catalogue --json").output, catalogueJson());
  EXPECT_EQ(agent("catalogue --json --markdown").exitCode, kExitUsage);
}

TEST(Catalogue, IsTheOneOfTheReference) {
  std::string const file = std::string(ORVIA_SOURCE_DIR) + "/docs/reference/catalogue.md";
  EXPECT_EQ(contentOf(file), catalogueMarkdown()) << "see tools/update-reference";
}

}  // namespace
}  // namespace OrviaL3Agent
