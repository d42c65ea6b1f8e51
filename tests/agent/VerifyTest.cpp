// The comparison of hardware rows with what a stream asks for: a device that is right, and then one
// row of it after the other made wrong in each way that there is.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/Verify.h"

namespace OrviaL3Agent {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// "connected on interface N"
Identity on(std::uint32_t interface) { return {kVrf, Asic::AddressFamily::ipv4, interface}; }

// In these devices the destination is the interface, and 0 is nobody's.
SoftAsic::NextHopContents nextHopOn(std::uint16_t interface) {
  SoftAsic::NextHopContents contents;
  contents.fields.destination = interface;
  return contents;
}
std::optional<Identity> decode(SoftAsic::NextHopContents const& contents) {
  if (contents.fields.destination == 0) return std::nullopt;
  return on(contents.fields.destination);
}

// Groups {1, 2} and {2, 3, 3}, routes straight to 1 and 4.
class VerifyTest : public testing::Test {
 protected:
  VerifyTest() : device_({32, 16, 32, 8}, SoftAsic::AnswerQueue::Delivery::whenDrained) {
    for (std::uint16_t row = 1; row <= 3; ++row) ecmp(row, row);
    ingress(16, 1);
    ingress(18, 4);
    member(4, 1);
    member(5, 2);
    member(8, 2);
    member(9, 3);
    member(10, 3);
    group(1, 4, 2);
    group(2, 8, 3);
    Paths const first{{on(1), 1}, {on(2), 1}};
    Paths const second{{on(2), 1}, {on(3), 2}};
    wanted_.groups = {{first, first, {20}, 3}, {second, second, {21, 22}, 0}};
    wanted_.ecmp = {on(1), on(2), on(3)};
    wanted_.ingress = {{on(1), 1}, {on(4), 2}};
  }

  void ecmp(std::uint32_t row, std::uint16_t interface) {
    (void)device_.ecmpNextHops().write(row, nextHopOn(interface));
  }
  void ingress(std::uint32_t row, std::uint16_t interface) {
    (void)device_.ingressNextHops().write(row, nextHopOn(interface));
  }
  void member(std::uint32_t row, std::uint32_t nextHop) {
    (void)device_.members().write(row, {nextHop});
  }
  void group(std::uint32_t row, std::uint16_t block, std::uint16_t paths, std::uint32_t mode = 0) {
    (void)device_.groups().write(row, {mode, paths, block});
  }
  [[nodiscard]] Differences differences() const { return verify(wanted_, device_, decode); }
  [[nodiscard]] std::vector<std::string> lines() const { return differences().lines; }

