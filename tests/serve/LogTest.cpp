// The lines of the log, for people and for a journal.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>
#include <string>

#include "agent/serve/Log.h"

namespace OrviaL3Agent {
namespace {

using Level = Log::Level;

TEST(Log, PutsThePriorityBeforeALineForTheJournal) {
  EXPECT_EQ(Log::journalLine(Level::info, "connection"), "<6>connection");
  EXPECT_EQ(Log::journalLine(Level::warning, "refused"), "<4>refused");
  EXPECT_EQ(Log::journalLine(Level::error, "fault"), "<3>fault");
}

TEST(Log, PutsTimeAndLevelBeforeALineForPeople) {
  std::regex const time(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z warning: refused)");
  EXPECT_TRUE(std::regex_match(Log::timedLine(Level::warning, "refused"), time))
      << Log::timedLine(Level::warning, "refused");
}

TEST(Log, MakesOneLineOfAText) {
  EXPECT_EQ(Log::journalLine(Level::info, "a\n<0>b\r"), "<6>a <0>b ");
}

TEST(Log, KnowsTheJournalByTheFileOfStandardError) {
  struct stat status {};
  ASSERT_EQ(::fstat(STDERR_FILENO, &status), 0);
  std::string const named = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
  EXPECT_TRUE(Log::isJournal(named.c_str()));
  EXPECT_FALSE(Log::isJournal((named + "1").c_str()));
  EXPECT_FALSE(Log::isJournal(""));
  EXPECT_FALSE(Log::isJournal(nullptr));
}

}  // namespace
}  // namespace OrviaL3Agent
