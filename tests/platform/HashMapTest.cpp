// The keyed hash collection against a model, and what may happen while it is walked.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "DeathText.h"
#include "PlatformObjects.h"
#include "Vek/HashMap.h"

namespace {

using PlatformTests::assertionText;
using testing::ElementsAre;

struct MixHash {
  std::uint32_t operator()(std::uint32_t key, unsigned seed) const {
    return Vek::hashFold(Vek::hashMix(key, seed));
  }
};
// Puts all keys into four places, the last of the array among them: long runs that wrap around.
struct CrowdedHash {
  std::uint32_t operator()(std::uint32_t key, unsigned) const { return 0xFFFFFFFDU + key % 4; }
};
struct SameHash {
  std::uint32_t operator()(std::uint32_t, unsigned) const { return 0xFFFFFFFFU; }
};

template <class Hash>
using Map = Vek::HashMap<std::uint32_t, std::string, Hash, 17>;

template <class AnyMap>
std::vector<std::uint32_t> keysOf(AnyMap& map) {
  std::vector<std::uint32_t> keys;
  map.walk([&](auto& node) { keys.push_back(node.key); });
  return keys;
}

template <class Hash>
class HashMapModelTest : public testing::Test {};
using Hashes = testing::Types<MixHash, CrowdedHash, SameHash>;
TYPED_TEST_SUITE(HashMapModelTest, Hashes);

TYPED_TEST(HashMapModelTest, AgreesWithAnOrderedMapAfterEveryRandomOperation) {
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): reproducible
  for (std::uint32_t const range : {6U, 40U, 200U}) {
    Map<TypeParam> map;
    std::map<std::uint32_t, std::string> model;
    std::vector<std::uint32_t> order;
    for (int step = 0; step < 2000; ++step) {
      auto const key = static_cast<std::uint32_t>(random() % range);
      bool const had = model.contains(key);
      auto const version = map.version();
      if (random() % 2 == 0) {
        auto& node = map.findOrInsert(key, std::to_string(step));
        if (!had) {
          model[key] = std::to_string(step);
          order.push_back(key);
        }
        ASSERT_EQ(node.key, key);
        ASSERT_EQ(node.value, model[key]);
        ASSERT_EQ(map.version() != version, !had);
      } else {
        ASSERT_EQ(map.erase(key), had);
        model.erase(key);
        std::erase(order, key);
        ASSERT_EQ(map.version() != version, had);
      }
      ASSERT_EQ(map.size(), model.size());
      ASSERT_EQ(map.empty(), model.empty());
      for (std::uint32_t probe = 0; probe < range; ++probe) {
        auto const* const node = map.find(probe);
        auto const expected = model.find(probe);
        ASSERT_EQ(node != nullptr, expected != model.end()) << probe;
        if (node != nullptr) {
          ASSERT_EQ(node->value, expected->second);
        }
      }
      ASSERT_EQ(keysOf(map), order);
    }
  }
}

TYPED_TEST(HashMapModelTest, KeepsTheRestForEveryErasePattern) {
  constexpr std::uint32_t count = 11;  // just below the growth of the first array
  for (std::uint32_t pattern = 0; pattern < (1U << count); ++pattern) {
    Map<TypeParam> map;
    for (std::uint32_t key = 0; key < count; ++key) map.findOrInsert(key, "v");
    for (std::uint32_t key = 0; key < count; ++key) {
      if ((pattern >> key) & 1U) map.erase(key);
    }
    for (std::uint32_t key = 0; key < count; ++key) {
      ASSERT_EQ(map.find(key) == nullptr, (pattern >> key & 1U) != 0) << pattern << ' ' << key;
    }
  }
}

TEST(HashMapTest, StartsEmpty) {
  Map<MixHash> map;
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(map.find(1), nullptr);
  EXPECT_FALSE(map.erase(1));
  EXPECT_TRUE(map.begin() == map.end());
  map.clear();
  EXPECT_EQ(map.version(), 0U);
}

