// The next hops that routes name directly: sharing, rows, waiting, refusals and shortage.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "agent/Replay.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using State = NextHopState;
using RouteState = Routes::State;
using Texts = std::vector<std::string>;

class IngressTest : public ReplayFixture {
 protected:
  static State state(Report const& report, Identity const& identity) {
    return ingress(report, identity).state;
  }
  [[nodiscard]] RouteState routeState(std::uint32_t id) {
    Mapping const& mapping = replay().mapping();
    auto const keys = mapping.routes().lookup(addressOf(destinationOf(id)).value());
    return mapping.routes().state(mapping.routes().routes().at(keys.at(0)));
  }
};

// --- Identities.

TEST_F(IngressTest, HasOneRowForAllIdsOfAnIdentity) {
  withoutWaiting();
  Report const report = run(announceRouted(1, 2, "10.0.0.1") + announceRouted(2, 2, "10.0.0.1") +
                            announce(3, 2, "10.0.0.1"));
  ASSERT_EQ(report.ingress.live.size(), 1U);
  EXPECT_EQ(ingress(report, via(2, "10.0.0.1")).ids, 3U);
  EXPECT_EQ(report.liveNextHopIds, 3U);
  EXPECT_EQ(report.identities, 1U);
  EXPECT_EQ(report.ingressTable.hardware.writes, 1U);
}

TEST_F(IngressTest, TellsIdentitiesApartByEachOfTheirParts) {
  withoutWaiting();
  Bytes const connectedOverIpv6 =
      frame(message(RTM_NEWNEXTHOP,
                    nextHopHeader(AF_INET6) + u32Attribute(NHA_ID, 5) + u32Attribute(NHA_OIF, 2)));
  Report const report =
      run(announceRouted(1, 2, "10.0.0.1") + announceRouted(2, 3, "10.0.0.1") +
          announceRouted(3, 2, "10.0.0.2") + announceRouted(4, 2, "10.0.0.1", RTNH_F_ONLINK) +
          connectedOverIpv6 + routeTo(5) + announceRouted(6, 2));
  EXPECT_EQ(report.ingress.live.size(), 6U);
  EXPECT_EQ(report.ingress.liveIn(State::programmed), 6U);
  EXPECT_EQ(ingress(report, via(2, "10.0.0.1", true)).row, 4U);
  EXPECT_EQ(ingress(report, connected(2, Asic::AddressFamily::ipv6)).row, 5U);
}

TEST_F(IngressTest, IsShownByAscendingIdentity) {
  withoutWaiting();
  Report const report = run(announceRouted(1, 9) + announceRouted(2, 3) + announceRouted(3, 7));
  ASSERT_EQ(report.ingress.live.size(), 3U);
  EXPECT_LT(report.ingress.live[0].identity, report.ingress.live[1].identity);
  EXPECT_LT(report.ingress.live[1].identity, report.ingress.live[2].identity);
}

TEST_F(IngressTest, RemovesWithTheLastUser) {
  withoutWaiting();
  options.slice = 1;
  Bytes const other = announceRoute("10.9.0.0", 16, 2);
  start(announceRouted(1, 2) + announce(2, 2) + other + withdrawRouteTo(1) + filler(1) +
        withdrawRoute("10.9.0.0", 16));
  runUntil(6);
  EXPECT_EQ(replay().report().ingressTable.rowsInForce, 1U);
  EXPECT_EQ(replay().report().ingressTable.hardware.deletes, 0U);
  finish();
  EXPECT_EQ(replay().report().ingressTable.rowsInForce, 0U);
  EXPECT_EQ(replay().report().ingressTable.hardware.deletes, 1U);
}

TEST_F(IngressTest, SharesARowBetweenAnIdAndThePathOfARoute) {
  withoutWaiting();
  Report const report = run(announceRouted(1, 2, "10.0.0.1") +
                            announceRoute("10.9.0.0", 16, routeByPath(2, "10.0.0.1")) +
                            withdrawRouteTo(1) + withdraw(1));
  EXPECT_EQ(report.ingress.live.size(), 1U);
  EXPECT_EQ(ingress(report, via(2, "10.0.0.1")).ids, 0U);
  EXPECT_EQ(report.ingressTable.hardware.writes, 1U);
  EXPECT_EQ(report.ingressTable.hardware.deletes, 0U);
}

