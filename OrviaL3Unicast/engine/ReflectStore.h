// A table's collections as reflection sees them: the columns of its store (engine/KeyStore.h), each
// with what the table offers for its elements.
//
// Elements that a table makes itself cannot be set: handles of a table whose keys bring their rows,
// parked records. A pending reactor is made for the handle that is given. Everything that can be
// set or deleted goes through the table's own operations, which announce.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "OrviaL3Unicast/engine/EntryTable.h"
#include "Vek/ReflectException.h"

namespace OrviaL3Unicast::engine {

// Two lists of rows, one after the other.
template <class Row, std::size_t First, std::size_t Second>
constexpr std::array<Row, First + Second> joined(std::array<Row, First> const& first,
                                                 std::array<Row, Second> const& second) {
  std::array<Row, First + Second> all{};
  for (std::size_t i = 0; i < First; ++i) all[i] = first[i];
  for (std::size_t i = 0; i < Second; ++i) all[First + i] = second[i];
  return all;
}

// Goes over a table's store, which the table shows to nobody else but those that derive from it.
template <class T>
struct StoreView {
  // Visits the keys whose columns are wanted, in the order in which they came, until the visit says
  // no.
  template <class Wanted, class Visit>
  static void keys(TableBase<T> const& table, Wanted const& wanted, Visit const& visit) {
    for (auto const& node : table.store_) {
      if (wanted(node.value) && !visit(node.key)) return;
    }
  }
  template <class Wanted>
  static std::size_t count(TableBase<T> const& table, Wanted const& wanted) {
    std::size_t present = 0;
    keys(table, wanted, [&](typename T::Key const&) { return ++present > 0; });
    return present;
  }
};

template <class T>
struct EntryElements {
  using Table = typename T::Table;
  using Key = typename T::Key;
  using Element = typename T::Entry;

  static std::optional<Element> read(Table const& table, Key const& key) {
    if (!table.entryExists(key)) return {};
    return table.entry(key);
  }
  static void write(Table& table, Key const& key, Element const& entry) {
    table.entryIs(key, entry);
  }
  static void del(Table& table, Key const& key) { table.entryDel(key); }
  static std::size_t count(Table const& table) { return table.entrys(); }
  static void keys(Table const& table, auto const& visit) {
    StoreView<T>::keys(
        table, [](auto const& columns) { return columns.entry.has_value(); }, visit);
  }
};

template <class T>
struct HandleElements {
  using Table = typename T::Table;
  using Key = typename T::Key;
  using Element = Vek::Ptr<EntryHandle<T>>;

  static std::optional<Element> read(Table const& table, Key const& key) {
    return table.entryHandle(key);
  }
  static void write(Table& table, Key const& key, Element const& handle) requires T::ownsRows {
    table.entryHandleIs(key, handle);
  }
  static void del(Table& table, Key const& key) { table.entryHandleDel(key); }
  static std::size_t count(Table const& table) { return table.entryHandles(); }
  static void keys(Table const& table, auto const& visit) {
    StoreView<T>::keys(
        table, [](auto const& columns) { return columns.entryHandle != nullptr; }, visit);
  }
};

template <class T>
struct ParkedElements {
  using Table = typename T::Table;
  using Key = typename T::Key;
  using Element = typename UnresolvedEntry<T>::Ptr;

  static std::optional<Element> read(Table const& table, Key const& key) {
    return table.unresolvedEntry(key);
  }
  static void del(Table& table, Key const& key) { table.unresolvedEntryDel(key); }
  static std::size_t count(Table const& table) { return table.unresolvedEntrys(); }
  static void keys(Table const& table, auto const& visit) {
    StoreView<T>::keys(
        table, [](auto const& columns) { return columns.unresolvedEntry != nullptr; }, visit);
  }
};

template <class T>
struct PendingElements {
  using Table = typename T::Table;
  using Key = typename T::Key;
  using Element = typename PendingEntrySm<T>::Ptr;

  // The key's reactor, re-targeted to the handle, or a new one.
  using Origin = Vek::Ptr<EntryHandle<T>>;
  static void make(Table& table, Key const& key, Origin const& entryHandle) {
    table.pendingEntrySmIs(entryHandle, key);
  }

  static std::optional<Element> read(Table const& table, Key const& key) {
    return table.pendingEntrySm(key);
  }
  static void del(Table& table, Key const& key) { table.pendingEntrySmDel(key); }
  static std::size_t count(Table const& table) { return table.pendingEntrySms(); }
  static void keys(Table const& table, auto const& visit) {
    StoreView<T>::keys(
        table, [](auto const& columns) { return columns.pendingEntrySm != nullptr; }, visit);
  }
};

template <class T>
struct RawHandleElements {
  using Table = typename T::Table;
  using Key = typename T::Key;
  using Element = Vek::Ptr<EntryHandle<T>>;

  static std::optional<Element> read(Table const& table, Key const& key) {
    return table.rawEntryHandle(key);
  }
  // The registration does not keep its handle alive, and is taken out by the end of a handle of
  // this table and key only: any other would leave an address behind.
  static void write(Table& table, Key const& key, Element const& handle) {
    if (handle && !(handle->swTable() == &table && handle->key() == key)) {
      static constexpr auto text =
          T::qualifiedName + ".rawEntryHandle: a handle of another table or key";
      throw Vek::ReflectionException(text.c_str());
    }
    table.rawEntryHandleIs(key, handle.get());
  }
  static void del(Table& table, Key const& key) { table.rawEntryHandleDel(key); }
  static std::size_t count(Table const& table) { return StoreView<T>::count(table, isWanted); }
  static void keys(Table const& table, auto const& visit) {
    StoreView<T>::keys(table, isWanted, visit);
  }

 private:
  // A handle whose end has begun counts as none, as it does for the table.
  static constexpr auto isWanted = [](auto const& columns) {
    return columns.rawEntryHandle != nullptr && !columns.rawEntryHandle->isEnding();
  };
};

}  // namespace OrviaL3Unicast::engine
