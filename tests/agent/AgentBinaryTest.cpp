// The program as its user meets it: arguments in, text and exit code out.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/agent/AgentProcess.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

// Of the hardware or of both.
std::string const kVerified =
    "3 groups, 8 ECMP next hops, 9 other next hops verified: no difference\n";

TEST(AgentBinary, ReplaysEveryRecordedStreamAndFindsNothingWrong) {
  int streams = 0;
  for (auto const& entry : std::filesystem::directory_iterator(streamPath(""))) {
    if (entry.path().extension() != ".fpm") continue;
    ++streams;
    Ended const ended = agent("replay '" + entry.path().string() + "' --verify --check-forwarding");
    EXPECT_EQ(ended.exitCode, 0) << entry.path();
    EXPECT_EQ(ended.error, "") << entry.path();
    EXPECT_TRUE(contains(ended.output, "Replayed " + entry.path().string() + ": "));
    EXPECT_TRUE(contains(ended.output, " 0 parked, 0 refused, 0 unanswered, 0 not placed\n"));
    EXPECT_TRUE(contains(ended.output, " verified: no difference\n"));
    EXPECT_TRUE(
        contains(ended.output, " calls, no group ever led anywhere but where its record said\n"));
  }
  EXPECT_EQ(streams, 12);
}

TEST(AgentBinary, PrintsTheTablesBeforeTheSummary) {
  Ended const ended = agent("replay " + stream("forms.0.fpm") + " --show --ecmp-rows 1");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(ended.output.starts_with("Next hops of routes\nrow  family  gateway "));
  EXPECT_TRUE(contains(ended.output, "\n6    IPv4    10.0.1.2   2          1    programmed  "));
  EXPECT_TRUE(contains(ended.output, "\n\nReplayed "));
}

TEST(AgentBinary, ReplaysWhatComesOutOfAPipe) {
  Ended const piped = shell("bash -c \"'" + agentBinary() + "' replay <(cat " +
                            stream("forms.0.fpm") + ") --verify\"");
  EXPECT_EQ(piped.exitCode, 0) << piped.error;
  EXPECT_TRUE(contains(piped.output, ": 2232 bytes, "));
  Ended const file = agent("replay " + stream("forms.0.fpm") + " --verify");
  // What is behind the name and size of the input, but for how long it took.
  auto const outcome = [](std::string const& output) {
    std::string kept;
    std::istringstream lines(output.substr(std::min(output.find("Routes "), output.size())));
    for (std::string line; std::getline(lines, line);) {
      if (!line.starts_with("Time ")) kept += line + '\n';
    }
    return kept;
  };
  EXPECT_EQ(outcome(piped.output), outcome(file.output));
  EXPECT_TRUE(contains(outcome(file.output), "Routes "));
}

TEST(AgentBinary, ShowsAParkedTable) {
  Ended const ended = agent("replay " + stream("forms.0.fpm") + " --show --interface-delay never");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(contains(ended.output, " 5: 0 programmed, 5 parked, "));
  EXPECT_TRUE(contains(ended.output, "  ingress     0 writes, 0 deletes, 0 rows in force; "));
}

TEST(AgentBinary, ShowsGroupsBehindTheTables) {
  Ended const ended = agent("replay " + stream("flap-static-reconn.0.fpm") + " --show");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(contains(ended.output,
                       "\n\nGroups\n"
                       "group 2 (ids 146, 910), row 2: programmed; 2 paths from member row 2\n"
                       "  member row 2 -> next-hop row 2 -> 10.0.1.2 on interface 2, l3Oif1 1\n"));
}

TEST(AgentBinary, ListsRefusedRows) {
  Ended const ended =
      agent("replay " + stream("forms.0.fpm") + " --ecmp-rows 1 --refuse-row 1 5 --answer now");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(
      contains(ended.output,
               "Next hops of routes that are not programmed\n"
               "  row 1, connected on interface 2: refused\n"
               "  row 5, connected on interface 4: refused\n"
               "Routes that are not forwarded as asked\n"
               "  10.0.1.0/24 metric 20 -> id 4, row 1, connected on interface 2: refused\n"));
}

