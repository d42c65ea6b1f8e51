// The order in which the agent's loop does things.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "agent/EventLoop.h"

namespace OrviaL3Agent {
namespace {

// Works off a number of slices and writes down when.
class Slices final : public EventLoop::Source {
 public:
  Slices(std::string& log, char name, int slices) : log_(log), name_(name), left_(slices) {}
  void runSlice() override {
    if (left_ == 0) return;
    --left_;
    log_ += name_;
  }
  [[nodiscard]] bool busy() const override { return left_ > 0; }

 private:
  std::string& log_;
  char name_;
  int left_;
};

class EventLoopTest : public ::testing::Test {
 protected:
  EventLoop::Task write(char name) {
    return [this, name] { log += name; };
  }
  EventLoop loop;
  std::string log;
};

TEST_F(EventLoopTest, HasNothingToDoAtFirst) {
  EXPECT_FALSE(loop.busy());
  loop.run();
  EXPECT_EQ(loop.now(), 0U);
}

TEST_F(EventLoopTest, RunsTimersThenPostsThenSourcesInEachTurn) {
  Slices first(log, 's', 2);
  Slices second(log, 't', 1);
  loop.sourceIs(&first);
  loop.sourceIs(&second);
  loop.post(write('p'));
  loop.timerIs(1, write('1'));
  loop.timerIs(2, write('2'));
  EXPECT_TRUE(loop.turn());
  EXPECT_EQ(log, "1pst");
  EXPECT_FALSE(loop.turn());
  EXPECT_EQ(log, "1pst2s");
  loop.sourceDel(&first);
  loop.sourceDel(&second);
}

TEST_F(EventLoopTest, RunsWhatATaskPostsInTheNextTurn) {
  loop.post([this] {
    log += 'a';
    loop.post(write('b'));
  });
  EXPECT_TRUE(loop.turn());
  EXPECT_EQ(log, "a");
  EXPECT_FALSE(loop.turn());
  EXPECT_EQ(log, "ab");
}

TEST_F(EventLoopTest, RunsATimerSetByATimerInALaterTurn) {
  loop.timerIs(1, [this] {
    log += 'a';
    loop.timerIs(0, write('b'));  // not within this turn
  });
  loop.turn();
  EXPECT_EQ(log, "a");
  loop.turn();
  EXPECT_EQ(log, "ab");
}

TEST_F(EventLoopTest, RunsTimersOfOneTurnInTheOrderInWhichTheyWereSet) {
  loop.timerIs(2, write('a'));
  loop.timerIs(1, write('b'));
  loop.timerIs(2, write('c'));
  loop.run();
  EXPECT_EQ(log, "bac");
  EXPECT_EQ(loop.now(), 2U);
}

TEST_F(EventLoopTest, DoesNotRunADeletedTimer) {
  EventLoop::TimerId const id = loop.timerIs(1, write('a'));
  loop.timerIs(1, write('b'));
  loop.timerDel(id);
  loop.timerDel(id);
  loop.run();
  EXPECT_EQ(log, "b");
}

TEST_F(EventLoopTest, LetsATimerDeleteAnotherOneOfTheSameTurn) {
  EventLoop::TimerId second;
  loop.timerIs(1, [&] {
    log += 'a';
    loop.timerDel(second);
  });
  second = loop.timerIs(1, write('b'));
  loop.run();
  EXPECT_EQ(log, "a");
}

TEST_F(EventLoopTest, RunsUntilNoSourceIsBusy) {
  Slices source(log, 's', 5);
  loop.sourceIs(&source);
  loop.sourceIs(&source);  // added once all the same
  loop.run();
  EXPECT_EQ(log, "sssss");
  EXPECT_EQ(loop.now(), 5U);
}

TEST_F(EventLoopTest, PassesOverASourceThatWasRemovedWithinTheTurn) {
  class Remover final : public EventLoop::Source {
   public:
    Remover(EventLoop& loop, Source* other) : loop_(loop), other_(other) {}
    void runSlice() override { loop_.sourceDel(other_); }
    [[nodiscard]] bool busy() const override { return false; }

   private:
    EventLoop& loop_;
    Source* other_;
  };
  Slices slices(log, 's', 1);
  Remover remover(loop, &slices);
  loop.sourceIs(&remover);
  loop.sourceIs(&slices);
  EXPECT_FALSE(loop.turn());
  EXPECT_EQ(log, "");
}

TEST_F(EventLoopTest, KeepsTheOtherPostsWhenOneThrows) {
  loop.post(write('a'));
  loop.post([] { throw std::runtime_error("b"); });
  loop.post(write('c'));
  EXPECT_THROW(loop.turn(), std::runtime_error);
  EXPECT_EQ(log, "a");
  loop.post(write('d'));
  loop.run();
  EXPECT_EQ(log, "acd");
}

TEST_F(EventLoopTest, ForgetsATimerThatThrows) {
  loop.timerIs(1, [] { throw std::runtime_error("a"); });
  loop.timerIs(1, write('b'));
  EXPECT_THROW(loop.turn(), std::runtime_error);
  EXPECT_TRUE(loop.busy());
  loop.run();
  EXPECT_EQ(log, "b");
}

}  // namespace
}  // namespace OrviaL3Agent
