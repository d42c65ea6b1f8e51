// Counted references and the life of the objects they count.
#include <gtest/gtest.h>

#include <sstream>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "PlatformObjects.h"
#include "Vek/Ptr.h"

namespace {

using TestSupport::LiveObjects;
using TestSupport::TestNotifier;
using TestSupport::TestReactor;
using TestSupport::watcherOf;
using Vek::Ptr;
using Vek::PtrInterface;

// Counts the calls that end it; `keep` makes it refuse to be destroyed.
class EndCounter : public PtrInterface {
 public:
  explicit EndCounter(int& ends) : ends_(ends) {}
  void zeroReferencesIs(bool zero) override {
    ++ends_;
    lastArgument = zero;
    if (!keep) PtrInterface::zeroReferencesIs(zero);
  }
  bool keep = false;
  bool lastArgument = false;

 private:
  int& ends_;
};

TEST(PtrTest, AnEmptyReferenceCountsNothing) {
  Ptr<TestNotifier> const none;
  Ptr<TestNotifier> const null = nullptr;
  EXPECT_EQ(none.get(), nullptr);
  EXPECT_TRUE(none == nullptr);
  EXPECT_FALSE(none);
  EXPECT_TRUE(none == null);
}

TEST(PtrTest, CopiesCountAndMovesDoNot) {
  Ptr<TestNotifier> first = new TestNotifier;
  EXPECT_EQ(first->references(), 1U);
  Ptr<TestNotifier> second = first;
  EXPECT_EQ(first->references(), 2U);
  Ptr<TestNotifier> const third = std::move(second);
  EXPECT_EQ(first->references(), 2U);
  EXPECT_EQ(second, nullptr);  // NOLINT(bugprone-use-after-move): a moved-from reference is empty
  first = nullptr;
  EXPECT_EQ(third->references(), 1U);
}

TEST(PtrTest, APlainPointerBesideItDoesNotCount) {
  LiveObjects const live(TestNotifier::typeName());
  Ptr<TestNotifier> object = new TestNotifier;
  TestNotifier* const plain = object.get();
  EXPECT_EQ(plain->references(), 1U);
  EXPECT_EQ(live.more(), 1);
  object = nullptr;
  EXPECT_EQ(live.more(), 0);
}

TEST(PtrTest, TheLastReferenceEndsTheObjectOnce) {
  int ends = 0;
  Ptr<EndCounter> object = new EndCounter(ends);
  Ptr<EndCounter> other = object;
  object = nullptr;
  EXPECT_EQ(ends, 0);
  other = nullptr;
  EXPECT_EQ(ends, 1);
}

TEST(PtrTest, TheEndGoesThroughHandleZeroRefAndZeroReferencesIs) {
  int ends = 0;
  Ptr<EndCounter> object = new EndCounter(ends);
  object->keep = true;
  EndCounter* const plain = object.detach();
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(plain->references(), 1U);
  plain->deleteRef();
  EXPECT_EQ(ends, 1);
  EXPECT_TRUE(plain->lastArgument);
  plain->zeroReferencesIs(false);  // anything but true leaves the object alone
  plain->keep = false;
  plain->zeroReferencesIs(false);
  EXPECT_EQ(ends, 3);
  plain->zeroReferencesIs(true);
  EXPECT_EQ(ends, 4);
}

TEST(PtrTest, SelfAssignmentKeepsTheObject) {
  LiveObjects const live(TestNotifier::typeName());
  Ptr<TestNotifier> object = new TestNotifier;
  auto& alias = object;
  object = alias;
  object = std::move(alias);
  EXPECT_EQ(object->references(), 1U);
  EXPECT_EQ(live.more(), 1);
}

TEST(PtrTest, ReassignmentReleasesTheOldObjectLast) {
  Ptr<TestNotifier> reference = new TestNotifier;
  Ptr<TestNotifier> const next = new TestNotifier;
  bool sawNext = false;
  reference->onEnd = [&](TestNotifier&) { sawNext = reference == next; };
  reference = next;
  EXPECT_TRUE(sawNext);
}

TEST(PtrTest, ConvertsToBasesAndToConst) {
  LiveObjects const live(TestReactor::typeName());
  {
    Ptr<TestReactor> reactor = new TestReactor;
    Ptr<Vek::NotifieeConst> const base = reactor;
    Ptr<PtrInterface const> root = base;
    EXPECT_EQ(reactor->references(), 3U);
    EXPECT_TRUE(root == reactor);
    EXPECT_TRUE(base == root);
    root = std::move(reactor);
    EXPECT_EQ(reactor, nullptr);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(root->references(), 2U);
  }
  EXPECT_EQ(live.more(), 0);
  static_assert(std::is_convertible_v<Ptr<TestReactor>, Ptr<TestReactor const>>);
  static_assert(!std::is_convertible_v<Ptr<TestReactor const>, Ptr<TestReactor>>);
  static_assert(!std::is_convertible_v<Ptr<PtrInterface>, Ptr<TestReactor>>);
  static_assert(!std::is_convertible_v<Ptr<TestNotifier>, Ptr<TestReactor>>);
}

TEST(PtrTest, ComparesOrdersHashesAndPrintsByAddress) {
  Ptr<TestNotifier> const a = new TestNotifier;
  Ptr<TestNotifier> const b = new TestNotifier;
  EXPECT_TRUE(a == a.get());
  EXPECT_FALSE(a == b);
  EXPECT_EQ(a < b, std::less<>{}(static_cast<void const*>(a.get()), b.get()));
  std::unordered_set<Ptr<TestNotifier>> set{a, b, a};
  EXPECT_EQ(set.size(), 2U);
  std::ostringstream text;
  std::ostringstream address;
  text << a;
  address << static_cast<void const*>(a.get());
  EXPECT_EQ(text.str(), address.str());
}

TEST(PtrTest, AnObjectUnderDestructionMayBeReferredToAndIsDestroyedOnce) {
  LiveObjects const live(TestNotifier::typeName());
  int ends = 0;
  Ptr<TestNotifier> object = new TestNotifier;
  object->onEnd = [&](TestNotifier& dying) {
    ++ends;
    for (int i = 0; i < 3; ++i) {
      Ptr<TestNotifier> const first(&dying);
      Ptr<PtrInterface const> second = first;
      second = nullptr;
    }
  };
  object = nullptr;
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(live.more(), 0);
}

TEST(PtrTest, AnObjectUnderDestructionMayAnnounceAndIsDestroyedOnce) {
  LiveObjects const live(TestNotifier::typeName());
  int ends = 0;
  int seen = 0;
  Ptr<TestNotifier> object = new TestNotifier;
  auto const reactor = watcherOf(*object, [&](Vek::AttributeId, void const*) { ++seen; });
  reactor->reaction = [&](Vek::AttributeId, void const*) {
    ++seen;
    Ptr<PtrInterface const> const temporary = reactor->notifier();
    EXPECT_NE(temporary, nullptr);
  };
  object->onEnd = [&](TestNotifier& dying) {
    ++ends;
    dying.notifieeList()->visit(1);
    dying.notifieeList()->visit(2);
  };
  object = nullptr;
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(seen, 2);
  EXPECT_EQ(live.more(), 0);
  EXPECT_EQ(reactor->notifier(), nullptr);
}

// Turns the process-wide switch on for a scope.
class ThreadSafeScope {
 public:
  ThreadSafeScope() { Vek::threadSafePointersIs(true); }
  ~ThreadSafeScope() { Vek::threadSafePointersIs(false); }
  ThreadSafeScope(ThreadSafeScope const&) = delete;
  ThreadSafeScope& operator=(ThreadSafeScope const&) = delete;
};

TEST(PtrTest, TheThreadSafeSwitchStartsOff) {
  EXPECT_FALSE(Vek::threadSafePointers());
  {
    ThreadSafeScope const on;
    EXPECT_TRUE(Vek::threadSafePointers());
  }
  EXPECT_FALSE(Vek::threadSafePointers());
}

TEST(PtrTest, CountsExactlyFromSeveralThreadsWhileTheSwitchIsOn) {
  ThreadSafeScope const on;
  LiveObjects const live(TestNotifier::typeName());
  int ends = 0;
  Ptr<TestNotifier> object = new TestNotifier;
  object->onEnd = [&](TestNotifier&) { ++ends; };
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([copy = object] {
        for (int i = 0; i < 200'000; ++i) {
          Ptr<TestNotifier> const more = copy;
          Ptr<PtrInterface const> const evenMore = more;
        }
      });
    }
  }
  EXPECT_EQ(object->references(), 1U);
  EXPECT_EQ(ends, 0);
  object = nullptr;
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(live.more(), 0);
}

TEST(PtrTest, TheLastOfSeveralThreadsEndsTheObjectOnce) {
  ThreadSafeScope const on;
  LiveObjects const live(TestNotifier::typeName());
  std::atomic<int> ends = 0;
  constexpr int rounds = 500;
  for (int round = 0; round < rounds; ++round) {
    Ptr<TestNotifier> object = new TestNotifier;
    object->onEnd = [&](TestNotifier&) { ++ends; };
    std::jthread const other([copy = object]() mutable { copy = nullptr; });
    object = nullptr;
  }
  EXPECT_EQ(ends, rounds);
  EXPECT_EQ(live.more(), 0);
}

}  // namespace