TEST(AgentBinary, LooksAddressesUp) {
  std::string const replay = "replay " + stream("w1-static.0.fpm");
  Ended const ended =
      agent(replay + " --until 39 --lookup 203.0.113.65 --lookup fe80::1 --lookup 8.8.8.8");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(ended.output.starts_with(
      "203.0.113.65: 203.0.113.64/26 metric 20 -> id 51, group 2 (row 2) {10.0.1.2 on interface 2, "
      "10.0.2.2 on interface 3, 10.0.3.2 on interface 4, 10.0.4.2 on interface 5}: programmed\n"))
      << ended.output;
  EXPECT_TRUE(contains(ended.output,
                       "\nfe80::1: fe80::/64 metric 20 -> id 18, row 16392, connected on interface "
                       "5: programmed\n"));
  EXPECT_TRUE(contains(ended.output, "\n8.8.8.8: no route\n"));
  // At the end of the stream that route is gone.
  EXPECT_TRUE(
      agent(replay + " --lookup 203.0.113.65").output.starts_with("203.0.113.65: no route\n"));
}

TEST(AgentBinary, AnswersADifferenceWithExitCodeThree) {
  std::string const replay =
      "replay " + stream("w1-static.0.fpm") + " --fault member:lose-write-every=3";
  EXPECT_EQ(agent(replay).exitCode, 0);  // nobody looked
  Ended const verified = agent(replay + " --verify");
  EXPECT_EQ(verified.exitCode, 3);
  EXPECT_EQ(verified.error, "");
  EXPECT_TRUE(contains(verified.output, "member row 2 is empty"));
  EXPECT_TRUE(contains(verified.output,
                       "1 group, 8 ECMP next hops, 9 other next hops verified: 2 differences\n"));
  Ended const checked = agent(replay + " --check-forwarding");
  EXPECT_EQ(checked.exitCode, 3);
  EXPECT_TRUE(contains(checked.output, "published, not in hardware"));
  // Mended, and yet it was not right all the time.
  std::string const mended = " --event 'at end faults off' --event 'at end retry' ";
  Ended const mendedEnd = agent(replay + mended + "--verify");
  EXPECT_EQ(mendedEnd.exitCode, 0);
  EXPECT_TRUE(contains(mendedEnd.output, kVerified));
  EXPECT_EQ(agent(replay + mended + "--check-forwarding").exitCode, 3);
}

TEST(AgentBinary, RepairsGroupsLocally) {
  Ended const ended = agent("replay " + stream("w1-static.0.fpm") +
                            " --event 'at 39 interface 3 down' --verify --check-forwarding "
                            "--show");
  EXPECT_EQ(ended.exitCode, 0) << ended.output;
  EXPECT_TRUE(contains(ended.output, "; without 1 path over interfaces that are down"));
  EXPECT_TRUE(
      contains(ended.output, "3 swaps to another block (3 by local repair, 0 back from it)"));
  EXPECT_TRUE(contains(ended.output,
                       "3 groups, 7 ECMP next hops, 9 other next hops verified: no difference\n"));
}

TEST(AgentBinary, ComplainsAboutEventsThatTheStreamWasTooShortFor) {
  Ended const ended =
      agent("replay " + stream("w1-static.0.fpm") + " --event 'at 43 retry' --event 'at 42 retry'");
  EXPECT_EQ(ended.exitCode, 2);
  EXPECT_TRUE(contains(ended.output, "Replayed "));
  EXPECT_EQ(ended.error, "orvia-l3-agent: at 43 retry: only 42 messages were read\n");
}

TEST(AgentBinary, ReadsFaultsFromAFile) {
  TemporaryFile const faults(R"({"tables": {"group": {"refuse-every": 1}}})");
  Ended const ended =
      agent("replay " + stream("w1-static.0.fpm") + " --faults '" + faults.path() + "'");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(contains(ended.output, "  at the end  3: 0 programmed, 0 parked, 3 refused, "));
}

