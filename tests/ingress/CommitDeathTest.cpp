// What the ingress table insists on, with the whole text that an operator finds.
#include <gtest/gtest.h>

#include "AbortText.h"
#include "TableWorld.h"

namespace TableTests {
namespace {

using W = World<IngressAdapter>;

constexpr char const* kUnit = "OrviaL3IngL3NextHop1Table";
constexpr char const* kCommit =
    "Vek::Ptr<const OrviaL3Unicast::IngL3NextHop1Table::EntryHandle> "
    "OrviaL3Unicast::IngL3NextHop1Table::entryCommitWithResponseHandler("
    "const Vek::Ptr<const Asic::SwTable::EntryHandle>&, "
    "const OrviaL3Unicast::IngL3NextHop1Table::Entry&, "
    "const OrviaL3Unicast::WriteResponseHandler&)";
constexpr char const* kWrite =
    "Vek::Ptr<const OrviaL3Unicast::IngL3NextHop1Table::EntryHandle> "
    "OrviaL3Unicast::IngL3NextHop1Table::entryWriteWithResponseHandler("
    "const Vek::Ptr<const Asic::SwTable::EntryHandle>&, "
    "const OrviaL3Unicast::IngL3NextHop1Table::Entry&, "
    "const OrviaL3Unicast::WriteResponseHandler&, Asic::AutoRemoveType)";
constexpr char const* kLookup =
    "Vek::Ptr<OrviaL3Unicast::IngL3NextHop1Table::EntryHandle> "
    "OrviaL3Unicast::IngL3NextHop1Table::lookupExistingEntry("
    "const Vek::Ptr<const Asic::SwTable::EntryHandle>&, "
    "const OrviaL3Unicast::IngL3NextHop1Table::Entry&)";

class CommitDeathTest : public LiveObjectsTest {};

TEST_F(CommitDeathTest, AKeyWithoutARow) {
  W w;
  auto const key = TestHandle::waiting();
  key->entryStateIs(Asic::HwTable::success());
  EXPECT_EXIT((void)w.table->entryCommit(key, w.entry(7)), abortsWith(),
              abortText("key->hwEntryIndex() != Asic::Index::invalidIndex()",
                        "expected a valid hwEntryIndex ", kUnit, kCommit));
}

TEST_F(CommitDeathTest, AnEmptyKey) {
  W w;
  EXPECT_EXIT((void)w.table->entryCommit(nullptr, w.entry(7)), abortsWith(),
              abortText("key->hwEntryIndex() != Asic::Index::invalidIndex()",
                        "expected a valid hwEntryIndex ", kUnit, kCommit));
}

TEST_F(CommitDeathTest, AKeyThatIsNotProgrammed) {
  W w;
  for (auto const state : {Asic::HwTable::notAnswered, Asic::HwTable::refused}) {
    auto const key = TestHandle::programmed(5);
    key->entryStateIs(state);
    EXPECT_EXIT((void)w.table->entryCommit(key, w.entry(7)), abortsWith(),
                abortText("key->entryState() == Asic::HwTable::success()",
                          "expected entry state to be success", kUnit, kCommit));
  }
}

TEST_F(CommitDeathTest, AKeyThatHasNeitherIsToldAboutItsRow) {
  W w;
  EXPECT_EXIT((void)w.table->entryCommit(TestHandle::waiting(), w.entry(7)), abortsWith(),
              abortText("key->hwEntryIndex() != Asic::Index::invalidIndex()",
                        "expected a valid hwEntryIndex ", kUnit, kCommit));
}

TEST_F(CommitDeathTest, AWayOfWritingThatTheTableDoesNotOffer) {
  W w;
  auto const key = w.key(5);
  std::string const text = abortText("0", "unsupported autoRemoveType", kUnit, kWrite);
  for (unsigned const value : {0U, 2U, 255U}) {
    EXPECT_EXIT(
        (void)w.table->entryWrite(key, w.entry(7), static_cast<Asic::AutoRemoveType>(value)),
        abortsWith(), text)
        << value;
  }
  EXPECT_EXIT((void)w.table->entryWrite(key, w.entry(7), Asic::needsAutoRemove()), abortsWith(),
              text);
}

TEST_F(CommitDeathTest, TheIdenticalRecordWhileACallerHoldsTheRemovedKeysHandle) {
  W w;
  auto const key = w.key(5);
  auto const entry = w.entry(7, {TestHandle::programmed(10)});
  auto const handle = w.table->entryCommit(key, entry);
  w.table->entryRemove(key);
  EXPECT_EXIT((void)w.table->entryCommit(key, entry), abortsWith(),
              abortText("entryHandleExists( key )",
                        "expect a valid entryHandle, key: " + streamed(key), kUnit, kLookup));
}

}  // namespace
}  // namespace TableTests
