// Answers on their way: at once, or waiting for the loop.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <set>
#include <stdexcept>
#include <vector>

#include "plugins/soft-asic/AnswerQueue.h"

namespace SoftAsic {
namespace {

using Delivery = AnswerQueue::Delivery;
using Order = std::vector<int>;

TEST(AnswerQueue, DeliversAtOnce) {
  Vek::Ptr<AnswerQueue> const queue = new AnswerQueue(Delivery::atOnce);
  Order order;
  queue->answer([&] { order.push_back(1); });
  EXPECT_EQ(order, Order({1}));
  EXPECT_EQ(queue->waiting(), 0U);
  EXPECT_EQ(queue->drain(), 0U);
}

TEST(AnswerQueue, KeepsTheOrderOfTheWritesUntilDrained) {
  Vek::Ptr<AnswerQueue> const queue = new AnswerQueue(Delivery::whenDrained);
  Order order;
  for (int i = 1; i <= 3; ++i) queue->answer([&order, i] { order.push_back(i); });
  EXPECT_TRUE(order.empty());
  EXPECT_EQ(queue->waiting(), 3U);
  EXPECT_EQ(queue->drain(2), 2U);
  EXPECT_EQ(order, Order({1, 2}));
  EXPECT_EQ(queue->drain(), 1U);
  EXPECT_EQ(order, Order({1, 2, 3}));
}

TEST(AnswerQueue, LeavesAnswersThatJoinDuringADrainForTheNext) {
  Vek::Ptr<AnswerQueue> const queue = new AnswerQueue(Delivery::whenDrained);
  Order order;
  queue->answer([&] {
    order.push_back(1);
    queue->answer([&] { order.push_back(2); });
  });
  EXPECT_EQ(queue->drain(), 1U);
  EXPECT_EQ(order, Order({1}));
  EXPECT_EQ(queue->drain(), 1U);
  EXPECT_EQ(order, Order({1, 2}));
}

TEST(AnswerQueue, DeliversEveryAnswerOnceWhenADrainRunsInsideAnAnswer) {
  Vek::Ptr<AnswerQueue> const queue = new AnswerQueue(Delivery::whenDrained);
  Order order;
  std::size_t nested = 0;
  queue->answer([&] {
    order.push_back(1);
    nested = queue->drain();
  });
  queue->answer([&] { order.push_back(2); });
  queue->answer([&] { order.push_back(3); });
  EXPECT_EQ(queue->drain(), 1U);
  EXPECT_EQ(nested, 2U);
  EXPECT_EQ(order, Order({1, 2, 3}));
  EXPECT_EQ(queue->waiting(), 0U);
}

TEST(AnswerQueue, LivesThroughADrainThatDropsIt) {
  Vek::Ptr<AnswerQueue> queue = new AnswerQueue(Delivery::whenDrained);
  Order order;
  queue->answer([&] {
    order.push_back(1);
    queue = nullptr;
  });
  queue->answer([&] { order.push_back(2); });
  EXPECT_EQ(queue->drain(), 2U);
  EXPECT_EQ(order, Order({1, 2}));
}

TEST(AnswerQueue, PassesOnWhatAnAnswerThrowsAndForgetsThatAnswer) {
  Vek::Ptr<AnswerQueue> const queue = new AnswerQueue(Delivery::whenDrained);
  Order order;
  queue->answer([] { throw std::runtime_error("full"); });
  queue->answer([&] { order.push_back(2); });
  EXPECT_THROW(queue->drain(), std::runtime_error);
  EXPECT_EQ(queue->waiting(), 1U);
  EXPECT_EQ(queue->drain(), 1U);
  EXPECT_EQ(order, Order({2}));
}

TEST(AnswerQueue, HoldsWhatWaitsWhenTheDeliveryChanges) {
  Vek::Ptr<AnswerQueue> const queue = new AnswerQueue(Delivery::whenDrained);
  Order order;
  queue->answer([&] { order.push_back(1); });
  queue->deliveryIs(Delivery::atOnce);
  EXPECT_EQ(queue->delivery(), Delivery::atOnce);
  queue->answer([&] { order.push_back(2); });
  EXPECT_EQ(order, Order({2}));
  EXPECT_EQ(queue->drain(), 1U);
  EXPECT_EQ(order, Order({2, 1}));
}

// A queue and the numbers of the answers that it delivered.
struct Turns : testing::Test {
  void answer(int number, std::uint64_t turns, bool inAnyOrder = false) {
    queue->answer({turns, inAnyOrder}, [this, number] { order.push_back(number); });
  }
  // One turn; returns what it delivered.
  Order turn() {
    order.clear();
    for (std::size_t due = queue->turn(); due > 0; --due) EXPECT_TRUE(queue->deliverOne());
    EXPECT_FALSE(queue->deliverOne());
    return order;
  }