TEST(AgentBinary, ChoosesMtuProfilesByInterface) {
  Ended const ended =
      agent("replay " + stream("forms.0.fpm") + " --show --ecmp-rows 1 --mtu 3=9000 --mtu 4=9000");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(contains(ended.output,
                       "\n1    IPv4    connected  2          1    programmed  1            1       "
                       "1              0 "));
  EXPECT_TRUE(contains(ended.output,
                       "\n2    IPv4    connected  3          1    programmed  2            2       "
                       "2              0 "));
}

TEST(AgentBinary, WritesJournalsAndComparesThem) {
  TemporaryFile const first;
  TemporaryFile const second;
  TemporaryFile const third;
  auto const journal = [](TemporaryFile const& file, std::string const& more) {
    Ended const ended =
        agent("replay " + stream("w1-static.0.fpm") + more + " --journal '" + file.path() + "'");
    EXPECT_EQ(ended.exitCode, 0) << ended.error;
  };
  auto const compare = [](TemporaryFile const& a, TemporaryFile const& b) {
    return agent("compare '" + a.path() + "' '" + b.path() + "'");
  };
  journal(first, "");
  journal(second, "");
  // Tables that choose their rows start with empty ones.
  EXPECT_TRUE(contentOf(first.path())
                  .starts_with("1 group removeAll row 0: taken\n2 member removeAll row 0: taken\n"
                               "3 ecmp removeAll row 0: taken\n"
                               "4 ingress write row 16384: destination 1 "));
  EXPECT_EQ(lines(contentOf(first.path())), 37U);
  Ended const same = compare(first, second);
  EXPECT_EQ(same.exitCode, 0);
  EXPECT_EQ(same.error, "");
  EXPECT_TRUE(contains(same.output, "calls in their order: all 37 the same\n"));
  EXPECT_TRUE(contains(same.output, "rows in force at the end: all 34 the same\n"));
  // Another order of calls that comes to the same.
  journal(third, " --slice 1");
  Ended const other = compare(first, third);
  EXPECT_EQ(other.exitCode, 3);
  EXPECT_TRUE(contains(other.output, "calls in their order: 4 the same, then\n"));
  EXPECT_TRUE(contains(other.output, "rows in force at the end: all 34 the same\n"));
  // Other rows.
  journal(third, " --fault group:refuse-every=3");
  Ended const fewer = compare(first, third);
  EXPECT_EQ(fewer.exitCode, 3);
  EXPECT_FALSE(contains(fewer.output, "rows in force at the end: all "));
}

TEST(AgentBinary, RefusesToCompareWhatIsNoJournal) {
  TemporaryFile const journal("1 member remove row 4: taken\n");
  TemporaryFile const wrong("1 member remove row 4: taken\n2 member forget row 5: taken\n");
  EXPECT_EQ(agent("compare '" + journal.path() + "' '" + journal.path() + "'").exitCode, 0);
  Ended const ended = agent("compare '" + journal.path() + "' '" + wrong.path() + "'");
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(ended.output, "");
  EXPECT_TRUE(ended.error.starts_with("orvia-l3-agent: " + wrong.path() + ":2: expected "))
      << ended.error;
}

TEST(AgentBinary, NamesAJournalThatItCannotWrite) {
  Ended const ended =
      agent("replay " + stream("forms.0.fpm") + " --journal /no-such-folder/calls.txt");
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(ended.output, "");  // found out before the work is done
  EXPECT_TRUE(ended.error.starts_with("orvia-l3-agent: --journal ")) << ended.error;
  EXPECT_TRUE(contains(ended.error, "/no-such-folder/calls.txt"));
}

TEST(AgentBinary, RefusesToWriteOverTheStreamOrAnotherOutput) {
  TemporaryFile const copy(contentOf(streamPath("forms.0.fpm")));
  TemporaryFile const out;
  for (std::string const& outputs :
       std::vector<std::string>{" --journal '" + copy.path() + "'", " --plot '" + copy.path() + "'",
                                " --journal '" + out.path() + "' --plot '" + out.path() + "'",
                                " --ring '" + out.path() + "' --journal '" + out.path() + "'"}) {
    Ended const ended = agent("replay '" + copy.path() + "'" + outputs);
    EXPECT_EQ(ended.exitCode, 2) << outputs;
    EXPECT_TRUE(contains(ended.error, " is the file of ")) << ended.error;
  }
  EXPECT_EQ(contentOf(copy.path()), contentOf(streamPath("forms.0.fpm")));
}

