// Next-hop ids, and who uses them.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <optional>
#include <utility>
#include <vector>

#include "agent/Ids.h"

namespace OrviaL3Agent {
namespace {

using User = Ids::User;
using Withdrawn = Ids::Withdrawn;

Fpm::NextHop nextHop(std::uint32_t id, std::uint32_t interface) {
  return {id, AF_INET, interface, std::nullopt, false};
}
Fpm::NextHopGroup groupOf(std::uint32_t id, std::uint32_t member) { return {id, {{member, 0}}}; }

class IdsTest : public ::testing::Test {
 protected:
  std::vector<std::uint32_t> ended;  // groups
  Ids ids{[this](std::uint32_t id) { ended.push_back(id); }};
};
using Groups = std::vector<std::uint32_t>;

TEST_F(IdsTest, AreKnownWhileTheyAreAnnounced) {
  EXPECT_EQ(ids.find(7), nullptr);
  ids.contentsIs(7, nextHop(7, 2));
  ASSERT_NE(ids.find(7), nullptr);
  EXPECT_TRUE(ids.find(7)->known());
  EXPECT_EQ(ids.find(7)->as<Fpm::NextHop>()->interface, 2U);
  EXPECT_EQ(ids.find(7)->as<Fpm::NextHopGroup>(), nullptr);
  EXPECT_EQ(ids.withdraw(7), Withdrawn::nextHop);
  EXPECT_EQ(ids.find(7), nullptr);
}

TEST_F(IdsTest, SayWhatWasWithdrawn) {
  ids.contentsIs(1, nextHop(1, 2));
  ids.contentsIs(2, groupOf(2, 1));
  ids.contentsIs(3, Fpm::BlackholeNextHop{3});
  EXPECT_EQ(ids.withdraw(1), Withdrawn::nextHop);
  EXPECT_EQ(ids.withdraw(2), Withdrawn::group);
  EXPECT_EQ(ids.withdraw(3), Withdrawn::blackhole);
  EXPECT_EQ(ids.withdraw(3), Withdrawn::unknown);
  EXPECT_EQ(ids.withdraw(4), Withdrawn::unknown);
  EXPECT_EQ(ended, (Groups{2}));
  EXPECT_EQ(ids.counts().deferred, 0U);
}

TEST_F(IdsTest, CountTheIdsOfEachIdentity) {
  ids.contentsIs(1, nextHop(1, 2));
  ids.contentsIs(2, nextHop(2, 2));
  ids.contentsIs(3, nextHop(3, 4));
  EXPECT_EQ(ids.nextHops(), 3U);
  EXPECT_EQ(ids.identities(), 2U);
  EXPECT_EQ(ids.idsOf(identityOf(nextHop(9, 2))), 2U);
  ids.contentsIs(2, nextHop(2, 4));
  EXPECT_EQ(ids.idsOf(identityOf(nextHop(9, 2))), 1U);
  EXPECT_EQ(ids.idsOf(identityOf(nextHop(9, 4))), 2U);
  ids.withdraw(1);
  EXPECT_EQ(ids.idsOf(identityOf(nextHop(9, 2))), 0U);
  EXPECT_EQ(ids.identities(), 1U);
  ids.contentsIs(3, Fpm::BlackholeNextHop{3});
  EXPECT_EQ(ids.nextHops(), 1U);
}

TEST_F(IdsTest, WaitWithAWithdrawalForTheLastRoute) {
  ids.contentsIs(1, nextHop(1, 2));
  Ids::Hold first = ids.hold(1, User::route);
  Ids::Hold second = ids.hold(1, User::route);
  EXPECT_EQ(ids.withdraw(1), Withdrawn::nextHop);
  EXPECT_TRUE(ids.find(1)->withdrawn);
  EXPECT_TRUE(ids.find(1)->known());
  EXPECT_EQ(ids.counts().deferred, 1U);
  EXPECT_EQ(ids.withdraw(1), Withdrawn::unknown);  // it was withdrawn before
  EXPECT_EQ(ids.counts().deferred, 1U);
  first = {};
  EXPECT_NE(ids.find(1), nullptr);
  second = {};
  EXPECT_EQ(ids.find(1), nullptr);
  EXPECT_EQ(ids.nextHops(), 0U);
}

TEST_F(IdsTest, WaitWithAWithdrawalForTheGroupsThatNameANextHop) {
  ids.contentsIs(1, nextHop(1, 2));
  ids.contentsIs(2, Fpm::BlackholeNextHop{2});
  Ids::Hold first = ids.hold(1, User::group);
  Ids::Hold second = ids.hold(2, User::group);
  EXPECT_EQ(ids.withdraw(1), Withdrawn::nextHop);
  EXPECT_EQ(ids.withdraw(2), Withdrawn::blackhole);
  EXPECT_EQ(ids.counts().deferred, 2U);
  first = {};
  second = {};
  EXPECT_TRUE(ids.ids().empty());
}

TEST_F(IdsTest, DoNotWaitWithAGroupForAGroupThatNamesIt) {
  ids.contentsIs(1, groupOf(1, 2));
  Ids::Hold const hold = ids.hold(1, User::group);
  EXPECT_EQ(ids.withdraw(1), Withdrawn::group);
  EXPECT_EQ(ended, (Groups{1}));
  EXPECT_EQ(ids.counts().deferred, 0U);
  // The id stays: somebody names it.
  ASSERT_NE(ids.find(1), nullptr);
  EXPECT_FALSE(ids.find(1)->known());
}

TEST_F(IdsTest, EndAGroupWithItsLastRouteThoughAnotherGroupNamesIt) {
  ids.contentsIs(1, groupOf(1, 2));
  Ids::Hold const named = ids.hold(1, User::group);
  Ids::Hold route = ids.hold(1, User::route);
  ids.withdraw(1);
  EXPECT_EQ(ended, Groups{});
  route = {};
  EXPECT_EQ(ended, (Groups{1}));
}

TEST_F(IdsTest, AreSimplyThereWhenTheyAreAnnouncedAgainBeforeTheirLastUserGoes) {
  ids.contentsIs(1, nextHop(1, 2));
  Ids::Hold hold = ids.hold(1, User::route);
  ids.withdraw(1);
  ids.contentsIs(1, nextHop(1, 2));
  EXPECT_FALSE(ids.find(1)->withdrawn);
  hold = {};
  EXPECT_TRUE(ids.find(1)->known());
  EXPECT_EQ(ids.nextHops(), 1U);
}

TEST_F(IdsTest, MayComeBackAsSomethingElse) {
  ids.contentsIs(1, groupOf(1, 2));
  Ids::Hold const hold = ids.hold(1, User::route);
  ids.withdraw(1);
  EXPECT_EQ(ended, Groups{});
  ids.contentsIs(1, nextHop(1, 2));
  EXPECT_EQ(ended, (Groups{1}));
  EXPECT_FALSE(ids.find(1)->withdrawn);
  EXPECT_NE(ids.find(1)->as<Fpm::NextHop>(), nullptr);
}

TEST_F(IdsTest, DoNotEndAGroupThatIsAnnouncedWithOtherMembers) {
  ids.contentsIs(1, groupOf(1, 2));
  ids.contentsIs(1, groupOf(1, 3));
  EXPECT_EQ(ended, Groups{});
  EXPECT_EQ(ids.find(1)->as<Fpm::NextHopGroup>()->members[0].id, 3U);
}

TEST_F(IdsTest, MayBeHeldBeforeTheyAreAnnounced) {
  Ids::Hold hold = ids.hold(5, User::group);
  EXPECT_EQ(hold.id(), 5U);
  ASSERT_NE(ids.find(5), nullptr);
  EXPECT_FALSE(ids.find(5)->known());
  EXPECT_EQ(ids.withdraw(5), Withdrawn::unknown);
  hold = {};
  EXPECT_EQ(hold.id(), 0U);
  EXPECT_EQ(ids.find(5), nullptr);
}

TEST_F(IdsTest, RememberWhoIsToBeToldOfThem) {
  RouteKey const route{254, {AF_INET, {10}}, 8, 20};
  ids.watcherIs(5, route);
  ids.watcherIs(5, 77);
  ids.watcherIs(5, 77);  // a group may name an id twice
  EXPECT_EQ(ids.find(5)->routes.size(), 1U);
  EXPECT_EQ(ids.find(5)->groups, (std::set<std::uint32_t>{77}));
  ids.watcherDel(5, 77);
  ids.watcherDel(5, 77);
  EXPECT_NE(ids.find(5), nullptr);
  ids.watcherDel(5, route);
  EXPECT_EQ(ids.find(5), nullptr);
  ids.watcherDel(5, 77);
  EXPECT_EQ(ids.find(5), nullptr);
}

TEST_F(IdsTest, MoveAHoldWithoutCountingItTwice) {
  ids.contentsIs(1, nextHop(1, 2));
  Ids::Hold first = ids.hold(1, User::route);
  Ids::Hold second(std::move(first));
  EXPECT_EQ(ids.find(1)->routeHolds, 1U);
  second = ids.hold(1, User::route);
  EXPECT_EQ(ids.find(1)->routeHolds, 1U);
  second = {};
  EXPECT_EQ(ids.find(1)->routeHolds, 0U);
}

TEST_F(IdsTest, EndNothingWhenTheyAreAtTheirEnd) {
  Ids::Hold hold;
  {
    Ids other([this](std::uint32_t id) { ended.push_back(id); });
    other.contentsIs(1, groupOf(1, 2));
    hold = other.hold(1, User::route);
    other.withdraw(1);
  }
  hold = {};
  EXPECT_EQ(ended, Groups{});
}

// A group that ends lets go of its members, which may end with it.
TEST(Ids, EndMembersWithinTheEndOfTheirGroup) {
  std::vector<Ids::Hold> members;
  std::vector<std::uint32_t> ended;
  Ids ids([&](std::uint32_t id) {
    ended.push_back(id);
    members.clear();
  });
  ids.contentsIs(1, nextHop(1, 2));
  ids.contentsIs(20, groupOf(20, 1));
  members.push_back(ids.hold(1, User::group));
  members.push_back(ids.hold(20, User::group));  // it names itself, too
  Ids::Hold route = ids.hold(20, User::route);
  ids.withdraw(1);
  ids.withdraw(20);
  EXPECT_EQ(ids.counts().deferred, 2U);
  route = {};
  EXPECT_EQ(ended, (std::vector<std::uint32_t>{20}));
  EXPECT_TRUE(ids.ids().empty());
}

}  // namespace
}  // namespace OrviaL3Agent