  Vek::Ptr<AnswerQueue> const queue = new AnswerQueue(Delivery::whenDrained);
  Order order;
};

TEST_F(Turns, DeliverNothingThatHasNotBegun) {
  answer(1, 1);
  EXPECT_FALSE(queue->deliverOne());
  EXPECT_TRUE(order.empty());
  EXPECT_EQ(turn(), Order({1}));
}

TEST_F(Turns, DeliverAnswersInTheTurnThatTheyAreDueIn) {
  answer(1, 3);
  answer(2, 1);
  answer(3, 2);
  answer(4, 0);
  EXPECT_EQ(order, Order({4}));
  EXPECT_EQ(queue->waiting(), 3U);
  EXPECT_EQ(turn(), Order({2}));
  EXPECT_EQ(queue->waiting(), 2U);
  EXPECT_EQ(turn(), Order({3}));
  EXPECT_EQ(turn(), Order({1}));
  EXPECT_EQ(queue->waiting(), 0U);
  EXPECT_EQ(turn(), Order());
}

TEST_F(Turns, KeepTheOrderOfTheWritesWhateverTheyWaitedFor) {
  answer(1, 3);
  answer(2, 2);
  turn();
  answer(3, 2);
  answer(4, 1);
  answer(5, 2);
  EXPECT_EQ(turn(), Order({2, 4}));
  answer(6, 1);
  EXPECT_EQ(turn(), Order({1, 3, 5, 6}));
}

TEST_F(Turns, LeaveAnswersThatJoinWithinOneForTheNext) {
  queue->answer([this] {
    order.push_back(1);
    answer(2, 1);
    answer(3, 2);
  });
  EXPECT_EQ(turn(), Order({1}));
  EXPECT_EQ(turn(), Order({2}));
  EXPECT_EQ(turn(), Order({3}));
}

TEST_F(Turns, CountWhatAnEarlierOneLeftAndDeliverItFirst) {
  answer(1, 1);
  answer(2, 1);
  EXPECT_EQ(queue->turn(), 2U);
  queue->deliverOne();
  answer(3, 1);
  EXPECT_EQ(queue->waiting(), 2U);
  EXPECT_EQ(turn(), Order({2, 3}));
}

TEST_F(Turns, KeepTheOtherAnswersWhenOneThrows) {
  answer(1, 1);
  queue->answer([] { throw std::runtime_error("full"); });
  answer(3, 1);
  ASSERT_EQ(queue->turn(), 3U);
  EXPECT_TRUE(queue->deliverOne());
  EXPECT_THROW(queue->deliverOne(), std::runtime_error);
  EXPECT_TRUE(queue->deliverOne());
  EXPECT_FALSE(queue->deliverOne());
  EXPECT_EQ(order, Order({1, 3}));
}

TEST_F(Turns, BeginWithinAnAnswer) {
  queue->answer([this] {
    answer(2, 1);
    EXPECT_EQ(queue->turn(), 2U);
    while (queue->deliverOne()) {
    }
  });
  answer(1, 1);
  EXPECT_EQ(queue->turn(), 2U);
  EXPECT_TRUE(queue->deliverOne());
  EXPECT_FALSE(queue->deliverOne());
  EXPECT_EQ(order, Order({1, 2}));
}

TEST_F(Turns, AreDrainedOneAtATime) {
  answer(1, 1);
  answer(2, 2);
  EXPECT_EQ(queue->drain(), 1U);
  EXPECT_EQ(order, Order({1}));
  EXPECT_EQ(queue->drain(), 1U);
  EXPECT_EQ(order, Order({1, 2}));
}

// The order is written down here: it must be this on every platform.
TEST_F(Turns, GiveTheOrderThatTheSeedSays) {
  queue->seedIs(7);
  for (int i = 1; i <= 8; ++i) answer(i, 1, true);
  EXPECT_EQ(turn(), Order({8, 4, 1, 7, 3, 6, 5, 2}));
  for (int i = 1; i <= 8; ++i) answer(i, 1, true);
  EXPECT_EQ(turn(), Order({2, 1, 8, 6, 3, 5, 7, 4}));
}

TEST_F(Turns, GiveEveryOrderOfThree) {
  std::set<Order> seen;
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    queue->seedIs(seed);
    for (int i = 1; i <= 3; ++i) answer(i, 1, true);
    Order const got = turn();
    seen.insert(got);
    queue->seedIs(seed);
    for (int i = 1; i <= 3; ++i) answer(i, 1, true);
    EXPECT_EQ(turn(), got);
  }
  EXPECT_EQ(seen.size(), 6U);
}

TEST_F(Turns, StrewAnswersAmongOthersThatKeepTheirOrder) {
  std::set<std::ptrdiff_t> places;
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    queue->seedIs(seed);
    answer(1, 1);
    answer(100, 1, true);
    answer(2, 1);
    answer(3, 1);
    Order got = turn();
    auto const strewn = std::find(got.begin(), got.end(), 100);
    ASSERT_NE(strewn, got.end());
    places.insert(strewn - got.begin());
    got.erase(strewn);
    EXPECT_EQ(got, Order({1, 2, 3}));
  }
  EXPECT_EQ(places, std::set<std::ptrdiff_t>({0, 1, 2, 3}));
}

TEST_F(Turns, GoBackToTheOrderOfTheWrites) {
  for (int i = 1; i <= 20; ++i) answer(i, 1, true);
  EXPECT_EQ(queue->turn(), 20U);  // strewn by now
  for (int i = 21; i <= 40; ++i) answer(i, 1, true);
  for (int i = 41; i <= 60; ++i) answer(i, 2, true);
  queue->inOrderIs();
  Order expected(40);
  std::iota(expected.begin(), expected.end(), 1);
  EXPECT_EQ(turn(), expected);
  expected.resize(20);
  std::iota(expected.begin(), expected.end(), 41);
  EXPECT_EQ(turn(), expected);
}

}  // namespace
}  // namespace SoftAsic
