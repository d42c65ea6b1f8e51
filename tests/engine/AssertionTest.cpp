// The assertions of the shared operations: the whole text that an operator finds.
#include <gtest/gtest.h>

#include "AbortText.h"
#include "TableWorld.h"

namespace TableTests {
namespace {

template <class A>
std::string tableName() {
  return std::string("OrviaL3Unicast::") + A::name;
}
template <class A>
std::string keyText() {
  return std::string(A::Traits::keyText.view());
}

template <class A>
std::string lookupAbort(std::string const& key) {
  return abortText("entryHandleExists( key )", "expect a valid entryHandle, key: " + key,
                   A::Traits::sourceUnit(),
                   "Vek::Ptr<" + tableName<A>() + "::EntryHandle> " + tableName<A>() +
                       "::lookupExistingEntry(const " + keyText<A>() + "&, const " +
                       tableName<A>() + "::Entry&)");
}

template <class A>
std::string utilAbort(std::string const& have) {
  return abortText("util()", "expected a utility of class " + tableName<A>() + "Util, have " + have,
                   A::Traits::sourceUnit(),
                   "Vek::Ptr<" + tableName<A>() + "Util> " + tableName<A>() + "::util() const");
}

class StrangeUtil final : public OrviaAsicUtils::SwTableUtil {
 public:
  StrangeUtil() : SwTableUtil("strange") {}
};

template <class A>
class AssertionDeathTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(AssertionDeathTest, EntryTables, AdapterNames);

TYPED_TEST(AssertionDeathTest, LookupOfAParkedRecordWithoutAHandle) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const entry = w.entry(7, {TestHandle::waiting()});
  w.park(key, entry);
  EXPECT_EXIT((void)w.table->lookupExistingEntry(key, entry), abortsWith(),
              lookupAbort<TypeParam>(streamed(key)));
}

TYPED_TEST(AssertionDeathTest, LookupOfAProgrammedRecordWithoutAHandle) {
  World<TypeParam> w;
  auto const key = w.key(1);
  w.table->entryIs(key, w.entry(7));
  EXPECT_EXIT((void)w.table->lookupExistingEntry(key, w.entry(7)), abortsWith(),
              lookupAbort<TypeParam>(streamed(key)));
}

TYPED_TEST(AssertionDeathTest, RemovalWhoseHandleAnObserverTookAway) {
  World<TypeParam> w;
  auto const key = w.key(1);
  (void)w.handle(key);
  w.park(key, w.entry(7, {TestHandle::waiting()}));
  w.onAnnouncement = [&](Vek::AttributeId attribute, auto const&) {
    if (attribute == TypeParam::Table::Attribute::unresolvedEntry) {
      TypeParam::unregister(*w.table, key);
    }
  };
  EXPECT_EXIT(w.table->entryRemove(key), abortsWith(),
              abortText("entryHandleExists( key )", "expected to see rawEntryHandle",
                        TypeParam::Traits::sourceUnit(),
                        "void " + tableName<TypeParam>() + "::entryRemove(const " +
                            keyText<TypeParam>() + "&)"));
}

template <class A>
class RawRegistryDeathTest : public LiveObjectsTest {};
TYPED_TEST_SUITE(RawRegistryDeathTest, RawRegistryTables, AdapterNames);

template <class A>
std::string cleanupAbort() {
  return abortText("swTable()->rawEntryHandleHas( key() )", "expected to see rawEntryHandle",
                   A::Traits::sourceUnit(), "void " + tableName<A>() + "::EntryHandle::cleanup()");
}

TYPED_TEST(RawRegistryDeathTest, TheEndOfAHandleThatWasNeverRegistered) {
  World<TypeParam> w;
  auto handle = w.table->entryHandleFactory(w.key(1), w.table.get());
  EXPECT_EXIT(handle = nullptr, abortsWith(), cleanupAbort<TypeParam>());
  TypeParam::mayEnd(*w.table, handle);
}

TYPED_TEST(RawRegistryDeathTest, TheSecondEndOfTwoHandlesThatAnObserverMadeForOneKey) {
  World<TypeParam> w;
  auto const key = w.key(1);
  auto const record = w.entry(7, {TestHandle::waiting()});
  w.onAnnouncement = [&](Vek::AttributeId attribute, auto const&) {
    // The outer write's handle is owned by now, and not yet registered.
    if (attribute != TypeParam::Table::Attribute::entryHandle) return;
    w.onAnnouncement = nullptr;
    (void)w.table->entryCommit(key, record);
  };
  EXPECT_EXIT(
      {
        auto handle = w.table->entryCommit(key, w.entry(8, {TestHandle::waiting()}));
        w.table->entryRemove(key);  // ends the observer's handle, and the one registration with it
        handle = nullptr;
      },
      abortsWith(), cleanupAbort<TypeParam>());
}

TYPED_TEST(AssertionDeathTest, AWriteWithoutAUtility) {
  World<TypeParam> w;
  w.table->utilIs(nullptr);
  EXPECT_EXIT(w.table->entryIs(w.key(1), w.entry(7)), abortsWith(), utilAbort<TypeParam>("none"));
  EXPECT_EXIT((void)w.table->util(), abortsWith(), utilAbort<TypeParam>("none"));
}

TYPED_TEST(AssertionDeathTest, ATableThatNeverHadAUtility) {
  auto const table = TypeParam::make();
  EXPECT_EXIT((void)table->util(), abortsWith(), utilAbort<TypeParam>("none"));
}

TYPED_TEST(AssertionDeathTest, AWriteWithAUtilityOfAnotherClass) {
  World<TypeParam> w;
  w.table->entryIs(w.key(1), w.entry(7));  // found to be right once, and looked at again
  w.table->utilIs(new StrangeUtil);
  EXPECT_EXIT(w.table->entryIs(w.key(2), w.entry(7)), abortsWith(),
              utilAbort<TypeParam>(OrviaAsicUtils::SwTableUtil::classType().name()));
}

}  // namespace
}  // namespace TableTests
