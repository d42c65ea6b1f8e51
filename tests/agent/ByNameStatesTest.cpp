// The tables by name when not everything is in hardware: parked records, lost answers, rows from
// before a restart.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/agent/RestartFiles.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

constexpr char const* kNoRow = "4294967295";

Ended replayed(std::string const& options) {
  return agent("replay " + stream("w1-static.0.fpm") + " " + options);
}

// What comes before the summary.
std::string printed(Ended const& ended) {
  EXPECT_EQ(ended.exitCode, 0) << ended.error;
  EXPECT_EQ(ended.error, "");
  return ended.output.substr(0, ended.output.find("\nReplayed "));
}
std::string printed(std::string const& options) { return printed(replayed(options)); }

// --- Parked records.

TEST(ByNameOfParkedRecords, ShowsWhereTheyWait) {
  std::string const table = printed("--interface-delay never --ls group");
  EXPECT_TRUE(contains(table,
                       "unresolvedEntry: OrviaL3Unicast::L3EcmpGroupTable::UnresolvedEntry "
                       "= 3 elements"));
  EXPECT_TRUE(contains(table, "entry: OrviaL3Unicast::L3EcmpGroupTable::Entry = 0 elements"));
  EXPECT_EQ(printed("--interface-delay never --ls group.entry"), "no elements\n");
  EXPECT_EQ(lines(printed("--interface-delay never --ls ecmp.unresolvedEntry")), 8U);
  EXPECT_EQ(lines(printed("--interface-delay never --ls ingress.unresolvedEntry")), 9U);
  EXPECT_EQ(lines(printed("--interface-delay never --ls member.unresolvedEntryBlock")), 3U);
}

TEST(ByNameOfParkedRecords, SaysWhatTheyWaitFor) {
  // Two entries are needed; the MTU profile is programmed, the interface never is.
  EXPECT_EQ(printed("--interface-delay never "
                    "--get 'ecmp.unresolvedEntry[#1].neededEntryHandleCount' "
                    "--get 'ecmp.unresolvedEntry[#1].entryHandleProgramSuccessCount' "
                    "--get 'ecmp.unresolvedEntry[#1].entry.destination'"),
            "2\n1\n10\n");
  EXPECT_EQ(lines(printed("--interface-delay never "
                          "--ls 'ecmp.unresolvedEntry[#1].neededEntryHandleSm'")),
            1U);
  EXPECT_EQ(
      printed(std::string("--interface-delay never --get 'ecmp.rawEntryHandle[#1].entryState' "
                          "--get 'ecmp.rawEntryHandle[#1].hwEntryIndex'")),
      std::string("0\n") + kNoRow + "\n");
}

TEST(ByNameOfParkedRecords, ListsTheRecordAsReadOnlyAndRefusesAChange) {
  std::istringstream listing(
      printed("--interface-delay never --ls 'ecmp.unresolvedEntry[#1].entry'"));
  std::size_t count = 0;
  for (std::string line; std::getline(listing, line); ++count) {
    EXPECT_TRUE(line.ends_with(" (read only)")) << line;
  }
  EXPECT_GT(count, 10U);

  Ended const ended = replayed(
      "--interface-delay never --set 'ecmp.unresolvedEntry[#1].entry.destination=4' "
      "--get 'ecmp.unresolvedEntry[#1].entry.destination'");
  EXPECT_EQ(ended.exitCode, kExitUsage);
  EXPECT_TRUE(contains(ended.error,
                       "orvia-l3-agent: ecmp.unresolvedEntry[#1].entry.destination: at "
                       "'ecmp.unresolvedEntry[#1].entry': "));
  EXPECT_TRUE(ended.output.starts_with("10\n")) << ended.output;
}

TEST(ByNameOfParkedRecords, FindsTheTableEmptyAgainWhenTheyArePlaced) {
  EXPECT_EQ(printed("--interface-delay 5 --ls ecmp.unresolvedEntry --ls group.unresolvedEntry"),
            "ecmp.unresolvedEntry:\nno elements\ngroup.unresolvedEntry:\nno elements\n");
}

// --- Lost answers.

