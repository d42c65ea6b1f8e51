// Zombie reactors: marked for deletion, with their notifications off.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "PlatformObjects.h"

namespace {

using TestSupport::TestNotifier;
using Vek::Ptr;

// Writes down which switches reach the base.
class SwitchRecorder : public Vek::NotifieeConst {
 public:
  void onAttribute(Vek::AttributeId, void const*) override { ++heard; }
  void hasNotificationActiveIs(bool active) override {
    switches.push_back(active);
    // The flag is set after the switch.
    markedWhenSwitched.push_back(markedForDeletion());
    NotifieeConst::hasNotificationActiveIs(active);
  }
  int heard = 0;
  std::vector<bool> switches;
  std::vector<bool> markedWhenSwitched;
};

// marked before, argument, has a notifier, active before
using Case = std::tuple<bool, bool, bool, bool>;
class ZombieTest : public testing::TestWithParam<Case> {};

TEST_P(ZombieTest, SwitchesNotificationsOppositeToAChangedMarkWhenThereIsANotifier) {
  auto const [markedBefore, argument, hasNotifier, activeBefore] = GetParam();
  Ptr<TestNotifier> const notifier = new TestNotifier;
  Ptr<SwitchRecorder> const reactor = new SwitchRecorder;
  reactor->vekDoZombieReactors(markedBefore);  // without a notifier: only the mark
  ASSERT_EQ(reactor->markedForDeletion(), markedBefore);
  ASSERT_TRUE(reactor->switches.empty());
  if (hasNotifier) {
    reactor->notifierIs(notifier.get());
    reactor->isRegisteredNotifieeIs(true);
  }
  reactor->hasNotificationActiveIs(activeBefore);
  reactor->switches.clear();
  reactor->markedWhenSwitched.clear();

  reactor->vekDoZombieReactors(argument);

  bool const changes = markedBefore != argument;
  EXPECT_EQ(reactor->markedForDeletion(), argument);
  if (changes && hasNotifier) {
    EXPECT_EQ(reactor->switches, std::vector<bool>{!argument});
    EXPECT_EQ(reactor->markedWhenSwitched, std::vector<bool>{markedBefore});
    EXPECT_EQ(reactor->hasNotificationActive(), !argument);
  } else {
    EXPECT_TRUE(reactor->switches.empty());
    EXPECT_EQ(reactor->hasNotificationActive(), activeBefore);
  }
  EXPECT_EQ(reactor->isRegisteredNotifiee(), hasNotifier);
  notifier->notifieeList()->visit(1);
  EXPECT_EQ(reactor->heard, hasNotifier && reactor->hasNotificationActive() ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(AllCombinations, ZombieTest,
                         testing::Combine(testing::Bool(), testing::Bool(), testing::Bool(),
                                          testing::Bool()),
                         [](auto const& combination) {
                           return std::string(std::get<0>(combination.param) ? "Marked"
                                                                             : "Unmarked") +
                                  (std::get<1>(combination.param) ? "Mark" : "Unmark") +
                                  (std::get<2>(combination.param) ? "Watching" : "Watchless") +
                                  (std::get<3>(combination.param) ? "Active" : "Inactive");
                         });

TEST(ZombieReactorTest, StartsUnmarkedInactiveUnregisteredWithoutNotifier) {
  Ptr<SwitchRecorder> const reactor = new SwitchRecorder;
  EXPECT_FALSE(reactor->markedForDeletion());
  EXPECT_FALSE(reactor->hasNotificationActive());
  EXPECT_FALSE(reactor->isRegisteredNotifiee());
  EXPECT_EQ(reactor->notifier(), nullptr);
}

TEST(ZombieReactorTest, ADeadNotifierIsNoNotifier) {
  Ptr<TestNotifier> notifier = new TestNotifier;
  Ptr<SwitchRecorder> const reactor = new SwitchRecorder;
  reactor->notifierIs(notifier.get());
  reactor->isRegisteredNotifieeIs(true);
  reactor->hasNotificationActiveIs(true);
  reactor->switches.clear();
  notifier = nullptr;
  reactor->vekDoZombieReactors(true);
  EXPECT_TRUE(reactor->switches.empty());
  EXPECT_TRUE(reactor->hasNotificationActive());
  EXPECT_TRUE(reactor->markedForDeletion());
}

TEST(ZombieReactorTest, AZombieHearsNothingUntilItIsTakenBack) {
  Ptr<TestNotifier> const notifier = new TestNotifier;
  Ptr<SwitchRecorder> const reactor = new SwitchRecorder;
  reactor->notifierIs(notifier.get());
  reactor->isRegisteredNotifieeIs(true);
  reactor->hasNotificationActiveIs(true);
  reactor->vekDoZombieReactors(true);
  notifier->notifieeList()->visit(1);
  EXPECT_EQ(reactor->heard, 0);
  reactor->vekDoZombieReactors(false);
  notifier->notifieeList()->visit(1);
  EXPECT_EQ(reactor->heard, 1);
}

}  // namespace
