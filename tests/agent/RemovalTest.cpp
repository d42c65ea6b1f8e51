// In which order things go, and what waits for its last user.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Vek/Memory.h"
#include "agent/Replay.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using Texts = std::vector<std::string>;

class RemovalTest : public ReplayFixture {
 protected:
  RemovalTest() {
    withGroups();
    withoutWaiting();
    withJournal();
  }
  // The calls that the second part of a stream makes.
  Texts callsOf(Bytes const& before, Bytes const& stream) {
    run(before);
    std::size_t const first = calls().size();
    run(before + stream);
    return calls(first);
  }

  Bytes const hops =
      announce(1, 2, "10.0.1.2") + announce(2, 3, "10.0.2.2") + announce(3, 4, "fe80::3");
  Bytes const group = hops + announceGroup(20, {{1, 0}, {2, 0}});
  Texts const groupGoes{"group remove 1", "member remove 0", "member remove 1", "ecmp remove 1",
                        "ecmp remove 2"};
};

// How many interfaces there are when a row is removed.
class InterfaceCount final : public SoftAsic::CallObserver {
 public:
  explicit InterfaceCount(Replay const& replay) : replay_(replay) {}
  void callIs(SoftAsic::Call const& call) override {
    if (call.kind == SoftAsic::Call::Kind::write) return;
    seen.push_back(std::string(SoftAsic::name(call.table)) + " with " +
                   std::to_string(replay_.report().interfaces));
  }
  Texts seen;

 private:
  Replay const& replay_;
};

TEST_F(RemovalTest, GoesFromTheGroupOverTheBlockToTheNextHopsAndTheInterfacesLast) {
  start(group + withdraw(20));
  InterfaceCount count(replay());
  replay().hardware().device().observerIs(&count);
  finish();
  // Rows that name an interface go before it does.
  EXPECT_EQ(count.seen, (Texts{"group with 2", "member with 2", "member with 2", "ecmp with 2",
                               "ecmp with 1"}));
  EXPECT_EQ(replay().report().interfaces, 0U);
  EXPECT_EQ(calls(5), groupGoes);
  end();
}

TEST_F(RemovalTest, TakesTheRowOfARouteBeforeItsInterface) {
  start(hops + routeTo(1) + withdrawRouteTo(1));
  InterfaceCount count(replay());
  replay().hardware().device().observerIs(&count);
  finish();
  EXPECT_EQ(count.seen, (Texts{"ingress with 1"}));
  EXPECT_EQ(replay().report().interfaces, 0U);
  end();
}

TEST_F(RemovalTest, LeavesWhatOthersUse) {
  // A block, a next hop and an interface that another group shares.
  Bytes const more = announceGroup(21, {{1, 0}, {3, 0}}) + announceGroup(22, {{2, 0}, {1, 0}});
  EXPECT_EQ(callsOf(group + more, withdraw(20)), Texts{});
  EXPECT_EQ(callsOf(group + more, withdraw(20) + withdraw(22)),
            (Texts{"group remove 1", "member remove 0", "member remove 1", "ecmp remove 2"}));
}

TEST_F(RemovalTest, WaitsWithANextHopForTheGroupsThatNameIt) {
  Bytes const early = withdraw(1) + withdraw(2);
  EXPECT_EQ(callsOf(group, early), Texts{});
  Report report = replay().report();
  EXPECT_EQ(report.deferredWithdrawals, 2U);
  EXPECT_EQ(report.withdrawnInUse, 2U);
  EXPECT_EQ(report.nextHopIds.withdrawn, 2U);
  EXPECT_EQ(groupOf(report, 20).state, ShownGroup::State::programmed);
  EXPECT_EQ(callsOf(group + early, withdraw(20)), groupGoes);
  report = replay().report();
  EXPECT_EQ(report.withdrawnInUse, 0U);
  EXPECT_EQ(report.liveNextHopIds, 1U);
}

TEST_F(RemovalTest, WaitsWithAMemberOfAGroupThatWaitsItself) {
  // The group is in no table, and names it all the same.
  Bytes const waiting = announce(1, 2) + announceGroup(20, {{1, 0}, {7, 0}}) + withdraw(1);
  Report report = run(waiting);
  EXPECT_EQ(report.deferredWithdrawals, 1U);
  EXPECT_EQ(replay().hardware().calls(), 0U);
  report = run(waiting + announce(7, 3));
  EXPECT_EQ(groupOf(report, 20).state, ShownGroup::State::programmed);
  run(waiting + withdraw(20));
  expectNothingLeft(replay());
}

