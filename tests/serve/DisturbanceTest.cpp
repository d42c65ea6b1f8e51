// Whatever happens to the connection, the hardware ends as it does without.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "agent/fpm/FrameReader.h"
#include "agent/fpm/MessageReader.h"
#include "tests/agent/RandomStream.h"
#include "tests/serve/LiveAgent.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

// The offsets of a stream's frames, and its size.
std::vector<std::size_t> cutsOf(Bytes const& stream) {
  std::vector<std::size_t> cuts;
  Fpm::FrameReader reader;
  reader.feed(spanOf(stream));
  while (auto const frame = reader.next()) cuts.push_back(frame->offset);
  cuts.push_back(stream.size());
  return cuts;
}

// Where all routes lead, whatever rows and numbers that takes.
std::string waysOf(Mapping const& mapping) {
  std::string const text = routesText(mapping);
  std::string ways;
  for (std::size_t i = 0; i < text.size();) {
    for (std::string_view const number : {"row ", "group "}) {
      if (text.compare(i, number.size(), number) != 0) continue;
      ways += number;
      i += number.size();
      while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i;
    }
    ways += text[i++];
  }
  return ways;
}

// What an agent ends with.
struct Outcome {
  std::string ways;
  std::vector<std::uint64_t> rows;  // in force, by window

  friend bool operator==(Outcome const&, Outcome const&) = default;
};
void PrintTo(Outcome const& outcome, std::ostream* out) {
  *out << outcome.ways << "rows in force:";
  for (std::uint64_t const rows : outcome.rows) *out << " " << rows;
}

Outcome outcomeOf(Agent const& agent) {
  SoftAsic::SoftDevice const& device = agent.hardware().device();
  return {waysOf(agent.mapping()),
          {Hardware::rowsInForce(device.ingressNextHops()),
           Hardware::rowsInForce(device.ecmpNextHops()), Hardware::rowsInForce(device.members()),
           Hardware::rowsInForce(device.groups())}};
}

struct Said {
  char const* name;
  std::size_t partsOfTen;  // of the stream, the rest of which takes everything back again
};
void PrintTo(Said const& said, std::ostream* out) { *out << said.name; }

class Disturbance : public ::testing::TestWithParam<Said> {
 protected:
  Disturbance() : stream_(contentOf(streamPath(GetParam().name))) {
    std::vector<std::size_t> const cuts = cutsOf(stream_);
    stream_.resize(cuts[(cuts.size() - 1) * GetParam().partsOfTen / 10]);
  }

  // Of a replay of the same stream.
  [[nodiscard]] Outcome undisturbed() const {
    TemporaryFile const file(stream_);
    ReplayOptions options;
    options.file = file.path();
    options.verify = true;
    Replay replay(options);
    Progress progress(Progress::Style::off);
    replay.run(progress);
    EXPECT_TRUE(replay.differences().empty());
    EXPECT_GT(replay.mapping().routes().routes().size(), 0U);
    return outcomeOf(replay.agent());
  }

  Bytes stream_;
};

TEST_P(Disturbance, AtFullSpeedItIsAsInAReplay) {
  LiveAgent live(checkedOptions());
  Daemon daemon(live.port());
  live.say(daemon, stream_);
  EXPECT_EQ(live.wrong(), "");
  EXPECT_EQ(outcomeOf(live.agent()), undisturbed());
}

TEST_P(Disturbance, SlowedItIsAsInAReplay) {
  LiveAgent live(checkedOptions());
  Daemon daemon(live.port());
  // Pieces that end anywhere, one a turn.
  live.say(daemon, stream_, stream_.size() / 1000 + 7);
  EXPECT_EQ(live.wrong(), "");
  EXPECT_EQ(outcomeOf(live.agent()), undisturbed());
}