TEST_F(IngressTest, HasARowOfItsOwnForAnIdentityThatGroupsUseToo) {
  withGroups();
  withoutWaiting();
  Bytes const stream = announceRouted(1, 2, "10.0.0.1") + announce(2, 3, "10.0.0.2") +
                       announceGroup(20, {{1, 0}, {2, 0}});
  Report report = run(stream);
  ShownNextHop const& ofRoutes = ingress(report, via(2, "10.0.0.1"));
  ShownNextHop const& ofGroups = ecmp(report, via(2, "10.0.0.1"));
  EXPECT_EQ(ofRoutes.row, 32U);
  EXPECT_EQ(ofGroups.row, 1U);
  // One neighbour, whichever row leads there.
  EXPECT_EQ(replay().hardware().row(32).contents, replay().hardware().row(1).contents);
  EXPECT_EQ(report.ingress.live.size(), 1U);
  EXPECT_EQ(report.ecmp.live.size(), 2U);
  EXPECT_EQ(report.interfaces, 2U);

  // Each goes with its own users.
  report = run(stream + withdrawRouteTo(1));
  EXPECT_TRUE(report.ingress.live.empty());
  EXPECT_EQ(report.ecmp.live.size(), 2U);
  report = run(stream + withdraw(20));
  EXPECT_EQ(report.ingress.live.size(), 1U);
  EXPECT_TRUE(report.ecmp.live.empty());
}

TEST_F(IngressTest, TakesTheLowestFreeOfTheUpperRows) {
  withGroups();
  withoutWaiting();
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3) + announceRouted(3, 4) +
                            withdrawRouteTo(1) + withdrawRouteTo(2) + announceRouted(4, 5));
  EXPECT_EQ(ingress(report, connected(4)).row, 34U);
  EXPECT_EQ(ingress(report, connected(5)).row, 32U);
}

TEST_F(IngressTest, CostsNoMoreForManyRoutes) {
  // 10,000 routes over one id; the id is changed, and all of them go.
  withoutWaiting();
  options.slice = 1000;
  Bytes stream = announce(60000, 2);
  for (std::uint32_t i = 0; i < 10000; ++i) {
    stream += announceRoute(destinationOf(i).c_str(), 24, 60000);
  }
  Report report = run(stream);
  EXPECT_EQ(report.routes.liveIn(RouteState::forwarded), 10000U);
  EXPECT_EQ(report.ingressTable.hardware.writes, 1U);
  stream += announce(60000, 3) + withdraw(60000);
  report = run(stream);
  EXPECT_EQ(report.routes.liveIn(RouteState::forwarded), 10000U);
  EXPECT_EQ(report.ingress.live.size(), 1U);
  EXPECT_EQ(report.ingressTable.hardware.writes, 2U);
  EXPECT_EQ(report.ingressTable.hardware.deletes, 1U);
  EXPECT_EQ(report.withdrawnInUse, 1U);
  for (std::uint32_t i = 0; i < 10000; ++i) stream += withdrawRouteTo(i);
  report = run(stream);
  EXPECT_EQ(report.routes.counts.peak, 10000U);
  expectNothingLeft(replay());
}

// --- What records refer to.

TEST_F(IngressTest, UsesOneInterfaceHandlePerInterfaceFromSlotOneUp) {
  withoutWaiting();
  Report const report =
      run(announceRouted(1, 70, "10.0.0.1") + announceRouted(2, 70, "fe80::1") +
          announceRouted(3, 5) + withdrawRouteTo(1) + withdrawRouteTo(2) + announceRouted(4, 8));
  EXPECT_EQ(ingress(report, connected(5)).record.value().l3Oif1, 2U);
  EXPECT_EQ(ingress(report, connected(8)).record.value().l3Oif1, 1U);
  EXPECT_EQ(report.interfaces, 2U);
  EXPECT_EQ(report.interfacesPeak, 2U);
}

