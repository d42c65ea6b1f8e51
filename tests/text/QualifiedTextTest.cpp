// The text of every value is reached by its full name, from outside the namespace.
#include <sstream>
#include <string>

#include "LiveObjects.h"
#include "TestHandle.h"
#include "TextTables.h"

namespace TextTests {
namespace {

class QualifiedTextTest : public TableTests::LiveObjectsTest {
 protected:
  template <class Value>
  static void isWritten(Value const& value) {
    std::ostringstream out;
    out << value;
    EXPECT_EQ(OrviaL3Unicast::valueToStrep(value).str(), out.str());
    EXPECT_FALSE(out.str().empty());
  }
};

TEST_F(QualifiedTextTest, ReachesRecords) {
  isWritten(OrviaL3Unicast::IngL3NextHop1Table::Entry());
  isWritten(OrviaL3Unicast::EcmpIngL3NextHop1Table::Entry());
  isWritten(OrviaL3Unicast::L3EcmpGroupTable::Entry());
}

TEST_F(QualifiedTextTest, ReachesBlocksAndMembers) {
  isWritten(OrviaL3Unicast::L3EcmpMemberTable::EntryBlock(Asic::BlockSize(3)));
  isWritten(OrviaL3Unicast::L3EcmpMemberTable::Entry());
}

TEST_F(QualifiedTextTest, ReachesNumbers) {
  isWritten(OrviaL3Unicast::EcmpIngL3NextHop1Table::Index(7));
  isWritten(OrviaL3Unicast::L3EcmpGroupTable::Index(8));
  isWritten(OrviaL3Unicast::L3EcmpMemberTable::Index(9));
}

TEST_F(QualifiedTextTest, ReachesModes) {
  isWritten(OrviaL3Unicast::IngL3NextHop1Table::EntryHandle::add);
  isWritten(OrviaL3Unicast::EcmpIngL3NextHop1Table::EntryHandle::del);
  isWritten(OrviaL3Unicast::L3EcmpGroupTable::EntryHandle::add);
  isWritten(OrviaL3Unicast::L3EcmpMemberTable::EntryHandle::del);
}

}  // namespace
}  // namespace TextTests
