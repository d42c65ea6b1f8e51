// What a table does with its hardware when the agent restarts.
#include <gtest/gtest.h>

#include "RestartTables.h"

namespace RestartTests {
namespace {

using TableTests::AdapterNames;

template <class A>
class SyncEntriesTest : public NothingLeftTest {};
TYPED_TEST_SUITE(SyncEntriesTest, AllTables, AdapterNames);

template <class A>
class ClearingSyncTest : public NothingLeftTest {};
TYPED_TEST_SUITE(ClearingSyncTest, ClearingTables, AdapterNames);

// What the table says when it is not empty, to the last character.
template <class A>
std::string nonEmptyText() {
  return TableTests::abortText(
      A::condition, " non-empty swTable before syncing from hwTable", A::unit,
      "virtual void OrviaL3Unicast::" + std::string(A::name) + "::syncEntries()");
}

TYPED_TEST(SyncEntriesTest, AbortsOnATableThatHoldsSomething) {
  RestartWorld<TypeParam> w;
  w.table->doInitComplete();
  TypeParam::program(*w.table);
  EXPECT_EXIT(w.table->syncEntries(), TableTests::abortsWith(), nonEmptyText<TypeParam>());
}

TYPED_TEST(SyncEntriesTest, AbortsBeforeItReadsTheToggleOrAsksTheUtility) {
  RestartWorld<TypeParam> w;
  w.table->doInitComplete();
  TypeParam::program(*w.table);
  w.table->utilIs(nullptr);
  auto const abortingSync = [&] {
    OrviaAsicUtils::toggleReaderIs([](char const*, char const*, bool) -> bool {
      std::fputs("the toggle was read\n", stderr);
      std::_Exit(0);
    });
    w.table->syncEntries();
  };
  EXPECT_EXIT(abortingSync(), TableTests::abortsWith(), nonEmptyText<TypeParam>());
}

TYPED_TEST(SyncEntriesTest, AbortsWhateverTheReadyFlagSays) {
  RestartWorld<TypeParam> w;
  w.table->doInitComplete();
  TypeParam::program(*w.table);
  w.table->hwTableReadyIs(true);
  EXPECT_EXIT(w.table->syncEntries(), TableTests::abortsWith(), nonEmptyText<TypeParam>());
}

TYPED_TEST(SyncEntriesTest, WhatWaitsDoesNotMakeATableNonEmpty) {
  inChild([] {
    RestartWorld<TypeParam> w;
    TypeParam::park(*w.table);
    w.table->syncEntries();
    EXPECT_EQ(w.journal.take().size(), 1U);
  });
}

TYPED_TEST(SyncEntriesTest, ATableThatWasEmptiedMaySync) {
  inChild([] {
    toggleIs(true);
    RestartWorld<TypeParam> w;
    w.table->doInitComplete();
    TypeParam::program(*w.table);
    if constexpr (std::is_same_v<TypeParam, Members>) {
      w.table->entryBlockDelAll();
    } else {
      w.table->entryDelAll();
    }
    w.table->syncEntries();
    EXPECT_EQ(w.journal.take().size(), 1U);
  });
}

TYPED_TEST(SyncEntriesTest, MayBeCalledThroughTheBaseAndAgain) {
  inChild([] {
    toggleIs(true);
    RestartWorld<TypeParam> w;
    OrviaAsicUtils::SwTable& base = *w.table;
    base.syncEntries();
    base.syncEntries();
    EXPECT_EQ(w.journal.take().size(), 2U);
  });
}

TYPED_TEST(ClearingSyncTest, ClearsTheAttachedHardwareTableOnceWhenTheToggleIsOn) {
  inChild([] {
    toggleIs(true);
    RestartWorld<TypeParam> w;
    w.table->syncEntries();
    EXPECT_EQ(w.journal.take(), (Lines{"delete all"}));
    EXPECT_EQ(w.util->hwTableOfCall, w.hwTable);
  });
}

TYPED_TEST(ClearingSyncTest, ClearsWhenNothingSaysAnything) {
  inChild([] {
    RestartWorld<TypeParam> w;
    w.table->syncEntries();
    EXPECT_EQ(w.journal.take(), (Lines{"delete all"}));
  });
}

TYPED_TEST(ClearingSyncTest, DoesNothingAtAllWhenTheToggleIsOff) {
  inChild([] {
    toggleIs(false);
    RestartWorld<TypeParam> w;
    w.table->hwTableReadyIs(true);
    auto const observer = TableTests::Observer::of(
        w.table.get(), [&w](Vek::AttributeId, void const*) { w.journal.add("announced"); });
    w.table->syncEntries();
    EXPECT_EQ(w.journal.take(), Lines{});
    w.table->utilIs(nullptr);
    w.journal.clear();
    w.table->syncEntries();  // a table without a utility would abort if it were asked for
    EXPECT_EQ(w.journal.take(), Lines{});
  });
}

TYPED_TEST(ClearingSyncTest, ClearsWhetherOrNotHardwareIsReady) {
  inChild([] {
    toggleIs(true);
    for (bool const ready : {false, true}) {
      RestartWorld<TypeParam> w;
      w.table->hwTableReadyIs(ready);
      w.table->syncEntries();
      EXPECT_EQ(w.journal.take(), (Lines{"delete all"}));
    }
    RestartWorld<TypeParam> without;
    without.table->hwTableIs(nullptr);
    without.util->hwTableOfCall = without.hwTable;
    without.table->syncEntries();
    EXPECT_EQ(without.journal.take(), (Lines{"delete all"}));
    EXPECT_FALSE(without.util->hwTableOfCall);
  });
}

class IngressSyncTest : public NothingLeftTest {};

TEST_F(IngressSyncTest, AsksTheUtilityOnceWithTheHardwareTableAndTheTable) {
  RestartWorld<Ingress> w;
  Vek::Ptr<OrviaAsicUtils::SwTable> given;
  w.util->onSync = [&](auto const&, auto const& swTable) { given = swTable; };
  w.table->syncEntries();
  EXPECT_EQ(w.journal.take(), (Lines{"sync"}));
  EXPECT_EQ(w.util->hwTableOfCall, w.hwTable);
  EXPECT_EQ(given, w.table);
}

TEST_F(IngressSyncTest, DoesNotReadTheToggle) {
  inChild([] {
    int reads = 0;
    OrviaAsicUtils::toggleReaderIs([&](char const*, char const*, bool) { return ++reads != 0; });
    RestartWorld<Ingress> w;
    w.table->syncEntries();
    EXPECT_EQ(w.journal.take(), (Lines{"sync"}));
    EXPECT_EQ(reads, 0);
  });
}

TEST_F(IngressSyncTest, AsksTheUtilityWhateverTheToggleSays) {
  for (bool const on : {false, true}) {
    inChild([on] {
      toggleIs(on);
      RestartWorld<Ingress> w;
      RestartWorld<Groups> other;
      other.table->syncEntries();  // the toggle is read and kept
      EXPECT_EQ(other.journal.take().size(), on ? 1U : 0U);
      w.table->syncEntries();
      EXPECT_EQ(w.journal.take(), (Lines{"sync"}));
    });
  }
}

TEST_F(IngressSyncTest, AsksTheUtilityWhetherOrNotHardwareIsReady) {
  RestartWorld<Ingress> w;
  w.table->hwTableReadyIs(true);
  w.table->syncEntries();
  w.table->hwTableIs(nullptr);
  w.table->syncEntries();
  EXPECT_EQ(w.journal.take(), (Lines{"sync", "sync"}));
  EXPECT_FALSE(w.util->hwTableOfCall);
}

TEST_F(IngressSyncTest, LetsWhatTheUtilityThrowsPass) {
  RestartWorld<Ingress> w;
  w.util->onSync = [](auto const&, auto const&) { throw std::runtime_error("unreadable"); };
  EXPECT_THROW(w.table->syncEntries(), std::runtime_error);
  EXPECT_EQ(w.table->references(), 1U);
}

TEST_F(IngressSyncTest, TheUtilityMayDropTheLastReferenceToTheTable) {
  RestartWorld<Ingress> w;
  w.util->onSync = [&](auto const&, auto const&) { w.table = nullptr; };
  w.table->syncEntries();
  EXPECT_FALSE(w.table);
  w.util->onSync = nullptr;
}

}  // namespace
}  // namespace RestartTests