TEST_F(IngressTest, UsesOneMtuHandlePerDistinctMtu) {
  withoutWaiting();
  options.mtus = {{3, 9000}, {4, 9000}, {5, 576}};
  Report const report = run(announceRouted(2, 2) + announceRouted(3, 3) + announceRouted(4, 4) +
                            announceRouted(5, 5) + announceRouted(6, 6));
  auto const profile = [&](std::uint32_t interface) {
    return ingress(report, connected(interface)).record.value().mtuProfilePtr;
  };
  EXPECT_EQ(profile(2), 1U);
  EXPECT_EQ(profile(6), 1U);
  EXPECT_EQ(profile(3), 2U);
  EXPECT_EQ(profile(4), 2U);
  EXPECT_EQ(profile(5), 3U);
  for (ShownNextHop const& hop : report.ingress.live) {
    EXPECT_EQ(replay().hardware().row(hop.row.value()).contents->mtuProfilePtr,
              hop.record.value().mtuProfilePtr);
  }
}

TEST_F(IngressTest, KeepsTheMtuOfARouteAndUsesThatOfTheInterface) {
  withoutWaiting();
  Report const report =
      run(announce(1, 2) + announceRoute("10.0.1.0", 24, routeById(1) + routeMtu(1400)));
  EXPECT_EQ(ingress(report, connected(2)).record.value().mtuProfilePtr, 1U);
  EXPECT_EQ(way("10.0.1.9"),
            "10.0.1.0/24 metric 20 -> id 1, row 1, connected on interface 2: programmed, route MTU "
            "1400\n");
}

TEST_F(IngressTest, WritesOnceBothHandlesAreProgrammed) {
  // The profile comes late this time.
  options.interfaceDelay = 1;
  options.mtuDelay = 4;
  start(announceRouted(1, 2));
  for (int turn = 1; turn <= 4; ++turn) {
    replay().turn();
    EXPECT_EQ(state(replay().report(), connected(2)), State::parked) << turn;
    EXPECT_EQ(replay().hardware().calls(), 0U) << turn;
  }
  replay().turn();
  EXPECT_EQ(state(replay().report(), connected(2)), State::programmed);
}

// --- Changes.

TEST_F(IngressTest, MovesToAnotherRowWhenAnIdIsAnnouncedWithOtherContents) {
  withoutWaiting();
  withJournal();
  Report const report = run(announceRouted(1, 2, "10.0.0.1") + announce(1, 3, "10.0.0.9"));
  EXPECT_EQ(report.nextHopIds.changed, 1U);
  // The new one first.
  EXPECT_EQ(calls(), (Texts{"ingress write 1", "ingress write 2", "ingress remove 1"}));
  EXPECT_EQ(ingress(report, via(3, "10.0.0.9")).row, 2U);
  EXPECT_EQ(replay().hardware().row(2).contents->l3Oif1, 2);
  EXPECT_EQ(replay().hardware().row(2).contents->fields.destination, 2);
  EXPECT_EQ(report.ingress.live.size(), 1U);
  EXPECT_EQ(report.interfaces, 1U);  // the old one is not used any more
}

TEST_F(IngressTest, WritesANextHopOfWhichOnlyTheGatewayChanges) {
  withoutWaiting();
  Report const report = run(announceRouted(1, 2, "10.0.0.1") + announce(1, 2, "10.0.0.9"));
  EXPECT_EQ(report.ingressTable.hardware.writes, 2U);
  EXPECT_EQ(report.interfaces, 1U);
}

TEST_F(IngressTest, KeepsTheOldRowWhileTheNewOneWaits) {
  options.slice = 1;
  options.interfaceDelay = 3;
  start(announceRouted(1, 2) + filler(5) + announce(1, 3) + filler(1));
  runUntil(8);
  Report report = replay().report();
  EXPECT_EQ(state(report, connected(2)), State::programmed);
  EXPECT_EQ(state(report, connected(3)), State::parked);
  EXPECT_EQ(routeState(1), RouteState::formerWay);
  EXPECT_EQ(way("10.0.1.1"),
            "10.0.1.0/24 metric 20 -> id 1, row 2, connected on interface 3: parked; until then "
            "row 1, connected on interface 2: programmed\n");
  EXPECT_EQ(report.interfaces, 2U);  // a row still names the old one
  finish();
  report = replay().report();
  EXPECT_EQ(report.ingress.live.size(), 1U);
  EXPECT_EQ(state(report, connected(3)), State::programmed);
  EXPECT_EQ(replay().hardware().row(2).contents->l3Oif1, 2);
  EXPECT_FALSE(replay().hardware().row(1).contents);
  EXPECT_EQ(report.interfaces, 1U);
}

