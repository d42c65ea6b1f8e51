// The agent's own utilities: how each of the four tables gets to the hardware.
//
//   table->utilIs(new GroupUtil(hardware));
//
// An operation starts its work and returns; the hardware's answer comes to the table later, from
// the agent's loop. A table owns its utility, so a utility does not keep its table alive. One
// thread.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>

#include "Hardware.h"
#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"

using HwTable = Vek::Ptr<Asic::HwTable>;
using Handle = Asic::SwTable::EntryHandle;

// What a record is in hardware. The rows of other tables are read at the write: a table calls its
// utility when everything that the record points at has its row.
template <class Name>
NextHopRow contentsOf(OrviaL3Unicast::NextHopEntry<Name> const& entry) {
  return {entry.l3Oif1(), entry.mtuProfilePtr(), entry.destination()};
}
inline MemberRow contentsOf(OrviaL3Unicast::L3EcmpMember const& member) {
  return {member.nextHopEntry().value()};
}
template <class Name>
GroupRow contentsOf(OrviaL3Unicast::L3EcmpGroupEntry<Name> const& entry) {
  return {entry.ecmpBlockPtr(), entry.numPaths()};
}

inline void print(char const* what, std::uint32_t row, NextHopRow const& contents) {
  std::printf("  %s next hop row %u: interface %u, MTU profile %u, destination %u\n", what, row,
              contents.interface, contents.mtuProfile, contents.destination);
}
inline void print(char const* what, std::uint32_t row, MemberRow const& contents) {
  std::printf("  %s member row %u: next hop row %u\n", what, row, contents.nextHop);
}
inline void print(char const* what, std::uint32_t row, GroupRow const& contents) {
  std::printf("  %s group row %u: %u paths from member row %u\n", what, row, contents.paths,
              contents.firstMember);
}

// The row that a table means: given by itself, or brought by the key.
inline std::uint32_t rowOf(Asic::Index row) { return row.value(); }
inline std::uint32_t rowOf(OrviaL3Unicast::L3EcmpMemberIndex row) { return row.value(); }
inline std::uint32_t rowOf(Vek::Ptr<Handle const> const& key) {
  return key->hwEntryIndex().value();
}

// What the four do alike: the rows `first` to `last` of one array.
template <class Traits, class Array>
class ArrayUtil : public Traits::Util {
 public:
  using Key = typename Traits::Key;
  using Entry = typename Traits::Entry;
  using HwKey = typename Traits::HwKey;
  using Stamp = typename Array::Stamp;

  [[nodiscard]] std::uint32_t minIndex() const override { return first_; }
  [[nodiscard]] std::uint32_t maxIndex() const override { return last_; }
  // For tools. This hardware keeps no keys, so it cannot say.
  [[nodiscard]] Asic::Index hwTableEntryIndex(HwTable const&, Key const&) const override {
    return Asic::Index::invalidIndex();
  }
  void hwTableEntryIs(HwTable const& hwTable, HwKey where, Entry const& entry) override {
    std::uint32_t const row = rowOf(where);
    auto const contents = contentsOf(entry);
    print("write", row, contents);
    answerLater(hwTable, where, rows_.write(row, contents));
  }
  void hwTableEntryDel(HwTable const&, HwKey where) override {
    // An entry that never got a row is deleted at the invalid index: nothing to do.
    std::uint32_t const row = rowOf(where);
    if (auto const contents = rows_[row]) print("delete", row, *contents);
    rows_.erase(row);
  }
  // At a restart. The rows of another table stay.
  void hwTableEntryDelAll(HwTable const&) override {
    for (std::uint32_t row = first_; row <= last_; ++row) {
      if (auto const contents = rows_[row]) print("clear", row, *contents);
      rows_.erase(row);
    }
  }
  void syncEntries(HwTable const&, Vek::Ptr<OrviaAsicUtils::SwTable> const&) override {}

 protected:
  ArrayUtil(char const* name, Hardware& hardware, Array& rows, std::uint32_t first,
            std::uint32_t last)
      : Traits::Util(name), hardware_(hardware), rows_(rows), first_(first), last_(last) {}

