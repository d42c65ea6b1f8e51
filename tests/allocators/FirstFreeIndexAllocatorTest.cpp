#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>
#include <set>

#include "AllocatorKeys.h"
#include "Asic/FirstFreeIndexAllocator.h"
#include "Asic/L3EcmpNextHopKey.h"
#include "Vek/NotifieeConst.h"

namespace {

using namespace AllocatorTests;  // NOLINT(google-build-using-namespace)
using Asic::FirstFreeIndexAllocator;
using Asic::Index;
using Asic::NoRowException;

constexpr Index noRow = Index::invalidIndex();

FirstFreeIndexAllocator::Ptr allocatorOf(std::uint32_t rows) {
  auto allocator = FirstFreeIndexAllocator::FirstFreeIndexAllocatorIs("");
  allocator->sizeIs(rows);
  allocator->freeIndexIs(0, rows, 1);
  return allocator;
}

class FirstFreeIndexAllocatorTest : public testing::Test {
 protected:
  Index take(std::uint32_t id) {
    Key const key(id);
    return rows_->newIndexForKey(keyType, &key);
  }
  void request(Index row, std::uint32_t id) {
    Key const key(id);
    rows_->requestIndexForKey(row, keyType, &key);
  }
  Index find(std::uint32_t id) {
    Key const key(id);
    return rows_->indexForKey(keyType, &key);
  }
  void release(std::uint32_t id) {
    Key const key(id);
    rows_->releaseIndexForKey(keyType, &key);
  }
  void TearDown() override {
    rows_ = nullptr;
    EXPECT_EQ(Key::alive, 0);
  }