TEST(ByNameWithLostAnswers, ShowsRecordsWithoutAnAnswer) {
  EXPECT_EQ(printed("--fault group:lose-answer-every=1 --get 'group.entry[#1].numPaths' "
                    "--get 'group.entryHandle[#1].entryState' "
                    "--get 'group.entryHandle[#1].hwEntryIndex'"),
            std::string("2\n0\n") + kNoRow + "\n");
}

TEST(ByNameWithLostAnswers, ShowsThatAChangeWasNotAnswered) {
  // The stream writes three groups; the change is the fourth write.
  TemporaryFile const journal;
  Ended const ended = replayed("--fault group:lose-answer-every=4 --journal '" + journal.path() +
                               "' --set 'group.entry[#1].lbMode=2' --get 'group.entry[#1].lbMode' "
                               "--get 'group.entryHandle[#2].entryState'");
  EXPECT_EQ(printed(ended), "2\n1\n");
  EXPECT_TRUE(contains(contentOf(journal.path()),
                       "group write row 1: numPaths 2 lbMode 2 ecmpBlockPtr 0 "));
  EXPECT_TRUE(contains(ended.output, "  group 1 (id 48), row 1: unanswered"));
}

TEST(ByNameWithLostAnswers, KeepsTheRecordOfALostWrite) {
  TemporaryFile const journal;
  Ended const ended = replayed("--fault group:lose-write-every=4 --journal '" + journal.path() +
                               "' --set 'group.entry[#1].lbMode=2' --get 'group.entry[#1].lbMode' "
                               "--verify");
  // The table has the change. The hardware never saw it, and has what the stream asked for.
  EXPECT_EQ(printed(ended), "2\n");
  EXPECT_TRUE(contains(ended.output, "verified: no difference"));
  EXPECT_TRUE(contains(ended.output, "  group 1 (id 48), row 1: unanswered"));
  EXPECT_TRUE(contains(contentOf(journal.path()),
                       "group write row 1: numPaths 2 lbMode 2 ecmpBlockPtr 0 lost"));
}

TEST(ByNameWithLateAnswers, WaitsForThemBeforeItPrints) {
  EXPECT_EQ(printed("--fault group:answer=9 --set 'group.entry[#1].lbMode=2' "
                    "--get 'group.entryHandle[#1].entryState'"),
            "1\n");
}

TEST(ByNameWithRefusals, ShowsThatAChangeWasRefused) {
  Ended const ended = replayed(
      "--fault group:refuse-every=4 --set 'group.entry[#1].lbMode=2' "
      "--get 'group.entryHandle[#1].entryState'");
  EXPECT_EQ(printed(ended), "2\n");
  EXPECT_TRUE(contains(ended.output, "  group 1 (id 48), row 1: refused"));
}

// --- Rows from before a restart.

TEST(ByNameAfterARestart, ReadsAndSetsWhatTheHardwareKept) {
  RestartFiles const files;
  TemporaryFile const stream(announceRouted(1, 3, "10.0.3.1"));
  auto const run = [&](std::string const& options) {
    return printed(agent("replay '" + stream.path() + "'" + files.options() + " " + options));
  };
  std::string const destination = "--get 'ingress.entry[#1].destination' ";
  std::string const asked = run(destination);
  // A change outlives the program: the next one reads it from the hardware.
  ASSERT_NE(asked, "77\n");
  EXPECT_EQ(run("--until 0 --set 'ingress.entry[#1].destination=77' " + destination), "77\n");
  EXPECT_EQ(run("--until 0 " + destination +
                "--get 'ingress.entryHandle[#1].entryState' "
                "--get 'ingress.entryHandle[#1].key.hwEntryIndex'"),
            "77\n1\n16384\n");
  EXPECT_EQ(run("--until 0 --ls ingress.unresolvedEntry"), "no elements\n");
  // What the stream asks for is written over it.
  EXPECT_EQ(run("--verify " + destination), asked);
}

TEST(ByNameAfterARestart, FindsNoGroupsUntilTheStreamBringsThem) {
  RestartFiles const files;
  std::string const groups = files.options() + " --ls group.entry --get group.hwTableReady";
  EXPECT_EQ(lines(printed(groups)), 4U);
  EXPECT_EQ(printed("--until 0 " + groups), "no elements\ntrue\n");
  EXPECT_EQ(lines(printed(groups)), 4U);
}

}  // namespace
}  // namespace OrviaL3Agent
