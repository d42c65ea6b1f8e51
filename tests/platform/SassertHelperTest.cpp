// Assertions for programming errors: text and end of the process.
#include <gtest/gtest.h>

#include <csignal>

#include "DeathText.h"
#include "Vek/SassertHelper.h"

namespace {

using PlatformTests::assertionText;
using Vek::SassertHelper;

TEST(SassertHelperDeathTest, ShowsTheMessageAndThenFailsAsTheCLibraryDoes) {
  EXPECT_EXIT(
      SassertHelper("entryHandleExists( key )",
                    {"OrviaL3IngL3NextHop1Table", 4711, "void Some::Table::operation(int)"})
          << "expect a valid entryHandle, key: " << 42 << '/' << "x",
      testing::KilledBySignal(SIGABRT),
      assertionText("entryHandleExists( key )", "expect a valid entryHandle, key: 42/x",
                    "OrviaL3IngL3NextHop1Table", "void Some::Table::operation(int)", "4711"));
}

TEST(SassertHelperDeathTest, AnEmptyMessageLeavesTheConditionAlone) {
  EXPECT_EXIT(SassertHelper("a == b", {"Unit", 1, "void f()"}), testing::KilledBySignal(SIGABRT),
              assertionText("a == b", "", "Unit", "void f()", "1"));
}

TEST(SassertHelperDeathTest, PercentSignsAreText) {
  EXPECT_EXIT(SassertHelper("x % y", {"Unit", 2, "int operator%(int)"}) << "100%s %n",
              testing::KilledBySignal(SIGABRT),
              assertionText("x % y", "100%s %n", "Unit", "int operator%(int)", "2"));
}

}  // namespace
