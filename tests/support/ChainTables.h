// The three tables of the chain under test: each with a hardware table, a utility that records, and
// an observer that records its announcements.
//
//   World world;                     // attached, ready, doInitComplete() done
//   auto hop = world.hops.table->entryRef(NextHops::key(1), NextHops::entry(oif, 7));
//   world.hops.answer(1);            // the hardware accepts row 1
//   EXPECT_EQ(world.journal.take(), (Lines{...}));
//
// TableWorld<NextHops> and TableWorld<Groups> stand alone as well, for what both have in common.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Asic/HwTable.h"
#include "ChainJournal.h"
#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "Vek/Memory.h"
#include "Vek/NotifieeConst.h"

namespace ChainTests {

using namespace OrviaL3Unicast;

using NeededHandle = Vek::Ptr<Asic::SwTable::EntryHandle const>;
using State = Asic::HwTable::EntryState;

constexpr State notAnswered = Asic::HwTable::notAnswered;
constexpr State accepted = Asic::HwTable::accepted;
constexpr State refused = Asic::HwTable::refused;
constexpr Asic::Index noRow = Asic::Index::invalidIndex();

// An entry of a table that is not here: an interface, or a stand-in for any link of the chain.
class TestHandle final : public Vek::Tracked<TestHandle, Asic::SwTable::EntryHandle> {
 public:
  static constexpr char const* typeName() { return "ChainTests::TestHandle"; }
};

inline Vek::Ptr<TestHandle> waitingHandle() { return new TestHandle; }
inline Vek::Ptr<TestHandle> programmedHandle(std::uint32_t row) {
  Vek::Ptr<TestHandle> const handle = new TestHandle;
  handle->hwEntryIndexIs(row);
  handle->entryStateIs(accepted);
  return handle;
}
inline void program(Asic::SwTable::EntryHandle& handle, std::uint32_t row) {
  handle.hwEntryIndexIs(row);
  handle.entryStateIs(accepted);
}

// What is said of each table here: how to make keys and records, and how they are written in a
// journal. The n of a record tells two records apart.
struct NextHops {
  using Table = EcmpIngL3NextHop1Table;
  using Util = EcmpIngL3NextHop1TableUtil;
  using Traits = EcmpIngL3NextHop1Traits;
  using Key = L3EcmpNextHopKey;
  using Entry = Table::Entry;
  static constexpr char const* name = "hop";
  static constexpr char const* unit = "L3EcmpIngL3NextHop1Table";
  static constexpr char const* keyType = "Asic::L3EcmpNextHopKey";
  static constexpr std::uint32_t slot = 9;

  static Vek::Ptr<Table> make() { return Table::EcmpIngL3NextHop1TableIs(); }
  static Key key(std::uint32_t n) { return {0, Asic::AddressFamily::ipv4, n}; }
  static Entry entry(NeededHandle const& needed, std::uint16_t n) {
    Entry entry;
    entry.destinationIs(n);
    entry.l3Oif1HandleIs(needed);
    return entry;
  }
  static std::string keyText(Key const& key) { return std::to_string(key.interfaceIndex()); }
  static std::string keyStream(std::uint32_t n) { return "vrf 0 inet dev " + std::to_string(n); }
  static std::string text(Entry const& entry) {
    return std::to_string(entry.l3Oif1()) + "/" + std::to_string(entry.destination());
  }
};

struct Groups {
  using Table = L3EcmpGroupTable;
  using Util = L3EcmpGroupTableUtil;
  using Traits = L3EcmpGroupTraits;
  using Key = Table::Index;
  using Entry = Table::Entry;
  static constexpr char const* name = "group";
  static constexpr char const* unit = "L3EcmpGroupTable";
  static constexpr char const* keyType = "OrviaL3Unicast::L3EcmpGroupTable::Index";
  static constexpr std::uint32_t slot = 3;

  static Vek::Ptr<Table> make() { return Table::L3EcmpGroupTableIs(); }
  static Key key(std::uint32_t n) { return {n}; }
  static Entry entry(NeededHandle const& needed, std::uint16_t n) { return {0, needed, 0, n}; }
  static std::string keyText(Key key) { return std::to_string(key.value()); }
  static std::string keyStream(std::uint32_t n) { return std::to_string(n); }
  static std::string text(Entry const& entry) {
    return std::to_string(entry.ecmpBlockPtr()) + "/" + std::to_string(entry.numPaths());
  }
};

struct Members {
  using Table = L3EcmpMemberTable;
  using Util = L3EcmpMemberTableUtil;
  using Traits = L3EcmpMemberTraits;
  using Key = Table::EntryBlock;
  using Entry = Table::Entry;
  static constexpr char const* name = "member";
  static constexpr char const* unit = "L3EcmpMemberTable";