TEST_F(IngressTest, RemovesBothRowsOfARouteWhoseChangeStillWaits) {
  options.slice = 1;
  options.interfaceDelay = 3;
  Report const report =
      run(announceRouted(1, 2) + filler(5) + announce(1, 3) + withdrawRouteTo(1) + withdraw(1));
  EXPECT_EQ(report.nextHopIds.changed, 1U);
  EXPECT_EQ(report.ingressTable.hardware.writes, 1U);
  EXPECT_EQ(report.ingressTable.hardware.deletes, 1U);
  expectNothingLeft(replay());
}

TEST_F(IngressTest, GivesANeighbourNumberOnWhenNoRowNamesItAnyMore) {
  withoutWaiting();
  run(announceRouted(1, 2, "10.0.0.1") + announce(1, 2, "10.0.0.9") +
      announceRouted(2, 3, "10.0.0.5"));
  EXPECT_EQ(replay().hardware().row(2).contents->fields.destination, 2);
  EXPECT_EQ(replay().hardware().row(1).contents->fields.destination, 1);
}

TEST_F(IngressTest, KeepsANeighbourNumberWhileARowStillNamesIt) {
  options.slice = 1;
  options.interfaceDelay = 3;
  // The change finds next hop 1 in its row, and is parked.
  Report const report = run(announceRouted(1, 2, "10.0.0.1") + filler(5) +
                            announce(1, 3, "10.0.0.9") + announceRouted(2, 3, "10.0.0.5"));
  EXPECT_EQ(report.ingressTable.hardware.writes, 3U);
  EXPECT_EQ(replay().hardware().row(2).contents->fields.destination, 2);
  EXPECT_EQ(replay().hardware().row(3).contents->fields.destination, 3);
}

TEST_F(IngressTest, DoesNotTouchTheHardwareForAnUnchangedNextHop) {
  withoutWaiting();
  Bytes const said = announceRouted(1, 2, "10.0.0.1");
  Report const report = run(said + said);
  EXPECT_EQ(report.nextHopIds.repeated, 1U);
  EXPECT_EQ(report.ingressTable.hardware.writes, 1U);
}

TEST_F(IngressTest, MovesARouteToAnIdThatBecomesAGroupAndBack) {
  withGroups();
  withoutWaiting();
  withJournal();
  Bytes const stream = announceRouted(1, 2) + announce(2, 3) + announceGroup(1, {{2, 0}});
  Report report = run(stream);
  EXPECT_TRUE(report.ingress.live.empty());
  EXPECT_EQ(report.liveNextHopIds, 1U);
  EXPECT_EQ(report.groups.ids.size(), 1U);
  EXPECT_EQ(calls(), (Texts{"ingress write 32", "ecmp write 1", "member write 0", "group write 1",
                            "ingress remove 32"}));
  EXPECT_EQ(routeState(1), RouteState::forwarded);
  report = run(stream + announceBlackhole(1));
  EXPECT_EQ(report.liveBlackholes, 1U);
  EXPECT_EQ(routeState(1), RouteState::drop);
  EXPECT_EQ(replay().hardware().rowsInForce(), 0U);
  report = run(stream + announceBlackhole(1) + announce(1, 3));
  EXPECT_EQ(report.liveBlackholes, 0U);
  EXPECT_EQ(state(report, connected(3)), State::programmed);
  EXPECT_EQ(routeState(1), RouteState::forwarded);
}

// --- Refusals.

class RefusedRows : public IngressTest,
                    public ::testing::WithParamInterface<ReplayOptions::Answer> {
 protected:
  RefusedRows() { options.answer = GetParam(); }
};

