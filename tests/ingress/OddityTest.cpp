// What the ingress table does on purpose though a reader may not expect it.
#include <gtest/gtest.h>

#include "TableWorld.h"

namespace TableTests {
namespace {

using W = World<IngressAdapter>;

class OddityTest : public LiveObjectsTest {};

TEST_F(OddityTest, TheEndOfAnOldHandleRemovesWhateverItsKeyHasByThen) {
  W w;
  auto const key = w.key(5);
  auto const needed = TestHandle::programmed(10);
  auto old = w.table->entryCommit(key, w.entry(7, {needed}));
  w.table->entryRemove(key);
  auto const fresh = w.table->entryCommit(key, w.entry(8, {needed}));
  EXPECT_NE(fresh, old);
  EXPECT_EQ(IngressAdapter::text(w.table->entry(key)), "8");
  w.journal.clear();
  old = nullptr;
  EXPECT_EQ(w.take(), (Lines{"hwTableEntryDel key5", "entry key5"}));
  EXPECT_FALSE(w.table->entryExists(key));
  EXPECT_EQ(w.table->entryHandle(key).get(), fresh.get());
  w.table->entryRemove(key);
}

TEST_F(OddityTest, AHandlesEndLeavesTheReactorAndEntryRemoveTakesIt) {
  W w;
  auto const key = w.key(5);
  (void)w.table->entryCommit(key, w.entry(7, {TestHandle::programmed(10)}));
  w.table->entryHandleDel(key);
  EXPECT_FALSE(w.table->entryExists(key));
  ASSERT_TRUE(w.table->pendingEntrySm(key));
  EXPECT_FALSE(w.table->pendingEntrySm(key)->notifier());
  (void)w.table->entryCommit(key, w.entry(7, {TestHandle::programmed(10)}));
  EXPECT_EQ(w.table->pendingEntrySm(key)->notifier().get(), w.table->entryHandle(key).get());
  w.table->entryRemove(key);
  EXPECT_FALSE(w.table->pendingEntrySm(key));
}

TEST_F(OddityTest, ALeftReactorCallsTheHandlerAtTheResolutionOfAParkedRecord) {
  W w;
  auto const key = w.key(5);
  auto const late = TestHandle::waiting();
  (void)w.table->entryCommit(key, w.entry(7, {TestHandle::programmed(10)}));
  w.table->entryHandleDel(key);
  (void)w.table->entryCommitWithResponseHandler(key, w.entry(8, {late}), w.handler());
  w.journal.clear();
  late->program(11);
  // The new handle mirrors the key's success, and the re-targeted reactor looks at once.
  EXPECT_EQ(linesWith(w.take(), "handler"), (Lines{"handler 1"}));
  w.table->entryRemove(key);
}

TEST_F(OddityTest, TheHandlersOfARemovedKeyAreNotCalledAnyMore) {
  W w;
  auto const key = w.key(5);
  auto const handle = w.table->entryCommitWithResponseHandler(
      key, w.entry(7, {TestHandle::programmed(10)}), w.handler());
  auto const kept = w.table->entryHandle(key);
  w.table->entryRemove(key);
  w.journal.clear();
  kept->entryStateIs(Asic::HwTable::refused);
  EXPECT_EQ(w.take(), Lines{});
}

TEST_F(OddityTest, AnObserverThatTakesTheNewHandleAwayLeavesTheReactorWithoutNotifier) {
  W w;
  auto const key = w.key(5);
  w.onAnnouncement = [&](Vek::AttributeId attribute, auto const&) {
    if (attribute != W::Table::Attribute::entryHandle) return;
    w.onAnnouncement = nullptr;
    w.table->entryHandleDel(key);
  };
  auto handle = w.table->entryCommitWithResponseHandler(
      key, w.entry(7, {TestHandle::programmed(10)}), w.handler());
  EXPECT_EQ(linesWith(w.take(), "handler"), Lines{});
  ASSERT_TRUE(w.table->pendingEntrySm(key));
  EXPECT_FALSE(w.table->pendingEntrySm(key)->notifier());
  EXPECT_TRUE(w.table->entryExists(key));
  handle = nullptr;
  EXPECT_FALSE(w.table->entryExists(key));
}

}  // namespace
}  // namespace TableTests
