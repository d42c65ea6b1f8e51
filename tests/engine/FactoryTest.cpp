// The factories under names without C++ in them.
#include <gtest/gtest.h>

#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "TableAdapters.h"

namespace TableTests {
namespace {

// Puts a new table, ready for use, in the place of another.
template <class Table>
void makes(void (*factory)(Vek::Ptr<OrviaAsicUtils::SwTable>&)) {
  Vek::Ptr<OrviaAsicUtils::SwTable> table;
  factory(table);
  ASSERT_TRUE(table);
  EXPECT_EQ(table->fwkType(), Table::classType());
  EXPECT_TRUE(table->hasNotificationActive());
  EXPECT_EQ(table->references(), 1U);
  Vek::Ptr<OrviaAsicUtils::SwTable> const first = table;
  factory(table);
  EXPECT_NE(table, first);
  EXPECT_EQ(first->references(), 1U);
}

TEST(FactoryTest, EachMakesATableOfItsOwnClass) {
  makes<OrviaL3Unicast::IngL3NextHop1Table>(&orviaIngL3NextHop1TableFactory);
  makes<OrviaL3Unicast::EcmpIngL3NextHop1Table>(&orviaEcmpIngL3NextHop1TableFactory);
  makes<OrviaL3Unicast::L3EcmpGroupTable>(&orviaL3EcmpGroupTableFactory);
  makes<OrviaL3Unicast::L3EcmpMemberTable>(&orviaL3EcmpMemberTableFactory);
}

}  // namespace
}  // namespace TableTests
