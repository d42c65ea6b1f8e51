// Announcements: who hears them, in which order, and what may happen inside.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "PlatformObjects.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::LiveObjects;
using TestSupport::TestNotifier;
using TestSupport::TestReactor;
using TestSupport::watcherOf;
using Vek::AttributeId;
using Vek::Ptr;

// A notifier with reactors called a, b, c, ... that write their name into `heard` and then run the
// step that the test has set for them.
class NotificationTest : public testing::Test {
 protected:
  void reactorsAre(int count) {
    for (int i = 0; i < count; ++i) append();
  }
  void append() {
    std::size_t const i = reactors.size();
    char const name = static_cast<char>('a' + i);
    reactors.emplace_back();
    steps.emplace_back();
    reactors[i] = watcherOf(*notifier, [this, i, name](AttributeId, void const*) {
      heard += name;
      auto const step = steps[i];  // a copy, as a step may replace itself
      if (step) step();
    });
  }
  std::string visit() {
    heard.clear();
    notifier->notifieeList()->visit(1);
    return heard;
  }

  LiveObjects liveNotifiers{TestNotifier::typeName()};
  Ptr<TestNotifier> notifier = new TestNotifier;
  std::vector<Ptr<TestReactor>> reactors;
  std::vector<std::function<void()>> steps;
  std::string heard;
};

TEST_F(NotificationTest, ReactorsRunInTheOrderOfTheirRegistration) {
  reactorsAre(4);
  EXPECT_EQ(visit(), "abcd");
  reactors[1]->isRegisteredNotifieeIs(false);
  EXPECT_EQ(visit(), "acd");
  reactors[1]->isRegisteredNotifieeIs(true);  // behind all others
  EXPECT_EQ(visit(), "acdb");
  reactors[0]->isRegisteredNotifieeIs(false);
  reactors[0]->isRegisteredNotifieeIs(true);
  EXPECT_EQ(visit(), "cdba");
}

TEST_F(NotificationTest, AnAnnouncementBringsItsAttributeAndTheAddressOfItsKey) {
  std::vector<std::pair<AttributeId, void const*>> received;
  auto const reactor = watcherOf(
      *notifier, [&](AttributeId id, void const* key) { received.emplace_back(id, key); });
  int const key = 5;
  notifier->notifieeList()->visit(7);
  notifier->notifieeList()->visit(0xFFFFFFFFU, &key);
  EXPECT_THAT(received, ElementsAre(std::pair(AttributeId(7), static_cast<void const*>(nullptr)),
                                    std::pair(AttributeId(0xFFFFFFFFU), &key)));
}

TEST_F(NotificationTest, OnlyActiveRegisteredReactorsHear) {
  EXPECT_TRUE(notifier->notifieeList()->empty());
  int heardHere = 0;
  Ptr<TestReactor> const reactor = new TestReactor;
  reactor->reaction = [&](AttributeId, void const*) { ++heardHere; };
  reactor->isRegisteredNotifieeIs(true);  // nothing to register with
  EXPECT_FALSE(reactor->isRegisteredNotifiee());
  reactor->hasNotificationActiveIs(true);
  reactor->notifierIs(notifier.get());
  EXPECT_EQ(reactor->notifier(), notifier);
  visit();
  EXPECT_EQ(heardHere, 0);
  reactor->isRegisteredNotifieeIs(true);
  EXPECT_FALSE(notifier->notifieeList()->empty());
  visit();
  EXPECT_EQ(heardHere, 1);
  reactor->hasNotificationActiveIs(false);
  visit();
  EXPECT_EQ(heardHere, 1);
  reactor->hasNotificationActiveIs(true);
  reactor->isRegisteredNotifieeIs(false);
  visit();
  EXPECT_EQ(heardHere, 1);
  // Still known to the notifier, which has to clear the link when it dies.
  EXPECT_FALSE(notifier->notifieeList()->empty());
  reactor->notifierIs(nullptr);
  EXPECT_TRUE(notifier->notifieeList()->empty());
}

TEST_F(NotificationTest, RegisteringTwiceIsRegisteringOnce) {
  reactorsAre(2);
  reactors[0]->isRegisteredNotifieeIs(true);
  EXPECT_EQ(visit(), "ab");
  reactors[0]->isRegisteredNotifieeIs(false);
  reactors[0]->isRegisteredNotifieeIs(false);
  EXPECT_EQ(visit(), "b");
}