TEST(HashMapTest, GrowsToAHundredThousandWithoutMovingANode) {
  Map<MixHash> map;
  std::vector<Map<MixHash>::Node*> nodes;
  constexpr std::uint32_t count = 100'000;
  for (std::uint32_t key = 0; key < count; ++key) {
    nodes.push_back(&map.findOrInsert(key * 977, std::to_string(key)));
  }
  EXPECT_EQ(map.size(), count);
  for (std::uint32_t key = 0; key < count; ++key) {
    ASSERT_EQ(map.find(key * 977), nodes[key]);
    ASSERT_EQ(nodes[key]->value, std::to_string(key));
  }
}

TEST(HashMapTest, WalksInTheOrderOfInsertionWhateverTheHash) {
  Map<MixHash> mixed;
  Map<CrowdedHash> crowded;
  for (std::uint32_t const key : {9U, 2U, 7U, 1U, 8U}) {
    mixed.findOrInsert(key, "");
    crowded.findOrInsert(key, "");
  }
  mixed.erase(7U);
  crowded.erase(7U);
  mixed.findOrInsert(9, "ignored");  // there already: keeps its place
  crowded.findOrInsert(9, "ignored");
  mixed.findOrInsert(7, "");  // new again: at the end
  crowded.findOrInsert(7, "");
  EXPECT_THAT(keysOf(mixed), ElementsAre(9, 2, 1, 8, 7));
  EXPECT_THAT(keysOf(crowded), ElementsAre(9, 2, 1, 8, 7));
  std::vector<std::uint32_t> iterated;
  for (auto const& node : mixed) iterated.push_back(node.key);
  EXPECT_EQ(iterated, keysOf(mixed));
}

TEST(HashMapTest, WalkVisitsTheNodesOfItsStartAndSkipsThoseThatWent) {
  Map<MixHash> map;
  for (std::uint32_t key = 0; key < 6; ++key) map.findOrInsert(key, "");
  std::vector<std::uint32_t> visited;
  map.walk([&](auto& node) {
    std::uint32_t const key = node.key;
    visited.push_back(key);
    if (key == 1) {
      map.erase(1);  // the visited one
      map.erase(2);  // the next one
      map.erase(0);  // one that was visited
      for (std::uint32_t more = 100; more < 200; ++more) map.findOrInsert(more, "");  // grows
    }
    if (key == 4) {
      map.erase(5);             // the last one
      map.findOrInsert(2, "");  // a newcomer
    }
  });
  EXPECT_THAT(visited, ElementsAre(0, 1, 3, 4));
  EXPECT_EQ(map.size(), 103U);
}

TEST(HashMapTest, ClearingDuringAWalkEndsIt) {
  Map<MixHash> map;
  for (std::uint32_t key = 0; key < 5; ++key) map.findOrInsert(key, "");
  int visits = 0;
  map.walk([&](auto&) {
    ++visits;
    map.clear();
    map.findOrInsert(1, "");
  });
  EXPECT_EQ(visits, 1);
  EXPECT_THAT(keysOf(map), ElementsAre(1));
}

TEST(HashMapTest, TheKeyOfAnEraseMayLiveInTheErasedNode) {
  Map<SameHash> map;
  for (std::uint32_t key = 0; key < 5; ++key) map.findOrInsert(key, "");
  for (std::size_t left = 5; left > 0; --left) {
    EXPECT_TRUE(map.erase((*map.begin()).key));
    EXPECT_EQ(map.size(), left - 1);
  }
}

// A value whose end looks into the collection that it lived in.
struct Watchful {
  std::function<void()> atEnd;
  explicit Watchful(std::function<void()> step) : atEnd(std::move(step)) {}
  Watchful(Watchful const&) = delete;
  Watchful& operator=(Watchful const&) = delete;
  ~Watchful() { atEnd(); }
};

