// Answers on their way: at once, or waiting for the loop.
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace SoftAsic