  SoftAsic::SoftDevice device_;
  Wanted wanted_;
};

constexpr char const* kFirst =
    "{connected on interface 1, connected on interface 2} by group id 20, 3 routes";
constexpr char const* kSecond =
    "{connected on interface 2, 2 x connected on interface 3} by group ids 21, 22";

std::string both(std::string const& asked, std::string const& hardware) {
  return "asked for: " + asked + "\nin hardware: " + hardware;
}

TEST_F(VerifyTest, ARightDeviceHasNoDifference) {
  Differences const none = differences();
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(none.verifiedGroups, 2U);
  EXPECT_EQ(none.verifiedEcmpNextHops, 3U);
  EXPECT_EQ(none.verifiedIngressNextHops, 2U);
  EXPECT_EQ(text(none), "2 groups, 3 ECMP next hops, 2 other next hops verified: no difference\n");
}

TEST_F(VerifyTest, AnEmptyDeviceIsRightForAnEmptyStream) {
  SoftAsic::SoftDevice const empty({}, SoftAsic::AnswerQueue::Delivery::whenDrained);
  Differences const none = verify({}, empty, decode);
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(text(none), "0 groups, 0 ECMP next hops, 0 other next hops verified: no difference\n");
}

TEST_F(VerifyTest, AGroupThatHasNoRowIsMissing) {
  device_.groups().erase(2);
  Differences const found = differences();
  EXPECT_THAT(found.lines, ElementsAre(both(kSecond, "nothing"),
                                       both("nothing",
                                            "member rows 8 to 10, which no group leads "
                                            "to")));
  EXPECT_EQ(found.groups, 1U);
  EXPECT_EQ(found.members, 1U);
  EXPECT_EQ(found.verifiedGroups, 1U);
  EXPECT_THAT(text(found), EndsWith("1 group, 3 ECMP next hops, 2 other next hops verified: 2 "
                                    "differences\n"));
}

TEST_F(VerifyTest, AGroupRowThatNobodyAskedForIsTooMuch) {
  group(5, 4, 1);
  EXPECT_THAT(lines(), ElementsAre(both("nothing", "group row 5 -> {connected on interface 1}")));
}

TEST_F(VerifyTest, ASecondGroupRowOfTheSamePathsIsTooMuch) {
  group(5, 4, 2);
  EXPECT_THAT(lines(), ElementsAre(both("nothing",
                                        "group row 5 -> {connected on interface 1, connected on "
                                        "interface 2}")));
}

TEST_F(VerifyTest, TwoGroupsThatBecameEqualNeedTwoRows) {
  wanted_.groups.push_back(wanted_.groups[0]);
  wanted_.groups[2].asked.emplace(on(7), 1);
  wanted_.groups[2].groupIds = {30};
  wanted_.groups[2].routes = 0;
  EXPECT_THAT(lines(),
              ElementsAre(both("{connected on interface 1, connected on interface 2} (of "
                               "{connected on interface 1, connected on interface 2, connected on "
                               "interface 7}) by group id 30",
                               "nothing")));
  group(5, 4, 2);
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(VerifyTest, AGroupRowWithoutPathsIsTooMuch) {
  group(5, 4, 0);
  EXPECT_THAT(lines(), ElementsAre(both("nothing", "group row 5 -> {}")));
}

TEST_F(VerifyTest, AGroupRowThatIsTooNarrowIsADifference) {
  group(2, 8, 2);
  EXPECT_THAT(lines(), ElementsAre(both(kSecond,
                                        "group row 2 -> {connected on interface 2, connected on "
                                        "interface 3}"),
                                   both("nothing", "member row 10, which no group leads to")));
}

TEST_F(VerifyTest, AGroupRowThatIsTooWideIsADifference) {
  group(2, 8, 4);
  EXPECT_THAT(lines(), ElementsAre(both(kSecond,
                                        "group row 2 -> {connected on interface 2, 2 x connected "
                                        "on interface 3, nothing}: member row 11 is empty")));
}

TEST_F(VerifyTest, AGroupRowThatNamesAnotherBlockIsADifference) {
  group(1, 5, 2);
  EXPECT_THAT(lines(), ElementsAre(both(kFirst,
                                        "group row 1 -> {connected on interface 2, nothing}: "
                                        "member row 6 is empty"),
                                   both("nothing", "member row 4, which no group leads to")));
}

TEST_F(VerifyTest, AGroupRowThatSpreadsInAnotherModeIsADifference) {
  group(1, 4, 2, 3);
  EXPECT_THAT(lines(), ElementsAre(both(kFirst,
                                        "group row 1 -> {connected on interface 1, connected on "
                                        "interface 2} in load-balancing mode 3")));
}

TEST_F(VerifyTest, AGroupRowThatNamesRowsBeyondTheMemberTableIsADifference) {
  member(31, 1);
  group(1, 31, 2);
  EXPECT_THAT(lines(), ElementsAre(both(kFirst,
                                        "group row 1 -> {connected on interface 1, nothing}: "
                                        "member row 32 does not exist"),
                                   both("nothing", "member rows 4 to 5, which no group leads to")));
}

TEST_F(VerifyTest, AnEmptyMemberRowIsADifference) {
  device_.members().erase(5);
  EXPECT_THAT(lines(), ElementsAre(both(kFirst,
                                        "group row 1 -> {connected on interface 1, nothing}: "
                                        "member row 5 is empty")));
}

TEST_F(VerifyTest, AMemberRowThatNamesAnotherNextHopIsADifference) {
  member(5, 3);
  EXPECT_THAT(lines(), ElementsAre(both(kFirst,
                                        "group row 1 -> {connected on interface 1, connected on "
                                        "interface 3}")));
}

TEST_F(VerifyTest, AMemberRowThatNamesAnEmptyRowIsADifference) {
  member(5, 7);
  EXPECT_THAT(lines(), ElementsAre(both(kFirst,
                                        "group row 1 -> {connected on interface 1, nothing}: "
                                        "member row 5 names next-hop row 7, which is empty")));
}

TEST_F(VerifyTest, AMemberRowThatNamesARowOfTheOtherViewIsADifference) {
  member(4, 16);  // which holds the right next hop
  EXPECT_THAT(lines(),
              ElementsAre(both(kFirst,
                               "group row 1 -> {connected on interface 2, nothing}: member row 4 "
                               "names next-hop row 16, which is none of the ECMP view")));
}

TEST_F(VerifyTest, AMemberRowThatNamesNoRowIsADifference) {
  member(5, Asic::Index::invalidIndex().value());
  EXPECT_THAT(lines(), ElementsAre(both(kFirst,
                                        "group row 1 -> {connected on interface 1, nothing}: "
                                        "member row 5 names no next-hop row")));
}

TEST_F(VerifyTest, MemberRowsThatNoGroupLeadsToAreLeftOver) {
  member(0, 1);
  member(20, 2);
  member(21, 2);
  member(31, 16);
  Differences const found = differences();
  EXPECT_THAT(found.lines,
              ElementsAre(both("nothing", "member row 0, which no group leads to"),
                          both("nothing", "member rows 20 to 21, which no group leads to"),
                          both("nothing", "member row 31, which no group leads to")));
  EXPECT_EQ(found.members, 3U);
}

TEST_F(VerifyTest, AnEmptyEcmpRowIsMissingAndLeavesItsGroupsWithoutIt) {
  device_.ecmpNextHops().erase(3);
  Differences const found = differences();
  EXPECT_THAT(
      found.lines,
      ElementsAre(both(kSecond,
                       "group row 2 -> {connected on interface 2, 2 x nothing}: member row 9 names "
                       "next-hop row 3, which is empty, member row 10 names next-hop row 3, which "
                       "is empty"),
                  both("ECMP next hop connected on interface 3", "nothing")));
  EXPECT_EQ(found.ecmpNextHops, 1U);
  EXPECT_EQ(found.verifiedEcmpNextHops, 2U);
}

TEST_F(VerifyTest, AnEcmpRowOfAnotherNextHopIsADifference) {
  ecmp(1, 9);
  EXPECT_THAT(lines(),
              ElementsAre(both(kFirst,
                               "group row 1 -> {connected on interface 2, connected on "
                               "interface 9}"),
                          both("ECMP next hop connected on interface 1", "nothing"),
                          both("nothing", "ECMP next-hop row 1 -> connected on interface 9")));
}

TEST_F(VerifyTest, AnEcmpRowThatMakesNoSenseIsADifference) {
  ecmp(1, 0);
  EXPECT_THAT(lines(),
              ElementsAre(both(kFirst,
                               "group row 1 -> {connected on interface 2, nothing}: member row 4 "
                               "names next-hop row 1, whose contents make no sense"),
                          both("ECMP next hop connected on interface 1", "nothing"),
                          both("nothing", "ECMP next-hop row 1 -> contents that make no sense")));
}

TEST_F(VerifyTest, AnEcmpRowThatNobodyAskedForIsTooMuch) {
  ecmp(0, 9);
  EXPECT_THAT(lines(),
              ElementsAre(both("nothing", "ECMP next-hop row 0 -> connected on interface 9")));
}

TEST_F(VerifyTest, AnEcmpNextHopHasOneRow) {
  ecmp(7, 2);
  EXPECT_THAT(lines(), ElementsAre(both("ECMP next hop connected on interface 2 in one row",
                                        "next-hop rows 2 7")));
}

TEST_F(VerifyTest, AnEmptyIngressRowIsMissing) {
  device_.ingressNextHops().erase(18);
  Differences const found = differences();
  EXPECT_THAT(found.lines, ElementsAre(both("ingress next hop connected on interface 4 by 2 routes",
                                            "nothing")));
  EXPECT_EQ(found.ingressNextHops, 1U);
  EXPECT_EQ(found.verifiedIngressNextHops, 1U);
}

TEST_F(VerifyTest, AnIngressRowOfAnotherNextHopIsADifference) {
  ingress(16, 2);
  EXPECT_THAT(lines(),
              ElementsAre(both("ingress next hop connected on interface 1 by 1 route", "nothing"),
                          both("nothing", "ingress next-hop row 16 -> connected on interface 2")));
}

TEST_F(VerifyTest, AnIngressRowThatMakesNoSenseIsADifference) {
  ingress(31, 0);
  EXPECT_THAT(lines(), ElementsAre(both("nothing",
                                        "ingress next-hop row 31 -> contents that make no sense")));
}

TEST_F(VerifyTest, AnIngressNextHopHasOneRow) {
  ingress(17, 1);
  EXPECT_THAT(lines(), ElementsAre(both("ingress next hop connected on interface 1 in one row",
                                        "next-hop rows 16 17")));
}

TEST_F(VerifyTest, EachMissingGroupIsToldBesideTheNearestRow) {
  // Rows 1 and 2 change places but for one member each.
  group(1, 8, 3);
  group(2, 4, 2);
  member(5, 3);
  member(8, 1);
  EXPECT_THAT(lines(),
              ElementsAre(both(kFirst,
                               "group row 1 -> {connected on interface 1, 2 x connected on "
                               "interface 3}"),
                          both(kSecond,
                               "group row 2 -> {connected on interface 1, connected on interface "
                               "3}")));
}

TEST_F(VerifyTest, OnlyTheFirstBrokenMembersAreNamed) {
  group(2, 20, 6);
  std::vector<std::string> const found = lines();
  ASSERT_EQ(found.size(), 3U);
  EXPECT_THAT(found[1],
              EndsWith("group row 2 -> {6 x nothing}: member row 20 is empty, member row 21 is "
                       "empty, member row 22 is empty, member row 23 is empty and 2 more"));
}

// Whatever single row is emptied or gets other contents: there is a difference.
TEST_F(VerifyTest, NoRowCanChangeWithoutADifference) {
  for (std::uint32_t const row : {1U, 2U, 3U}) {
    device_.ecmpNextHops().erase(row);
    EXPECT_FALSE(differences().empty()) << "ECMP row " << row;
    for (std::uint16_t other = 0; other < 10; ++other) {
      if (other == row) continue;
      ecmp(row, other);
      EXPECT_FALSE(differences().empty()) << "ECMP row " << row << " on " << other;
    }
    ecmp(row, static_cast<std::uint16_t>(row));
  }
  for (auto const& [row, nextHop] : {std::pair(4U, 1U), {5U, 2U}, {8U, 2U}, {9U, 3U}, {10U, 3U}}) {
    device_.members().erase(row);
    EXPECT_FALSE(differences().empty()) << "member row " << row;
    for (std::uint32_t other = 0; other < 40; ++other) {
      if (other == nextHop) continue;
      member(row, other);
      EXPECT_FALSE(differences().empty()) << "member row " << row << " names " << other;
    }
    member(row, nextHop);
  }
  for (std::uint16_t block = 0; block < 40; ++block) {
    for (std::uint16_t paths = 0; paths < 6; ++paths) {
      if (block == 4 && paths == 2) continue;
      group(1, block, paths);
      EXPECT_FALSE(differences().empty()) << "group of " << paths << " from " << block;
    }
  }
  group(1, 4, 2);
  EXPECT_TRUE(differences().empty()) << text(differences());
}

TEST_F(VerifyTest, TheTextIsBoundedAndSummedUp) {
  for (std::uint32_t row = 12; row < 32; row += 2) member(row, 1);
  for (std::uint32_t row = 20; row < 32; ++row) ingress(row, 9);
  std::string const all = text(differences());
  EXPECT_THAT(all, StartsWith("asked for: nothing\n    in hardware: ingress next-hop row 20 -> "
                              "connected on interface 9\n"));
  EXPECT_THAT(all, HasSubstr("\nand 2 more\n2 groups, 3 ECMP next hops, 2 other next hops "
                             "verified: 22 differences\n"));
  EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 42);
}

}  // namespace
}  // namespace OrviaL3Agent
