// Many keys, and many watchers of one handle: what one costs does not depend on how many there are.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "TableWorld.h"

namespace TableTests {
namespace {

template <class A>
class ScaleTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(ScaleTest, EntryTables, AdapterNames);

// Seconds of the fastest of some runs, to keep other work on the machine out.
template <class Run>
double fastest(Run run) {
  double best = 1e9;
  for (int i = 0; i < 3; ++i) {
    auto const start = std::chrono::steady_clock::now();
    run();
    best = std::min(
        best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return best;
}

// Parks that many keys behind one handle, programs it, and removes them all.
template <class A>
void watchersOfOneHandle(unsigned count) {
  World<A> w(Traced::no, count);
  std::vector<typename A::Key> keys;
  for (unsigned i = 0; i < count; ++i) keys.push_back(w.key(i));
  auto const needed = TestHandle::waiting();
  for (unsigned i = 0; i < count; ++i) {
    (void)w.handle(keys[i]);
    w.park(keys[i], w.entry(i & 0xFFFF, {needed}));
  }
  EXPECT_EQ(w.table->unresolvedEntrys(), count);
  EXPECT_EQ(w.table->entrys(), 0U);
  needed->program(5);
  EXPECT_EQ(w.table->unresolvedEntrys(), 0U);
  EXPECT_EQ(w.table->entrys(), count);
  EXPECT_EQ(w.table->pendingEntrySms(), count);
  EXPECT_EQ(linesWith(w.take(), "hwTableEntryIs").size(), count);
  for (auto const& key : keys) w.table->entryRemove(key);
  EXPECT_EQ(linesWith(w.take(), "hwTableEntryDel").size(), count);
  EXPECT_EQ(w.table->entrys() + w.table->entryHandles() + w.table->pendingEntrySms(), 0U);
}

TYPED_TEST(ScaleTest, NoKeyOneKeyAndAHundredThousandKeys) {
  watchersOfOneHandle<TypeParam>(0);
  watchersOfOneHandle<TypeParam>(1);
  watchersOfOneHandle<TypeParam>(100'000);
}

TYPED_TEST(ScaleTest, TheTimeGrowsWithTheNumberAndNotFaster) {
  double const small = fastest([] { watchersOfOneHandle<TypeParam>(5'000); });
  double const large = fastest([] { watchersOfOneHandle<TypeParam>(50'000); });
  // Ten times as many: a hundred times the time would be quadratic.
  EXPECT_LT(large, 40 * small) << small << " s for 5,000, " << large << " s for 50,000";
}

TYPED_TEST(ScaleTest, AHundredThousandWatchersLeaveInAnyOrder) {
  auto const run = [](unsigned count) {
    World<TypeParam> w(Traced::no, count);
    std::vector<typename TypeParam::Key> keys;
    auto const needed = TestHandle::waiting();
    for (unsigned i = 0; i < count; ++i) {
      keys.push_back(w.key(i));
      w.park(keys[i], w.entry(i & 0xFFFF, {needed}));
    }
    EXPECT_GT(needed->references(), count);
    for (unsigned i = 0; i < count; ++i) {
      // From both ends inwards.
      w.table->unresolvedEntryDel(keys[i % 2 == 0 ? i / 2 : count - 1 - i / 2]);
    }
    EXPECT_EQ(needed->references(), 1U);
    EXPECT_EQ(w.table->unresolvedEntrys(), 0U);
  };
  run(100'000);
  double const small = fastest([&] { run(5'000); });
  double const large = fastest([&] { run(50'000); });
  EXPECT_LT(large, 40 * small);
}

TYPED_TEST(ScaleTest, ATableWithAHundredThousandKeysTakesItselfApart) {
  World<TypeParam> w(Traced::no, 100'000);
  for (unsigned i = 0; i < 100'000; ++i) {
    auto const key = w.key(i);
    (void)w.handle(key);
    w.table->entryIs(key, w.entry(i & 0xFFFF));
    w.table->unresolvedEntryIs(key);
    w.table->pendingEntrySmIs(nullptr, key);
  }
  w.table = nullptr;
  EXPECT_EQ(
      Vek::vekLiveObjects(std::string("OrviaL3Unicast::") + TypeParam::name + "::EntryHandle"), 0U);
}

}  // namespace
}  // namespace TableTests
