// What the suites of this folder have in common: what an exception said, and the four tables.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "Vek/Exception.h"

namespace TextTests {

// What an exception of that kind said.
template <class Kind>
std::string thrown(auto&& step) {
  try {
    step();
  } catch (Kind const& exception) {
    return exception.what();
  }
  return "nothing was thrown";
}

struct IngressNames {
  using Traits = OrviaL3Unicast::IngL3NextHop1Traits;
  using Table = OrviaL3Unicast::IngL3NextHop1Table;
  static constexpr char const* table = "OrviaL3Unicast::IngL3NextHop1Table";
  static constexpr char const* module = "OrviaL3IngL3NextHop1Table";
};
struct EcmpNames {
  using Traits = OrviaL3Unicast::EcmpIngL3NextHop1Traits;
  using Table = OrviaL3Unicast::EcmpIngL3NextHop1Table;
  static constexpr char const* table = "OrviaL3Unicast::EcmpIngL3NextHop1Table";
  static constexpr char const* module = "L3EcmpIngL3NextHop1Table";
};
struct GroupNames {
  using Traits = OrviaL3Unicast::L3EcmpGroupTraits;
  using Table = OrviaL3Unicast::L3EcmpGroupTable;
  static constexpr char const* table = "OrviaL3Unicast::L3EcmpGroupTable";
  static constexpr char const* module = "L3EcmpGroupTable";
};
struct MemberNames {
  using Traits = OrviaL3Unicast::L3EcmpMemberTraits;
  using Table = OrviaL3Unicast::L3EcmpMemberTable;
  static constexpr char const* table = "OrviaL3Unicast::L3EcmpMemberTable";
  static constexpr char const* module = "L3EcmpMemberTable";
};

using AllTables = testing::Types<IngressNames, EcmpNames, GroupNames, MemberNames>;
using IndexTables = testing::Types<EcmpNames, GroupNames, MemberNames>;
using NextHopTables = testing::Types<IngressNames, EcmpNames>;

struct TableNames {
  template <class Names>
  static std::string GetName(int) {
    return Names::Traits::sourceUnit();
  }
};

}  // namespace TextTests
