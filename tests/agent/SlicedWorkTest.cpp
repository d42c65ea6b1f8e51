// Work that concerns many at once, a step in every turn: that a turn does no more than its step,
// that nobody is without a way meanwhile, and that all ends as if it had been done at once.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/Agent.h"
#include "agent/RouteText.h"
#include "tests/agent/ParsedStream.h"
#include "tests/agent/RandomStream.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

constexpr std::uint32_t kMany = 50;

// An agent that is told messages, and nothing else happens but what the test does.
class Told {
 public:
  explicit Told(AgentOptions const& options, bool isSliced = true)
      : agent_(options, linkedTables()) {
    if (isSliced) agent_.mapping().sliceTimeIs(std::chrono::microseconds(0));
  }

  [[nodiscard]] Agent& agent() { return agent_; }
  [[nodiscard]] Mapping& mapping() { return agent_.mapping(); }
  [[nodiscard]] Hardware& hardware() { return agent_.hardware(); }

  // Every message in a frame of its own. Nobody waits for those that are not worked off yet.
  void tell(Bytes const& bytes) {
    for (Fpm::Message const& message : parse(bytes).messages) {
      agent_.messageIs(message);
      agent_.frameEnds();
    }
  }
  void rest() {
    while (agent_.turn()) {
    }
  }
  void settle(Bytes const& bytes) {
    tell(bytes);
    rest();
  }

  [[nodiscard]] Routes::State state(char const* destination) {
    auto const keys = mapping().routes().lookup(addressOf(destination).value());
    return mapping().routes().state(mapping().routes().routes().at(keys.at(0)));
  }
  // Routes that lead over this next hop, as far as they know by now.
  [[nodiscard]] std::size_t over(Identity const& identity) {
    auto const& routes = mapping().routes().routes();
    return static_cast<std::size_t>(std::count_if(
        routes.begin(), routes.end(), [&](std::pair<RouteKey const, Routes::Route> const& entry) {
          Routes::Way const& way = entry.second.way;
          return way.hop && way.hop->identity == identity;
        }));
  }
  [[nodiscard]] std::size_t inState(Routes::State state) {
    auto const& routes = mapping().routes().routes();
    return static_cast<std::size_t>(std::count_if(
        routes.begin(), routes.end(), [&](std::pair<RouteKey const, Routes::Route> const& entry) {
          return mapping().routes().state(entry.second) == state;
        }));
  }
  // What is wrong in hardware; empty when all is well.
  [[nodiscard]] std::string wrong() {
    std::string found;
    if (agent_.forwardingCheck()->total() > 0) found += text(*agent_.forwardingCheck());
    Differences const differences = agent_.differences();
    return differences.empty() ? found : found + text(differences);
  }
  // What leads where, without the rows that were given to it.
  [[nodiscard]] std::set<std::string> outcome() {
    std::set<std::string> lines;
    for (auto const& [key, route] : mapping().routes().routes()) {
      lines.insert(text(key) + " " +
                   std::to_string(static_cast<int>(mapping().routes().state(route))));
    }
    for (auto const& [number, group] : mapping().groups().groups()) {
      lines.insert("group " + text(group->paths) + " in force " + text(group->chain.paths) + " " +
                   std::to_string(static_cast<int>(mapping().groups().state(*group))));
    }
    for (auto const& [identity, hop] : mapping().ingress().hops()) {
      lines.insert("hop " + text(identity) + " " +
                   std::to_string(static_cast<int>(mapping().ingress().state(*hop))));
    }
    for (auto const& [identity, hop] : mapping().ecmp().hops()) {
      lines.insert("member " + text(identity) + " " +
                   std::to_string(static_cast<int>(mapping().ecmp().state(*hop))));
    }
    lines.insert("rows " + std::to_string(hardware().rowsInForce()));
    return lines;
  }

 private:
  Agent agent_;
};

AgentOptions checked() {
  AgentOptions options;
  options.rows = 512;
  options.memberRows = 2048;
  options.groupRows = 512;
  options.interfaceDelay = 0;
  options.mtuDelay = 0;
  options.verify = true;
  options.checkForwarding = true;
  return options;
}

std::string numbered(std::uint32_t number) { return "11.0." + std::to_string(number) + ".0"; }

