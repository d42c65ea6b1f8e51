// The tables of a replay by name, and the catalogue of names.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "Vek/Reflect.h"
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
  EXPECT_TRUE(contains(printed("--ls group.numEntries"), "nothing below this Vek::U32"));
  EXPECT_EQ(printed("--ls group.unresolvedEntry"), "no elements\n");
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

TEST(ByName, KeepsWhatWasSetWhenTheNextChangeFails) {
  Ended const ended = agent("replay " + stream("w1-static.0.fpm") +
                            " --set 'group.entry[#1].lbMode=2' --set 'group.entry[#7].lbMode=3' "
                            "--get 'group.entry[#1].lbMode' --get 'group.entry[#2].lbMode'");
  EXPECT_EQ(ended.exitCode, kExitUsage);
  EXPECT_TRUE(ended.output.starts_with("2\n0\n\nReplayed ")) << ended.output;
  EXPECT_EQ(lines(ended.error), 1U) << ended.error;
  EXPECT_TRUE(contains(ended.error, "group.entry[#7].lbMode: "));
  // Every row is still in the hardware.
  EXPECT_TRUE(contains(ended.output, "3: 3 programmed, 0 parked, 0 refused, 0 unanswered"));
}

TEST(ByName, MakesTheChangesBehindOneThatFails) {
  Ended const ended = agent("replay " + stream("w1-static.0.fpm") +
                            " --set group.numEntries=many --set 'group.entry[#1].lbMode=2' "
                            "--get group.numEntries --get 'group.entry[#1].lbMode'");
  EXPECT_EQ(ended.exitCode, kExitUsage);
  EXPECT_TRUE(ended.output.starts_with("16384\n2\n\nReplayed ")) << ended.output;
}

TEST(ByName, SaysOfEachPathWhatIsWrong) {
  std::string const error = complaint(
      "--ls ecmp.nothing --get group.nothing --set member.nothing=1 --get "
      "'group.entry[#9].numPaths' "
      "--set ingress.numEntries=many");
  EXPECT_EQ(lines(error), 5U) << error;
  for (char const* const path : {"ecmp.nothing", "group.nothing", "member.nothing",
                                 "group.entry[#9].numPaths", "ingress.numEntries"}) {
    EXPECT_TRUE(contains(error, std::string("orvia-l3-agent: ") + path + ": "));
  }
  // Where in the path, when that is not its end.
  EXPECT_TRUE(contains(error, ".numPaths: at 'group.entry[#9]': "));
}

TEST(ByName, RefusesADotWithoutAName) {
  EXPECT_TRUE(contains(complaint("--get group."), "group.: a name is missing"));
  EXPECT_TRUE(contains(complaint("--ls group."), "group.: a name is missing"));
  EXPECT_TRUE(contains(complaint("--set group.=3"), "group.: a name is missing"));
  EXPECT_TRUE(contains(complaint("--get 'group.entry[#1].'"), "a name is missing"));
  EXPECT_TRUE(contains(complaint("--get group..entry"), "a name is missing"));
}

TEST(ByName, RefusesRecordsThatReferToObjectsThoughTheyHaveAText) {
  std::string const error = complaint("--set 'member.entryBlock[#1].entry[#1]=None'");
  EXPECT_TRUE(contains(error, "member.entryBlock[#1].entry[#1]: only plain values can be set"));
}

TEST(ByName, CutsLongPathsAndValues) {
  std::string const x(3000, 'x');
  std::string steps;
  for (int i = 0; i < 1000; ++i) steps += ".x";
  for (std::string const& options :
       {"--get " + x, "--get group." + x, "--get 'group.entry[" + x + "].numPaths'",
        "--ls group" + steps, "--set group.numEntries=" + x, "--set group" + steps + "=1",
        "--set group" + steps, "--set 'group.entryHandle[#1].mode=" + x + "'",
        "--set group.numEntries=" + std::string(3000, '1')}) {
    std::string const error = complaint(options);
    EXPECT_LT(error.size(), 900U) << error;
  }
  // What is left out is marked, and the end of a path stays.
  std::string const error = complaint("--get 'group.entry[" + x + "].numPaths'");
  EXPECT_TRUE(contains(error, "group.entry[xxx"));
  EXPECT_TRUE(contains(error, "xxx...xxx"));
  EXPECT_TRUE(contains(error, "xxx].numPaths: "));
}

TEST(ByName, RefusesWhatCannotBe) {
  EXPECT_TRUE(contains(complaint("--get ''"), "there is no table \"\""));
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

TEST(Catalogue, SaysWhatCanBeDoneWithAnAttribute) {
  auto const json = nlohmann::json::parse(catalogueJson());
  std::size_t seen = 0;
  for (auto const& described : json.at("types")) {
    Vek::VekType const type = Vek::vekTypeNamed(described.at("name").get<std::string>());
    ASSERT_NE(type.module, nullptr);
    for (auto const& attribute : described.at("attributes")) {
      ++seen;
      SCOPED_TRACE(described.at("name").get<std::string>() + "." + attribute.at("name").dump());
      auto const* const row = Vek::findAttribute(type, attribute.at("name").get<std::string>());
      ASSERT_NE(row, nullptr);
      EXPECT_EQ(attribute.at("id"), row->id.value());
      EXPECT_EQ(attribute.at("readable"), row->read != nullptr || row->elementRead != nullptr);
      EXPECT_EQ(attribute.at("writable"), row->write != nullptr || row->elementWrite != nullptr);
      EXPECT_EQ(attribute.at("iterable"), row->keys != nullptr);
      EXPECT_EQ(attribute.at("deletable"), row->elementDelete != nullptr);
      EXPECT_EQ(attribute.contains("madeFrom"), row->madeFrom.module != nullptr);
      EXPECT_EQ(attribute.at("collection"), row->isCollection());
    }
  }
  EXPECT_GT(seen, 100U);
}

TEST(Catalogue, GivesEveryTypesAttributesByTheirNumbers) {
  auto const json = nlohmann::json::parse(catalogueJson());
  std::string const text = catalogueText();
  std::string const markdown = catalogueMarkdown();
  std::size_t types = 0;
  for (auto const& type : json.at("types")) {
    std::string const name = type.at("name");
    std::size_t inText = text.find(name + " (");
    std::size_t inMarkdown = markdown.find("\n## " + name + "\n");
    int last = -1;
    for (auto const& attribute : type.at("attributes")) {
      EXPECT_GE(attribute.at("id").get<int>(), last) << name;
      last = attribute.at("id");
      // The other forms have the same order.
      inText = text.find(" " + attribute.at("name").get<std::string>() + ": ", inText);
      inMarkdown =
          markdown.find("| `" + attribute.at("name").get<std::string>() + "` |", inMarkdown);
      ASSERT_NE(inText, std::string::npos) << name;
      ASSERT_NE(inMarkdown, std::string::npos) << name;
    }
    if (last >= 0) ++types;
  }
  EXPECT_GT(types, 20U);
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
