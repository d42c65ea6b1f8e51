// What the suites that are typed over the entry tables know of each table.
//
// An adapter makes tables, keys and records of one table and turns them into text. A new table
// joins all typed suites when its adapter joins EntryTables. Where tables differ, a constant says
// so.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <span>
#include <string>
#include <vector>

#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "TestHandle.h"

namespace TableTests {

using Needed = Vek::Ptr<Asic::SwTable::EntryHandle const>;

struct IngressAdapter {
  using Traits = OrviaL3Unicast::IngL3NextHop1Traits;
  using Table = OrviaL3Unicast::IngL3NextHop1Table;
  using Util = OrviaL3Unicast::IngL3NextHop1TableUtil;
  using Key = Traits::Key;
  using Entry = Traits::Entry;
  using Where = Key const&;

  static constexpr char const* name = "IngL3NextHop1Table";
  // Two slots of needed handles.
  static constexpr std::array slots{9, 12};
  // Whether handles are found through a registry that does not own them. Such a table has
  // auto-removed entries, answers an identical record with the existing handle, and chooses rows
  // itself. See AllocatedRowAdapter for what else differs.
  static constexpr bool rawRegistry = false;

  static Vek::Ptr<Table> make() { return Table::IngL3NextHop1TableIs(); }
  // Keys are told apart in texts by their number, which is the row.
  static Key key(unsigned number) { return TestHandle::programmed(number); }
  static std::string text(Key const& key) {
    return "key" + std::to_string(key->hwEntryIndex().value());
  }
  static std::string whereText(Where key) { return text(key); }
  // The announcements of a handle's creation and of the registrations that end with it.
  static std::vector<std::string> created(std::string const& key) { return {"entryHandle " + key}; }
  static std::vector<std::string> unregistered(std::string const&) { return {}; }
  // What a table needs beside its hardware table before it can program that many keys.
  static void initialize(Table&, std::uint32_t) {}
  // Makes the table own a registered handle for the key, the present one if there is one.
  static Vek::Ptr<Table::EntryHandle> own(Table& table, Key const& key) {
    return table.entryHandleMutate(key);
  }
  // Makes the key unknown to entryHandleExists.
  static void unregister(Table& table, Key const& key) { table.entryHandleDel(key); }
  // A handle that was made by a factory, in the state in which it may end.
  static void mayEnd(Table&, Vek::Ptr<Table::EntryHandle> const&) {}
  // The hardware accepts what was written: the utility of this table tells the key's handle.
  static void answer(Table& table, Asic::HwTable&, Where key) {
    Vek::Ptr<Table::EntryHandle> const handle = table.entryHandleAccess(key);
    if (!handle) return;
    handle->hwEntryIndexIs(key->hwEntryIndex());
    handle->entryStateIs(Asic::HwTable::success());
  }
  static Where whereOf(Table&, Key const& key) { return key; }
  // A record told apart by its number, with the handles in the first slots.
  static Entry entry(unsigned number, std::span<Needed const> handles = {}) {
    Entry entry;
    entry.destinationIs(static_cast<std::uint16_t>(number));
    for (std::size_t i = 0; i < handles.size(); ++i) {
      entry.neededEntryHandleIs(slots[i], handles[i]);
    }
    return entry;
  }
  static std::string text(Entry const& entry) { return std::to_string(entry.destination()); }
};

// What the two tables that choose their rows have in common. Beside the registry that does not own:
// - A handle that ends is in that registry, and is taken out of it with a last announcement.
// - A row comes from the allocator, which doInitComplete() makes for numEntries() rows.
// - The hardware's answer is for a row, and finds the handle through the hardware table.
template <class T>
struct AllocatedRowAdapter {
  using Traits = T;
  using Table = typename T::Table;
  using Util = typename T::Util;
  using Key = typename T::Key;
  using Entry = typename T::Entry;
  using Handle = Vek::Ptr<typename Table::EntryHandle>;
  using Where = Asic::Index;

  static constexpr bool rawRegistry = true;

  static std::string whereText(Where row) { return "row" + std::to_string(row.value()); }
  static std::vector<std::string> created(std::string const& key) {
    return {"entryHandle " + key, "rawEntryHandle " + key};
  }
  static std::vector<std::string> unregistered(std::string const& key) {
    return {"rawEntryHandle " + key};
  }
  static void initialize(Table& table, std::uint32_t keys) {
    table.numEntriesIs(keys + 1);  // row 0 is reserved
    table.doInitComplete();
  }
  static Handle own(Table& table, Key const& key) {
    // Making a handle while the key's old one lives would leave one of them unregistered.
    Handle const handle = table.entryHandleAccess(key);
    if (!handle) return table.entryHandleMutate(key);
    table.entryHandleIs(key, handle);
    return handle;
  }
  static void unregister(Table& table, Key const& key) { table.rawEntryHandleDel(key); }
  static void mayEnd(Table& table, Handle const& handle) {
    table.rawEntryHandleIs(handle->key(), handle.get());
  }
  static void answer(Table&, Asic::HwTable& hwTable, Where row) {
    hwTable.writeResponseIs(row, Asic::HwTable::success());
  }
  static Where whereOf(Table& table, Key const& key) {
    return table.firstFreeIndexAllocator()->indexForKey(Traits::keyType(), &key);
  }
};

struct EcmpNextHopAdapter : AllocatedRowAdapter<OrviaL3Unicast::EcmpIngL3NextHop1Traits> {
  static constexpr char const* name = "EcmpIngL3NextHop1Table";
  static constexpr std::array slots{9, 12};

  static Vek::Ptr<Table> make() { return Table::EcmpIngL3NextHop1TableIs(); }
  static Key key(unsigned number) { return {0, Asic::AddressFamily::ipv4, number}; }
  static std::string text(Key const& key) { return "key" + std::to_string(key.interfaceIndex()); }
  static Entry entry(unsigned number, std::span<Needed const> handles = {}) {
    Entry entry;
    entry.destinationIs(static_cast<std::uint16_t>(number));
    for (std::size_t i = 0; i < handles.size(); ++i) {
      entry.neededEntryHandleIs(slots[i], handles[i]);
    }
    return entry;
  }
  static std::string text(Entry const& entry) { return std::to_string(entry.destination()); }
};

struct GroupAdapter : AllocatedRowAdapter<OrviaL3Unicast::L3EcmpGroupTraits> {
  static constexpr char const* name = "L3EcmpGroupTable";
  // A group itself needs one handle, in slot 3. Its record takes a handle in any slot, and that is
  // how it joins the tests with two.
  static constexpr std::array slots{3, 7};

  static Vek::Ptr<Table> make() { return Table::L3EcmpGroupTableIs(); }
  static Key key(unsigned number) { return {number}; }
  static std::string text(Key const& key) { return "key" + std::to_string(key.value()); }
  static Entry entry(unsigned number, std::span<Needed const> handles = {}) {
    Entry entry;
    entry.numPathsIs(static_cast<std::uint16_t>(number));
    for (std::size_t i = 0; i < handles.size(); ++i) {
      entry.neededEntryHandleIs(slots[i], handles[i]);
    }
    return entry;
  }
  static std::string text(Entry const& entry) { return std::to_string(entry.numPaths()); }
};

using EntryTables = testing::Types<IngressAdapter, EcmpNextHopAdapter, GroupAdapter>;
// Those with a registry that does not own.
using RawRegistryTables = testing::Types<EcmpNextHopAdapter, GroupAdapter>;

struct AdapterNames {
  template <class A>
  static std::string GetName(int) {
    return A::name;
  }
};

}  // namespace TableTests
