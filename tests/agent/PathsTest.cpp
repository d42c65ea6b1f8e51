// How a group's traffic is spread over rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "agent/Paths.h"

namespace OrviaL3Agent {
namespace {

// 10.0.<interface>.<host> on that interface.
Identity identity(std::uint8_t interface, std::uint8_t host = 2) {
  return Identity::viaGateway(kVrf, Asic::GatewayAddress::ipv4({10, 0, interface, host}),
                              interface);
}

// One member on interface 1, one on interface 2 and so on.
std::vector<WeightedPath> membersOf(std::vector<std::uint32_t> const& weights) {
  std::vector<WeightedPath> members;
  std::uint8_t interface = 0;
  for (std::uint32_t const weight : weights) members.push_back({identity(++interface), weight});
  return members;
}

std::vector<std::uint32_t> rowsOf(Spread const& spread) {
  std::vector<std::uint32_t> rows;
  for (auto const& [path, count] : spread.paths) rows.push_back(count);
  return rows;
}

std::vector<std::uint32_t> rowsOf(std::vector<std::uint32_t> const& weights,
                                  std::uint32_t maxWidth) {
  return rowsOf(spreadOf(membersOf(weights), maxWidth));
}

using Rows = std::vector<std::uint32_t>;

TEST(Spread, GivesRowsByWeight) {
  Spread const spread = spreadOf(membersOf({1, 2, 3}), 512);
  EXPECT_EQ(rowsOf(spread), (Rows{1, 2, 3}));
  EXPECT_FALSE(spread.scaled);
  EXPECT_EQ(spread.error, 0);
  EXPECT_EQ(widthOf(spread.paths), 6U);
}

TEST(Spread, LeavesTheCommonDivisorOut) {
  EXPECT_EQ(rowsOf({4, 8, 12}, 512), (Rows{1, 2, 3}));
  EXPECT_EQ(rowsOf({256, 256}, 512), (Rows{1, 1}));
  EXPECT_EQ(rowsOf({256}, 1), (Rows{1}));
  EXPECT_EQ(rowsOf({4, 6, 9}, 512), (Rows{4, 6, 9}));
  // Only without it they fit: that is no scaling.
  EXPECT_FALSE(spreadOf(membersOf({200, 400}), 3).scaled);
}

TEST(Spread, IsOrderedByIdentityNotByMember) {
  std::vector<WeightedPath> members = membersOf({1, 2, 3});
  Paths const paths = spreadOf(members, 512).paths;
  std::reverse(members.begin(), members.end());
  EXPECT_EQ(spreadOf(members, 512).paths, paths);
  EXPECT_EQ(paths.begin()->first, identity(1));
}

TEST(Spread, FoldsMembersOfOneIdentityIntoOne) {
  Spread const spread = spreadOf({{identity(2), 1}, {identity(1), 1}, {identity(2), 2}}, 512);
  EXPECT_EQ(spread.paths, (Paths{{identity(1), 1}, {identity(2), 3}}));
  EXPECT_EQ(spreadOf({{identity(2), 3}, {identity(1), 1}}, 512).paths, spread.paths);
}

TEST(Spread, IsUnscaledUpToTheWidth) {
  EXPECT_FALSE(spreadOf(membersOf({1, 511}), 512).scaled);
  EXPECT_TRUE(spreadOf(membersOf({1, 512}), 512).scaled);
}

TEST(Spread, ScalesWhatIsTooWideAndTellsTheError) {
  // Shares of 1/300, 99/300 and 200/300 become 1/30, 9/30 and 20/30.
  Spread const spread = spreadOf(membersOf({1, 99, 200}), 30);
  EXPECT_TRUE(spread.scaled);
  EXPECT_EQ(rowsOf(spread), (Rows{1, 9, 20}));
  EXPECT_NEAR(spread.error, 0.03, 1e-12);
}

TEST(Spread, KeepsEveryMemberWithAtLeastOneRow) {
  EXPECT_EQ(rowsOf({1, 1, 1, 256}, 4), (Rows{1, 1, 1, 1}));
  EXPECT_EQ(rowsOf({1, 1, 1, 256}, 6), (Rows{1, 1, 1, 3}));
  // Members of one identity, too.
  Spread const spread = spreadOf({{identity(1), 256}, {identity(2), 1}, {identity(2), 1}}, 4);
  EXPECT_EQ(spread.paths, (Paths{{identity(1), 2}, {identity(2), 2}}));
}

TEST(Spread, IsEmptyWithMoreMembersThanTheWidthAllows) {
  EXPECT_TRUE(spreadOf(membersOf({1, 1, 1}), 2).paths.empty());
  EXPECT_TRUE(spreadOf({{identity(1), 1}, {identity(1), 1}}, 1).paths.empty());
  EXPECT_EQ(rowsOf({1, 1, 1}, 3), (Rows{1, 1, 1}));
  EXPECT_TRUE(spreadOf({}, 512).paths.empty());
}

TEST(Spread, HoldsItsPromisesForRandomWeights) {
  std::mt19937 random(20261121);
  int scaled = 0;
  for (int round = 0; round < 2000; ++round) {
    std::vector<std::uint32_t> weights(1 + random() % 40);
    for (std::uint32_t& weight : weights) weight = 1 + random() % 256;
    std::uint32_t const maxWidth =
        static_cast<std::uint32_t>(weights.size()) + static_cast<std::uint32_t>(random() % 500);
    Spread const spread = spreadOf(membersOf(weights), maxWidth);
    Rows const rows = rowsOf(spread);
    ASSERT_EQ(rows.size(), weights.size());
    std::uint64_t sum = 0;
    for (std::uint32_t const weight : weights) sum += weight;
    std::uint32_t const width = widthOf(spread.paths);
    ASSERT_LE(width, maxWidth);
    double worst = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      ASSERT_GE(rows[i], 1U);
      double const wanted = static_cast<double>(weights[i]) / static_cast<double>(sum);
      worst = std::max(worst, std::abs(static_cast<double>(rows[i]) / width - wanted));
    }
    ASSERT_NEAR(spread.error, worst, 1e-12);
    ASSERT_TRUE(spread.scaled || worst < 1e-12) << worst;
    scaled += spread.scaled ? 1 : 0;
  }
  EXPECT_GT(scaled, 500);
}

TEST(Spread, ScalesNearlyEqualWeightsToEqualRowsWhereThoseFit) {
  // 256 to 255 in four rows is two each, not two to one.
  Spread const spread = spreadOf(membersOf({256, 255}), 4);
  EXPECT_EQ(rowsOf(spread), (Rows{2, 2}));
  EXPECT_LT(spread.error, 0.001);
}

TEST(Paths, CountTheirRows) {
  EXPECT_EQ(widthOf({}), 0U);
  EXPECT_EQ(widthOf({{identity(1), 2}, {identity(2), 5}}), 7U);
}

TEST(Paths, LoseThoseOnInterfacesThatAreDown) {
  Paths const paths{{identity(1), 2}, {identity(2), 1}, {identity(2, 9), 4}, {identity(3), 5}};
  EXPECT_EQ(withoutInterfaces(paths, {2}), (Paths{{identity(1), 2}, {identity(3), 5}}));
  EXPECT_EQ(withoutInterfaces(paths, {1, 2}), (Paths{{identity(3), 5}}));
  EXPECT_EQ(withoutInterfaces(paths, {9}), paths);
  EXPECT_EQ(withoutInterfaces(paths, {}), paths);
}

TEST(Paths, StayWhenNoneWouldBeLeft) {
  Paths const paths{{identity(1), 2}, {identity(2), 1}};
  EXPECT_EQ(withoutInterfaces(paths, {1, 2}), paths);
  EXPECT_EQ(withoutInterfaces({}, {1}), Paths{});
}

TEST(Paths, AreWrittenForOperators) {
  Paths const paths{{identity(2), 1}, {Identity(kVrf, Asic::AddressFamily::ipv4, 3), 2}};
  EXPECT_EQ(text(paths), "{10.0.2.2 on interface 2, 2 x connected on interface 3}");
  EXPECT_EQ(text(Paths{}), "{}");
}

}  // namespace
}  // namespace OrviaL3Agent
