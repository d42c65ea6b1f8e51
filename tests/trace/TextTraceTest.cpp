#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "TraceSupport.h"
#include "Vek/TraceHandle.h"

namespace Vek {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TraceTests::TextCapture;

std::string levelsOf(TraceHandle const& handle) {
  std::string result;
  for (int level = 0; level <= 9; ++level) {
    if (handle.levelEnabled(static_cast<TraceFacility::FacilityLevel>(level))) {
      result += std::to_string(level);
    }
  }
  return result;
}

void emit(TraceHandle& handle, std::string const& text) {
  TraceHelper helper(handle, TraceFacility::level3, "Unit", 42, "doIt");
  helper.stream() << text;
}

TEST(TextTraceTest, StartsWithEveryLevelOff) {
  TextCapture const capture;
  TraceHandle const handle("TextTraceTestPlain", false);
  EXPECT_EQ(levelsOf(handle), "");
  EXPECT_EQ(handle.name(), "TextTraceTestPlain");
}

TEST(TextTraceTest, StartsWithEveryLevelOnWhenAsked) {
  TextCapture const capture;
  TraceHandle const handle("TextTraceTestAll", true);
  EXPECT_EQ(levelsOf(handle), "0123456789");
  traceLevelDelAll();
  EXPECT_EQ(levelsOf(handle), "");
}

TEST(TextTraceTest, SwitchesOneLevelOfOneHandleByName) {
  TextCapture const capture;
  TraceHandle const one("TextTraceTestOne", false);
  TraceHandle const two("TextTraceTestTwo", false);
  traceLevelIs("TextTraceTestOne", TraceFacility::level8, true);
  EXPECT_EQ(levelsOf(one), "8");
  EXPECT_EQ(levelsOf(two), "");
  traceLevelIs("TextTraceTestOne", TraceFacility::level8, false);
  EXPECT_EQ(levelsOf(one), "");
}

TEST(TextTraceTest, TellsTheLevelsOfEachName) {
  TextCapture const capture;
  TraceHandle const one("TextTraceTestOne", false);
  TraceHandle const two("TextTraceTestTwo", false);
  auto const levels = [](std::string const& name) -> int {
    for (TraceLevels const& handle : traceLevels()) {
      if (handle.name == name) return static_cast<int>(handle.levels);
    }
    return -1;
  };
  traceLevelIs("TextTraceTestOne", TraceFacility::level3, true);
  EXPECT_EQ(levels("TextTraceTestOne"), 8);
  EXPECT_EQ(levels("TextTraceTestTwo"), 0);
  EXPECT_EQ(levels("TextTraceTestNobody"), -1);
  {
    TraceHandle const another("TextTraceTestTwo", true);
    EXPECT_EQ(levels("TextTraceTestTwo"), 0x3FF);
  }
  EXPECT_EQ(levels("TextTraceTestTwo"), 0);
}

TEST(TextTraceTest, ASinkMayHandItsLinesToStandardErrorAsWell) {
  TextCapture const capture;
  TraceHandle handle("TextTraceTestOne", false);
  TraceSink const former = traceSinkIs([](TraceLine const& line) { traceToStandardError(line); });
  testing::internal::CaptureStderr();
  emit(handle, "both");
  std::string const written = testing::internal::GetCapturedStderr();
  traceSinkIs(former);
  EXPECT_THAT(written, testing::MatchesRegex("[0-9:.]+ TextTraceTestOne 3 Unit:42 doIt\\] both\n"));
}

TEST(TextTraceTest, SwitchesAllLevelsUpToOne) {
  TextCapture const capture;
  TraceHandle const handle("TextTraceTestOne", false);
  traceLevelsUpToIs("TextTraceTestOne", TraceFacility::level3, true);
  EXPECT_EQ(levelsOf(handle), "0123");
  traceLevelsUpToIs("TextTraceTestOne", TraceFacility::level1, false);
  EXPECT_EQ(levelsOf(handle), "23");
  traceLevelsUpToIs("TextTraceTestOne", TraceFacility::level9, true);
  EXPECT_EQ(levelsOf(handle), "0123456789");
}

TEST(TextTraceTest, SwitchesByPattern) {
  TextCapture const capture;
  TraceHandle const group("OrviaTestGroupTable", false);
  TraceHandle const member("OrviaTestMemberTable", false);
  TraceHandle const other("OtherTestTable", false);
  traceLevelIs("OrviaTest*Table", TraceFacility::level3, true);
  EXPECT_EQ(levelsOf(group), "3");
  EXPECT_EQ(levelsOf(member), "3");
  EXPECT_EQ(levelsOf(other), "");
  traceLevelIs("O????TestGroup[ST]able", TraceFacility::level0, true);
  EXPECT_EQ(levelsOf(group), "03");
  EXPECT_EQ(levelsOf(member), "3");
}

TEST(TextTraceTest, AppliesEarlierSwitchesToALaterHandle) {
  TextCapture const capture;
  traceLevelsUpToIs("TextTraceTest*", TraceFacility::level3, true);
  traceLevelIs("TextTraceTestLater", TraceFacility::level2, false);
  traceLevelIs("*Later", TraceFacility::level8, true);
  TraceHandle const later("TextTraceTestLater", false);
  EXPECT_EQ(levelsOf(later), "0138");
}

TEST(TextTraceTest, LetsTheLastSwitchWin) {
  TextCapture const capture;
  traceLevelIs("TextTraceTestA", TraceFacility::level3, true);
  traceLevelIs("TextTraceTest*", TraceFacility::level3, false);
  {
    TraceHandle const handle("TextTraceTestA", false);
    EXPECT_EQ(levelsOf(handle), "");
  }
  // The same switch once more comes after the pattern's, not in the place where it was first.
  traceLevelIs("TextTraceTestA", TraceFacility::level3, true);
  TraceHandle const handle("TextTraceTestA", false);
  EXPECT_EQ(levelsOf(handle), "3");
}

TEST(TextTraceTest, SwitchesEveryHandleOfAName) {
  TextCapture const capture;
  TraceHandle const one("TextTraceTestTwin", false);
  TraceHandle const two("TextTraceTestTwin", false);
  traceLevelIs("TextTraceTestTwin", TraceFacility::level5, true);
  EXPECT_EQ(levelsOf(one), "5");
  EXPECT_EQ(levelsOf(two), "5");
}

TEST(TextTraceTest, ForgetsAHandleThatEnded) {
  TextCapture const capture;
  { TraceHandle const gone("TextTraceTestGone", false); }
  traceLevelIs("TextTraceTestGone", TraceFacility::level5, true);  // must not touch it
  TraceHandle const again("TextTraceTestGone", false);
  EXPECT_EQ(levelsOf(again), "5");
}

TEST(TextTraceTest, GivesTheSinkOneLinePerHelper) {
  TextCapture const capture;
  TraceHandle handle("TextTraceTestLine", false);
  {
    TraceHelper helper(handle, TraceFacility::level8, "Unit", 42, "doIt");
    helper.stream() << std::string("doIt") << std::string(" : Found: ");
    EXPECT_THAT(capture.lines, IsEmpty());  // the line is not over yet
  }
  EXPECT_THAT(capture.lines, ElementsAre("TextTraceTestLine 8 Unit:42 doIt] doIt : Found: "));
  EXPECT_THAT(capture.texts, ElementsAre("doIt : Found: "));
}

TEST(TextTraceTest, GivesBackTheEarlierSink) {
  TextCapture const outer;
  TraceHandle handle("TextTraceTestSink", false);
  {
    TextCapture const inner;
    emit(handle, "inner");
    EXPECT_THAT(inner.texts, ElementsAre("inner"));
  }
  emit(handle, "outer");
  EXPECT_THAT(outer.texts, ElementsAre("outer"));
}

TEST(TextTraceTest, WritesToStandardErrorWithoutASink) {
  TextCapture const capture;
  TraceSink previous = traceSinkIs({});
  TraceHandle handle("TextTraceTestDefault", false);
  testing::internal::CaptureStderr();
  emit(handle, "to the terminal");
  std::string const written = testing::internal::GetCapturedStderr();
  traceSinkIs(std::move(previous));
  EXPECT_THAT(written, testing::MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9]+ "
                                             "TextTraceTestDefault 3 Unit:42 doIt. "
                                             "to the terminal\n"));
  EXPECT_THAT(capture.texts, IsEmpty());
}

TEST(TextTraceTest, SurvivesASinkThatThrows) {
  TextCapture const capture;
  TraceHandle handle("TextTraceTestThrow", false);
  int calls = 0;
  TraceSink previous = traceSinkIs([&calls](TraceLine const&) {
    ++calls;
    throw std::runtime_error("full");
  });
  emit(handle, "lost");
  emit(handle, "lost too");
  traceSinkIs(std::move(previous));
  EXPECT_EQ(calls, 2);
}

TEST(TextTraceTest, LetsASinkTraceAndReplaceItself) {
  TextCapture const capture;
  TraceHandle handle("TextTraceTestNested", false);
  std::string seen;
  TraceSink previous = traceSinkIs([&](TraceLine const& outer) {
    traceSinkIs([&seen](TraceLine const& inner) { seen += inner.text; });
    emit(handle, "inner ");
    seen += outer.text;
  });
  emit(handle, "outer");
  traceSinkIs(std::move(previous));
  EXPECT_EQ(seen, "inner outer");
}

}  // namespace
}  // namespace Vek
