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
  // The slots of the needed handles that a record can have.
  static constexpr std::array slots{9, 12};
  // Whether handles are found through a registry that does not own them, so that there are
  // auto-removed entries and an identical record is answered with the existing handle.
  static constexpr bool rawRegistry = false;

  static Vek::Ptr<Table> make() { return Table::IngL3NextHop1TableIs(); }
  // Keys are told apart in texts by their number, which is the row.
  static Key key(unsigned number) { return TestHandle::programmed(number); }
  static std::string text(Key const& key) {
    return "key" + std::to_string(key->hwEntryIndex().value());
  }
  static std::string whereText(Where key) { return text(key); }
  // The handle that the hardware's answer to a write goes to, and the row that it is for.
  static Vek::Ptr<Table::EntryHandle> handleAt(Table& table, Where key) {
    return table.entryHandleAccess(key);
  }
  static Asic::Index rowOf(Table&, Where key) { return key->hwEntryIndex(); }
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

using EntryTables = testing::Types<IngressAdapter>;

struct AdapterNames {
  template <class A>
  static std::string GetName(int) {
    return A::name;
  }
};

}  // namespace TableTests
