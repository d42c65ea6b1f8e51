// Fault profiles from files and options: what they say, and what is said of those that are wrong.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <system_error>

#include "TemporaryFile.h"
#include "plugins/soft-asic/FaultProfile.h"

namespace SoftAsicTests {
namespace {

using SoftAsic::FaultProfile;
using SoftAsic::FaultProfileError;
using SoftAsic::FaultProfiles;
using SoftAsic::TableId;
using Order = FaultProfile::Order;

constexpr char const* theKeys =
    "answer, order, refuse-rows, refuse-every, lose-answer-every, lose-write-every, "
    "answer-twice-every, late-every, late-by";
constexpr char const* countRange = "a whole number from 1 to 4294967295";

FaultProfiles read(std::string const& json) {
  TemporaryFile const file(json);
  return SoftAsic::faultProfilesOfFile(file.path());
}
// What the error of such a file says behind the file's name.
std::string errorOf(std::string const& json) {
  TemporaryFile const file(json);
  std::string const text =
      thrown<FaultProfileError>([&] { (void)SoftAsic::faultProfilesOfFile(file.path()); });
  if (text.empty()) return "no error";
  EXPECT_EQ(text.rfind(file.path().string(), 0), 0U) << text;
  return text.substr(file.path().string().size());
}
FaultProfiles with(std::string const& option, FaultProfiles profiles = {}) {
  SoftAsic::faultIs(profiles, option);
  return profiles;
}
// What the error of such an option says behind the option.
std::string errorOfOption(std::string const& option) {
  std::string const text = thrown<FaultProfileError>([&] { with(option); });
  if (text.empty()) return "no error";
  std::string const start = "\"" + option + "\": ";
  EXPECT_EQ(text.rfind(start, 0), 0U) << text;
  return text.substr(start.size());
}

FaultProfile const everything{.answerAfter = 3,
                              .order = Order::random,
                              .refusedRows = {1, 2},
                              .refuseEvery = 5,
                              .loseAnswerEvery = 4,
                              .loseWriteEvery = 9,
                              .answerTwiceEvery = 3,
                              .lateEvery = 6,
                              .lateBy = 10};

TEST(FaultFile, SaysEverythingOfATable) {
  FaultProfiles const profiles = read(R"({"seed": 7, "tables": {"group": {
      "answer": 3, "order": "random", "refuse-rows": [1, 2], "refuse-every": 5,
      "lose-answer-every": 4, "lose-write-every": 9, "answer-twice-every": 3,
      "late-every": 6, "late-by": 10}}})");
  FaultProfiles expected;
  expected.seed = 7;
  expected.of(TableId::groups) = everything;
  EXPECT_EQ(profiles, expected);
}

TEST(FaultFile, MaySayNothing) {
  EXPECT_EQ(read("{}"), FaultProfiles{});
  EXPECT_EQ(read(R"({"tables": {}})"), FaultProfiles{});
  EXPECT_EQ(read(R"({"tables": {"member": {}}})"), FaultProfiles{});
  FaultProfiles const profiles = read(R"({"seed": 18446744073709551615})");
  EXPECT_EQ(profiles.seed, 18446744073709551615U);
}

TEST(FaultFile, NamesEachTable) {
  FaultProfiles const profiles = read(R"({"tables": {
      "ingress": {"refuse-every": 1}, "ecmp": {"refuse-every": 2},
      "member": {"refuse-every": 3}, "group": {"refuse-every": 4}}})");
  EXPECT_EQ(profiles.of(TableId::ingressNextHops).refuseEvery, 1U);
  EXPECT_EQ(profiles.of(TableId::ecmpNextHops).refuseEvery, 2U);
  EXPECT_EQ(profiles.of(TableId::members).refuseEvery, 3U);
  EXPECT_EQ(profiles.of(TableId::groups).refuseEvery, 4U);
}

