// The framework's allocator and its count of live objects per type.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Asic/SwTable.h"
#include "PlatformObjects.h"
#include "Vek/GenericIf.h"
#include "Vek/Memory.h"

namespace {

using TestSupport::LiveObjects;
using Vek::Ptr;
using Vek::vekMemAlloc;
using Vek::vekMemFree;

class Counted : public Vek::Tracked<Counted, Vek::PtrInterface> {
 public:
  static constexpr char const* typeName() { return "MemoryTest::Counted"; }
};
// Counts for itself, and no longer for its base.
class CountedChild : public Vek::Tracked<CountedChild, Counted> {
 public:
  static constexpr char const* typeName() { return "MemoryTest::CountedChild"; }
  char payload[100] = {};
};
// Does not count for itself: its base does.
class PlainChild : public Counted {
 public:
  char payload[500] = {};
};
class Thrower : public Vek::Tracked<Thrower, Vek::PtrInterface> {
 public:
  static constexpr char const* typeName() { return "MemoryTest::Thrower"; }
  Thrower() { throw std::runtime_error("no object"); }
};

TEST(MemoryTest, GivesAlignedMemoryOfEverySizeThatNoOtherObjectHas) {
  std::vector<std::pair<unsigned char*, std::size_t>> blocks;
  for (std::size_t size = 0; size <= 2100; ++size) {
    auto* const memory = static_cast<unsigned char*>(vekMemAlloc(size));
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(memory) % alignof(std::max_align_t), 0U) << size;
    std::memset(memory, static_cast<int>(size & 0xFF), size);
    blocks.emplace_back(memory, size);
  }
  for (auto const& [memory, size] : blocks) {
    auto const expected = static_cast<unsigned char>(size & 0xFF);
    ASSERT_TRUE(std::all_of(memory, memory + size, [&](unsigned char byte) {
      return byte == expected;
    })) << size;
    vekMemFree(memory, size);
  }
}

TEST(MemoryTest, SurvivesRandomAllocationAndFreeing) {
  std::mt19937 random(3);  // NOLINT(cert-msc51-cpp): reproducible
  std::vector<std::vector<unsigned char>> model;
  std::vector<unsigned char*> blocks;
  auto const intact = [&](std::size_t i) {
    return std::equal(model[i].begin(), model[i].end(), blocks[i]);
  };
  for (int step = 0; step < 50'000; ++step) {
    if (blocks.empty() || random() % 9 < 5) {
      std::size_t const size = random() % 1200 + 1;
      model.emplace_back(size, static_cast<unsigned char>(random()));
      blocks.push_back(static_cast<unsigned char*>(vekMemAlloc(size)));
      std::memcpy(blocks.back(), model.back().data(), size);
    } else {
      std::size_t const i = random() % blocks.size();
      ASSERT_TRUE(intact(i));
      vekMemFree(blocks[i], model[i].size());
      std::swap(blocks[i], blocks.back());
      std::swap(model[i], model.back());
      blocks.pop_back();
      model.pop_back();
    }
  }
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    ASSERT_TRUE(intact(i));
    vekMemFree(blocks[i], model[i].size());
  }
}

TEST(MemoryTest, FreeingNothingDoesNothing) {
  auto& type = Vek::vekTypeAllocation("MemoryTest::Nothing");
  vekMemFree(nullptr, 10);
  vekMemFree(nullptr, 10, type);
  EXPECT_EQ(type.liveObjects, 0U);
}

TEST(MemoryTest, CountsTheObjectsOfAType) {
  EXPECT_EQ(Vek::vekLiveObjects("MemoryTest::ByHand"), 0U);
  auto& type = Vek::vekTypeAllocation("MemoryTest::ByHand");
  EXPECT_EQ(type.typeName, "MemoryTest::ByHand");
  void* const first = vekMemAlloc(40, type);
  void* const second = vekMemAlloc(40, type);
  EXPECT_EQ(Vek::vekLiveObjects("MemoryTest::ByHand"), 2U);
  vekMemFree(first, 40, type);
  EXPECT_EQ(Vek::vekLiveObjects("MemoryTest::ByHand"), 1U);
  vekMemFree(second, 40, type);
  EXPECT_EQ(Vek::vekLiveObjects("MemoryTest::ByHand"), 0U);
  EXPECT_EQ(type.totalObjects, 2U);
}