TEST(AgentBinary, CountsLostOutputAsAFailure) {
  EXPECT_EQ(agent("replay " + stream("forms.0.fpm") + " > /dev/full").exitCode, 1);
  EXPECT_EQ(agent("--help > /dev/full").exitCode, 1);
}

TEST(AgentBinary, PrintsEveryRoute) {
  Ended const ended = agent("replay " + stream("w1-static.0.fpm") + " --until 39 --routes");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(contains(ended.output,
                       "Routes\n10.0.1.0/24 metric 20 -> id 9, row 16384, "
                       "connected on interface 2: programmed\n"))
      << ended.output;
}

TEST(AgentBinary, DrawsTheReplay) {
  TemporaryFile const picture("an older picture");
  Ended const ended =
      agent("replay " + stream("w1-static.0.fpm") + " --plot '" + picture.path() + "'");
  EXPECT_EQ(ended.exitCode, 0) << ended.error;
  std::string const svg = contentOf(picture.path());
  EXPECT_TRUE(svg.starts_with("<?xml "));
  EXPECT_TRUE(contains(svg, "</svg>"));
  Ended const wrong =
      agent("replay " + stream("w1-static.0.fpm") + " --plot /no-such-folder/picture.svg");
  EXPECT_EQ(wrong.exitCode, 1);
  EXPECT_TRUE(contains(wrong.error, "/no-such-folder/picture.svg"));
}

TEST(AgentBinary, NamesTheOffsetOfACutOffStreamAndStillPrintsTheSummary) {
  TemporaryFile const cut(contentOf(streamPath("forms.0.fpm")).substr(0, 200));
  TemporaryFile const journal;
  Ended const ended =
      agent("replay '" + cut.path() + "' --verify --journal '" + journal.path() + "'");
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(ended.error,
            "orvia-l3-agent: " + cut.path() +
                ": offset 184: truncated frame: 16 of 44 bytes before the stream ends\n");
  EXPECT_TRUE(
      contains(ended.output, "Stopped at a fault of the stream: offset 184: truncated frame: "));
  EXPECT_TRUE(contains(ended.output, " 4 live, which name 4 identities; 4 that nothing uses\n"));
  // The checks look at what came before the fault.
  EXPECT_TRUE(contains(ended.output, " verified: no difference\n"));
  // Nothing but what every start does.
  EXPECT_EQ(contentOf(journal.path()),
            "1 group removeAll row 0: taken\n2 member removeAll row 0: taken\n"
            "3 ecmp removeAll row 0: taken\n");
}

TEST(AgentBinary, NamesTheOffsetOfAMalformedMessage) {
  TemporaryFile const wrong(announce(1, 2) + frame(message(RTM_DELNEXTHOP, "", 4000)));
  Ended const ended = agent("replay '" + wrong.path() + "'");
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_TRUE(contains(ended.error,
                       "offset 48: netlink message of 4000 bytes does not fit into the remaining "
                       "16 of its frame\n"));
}

TEST(AgentBinary, AnswersWrongUsageWithExitCodeTwo) {
  for (char const* arguments :
       {"", "replay", "replay no-such-file", "frobnicate", "ring", "compare", "compare /dev/null",
        "replay --answer never x", "replay /dev/null --lookup somewhere",
        "replay /dev/null --event soon", "replay /dev/null --mtu 9000",
        "replay /dev/null --fault everything", "replay /dev/null --faults no-such-file",
        "replay /dev/null --journal ''", "replay /dev/null --rows 65537"}) {
    Ended const ended = agent(arguments);
    EXPECT_EQ(ended.exitCode, 2) << arguments;
    EXPECT_EQ(ended.output, "") << arguments;
    EXPECT_TRUE(ended.error.starts_with("orvia-l3-agent: ")) << ended.error;
    EXPECT_TRUE(contains(ended.error, "Run with --help for more information.\n")) << arguments;
  }
}

