// Streams of random messages: whatever is said in whatever order, the hardware ends with what was
// asked for, no group ever leads astray, and nothing is left when all is withdrawn.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "agent/Replay.h"
#include "tests/agent/RandomStream.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

struct Circumstances {
  char const* name;
  std::vector<char const*> faults;
  // Whether every group that is published is in the hardware.
  bool membersAreSafe = true;
};
void PrintTo(Circumstances const& circumstances, std::ostream* out) { *out << circumstances.name; }

class RandomStreams : public ReplayFixture, public ::testing::WithParamInterface<Circumstances> {
 protected:
  static constexpr std::uint32_t kSeeds = kIsSlow ? 12 : 40;

  // One stream under the circumstances, mended at its end.
  void setUpSeed(std::uint32_t seed) {
    RandomStream random(seed);
    options = {};
    options.rows = 256;
    options.memberRows = 512;
    options.groupRows = 64;
    options.slice = random.one(5);
    options.interfaceDelay = random.one(4) - 1;
    options.mtuDelay = random.one(3) - 1;
    options.answer = random.one(3) == 1 ? ReplayOptions::Answer::now : ReplayOptions::Answer::loop;
    options.verify = true;
    options.checkForwarding = true;
    options.faults.seed = seed;
    for (char const* fault : GetParam().faults) SoftAsic::faultIs(options.faults, fault);
    constexpr int messages = 120;
    for (int i = 0; i < 4; ++i) {
      InterfaceEvent const what{random.one(4), random.one(2) == 1};
      options.events.push_back({random.one(messages), what});
    }
    options.events.push_back({{}, FaultsOff{}});
    options.events.push_back({{}, Retry{}});
    options.events.push_back({{}, Retry{}});
    stream_ = random.messages(messages);
  }
  Report runSeed(std::uint32_t seed) {
    setUpSeed(seed);
    return run(stream_ + everyIdMakesSense());
  }

  Bytes stream_;
};

// Everything of before is withdrawn, and a little is announced that has room whatever was there.
Bytes littleIsLeft() {
  Bytes stream;
  for (std::uint32_t second = 1; second <= 4; ++second) {
    std::string const destination = "10." + std::to_string(second) + ".0.0";
    for (std::uint32_t const priority : {10U, 20U}) {
      for (std::uint32_t const table : {100U, 254U}) {
        stream += withdrawRoute(destination.c_str(), 16, {.priority = priority, .table = table});
      }
    }
  }
  for (std::uint32_t id = 8; id >= 1; --id) stream += withdraw(id);
  return stream + announceRouted(1, 1, "10.0.0.1") + announce(2, 2, "10.0.0.1") +
         announceGroup(6, {{1, 0}, {2, 1}}) + routeTo(6);
}

TEST_P(RandomStreams, FindRoomWhenThereIsSome) {
  std::uint64_t notPlaced = 0;
  for (std::uint32_t seed = 1; seed <= kSeeds; ++seed) {
    setUpSeed(seed);
    // Six rows for next hops of groups, seven for those of routes, three groups.
    options.rows = 14;
    options.memberRows = 12;
    options.groupRows = 4;
    Report report = run(stream_);
    std::size_t const withoutRow = report.ingress.liveIn(NextHopState::notPlaced);
    if (withoutRow > 0) {
      ASSERT_EQ(report.ingress.live.size() - withoutRow, 7U) << "seed " << seed;
    }
    notPlaced += report.ingress.counts.notPlaced + report.groups.counts.notPlaced;
    if (GetParam().membersAreSafe) {
      ForwardingCheck const& check = replay().forwardingCheck().value();
      ASSERT_EQ(check.total(), 0U) << "seed " << seed << "\n" << OrviaL3Agent::text(check);
    }
    report = run(stream_ + littleIsLeft());
    Differences const differences = replay().differences();
    ASSERT_TRUE(differences.empty()) << "seed " << seed << "\n"
                                     << OrviaL3Agent::text(differences) << text(report);
    ASSERT_EQ(differences.verifiedGroups, 1U);
    ASSERT_EQ(report.ingress.liveIn(NextHopState::programmed), 1U) << text(report);
    expectNothingLeftAfter("");
    if (HasFailure()) FAIL() << "seed " << seed;
  }
  EXPECT_GT(notPlaced, kSeeds);
}

TEST_P(RandomStreams, EndWithWhatWasAskedFor) {
  std::uint64_t groups = 0;
  std::uint64_t deferred = 0;
  for (std::uint32_t seed = 1; seed <= kSeeds; ++seed) {
    Report const report = runSeed(seed);
    ASSERT_FALSE(report.error) << *report.error;
    Differences const differences = replay().differences();
    ASSERT_TRUE(differences.empty()) << "seed " << seed << "\n"
                                     << OrviaL3Agent::text(differences) << text(report);
    ForwardingCheck const& check = replay().forwardingCheck().value();
    if (GetParam().membersAreSafe) {
      ASSERT_EQ(check.total(), 0U) << "seed " << seed << "\n" << OrviaL3Agent::text(check);
    }
    ASSERT_EQ(report.ingress.liveIn(NextHopState::programmed), report.ingress.live.size())
        << "seed " << seed << "\n"
        << text(report);
    ASSERT_EQ(report.ecmp.liveIn(NextHopState::programmed), report.ecmp.live.size())
        << "seed " << seed << "\n"
        << text(report);
    ASSERT_EQ(report.groups.liveIn(ShownGroup::State::programmed), report.groups.live.size())
        << "seed " << seed << "\n"
        << text(report);
    groups += differences.verifiedGroups;
    deferred += report.deferredWithdrawals;
  }
  EXPECT_GT(groups, kSeeds);
  EXPECT_GT(deferred, kSeeds);
}

TEST_P(RandomStreams, LeaveNothingBehind) {
  for (std::uint32_t seed = 1; seed <= kSeeds; ++seed) {
    runSeed(seed);
    expectNothingLeftAfter("");
    if (HasFailure()) FAIL() << "seed " << seed;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Under, RandomStreams,
    ::testing::Values(
        Circumstances{"NoFault", {}},
        Circumstances{"LateAnswersInRandomOrder",
                      {"all:answer=3,order=random,late-every=4,late-by=7"}},
        Circumstances{"AnswersTwice", {"all:answer-twice-every=2"}},
        Circumstances{"LostAnswers", {"all:lose-answer-every=3"}},
        Circumstances{"RefusedGroups", {"group:refuse-every=3"}},
        Circumstances{"RefusedNextHops", {"ingress:refuse-every=3", "ecmp:refuse-every=3"}},
        Circumstances{"LostNextHops", {"ingress:lose-write-every=3", "ecmp:lose-write-every=3"}},
        Circumstances{"LostGroups", {"group:lose-write-every=3"}},
        Circumstances{"RefusedMembers", {"member:refuse-every=4"}, false},
        Circumstances{"LostMembers", {"member:lose-write-every=4"}, false},
        Circumstances{"AllOfIt",
                      {"all:refuse-every=4,lose-answer-every=5,lose-write-every=7,"
                       "answer-twice-every=3,order=random,answer=2,late-every=3,late-by=4"},
                      false}),
    [](::testing::TestParamInfo<Circumstances> const& tested) { return tested.param.name; });

}  // namespace
}  // namespace OrviaL3Agent
