#include <gtest/gtest.h>

#include "agent/serve/Convergence.h"

namespace OrviaL3Agent {
namespace {

using namespace std::chrono_literals;

class ConvergenceTest : public ::testing::Test {
 protected:
  using Clock = Convergence::Clock;

  // A turn that ends at that time.
  void turn(std::chrono::milliseconds now, std::uint64_t messages,
            std::chrono::milliseconds arrival, bool isAtRest, std::uint64_t calls = 0) {
    convergence.turnEnds({begin + now, messages, begin + arrival, isAtRest, calls});
  }

  Clock::time_point const begin = Clock::now();
  Convergence convergence{0};
};

TEST_F(ConvergenceTest, CountsNothingBeforeARestIsConfirmedByTheNextTurn) {
  turn(3ms, 1, 0ms, true);
  EXPECT_TRUE(convergence.wantsTurn());
  EXPECT_EQ(convergence.times().count(), 0U);
  EXPECT_EQ(convergence.underWay(), 1U);
  turn(4ms, 1, 4ms, true);
  EXPECT_FALSE(convergence.wantsTurn());
  EXPECT_EQ(convergence.times().count(), 1U);
  EXPECT_EQ(convergence.underWay(), 0U);
}

TEST_F(ConvergenceTest, TakesTheTimeUpToTheRestAndNotToItsConfirmation) {
  turn(3ms, 1, 1ms, true);
  turn(500ms, 1, 500ms, true);
  EXPECT_NEAR(convergence.times().sumSeconds(), 0.002, 1e-9);
}

TEST_F(ConvergenceTest, EveryMessageOfABurstHasItsOwnTime) {
  turn(10ms, 3, 0ms, false);
  turn(20ms, 4, 10ms, false);
  turn(30ms, 4, 20ms, true);
  turn(31ms, 4, 30ms, true);
  EXPECT_EQ(convergence.times().count(), 4U);
  EXPECT_NEAR(convergence.times().sumSeconds(), 3 * 0.030 + 0.020, 1e-9);
}

TEST_F(ConvergenceTest, ARestInWhichTheHardwareIsCalledWasNone) {
  turn(1ms, 1, 0ms, true, 5);
  turn(2ms, 1, 1ms, true, 6);  // what the turn before wrote at its end
  EXPECT_EQ(convergence.times().count(), 0U);
  EXPECT_TRUE(convergence.wantsTurn());
  turn(3ms, 1, 2ms, true, 6);
  EXPECT_NEAR(convergence.times().sumSeconds(), 0.002, 1e-9);
}

TEST_F(ConvergenceTest, ARestThatAMessageEndsAtOnceWasNone) {
  turn(1ms, 1, 0ms, true);
  turn(2ms, 2, 1ms, true);
  EXPECT_EQ(convergence.times().count(), 0U);
  turn(3ms, 2, 3ms, true);
  EXPECT_EQ(convergence.times().count(), 2U);
  EXPECT_NEAR(convergence.times().sumSeconds(), 0.002 + 0.001, 1e-9);
}

TEST_F(ConvergenceTest, UnrestAfterARestTakesItBack) {
  turn(1ms, 1, 0ms, true);
  turn(2ms, 1, 1ms, false);
  EXPECT_FALSE(convergence.wantsTurn());
  EXPECT_EQ(convergence.underWay(), 1U);
}

TEST_F(ConvergenceTest, WithoutMessagesNoTurnIsAskedFor) {
  turn(1ms, 0, 0ms, true);
  EXPECT_FALSE(convergence.wantsTurn());
  Convergence later(7);
  later.turnEnds({begin, 7, begin, true, 0});
  EXPECT_FALSE(later.wantsTurn());
}

TEST_F(ConvergenceTest, ALongUnrestLosesNoMessageAndNoTimeGetsShorter) {
  constexpr std::uint64_t kTurns = 50000;
  double exact = 0;
  for (std::uint64_t i = 1; i <= kTurns; ++i) {
    turn(std::chrono::milliseconds(i), i, std::chrono::milliseconds(i), false);
    exact += static_cast<double>(kTurns - i) / 1000;
  }
  turn(std::chrono::milliseconds(kTurns), kTurns, std::chrono::milliseconds(kTurns), true);
  turn(std::chrono::milliseconds(kTurns), kTurns, std::chrono::milliseconds(kTurns), true);
  EXPECT_EQ(convergence.times().count(), kTurns);
  EXPECT_GE(convergence.times().sumSeconds(), exact - 1e-3);
  EXPECT_LE(convergence.times().sumSeconds(), 1.1 * exact);
}

}  // namespace
}  // namespace OrviaL3Agent
