// A software table and a utility with nothing but their bases.
#pragma once

#include <map>

#include "OrviaAsicUtils/SwTable.h"
#include "OrviaAsicUtils/SwTableUtil.h"
#include "Vek/Memory.h"

namespace PlatformTests {

class PlainTable : public Vek::Tracked<PlainTable, OrviaAsicUtils::SwTable> {
 public:
  static constexpr char const* typeName() { return "PlatformTests::PlainTable"; }
  PlainTable() : Tracked("plain") {}
  using SwTable::mayCallHardware;

  std::map<Asic::Index, Vek::Ptr<EntryHandle>> rows;
  [[nodiscard]] Vek::Ptr<EntryHandle> entryHandleOfRow(Asic::Index row) const override {
    auto const found = rows.find(row);
    return found != rows.end() ? found->second : Vek::Ptr<EntryHandle>();
  }
};

class PlainUtil : public OrviaAsicUtils::SwTableUtil {
 public:
  PlainUtil() : SwTableUtil("plainUtil") {}
};

}  // namespace PlatformTests
