// What a table says of a key for which it has something else than what it is asked for.
#include <gtest/gtest.h>

#include "TableWorld.h"

namespace TableTests {
namespace {

template <class A>
class PartOfAKeyTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(PartOfAKeyTest, EntryTables, AdapterNames);

TYPED_TEST(PartOfAKeyTest, AHandleAloneHasTheDefaultRecord) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const handle = w.handle(key);
  EXPECT_FALSE(w.table->entryExists(key));
  EXPECT_EQ(w.table->entry(key), typename TypeParam::Entry());
}

template <class A>
class RawPartOfAKeyTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(RawPartOfAKeyTest, RawRegistryTables, AdapterNames);

TYPED_TEST(RawPartOfAKeyTest, AParkedRecordAloneIsNoRegistration) {
  World<TypeParam> w;
  auto const key = w.key(1);
  w.park(key, w.entry(7, {TestHandle::waiting()}));
  EXPECT_FALSE(w.table->rawEntryHandleHas(key));
  EXPECT_FALSE(w.table->rawEntryHandle(key));
}

TYPED_TEST(RawPartOfAKeyTest, AHandleWhoseRegistrationAnObserverTakesGoesOnToEndItsRecord) {
  World<TypeParam> w{Traced::no};
  auto const key = w.key(1);
  auto handle = w.table->entryRef(key, w.entry(1, {TestHandle::programmed(5)}));
  w.table->entryRef(key, w.entry(2, {TestHandle::waiting()}));
  ASSERT_TRUE(w.table->entryExists(key));
  w.onAnnouncement = [&](Vek::AttributeId attribute, auto const&) {
    if (attribute == TypeParam::Table::Attribute::unresolvedEntry) w.table->rawEntryHandleDel(key);
  };
  handle = nullptr;
  EXPECT_EQ(w.table->unresolvedEntrys(), 0U);
  EXPECT_EQ(w.table->entrys(), 0U);
  EXPECT_FALSE(w.table->rawEntryHandleHas(key));
}

TYPED_TEST(RawPartOfAKeyTest, AWriteResponseReactorForAnotherTableTakesThePlaceOfTheOld) {
  World<TypeParam> w{Traced::no};
  auto const old = w.table->writeResponseSm();
  ASSERT_TRUE(old);
  auto const other = TypeParam::make();
  auto const made = w.table->writeResponseSmIs(other);
  EXPECT_NE(made, old);
  EXPECT_EQ(made->table(), other.get());
  EXPECT_EQ(w.table->writeResponseSm(), made);
}

TYPED_TEST(RawPartOfAKeyTest, AWriteResponseReactorThatAnObserverTakesOutStaysOff) {
  using Attribute = typename TypeParam::Table::Attribute;
  World<TypeParam> w{Traced::no};
  (void)w.table->writeResponseSmDel();
  auto const observer = Observer::of(w.table.get(), [&](Vek::AttributeId attribute, void const*) {
    if (attribute == Attribute::writeResponseSm) (void)w.table->writeResponseSmDel();
  });
  auto const made = w.table->writeResponseSmIs(w.table);
  EXPECT_FALSE(w.table->writeResponseSm());
  EXPECT_FALSE(made->hasNotificationActive());
}

}  // namespace
}  // namespace TableTests