Bytes routesTo(std::uint32_t id) {
  Bytes stream;
  for (std::uint32_t i = 0; i < kMany; ++i) stream += announceRoute(numbered(i).c_str(), 24, id);
  return stream;
}
// One group over the ids 1 and 2, and many over 1 and another one each.
Bytes groupsOverTheFirst() {
  Bytes stream = announce(1, 1, "10.0.0.1");
  for (std::uint32_t i = 0; i < kMany; ++i) {
    std::string const gateway = "10.0.1." + std::to_string(i + 1);
    stream += announce(10 + i, 2, gateway.c_str());
    stream += announceGroup(100 + i, {{1, 0}, {10 + i, 0}});
    stream += announceRoute(numbered(i).c_str(), 24, 100 + i);
  }
  return stream;
}

TEST(SlicedWork, MovesOneRouteATurnToWhatTheIdHasBecome) {
  AgentOptions options = checked();
  options.faults.of(SoftAsic::TableId::ingressNextHops).answerAfter = 5;
  Told told(options);
  told.settle(announce(1, 1, "10.0.0.1") + routesTo(1));
  ASSERT_EQ(told.inState(Routes::State::forwarded), kMany);
  Identity const before = via(1, "10.0.0.1");
  Identity const after = via(2, "10.0.0.2");
  ASSERT_EQ(told.over(before), kMany);
  told.tell(announce(1, 2, "10.0.0.2"));
  std::size_t moved = told.over(after);
  EXPECT_LE(moved, 1U);
  std::size_t turns = 0;
  for (; told.agent().turn(); ++turns) {
    std::size_t const now = told.over(after);
    ASSERT_LE(now, moved + 1);
    moved = now;
    ASSERT_EQ(told.inState(Routes::State::forwarded) + told.inState(Routes::State::formerWay),
              kMany);
  }
  EXPECT_EQ(moved, kMany);
  EXPECT_GE(turns, kMany);
  EXPECT_EQ(told.inState(Routes::State::forwarded), kMany);
  EXPECT_EQ(told.mapping().ingress().hops().size(), 1U);
  EXPECT_EQ(told.wrong(), "");
}

TEST(SlicedWork, LeavesTheFormerWayWithTheLastRouteThatIsOverIt) {
  Told told(checked());
  told.settle(announce(1, 1, "10.0.0.1") + announce(2, 2, "10.0.0.2") + routesTo(1));
  told.tell(announce(1, 2, "10.0.0.2"));
  Identity const former = via(1, "10.0.0.1");
  ASSERT_GT(told.over(former), 1U);
  std::size_t most = 0;
  while (told.over(former) > 0) {
    ASSERT_TRUE(told.mapping().ingress().hops().contains(former));
    most = std::max(most, told.mapping().ingress().hops().size());
    ASSERT_TRUE(told.agent().turn());
  }
  EXPECT_EQ(most, 2U);
  told.rest();
  EXPECT_EQ(told.mapping().ingress().hops().size(), 1U);
  EXPECT_EQ(told.wrong(), "");
}

TEST(SlicedWork, ChangesOneGroupATurnWhereTheyShareAMember) {
  Told told(checked());
  told.settle(groupsOverTheFirst());
  ASSERT_EQ(told.mapping().groups().groups().size(), kMany);
  std::uint64_t const before = told.mapping().groups().counts().swaps;
  told.tell(announce(1, 3, "10.0.0.3"));
  std::uint64_t swaps = told.mapping().groups().counts().swaps;
  EXPECT_LE(swaps, before + 1);
  while (told.agent().turn()) {
    std::uint64_t const now = told.mapping().groups().counts().swaps;
    ASSERT_LE(now, swaps + 1);
    swaps = now;
    ASSERT_EQ(told.inState(Routes::State::forwarded), kMany);
  }
  EXPECT_EQ(swaps, before + kMany);
  EXPECT_EQ(told.mapping().groups().counts().made, kMany);
  EXPECT_EQ(told.wrong(), "");
}

TEST(SlicedWork, RepairsOneGroupATurnAndFollowsAnInterfaceThatReturnsMeanwhile) {
  Told told(checked());
  told.settle(groupsOverTheFirst());
  Groups::Counts const& counts = told.mapping().groups().counts();
  told.mapping().interfaceIs(1, false);
  EXPECT_EQ(counts.repairs, 1U);
  for (std::uint32_t turn = 0; turn < kMany / 2; ++turn) {
    std::uint64_t const repairs = counts.repairs;
    told.agent().turn();
    ASSERT_LE(counts.repairs, repairs + 1);
  }
  EXPECT_TRUE(told.mapping().groups().isRepairing());
  std::uint64_t const repaired = counts.repairs;
  EXPECT_GE(repaired, kMany / 2);
  EXPECT_LT(repaired, kMany);
  told.mapping().interfaceIs(1, true);
  told.rest();
  EXPECT_FALSE(told.mapping().groups().isRepairing());
  // Those that were not reached before find the interface up again, and are left alone.
  EXPECT_EQ(counts.repairs, repaired);
  EXPECT_EQ(counts.restores, repaired);
  EXPECT_EQ(told.wrong(), "");
  told.mapping().interfaceIs(1, false);
  told.rest();
  EXPECT_EQ(counts.repairs, repaired + kMany);
  EXPECT_EQ(told.wrong(), "");
}

