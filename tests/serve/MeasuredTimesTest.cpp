#include <gtest/gtest.h>

#include "agent/serve/MeasuredTimes.h"
#include "tests/serve/LiveAgent.h"

namespace OrviaL3Agent::Testing {
namespace {

using SoftAsic::TableId;

// The times of an agent, taken as the last source of its loop.
class Watch final : public EventLoop::Source {
 public:
  explicit Watch(LiveAgent& live) : live_(live), times_(live.agent(), live.server()) {
    live_.agent().loop().sourceIs(this);
  }
  ~Watch() override { live_.agent().loop().sourceDel(this); }
  Watch(Watch const&) = delete;
  Watch& operator=(Watch const&) = delete;

  void runSlice() override { times_.turnEnds(); }
  [[nodiscard]] bool busy() const override { return times_.wantsTurn(); }

  [[nodiscard]] MeasuredTimes const& times() const { return times_; }
  [[nodiscard]] std::uint64_t latencies(TableId table) const {
    return times_.handlerLatency(table).count();
  }
  [[nodiscard]] std::uint64_t answers(TableId table) const {
    return times_.answerTimes(table).count();
  }

 private:
  LiveAgent& live_;
  MeasuredTimes times_;
};

class MeasuredTimesTest : public ::testing::Test {
 protected:
  // An agent that a daemon has said this to.
  void start(Bytes const& stream) {
    live.emplace(options);
    watch.emplace(*live);
    daemon.emplace(live->port());
    live->say(*daemon, stream);
  }

  ServeOptions options = checkedOptions();
  std::optional<LiveAgent> live;
  std::optional<Watch> watch;
  std::optional<Daemon> daemon;
};

Bytes const kTwoMembers = announce(1, 2, "10.0.1.2") + announce(2, 3, "10.0.2.2");

TEST_F(MeasuredTimesTest, TimesEachCommitAndEachAnswer) {
  start(announceRouted(1, 2, "10.0.1.2") + announceRouted(2, 3, "10.0.2.2"));
  EXPECT_EQ(watch->latencies(TableId::ingressNextHops), 2U);
  EXPECT_EQ(watch->answers(TableId::ingressNextHops), 2U);
  EXPECT_EQ(watch->latencies(TableId::ecmpNextHops), 0U);
}

TEST_F(MeasuredTimesTest, TimesAllTablesThatAGroupTakes) {
  start(kTwoMembers + announceGroup(10, {{1, 0}, {2, 0}}) + routeTo(10));
  EXPECT_EQ(watch->latencies(TableId::ecmpNextHops), 2U);
  EXPECT_EQ(watch->latencies(TableId::groups), 1U);
  EXPECT_EQ(watch->answers(TableId::ecmpNextHops), 2U);
  EXPECT_EQ(watch->answers(TableId::members), 2U);
  EXPECT_EQ(watch->answers(TableId::groups), 1U);
}

TEST_F(MeasuredTimesTest, ARecordThatWaitsIsTimedFromItsCommitAndItsAnswerFromItsWrite) {
  options.interfaceDelay = 200;  // turns, each of which sees a nap of the test
  start(announceRouted(1, 2, "10.0.1.2"));
  EXPECT_EQ(watch->latencies(TableId::ingressNextHops), 1U);
  EXPECT_GT(watch->times().handlerLatency(TableId::ingressNextHops).sumSeconds(),
            2 * watch->times().answerTimes(TableId::ingressNextHops).sumSeconds());
}

TEST_F(MeasuredTimesTest, ARefusalIsAnAnswerAndNoCommitIsDone) {
  options.faults.of(TableId::ingressNextHops).refuseEvery = 1;
  start(announceRouted(1, 2, "10.0.1.2"));
  EXPECT_EQ(watch->answers(TableId::ingressNextHops), 1U);
  EXPECT_EQ(watch->latencies(TableId::ingressNextHops), 0U);
}

TEST_F(MeasuredTimesTest, WhatIsWrittenOnceMoreIsNoNewCommit) {
  options.faults.of(TableId::groups).loseAnswerEvery = 2;
  start(kTwoMembers + announceGroup(10, {{1, 0}, {2, 0}}) + routeTo(10));
  EXPECT_EQ(watch->latencies(TableId::groups), 1U);
  live->agent().mapping().tables().groups->handleEntry(Groups::Table::Index(1));  // lost
  live->rest();
  live->agent().mapping().tables().groups->handleEntry(Groups::Table::Index(1));
  live->rest();
  EXPECT_EQ(watch->answers(TableId::groups), 2U);
  EXPECT_EQ(watch->latencies(TableId::groups), 1U);
}

TEST_F(MeasuredTimesTest, AGroupOfOtherPathsIsANewCommit) {
  start(kTwoMembers + announceGroup(10, {{1, 0}, {2, 0}}) + routeTo(10));
  live->say(*daemon, announce(3, 4, "10.0.3.2") + announceGroup(10, {{1, 0}, {3, 0}}));
  EXPECT_EQ(watch->latencies(TableId::groups), 2U);
}

TEST_F(MeasuredTimesTest, AnAnswerThatNeverComesIsNotTimed) {
  options.faults.of(TableId::ingressNextHops).loseAnswerEvery = 2;
  start(announceRouted(1, 2, "10.0.1.2") + announceRouted(2, 3, "10.0.2.2") +
        announceRouted(3, 4, "10.0.3.2"));
  EXPECT_EQ(watch->answers(TableId::ingressNextHops), 2U);
}

TEST_F(MeasuredTimesTest, AnswersAtOnceAreTimedToo) {
  options.answer = AgentOptions::Answer::now;
  start(announceRouted(1, 2, "10.0.1.2"));
  EXPECT_EQ(watch->answers(TableId::ingressNextHops), 1U);
  EXPECT_EQ(watch->latencies(TableId::ingressNextHops), 1U);
}

TEST_F(MeasuredTimesTest, EveryMessageConvergesAlsoWhereAnswersAreLostAndInterfacesNeverCome) {
  options.interfaceDelay.reset();
  options.faults.of(TableId::ingressNextHops).loseAnswerEvery = 1;
  start(announceRouted(1, 2, "10.0.1.2") + announceRouted(2, 3, "10.0.2.2"));
  EXPECT_EQ(watch->times().convergence().times().count(), 4U);
  EXPECT_EQ(watch->times().convergence().underWay(), 0U);
}

TEST_F(MeasuredTimesTest, ALateAnswerPutsTheRestOff) {
  start(announceRouted(1, 2, "10.0.1.2"));
  live->agent().hardware().device().faultIs(TableId::ingressNextHops, [] {
    SoftAsic::FaultProfile late;
    late.answerAfter = 50;
    return late;
  }());
  live->turnUntil([&, sent = false]() mutable {
    if (!sent) daemon->sendSome(announceRouted(2, 3, "10.0.2.2"));
    sent = true;
    return live->agent().hardware().busy();
  });
  EXPECT_EQ(watch->times().convergence().underWay(), 2U);
  live->rest();
  EXPECT_EQ(watch->times().convergence().underWay(), 0U);
  EXPECT_EQ(watch->times().convergence().times().count(), 4U);
}

}  // namespace
}  // namespace OrviaL3Agent::Testing