TEST_P(RefusedRows, AreListedAndDoNotHoldUpTheOthers) {
  options.refusedRows = {2};
  Report const report =
      run(announceRouted(1, 2) + announceRouted(2, 3, "10.0.0.2") + announceRouted(3, 4));
  EXPECT_EQ(state(report, connected(2)), State::programmed);
  EXPECT_EQ(state(report, via(3, "10.0.0.2")), State::refused);
  EXPECT_EQ(state(report, connected(4)), State::programmed);
  EXPECT_EQ(report.ingressTable.hardware.refused, 1U);
  EXPECT_EQ(report.ingressTable.hardware.accepted, 2U);
  EXPECT_EQ(report.ingressTable.rowsInForce, 2U);
  EXPECT_EQ(routeState(1), RouteState::forwarded);
  EXPECT_EQ(routeState(2), RouteState::notInForce);
  EXPECT_NE(text(report).find("Next hops of routes that are not programmed\n"
                              "  row 2, 10.0.0.2 on interface 3: refused\n"),
            std::string::npos)
      << text(report);
  EXPECT_NE(text(report).find("Routes that are not forwarded as asked\n"
                              "  10.0.2.0/24 metric 20 -> id 2, row 2, 10.0.0.2 on interface 3: "
                              "refused\n"),
            std::string::npos)
      << text(report);
}

TEST_P(RefusedRows, AreListedWhenNothingHadToWait) {
  // With handles that are programmed at once and answers at once, whoever watches the write hears
  // the refusal and then the state of the key.
  options.interfaceDelay = 0;
  options.mtuDelay = 0;
  options.refusedRows = {1};
  Report const report = run(announceRouted(1, 2));
  EXPECT_EQ(state(report, connected(2)), State::refused);
  EXPECT_EQ(routeState(1), RouteState::notInForce);
}

TEST_P(RefusedRows, AreWrittenAgainWhenTheIdIsAnnouncedAgain) {
  options.refusedRows = {1};
  options.slice = 1;
  start(announceRouted(1, 2) + filler(5) + announce(1, 2) + filler(1));
  runUntil(6);
  EXPECT_EQ(state(replay().report(), connected(2)), State::refused);
  replay().hardware().device().nextHops().rowRefusesIs(1, false);
  finish();
  Report const report = replay().report();
  EXPECT_EQ(state(report, connected(2)), State::programmed);
  EXPECT_EQ(report.ingress.counts.retried, 1U);
  EXPECT_EQ(report.ingressTable.hardware.writes, 2U);
  EXPECT_EQ(routeState(1), RouteState::forwarded);
}

TEST_P(RefusedRows, AreWrittenAgainWhenTheRouteIsAnnouncedAgain) {
  options.refusedRows = {1};
  options.slice = 1;
  start(announceRouted(1, 2) + filler(5) + routeTo(1) + filler(1));
  runUntil(6);
  replay().hardware().device().nextHops().rowRefusesIs(1, false);
  finish();
  EXPECT_EQ(state(replay().report(), connected(2)), State::programmed);
  EXPECT_EQ(replay().report().ingress.counts.retried, 1U);
}

TEST_P(RefusedRows, AreWrittenAgainWhenRowsAreFreed) {
  options.refusedRows = {1};
  options.slice = 1;
  start(announceRouted(1, 2) + announceRouted(2, 3) + filler(5) + withdrawRouteTo(2) + filler(5));
  runUntil(8);
  EXPECT_EQ(state(replay().report(), connected(2)), State::refused);
  EXPECT_EQ(replay().report().ingress.counts.retried, 0U);
  replay().hardware().device().nextHops().rowRefusesIs(1, false);
  finish();
  EXPECT_EQ(state(replay().report(), connected(2)), State::programmed);
  EXPECT_EQ(replay().report().ingress.counts.retried, 1U);
}

TEST_P(RefusedRows, AreWrittenAgainOnRequest) {
  options.refusedRows = {1};
  Bytes const stream = announceRouted(1, 2);
  // The hardware may say no again.
  options.events = {eventOf("at end retry")};
  EXPECT_EQ(state(run(stream), connected(2)), State::refused);
  EXPECT_EQ(replay().report().ingressTable.hardware.refused, 2U);
  options.events = {eventOf("at end faults off"), eventOf("at end retry")};
  EXPECT_EQ(state(run(stream), connected(2)), State::programmed);
  EXPECT_EQ(routeState(1), RouteState::forwarded);
}