  FirstFreeIndexAllocator::Ptr rows_ = allocatorOf(8);
};

TEST_F(FirstFreeIndexAllocatorTest, ANewAllocatorHasItsNameAndNoRows) {
  auto const fresh = FirstFreeIndexAllocator::FirstFreeIndexAllocatorIs("rows");
  EXPECT_EQ(fresh->name(), "rows");
  EXPECT_EQ(fresh->size(), 0U);
  EXPECT_EQ(fresh->rowsFree(), 0U);
  EXPECT_EQ(fresh->rowsInUse(), 0U);
  EXPECT_EQ(fresh->largestFreeRun(), 0U);
  EXPECT_EQ(fresh->parent(), nullptr);
  EXPECT_STREQ(fresh->fwkType().name(), "Asic::FirstFreeIndexAllocator");
  EXPECT_TRUE(fresh->fwkType().isA(Asic::GenericIndexAllocator::classType()));
  EXPECT_TRUE(fresh->fwkType().isA(Vek::Entity::classType()));
}

TEST_F(FirstFreeIndexAllocatorTest, TheParentIsNotCounted) {
  auto const parent = FirstFreeIndexAllocator::FirstFreeIndexAllocatorIs("");
  rows_->parentIs(parent.get());
  EXPECT_EQ(rows_->parent(), parent.get());
  EXPECT_EQ(parent->references(), 1U);
  rows_->parentDel();
  EXPECT_EQ(rows_->parent(), nullptr);
}

TEST_F(FirstFreeIndexAllocatorTest, RowsAreNotFreeBeforeTheyAreMadeFree) {
  rows_ = FirstFreeIndexAllocator::FirstFreeIndexAllocatorIs("");
  rows_->sizeIs(4);
  EXPECT_THROW(take(1), NoRowException);
  rows_->freeIndexIs(2, 2, 1);
  EXPECT_EQ(take(1), Index(2));
  EXPECT_EQ(take(2), Index(3));
  EXPECT_THROW(take(3), NoRowException);
}

TEST_F(FirstFreeIndexAllocatorTest, KeysGetTheLowestFreeRowAndKeepIt) {
  EXPECT_EQ(take(10), Index(0));
  EXPECT_EQ(take(11), Index(1));
  EXPECT_EQ(take(12), Index(2));
  EXPECT_EQ(take(11), Index(1));
  release(10);
  release(11);
  EXPECT_EQ(find(11), noRow);
  EXPECT_EQ(find(12), Index(2));
  EXPECT_EQ(take(13), Index(0));
  EXPECT_EQ(take(11), Index(1));
  EXPECT_EQ(take(14), Index(3));
}

TEST_F(FirstFreeIndexAllocatorTest, AnUnboundKeyHasNoRowAndIsReleasedToNoEffect) {
  EXPECT_EQ(find(1), noRow);
  release(1);
  EXPECT_EQ(rows_->rowsFree(), 8U);
  take(1);
  release(2);
  EXPECT_EQ(find(1), Index(0));
  EXPECT_EQ(rows_->rowsFree(), 7U);
}

TEST_F(FirstFreeIndexAllocatorTest, KeysOfAnotherTypeAreOtherKeys) {
  Key const key(5);
  OtherKey const other{5};
  EXPECT_EQ(rows_->newIndexForKey(keyType, &key), Index(0));
  EXPECT_EQ(rows_->indexForKey(otherKeyType, &other), noRow);
  EXPECT_EQ(rows_->newIndexForKey(otherKeyType, &other), Index(1));
  rows_->releaseIndexForKey(otherKeyType, &other);
  EXPECT_EQ(rows_->indexForKey(keyType, &key), Index(0));
  EXPECT_EQ(rows_->indexForKey(otherKeyType, &other), noRow);
}

TEST_F(FirstFreeIndexAllocatorTest, ARowLeadsToACopyOfItsKey) {
  {
    Key const key(7);
    ASSERT_EQ(rows_->newIndexForKey(keyType, &key), Index(0));
    EXPECT_NE(rows_->keyOfIndex(0), &key);
  }
  ASSERT_NE(rows_->keyOfIndex(0), nullptr);
  EXPECT_EQ(static_cast<Key const*>(rows_->keyOfIndex(0))->id, 7U);
  EXPECT_EQ(rows_->keyOfIndex(1), nullptr);
  EXPECT_EQ(rows_->keyOfIndex(1000), nullptr);
  EXPECT_EQ(rows_->keyOfIndex(noRow), nullptr);
  // The allocator's own copy is as good as any other.
  rows_->releaseIndexForKey(keyType, rows_->keyOfIndex(0));
  EXPECT_EQ(rows_->keyOfIndex(0), nullptr);
  EXPECT_EQ(Key::alive, 0);
}

TEST_F(FirstFreeIndexAllocatorTest, ReservedRowsAreHandedOutByRequestOnly) {
  rows_->reserveIndices(0, 1);
  EXPECT_EQ(rows_->rowsFree(), 6U);
  EXPECT_EQ(take(1), Index(2));
  request(0, 2);
  EXPECT_EQ(find(2), Index(0));
  EXPECT_EQ(take(2), Index(0));
  EXPECT_EQ(rows_->rowsInUse(), 2U);
  EXPECT_EQ(rows_->rowsFree(), 5U);
}

TEST_F(FirstFreeIndexAllocatorTest, ReservedRowsStayReservedAfterAReleaseAndAfterBeingMadeFree) {
  rows_->reserveIndices(0, 0);
  request(0, 1);
  release(1);
  EXPECT_EQ(take(2), Index(1));
  rows_->freeIndexIs(0, 8, 1);
  EXPECT_EQ(take(3), Index(2));
  EXPECT_EQ(rows_->rowsFree(), 5U);
  EXPECT_EQ(rows_->keyOfIndex(0), nullptr);
}

TEST_F(FirstFreeIndexAllocatorTest, ARowReservedWhileInUseDoesNotComeBack) {
  take(1);
  rows_->reserveIndices(0, 0);
  EXPECT_EQ(find(1), Index(0));
  release(1);
  EXPECT_EQ(take(2), Index(1));
}

TEST_F(FirstFreeIndexAllocatorTest, AKeyAskingForItsOwnRowAgainChangesNothing) {
  rows_->reserveIndices(0, 0);
  request(0, 1);
  void const* const copy = rows_->keyOfIndex(0);
  request(0, 1);
  EXPECT_EQ(rows_->keyOfIndex(0), copy);
  EXPECT_EQ(rows_->rowsInUse(), 1U);
}

TEST_F(FirstFreeIndexAllocatorTest, ARequestedFreeRowIsNotHandedOutAndComesBack) {
  request(1, 9);
  EXPECT_EQ(take(1), Index(0));
  EXPECT_EQ(take(2), Index(2));
  release(9);
  EXPECT_EQ(take(3), Index(1));
}

TEST_F(FirstFreeIndexAllocatorTest, RowsTakenAwayWhileInUseDoNotComeBackUntilMadeFree) {
  take(1);
  rows_->freeIndexIs(0, 2, 0);
  EXPECT_EQ(find(1), Index(0));
  EXPECT_EQ(rows_->rowsFree(), 6U);
  release(1);
  EXPECT_EQ(take(2), Index(2));
  rows_->freeIndexIs(0, 2, 1);
  EXPECT_EQ(take(3), Index(0));
  // Making a row free that has an owner does not give it away.
  rows_->freeIndexIs(0, 8, 1);
  EXPECT_EQ(take(4), Index(1));
}

TEST_F(FirstFreeIndexAllocatorTest, ExhaustionTellsTheNumbersAndChangesNothing) {
  rows_->reserveIndices(0, 0);
  for (std::uint32_t id = 1; id < 8; ++id) take(id);
  try {
    take(100);
    FAIL() << "a row came from nowhere";
  } catch (NoRowException const& none) {
    EXPECT_STREQ(none.what(),
                 "no free run of width 1: table size 8, free rows 0, largest free run 0");
    EXPECT_EQ(none.tableSize(), 8U);
    EXPECT_EQ(none.rowsFree(), 0U);
    EXPECT_EQ(none.largestFreeRun(), 0U);
    EXPECT_EQ(none.width(), 1U);
  }
  EXPECT_THROW(take(100), Vek::Exception);
  EXPECT_EQ(find(100), noRow);
  EXPECT_EQ(Key::alive, 7);
  release(100);
  release(4);
  EXPECT_EQ(take(100), Index(4));
}

TEST_F(FirstFreeIndexAllocatorTest, ACopyThatThrowsLeavesTheRowFree) {
  Key const key(1);
  Key::copyThrows = true;
  EXPECT_THROW(rows_->newIndexForKey(keyType, &key), std::runtime_error);
  EXPECT_THROW(rows_->requestIndexForKey(3, keyType, &key), std::runtime_error);
  Key::copyThrows = false;
  EXPECT_EQ(rows_->rowsFree(), 8U);
  EXPECT_EQ(rows_->rowsInUse(), 0U);
  EXPECT_EQ(find(1), noRow);
  EXPECT_EQ(take(2), Index(0));
}

TEST_F(FirstFreeIndexAllocatorTest, TheLargestFreeRunIsReadAtAnyTime) {
  EXPECT_EQ(rows_->largestFreeRun(), 8U);
  request(3, 1);
  EXPECT_EQ(rows_->largestFreeRun(), 4U);
  request(5, 2);
  EXPECT_EQ(rows_->largestFreeRun(), 3U);
  release(1);
  EXPECT_EQ(rows_->largestFreeRun(), 5U);
}

TEST_F(FirstFreeIndexAllocatorTest, RowsOutsideTheTableAreRefused) {
  auto const textOf = [](auto&& step) -> std::string {
    try {
      step();
    } catch (Vek::RangeException const& refused) {
      return refused.what();
    }
    return "";
  };
  EXPECT_EQ(textOf([&] { rows_->freeIndexIs(4, 5, 1); }),
            "5 rows from 4 on are not within a table of 8 rows");
  EXPECT_EQ(textOf([&] { rows_->freeIndexIs(0xFFFFFFFFFFFFFFFFU, 2, 1); }),
            "2 rows from 18446744073709551615 on are not within a table of 8 rows");
  EXPECT_EQ(textOf([&] { rows_->reserveIndices(3, 8); }),
            "rows 3 to 8 are no rows of a table of 8 rows");
  EXPECT_EQ(textOf([&] { rows_->reserveIndices(3, 2); }),
            "rows 3 to 2 are no rows of a table of 8 rows");
  EXPECT_EQ(textOf([&] { request(8, 1); }), "1 rows from 8 on are not within a table of 8 rows");
  EXPECT_EQ(rows_->rowsFree(), 8U);
  EXPECT_EQ(rows_->rowsInUse(), 0U);
}

TEST_F(FirstFreeIndexAllocatorTest, ChangingTheSizeKeepsWhatStays) {
  take(1);
  rows_->reserveIndices(1, 1);
  rows_->sizeIs(200);
  EXPECT_EQ(rows_->size(), 200U);
  EXPECT_EQ(rows_->rowsFree(), 6U);
  rows_->freeIndexIs(0, 200, 1);
  EXPECT_EQ(rows_->rowsFree(), 198U);
  EXPECT_EQ(take(2), Index(2));
  rows_->sizeIs(3);
  EXPECT_EQ(find(1), Index(0));
  EXPECT_EQ(find(2), Index(2));
  EXPECT_THROW(take(3), NoRowException);
}

class CountingNotifiee : public Vek::NotifieeConst {
 public:
  explicit CountingNotifiee(Vek::PtrInterface const* notifier) {
    notifierIs(notifier);
    isRegisteredNotifieeIs(true);
  }
  void onAttribute(Vek::AttributeId attributeId, void const*) override {
    heard.push_back(attributeId);
  }
  std::vector<Vek::AttributeId> heard;
};

TEST_F(FirstFreeIndexAllocatorTest, SizeAndParentAreAnnouncedWhenTheyChange) {
  Vek::Ptr<CountingNotifiee> const watcher = new CountingNotifiee(rows_.get());
  watcher->hasNotificationActiveIs(true);
  rows_->sizeIs(8);
  rows_->parentDel();
  EXPECT_TRUE(watcher->heard.empty());
  rows_->sizeIs(9);
  rows_->parentIs(watcher.get());
  EXPECT_EQ(watcher->heard, (std::vector{FirstFreeIndexAllocator::sizeAttribute,
                                         FirstFreeIndexAllocator::parentAttribute}));
}

// A key whose end comes back to the allocator that held it.
struct EndingKey {
  std::uint32_t id = 0;
  static inline FirstFreeIndexAllocator* allocator = nullptr;
  static inline Vek::VekType type;
  static inline std::vector<Index> taken;
  EndingKey() = default;
  explicit EndingKey(std::uint32_t i) : id(i) {}
  EndingKey(EndingKey const&) = default;
  EndingKey& operator=(EndingKey const&) = delete;
  ~EndingKey() {
    auto* const lent = std::exchange(allocator, nullptr);
    if (lent == nullptr) return;
    EXPECT_EQ(lent->indexForKey(type, this), noRow);
    EndingKey const next(id + 1);
    taken.push_back(lent->newIndexForKey(type, &next));
  }
  [[nodiscard]] std::uint32_t hash(unsigned seed) const { return id + seed; }
  friend bool operator==(EndingKey const& a, EndingKey const& b) { return a.id == b.id; }
  friend std::ostream& operator<<(std::ostream& out, EndingKey const& key) { return out << key.id; }
};
constexpr Vek::VekTypeInfo endingTypes[] = {{0, "EndingKey", {}, &Vek::vekValueOps<EndingKey>}};
constexpr Vek::VekModule endingModule{"Ending", endingTypes};

TEST_F(FirstFreeIndexAllocatorTest, TheEndOfAKeyMayComeBackToTheAllocator) {
  EndingKey::type = {&endingModule, 0};
  EndingKey const key(1);
  EXPECT_EQ(rows_->newIndexForKey(EndingKey::type, &key), Index(0));
  EndingKey::allocator = rows_.get();
  rows_->releaseIndexForKey(EndingKey::type, &key);
  EXPECT_EQ(EndingKey::taken, std::vector{Index(0)});
  EXPECT_EQ(rows_->rowsInUse(), 1U);
  EXPECT_EQ(rows_->rowsFree(), 7U);
}

// The random history of the tests below, against a model that is a map and a set.
void churn(std::uint32_t size, std::uint32_t keys, int steps, unsigned seed) {
  auto const rows = allocatorOf(size);
  rows->reserveIndices(0, 0);
  std::map<std::uint32_t, std::uint32_t> rowOf;
  std::set<std::uint32_t> free;
  for (std::uint32_t row = 1; row < size; ++row) free.insert(row);
  std::mt19937 random(seed);
  int exhausted = 0;
  int requests = 0;
  for (int step = 0; step < steps; ++step) {
    Key const key(static_cast<std::uint32_t>(random() % keys));
    auto const owned = rowOf.find(key.id);
    auto const kind = random() % 16;
    if (kind < 9) {
      std::optional<Index> row;
      try {
        row = rows->newIndexForKey(keyType, &key);
      } catch (NoRowException const& none) {
        ++exhausted;
        ASSERT_EQ(none.rowsFree(), 0U);
      }
      if (owned != rowOf.end()) {
        ASSERT_EQ(row, Index(owned->second));
      } else if (free.empty()) {
        ASSERT_FALSE(row.has_value());
      } else {
        ASSERT_EQ(row, Index(*free.begin()));
        free.erase(free.begin());
        rowOf.emplace(key.id, row->value());
      }
    } else if (kind == 9 && owned == rowOf.end()) {
      // A row of its own choice: any that nobody has, row 0 included.
      auto const row = static_cast<std::uint32_t>(random() % 4 == 0 ? 0 : random() % size);
      if (rows->keyOfIndex(row) != nullptr) continue;
      rows->requestIndexForKey(row, keyType, &key);
      free.erase(row);
      rowOf.emplace(key.id, row);
      ++requests;
    } else {
      rows->releaseIndexForKey(keyType, &key);
      if (owned != rowOf.end()) {
        if (owned->second != 0) free.insert(owned->second);
        rowOf.erase(owned);
      }
    }
    ASSERT_EQ(rows->rowsFree(), free.size());
    ASSERT_EQ(rows->rowsInUse(), rowOf.size());
  }
  std::set<std::uint32_t> seen;
  for (auto const& [id, row] : rowOf) {
    Key const key(id);
    ASSERT_EQ(rows->indexForKey(keyType, &key), Index(row));
    ASSERT_EQ(static_cast<Key const*>(rows->keyOfIndex(row))->id, id);
    ASSERT_TRUE(seen.insert(row).second);
    rows->releaseIndexForKey(keyType, &key);
  }
  EXPECT_GT(exhausted, 0);
  EXPECT_GT(requests, 0);
  EXPECT_EQ(rows->rowsFree(), size - 1);
  EXPECT_EQ(rows->largestFreeRun(), size - 1);
  EXPECT_EQ(Key::alive, 0);
}

TEST_F(FirstFreeIndexAllocatorTest, AgreesWithANaiveModelUnderRandomChurn) {
  for (unsigned seed = 1; seed <= 5; ++seed) churn(300, 800, 40'000, seed);
}

TEST_F(FirstFreeIndexAllocatorTest, AgreesWithANaiveModelWhenAllHashesAreEqual) {
  Key::hashIsPoor = true;
  churn(60, 160, 20'000, 3);
  Key::hashIsPoor = false;
}

TEST_F(FirstFreeIndexAllocatorTest, AMillionRowsAreAllHandedOutInOrder) {
  constexpr std::uint32_t size = 1'048'576;
  rows_ = allocatorOf(size);
  rows_->reserveIndices(0, 0);
  for (std::uint32_t id = 1; id < size; ++id) ASSERT_EQ(take(id), Index(id));
  EXPECT_THROW(take(0), NoRowException);
  EXPECT_EQ(rows_->rowsInUse(), size - 1);
  for (std::uint32_t id = size - 1; id > 0; id -= 3) release(id);
  EXPECT_EQ(rows_->largestFreeRun(), 1U);
  EXPECT_EQ(take(size), Index(3));
  EXPECT_EQ(take(size + 1), Index(6));
}

TEST_F(FirstFreeIndexAllocatorTest, NextHopKeysOwnRows) {
  Vek::VekType const type = Asic::L3EcmpNextHopKey::classType();
  auto const via = [](std::uint8_t last) {
    return Asic::L3EcmpNextHopKey::viaGateway(0, Asic::GatewayAddress::ipv4({10, 0, 1, last}), 3);
  };
  auto const first = via(1);
  auto const second = via(2);
  EXPECT_EQ(rows_->newIndexForKey(type, &first), Index(0));
  EXPECT_EQ(rows_->newIndexForKey(type, &second), Index(1));
  auto const again = via(1);
  EXPECT_EQ(rows_->newIndexForKey(type, &again), Index(0));
}

class FirstFreeIndexAllocatorDeathTest : public FirstFreeIndexAllocatorTest {};

TEST_F(FirstFreeIndexAllocatorDeathTest, ARowOfAnotherKeyIsNotGivenAway) {
  rows_->reserveIndices(0, 0);
  request(0, 1);
  EXPECT_DEATH(request(0, 2),
               "^!keyOfIndex\\( index \\): row 0, asked for by key key 2, belongs to key key 1\n"
               ".*FirstFreeIndexAllocator:[0-9]+: void Asic::FirstFreeIndexAllocator::"
               "requestIndexForKey\\(Asic::Index, const Vek::VekType&, const void\\*\\): "
               "Assertion `\"!keyOfIndex\\( index \\)\" == nullptr' failed\\.\n$");
}

TEST_F(FirstFreeIndexAllocatorDeathTest, AKeyHasOneRow) {
  EXPECT_EQ(take(1), Index(0));
  EXPECT_DEATH(
      request(3, 1),
      "^indexForKey\\( type, key \\) == Asic::Index::invalidIndex\\(\\): row 3 was asked for by "
      "key key 1, which has row 0\n"
      ".*FirstFreeIndexAllocator:[0-9]+: void Asic::FirstFreeIndexAllocator::"
      "requestIndexForKey\\(Asic::Index, const Vek::VekType&, const void\\*\\): Assertion "
      "`\"indexForKey\\( type, key \\) == Asic::Index::invalidIndex\\(\\)\" == nullptr' "
      "failed\\.\n$");
}

TEST_F(FirstFreeIndexAllocatorDeathTest, RowsOfKeysAreNotCutOff) {
  request(5, 1);
  EXPECT_DEATH(
      rows_->sizeIs(5),
      "^keys_\\.nothingFrom\\( rows \\): rows of keys would be cut off, from 8 to 5 rows\n");
  rows_->sizeIs(6);
  EXPECT_EQ(rows_->size(), 6U);
}

TEST_F(FirstFreeIndexAllocatorDeathTest, KeysAreValues) {
  int const value = 1;
  EXPECT_DEATH(rows_->newIndexForKey(noValueType, &value),
               "^type\\.valueOps\\(\\): keys of rows are values, their type has no value "
               "operations: 'AllocatorTests::NoValue'\n");
  OverAligned const wide{};
  EXPECT_DEATH(rows_->newIndexForKey(overAlignedType, &wide),
               "not a type for keys of rows: 'AllocatorTests::OverAligned'\n");
}

}  // namespace