  static Vek::Ptr<Table> make() { return Table::L3EcmpMemberTableIs(); }
  static std::string keyText(Key const& key) {
    return "x" + std::to_string(key.blockSize().value());
  }
  static std::string text(Entry const& entry) {
    return entry.nextHopEntryHandle() ? std::to_string(entry.nextHopEntry().value()) : "none";
  }
};

using Block = L3EcmpMemberTable::EntryBlock;

// A full block of these next hops.
template <class Handles>
Block blockOf(Handles const& handles) {
  Block block(Asic::BlockSize(static_cast<std::uint16_t>(handles.size())));
  std::uint32_t position = 0;
  for (NeededHandle const& handle : handles) block.entryIs(position++, L3EcmpMember(handle));
  return block;
}
inline Block blockOf(std::initializer_list<NeededHandle> handles) {
  return blockOf(std::vector<NeededHandle>(handles));
}

// "<table> write <row> <record>", "<table> delete <row>", "<table> ignored delete".
template <class A>
class RecordingUtil final : public Vek::Tracked<RecordingUtil<A>, typename A::Util> {
 public:
  using HwTable = Vek::Ptr<Asic::HwTable>;
  using HwKey = typename A::Traits::HwKey;

  explicit RecordingUtil(Journal& journal)
      : Vek::Tracked<RecordingUtil<A>, typename A::Util>("test"), journal_(journal) {}
  static constexpr char const* typeName() { return "ChainTests::RecordingUtil"; }

  [[nodiscard]] std::uint32_t minIndex() const override { return 3; }
  [[nodiscard]] std::uint32_t maxIndex() const override { return 77; }
  [[nodiscard]] Asic::Index hwTableEntryIndex(HwTable const&,
                                              typename A::Key const&) const override {
    return noRow;
  }
  void hwTableEntryIs(HwTable const& hwTable, HwKey where,
                      typename A::Entry const& entry) override {
    EXPECT_EQ(hwTable.get(), expectedHwTable);
    std::string const row = std::to_string(where.value());
    if (recording) journal_.add(std::string(A::name) + " write " + row + " " + A::text(entry));
    EXPECT_NE(where.value(), noRow.value());
    rows[where.value()] = A::text(entry);
    if (onWrite) onWrite(where.value());
  }
  void hwTableEntryDel(HwTable const& hwTable, HwKey where) override {
    EXPECT_EQ(hwTable.get(), expectedHwTable);
    if (where.value() == noRow.value()) {
      ++ignoredDeletes;
      if (recording) journal_.add(std::string(A::name) + " ignored delete");
      return;
    }
    if (recording) {
      journal_.add(std::string(A::name) + " delete " + std::to_string(where.value()));
    }
    EXPECT_EQ(rows.erase(where.value()), 1U) << "row " << where.value() << " was not written";
    if (onDelete) onDelete(where.value());
  }
  void hwTableEntryDelAll(HwTable const&) override {
    journal_.add(std::string(A::name) + " delete all");
  }
  void syncEntries(HwTable const&, Vek::Ptr<OrviaAsicUtils::SwTable> const&) override {
    journal_.add(std::string(A::name) + " sync");
  }

  Asic::HwTable const* expectedHwTable = nullptr;
  std::map<std::uint32_t, std::string> rows;  // what the hardware holds
  std::uint32_t ignoredDeletes = 0;
  bool recording = true;
  std::function<void(std::uint32_t)> onWrite;
  std::function<void(std::uint32_t)> onDelete;

 private:
  Journal& journal_;
};

// "<table> announces <attribute> <key>".
template <class A>
class TableWatch final : public Vek::NotifieeConst {
 public:
  TableWatch(Journal& journal, typename A::Table const& table) : journal_(journal) {
    notifierIs(&table);
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }

  void onAttribute(Vek::AttributeId id, void const* key) override {
    std::string line = std::string(A::name) + " announces " + nameOf(id);
    if (key != nullptr) line += " " + A::keyText(*static_cast<typename A::Key const*>(key));
    journal_.add(line);
    if (onAnnouncement) onAnnouncement(nameOf(id));
  }

  std::function<void(std::string const&)> onAnnouncement;

 private:
  static std::string nameOf(Vek::AttributeId id) {
    using Attribute = engine::TableAttribute;
    using Base = OrviaAsicUtils::SwTable;
    if (id == Attribute::entry) return "entry";
    if (id == Attribute::entryHandle) return "entryHandle";
    if (id == Attribute::rawEntryHandle) return "rawEntryHandle";
    if (id == Attribute::unresolvedEntry) return "unresolvedEntry";
    if (id == Attribute::pendingEntrySm) return "pendingEntrySm";
    if (id == Attribute::writeResponseSm) return "writeResponseSm";
    if (id == Attribute::firstFreeIndexAllocator) return "firstFreeIndexAllocator";
    if (id == Attribute::indexAllocator) return "indexAllocator";
    if (id == Attribute::entryBlock) return "entryBlock";
    if (id == Attribute::unresolvedEntryBlock) return "unresolvedEntryBlock";
    if (id == Base::hwTableAttribute) return "hwTable";
    if (id == Base::hwTableReadyAttribute) return "hwTableReady";
    if (id == Base::utilAttribute) return "util";
    if (id == Base::numEntriesAttribute) return "numEntries";
    return "attribute " + std::to_string(id.value());
  }

