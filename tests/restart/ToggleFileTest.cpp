// The toggle service: what it finds in toggle files, and what it says of a bad one.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "RestartTables.h"

namespace RestartTests {
namespace {

using OrviaAsicUtils::getToggleState;

constexpr char const* file = "OrviaAsicUtils.json";

// The answer for `name` with either default, and what was written to standard error for the last.
struct Answer {
  bool withTrue;
  bool withFalse;
  std::string written;
};
Answer ask(char const* name, char const* from = file) {
  testing::internal::CaptureStderr();
  bool const withTrue = getToggleState(name, from, true);
  testing::internal::GetCapturedStderr();
  testing::internal::CaptureStderr();
  bool const withFalse = getToggleState(name, from, false);
  return {withTrue, withFalse, testing::internal::GetCapturedStderr()};
}

void expectState(char const* name, bool state) {
  Answer const answer = ask(name);
  EXPECT_EQ(answer.withTrue, state) << name;
  EXPECT_EQ(answer.withFalse, state) << name;
  EXPECT_EQ(answer.written, "") << name;
}
void expectDefault(char const* name, std::string const& written = "") {
  Answer const answer = ask(name);
  EXPECT_TRUE(answer.withTrue) << name;
  EXPECT_FALSE(answer.withFalse) << name;
  EXPECT_EQ(answer.written, written);
}

TEST(ToggleFileTest, SaysWhatTheFileSays) {
  ToggleFolder const folder;
  folder.fileIs(R"({"A": true, "B": false, "": true, "a \"q\" \u00e4": false})");
  expectState("A", true);
  expectState("B", false);
  expectState("", true);
  expectState("a \"q\" \xC3\xA4", false);
}

TEST(ToggleFileTest, NamesMustMatchToTheLetter) {
  ToggleFolder const folder;
  folder.fileIs(R"({"Alpha": true})");
  expectDefault("alpha");
  expectDefault("Alph");
  expectDefault("Alphas");
}

TEST(ToggleFileTest, WhatIsNotThereHasTheDefaultWithoutAWord) {
  {
    ToggleFolder const folder;
    expectDefault("A");  // no file
    folder.fileIs("{}");
    expectDefault("A");  // no name
    OrviaAsicUtils::toggleDirectoryIs(folder.path("nowhere"));
    expectDefault("A");  // no directory
    OrviaAsicUtils::toggleDirectoryIs(folder.path());
    expectDefault("A");  // a file where the directory should be
  }
  EXPECT_EQ(OrviaAsicUtils::toggleDirectory(), "");
  expectDefault("A");  // none was ever named
}

TEST(ToggleFileTest, EachFileStandsForItself) {
  ToggleFolder const folder;
  folder.fileIs(R"({"A": true})", "one.json");
  folder.fileIs(R"({"A": false})", "two.json");
  EXPECT_TRUE(getToggleState("A", "one.json", false));
  EXPECT_FALSE(getToggleState("A", "two.json", true));
}

TEST(ToggleFileTest, EachReadingReadsTheFileAnew) {
  ToggleFolder const folder;
  folder.fileIs(R"({"A": true})");
  expectState("A", true);
  folder.fileIs(R"({"A": false})");
  expectState("A", false);
}

TEST(ToggleFileTest, OfANameThatStandsTwiceTheLastCounts) {
  ToggleFolder const folder;
  folder.fileIs(R"({"A": true, "B": true, "A": false})");
  expectState("A", false);
}

TEST(ToggleFileTest, AByteOrderMarkIsNoMistake) {
  ToggleFolder const folder;
  folder.fileIs("\xEF\xBB\xBF{\"A\": false}\r\n");
  expectState("A", false);
}

// The text, the place of the mistake, and how its description begins.
struct Malformed {
  std::string text;
  std::string place;
  std::string what;
};

TEST(ToggleFileTest, AMalformedFileGivesOneWarningWithItsPlaceAndTheDefault) {
  ToggleFolder const folder;
  std::vector<Malformed> const cases = {
      {"", "1:1", "syntax error while parsing value - unexpected end of input"},
      {"nonsense", "1:2", "syntax error while parsing value - invalid literal"},
      {"{\"A\": true", "1:11", "syntax error while parsing object - unexpected end of input"},
      {"{\"A\": true}\n}", "2:1", "syntax error while parsing value - unexpected '}'"},
      {"{\n  \"A\": true\n  \"B\": true\n}\n", "3:5",
       "syntax error while parsing object - unexpected string literal"},
      {"{\"A\": true, // why\n}", "1:13",
       "syntax error while parsing object key - invalid literal"},
      {"{\"A\": true, \"\xFF\": true}", "1:14",
       "syntax error while parsing object key - invalid string"},
      {"true", "1:1", "expected an object of names to booleans"},
      {"\xEF\xBB\xBF\n [true]", "2:2", "expected an object of names to booleans"},
      {"\"A\"", "1:1", "expected an object of names to booleans"},
      {"{\"A\": 1}", "1:7", "expected true or false for \"A\""},
      {"{\"A\": -1}", "1:7", "expected true or false for \"A\""},
      {"{\"A\": 1.5}", "1:7", "expected true or false for \"A\""},
      {"{\"A\": null}", "1:7", "expected true or false for \"A\""},
      {"{\"A\": \"true\"}", "1:7", "expected true or false for \"A\""},
      {"{\"A\": []}", "1:7", "expected true or false for \"A\""},
      {"{\"A\":\n\t{}}", "2:2", "expected true or false for \"A\""},
      // One that is in order does not save a file that is not, before it or behind it.
      {"{\"A\": true,\n \"B\" : 7\n}", "2:8", "expected true or false for \"B\""},
      {"{\"B\": 7, \"A\": true}", "1:7", "expected true or false for \"B\""},
  };
  for (auto const& [text, place, what] : cases) {
    SCOPED_TRACE(text);
    folder.fileIs(text);
    Answer const answer = ask("A");
    EXPECT_TRUE(answer.withTrue);
    EXPECT_FALSE(answer.withFalse);
    std::string const begin = "toggle file " + folder.path() + ":" + place + ": " + what;
    EXPECT_EQ(answer.written.substr(0, begin.size()), begin);
    std::string const end = "; toggle \"A\" has its default, false\n";
    ASSERT_GE(answer.written.size(), end.size());
    EXPECT_EQ(answer.written.substr(answer.written.size() - end.size()), end);
    EXPECT_EQ(std::count(answer.written.begin(), answer.written.end(), '\n'), 1);
  }
}

TEST(ToggleFileTest, AFileThatIsThereAndCannotBeReadIsNamed) {
  ToggleFolder const folder;
  std::filesystem::create_directory(folder.path());
  expectDefault("A", "toggle file " + folder.path() +
                         ": Is a directory; toggle \"A\" has its default, false\n");
}

TEST(ToggleFileTest, AnAgentMayKeepItsTogglesElsewhere) {
  ToggleFolder const folder;
  folder.fileIs(R"({"A": false})");
  auto previous =
      OrviaAsicUtils::toggleReaderIs([](char const* name, char const* from, bool otherwise) {
        return std::string(name) == "A" && std::string(from) == file ? true : otherwise;
      });
  EXPECT_FALSE(previous);
  expectState("A", true);
  expectDefault("B");
  EXPECT_TRUE(OrviaAsicUtils::toggleReaderIs(std::move(previous)));
  expectState("A", false);
}

TEST(ToggleFileTest, AReaderMayReplaceItself) {
  ToggleFolder const folder;
  OrviaAsicUtils::toggleReaderIs([](char const*, char const*, bool) {
    OrviaAsicUtils::toggleReaderIs({});
    return true;
  });
  EXPECT_TRUE(getToggleState("A", file, false));
  EXPECT_FALSE(getToggleState("A", file, false));
}

}  // namespace
}  // namespace RestartTests
