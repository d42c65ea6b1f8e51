// What the restart suites know of all four tables, the one that is keyed by blocks included.
//
//   RestartWorld<TypeParam> w;  // attached, not ready, not initialised: as a platform restarts it
//   w.table->syncEntries();
//   EXPECT_EQ(w.journal.take(), (Lines{"sync"}));
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <utility>

#include "AbortText.h"
#include "NothingLeft.h"
#include "OrviaAsicUtils/Toggles.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "TableWorld.h"

namespace RestartTests {

using TableTests::Journal;
using TableTests::Lines;
using TableTests::TestHandle;

// What a table adapter says beside the typed suites' own: `unit` and `condition` of the assertion,
// whether a restart clears the table's hardware, how to program and how to park something.
template <class A>
struct EntryTableAdapter : A {
  using Table = typename A::Table;
  static constexpr char const* condition = "!entrys()";
  static void program(Table& table) {
    table.entryIs(A::key(1), A::entry(1));
    EXPECT_EQ(table.entrys(), 1U);
  }
  static void park(Table& table) {
    table.unresolvedEntryIs(A::key(1));
    EXPECT_EQ(table.unresolvedEntrys(), 1U);
  }
};
struct Ingress : EntryTableAdapter<TableTests::IngressAdapter> {
  static constexpr char const* unit = "OrviaL3IngL3NextHop1Table";
};
struct EcmpNextHops : EntryTableAdapter<TableTests::EcmpNextHopAdapter> {
  static constexpr char const* unit = "L3EcmpIngL3NextHop1Table";
};
struct Groups : EntryTableAdapter<TableTests::GroupAdapter> {
  static constexpr char const* unit = "L3EcmpGroupTable";
};
struct Members {
  using Traits = OrviaL3Unicast::L3EcmpMemberTraits;
  using Table = OrviaL3Unicast::L3EcmpMemberTable;
  using Util = OrviaL3Unicast::L3EcmpMemberTableUtil;
  using Key = Table::EntryBlock;
  using Entry = Table::Entry;
  using Where = OrviaL3Unicast::L3EcmpMemberIndex;

  static constexpr char const* name = "L3EcmpMemberTable";
  static constexpr char const* unit = "L3EcmpMemberTable";
  static constexpr char const* condition = "!entryBlocks()";

  static Vek::Ptr<Table> make() { return Table::L3EcmpMemberTableIs(); }
  static Key block() {
    Key block(Asic::BlockSize(2));
    block.entryIs(0, Entry(TestHandle::programmed(5)));
    block.entryIs(1, Entry(TestHandle::programmed(6)));
    return block;
  }
  static void program(Table& table) {
    table.entryBlockIs(block());
    EXPECT_EQ(table.entryBlocks(), 1U);
  }
  static void park(Table& table) {
    table.unresolvedEntryBlockIs(block());
    EXPECT_EQ(table.unresolvedEntryBlocks(), 1U);
  }
};

using AllTables = testing::Types<Ingress, EcmpNextHops, Groups, Members>;
// Those that choose their rows, and so never rebuild records from hardware.
using ClearingTables = testing::Types<EcmpNextHops, Groups, Members>;

// Records each operation that a table asks for: "write", "delete", "delete all", "sync".
template <class A>
class RestartUtil final : public A::Util {
 public:
  using HwTable = Vek::Ptr<Asic::HwTable>;
  using SwTable = Vek::Ptr<OrviaAsicUtils::SwTable>;

  explicit RestartUtil(Journal& journal) : A::Util("restart"), journal_(journal) {}

  [[nodiscard]] std::uint32_t minIndex() const override { return note("minIndex"), 0; }
  [[nodiscard]] std::uint32_t maxIndex() const override { return note("maxIndex"), 0; }
  [[nodiscard]] Asic::Index hwTableEntryIndex(HwTable const&,
                                              typename A::Key const&) const override {
    note("index");
    return Asic::Index::invalidIndex();
  }
  void hwTableEntryIs(HwTable const&, typename A::Traits::HwKey,
                      typename A::Entry const&) override {
    note("write");
  }
  void hwTableEntryDel(HwTable const&, typename A::Traits::HwKey) override { note("delete"); }
  void hwTableEntryDelAll(HwTable const& hwTable) override {
    note("delete all");
    hwTableOfCall = hwTable;
  }
  void syncEntries(HwTable const& hwTable, SwTable const& swTable) override {
    note("sync");
    hwTableOfCall = hwTable;
    if (onSync) onSync(hwTable, swTable);
  }

  HwTable hwTableOfCall;
  std::function<void(HwTable const&, SwTable const&)> onSync;

 private:
  void note(char const* what) const { journal_.add(what); }

  Journal& journal_;
};

template <class A>
struct RestartWorld {
  Journal journal;
  Vek::Ptr<typename A::Table> table = A::make();
  Vek::Ptr<Asic::HwTable> hwTable = new TableTests::TestHwTable;
  Vek::Ptr<RestartUtil<A>> util = new RestartUtil<A>(journal);

  RestartWorld() {
    table->hwTableIs(hwTable);
    table->utilIs(util);
    table->numEntriesIs(16);
  }
};

// Runs in a process of its own, since a process reads the toggle once. Everything that it writes to
// standard error is `written`, a regular expression.
inline void inChild(std::function<void()> const& body, std::string const& written = "^$") {
  EXPECT_EXIT(
      {
        body();
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), written);
}

inline void toggleIs(bool on) {
  OrviaAsicUtils::toggleReaderIs([on](char const*, char const*, bool) { return on; });
}

// A folder of its own for toggle files; goes with its content. The toggle service looks there while
// it lives.
class ToggleFolder {
 public:
  ToggleFolder() {
    std::string path = (std::filesystem::temp_directory_path() / "orvia-toggles-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no folder for toggle files");
    path_ = path;
    OrviaAsicUtils::toggleDirectoryIs(path);
  }
  ~ToggleFolder() {
    OrviaAsicUtils::toggleDirectoryIs("");
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ToggleFolder(ToggleFolder const&) = delete;
  ToggleFolder& operator=(ToggleFolder const&) = delete;

  [[nodiscard]] std::string path(std::string const& file = "OrviaAsicUtils.json") const {
    return (path_ / file).string();
  }
  void fileIs(std::string const& text, std::string const& file = "OrviaAsicUtils.json") const {
    std::ofstream out(path(file), std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    ASSERT_TRUE(out) << path(file);
  }

 private:
  std::filesystem::path path_;
};

}  // namespace RestartTests