TEST(HashMapTest, TheEndOfAValueFindsItsKeyGoneAndMayChangeTheCollection) {
  Vek::HashMap<std::uint32_t, Watchful, MixHash, 1> map;
  std::vector<std::string> seen;
  map.findOrInsert(1, [&] {
    seen.push_back(map.find(1) == nullptr ? "gone" : "there");
    seen.push_back(map.size() == 1 ? "one left" : "?");
    map.findOrInsert(1, [&] { seen.emplace_back("second end"); });
    map.erase(2U);
  });
  map.findOrInsert(2, [&] { seen.emplace_back("other end"); });
  EXPECT_TRUE(map.erase(1U));
  EXPECT_THAT(seen, ElementsAre("gone", "one left", "other end"));
  EXPECT_EQ(map.size(), 1U);
  map.clear();
  EXPECT_THAT(seen, ElementsAre("gone", "one left", "other end", "second end"));
}

TEST(HashMapTest, ClearTakesMembersThatComeWhileOthersAreDestroyed) {
  int ends = 0;
  {
    Vek::HashMap<std::uint32_t, Watchful, MixHash, 1> map;
    map.findOrInsert(1, [&] {
      ++ends;
      map.findOrInsert(2, [&] { ++ends; });
    });
    map.clear();
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(ends, 2);
    map.findOrInsert(3, [&] {
      ++ends;
      map.findOrInsert(4, [&] { ++ends; });
    });
  }
  EXPECT_EQ(ends, 4);
}

struct Refusing {
  explicit Refusing(bool refuse) {
    if (refuse) throw std::runtime_error("no value");
  }
};

TEST(HashMapTest, AValueThatCannotBeMadeLeavesTheCollectionAsItWas) {
  Vek::HashMap<std::uint32_t, Refusing, MixHash, 1> map;
  map.findOrInsert(1, false);
  auto const version = map.version();
  EXPECT_THROW(map.findOrInsert(2, true), std::runtime_error);
  EXPECT_EQ(map.size(), 1U);
  EXPECT_EQ(map.version(), version);
  EXPECT_EQ(map.find(2), nullptr);
  map.findOrInsert(2, false);
  EXPECT_EQ(map.size(), 2U);
}

template <unsigned Seed>
std::uint32_t seedSeen() {
  static std::uint32_t seen;
  struct Spy {
    std::uint32_t operator()(std::uint32_t, unsigned seed) const {
      seen = seed;
      return 0;
    }
  };
  Vek::HashMap<std::uint32_t, int, Spy, Seed> map;
  map.findOrInsert(1, 0);
  return seen;
}

TEST(HashMapTest, EveryCollectionConstantGivesASeedOfItsOwn) {
  std::set<std::uint32_t> const seeds{seedSeen<1>(), seedSeen<2>(), seedSeen<3>(), seedSeen<0>()};
  EXPECT_EQ(seeds.size(), 4U);
  EXPECT_EQ(seedSeen<3>(), Vek::collectionHashSeed(3));
}

std::string walkAssertion() {
  return assertionText("version_ == hashMap_->version()", "the collection changed during the walk",
                       "HashMap", "Iterator");
}

TEST(HashMapDeathTest, AnIteratorRefusesToGoOnAfterAnInsertion) {
  Map<MixHash> map;
  map.findOrInsert(1, "");
  auto at = map.begin();
  EXPECT_EXIT(
      {
        map.findOrInsert(2, "");
        ++at;
      },
      testing::KilledBySignal(SIGABRT), walkAssertion());
}

TEST(HashMapDeathTest, AnIteratorRefusesToBeReadAfterAnErasure) {
  Map<MixHash> map;
  map.findOrInsert(1, "");
  map.findOrInsert(2, "");
  auto at = map.begin();
  EXPECT_EXIT(
      {
        map.erase(2U);
        (void)(*at).key;
      },
      testing::KilledBySignal(SIGABRT), walkAssertion());
  EXPECT_EXIT(
      for (auto const& node
           : map) { map.erase(node.key); },
      testing::KilledBySignal(SIGABRT), walkAssertion());
}

}  // namespace
