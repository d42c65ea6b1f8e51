// Group rows are group objects over what their member rows name.
#include <gmock/gmock.h>

#include "DeviceFixture.h"

namespace KernelNextHopTests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class GroupObjects : public DeviceFixture {
 protected:
  void SetUp() override {
    DeviceFixture::SetUp();
    if (IsSkipped()) return;
    for (unsigned row = 1; row <= 8; ++row) writeHop(row, row * 20);
    settle();
    answers.clear();
  }
};

TEST_F(GroupObjects, AGroupHasItsMembersInTheirOrder) {
  writeGroupOf(3, 10, {4, 2, 7});
  settle();
  EXPECT_THAT(answers, ElementsAre("group 3: 1"));
  EXPECT_EQ(inKernel(groupRow(3)), ids({4, 2, 7}));
  EXPECT_EQ(id(groupRow(3)), kFirst + 1000 + 3);
  EXPECT_EQ(device->groupsInForce(), 1U);
}

TEST_F(GroupObjects, RepeatedMembersBecomeWeights) {
  writeGroupOf(3, 10, {1, 2, 1, 1, 2, 3});
  settle();
  EXPECT_EQ(inKernel(groupRow(3)), fmt::format("{}x3 {}x2 {}", kFirst + 1, kFirst + 2, kFirst + 3));
}

TEST_F(GroupObjects, WeightsThatAreTooGreatKeepTheirShares) {
  std::vector<std::uint32_t> rows(600, 1);
  rows.resize(900, 2);
  writeGroupOf(3, 10, rows);
  settle();
  EXPECT_THAT(answers, ElementsAre("group 3: 1"));
  EXPECT_EQ(inKernel(groupRow(3)), fmt::format("{}x2 {}", kFirst + 1, kFirst + 2));
}

TEST_F(GroupObjects, SharesThatCannotBeKeptAreRefused) {
  std::vector<std::uint32_t> rows(257, 1);
  rows.push_back(2);
  writeGroupOf(3, 10, rows);
  settle();
  EXPECT_THAT(answers, ElementsAre("group 3: 2"));
  EXPECT_THAT(device->refusal(groupRow(3)), HasSubstr("no weight of 257"));
  EXPECT_EQ(inKernel(groupRow(3)), "none");
}

TEST_F(GroupObjects, MemberRowsThatNameNothingAreTheGroupsRefusal) {
  writeMembers(10, {1, 2});
  writeGroup(3, 10, 3);
  settle();
  EXPECT_THAT(answers, ElementsAre("group 3: 2"));
  EXPECT_THAT(device->refusal(groupRow(3)), HasSubstr("member row 12"));
}

TEST_F(GroupObjects, AGroupOfNoMembersOrOfRowsOutsideIsRefused) {
  writeGroup(3, 10, 0);
  writeGroup(4, 1999, 2);
  writeGroup(100, 10, 1);
  settle();
  EXPECT_THAT(answers, testing::UnorderedElementsAre("group 3: 2", "group 4: 2", "group 100: 2"));
}

TEST_F(GroupObjects, AMemberThatTheKernelDoesNotHaveIsRefusedInItsWords) {
  writeGroupOf(3, 10, {1, 50});
  settle();
  EXPECT_THAT(answers, ElementsAre("group 3: 2"));
  EXPECT_EQ(device->refusal(groupRow(3)), "Invalid nexthop id");
}

TEST_F(GroupObjects, AGroupWaitsForMembersThatAreWrittenWithIt) {
  // The group comes before its members, and stays behind them.
  writeGroupOf(3, 10, {20, 21});
  writeHop(20, 100);
  writeHop(21, 101);
  settle();
  EXPECT_THAT(answers,
              testing::UnorderedElementsAre("group 3: 1", "next hop 20: 1", "next hop 21: 1"));
}