TEST_F(NotificationTest, TheLinkToTheNotifierDoesNotCount) {
  reactorsAre(1);
  EXPECT_EQ(notifier->references(), 1U);
  EXPECT_EQ(reactors[0]->references(), 1U);
  {
    auto const counted = reactors[0]->notifier();
    EXPECT_EQ(notifier->references(), 2U);
  }
  EXPECT_EQ(notifier->references(), 1U);
}

TEST_F(NotificationTest, ADestroyedReactorLeavesTheList) {
  reactorsAre(3);
  reactors[1] = nullptr;
  EXPECT_EQ(visit(), "ac");
  reactors[2] = nullptr;
  EXPECT_EQ(visit(), "a");
  reactors[0] = nullptr;
  EXPECT_EQ(visit(), "");
  EXPECT_TRUE(notifier->notifieeList()->empty());
}

TEST_F(NotificationTest, ARetargetedReactorLeavesItsOldNotifierAndMustRegisterAgain) {
  reactorsAre(2);
  Ptr<TestNotifier> const other = new TestNotifier;
  reactors[0]->notifierIs(other.get());
  EXPECT_FALSE(reactors[0]->isRegisteredNotifiee());
  EXPECT_EQ(visit(), "b");
  heard.clear();
  other->notifieeList()->visit(1);
  EXPECT_EQ(heard, "");
  reactors[0]->isRegisteredNotifieeIs(true);
  other->notifieeList()->visit(1);
  EXPECT_EQ(heard, "a");
}

TEST_F(NotificationTest, AReactorRemovedDuringTheVisitIsSkipped) {
  reactorsAre(4);
  steps[1] = [&] {
    reactors[2]->isRegisteredNotifieeIs(false);
    reactors[0]->isRegisteredNotifieeIs(false);
  };
  EXPECT_EQ(visit(), "abd");
  EXPECT_EQ(visit(), "bd");
}

TEST_F(NotificationTest, TheLastReactorRemovedDuringTheVisitEndsIt) {
  reactorsAre(3);
  steps[0] = [&] {
    reactors[2]->isRegisteredNotifieeIs(false);
    append();
  };
  EXPECT_EQ(visit(), "ab");
  steps[0] = nullptr;
  EXPECT_EQ(visit(), "abd");
}

TEST_F(NotificationTest, AllLaterReactorsRemovedDuringTheVisitEndIt) {
  reactorsAre(3);
  steps[0] = [&] {
    reactors[1]->isRegisteredNotifieeIs(false);
    reactors[2]->isRegisteredNotifieeIs(false);
    append();
  };
  EXPECT_EQ(visit(), "a");
}

TEST_F(NotificationTest, AReactorMayRemoveItselfDuringTheVisit) {
  reactorsAre(3);
  for (std::size_t i = 0; i < 3; ++i) {
    steps[i] = [&, i] { reactors[i]->isRegisteredNotifieeIs(false); };
  }
  EXPECT_EQ(visit(), "abc");
  EXPECT_EQ(visit(), "");
}

TEST_F(NotificationTest, AReactorSwitchedOffDuringTheVisitIsSkipped) {
  reactorsAre(3);
  steps[0] = [&] { reactors[1]->hasNotificationActiveIs(false); };
  EXPECT_EQ(visit(), "ac");
}

TEST_F(NotificationTest, AReactorDestroyedDuringTheVisitIsSkipped) {
  LiveObjects const live(TestReactor::typeName());
  reactorsAre(4);
  steps[1] = [&] {
    reactors[2] = nullptr;
    reactors[0] = nullptr;
    EXPECT_EQ(live.more(), 2);
  };
  EXPECT_EQ(visit(), "abd");
}

TEST_F(NotificationTest, AReactorMayDestroyItselfAndAllOthersDuringTheVisit) {
  reactorsAre(3);
  Ptr<TestReactor> keep;
  steps[1] = [&] {
    keep = reactors[1];  // the running function is a member of the reactor
    for (auto& reactor : reactors) reactor = nullptr;
  };
  EXPECT_EQ(visit(), "ab");
  keep = nullptr;
  EXPECT_TRUE(notifier->notifieeList()->empty());
}