TEST(FaultFile, SaysWhatHoldsForAllTablesButThoseThatDiffer) {
  FaultProfiles const profiles = read(R"({"tables": {
      "group": {"answer": "at-once"}, "all": {"answer": 2, "refuse-every": 5},
      "ecmp": {"order": "in-order", "refuse-every": 6}}})");
  EXPECT_EQ(profiles.of(TableId::groups).answerAfter, std::nullopt);
  EXPECT_EQ(profiles.of(TableId::groups).refuseEvery, 5U);
  EXPECT_EQ(profiles.of(TableId::ecmpNextHops).answerAfter, 2U);
  EXPECT_EQ(profiles.of(TableId::ecmpNextHops).refuseEvery, 6U);
  EXPECT_EQ(profiles.of(TableId::members).answerAfter, 2U);
  EXPECT_EQ(profiles.of(TableId::members).refuseEvery, 5U);
}

TEST(FaultFile, DelaysAnswersByATurnUnlessItSaysMore) {
  EXPECT_EQ(read(R"({"tables": {"all": {"late-every": 2}}})").of(TableId::groups).lateBy, 1U);
}

TEST(FaultFile, HasNoOtherKeys) {
  EXPECT_EQ(errorOf(R"({"sed": 7})"),
            ": sed: expected one of the keys seed, tables, found \"sed\"");
  EXPECT_EQ(errorOf(R"({"tables": {"groups": {}}})"),
            ": tables.groups: expected one of the tables all, ingress, ecmp, member, group, found "
            "\"groups\"");
  EXPECT_EQ(errorOf(R"({"tables": {"group": {"refuse": 1}}})"),
            std::string(": tables.group.refuse: expected one of the keys ") + theKeys +
                ", found \"refuse\"");
}

TEST(FaultFile, SaysNothingTwice) {
  EXPECT_EQ(errorOf(R"({"seed": 1, "seed": 2})"), ": seed: expected it once, found it twice");
  EXPECT_EQ(errorOf(R"({"tables": {"ecmp": {}, "group": {"answer": 1, "answer": 2}}})"),
            ": tables.group.answer: expected it once, found it twice");
  EXPECT_EQ(errorOf(R"({"tables": {"ecmp": {"answer": 1}, "group": {"answer": 1}}})"), "no error");
}

TEST(FaultFile, HasObjectsWhereTheyBelong) {
  EXPECT_EQ(errorOf("[]"), ": expected an object, found []");
  EXPECT_EQ(errorOf("7"), ": expected an object, found 7");
  EXPECT_EQ(errorOf(R"({"tables": 3})"), ": tables: expected an object, found 3");
  EXPECT_EQ(errorOf(R"({"tables": {"group": [1]}})"),
            ": tables.group: expected an object, found [1]");
}

TEST(FaultFile, HasASeedThatIsANumber) {
  for (std::string const seed : {"-1", "1.5", "\"7\"", "true", "null"}) {
    EXPECT_EQ(errorOf("{\"seed\": " + seed + "}"),
              ": seed: expected a whole number from 0 to 18446744073709551615, found " + seed);
  }
}

TEST(FaultFile, CountsFromOne) {
  for (std::string const key : {"refuse-every", "lose-answer-every", "lose-write-every",
                                "answer-twice-every", "late-every"}) {
    for (std::string const value :
         {"0", "-1", "4294967296", "2.5", "\"2\"", "true", "null", "[2]", "{}"}) {
      EXPECT_EQ(errorOf(R"({"tables": {"group": {")" + key + "\": " + value + "}}}"),
                ": tables.group." + key + ": expected " + countRange + ", found " + value);
    }
  }
}

TEST(FaultFile, RefusesDelaysThatNoAnswerHas) {
  for (std::string const value : {"0", "-1", "1000001", "\"1\""}) {
    EXPECT_EQ(errorOf(R"({"tables": {"all": {"late-every": 2, "late-by": )" + value + "}}}"),
              ": tables.all.late-by: expected a whole number from 1 to 1000000, found " + value);
  }
  EXPECT_EQ(errorOf(R"({"tables": {"ecmp": {"late-by": 3}}})"),
            ": tables.ecmp.late-by: expected a late-every beside it, found none");
  EXPECT_EQ(errorOf(R"({"tables": {"all": {"late-by": 3}}})"),
            ": tables.all.late-by: expected a late-every beside it, found none");
  EXPECT_EQ(errorOf(R"({"tables": {"all": {"late-every": 3}, "ecmp": {"late-by": 3}}})"),
            "no error");
}

