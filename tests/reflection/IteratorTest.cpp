// Going over a collection: what the iterator gives at an element, after it has gone, and behind the
// last.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LiveObjects.h"
#include "ReflectionWorld.h"

namespace ReflectionTests {
namespace {

class IteratorTest : public TableTests::LiveObjectsTest {
 protected:
  using Group = ChainTests::Groups::Entry;

  // A table of groups with entries for the keys 20 to 22, and nothing else.
  IteratorTest() {
    for (std::uint32_t n = 20; n < 23; ++n) table->entryIs(n, Group(0, nullptr, n, 1));
  }
  static std::uint32_t lbModeOf(Value const& group) {
    return static_cast<Group const*>(group.data())->lbMode();
  }
  // The iterator behind the last element.
  static void toTheEnd(Vek::AttributeIterator& i) {
    while (i) ++i;
  }

  ChainTests::World world;
  Vek::Ptr<ChainTests::Groups::Table> const table = world.groups.table;
  Value groups = valueOf(table.get());
  VekAttribute const& entries = Vek::attributeNamed(groups, "entry");
};

TEST_F(IteratorTest, StandsAtEachElementInTheOrderOfTheCollection) {
  std::vector<std::string> seen;
  for (Vek::AttributeIterator i(groups, entries); i; ++i) {
    seen.push_back(i.key().text().str() + ": " + std::to_string(lbModeOf(i.object())));
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"20: 20", "21: 21", "22: 22"}));
}

TEST_F(IteratorTest, PassesOverWhatWentAndDoesNotMoveWhenItsElementGoes) {
  Vek::AttributeIterator i(groups, entries);
  EXPECT_EQ(i.key().text(), "20");
  table->entryDel(21);
  EXPECT_EQ((++i).key().text(), "22");
  table->entryDel(22);
  EXPECT_TRUE(i);
  EXPECT_EQ(i.key().text(), "22");
  EXPECT_TRUE(i.object().isNone());
  EXPECT_FALSE(++i);
}

TEST_F(IteratorTest, DeletesItsElementAndFindsNoneToDeleteWhenItHasGone) {
  Vek::AttributeIterator i(groups, entries);
  ++i;
  i.del();
  EXPECT_FALSE(table->entryExists(21));
  EXPECT_EQ(i.key().text(), "21");
  EXPECT_NO_THROW(i.del());
  EXPECT_EQ(table->entrys(), 2U);
  EXPECT_EQ((++i).key().text(), "22");
}

TEST_F(IteratorTest, ShowsAnElementThatCameBackUnderItsKey) {
  Vek::AttributeIterator i(groups, entries);
  i.del();
  table->entryIs(20, Group(0, nullptr, 5, 1));
  EXPECT_EQ(lbModeOf(i.object()), 5U);
}

TEST_F(IteratorTest, GivesNothingBehindTheLastAndStaysThere) {
  Vek::AttributeIterator i(groups, entries);
  toTheEnd(i);
  for (int time = 0; time < 2; ++time) {
    EXPECT_FALSE(i);
    EXPECT_TRUE(i.key().isNone());
    EXPECT_TRUE(i.object().isNone());
    EXPECT_EQ(&++i, &i);
  }
  // What comes now is not visited.
  table->entryIs(23, Group(0, nullptr, 5, 1));
  EXPECT_FALSE(++i);
  EXPECT_TRUE(i.key().isNone());
}

TEST_F(IteratorTest, RefusesToDeleteBehindTheLast) {
  Vek::AttributeIterator i(groups, entries);
  toTheEnd(i);
  try {
    i.del();
    ADD_FAILURE() << "it deleted something";
  } catch (Vek::ReadOnlyException const&) {
    ADD_FAILURE() << "elements of the collection can be deleted";
  } catch (Vek::ReflectionException const& refused) {
    EXPECT_STREQ(refused.what(),
                 "OrviaL3Unicast::L3EcmpGroupTable.entry: there is no element behind the last");
  }
  EXPECT_EQ(table->entrys(), 3U);
}

TEST_F(IteratorTest, BeginsBehindTheLastOfAnEmptyCollection) {
  Vek::AttributeIterator i(groups, Vek::attributeNamed(groups, "unresolvedEntry"));
  EXPECT_FALSE(i);
  EXPECT_TRUE(i.key().isNone());
  EXPECT_TRUE(i.object().isNone());
  EXPECT_FALSE(++i);
  EXPECT_THROW(i.del(), Vek::ReflectionException);
}

TEST_F(IteratorTest, GoesOverCollectionsOnly) {
  EXPECT_THROW(Vek::AttributeIterator(groups, Vek::attributeNamed(groups, "numEntries")),
               Vek::ReflectionException);
  Value nobody = Value::object(ChainTests::Groups::Table::classType(), nullptr);
  EXPECT_THROW(Vek::AttributeIterator(nobody, entries), Vek::ReflectionException);
}

}  // namespace
}  // namespace ReflectionTests