TEST(AgentBinary, ShowsHelpAndVersion) {
  Ended const help = agent("--help");
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_TRUE(contains(help.output, "Examples:\n"));
  Ended const version = agent("--version");
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_EQ(version.output, "orvia-l3-agent 0.1.0\n");
}

TEST(AgentBinary, ShowsProgressWhenAskedTo) {
  Ended const ended = agent("replay " + stream("wide-static.0.fpm") + " --progress");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(
      ended.error.ends_with("100 % of 196580 bytes, 3708 messages; 459 ids, 8 routes, 0 groups\n"))
      << ended.error;
  EXPECT_EQ(agent("replay " + stream("wide-static.0.fpm") + " --no-progress").error, "");
}

TEST(AgentBinary, TracesWhatTheTableDoes) {
  TemporaryFile const one(announceRouted(1, 2));
  Ended const level3 = agent("replay '" + one.path() + "' --trace 3");
  EXPECT_EQ(level3.exitCode, 0);
  EXPECT_TRUE(contains(level3.error, "OrviaL3UnicastIngL3NextHop1Table"));
  EXPECT_TRUE(
      contains(level3.error, "entryCommitWithResponseHandler : Creating a new pending entry: "));
  EXPECT_EQ(level3.error.find("Unresolved entry processing completed"), std::string::npos);
  Ended const level8 = agent("replay '" + one.path() + "' --trace 8");
  EXPECT_EQ(lines(level8.error), lines(level3.error) + 1);
  EXPECT_TRUE(contains(level8.error, "Unresolved entry processing completed: "));
  EXPECT_EQ(agent("replay '" + one.path() + "' --trace 0").error, "");
}

TEST(AgentBinary, RecordsABinaryTraceAndPrintsIt) {
  TemporaryFile const one(announceRouted(1, 2));
  TemporaryFile const ring;
  std::filesystem::remove(ring.path());
  Ended const replayed =
      agent("replay '" + one.path() + "' --ring '" + ring.path() + "' --trace 9");
  ASSERT_EQ(replayed.exitCode, 0) << replayed.error;
  Ended const printed = agent("ring '" + ring.path() + "'");
  EXPECT_EQ(printed.exitCode, 0);
  EXPECT_EQ(printed.error, "");
  EXPECT_TRUE(contains(printed.output,
                       "entryCommitWithResponseHandler : Creating a new pending entry: \n"));
  EXPECT_TRUE(contains(printed.output, "Unresolved entry processing completed: \n"));
  // Both sides of the trace tell the same story.
  EXPECT_EQ(lines(printed.output), lines(replayed.error));
}

TEST(AgentBinary, RefusesARingFileThatIsNone) {
  TemporaryFile const text(
      "This is no ring file, though it is long enough to have been one, perhaps.");
  Ended const ended = agent("ring '" + text.path() + "'");
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(ended.output, "");
  EXPECT_TRUE(ended.error.starts_with("orvia-l3-agent: " + text.path() + ": ")) << ended.error;
}

TEST(AgentBinary, RefusesToReplaceAFileByARing) {
  TemporaryFile const precious("precious");
  Ended const ended =
      agent("replay " + stream("forms.0.fpm") + " --ring '" + precious.path() + "'");
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(ended.output, "");
  EXPECT_TRUE(ended.error.starts_with("orvia-l3-agent: ")) << ended.error;
  EXPECT_TRUE(contains(ended.error, precious.path()));
  EXPECT_EQ(contentOf(precious.path()), "precious");
}

TEST(AgentBinary, RefusesWhatIsNoRegularFile) {
  Ended const ended = agent("replay /dev/null");
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(ended.output, "");
  EXPECT_TRUE(ended.error.starts_with("orvia-l3-agent: cannot open /dev/null: ")) << ended.error;
}

}  // namespace
}  // namespace OrviaL3Agent