TEST_F(NotificationTest, AReactorRegisteredAgainDuringTheVisitIsANewcomer) {
  reactorsAre(3);
  steps[0] = [&] {
    steps[0] = nullptr;
    for (std::size_t i : {0U, 1U}) {
      reactors[i]->isRegisteredNotifieeIs(false);
      reactors[i]->isRegisteredNotifieeIs(true);
    }
  };
  EXPECT_EQ(visit(), "ac");
  EXPECT_EQ(visit(), "cab");
}

TEST_F(NotificationTest, TheLastReactorRegisteredAgainDuringTheVisitIsANewcomer) {
  reactorsAre(2);
  steps[0] = [&] {
    reactors[1]->isRegisteredNotifieeIs(false);
    reactors[1]->isRegisteredNotifieeIs(true);
  };
  EXPECT_EQ(visit(), "a");
  steps[0] = nullptr;
  steps[1] = [&] {
    reactors[1]->isRegisteredNotifieeIs(false);
    reactors[1]->isRegisteredNotifieeIs(true);
  };
  EXPECT_EQ(visit(), "ab");
}

TEST_F(NotificationTest, NewcomersAreNotVisited) {
  reactorsAre(2);
  reactors.reserve(10);
  steps[1] = [&] {
    if (reactors.size() < 10) append();
  };
  EXPECT_EQ(visit(), "ab");
  EXPECT_EQ(visit(), "abc");
  EXPECT_EQ(visit(), "abcd");
}

TEST_F(NotificationTest, TheNotifierLivesUntilTheVisitInWhichItLostItsLastReferenceIsOver) {
  reactorsAre(3);
  steps[0] = [&] {
    notifier = nullptr;
    EXPECT_EQ(liveNotifiers.more(), 1);
  };
  steps[2] = [&] {
    EXPECT_EQ(liveNotifiers.more(), 1);
    EXPECT_NE(reactors[2]->notifier(), nullptr);
  };
  notifier->notifieeList()->visit(1);
  EXPECT_EQ(heard, "abc");
  EXPECT_EQ(liveNotifiers.more(), 0);
  for (auto const& reactor : reactors) EXPECT_EQ(reactor->notifier(), nullptr);
}

TEST_F(NotificationTest, VisitsOfTheSameListNest) {
  reactorsAre(3);
  bool nested = false;
  steps[1] = [&] {
    if (nested) return;
    nested = true;
    heard += '(';
    notifier->notifieeList()->visit(2);
    heard += ')';
  };
  EXPECT_EQ(visit(), "ab(abc)c");
}

TEST_F(NotificationTest, AChangeInsideANestedVisitIsSeenByTheOuterOne) {
  reactorsAre(4);
  reactors.reserve(8);
  int depth = 0;
  steps[0] = [&] {
    if (++depth > 1) return;
    append();  // e: a newcomer of the outer visit, a member of the nested one
    heard += '(';
    notifier->notifieeList()->visit(2);
    heard += ')';
  };
  steps[1] = [&] {
    reactors[2] = nullptr;
    reactors[3]->isRegisteredNotifieeIs(false);
  };
  EXPECT_EQ(visit(), "a(abe)b");
}

TEST_F(NotificationTest, TheNotifiersDeathClearsTheLinkAndTellsTheReactors) {
  reactorsAre(3);
  std::string farewells;
  for (std::size_t i = 0; i < 3; ++i) {
    reactors[i]->farewell = [&, i](TestReactor& reactor) {
      farewells += static_cast<char>('a' + i);
      EXPECT_EQ(reactor.notifier(), nullptr);
      EXPECT_FALSE(reactor.isRegisteredNotifiee());
    };
  }
  reactors[1]->hasNotificationActiveIs(false);  // switched off, and told all the same
  notifier = nullptr;
  EXPECT_EQ(farewells, "abc");
  for (auto const& reactor : reactors) EXPECT_EQ(reactor->notifier(), nullptr);
}