// A hundred times, but for the stream of a thousand groups: that one twenty times, since every
// connection marks, compares and checks all of them. With a sanitizer all are cut twenty times.
TEST_P(Disturbance, CutOverAndOverItIsAsInAReplay) {
  int const cuts = kIsSlow || stream_.size() > 100000 ? 20 : 100;
  std::mt19937 random(3);
  LiveAgent live(checkedOptions());
  for (int i = 0; i < cuts; ++i) {
    Daemon daemon(live.port());
    live.turnUntil([&] { return live.status().connections == static_cast<unsigned>(i) + 1; });
    Bytes const said = stream_.substr(0, random() % (stream_.size() + 1));
    std::size_t sent = 0;
    live.turnUntil([&] {
      sent += daemon.sendSome(std::string_view(said).substr(sent));
      return sent == said.size();
    });
    // Sometimes the agent has not read it by then, and sometimes never does.
    if (random() % 2 == 0) live.rest();
    if (random() % 2 == 0) daemon.reset();
    daemon.close();
    if (random() % 2 == 0) live.turnUntil([&] { return !live.status().peer; });
    if (i % 25 == 0) {
      live.rest();
      ASSERT_EQ(live.wrong(), "") << "cut " << i;
    }
  }
  live.turnUntil([&] { return !live.status().peer; });
  Daemon last(live.port());
  live.say(last, stream_);
  EXPECT_EQ(live.wrong(), "");
  live.sweep();
  EXPECT_EQ(live.wrong(), "");
  EXPECT_EQ(outcomeOf(live.agent()), undisturbed());
}

TEST_P(Disturbance, WithFaultsMeanwhileItIsAsInAReplayOnceTheyAreMended) {
  std::mt19937 random(5);
  ServeOptions options = checkedOptions();
  for (char const* fault :
       {"ingress:refuse-every=5", "ecmp:refuse-every=7,answer=3", "member:refuse-every=11,answer=2",
        "group:lose-answer-every=5", "ingress:answer=4,order=random"}) {
    SoftAsic::faultIs(options.faults, fault);
  }
  LiveAgent live(options);
  for (int i = 0; i < 10; ++i) {
    Daemon daemon(live.port());
    live.say(daemon, std::string_view(stream_).substr(0, random() % (stream_.size() + 1)));
    live.hangUp(daemon);
  }
  Daemon last(live.port());
  live.say(last, stream_);
  // They did happen.
  SoftAsic::SoftDevice& device = live.agent().hardware().device();
  EXPECT_GT(device.ingressNextHops().counts().refused + device.ecmpNextHops().counts().refused +
                device.groups().counts().lostAnswers,
            0U);
  device.faultsDel();
  live.sweep();
  for (int i = 0; i < 3; ++i) {
    live.agent().mapping().retry(true);
    live.rest();
  }
  // While member rows were refused, groups were published without them, and nothing else was wrong.
  ForwardingCheck const& check = *live.agent().forwardingCheck();
  EXPECT_EQ(check.total(), check.count(ForwardingCheck::Kind::notInHardware)) << text(check);
  EXPECT_EQ(check.wrongGroups(), 0U) << text(check);
  Differences const differences = live.agent().differences();
  EXPECT_TRUE(differences.empty()) << text(differences);
  EXPECT_EQ(outcomeOf(live.agent()), undisturbed());
}

INSTANTIATE_TEST_SUITE_P(Recorded, Disturbance,
                         ::testing::Values(Said{"forms.0.fpm", 6}, Said{"flap-static.0.fpm", 6},
                                           Said{"flap-static-reconn.0.fpm", 7},
                                           Said{"misc.0.fpm", 8}, Said{"misc.1.fpm", 8},
                                           Said{"weights.0.fpm", 6}, Said{"wide-static.0.fpm", 5},
                                           Said{"bgp-1k-distinct16-reconn.0.fpm", 5}),
                         [](auto const& of) {
                           std::string name = of.param.name;
                           name.resize(name.find('.', name.find('.') + 1));
                           std::erase_if(name, [](char c) { return c == '-' || c == '.'; });
                           return name;
                         });

