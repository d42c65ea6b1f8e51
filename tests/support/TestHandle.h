// An entry handle of some other table: what records need, and what the ingress table has for keys.
#pragma once

#include "Asic/SwTable.h"

namespace TableTests {

class TestHandle final : public Vek::Tracked<TestHandle, Asic::SwTable::EntryHandle> {
 public:
  using Ptr = Vek::Ptr<TestHandle>;

  static constexpr char const* typeName() { return "TableTests::TestHandle"; }

  // Without a row, not yet answered.
  static Ptr waiting() { return new TestHandle; }
  static Ptr programmed(Asic::Index row) {
    Ptr handle = new TestHandle;
    handle->program(row);
    return handle;
  }

  // The hardware's answer, in the order in which the platform gives it.
  void program(Asic::Index row) {
    hwEntryIndexIs(row);
    entryStateIs(Asic::HwTable::success());
  }
};

}  // namespace TableTests