TEST_P(RefusedRows, LeaveNothingBehind) {
  options.refusedRows = {1, 2};
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3) + filler(100) +
                            withdrawRouteTo(1) + withdrawRouteTo(2) + withdraw(1) + withdraw(2));
  EXPECT_GE(report.ingressTable.hardware.refused, 2U);
  EXPECT_EQ(report.ingressTable.hardware.deletes, 2U);
  expectNothingLeft(replay());
}

TEST_P(RefusedRows, KeepARouteOnItsOldWay) {
  options.refusedRows = {2};
  Bytes const stream = announceRouted(1, 2) + filler(100) + announce(1, 3) + filler(100);
  Report report = run(stream);
  EXPECT_EQ(state(report, connected(2)), State::programmed);
  EXPECT_EQ(state(report, connected(3)), State::refused);
  EXPECT_EQ(routeState(1), RouteState::formerWay);
  EXPECT_EQ(way("10.0.1.1"),
            "10.0.1.0/24 metric 20 -> id 1, row 2, connected on interface 3: refused; until then "
            "row 1, connected on interface 2: programmed\n");
  // Once it is accepted, the old way goes.
  options.events = {eventOf("at end faults off"), eventOf("at end retry")};
  report = run(stream);
  EXPECT_EQ(report.ingress.live.size(), 1U);
  EXPECT_EQ(routeState(1), RouteState::forwarded);
}

INSTANTIATE_TEST_SUITE_P(Answered, RefusedRows,
                         ::testing::Values(ReplayOptions::Answer::now, ReplayOptions::Answer::loop),
                         [](::testing::TestParamInfo<ReplayOptions::Answer> const& tested) {
                           return tested.param == ReplayOptions::Answer::now ? "AtOnce" : "Later";
                         });

TEST_F(IngressTest, KeepsTheOldRecordInARowThatRefusesItLater) {
  // A row that was written and never answered starts to refuse before it is asked again.
  options.faults.of(SoftAsic::TableId::ingressNextHops).loseAnswerEvery = 1;
  start(announceRouted(1, 2));
  finish();
  EXPECT_EQ(state(replay().report(), connected(2)), State::unanswered);
  replay().happen(eventOf("at end faults off"));
  replay().hardware().device().nextHops().rowRefusesIs(1, true);
  replay().happen(eventOf("at end retry"));
  finish();
  Report const report = replay().report();
  EXPECT_EQ(state(report, connected(2)), State::refused);
  EXPECT_TRUE(ingress(report, connected(2)).olderInRow);
  EXPECT_EQ(report.ingressTable.rowsInForce, 1U);
}

TEST_F(IngressTest, IsUnansweredWhileItsAnswerIsOnItsWay) {
  options.faults.of(SoftAsic::TableId::ingressNextHops).answerAfter = 5;
  start(announceRouted(1, 2));
  for (int i = 0; i < 5; ++i) replay().turn();
  EXPECT_EQ(state(replay().report(), connected(2)), State::unanswered);
  EXPECT_EQ(routeState(1), RouteState::notInForce);
  finish();
  EXPECT_EQ(routeState(1), RouteState::forwarded);
}

TEST_F(IngressTest, IsNotMisledByAnAnswerThatComesTwice) {
  options.faults.of(SoftAsic::TableId::ingressNextHops).answerTwiceEvery = 1;
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3) + withdrawRouteTo(1));
  EXPECT_EQ(state(report, connected(3)), State::programmed);
  EXPECT_EQ(report.ingress.live.size(), 1U);
}

// --- Shortage.

TEST_F(IngressTest, ListsNextHopsForWhichThereIsNoRow) {
  options.rows = 3;  // rows 1 and 2
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3) +
                            announceRouted(3, 4, "10.0.0.9") + announceRouted(4, 5));
  EXPECT_EQ(report.ingress.liveIn(State::programmed), 2U);
  EXPECT_EQ(state(report, via(4, "10.0.0.9")), State::notPlaced);
  EXPECT_EQ(ingress(report, via(4, "10.0.0.9")).obstacle, Obstacle::row);
  EXPECT_FALSE(ingress(report, via(4, "10.0.0.9")).row);
  EXPECT_EQ(report.ingress.counts.notPlaced, 2U);
  EXPECT_EQ(report.interfaces, 2U);  // what has no row needs no interface
  EXPECT_EQ(routeState(3), RouteState::notInForce);
  EXPECT_NE(text(report).find("Next hops of routes that are not programmed\n"
                              "  10.0.0.9 on interface 4: no free row\n"
                              "  connected on interface 5: no free row\n"),
            std::string::npos)
      << text(report);
}