// A daemon that is restarted with the same configuration: the stream of the second connection comes
// in another order, and the recorded agent of that time was gone meanwhile.
TEST(DisturbanceOfADaemon, WritesNothingForTheRecordedReplayOfWhatIsThere) {
  Bytes const before = contentOf(streamPath("bgp-1k-distinct16.0.fpm"));
  Bytes const after = contentOf(streamPath("bgp-1k-distinct16-reconn.0.fpm"));
  // Of the second one, the replay: up to the first withdrawal.
  std::size_t end = 0;
  Fpm::FrameReader reader;
  Fpm::SkipCounts skips;
  reader.feed(spanOf(after));
  for (bool isReplay = true; isReplay;) {
    auto const frame = reader.next();
    ASSERT_TRUE(frame);
    Fpm::MessageReader messages(*frame, skips);
    while (auto const message = messages.next()) {
      isReplay &= !std::holds_alternative<Fpm::NextHopWithdrawal>(message->content) &&
                  !std::holds_alternative<Fpm::RouteWithdrawal>(message->content);
    }
    if (isReplay) end = reader.offset();
  }
  Bytes const replay = after.substr(0, end);

  LiveAgent live(checkedOptions());
  {
    Daemon first(live.port());
    live.say(first, before);
    live.hangUp(first);
  }
  {
    Daemon second(live.port());
    live.say(second, replay);
    live.sweep();
    EXPECT_EQ(live.wrong(), "");
    live.hangUp(second);
  }
  Outcome const outcome = outcomeOf(live.agent());
  EXPECT_GT(live.mapping().groups().groups().size(), 900U);
  std::size_t const calls = live.calls();
  Daemon third(live.port());
  live.say(third, replay);
  EXPECT_EQ(live.status().stale, 0U);
  live.sweep();
  EXPECT_EQ(live.callsFrom(calls), "");
  EXPECT_EQ(outcomeOf(live.agent()), outcome);
}

// Connections that say anything in any order, cut anywhere, with other meanings of the same ids:
// what the last one leaves behind is what an agent has that never heard the others.
TEST(DisturbanceOfADaemon, LeavesNothingOfTheConnectionsBefore) {
  constexpr std::uint32_t kSeeds = kIsSlow ? 8 : 40;
  for (std::uint32_t seed = 1; seed <= kSeeds; ++seed) {
    RandomStream random(seed);
    ServeOptions options = checkedOptions();
    options.rows = 256;
    options.memberRows = 512;
    options.groupRows = 64;
    options.slice = random.one(5);
    options.interfaceDelay = random.one(4) - 1;
    options.answer = random.one(3) == 1 ? AgentOptions::Answer::now : AgentOptions::Answer::loop;
    LiveAgent live(options);
    std::uint32_t const connections = 1 + random.one(5);
    for (std::uint32_t i = 0; i < connections; ++i) {
      Bytes said = random.messages(60);
      if (random.one(2) == 1) said.resize(random.one(static_cast<std::uint32_t>(said.size())));
      Daemon daemon(live.port());
      live.say(daemon, said);
      if (random.one(3) == 1) live.sweep();
      ASSERT_EQ(live.agent().forwardingCheck()->total(), 0U)
          << "seed " << seed << "\n"
          << text(*live.agent().forwardingCheck());
      live.hangUp(daemon);
    }
    Bytes const last = random.messages(60) + everyIdMakesSense();
    Daemon daemon(live.port());
    live.say(daemon, last);
    ASSERT_EQ(live.wrong(), "") << "seed " << seed;
    live.sweep();
    ASSERT_EQ(live.wrong(), "") << "seed " << seed;

    LiveAgent fresh(options);
    Daemon only(fresh.port());
    fresh.say(only, last);
    ASSERT_EQ(fresh.wrong(), "") << "seed " << seed;
    ASSERT_EQ(outcomeOf(live.agent()), outcomeOf(fresh.agent())) << "seed " << seed;
    ASSERT_EQ(live.mapping().ids().ids().size(), fresh.mapping().ids().ids().size());
  }
}

}  // namespace
}  // namespace OrviaL3Agent