TEST(MemoryTest, ANameHasOneCounterHoweverItIsSpelled) {
  auto& one = Vek::vekTypeAllocation("MemoryTest::Twice");
  auto& two = Vek::vekTypeAllocation(std::string("MemoryTest::") + "Twice");
  EXPECT_EQ(&one, &two);
  EXPECT_NE(&one, &Vek::vekTypeAllocation("MemoryTest::Twic"));
}

TEST(MemoryTest, ListsTheTypesThatEverAllocatedByName) {
  auto const listed = [](std::string_view name) {
    auto const all = Vek::vekTypeAllocations();
    EXPECT_TRUE(std::is_sorted(all.begin(), all.end(), [](auto const& a, auto const& b) {
      return a.typeName < b.typeName;
    }));
    std::vector<Vek::TypeAllocation> found;
    std::copy_if(all.begin(), all.end(), std::back_inserter(found),
                 [&](auto const& type) { return type.typeName == name; });
    return found;
  };
  auto& type = Vek::vekTypeAllocation("MemoryTest::Listed");
  void* const first = vekMemAlloc(8, type);
  void* const second = vekMemAlloc(8, type);
  vekMemFree(first, 8, type);
  auto const found = listed("MemoryTest::Listed");
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].liveObjects, 1U);
  EXPECT_EQ(found[0].totalObjects, 2U);
  vekMemFree(second, 8, type);
  EXPECT_EQ(listed("MemoryTest::Listed").size(), 1U);
}

TEST(MemoryTest, TheMostDerivedTrackedClassOfAHierarchyCounts) {
  LiveObjects const base(Counted::typeName());
  LiveObjects const child(CountedChild::typeName());
  Ptr<Counted> object = new CountedChild;
  EXPECT_EQ(base.more(), 0);
  EXPECT_EQ(child.more(), 1);
  Ptr<Counted> plain = new PlainChild;
  EXPECT_EQ(base.more(), 1);
  EXPECT_EQ(child.more(), 1);
  object = nullptr;
  EXPECT_EQ(child.more(), 0);
  plain = nullptr;
  EXPECT_EQ(base.more(), 0);
}

TEST(MemoryTest, AConstructorThatThrowsLeavesNoObject) {
  LiveObjects const live(Thrower::typeName());
  EXPECT_THROW(new Thrower, std::runtime_error);
  EXPECT_EQ(live.more(), 0);
}

TEST(MemoryTest, TrackedObjectsMayBeMadeInMemoryOfTheirMaker) {
  LiveObjects const live(CountedChild::typeName());
  alignas(CountedChild) unsigned char storage[sizeof(CountedChild)];
  auto* const object = new (storage) CountedChild;
  EXPECT_EQ(live.more(), 0);
  object->~CountedChild();
}

// Every class of the platform that is used as it is counts its objects.
TEST(MemoryTest, HardwareTablesAreCounted) {
  LiveObjects const live("Asic::HwTable");
  Ptr<Asic::HwTable> const object = new Asic::HwTable;
  EXPECT_EQ(live.more(), 1);
}

TEST(MemoryTest, EntryHandlesAreCounted) {
  LiveObjects const live("Asic::SwTable::EntryHandle");
  Ptr<Asic::SwTable::EntryHandle> const object = new Asic::SwTable::EntryHandle;
  EXPECT_EQ(live.more(), 1);
}

TEST(MemoryTest, ViewsOfValuesAreCounted) {
  LiveObjects const live("Vek::GenericIf");
  Ptr<Vek::GenericIf> const object = new Vek::GenericIf({}, nullptr);
  EXPECT_EQ(live.more(), 1);
}

}  // namespace