TEST(FaultFile, SaysWhenAnswersComeInTheWordsThatThereAre) {
  for (std::string const value : {"-1", "1000001", "\"now\"", "\"3\"", "0.5"}) {
    EXPECT_EQ(errorOf(R"({"tables": {"group": {"answer": )" + value + "}}}"),
              ": tables.group.answer: expected \"at-once\" or a number of turns up to 1000000, "
              "found " +
                  value);
  }
  for (std::string const value : {"\"any\"", "1", "true"}) {
    EXPECT_EQ(errorOf(R"({"tables": {"group": {"order": )" + value + "}}}"),
              ": tables.group.order: expected \"in-order\" or \"random\", found " + value);
  }
}

TEST(FaultFile, ListsRows) {
  for (std::string const value : {"1", "\"1\"", "[-1]", "[1,\"2\"]", "[4294967295]", "[[1]]"}) {
    EXPECT_EQ(errorOf(R"({"tables": {"group": {"refuse-rows": )" + value + "}}}"),
              ": tables.group.refuse-rows: expected a list of row numbers, found " + value);
  }
  EXPECT_EQ(read(R"({"tables": {"group": {"refuse-rows": [4294967294, 0, 0]}}})")
                .of(TableId::groups)
                .refusedRows,
            std::set<std::uint32_t>({0, 4294967294}));
}

TEST(FaultFile, IsJson) {
  EXPECT_EQ(errorOf(""), ":1:1: expected JSON, found the end of the file");
  EXPECT_EQ(errorOf("{\"seed\": 1"), ":1:11: expected JSON, found the end of the file");
  EXPECT_EQ(errorOf("{\n  \"seed\": x\n}"), ":2:11: expected JSON, found something else");
  EXPECT_EQ(errorOf("{} {}"), ":1:4: expected JSON, found something else");
  EXPECT_EQ(errorOf("{\"seed\": \"\xFF\"}"), ":1:11: expected JSON, found something else");
}

TEST(FaultFile, IsThere) {
  EXPECT_THROW((void)SoftAsic::faultProfilesOfFile("no/such/file.json"), std::system_error);
  EXPECT_NE(thrown<std::system_error>([] {
              (void)SoftAsic::faultProfilesOfFile("no/such/file.json");
            }).find("no/such/file.json: No such file"),
            std::string::npos);
  EXPECT_THROW((void)SoftAsic::faultProfilesOfFile(std::filesystem::temp_directory_path()),
               std::system_error);
}

TEST(FaultOption, SaysEverythingOfATable) {
  FaultProfiles expected;
  expected.of(TableId::members) = everything;
  EXPECT_EQ(with("member:answer=3,order=random,refuse-rows=1+2,refuse-every=5,lose-answer-every=4,"
                 "lose-write-every=9,answer-twice-every=3,late-every=6,late-by=10"),
            expected);
}

TEST(FaultOption, ChangesWhatItNamesAndLeavesTheRest) {
  FaultProfiles before;
  before.seed = 9;
  before.of(TableId::groups) = everything;
  FaultProfiles expected = before;
  expected.of(TableId::groups).answerAfter.reset();
  expected.of(TableId::groups).refusedRows = {3};
  expected.of(TableId::groups).order = Order::inOrder;
  EXPECT_EQ(with("group:answer=at-once,refuse-rows=3,order=in-order", before), expected);
}

TEST(FaultOption, MayNameAllTables) {
  FaultProfiles const profiles = with("all:refuse-every=2", with("ecmp:answer=1"));
  for (TableId const table : SoftAsic::allTables) EXPECT_EQ(profiles.of(table).refuseEvery, 2U);
  EXPECT_EQ(profiles.of(TableId::ecmpNextHops).answerAfter, 1U);
}

TEST(FaultOption, MayGiveTheDelayOfWhatWasLateBefore) {
  EXPECT_EQ(with("group:late-by=7", with("group:late-every=2")).of(TableId::groups).lateBy, 7U);
  EXPECT_EQ(errorOfOption("group:late-by=7"),
            "late-by: expected a late-every beside it, found none");
}