TEST_F(GroupObjects, ARewrittenMemberRowChangesTheGroupsOverItOnce) {
  writeGroupOf(3, 10, {1, 2, 3});
  writeGroup(4, 10, 2);
  writeGroupOf(5, 20, {1, 2});
  settle();
  auto const before = device->counts();
  answers.clear();
  writeMembers(10, {4, 5, 6});
  settle();
  EXPECT_EQ(inKernel(groupRow(3)), ids({4, 5, 6}));
  EXPECT_EQ(inKernel(groupRow(4)), ids({4, 5}));
  EXPECT_EQ(inKernel(groupRow(5)), ids({1, 2}));
  EXPECT_EQ(device->counts().requests - before.requests, 2U);
  // Nobody asked: they are as they were told to be.
  EXPECT_THAT(answers, IsEmpty());
}

TEST_F(GroupObjects, AMemberRowRewrittenToWhatTheKernelRefusesIsTheGroupsAnswer) {
  writeGroupOf(3, 10, {1, 2});
  settle();
  answers.clear();
  device->memberIs(10, 50);
  settle();
  EXPECT_THAT(answers, ElementsAre("group 3: 2"));
  EXPECT_EQ(inKernel(groupRow(3)), ids({1, 2}));
  device->memberIs(10, 4);
  settle();
  EXPECT_THAT(answers, ElementsAre("group 3: 2", "group 3: 1"));
  EXPECT_EQ(inKernel(groupRow(3)), ids({4, 2}));
}

TEST_F(GroupObjects, ADeletedMemberRowLeavesTheGroupUntilItIsMoved) {
  writeGroupOf(3, 10, {1, 2});
  settle();
  answers.clear();
  device->memberDel(10);
  device->memberDel(11);
  settle();
  EXPECT_EQ(inKernel(groupRow(3)), ids({1, 2}));
  EXPECT_THAT(answers, IsEmpty());
}

TEST_F(GroupObjects, ANextHopIsDeletedAfterTheGroupThatHasIt) {
  writeGroupOf(3, 10, {1, 2});
  writeGroupOf(4, 20, {2, 3});
  settle();
  device->nextHopDel(2);
  settle();
  EXPECT_TRUE(device->isInForce(nextHopRow(2)));
  EXPECT_EQ(inKernel(groupRow(3)), ids({1, 2}));
  writeGroupOf(3, 30, {1, 4});
  settle();
  EXPECT_EQ(inKernel(groupRow(4)), ids({2, 3}));
  device->groupDel(4);
  settle();
  EXPECT_EQ(inKernel(nextHopRow(2)), "none");
  EXPECT_EQ(inKernel(groupRow(3)), ids({1, 4}));
}

TEST_F(GroupObjects, DeletionsInTheWrongOrderStillTakeTheGroupFirst) {
  writeGroupOf(3, 10, {1, 2});
  settle();
  device->nextHopDel(1);
  device->nextHopDel(2);
  device->groupDel(3);
  settle();
  EXPECT_EQ(inKernel(groupRow(3)), "none");
  EXPECT_EQ(inKernel(nextHopRow(1)), "none");
  EXPECT_EQ(device->nextHopsInForce(), 6U);
}

TEST_F(GroupObjects, ARowThatIsWrittenWhileItsDeletionWaitsIsReplaced) {
  writeGroupOf(3, 10, {1, 2});
  settle();
  answers.clear();
  device->nextHopDel(2);
  settle();
  writeHop(2, 150);
  settle();
  EXPECT_THAT(answers, ElementsAre("next hop 2: 1"));
  EXPECT_EQ(inKernel(nextHopRow(2)), gateway(150) + "@d0");
  device->groupDel(3);
  settle();
  EXPECT_EQ(inKernel(nextHopRow(2)), gateway(150) + "@d0");
}

TEST_F(GroupObjects, AreFiveHundredAndTwelveWide) {
  std::vector<std::uint32_t> rows;
  for (unsigned n = 0; n < 390; ++n) {
    writeHop(10 + n, n);
    rows.push_back(10 + n);
  }
  for (unsigned n = 0; n < 122; ++n) rows.push_back(10 + n);
  writeGroupOf(3, 10, rows);
  settle();
  EXPECT_EQ(answers.back(), "group 3: 1");
  // The tool of the system does not print as many; the device reads them back.
  start();
  settle();
  EXPECT_EQ(device->counts().fromBefore, 8U + 390U + 1U);
}

}  // namespace
}  // namespace KernelNextHopTests
