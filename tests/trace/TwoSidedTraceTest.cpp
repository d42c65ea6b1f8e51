// What a two-sided statement does, and in which order: both sides, the levels, the text handle.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "OrviaL3Unicast/plumbing/Trace.h"
#include "TraceSupport.h"

namespace OrviaL3Unicast::plumbing {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using TraceTests::DefaultHandle;
using TraceTests::Lines;
using TraceTests::messagesOf;
using TraceTests::readImage;
using TraceTests::smallConfig;
using TraceTests::TestTable;
using TraceTests::TextCapture;

constexpr auto level3 = Vek::TraceFacility::level3;
constexpr auto level8 = Vek::TraceFacility::level8;

// Every message that the tables have, in the order of their list.
template <class T>
void traceEveryMessage() {
  trace<T, "getEntry", " : Found an existing entry: ">();
  trace<T, "getEntry", " : Found unresolved entry: ">();
  trace<T, "lookupExistingEntry", " : Found pending entry: ">();
  trace<T, "lookupExistingEntry", " : Deleting pending entry: ">();
  trace<T, "lookupExistingEntry", " : Found an existing entry: ">();
  trace<T, "entryRemove", ": No entry found: ">();
  trace<T, "entryCommitWithResponseHandler", " : Creating a new pending entry: ">();
  trace<T, "entryRefWithResponseHandler", " : Returning a new pending entry: ">();
  trace<T, "initializeUnresolvedEntry", ": initializing the unresolvedEntry: ">();
  trace<T, "doEnclosingInit", ": initializing neededEntryHandleSm: ">(Vek::AttributeId(12));
  trace<T, "handleEntryProgramming", ": returning from ">();
  traceLevel8<T, "handleEntryHandleProgramSuccessCount",
              ": Unresolved entry processing completed: ">();
  trace<T, "initializeUnresolvedEntryBlock", ": initializing the unresolvedEntryBlock, blockSize ",
        " entrys: ">(Asic::BlockSize(4), 4U);
  trace<T, "entryBlockRef">();
  trace<T, "entryBlockRef", " : Found unresolved entry: ">();
  trace<T, "entryBlockRef", " : Found an existing entry: ">();
  trace<T, "entryBlockRef", " : Returning a new unresolved entryBlock: ">();
  trace<T, "handleEntryBlock">();
}

constexpr char const* kCompletion =
    "handleEntryHandleProgramSuccessCount: Unresolved entry processing completed: ";

Lines const kEveryMessage = {
    "getEntry : Found an existing entry: ",
    "getEntry : Found unresolved entry: ",
    "lookupExistingEntry : Found pending entry: ",
    "lookupExistingEntry : Deleting pending entry: ",
    "lookupExistingEntry : Found an existing entry: ",
    "entryRemove: No entry found: ",
    "entryCommitWithResponseHandler : Creating a new pending entry: ",
    "entryRefWithResponseHandler : Returning a new pending entry: ",
    "initializeUnresolvedEntry: initializing the unresolvedEntry: ",
    "doEnclosingInit: initializing neededEntryHandleSm: 12",
    "handleEntryProgramming: returning from ",
    kCompletion,
    "initializeUnresolvedEntryBlock: initializing the unresolvedEntryBlock, blockSize 4 entrys: 4",
    "entryBlockRef",
    "entryBlockRef : Found unresolved entry: ",
    "entryBlockRef : Found an existing entry: ",
    "entryBlockRef : Returning a new unresolved entryBlock: ",
    "handleEntryBlock",
};

Fendrel::TraceFile::Config roomyConfig() {
  return {.ringBytes = 8192,
          .descriptionBytes = 8192,
          .statements = 512,
          .now = TraceTests::countingClock};
}

TEST(TwoSidedTraceTest, GivesBothSidesTheWholeTextOfEveryMessage) {
  TextCapture const text;
  DefaultHandle const ring(roomyConfig());
  Vek::traceLevelsUpToIs("OrviaL3UnicastTestTable", level8, true);
  traceEveryMessage<TestTable>();
  EXPECT_EQ(text.texts, kEveryMessage);
  EXPECT_EQ(messagesOf(ring.file()), kEveryMessage);
}

TEST(TwoSidedTraceTest, NamesHandleLevelUnitLineAndFunction) {
  TextCapture const text;
  DefaultHandle const ring;
  Vek::traceLevelsUpToIs("OrviaL3UnicastTestTable", level8, true);
  int const line = __LINE__ + 1;
  trace<TestTable, "doEnclosingInit", ": names: ">(Vek::AttributeId(9));
  traceLevel8<TestTable, "complete", ": done: ">();
  EXPECT_THAT(text.lines,
              ElementsAre("OrviaL3UnicastTestTable 3 TestTableUnit:" + std::to_string(line) +
                              " doEnclosingInit] doEnclosingInit: names: 9",
                          "OrviaL3UnicastTestTable 8 TestTableUnit:" + std::to_string(line + 1) +
                              " complete] complete: done: "));
  EXPECT_THAT(
      readImage(ring.file().image()).lines,
      ElementsAre(
          HasSubstr("Z TestTableUnit:" + std::to_string(line) + " doEnclosingInit: names: 9"),
          HasSubstr("Z TestTableUnit:" + std::to_string(line + 1) + " complete: done: ")));
}

TEST(TwoSidedTraceTest, RecordsEverythingWhileTheTextIsOff) {
  TextCapture const text;
  DefaultHandle const ring(roomyConfig());
  traceEveryMessage<TestTable>();
  EXPECT_THAT(text.texts, IsEmpty());
  EXPECT_EQ(messagesOf(ring.file()), kEveryMessage);
}

TEST(TwoSidedTraceTest, GivesTheTextTheCompletionOnlyWithLevel3OffAndLevel8On) {
  TextCapture const text;
  DefaultHandle const ring(roomyConfig());
  Vek::traceLevelIs("OrviaL3UnicastTestTable", level8, true);
  traceEveryMessage<TestTable>();
  EXPECT_THAT(text.texts, ElementsAre(kCompletion));
  EXPECT_EQ(messagesOf(ring.file()), kEveryMessage);
}

TEST(TwoSidedTraceTest, LeavesTheCompletionOutWithLevel3OnAndLevel8Off) {
  TextCapture const text;
  Vek::traceLevelIs("OrviaL3UnicastTestTable", level3, true);
  traceEveryMessage<TestTable>();
  Lines expected = kEveryMessage;
  std::erase(expected, kCompletion);
  EXPECT_EQ(text.texts, expected);
}

TEST(TwoSidedTraceTest, UsesNoOtherLevel) {
  TextCapture const text;
  Vek::traceLevelsUpToIs("OrviaL3UnicastTestTable", Vek::TraceFacility::level9, true);
  Vek::traceLevelIs("OrviaL3UnicastTestTable", level3, false);
  Vek::traceLevelIs("OrviaL3UnicastTestTable", level8, false);
  traceEveryMessage<TestTable>();
  EXPECT_THAT(text.texts, IsEmpty());
}

TEST(TwoSidedTraceTest, RunsTheTextSideOnlyWithoutADefaultHandle) {
  TextCapture const text;
  ASSERT_EQ(Fendrel::defaultTraceHandle(), nullptr);
  Vek::traceLevelIs("OrviaL3UnicastTestTable", level3, true);
  trace<TestTable, "undescribed", " : alone: ">();
  EXPECT_THAT(text.texts, ElementsAre("undescribed : alone: "));
  // Nobody asked for a description, so there is no number yet.
  int const& msgId = detail::StatementOf<TestTable, level3, "undescribed", " : alone: ", "">::msgId;
  EXPECT_EQ(msgId, 0);

  DefaultHandle const ring;
  trace<TestTable, "undescribed", " : alone: ">();
  EXPECT_GT(msgId, 0);
  EXPECT_TRUE(ring.file().knows(msgId));
  EXPECT_THAT(messagesOf(ring.file()), ElementsAre("undescribed : alone: "));
}

TEST(TwoSidedTraceTest, CreatesTheTextHandleWithTheFirstStatementAndOnce) {
  static int created = 0;
  struct CountedTable {
    static char const* traceHandleName() {
      ++created;
      return "OrviaL3UnicastCountedTable";
    }
    static constexpr char const* sourceUnit() { return "CountedUnit"; }
  };
  TextCapture const text;
  EXPECT_EQ(created, 0);
  trace<CountedTable, "first">();
  EXPECT_EQ(created, 1);
  EXPECT_THAT(text.texts, IsEmpty());
  trace<CountedTable, "second">();
  traceLevel8<CountedTable, "third", ": ">();
  EXPECT_EQ(created, 1);
  EXPECT_FALSE(detail::TextTrace<CountedTable>::maybeEnabled(level3));
}

TEST(TwoSidedTraceTest, HeedsASwitchThatIsOlderThanTheHandle) {
  struct LateTable {
    static constexpr char const* traceHandleName() { return "OrviaL3UnicastLateTable"; }
    static constexpr char const* sourceUnit() { return "LateUnit"; }
  };
  TextCapture const text;
  Vek::traceLevelIs("OrviaL3Unicast*", level3, true);
  trace<LateTable, "late", ": first: ">();
  EXPECT_THAT(text.texts, ElementsAre("late: first: "));
}

TEST(TwoSidedTraceTest, RecordsBeforeItWritesText) {
  DefaultHandle const ring;
  TextCapture const text;
  Vek::traceLevelIs("OrviaL3UnicastTestTable", level3, true);
  Lines recordedAtTheTime;
  Vek::TraceSink previous =
      Vek::traceSinkIs([&](Vek::TraceLine const&) { recordedAtTheTime = messagesOf(ring.file()); });
  trace<TestTable, "order", ": ring first: ">();
  Vek::traceSinkIs(std::move(previous));
  EXPECT_THAT(recordedAtTheTime, ElementsAre("order: ring first: "));
}

TEST(TwoSidedTraceTest, LetsTheSinkTrace) {
  TextCapture const text;
  Vek::traceLevelIs("OrviaL3UnicastTestTable", level3, true);
  Lines seen;
  Vek::TraceSink previous = Vek::traceSinkIs([&seen](Vek::TraceLine const& line) {
    seen.emplace_back(line.text);
    if (seen.size() == 1) {
      trace<TestTable, "inner", ": ">(2U);
    }
  });
  trace<TestTable, "outer", ": ">(1U);
  Vek::traceSinkIs(std::move(previous));
  EXPECT_THAT(seen, ElementsAre("outer: 1", "inner: 2"));
}

// Traces when the process ends, after every test.
struct LastWords {
  ~LastWords() {
    Vek::traceLevelIs("OrviaL3UnicastTestTable", level3, true);
    trace<TestTable, "lastWords", ": ">();
    trace<TestTable, "lastWords", ": with value ">(1U);
  }
};

[[noreturn]] void endWithLastWords() {
  static LastWords const lastWords;
  // The handle is created later than the object that uses it; an ordinary static one would be gone
  // by then.
  trace<TestTable, "lastWords", ": ">();
  // What the thread remembers of its ring file ends before the static objects do.
  static Fendrel::TraceHandle* const handle = Fendrel::TraceHandle::multiThreaded([](unsigned) {
                                                return Fendrel::TraceFile::inMemory(smallConfig());
                                              }).release();
  Fendrel::defaultTraceHandleIs(handle);
  trace<TestTable, "lastWords", ": ">();
  std::exit(0);
}

TEST(TwoSidedTraceDeathTest, SpeaksInStaticDestructors) {
  EXPECT_EXIT(endWithLastWords(), testing::ExitedWithCode(0),
              "OrviaL3UnicastTestTable 3 TestTableUnit:[0-9]+ lastWords. lastWords: \n.*"
              "lastWords: with value 1\n");
}

}  // namespace
}  // namespace OrviaL3Unicast::plumbing
