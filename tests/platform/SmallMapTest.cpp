// The small ordered map: order, the way to the heap and back, and when values are released.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "DeathText.h"
#include "PlatformObjects.h"
#include "Vek/SmallMap.h"

namespace {

using PlatformTests::assertionText;
using testing::ElementsAre;
using testing::Pair;
using TestSupport::LiveObjects;
using TestSupport::TestNotifier;
using Vek::Ptr;

using Map = Vek::SmallMap<int, std::string, 2>;

template <class AnyMap>
auto contentOf(AnyMap const& map) {
  std::vector<std::pair<int, std::string>> content;
  for (auto const& member : map) content.emplace_back(member.key, member.value);
  return content;
}

Map mapOf(std::initializer_list<int> keys) {
  Map map;
  for (int const key : keys) map.set(key, std::to_string(key));
  return map;
}

TEST(SmallMapTest, StartsEmpty) {
  Map map;
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(map.size(), 0U);
  EXPECT_EQ(map.find(0), nullptr);  // the key that an unused place holds
  EXPECT_EQ(map.take(0), "");
  EXPECT_TRUE(map.begin() == map.end());
}

TEST(SmallMapTest, IteratesByAscendingKeyForEveryOrderOfInsertion) {
  for (int count = 1; count <= 6; ++count) {
    std::vector<int> keys(static_cast<std::size_t>(count));
    std::iota(keys.begin(), keys.end(), -2);
    std::vector<std::pair<int, std::string>> expected;
    for (int const key : keys) expected.emplace_back(key, std::to_string(key));
    do {
      Map map;
      for (int const key : keys) map.set(key, std::to_string(key));
      ASSERT_EQ(contentOf(map), expected);
    } while (std::next_permutation(keys.begin(), keys.end()));
  }
}

TEST(SmallMapTest, AgreesWithAnOrderedMapAfterEveryRandomOperation) {
  std::mt19937 random(5);  // NOLINT(cert-msc51-cpp): reproducible
  for (int round = 0; round < 300; ++round) {
    Map map;
    std::map<int, std::string> model;
    for (int step = 0; step < 60; ++step) {
      int const key = static_cast<int>(random() % 7);
      bool const had = model.contains(key);
      auto const version = map.version();
      switch (random() % 8) {
        case 0:
          map.clear();
          model.clear();
          break;
        case 1:
        case 2:
        case 3:
          ASSERT_EQ(map.take(key), had ? model[key] : "");
          model.erase(key);
          ASSERT_EQ(map.version() != version, had);
          break;
        default:
          map.set(key, std::to_string(step));
          model[key] = std::to_string(step);
          ASSERT_EQ(map.version() != version, !had);
      }
      ASSERT_EQ(map.size(), model.size());
      for (int probe = 0; probe < 7; ++probe) {
        auto const expected = model.find(probe);
        auto const* const found = map.find(probe);
        ASSERT_EQ(found != nullptr, expected != model.end());
        if (found != nullptr) {
          ASSERT_EQ(*found, expected->second);
        }
      }
      auto const content = contentOf(map);
      ASSERT_TRUE(std::equal(
          content.begin(), content.end(), model.begin(), model.end(),
          [](auto const& a, auto const& b) { return a.first == b.first && a.second == b.second; }));
      Map const copy = map;
      ASSERT_EQ(contentOf(copy), content);
    }
  }
}

TEST(SmallMapTest, SpillsToTheHeapAndServesAfterItIsEmptyAgain) {
  Map map = mapOf({5, 3, 1});
  EXPECT_THAT(contentOf(map), ElementsAre(Pair(1, "1"), Pair(3, "3"), Pair(5, "5")));
  EXPECT_EQ(map.take(3), "3");
  EXPECT_EQ(map.take(1), "1");
  EXPECT_EQ(map.take(5), "5");
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(map.find(5), nullptr);
  Map const emptyCopy = map;
  EXPECT_TRUE(emptyCopy.empty());
  map.set(2, "two");
  EXPECT_THAT(contentOf(map), ElementsAre(Pair(2, "two")));
  map.clear();
  map.set(4, "four");
  EXPECT_THAT(contentOf(map), ElementsAre(Pair(4, "four")));
}

TEST(SmallMapTest, CopiesMovesAndSwapsBothFormsOfStorage) {
  for (std::size_t from = 0; from <= 4; ++from) {
    for (std::size_t to = 0; to <= 4; ++to) {
      Map source;
      Map target;
      for (std::size_t i = 0; i < from; ++i) source.set(static_cast<int>(i), "s");
      for (std::size_t i = 0; i < to; ++i) target.set(static_cast<int>(10 + i), "t");
      auto const sourceContent = contentOf(source);
      auto const targetContent = contentOf(target);

      Map swapped = source;
      Map other = target;
      swapped.swap(other);
      EXPECT_EQ(contentOf(swapped), targetContent);
      EXPECT_EQ(contentOf(other), sourceContent);

      Map moved = target;
      Map giver = source;
      moved = std::move(giver);
      EXPECT_EQ(contentOf(moved), sourceContent);
      Map const made(std::move(moved));
      EXPECT_EQ(contentOf(made), sourceContent);
    }
  }
}

TEST(SmallMapTest, CopyAssignmentReplacesTheContentInBothFormsOfStorage) {
  for (std::size_t from = 0; from <= 4; ++from) {
    for (std::size_t to = 0; to <= 4; ++to) {
      Map source;
      Map target;
      for (std::size_t i = 0; i < from; ++i) source.set(static_cast<int>(i), "s");
      for (std::size_t i = 0; i < to; ++i) target.set(static_cast<int>(10 + i), "t");
      target = source;
      ASSERT_EQ(contentOf(target), contentOf(source)) << from << " members over " << to;
      target.set(100, "more");
      ASSERT_EQ(target.size(), from + 1);
      ASSERT_EQ(contentOf(target).back(), std::pair(100, std::string("more")));
    }
  }
}

TEST(SmallMapTest, ReplacingAValueIsNoChangeOfTheKeySet) {
  Map map = mapOf({1, 2});
  auto const version = map.version();
  auto const at = map.begin();
  map.set(1, "new");
  EXPECT_EQ(map.version(), version);
  EXPECT_EQ(at->value, "new");
}

// Maps of counted references, whose release runs a step of the test.
template <std::size_t Inline>
void replacedValueIsReleasedLast() {
  Vek::SmallMap<int, Ptr<TestNotifier>, Inline> map;
  Ptr<TestNotifier> const next = new TestNotifier;
  for (int key = 0; key < 3; ++key) map.set(key, new TestNotifier);
  bool ended = false;
  (*map.find(1))->onEnd = [&](TestNotifier&) {
    ended = true;
    EXPECT_EQ(map.size(), 3U);
    EXPECT_EQ(*map.find(1), next);
    map.set(9, next);  // what the end sets off may change the map
  };
  map.set(1, next);
  EXPECT_TRUE(ended);
  EXPECT_EQ(map.size(), 4U);
  EXPECT_EQ(*map.find(1), next);
}

TEST(SmallMapTest, AReplacedValueIsReleasedWhenTheMapShowsTheNewOne) {
  replacedValueIsReleasedLast<2>();
  replacedValueIsReleasedLast<8>();
}

template <std::size_t Inline>
void takenValueOutlivesItsMember() {
  LiveObjects const live(TestNotifier::typeName());
  Vek::SmallMap<int, Ptr<TestNotifier>, Inline> map;
  for (int key = 0; key < 3; ++key) map.set(key, new TestNotifier);
  bool ended = false;
  (*map.find(0))->onEnd = [&](TestNotifier&) {
    ended = true;
    EXPECT_EQ(map.size(), 2U);
    EXPECT_EQ(map.find(0), nullptr);
  };
  Ptr<TestNotifier> taken = map.take(0);
  EXPECT_FALSE(ended);
  EXPECT_EQ(taken->references(), 1U);
  EXPECT_EQ(live.more(), 3);
  taken = nullptr;
  EXPECT_TRUE(ended);
  map.take(map.begin()->key);  // the key may live in the member that goes
  EXPECT_EQ(map.size(), 1U);
  EXPECT_EQ(map.begin()->key, 2);
  EXPECT_EQ(live.more(), 1);
}

TEST(SmallMapTest, ATakenValueIsReleasedAfterTheMapLetItGo) {
  takenValueOutlivesItsMember<2>();
  takenValueOutlivesItsMember<8>();
}

TEST(SmallMapTest, ClearedValuesAreReleasedWhenTheMapIsEmpty) {
  for (int count = 1; count <= 4; ++count) {
    LiveObjects const live(TestNotifier::typeName());
    Vek::SmallMap<int, Ptr<TestNotifier>, 2> map;
    int ended = 0;
    for (int key = 0; key < count; ++key) {
      Ptr<TestNotifier> const value = new TestNotifier;
      value->onEnd = [&](TestNotifier&) {
        ++ended;
        EXPECT_TRUE(map.empty());
      };
      map.set(key, value);
    }
    map.clear();
    EXPECT_EQ(ended, count);
    EXPECT_EQ(live.more(), 0);
  }
}

std::string walkAssertion() {
  return assertionText("version_ == hashMap_->version()", "the collection changed during the walk",
                       "SmallMap", "IteratorConst");
}

TEST(SmallMapDeathTest, AnIteratorRefusesToGoOnAfterAChangeOfTheKeySet) {
  Map map = mapOf({1, 2});
  auto at = map.begin();
  EXPECT_EXIT(
      {
        map.set(3, "");
        ++at;
      },
      testing::KilledBySignal(SIGABRT), walkAssertion());
  EXPECT_EXIT(
      {
        map.take(2);
        (void)at->key;
      },
      testing::KilledBySignal(SIGABRT), walkAssertion());
  EXPECT_EXIT(
      {
        map.clear();
        (void)(*at).key;
      },
      testing::KilledBySignal(SIGABRT), walkAssertion());
}

TEST(SmallMapDeathTest, AnIteratorRefusesToGoOnAfterAnAssignment) {
  Map map = mapOf({1, 2});
  Map const other = mapOf({3, 4});  // as many changes behind it as the first
  auto at = map.begin();
  EXPECT_EXIT(
      {
        map = other;
        (void)at->key;
      },
      testing::KilledBySignal(SIGABRT), walkAssertion());
}

}  // namespace