TEST_F(NotificationTest, AFarewellMayDestroyOtherReactorsAndFindANewNotifier) {
  reactorsAre(3);
  Ptr<TestNotifier> const next = new TestNotifier;
  reactors[0]->farewell = [&](TestReactor& reactor) {
    reactors[1] = nullptr;
    reactor.notifierIs(next.get());
    reactor.isRegisteredNotifieeIs(true);
  };
  reactors[2]->farewell = [&](TestReactor&) { reactors[2] = nullptr; };
  auto const keep = reactors[2];
  notifier = nullptr;
  EXPECT_EQ(reactors[2], nullptr);
  next->notifieeList()->visit(1);
  EXPECT_EQ(heard, "a");
  reactors[0]->farewell = nullptr;  // it would go back to `next`, which dies now
}

TEST_F(NotificationTest, TheNotifiersDeathClearsTheLinkOfAReactorThatIsNotRegistered) {
  Ptr<TestReactor> const reactor = new TestReactor;
  reactor->notifierIs(notifier.get());
  notifier = nullptr;
  EXPECT_EQ(reactor->notifier(), nullptr);
}

TEST_F(NotificationTest, TheRemainingReactorsAreServedWhenOneThrowsAndTheFirstExceptionLeaves) {
  reactorsAre(4);
  steps[1] = [] { throw std::runtime_error("first"); };
  steps[2] = [] { throw std::logic_error("second"); };
  try {
    visit();
    FAIL() << "the exception was swallowed";
  } catch (std::runtime_error const& exception) {
    EXPECT_STREQ(exception.what(), "first");
  }
  EXPECT_EQ(heard, "abcd");
  steps[1] = steps[2] = nullptr;
  EXPECT_EQ(visit(), "abcd");
}

TEST_F(NotificationTest, AnExceptionReleasesTheNotifierThatTheVisitKeptAlive) {
  reactorsAre(1);
  steps[0] = [&] {
    notifier = nullptr;
    throw std::runtime_error("gone");
  };
  EXPECT_THROW(notifier->notifieeList()->visit(1), std::runtime_error);
  EXPECT_EQ(liveNotifiers.more(), 0);
}

// Nanoseconds for one registration plus one removal, with that many reactors on one object that
// leave in random order: the best of several runs.
double nanosecondsPerReactor(std::size_t count) {
  using Clock = std::chrono::steady_clock;
  Ptr<TestNotifier> const notifier = new TestNotifier;
  std::vector<Ptr<TestReactor>> reactors(count);
  for (auto& reactor : reactors) reactor = new TestReactor;
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same order in every run
  double best = 1e18;
  for (int run = 0; run < 5; ++run) {
    auto const start = Clock::now();
    for (auto const& reactor : reactors) {
      reactor->notifierIs(notifier.get());
      reactor->isRegisteredNotifieeIs(true);
    }
    std::chrono::duration<double, std::nano> spent = Clock::now() - start;
    std::shuffle(reactors.begin(), reactors.end(), random);
    auto const removal = Clock::now();
    for (auto const& reactor : reactors) reactor->notifierIs(nullptr);
    spent += Clock::now() - removal;
    best = std::min(best, spent.count() / static_cast<double>(count));
  }
  EXPECT_TRUE(notifier->notifieeList()->empty());
  return best;
}

TEST(NotificationCostTest, RegistrationAndRemovalCostTheSameWithAHundredThousandReactors) {
  double const few = nanosecondsPerReactor(1'000);
  double const many = nanosecondsPerReactor(100'000);
  // A list that is searched costs 100 times as much; cache misses alone stay far below 30 times.
  EXPECT_LT(many, few * 30) << few << " ns each of 1,000, " << many << " ns each of 100,000";
}

TEST(NotificationCostTest, AHundredThousandReactorsAreVisitedOnceEachAndDieWithTheirOwner) {
  LiveObjects const live(TestReactor::typeName());
  constexpr std::size_t count = 100'000;
  Ptr<TestNotifier> const notifier = new TestNotifier;
  std::size_t next = 0;
  std::size_t outOfOrder = 0;
  std::vector<Ptr<TestReactor>> reactors;
  for (std::size_t i = 0; i < count; ++i) {
    reactors.push_back(watcherOf(*notifier, [&, i](AttributeId, void const*) {
      outOfOrder += i != next;
      ++next;
    }));
  }
  notifier->notifieeList()->visit(1);
  EXPECT_EQ(next, count);
  EXPECT_EQ(outOfOrder, 0U);
  reactors.clear();
  EXPECT_TRUE(notifier->notifieeList()->empty());
  EXPECT_EQ(live.more(), 0);
}

}  // namespace