TEST(SlicedWork, RepairsWhileGroupsComeAndGo) {
  Told told(checked());
  told.settle(groupsOverTheFirst());
  told.mapping().interfaceIs(1, false);
  Bytes stream;
  for (std::uint32_t i = 0; i < kMany; i += 2) {
    stream += withdrawRoute(numbered(i).c_str(), 24) + withdraw(100 + i);
  }
  stream += announceGroup(500, {{1, 0}, {10, 1}}) + announceRoute("11.1.0.0", 24, 500);
  told.tell(stream);
  EXPECT_TRUE(told.mapping().groups().isRepairing());
  told.rest();
  EXPECT_EQ(told.mapping().groups().groups().size(), kMany / 2 + 1);
  for (auto const& [number, group] : told.mapping().groups().groups()) {
    EXPECT_EQ(group->chain.paths.size(), 1U) << text(group->chain.paths);
  }
  EXPECT_EQ(told.wrong(), "");
}

TEST(SlicedWork, TakesMessagesInTheirOrderThatComeBeforeAnotherIsWorkedOff) {
  Told told(checked());
  told.settle(announce(1, 1, "10.0.0.1") + routesTo(1));
  std::uint64_t const handled = told.agent().streamCounts().nextHops;
  told.tell(announce(1, 2, "10.0.0.2") + announce(1, 3, "10.0.0.3") + withdraw(1) +
            withdrawRoute(numbered(0).c_str(), 24) + announceBlackhole(2) +
            announceRoute(numbered(0).c_str(), 24, 2));
  EXPECT_TRUE(told.mapping().isBehind());
  EXPECT_TRUE(told.mapping().busy());
  // The second announcement is not looked at before the last route knows of the first.
  EXPECT_EQ(told.agent().streamCounts().nextHops, handled + 1);
  while (told.agent().streamCounts().nextHops == handled + 1) {
    ASSERT_EQ(told.over(via(3, "10.0.0.3")), 0U);
    ASSERT_TRUE(told.agent().turn());
  }
  EXPECT_EQ(told.over(via(2, "10.0.0.2")), kMany);
  told.rest();
  EXPECT_FALSE(told.mapping().isBehind());
  EXPECT_FALSE(told.mapping().busy());
  EXPECT_EQ(told.over(via(3, "10.0.0.3")), kMany - 1);
  EXPECT_EQ(told.state("11.0.0.1"), Routes::State::drop);
  EXPECT_TRUE(told.mapping().ids().find(1)->withdrawn);
  EXPECT_EQ(told.wrong(), "");
}

TEST(SlicedWork, KeepsTheRowsOfAGroupThatBecomesANextHop) {
  AgentOptions options = checked();
  options.faults.of(SoftAsic::TableId::ingressNextHops).answerAfter = 20;
  Told told(options);
  told.settle(announce(1, 1, "10.0.0.1") + announce(2, 2, "10.0.0.2") +
              announceGroup(7, {{1, 0}, {2, 0}}) + routesTo(7));
  ASSERT_EQ(told.inState(Routes::State::forwarded), kMany);
  told.tell(announce(7, 3, "10.0.0.3"));
  do {
    ASSERT_EQ(told.inState(Routes::State::forwarded) + told.inState(Routes::State::formerWay),
              kMany);
  } while (told.agent().turn());
  EXPECT_EQ(told.over(via(3, "10.0.0.3")), kMany);
  EXPECT_EQ(told.inState(Routes::State::forwarded), kMany);
  EXPECT_EQ(told.mapping().groups().groups().size(), 0U);
  EXPECT_EQ(told.wrong(), "");
}

TEST(SlicedWork, TellsTheGroupsThatNamedAGroupWhichEnds) {
  Told told(checked());
  Bytes stream = announce(1, 1, "10.0.0.1") + announceGroup(7, {{1, 0}});
  for (std::uint32_t i = 0; i < kMany; ++i) {
    stream += announceGroup(100 + i, {{1, 0}, {7, static_cast<std::uint8_t>(i)}});
  }
  told.settle(stream);
  EXPECT_EQ(told.mapping().groupIds().find(100)->reason, "member 7 is a group");
  told.tell(withdraw(7));
  EXPECT_TRUE(told.mapping().isBehind());
  told.rest();
  for (std::uint32_t i = 0; i < kMany; ++i) {
    GroupIds::GroupId const& group = *told.mapping().groupIds().find(100 + i);
    EXPECT_EQ(group.reason, "");
    EXPECT_EQ(group.missing, std::vector<std::uint32_t>{7});
  }
}

