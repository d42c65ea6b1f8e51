// Whatever runs inside a notification may use the table: every action at every notification of one
// life of a key, one after the other.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <string>

#include "TableWorld.h"

namespace TableTests {
namespace {

template <class A>
class Life {
 public:
  using W = World<A>;
  using HandlePtr = Vek::Ptr<typename W::Handle const>;
  using Action = std::function<void(Life&)>;

  // Runs `action` at the notification with that number.
  Life(Action action, int point) : action_(std::move(action)), point_(point) {
    w.util->onWrite = [this](typename A::Where where, auto const&) {
      rows.insert(A::whereText(where));
      note();
      auto* const table = link_->table();
      if (table != nullptr) A::answer(*table, *w.hwTable, where);
    };
    w.util->onDelete = [this](typename A::Where where) {
      rows.erase(A::whereText(where));
      note();
    };
    w.onAnnouncement = [this](Vek::AttributeId, auto const&) { note(); };
  }

  void commit(int key, std::vector<Needed> const& needed) {
    if (!w.table) return;
    // Between a new handle's two registrations a write of the key would make a second handle, and
    // both would claim one registration: fatal, see AssertionTest.cpp.
    if (w.table->entryHandle(keys[key]) && !w.table->entryHandleExists(keys[key])) return;
    HandlePtr const handle = w.table->entryCommitWithResponseHandler(
        keys[key], w.entry(++record_, needed), [this](auto) { note(); });
    held[key] = handle;
  }
  void remove(int key) {
    if (!w.table) return;
    removing = true;
    w.table->entryRemove(keys[key]);
    removing = false;
  }
  void drop(int key) { HandlePtr const last = std::exchange(held[key], nullptr); }

  // Returns the number of notifications.
  int run() {
    commit(0, {ready});
    Observer::Ptr const watch =
        held[0] ? w.watch(held[0].get(), "own handle", [this] { note(); }) : nullptr;
    commit(0, {late});
    late->program(20);
    commit(1, {late, ready});
    late->hwEntryIndexIs(21);
    remove(0);
    drop(0);
    commit(1, {ready});
    drop(1);
    remove(1);
    int const notifications = count_;
    point_ = -1;
    for (int key = 0; key < 3; ++key) remove(key);
    for (int key = 0; key < 3; ++key) drop(key);
    return notifications;
  }

  W w{Traced::no};
  typename A::Key keys[3] = {w.key(1), w.key(2), w.key(3)};
  TestHandle::Ptr ready = TestHandle::programmed(10);
  TestHandle::Ptr late = TestHandle::waiting();
  TestHandle::Ptr never = TestHandle::waiting();
  std::map<int, HandlePtr> held;
  std::set<std::string> rows;  // what the hardware holds
  bool removing = false;

 private:
  void note() {
    if (count_++ != point_) return;
    point_ = -1;
    action_(*this);
  }

