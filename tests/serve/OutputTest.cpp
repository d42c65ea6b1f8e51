// What the client makes of an answer.

#include <gtest/gtest.h>

#include "agent/control/Output.h"

namespace OrviaL3Agent::Control {
namespace {

std::string printed(std::unique_ptr<Output> output, std::vector<char const*> const& messages) {
  ::testing::internal::CaptureStdout();
  for (char const* message : messages) output->messageIs(Json::parse(message));
  EXPECT_EQ(output->end(), 0);
  std::fflush(stdout);
  return ::testing::internal::GetCapturedStdout();
}

TEST(TextOutputTest, AlignsTablesWithNumbersToTheRight) {
  EXPECT_EQ(
      printed(textOutput(), {R"({"table":{"name":"t","columns":["name","n","mixed","last"]}})",
                             R"({"row":["a",1,"x",true]})", R"({"row":["longer",1000,7,null]})"}),
      "NAME       N  MIXED  LAST\n"
      "a          1  x      yes\n"
      "longer  1000  7      -\n");
}

TEST(TextOutputTest, AColumnOfNumbersMayHaveHoles) {
  EXPECT_EQ(printed(textOutput(), {R"({"table":{"name":"t","columns":["row","x"]}})",
                                   R"({"row":[null,"a"]})", R"({"row":[12,"b"]})"}),
            "ROW  X\n  -  a\n 12  b\n");
}

TEST(TextOutputTest, HeadingsOfSeveralWordsHaveHyphens) {
  EXPECT_EQ(printed(textOutput(), {R"({"table":{"name":"t","columns":["groupIds","nextHops"]}})",
                                   R"({"row":[1,22]})"}),
            "GROUP-IDS  NEXT-HOPS\n        1         22\n");
}

TEST(TextOutputTest, ATableWithoutRowsIsItsHeadings) {
  EXPECT_EQ(printed(textOutput(), {R"({"table":{"name":"t","columns":["group","state"]}})"}),
            "GROUP  STATE\n");
}

TEST(TextOutputTest, ListsInACellAreWrittenOut) {
  EXPECT_EQ(printed(textOutput(), {R"({"table":{"name":"t","columns":["ids"]}})",
                                   R"({"row":[[1,2]]})", R"({"row":[[]]})", R"({"row":[""]})"}),
            "IDS\n1, 2\n-\n-\n");
}

TEST(TextOutputTest, WidthsCountCharactersAndNotBytes) {
  EXPECT_EQ(
      printed(textOutput(), {R"({"table":{"name":"t","columns":["a","b"]}})",
                             "{\"row\":[\"\xC3\xA9\xC3\xA9\",\"x\"]}", R"({"row":["ee","x"]})"}),
      "A   B\n\xC3\xA9\xC3\xA9  x\nee  x\n");
}

TEST(TextOutputTest, AnObjectIsALineForEachMember) {
  EXPECT_EQ(printed(textOutput(), {R"({"object":{"name":"o","value":{"a":1,"longer":"x","none":null,
                         "rows":[{"x":1,"y":"b"},{"x":22,"y":"c"}],"in":{"z":false}}}})"}),
            "a       1\n"
            "longer  x\n"
            "none    -\n"
            "rows\n"
            "   X  Y\n"
            "   1  b\n"
            "  22  c\n"
            "in\n"
            "  z  no\n");
}

TEST(TextOutputTest, ABareValueStandsAlone) {
  EXPECT_EQ(printed(textOutput(), {R"({"object":{"name":"get","value":{"value":"7"}}})"}), "7\n");
}

TEST(TextOutputTest, PartsAreSeparated) {
  EXPECT_EQ(printed(textOutput(), {R"({"object":{"name":"o","value":{"a":1}}})",
                                   R"({"table":{"name":"t","columns":["x"]}})", R"({"row":[1]})",
                                   R"({"line":"and a line"})"}),
            "a  1\n\nX\n1\nand a line\n");
}

TEST(TextOutputTest, AMessageThatIsNoneIsRefused) {
  EXPECT_ANY_THROW(textOutput()->messageIs(Json::parse(R"({"row":[1]})")));
  EXPECT_ANY_THROW(textOutput()->messageIs(Json::parse(R"({"cat":1})")));
  EXPECT_ANY_THROW(textOutput()->messageIs(Json::parse("7")));
}

TEST(JsonOutputTest, IsOneDocumentOfEverything) {
  std::string const text =
      printed(jsonOutput(), {R"({"line":"first"})", R"({"table":{"name":"t","columns":["a","b"]}})",
                             R"({"row":[1,"x"]})", R"({"row":[2,null]})", R"({"line":"second"})",
                             R"({"object":{"name":"o","value":{"c":[]}}})"});
  EXPECT_EQ(Json::parse(text), Json::parse(R"({"t":[{"a":1,"b":"x"},{"a":2,"b":null}],
                                               "o":{"c":[]},"lines":["first","second"]})"))
      << text;
}

TEST(JsonOutputTest, NothingIsAnEmptyDocument) { EXPECT_EQ(printed(jsonOutput(), {}), "{}\n"); }

TEST(JsonOutputTest, ATableWithoutRowsIsAnEmptyArray) {
  EXPECT_EQ(Json::parse(printed(jsonOutput(), {R"({"table":{"name":"t","columns":["a"]}})"})),
            Json::parse(R"({"t":[]})"));
}

TEST(JsonOutputTest, ALineByItselfIsOneDocumentEach) {
  EXPECT_EQ(printed(jsonLinesOutput(), {R"({"line":"a"})", R"({"line":"b"})"}),
            "{\"line\":\"a\"}\n{\"line\":\"b\"}\n");
}

}  // namespace
}  // namespace OrviaL3Agent::Control