TEST_F(IngressTest, PlacesWhatIsAnnouncedAgainWhenThereIsARow) {
  options.rows = 2;
  for (Bytes const& again : {announce(2, 3), routeTo(2)}) {
    // All within one turn, so that nothing but the announcement can be the reason.
    Report const report =
        run(announceRouted(1, 2) + announceRouted(2, 3) + withdrawRouteTo(1) + again);
    EXPECT_EQ(report.ingress.counts.notPlaced, 1U);
    EXPECT_EQ(state(report, connected(3)), State::programmed);
    EXPECT_EQ(ingress(report, connected(3)).row, 1U);
  }
}

TEST_F(IngressTest, PlacesWhatHadNoRowWhenARowIsFreed) {
  options.rows = 2;
  options.slice = 1;
  Report const report =
      run(announceRouted(1, 2) + announceRouted(2, 3) + filler(5) + withdrawRouteTo(1));
  EXPECT_EQ(state(report, connected(3)), State::programmed);
  EXPECT_EQ(ingress(report, connected(3)).row, 1U);
  EXPECT_EQ(routeState(2), RouteState::forwarded);
}

TEST_F(IngressTest, PlacesWhatHadNoRowWhenTheRowOfAParkedNextHopIsFreed) {
  // The row that comes free was never written, so that the hardware hears nothing of it.
  options.rows = 2;
  options.slice = 1;
  options.interfaceDelay = 20;
  Report const report =
      run(announceRouted(1, 2) + announceRouted(2, 3) + filler(1) + withdrawRouteTo(1));
  EXPECT_EQ(state(report, connected(3)), State::programmed);
  EXPECT_EQ(routeState(2), RouteState::forwarded);
}

TEST_F(IngressTest, PlacesWhatHadNoRowOnRequest) {
  options.rows = 2;
  options.events = {eventOf("at end retry")};
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3));
  EXPECT_EQ(state(report, connected(3)), State::notPlaced);
  EXPECT_EQ(report.ingress.counts.notPlaced, 2U);  // asked for, and there is still none
}

TEST_F(IngressTest, KeepsARouteOnItsOldWayWhileThereIsNoRowForTheNewOne) {
  withoutWaiting();
  options.rows = 3;
  options.slice = 1;
  start(announceRouted(1, 2) + announceRouted(2, 3) + announce(1, 4) + filler(1) +
        withdrawRouteTo(2));
  runUntil(6);
  EXPECT_EQ(state(replay().report(), connected(4)), State::notPlaced);
  EXPECT_EQ(state(replay().report(), connected(2)), State::programmed);
  EXPECT_EQ(way("10.0.1.1"),
            "10.0.1.0/24 metric 20 -> id 1, connected on interface 4: no free row; until then row "
            "1, connected on interface 2: programmed\n");
  finish();
  EXPECT_EQ(state(replay().report(), connected(4)), State::programmed);
  EXPECT_EQ(ingress(replay().report(), connected(4)).row, 2U);
  EXPECT_EQ(replay().report().ingress.live.size(), 1U);
}

TEST_F(IngressTest, UnderstandsTheWithdrawalOfWhatHasNoRow) {
  options.rows = 2;
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3) + withdrawRouteTo(2) +
                            withdraw(2) + withdrawRouteTo(1) + withdraw(1));
  EXPECT_EQ(report.nextHopIds.withdrawn, 2U);
  EXPECT_EQ(report.stream.unknownWithdrawals, 0U);
  expectNothingLeft(replay());
}

TEST_F(IngressTest, DoesNotUseTheRowsOfGroupsWhenItsOwnAreTaken) {
  withGroups();
  withoutWaiting();
  options.rows = 4;  // rows 2 and 3
  Report const report = run(announceRouted(1, 2) + announceRouted(2, 3) + announceRouted(3, 4));
  EXPECT_EQ(state(report, connected(4)), State::notPlaced);
  EXPECT_EQ(report.groups.nextHopTable.rowsInForce, 0U);
}

}  // namespace
}  // namespace OrviaL3Agent