TEST_F(RemovalTest, LetsGoOfAMemberThatTheGroupDoesNotNameAnyMore) {
  Report const report = run(group + withdraw(2) + announceGroup(20, {{1, 0}, {3, 0}}));
  EXPECT_EQ(report.withdrawnInUse, 0U);
  EXPECT_EQ(report.liveNextHopIds, 2U);
  EXPECT_EQ(groupOf(report, 20).paths, (Paths{{via(2, "10.0.1.2"), 1}, {via(4, "fe80::3"), 1}}));
}

TEST_F(RemovalTest, FindsAMemberThatComesBackAsItWas) {
  EXPECT_EQ(callsOf(group, withdraw(1) + announce(1, 2, "10.0.1.2")), Texts{});
  EXPECT_EQ(replay().report().withdrawnInUse, 0U);
  // It is announced, so that it stays when the group goes.
  Report const report = run(group + withdraw(1) + announce(1, 2, "10.0.1.2") + withdraw(20));
  EXPECT_EQ(report.liveNextHopIds, 3U);
}

TEST_F(RemovalTest, MovesAGroupWithAMemberThatComesBackWithOtherContents) {
  EXPECT_EQ(callsOf(group, withdraw(1) + announce(1, 9)),
            (Texts{"ecmp write 3", "member write 2", "member write 3", "group write 1",
                   "member remove 0", "member remove 1", "ecmp remove 1"}));
  EXPECT_EQ(replay().report().withdrawnInUse, 0U);
}

TEST_F(RemovalTest, TakesAGroupOutOfTheTablesWhenAMemberComesBackAsADrop) {
  EXPECT_EQ(callsOf(group, withdraw(1) + announceBlackhole(1)), groupGoes);
  EXPECT_EQ(groupId(replay().report(), 20).state, ShownGroupId::State::dropsInPart);
  EXPECT_EQ(replay().report().withdrawnInUse, 0U);
}

TEST_F(RemovalTest, DoesNotWaitWithAGroupForTheGroupThatNamesIt) {
  Bytes const nested = group + announceGroup(21, {{20, 0}, {1, 0}});
  EXPECT_EQ(callsOf(nested, withdraw(20)), groupGoes);
  EXPECT_EQ(replay().report().deferredWithdrawals, 0U);
  EXPECT_EQ(groupId(replay().report(), 21).state, ShownGroupId::State::missingMembers);
  run(nested + withdraw(20) + withdraw(21) + withdraw(1) + withdraw(2) + withdraw(3));
  expectNothingLeft(replay());
}

TEST_F(RemovalTest, EndsGroupsThatNameEachOther) {
  Bytes const ring = announceGroup(20, {{21, 0}}) + announceGroup(21, {{20, 0}, {21, 0}});
  run(hops + ring + routeTo(20) + withdraw(21) + withdraw(20) + withdrawRouteTo(20) + withdraw(1) +
      withdraw(2) + withdraw(3));
  expectNothingLeft(replay());
}

TEST_F(RemovalTest, CountsAWithdrawalThatWaitsOnlyOnce) {
  Report const report = run(group + withdraw(1) + withdraw(1));
  EXPECT_EQ(report.deferredWithdrawals, 1U);
  EXPECT_EQ(report.stream.unknownWithdrawals, 1U);
}

TEST_F(RemovalTest, TakesAParkedGroupWithoutAnyCall) {
  options.interfaceDelay.reset();
  run(group + routeTo(20) + withdrawRouteTo(20) + withdraw(20) + withdraw(1) + withdraw(2) +
      withdraw(3));
  EXPECT_EQ(calls(), Texts{});
  expectNothingLeft(replay());
}

TEST_F(RemovalTest, LeavesNothingThatWatchesForAnAnswerWhenAGroupMovedMeanwhile) {
  // The answer for the new next hop completes all above it, and lets the old block go meanwhile.
  options.interfaceDelay = 1;
  options.mtuDelay = 1;
  options.slice = 2;
  run(announce(2, 3, "10.0.0.2") + announceGroup(20, {{2, 0}}) + announceGroup(20, {{5, 0}}) +
      announce(5, 2, "10.0.0.1") + filler(10) + withdraw(20) + withdraw(2) + withdraw(5));
  expectNothingLeft(replay());
}

}  // namespace
}  // namespace OrviaL3Agent