  Journal& journal_;
};

// Records the changes of a handle: "<name> row <row> state <state>".
class HandleWatch final : public Vek::NotifieeConst {
 public:
  HandleWatch(Journal& journal, std::string name, Asic::SwTable::EntryHandle const& handle)
      : journal_(journal), name_(std::move(name)), handle_(handle) {
    notifierIs(&handle);
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }
  void onAttribute(Vek::AttributeId, void const*) override {
    std::string const row =
        handle_.hwEntryIndex() == noRow ? "none" : std::to_string(handle_.hwEntryIndex().value());
    journal_.add(name_ + " row " + row + " state " + std::to_string(handle_.entryState()));
    if (onChange) onChange();
  }

  std::function<void()> onChange;

 private:
  Journal& journal_;
  std::string name_;
  Asic::SwTable::EntryHandle const& handle_;
};

// Records what a handler is called with: "<name> answered <state>".
inline WriteResponseHandler recordingHandler(Journal& journal, std::string const& name) {
  return [&journal, name](OrviaAsicUtils::SwTable::EntryState state) {
    journal.add(name + " answered " + std::to_string(state));
  };
}

template <class A>
struct TableWorld {
  Journal& journal;
  Vek::Ptr<typename A::Table> table = A::make();
  Vek::Ptr<Asic::HwTable> hwTable = new Asic::HwTable;
  Vek::Ptr<RecordingUtil<A>> util;
  Vek::Ptr<TableWatch<A>> watch;

  explicit TableWorld(Journal& j, std::uint32_t rows = 16) : journal(j) {
    util = new RecordingUtil<A>(journal);
    util->expectedHwTable = hwTable.get();
    table->hwTableIs(hwTable);
    table->utilIs(util);
    table->numEntriesIs(rows);
    table->hwTableReadyIs(true);
    table->doInitComplete();
  }
  // From now on announcements are recorded.
  void observe() { watch = new TableWatch<A>(journal, *table); }
  // The hardware answers a write.
  void answer(std::uint32_t row, State state = accepted) { hwTable->writeResponseIs(row, state); }
  // The hardware accepts every write at once, from within the write.
  void answerAtOnce() {
    util->onWrite = [this](std::uint32_t row) { answer(row); };
  }
};

struct World {
  Journal journal;
  TableWorld<NextHops> hops;
  TableWorld<Members> members;
  TableWorld<Groups> groups;

  explicit World(std::uint32_t rows = 16)
      : hops(journal, rows), members(journal, rows), groups(journal, rows) {}
  void record(bool on) {
    hops.util->recording = on;
    members.util->recording = on;
    groups.util->recording = on;
  }
};

// A fixture whose tests must leave no object behind: the live objects of every tracked type are
// counted before and after.
class ChainTest : public testing::Test {
 protected:
  static std::map<std::string, std::uint64_t> liveObjects() {
    std::map<std::string, std::uint64_t> result;
    for (auto const& type : Vek::vekTypeAllocations()) {
      if (type.liveObjects != 0) result[std::string(type.typeName)] += type.liveObjects;
    }
    return result;
  }
  // The objects of a derived fixture come after this and go before it.
  ChainTest() = default;
  ~ChainTest() override { EXPECT_EQ(liveObjects(), baseline_) << "objects were left behind"; }

 private:
  std::map<std::string, std::uint64_t> const baseline_ = liveObjects();
};

// A member table of 16 rows, with next hops to make blocks of: two are programmed, one is not.
class FewMemberRowsTest : public ChainTest {
 protected:
  using Rows = std::map<std::uint32_t, std::string>;
  using Handle = L3EcmpMemberTable::EntryHandle::PtrConst;

  Journal journal;
  Vek::Ptr<TestHandle> const a = programmedHandle(11);
  Vek::Ptr<TestHandle> const b = programmedHandle(12);
  Vek::Ptr<TestHandle> const late = waitingHandle();
  TableWorld<Members> world{journal, 16};
  L3EcmpMemberTable& table = *world.table;
};

// The suites that run over both tables that choose rows for single entries.
template <class A>
class AllocatedRowTest : public ChainTest {
 protected:
  using Table = typename A::Table;
  using Entry = typename A::Entry;
  using Handle = typename Table::EntryHandle;

  static std::string named(std::string const& rest) { return std::string(A::name) + " " + rest; }
  static std::string announces(std::string const& rest) { return named("announces " + rest); }
  auto key(std::uint32_t n = 1) const { return A::key(n); }
  Entry parkedEntry(std::uint16_t n = 1) const { return A::entry(waiting, n); }
  Entry readyEntry(std::uint16_t n = 1) const { return A::entry(ready, n); }
  WriteResponseHandler handler(std::string const& name) { return recordingHandler(journal, name); }

  Journal journal;
  NeededHandle const waiting = waitingHandle();
  Vek::Ptr<TestHandle> const ready = programmedHandle(5);
  TableWorld<A> world{journal};
  Table& table = *world.table;
};

using AllocatedRowTables = testing::Types<NextHops, Groups>;
struct AdapterName {
  template <class A>
  static std::string GetName(int) {
    return A::unit;
  }
};

}  // namespace ChainTests