TEST(FaultOption, ChangesNothingWhenItIsWrong) {
  FaultProfiles profiles;
  EXPECT_THROW(SoftAsic::faultIs(profiles, "group:answer=3,refuse-every=0"), FaultProfileError);
  EXPECT_EQ(profiles, FaultProfiles{});
}

TEST(FaultOption, HasATableKeysAndValues) {
  EXPECT_EQ(errorOfOption(""), "expected TABLE:KEY=VALUE[,KEY=VALUE...], found no ':'");
  EXPECT_EQ(errorOfOption("group"), "expected TABLE:KEY=VALUE[,KEY=VALUE...], found no ':'");
  EXPECT_EQ(errorOfOption("grp:answer=1"),
            "expected one of the tables all, ingress, ecmp, member, group, found \"grp\"");
  EXPECT_EQ(errorOfOption("group:"), "expected KEY=VALUE, found \"\"");
  EXPECT_EQ(errorOfOption("group:answer"), "expected KEY=VALUE, found \"answer\"");
  EXPECT_EQ(errorOfOption("group:answer=1,"), "expected KEY=VALUE, found \"\"");
  EXPECT_EQ(errorOfOption("group:seed=1"),
            std::string("seed: expected one of the keys ") + theKeys + ", found \"seed\"");
  EXPECT_EQ(errorOfOption("group:answer=1,answer=1"), "answer: expected it once, found it twice");
}

TEST(FaultOption, ChecksValuesAsAFileDoes) {
  for (std::string const value :
       {"0", "-1", "+1", "4294967296", "99999999999999999999", "2.5", "x", "", " 1", "1 ", "1+2"}) {
    EXPECT_EQ(errorOfOption("group:refuse-every=" + value),
              std::string("refuse-every: expected ") + countRange + ", found \"" + value + "\"");
  }
  EXPECT_EQ(errorOfOption("group:answer=soon"),
            "answer: expected \"at-once\" or a number of turns up to 1000000, found \"soon\"");
  EXPECT_EQ(errorOfOption("group:order=1"),
            "order: expected \"in-order\" or \"random\", found \"1\"");
  for (std::string const value : {"", "1+", "+1", "x", "1+4294967295"}) {
    EXPECT_EQ(errorOfOption("group:refuse-rows=" + value),
              "refuse-rows: expected a list of row numbers, found \"" + value + "\"");
  }
}

TEST(FaultText, SaysWhatGoesWrong) {
  EXPECT_EQ(text(FaultProfile{}), "answers within the turn");
  EXPECT_EQ(text(FaultProfile{.answerAfter = {}}), "answers at once");
  EXPECT_EQ(text(FaultProfile{.answerAfter = 1}), "answers 1 turn later");
  EXPECT_EQ(text(FaultProfile{.refusedRows = {4}}), "answers within the turn; refuses row 4");
  EXPECT_EQ(text(FaultProfile{.refusedRows = {4, 7, 9}}),
            "answers within the turn; refuses rows 4, 7 and 9");
  EXPECT_EQ(text(FaultProfile{.refuseEvery = 1}), "answers within the turn; refuses every write");
  EXPECT_EQ(text(everything),
            "answers 3 turns later, in random order; refuses rows 1, 2 and every 5th write; loses "
            "every 4th answer and every 9th write; answers every 3rd write twice; answers every "
            "6th write 10 turns late");
}

TEST(FaultText, CountsInEnglish) {
  auto const every = [](std::uint32_t k) {
    return text(FaultProfile{.loseWriteEvery = k})
        .substr(std::string("answers within the turn; loses ").size());
  };
  EXPECT_EQ(every(2), "every 2nd write");
  EXPECT_EQ(every(11), "every 11th write");
  EXPECT_EQ(every(12), "every 12th write");
  EXPECT_EQ(every(13), "every 13th write");
  EXPECT_EQ(every(21), "every 21st write");
  EXPECT_EQ(every(102), "every 102nd write");
  EXPECT_EQ(every(111), "every 111th write");
}

}  // namespace
}  // namespace SoftAsicTests