TEST(SlicedWork, RemovesOneRouteATurnOfAFrameThatWithdrawsMany) {
  Told told(checked());
  told.settle(announce(1, 1, "10.0.0.1") + routesTo(1));
  Bytes frameOfMany;
  for (std::uint32_t i = 0; i < kMany; ++i) {
    frameOfMany += routeMessage(RTM_DELROUTE, numbered(i).c_str(), 24, {});
  }
  for (Fpm::Message const& message : parse(frame(frameOfMany)).messages) {
    told.agent().messageIs(message);
  }
  EXPECT_EQ(told.mapping().routes().routes().size(), kMany);
  told.agent().frameEnds();
  // The next frame announces one of them: that is no part of the one before.
  told.tell(announceRoute(numbered(7).c_str(), 24, 1));
  std::size_t left = told.mapping().routes().routes().size();
  EXPECT_GE(left, kMany - 1);
  while (left > 1) {
    ASSERT_TRUE(told.agent().turn());
    std::size_t const now = told.mapping().routes().routes().size();
    ASSERT_GE(now + 1, left);
    left = std::min(left, now);
    if (now == 0) break;
  }
  told.rest();
  EXPECT_EQ(told.mapping().routes().routes().size(), 1U);
  EXPECT_EQ(told.mapping().routes().counts().withdrawn, kMany);
  EXPECT_EQ(told.mapping().routes().counts().announced, kMany + 1);
  EXPECT_EQ(told.wrong(), "");
}

// Next hops that the hardware refuses, and others whose rows it has.
Bytes hopsWithRoutes(std::uint32_t first, std::uint32_t last) {
  Bytes stream;
  for (std::uint32_t id = first; id <= last; ++id) {
    stream += announceRouted(id, 1, ("10.1.0." + std::to_string(id)).c_str());
  }
  return stream;
}

TEST(SlicedWork, TriesNoMoreInATurnThanHasHadAChanceAndAllInTheEnd) {
  for (std::int64_t const time : {std::int64_t{0}, std::int64_t{60'000'000}}) {
    AgentOptions options = checked();
    Told told(options);
    told.mapping().sliceTimeIs(std::chrono::microseconds(time));
    told.settle(hopsWithRoutes(1, 20));
    SoftAsic::FaultProfile refuses;
    refuses.refuseEvery = 1;
    told.hardware().device().faultIs(SoftAsic::TableId::ingressNextHops, refuses);
    told.settle(hopsWithRoutes(101, 200));
    ASSERT_EQ(told.inState(Routes::State::forwarded), 20U);
    NextHopCounts const& counts = told.mapping().ingress().counts();
    std::uint64_t const before = counts.retried;
    // A row comes free: everybody is tried again, some in each turn.
    told.tell(withdrawRoute(destinationOf(1).c_str(), 24));
    std::uint64_t retried = counts.retried;
    while (told.agent().turn()) {
      ASSERT_LE(counts.retried, retried + 16);
      retried = counts.retried;
    }
    EXPECT_EQ(retried, before + 100) << time;
    // Several rows, one after the other: while the pass goes on there is no other one, and one more
    // behind it.
    for (std::uint32_t id = 2; id <= 5; ++id) {
      told.tell(withdrawRoute(destinationOf(id).c_str(), 24));
      told.agent().turn();
    }
    told.rest();
    EXPECT_GE(counts.retried, before + 200);
    EXPECT_LE(counts.retried, before + 300);
    // What would be accepted now is found by whoever comes free.
    told.hardware().device().faultsDel();
    told.settle(withdrawRoute(destinationOf(6).c_str(), 24));
    EXPECT_EQ(told.inState(Routes::State::forwarded), 114U);
    EXPECT_EQ(told.wrong(), "");
  }
}

TEST(SlicedWork, TriesEverythingAgainThatIsAskedFor) {
  AgentOptions options = checked();
  for (auto& table : options.faults.tables) table.loseAnswerEvery = 3;
  options.faults.of(SoftAsic::TableId::groups).refuseEvery = 4;
  Told told(options);
  told.settle(groupsOverTheFirst() + hopsWithRoutes(201, 240));
  EXPECT_LT(told.inState(Routes::State::forwarded), kMany + 40);
  told.hardware().device().faultsDel();
  for (int i = 0; i < 3; ++i) {
    told.mapping().retry(true);
    EXPECT_TRUE(told.mapping().busy());
    // Once more while it is at it.
    told.agent().turn();
    told.mapping().retry(i == 0);
    told.rest();
  }
  EXPECT_EQ(told.inState(Routes::State::forwarded), kMany + 40);
  EXPECT_EQ(told.wrong(), "");
}

