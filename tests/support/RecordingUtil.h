// A utility that records what a table asks of it, for any entry table (see TableAdapters.h).
//
// A call is written down first, then its hook runs; a hook may do anything, destroying the table
// included.
#pragma once

#include <functional>
#include <string>

#include "Journal.h"
#include "OrviaAsicUtils/SwTable.h"

namespace TableTests {

template <class A>
class RecordingUtil final : public A::Util {
 public:
  using Key = typename A::Key;
  using Entry = typename A::Entry;
  using Where = typename A::Where;  // the key or the row: what the table hands to its utility
  using HwTable = Vek::Ptr<Asic::HwTable>;

  explicit RecordingUtil(Journal& journal, std::string prefix = {})
      : A::Util("recording"), journal_(journal), prefix_(std::move(prefix)) {}

  [[nodiscard]] std::uint32_t minIndex() const override { return 0; }
  [[nodiscard]] std::uint32_t maxIndex() const override { return 0; }
  [[nodiscard]] Asic::Index hwTableEntryIndex(HwTable const&, Key const&) const override {
    return Asic::Index::invalidIndex();
  }
  void hwTableEntryIs(HwTable const& hwTable, Where where, Entry const& entry) override {
    add(hwTable, "hwTableEntryIs " + A::whereText(where) + " = " + A::text(entry));
    if (auto const hook = onWrite) hook(where, entry);
  }
  void hwTableEntryDel(HwTable const& hwTable, Where where) override {
    add(hwTable, "hwTableEntryDel " + A::whereText(where));
    if (auto const hook = onDelete) hook(where);
  }
  void hwTableEntryDelAll(HwTable const& hwTable) override { add(hwTable, "hwTableEntryDelAll"); }
  void syncEntries(HwTable const& hwTable, Vek::Ptr<OrviaAsicUtils::SwTable> const&) override {
    add(hwTable, "syncEntries");
  }

  std::function<void(Where, Entry const&)> onWrite;
  std::function<void(Where)> onDelete;
  Asic::HwTable const* expectedHwTable = nullptr;

 private:
  void add(HwTable const& hwTable, std::string const& line) {
    journal_.add(prefix_ + line + (hwTable.get() == expectedHwTable ? "" : " on another hwTable"));
  }

  Journal& journal_;
  std::string prefix_;
};

}  // namespace TableTests