  // A table that chooses its rows is answered through the hardware table: the entry that has the
  // row hears of it. The answer may come after the end of the table and of this utility, so it
  // holds what it needs.
  virtual void answerLater(HwTable const& hwTable, HwKey where, Stamp stamp) {
    hardware_.answerLater([hwTable, row = rowOf(where), stamp, &rows = rows_] {
      if (isMeant(rows, row, stamp)) hwTable->writeResponseIs(row, stateOf(stamp));
    });
  }

  // Whether the row is as that write left it: a later write gets an answer of its own.
  static bool isMeant(Array const& rows, std::uint32_t row, Stamp stamp) {
    return rows.stamp(row) == stamp;
  }
  static Asic::HwTable::EntryState stateOf(Stamp stamp) {
    return stamp == Array::noSuchRow ? Asic::HwTable::refused : Asic::HwTable::success();
  }

  Hardware& hardware_;
  Array& rows_;
  std::uint32_t const first_;
  std::uint32_t const last_;
};

class EcmpNextHopUtil final
    : public ArrayUtil<OrviaL3Unicast::EcmpIngL3NextHop1Traits, decltype(Hardware::nextHops)> {
 public:
  explicit EcmpNextHopUtil(Hardware& hardware)
      : ArrayUtil("array", hardware, hardware.nextHops, 0, Hardware::firstIngressRow - 1) {}
};

class GroupUtil final
    : public ArrayUtil<OrviaL3Unicast::L3EcmpGroupTraits, decltype(Hardware::groups)> {
 public:
  explicit GroupUtil(Hardware& hardware)
      : ArrayUtil("array", hardware, hardware.groups, 0, Hardware::groupRows - 1) {}
};

class MemberUtil final
    : public ArrayUtil<OrviaL3Unicast::L3EcmpMemberTraits, decltype(Hardware::members)> {
 public:
  explicit MemberUtil(Hardware& hardware)
      : ArrayUtil("array", hardware, hardware.members, 0, Hardware::memberRows - 1) {}

 protected:
  // A block counts as programmed once its rows were handed over. Nobody waits for answers.
  void answerLater(HwTable const&, HwKey, Stamp) override {}
};

// The table whose keys bring their rows.
class IngressUtil final
    : public ArrayUtil<OrviaL3Unicast::IngL3NextHop1Traits, decltype(Hardware::nextHops)> {
 public:
  using Table = OrviaL3Unicast::IngL3NextHop1Table;

  // What the agent knows of a row, from before: whose it is, and what it says.
  struct Owner {
    Key key;
    Entry record;
  };
  using Owners = std::map<std::uint32_t, Owner>;

  IngressUtil(Table& table, Hardware& hardware, Owners owners)
      : ArrayUtil("array", hardware, hardware.nextHops, Hardware::firstIngressRow,
                  Hardware::nextHopRows - 1),
        table_(table.link()),
        owners_(std::move(owners)) {}

  // At a restart, while the table calls no hardware: puts back what the hardware holds. Storing the
  // record resets the handle's state, so row and state come last, in this order.
  void syncEntries(HwTable const&, Vek::Ptr<OrviaAsicUtils::SwTable> const& swTable) override {
    auto* const table = static_cast<Table*>(swTable.get());
    for (auto const& [row, owner] : owners_) {
      if (!rows_[row]) continue;
      print("found", row, *rows_[row]);
      auto const handle = table->entryHandleIs(owner.key, table);
      table->entryIs(owner.key, owner.record);
      handle->hwEntryIndexIs(row);
      handle->entryStateIs(Asic::HwTable::success());
    }
  }

 protected:
  // The answer goes to the handle that the table has for the key by then. The link leads to the
  // table, or nowhere once it is gone.
  void answerLater(HwTable const&, HwKey key, Stamp stamp) override {
    hardware_.answerLater([link = table_, key, row = rowOf(key), stamp, &rows = rows_] {
      if (!isMeant(rows, row, stamp) || link->table() == nullptr) return;
      if (auto const handle = link->table()->entryHandleAccess(key)) {
        handle->hwEntryIndexIs(row);
        handle->entryStateIs(stateOf(stamp));
      }
    });
  }

 private:
  using Link = OrviaL3Unicast::engine::TableLink<OrviaL3Unicast::IngL3NextHop1Traits>;
  Vek::Ptr<Link> const table_;
  Owners const owners_;
};