TEST(SlicedWork, MarksWhatWasSaidBeforeOnceItIsWorkedOff) {
  Told told(checked());
  told.settle(announce(1, 1, "10.0.0.1") + routesTo(1));
  told.tell(announce(1, 2, "10.0.0.2") + announceRoute("11.1.0.0", 24, 1));
  told.agent().mark();
  while (!told.agent().markSlice(Deadline(std::chrono::microseconds(50)))) told.agent().turn();
  EXPECT_EQ(told.mapping().stale().routes, kMany + 1);
  EXPECT_FALSE(told.mapping().isBehind());
  told.settle(announce(9, 2, "10.0.0.2") + routesTo(9));
  told.agent().sweep();
  while (!told.agent().sweepSlice(Deadline(std::chrono::microseconds(50)))) told.agent().turn();
  told.rest();
  EXPECT_EQ(told.inState(Routes::State::forwarded), kMany);
  EXPECT_EQ(told.mapping().ingress().hops().size(), 1U);
  EXPECT_EQ(told.wrong(), "");
}

TEST(SlicedWork, KnowsTheMissingRowsOfABlockAsTheyAreNow) {
  AgentOptions options = checked();
  Told told(options);
  told.settle(announce(1, 1, "10.0.0.1") + announce(2, 2, "10.0.0.2") +
              announceGroup(7, {{1, 0}, {2, 0}}) + routesTo(7));
  auto const missing = [&] {
    return told.mapping().groups().missingMemberRows(*told.mapping().groups().groups().at(1));
  };
  EXPECT_EQ(missing(), 0U);
  SoftAsic::FaultProfile loses;
  loses.loseWriteEvery = 2;
  told.hardware().device().faultIs(SoftAsic::TableId::members, loses);
  told.settle(announceGroup(7, {{1, 0}, {2, 1}}));
  EXPECT_GT(missing(), 0U);
  EXPECT_EQ(told.inState(Routes::State::forwarded), 0U);
  told.hardware().device().faultsDel();
  told.mapping().retry(true);
  told.rest();
  EXPECT_EQ(missing(), 0U);
  EXPECT_EQ(told.inState(Routes::State::forwarded), kMany);
}

// Whatever is said, a step a turn ends where doing all at once ends, and on the way no group leads
// astray.
TEST(SlicedWork, EndsAsIfAllHadBeenDoneAtOnce) {
  std::size_t deepest = 0;
  for (std::uint32_t seed = 1; seed <= (kIsSlow ? 12U : 60U); ++seed) {
    RandomStream random(seed);
    AgentOptions options = checked();
    options.interfaceDelay = random.one(4) - 1;
    options.mtuDelay = random.one(3) - 1;
    options.answer = random.one(3) == 1 ? AgentOptions::Answer::now : AgentOptions::Answer::loop;
    std::uint32_t const patience = random.one(4) - 1;
    std::vector<Fpm::Message> const messages =
        parse(random.messages(150) + everyIdMakesSense()).messages;
    std::vector<InterfaceEvent> events;
    for (int i = 0; i < 5; ++i) events.push_back({random.one(4), random.one(2) == 1});
    Told sliced(options);
    Told atOnce(options, false);
    for (Told* told : {&sliced, &atOnce}) {
      std::size_t count = 0;
      for (Fpm::Message const& message : messages) {
        told->agent().messageIs(message);
        if (count % 3 != 0) told->agent().frameEnds();
        for (std::uint32_t i = 0; i < patience; ++i) told->agent().turn();
        if (told->mapping().isBehind()) ++deepest;
        if (++count % 30 == 0) {
          InterfaceEvent const& event = events.at(count / 30 - 1);
          told->mapping().interfaceIs(event.interface, event.up);
        }
        if (count == 100) told->mapping().retry(true);
      }
      told->agent().frameEnds();
      told->rest();
      ASSERT_EQ(told->wrong(), "") << "seed " << seed;
      ASSERT_FALSE(told->mapping().busy());
    }
    ASSERT_EQ(sliced.outcome(), atOnce.outcome()) << "seed " << seed;
  }
  EXPECT_GT(deepest, 1000U);
}

}  // namespace
}  // namespace OrviaL3Agent
