// A table with its hardware, its utility and its observers, all of which write into one journal.
//
//   World<TypeParam> w;
//   auto const key = w.key(1);
//   w.table->...;
//   EXPECT_EQ(w.take(), (Lines{"unresolvedEntry key1"}));
//
// Announcements of the table read "<collection> <key>", changes of a watched handle "<name> row 5"
// and
// "<name> state 1", handler calls "<name> 1"; for the rest see RecordingUtil.h and Journal.h.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Journal.h"
#include "LiveObjects.h"
#include "RecordingUtil.h"
#include "TableAdapters.h"
#include "Vek/NotifieeConst.h"

namespace TableTests {

// Several lists of lines, one after the other.
template <class... More>
Lines joined(Lines first, More const&... more) {
  (first.insert(first.end(), more.begin(), more.end()), ...);
  return first;
}

inline std::string stateText(Asic::HwTable::EntryState state) {
  return std::to_string(static_cast<unsigned>(state));
}

// Runs a function at each announcement of one object.
class Observer final : public Vek::Tracked<Observer, Vek::NotifieeConst> {
 public:
  using Ptr = Vek::Ptr<Observer>;
  using Function = std::function<void(Vek::AttributeId, void const*)>;

  static constexpr char const* typeName() { return "TableTests::Observer"; }
  static Ptr of(Vek::PtrInterface const* object, Function function) {
    Ptr observer = new Observer(std::move(function));
    observer->notifierIs(object);
    observer->isRegisteredNotifieeIs(true);
    observer->hasNotificationActiveIs(true);
    return observer;
  }
  void onAttribute(Vek::AttributeId attributeId, void const* key) override {
    auto const function = function_;
    function(attributeId, key);
  }

 private:
  explicit Observer(Function function) : function_(std::move(function)) {}

  Function function_;
};

template <class Table>
std::string attributeText(Vek::AttributeId attribute) {
  using Attribute = typename Table::Attribute;
  if (attribute == Attribute::entry) return "entry";
  if (attribute == Attribute::entryHandle) return "entryHandle";
  if (attribute == Attribute::rawEntryHandle) return "rawEntryHandle";
  if (attribute == Attribute::unresolvedEntry) return "unresolvedEntry";
  if (attribute == Attribute::pendingEntrySm) return "pendingEntrySm";
  return "attribute" + std::to_string(attribute.value());
}

// Derived here, so that the count of live objects is kept in one shared object.
class TestHwTable final : public Asic::HwTable {};

enum class Traced { yes, no };

template <class A>
class World {
 public:
  using Table = typename A::Table;
  using Key = typename A::Key;
  using Entry = typename A::Entry;
  using Handle = typename Table::EntryHandle;
  using HandleState = Asic::HwTable::EntryState;

  // A world for that many keys.
  explicit World(Traced traced = Traced::yes, std::uint32_t keys = 16)
      : table(A::make()), util(new RecordingUtil<A>(journal)), hwTable(new TestHwTable) {
    if (traced == Traced::yes) traces = std::make_unique<TraceRecorder>(journal);
    util->expectedHwTable = hwTable.get();
    table->utilIs(util);
    table->hwTableIs(hwTable);
    table->hwTableReadyIs(true);
    A::initialize(*table, keys);
    observer_ = Observer::of(table.get(), [this](Vek::AttributeId attribute, void const* key) {
      if (key == nullptr) return;  // the platform's own attributes
      // A copy, as the key is only lent.
      Key const copy = *static_cast<Key const*>(key);
      journal.add(attributeText<Table>(attribute) + " " + A::text(copy));
      if (auto const hook = onAnnouncement) hook(attribute, copy);
    });
  }
  ~World() {
    onAnnouncement = nullptr;
    util->onWrite = nullptr;
    util->onDelete = nullptr;
    table = nullptr;
    traces = nullptr;
  }
  World(World const&) = delete;
  World& operator=(World const&) = delete;

  Lines take() { return journal.take(); }

  Key key(unsigned number) { return A::key(number); }
  Entry entry(unsigned number, std::vector<Needed> const& handles = {}) {
    return A::entry(number, handles);
  }
  // A handler that writes down its calls, then runs `then`.
  auto handler(std::string name = "handler", std::function<void()> then = {}) {
    return [this, name = std::move(name), then = std::move(then)](HandleState state) {
      journal.add(name + " " + stateText(state));
      if (then) then();
    };
  }
  // A registered handle, as the write path makes it for an entry that the table keeps.
  Vek::Ptr<Handle> handle(Key const& key) {
    if (Vek::Ptr<Handle> const present = table->entryHandleAccess(key)) return present;
    return table->entryHandleMutate(key);
  }
  // Parks a record as the write path does.
  auto park(Key const& key, Entry const& entry) {
    auto parked = table->unresolvedEntryIs(key);
    parked->initializeUnresolvedEntry(entry);
    return parked;
  }
  // Puts a programmed record with the hardware's answer in place, without a word in the journal.
  Vek::Ptr<Handle> programmed(Key const& key, Entry const& entry) {
    Vek::Ptr<Handle> made = handle(key);
    table->entryIs(key, entry);
    A::answer(*table, *hwTable, A::whereOf(*table, key));
    EXPECT_TRUE(made->isProgrammed());
    journal.clear();
    return made;
  }
  // Writes down the handle's changes.
  Observer::Ptr watch(Asic::SwTable::EntryHandle const* handle, std::string name = "handle",
                      std::function<void()> then = {}) {
    return Observer::of(handle, [this, handle, name = std::move(name), then = std::move(then)](
                                    Vek::AttributeId attribute, void const*) {
      if (attribute == Asic::SwTable::EntryHandle::hwEntryIndexAttribute) {
        journal.add(name + " row " + std::to_string(handle->hwEntryIndex().value()));
      } else if (attribute == Asic::SwTable::EntryHandle::entryStateAttribute) {
        journal.add(name + " state " + stateText(handle->entryState()));
      } else {
        journal.add(name + " attribute" + std::to_string(attribute.value()));
      }
      if (then) then();
    });
  }

  Journal journal;
  std::unique_ptr<TraceRecorder> traces;
  std::function<void(Vek::AttributeId, Key const&)> onAnnouncement;
  Vek::Ptr<Table> table;
  Vek::Ptr<RecordingUtil<A>> util;
  Vek::Ptr<Asic::HwTable> hwTable;

 private:
  Observer::Ptr observer_;
};

}  // namespace TableTests