  Vek::Ptr<Vek::PtrInterface> keepLink_ = w.table->link();
  std::remove_cvref_t<decltype(*w.table->link().get())>* link_ = w.table->link().get();
  Action action_;
  int point_;
  int count_ = 0;
  unsigned record_ = 0;
};

template <class A>
class ReentrancyTest : public LiveObjectsTest {
 protected:
  // At every point: nothing is left in the table or in hardware when everybody has let go.
  void everywhere(typename Life<A>::Action const& action) {
    int const points = Life<A>({}, -1).run();
    ASSERT_GT(points, 20);
    for (int point = 0; point < points; ++point) {
      SCOPED_TRACE("at notification " + std::to_string(point));
      Life<A> life(action, point);
      life.run();
      Lines const told = life.w.take();
      if (!life.w.table) continue;  // the rows of handles that outlive it stay
      EXPECT_EQ(life.rows, std::set<std::string>{}) << testing::PrintToString(told);
      EXPECT_EQ(life.w.table->entrys(), 0U);
      EXPECT_EQ(life.w.table->entryHandles(), 0U);
      EXPECT_EQ(life.w.table->unresolvedEntrys(), 0U);
    }
  }
};
TYPED_TEST_SUITE(ReentrancyTest, EntryTables, AdapterNames);

TYPED_TEST(ReentrancyTest, AnotherRecordUnderTheSameKey) {
  this->everywhere([](auto& life) { life.commit(0, {life.ready}); });
}
TYPED_TEST(ReentrancyTest, AnotherRecordThatMustWait) {
  this->everywhere([](auto& life) { life.commit(0, {life.never}); });
}
TYPED_TEST(ReentrancyTest, ARecordUnderAnotherKey) {
  this->everywhere([](auto& life) { life.commit(2, {life.ready}); });
}
TYPED_TEST(ReentrancyTest, TheRemovalOfTheKey) {
  this->everywhere([](auto& life) {
    // A removal inside a removal of the key takes the handle that the outer one insists on.
    if (!life.removing) life.remove(0);
  });
}
TYPED_TEST(ReentrancyTest, TheRemovalOfTheKeyAndTheLossOfItsHandle) {
  this->everywhere([](auto& life) {
    if (!life.removing) life.remove(0);
    life.drop(0);
  });
}
TYPED_TEST(ReentrancyTest, TheRemovalOfAnotherKey) {
  this->everywhere([](auto& life) {
    if (!life.removing) life.remove(1);
  });
}
TYPED_TEST(ReentrancyTest, TheLossOfTheHandle) {
  this->everywhere([](auto& life) { life.drop(0); });
}
TYPED_TEST(ReentrancyTest, TheRemovalOfAllHandles) {
  this->everywhere([](auto& life) {
    if (!life.removing && life.w.table) life.w.table->entryHandleDelAll();
  });
}
TYPED_TEST(ReentrancyTest, TheRemovalOfAllParkedRecordsAndReactors) {
  this->everywhere([](auto& life) {
    if (!life.w.table) return;
    life.w.table->unresolvedEntryDelAll();
    life.w.table->pendingEntrySmDelAll();
  });
}
TYPED_TEST(ReentrancyTest, TheLossOfTheTable) {
  this->everywhere([](auto& life) { life.w.table = nullptr; });
}
TYPED_TEST(ReentrancyTest, TheLossOfTheTableAndTheHandle) {
  this->everywhere([](auto& life) {
    life.w.table = nullptr;
    life.drop(0);
    life.drop(1);
  });
}

TYPED_TEST(ReentrancyTest, AHandlerAtTheRetargetOfAReactorMayRemoveTheKey) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const needed = TestHandle::waiting();
  w.table->pendingEntrySmIs(nullptr, key);  // left by an earlier handle
  auto handle = w.handle(key);
  handle->writeResponseHandlerIs([&](auto) { w.table->entryRemove(key); });
  handle->hwEntryIndexIs(1);
  handle->entryStateIs(Asic::HwTable::success());
  w.park(key, w.entry(7, {needed}));
  handle = nullptr;
  needed->program(10);
  EXPECT_FALSE(w.table->entryHandleExists(key));
  EXPECT_FALSE(w.table->entryExists(key)) << "programmed, with no handle that could remove it";
}

TYPED_TEST(ReentrancyTest, TheEntryCollectionToleratesTheLossOfItsTable) {
  for (bool const atHardware : {true, false}) {
    World<TypeParam> w;
    auto const key = w.key(1);
    auto const lose = [&] { w.table = nullptr; };
    if (atHardware) {
      w.util->onWrite = [&](auto const&, auto const&) { lose(); };
    } else {
      w.onAnnouncement = [&](auto, auto const&) { lose(); };
    }
    w.table->entryIs(key, w.entry(7));
    EXPECT_FALSE(w.table);
  }
  for (bool const atHardware : {true, false}) {
    World<TypeParam> w;
    auto const key = w.key(1);
    w.table->entryIs(key, w.entry(7));
    if (atHardware) {
      w.util->onDelete = [&](auto const&) { w.table = nullptr; };
    } else {
      w.onAnnouncement = [&](auto, auto const&) { w.table = nullptr; };
    }
    EXPECT_TRUE(w.table->entryDel(key) == w.entry(7));
    EXPECT_FALSE(w.table);
  }
}

TYPED_TEST(ReentrancyTest, TheCollectionsTolerateTheLossOfTheirTable) {
  using Table = typename TypeParam::Table;
  std::vector<std::function<void(World<TypeParam>&, typename TypeParam::Key const&)>> const
      operations = {
          [](auto& w, auto const& key) { w.table->entryHandleMutate(key); },
          [](auto& w, auto const& key) { w.table->entryHandleDel(key); },
          [](auto& w, auto const& key) { w.table->unresolvedEntryIs(key); },
          [](auto& w, auto const& key) { w.table->pendingEntrySmIs(nullptr, key); },
      };
  for (auto const& operation : operations) {
    World<TypeParam> w;
    auto const key = w.key(1);
    w.onAnnouncement = [&](auto, auto const&) { w.table = nullptr; };
    operation(w, key);
    EXPECT_FALSE(w.table);
  }
  std::vector<std::function<void(Table&, typename TypeParam::Key const&)>> const removals = {
      [](Table& table, auto const& key) { table.entryHandleDel(key); },
      [](Table& table, auto const&) { table.entryHandleDelAll(); },
      [](Table& table, auto const& key) { table.unresolvedEntryDel(key); },
      [](Table& table, auto const&) { table.unresolvedEntryDelAll(); },
      [](Table& table, auto const& key) { table.pendingEntrySmDel(key); },
      [](Table& table, auto const&) { table.pendingEntrySmDelAll(); },
      [](Table& table, auto const& key) { table.entryRemove(key); },
  };
  for (auto const& removal : removals) {
    World<TypeParam> w;
    auto const key = w.key(1);
    (void)w.handle(key);
    w.table->unresolvedEntryIs(key);
    w.table->pendingEntrySmIs(nullptr, key);
    w.onAnnouncement = [&](auto, auto const&) { w.table = nullptr; };
    removal(*w.table, key);
    EXPECT_FALSE(w.table);
  }
}

}  // namespace
}  // namespace TableTests
