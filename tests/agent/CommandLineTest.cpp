// What the program makes of its arguments.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "agent/CommandLine.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using SoftAsic::FaultProfile;
using SoftAsic::TableId;

std::string const kStream = std::string(ORVIA_SOURCE_DIR) + "/examples/streams/forms.0.fpm";

Command parsed(std::vector<std::string> const& arguments) {
  std::vector<char const*> argv{"orvia-l3-agent"};
  for (std::string const& argument : arguments) argv.push_back(argument.c_str());
  return parseCommandLine(static_cast<int>(argv.size()), argv.data());
}

ReplayOptions replay(std::vector<std::string> const& arguments) {
  std::vector<std::string> all{"replay", kStream};
  all.insert(all.end(), arguments.begin(), arguments.end());
  Command const command = parsed(all);
  if (!std::holds_alternative<ReplayOptions>(command)) {
    ADD_FAILURE() << std::get<Leave>(command).error;
    return {};
  }
  return std::get<ReplayOptions>(command);
}

// The complaint about wrong usage, behind the program's name.
std::string complaint(std::vector<std::string> const& arguments) {
  Command const command = parsed(arguments);
  auto const* leave = std::get_if<Leave>(&command);
  if (leave == nullptr) return "(none)";
  EXPECT_EQ(leave->exitCode, kExitUsage);
  EXPECT_EQ(leave->output, "");
  std::string const name = "orvia-l3-agent: ";
  EXPECT_EQ(leave->error.substr(0, name.size()), name);
  EXPECT_NE(leave->error.find("\nRun with --help for more information.\n"), std::string::npos);
  std::string const line = leave->error.substr(0, leave->error.find('\n'));
  return line.substr(std::min(line.size(), name.size()));
}
std::string replayComplaint(std::vector<std::string> const& arguments) {
  std::vector<std::string> all{"replay", kStream};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return complaint(all);
}

TEST(CommandLine, TakesAFileAndLeavesTheRestAtItsDefaults) {
  ReplayOptions const options = replay({});
  EXPECT_EQ(options.file, kStream);
  EXPECT_FALSE(options.until);
  EXPECT_FALSE(options.show);
  EXPECT_EQ(options.progress, ReplayOptions::Progress::automatic);
  EXPECT_FALSE(options.traceLevel);
  EXPECT_EQ(options.ringFile, "");
  EXPECT_EQ(options.answer, ReplayOptions::Answer::loop);
  EXPECT_TRUE(options.refusedRows.empty());
  EXPECT_EQ(options.rows, 32768U);
  EXPECT_FALSE(options.firstRow);
  EXPECT_FALSE(options.ecmpRows);
  EXPECT_EQ(options.firstIngressRow(), 16384U);
  EXPECT_EQ(options.memberRows, 65536U);
  EXPECT_EQ(options.groupRows, 16384U);
  EXPECT_EQ(options.maxWidth, 512U);
  EXPECT_EQ(options.interfaceDelay, 2U);
  EXPECT_EQ(options.mtuDelay, 1U);
  EXPECT_EQ(options.slice, 16U);
  EXPECT_TRUE(options.mtus.empty());
  EXPECT_TRUE(options.lookups.empty());
  EXPECT_TRUE(options.events.empty());
  EXPECT_FALSE(options.verify);
  EXPECT_FALSE(options.checkForwarding);
  EXPECT_EQ(options.journalFile, "");
  EXPECT_EQ(options.plotFile, "");
  EXPECT_EQ(options.faults, SoftAsic::FaultProfiles());
}

TEST(CommandLine, TakesEveryOption) {
  ReplayOptions const options = replay({"--show",
                                        "--until",
                                        "40",
                                        "--trace",
                                        "3",
                                        "--ring",
                                        "a.ring",
                                        "--answer",
                                        "now",
                                        "--refuse-row",
                                        "3",
                                        "4",
                                        "--refuse-row",
                                        "5",
                                        "--rows",
                                        "100",
                                        "--ecmp-rows",
                                        "7",
                                        "--first-row",
                                        "8",
                                        "--member-rows",
                                        "65536",
                                        "--group-rows",
                                        "9",
                                        "--max-width",
                                        "64",
                                        "--interface-delay",
                                        "9",
                                        "--mtu-delay",
                                        "0",
                                        "--slice",
                                        "1",
                                        "--progress"});
  EXPECT_TRUE(options.show);
  EXPECT_EQ(options.until, 40U);
  EXPECT_EQ(options.traceLevel, 3U);
  EXPECT_EQ(options.ringFile, "a.ring");
  EXPECT_EQ(options.answer, ReplayOptions::Answer::now);
  EXPECT_EQ(options.refusedRows, (std::vector<std::uint32_t>{3, 4, 5}));
  EXPECT_EQ(options.rows, 100U);
  EXPECT_EQ(options.ecmpRows, 7U);
  EXPECT_EQ(options.firstIngressRow(), 7U);
  EXPECT_EQ(options.firstRow, 8U);
  EXPECT_EQ(options.memberRows, 65536U);
  EXPECT_EQ(options.groupRows, 9U);
  EXPECT_EQ(options.maxWidth, 64U);
  EXPECT_EQ(options.interfaceDelay, 9U);
  EXPECT_EQ(options.mtuDelay, 0U);
  EXPECT_EQ(options.slice, 1U);
  EXPECT_EQ(options.progress, ReplayOptions::Progress::on);
  EXPECT_EQ(replay({"--no-progress"}).progress, ReplayOptions::Progress::off);
}

TEST(CommandLine, TakesTheChecks) {
  ReplayOptions const options =
      replay({"--verify", "--check-forwarding", "--journal", "calls.txt", "--plot", "picture.svg"});
  EXPECT_TRUE(options.verify);
  EXPECT_TRUE(options.checkForwarding);
  EXPECT_EQ(options.journalFile, "calls.txt");
  EXPECT_EQ(options.plotFile, "picture.svg");
}

TEST(CommandLine, TakesAddressesToLookUpInTheirOrder) {
  ReplayOptions const options = replay({"--lookup", "10.1.2.3", "--lookup", "fe80::1"});
  ASSERT_EQ(options.lookups.size(), 2U);
  EXPECT_EQ(Fpm::text(options.lookups[0]), "10.1.2.3");
  EXPECT_EQ(Fpm::text(options.lookups[1]), "fe80::1");
}

TEST(CommandLine, TakesEventsInTheirOrder) {
  ReplayOptions const options = replay({"--event", "at 40 interface 3 down", "--event",
                                        "at end faults off", "--event", "at end retry"});
  ASSERT_EQ(options.events.size(), 3U);
  EXPECT_EQ(options.events[0], (Event{40, InterfaceEvent{3, false}}));
  EXPECT_EQ(options.events[1], (Event{{}, FaultsOff{}}));
  EXPECT_EQ(options.events[2], (Event{{}, Retry{}}));
}

TEST(CommandLine, TakesTheMtusOfInterfaces) {
  ReplayOptions const options =
      replay({"--mtu", "3=9000", "--mtu", "4=576", "--mtu", "5=65535", "--mtu", "4=1280"});
  EXPECT_EQ(options.mtus,
            (std::map<std::uint32_t, std::uint32_t>{{3, 9000}, {4, 1280}, {5, 65535}}));
}

TEST(CommandLine, TakesFaultsOfTables) {
  ReplayOptions const options =
      replay({"--fault", "group:refuse-every=3", "--fault", "ingress:answer=2,order=random"});
  EXPECT_EQ(options.faults.of(TableId::groups).refuseEvery, 3U);
  EXPECT_EQ(options.faults.of(TableId::ingressNextHops).answerAfter, 2U);
  EXPECT_EQ(options.faults.of(TableId::ingressNextHops).order, FaultProfile::Order::random);
  EXPECT_EQ(options.faults.of(TableId::members), FaultProfile());
}

TEST(CommandLine, LetsFaultsOfOptionsChangeThoseOfAFile) {
  TemporaryFile const file(
      R"({"seed": 7, "tables": {"all": {"answer": 4}, "group": {"refuse-every": 5}}})");
  // Whichever comes first.
  for (auto const& arguments :
       {std::vector<std::string>{"--faults", file.path(), "--fault", "group:answer=9"},
        {"--fault", "group:answer=9", "--faults", file.path()}}) {
    ReplayOptions const options = replay(arguments);
    EXPECT_EQ(options.faults.seed, 7U);
    EXPECT_EQ(options.faults.of(TableId::groups).refuseEvery, 5U);
    EXPECT_EQ(options.faults.of(TableId::groups).answerAfter, 9U);
    EXPECT_EQ(options.faults.of(TableId::members).answerAfter, 4U);
  }
}

TEST(CommandLine, TakesNeverForADelay) {
  EXPECT_FALSE(replay({"--interface-delay", "never"}).interfaceDelay);
  EXPECT_FALSE(replay({"--mtu-delay", "never"}).mtuDelay);
}

TEST(CommandLine, TakesTheFileBehindAnyOption) {
  for (auto const& option : {std::vector<std::string>{"--refuse-row", "1", "2"},
                             {"--show"},
                             {"--lookup", "10.1.2.3"},
                             {"--event", "at end retry"},
                             {"--mtu", "3=9000"},
                             {"--fault", "group:answer=2"},
                             {"--journal", "calls.txt"},
                             {"--verify"},
                             {"--rows", "100"},
                             {"--no-progress"}}) {
    std::vector<std::string> arguments{"replay"};
    arguments.insert(arguments.end(), option.begin(), option.end());
    arguments.push_back(kStream);
    Command const command = parsed(arguments);
    ASSERT_TRUE(std::holds_alternative<ReplayOptions>(command)) << std::get<Leave>(command).error;
    EXPECT_EQ(std::get<ReplayOptions>(command).file, kStream) << option[0];
  }
  Command const command = parsed({"replay", "--refuse-row", "1", "2", kStream});
  EXPECT_EQ(std::get<ReplayOptions>(command).refusedRows.size(), 2U);
}

TEST(CommandLine, TakesTheLargestTablesThatCanBeNamed) {
  ReplayOptions const options = replay({"--rows", "65536", "--member-rows", "65536", "--group-rows",
                                        "65536", "--max-width", "65535", "--ecmp-rows", "65535"});
  EXPECT_EQ(options.rows, 65536U);
  EXPECT_EQ(options.groupRows, 65536U);
  EXPECT_EQ(options.maxWidth, 65535U);
  EXPECT_EQ(options.firstIngressRow(), 65535U);
  EXPECT_EQ(replay({"--rows", "2"}).firstIngressRow(), 1U);
}

TEST(CommandLine, TakesARingFile) {
  EXPECT_EQ(std::get<RingOptions>(parsed({"ring", kStream})).file, kStream);
}

TEST(CommandLine, TakesTwoJournals) {
  TemporaryFile const other;
  auto const options = std::get<CompareOptions>(parsed({"compare", kStream, other.path()}));
  EXPECT_EQ(options.first, kStream);
  EXPECT_EQ(options.second, other.path());
}

TEST(CommandLine, HoldsNextHopsOfAHardwareThatOutlivesItOnly) {
  std::vector<std::string> const arguments{"replay", kStream, "--hold", "5"};
  Leave const leave = std::get<Leave>(parsed(arguments));
  EXPECT_EQ(leave.exitCode, kExitUsage);
  EXPECT_EQ(leave.error.rfind("orvia-l3-agent: --hold: requires --hardware-file or --kernel\n", 0),
            0U)
      << leave.error;
}

TEST(CommandLine, ShowsHelpWithExamples) {
  struct {
    std::vector<std::string> arguments;
    std::vector<std::string> parts;
  } const helps[] = {
      {{"--help"},
       {"Examples:\n", "orvia-l3-agent compare ",
        "Exit codes: 0 done, 1 the stream or a file is at fault, 2 wrong usage, 3 "}},
      {{"replay", "--help"}, {"Examples:\n", "Exit codes: 0 done, 1 ", "2 wrong usage, 3 "}},
      {{"ring", "--help"}, {"Example:\n", "orvia-l3-agent ring trace.ring\n"}},
      {{"compare", "--help"}, {"Example:\n", "Exit code 3 when one of them is not so.\n"}},
  };
  for (auto const& help : helps) {
    Leave const leave = std::get<Leave>(parsed(help.arguments));
    EXPECT_EQ(leave.exitCode, kExitOk);
    EXPECT_EQ(leave.error, "");
    EXPECT_NE(leave.output.find("orvia-l3-agent replay examples/streams/"), std::string::npos);
    for (std::string const& part : help.parts) {
      EXPECT_NE(leave.output.find(part), std::string::npos) << part << "\n" << leave.output;
    }
  }
}

TEST(CommandLine, ShowsEveryOptionInTheHelp) {
  std::string const help = std::get<Leave>(parsed({"replay", "--help"})).output;
  for (char const* option : {"--show",
                             "--until MESSAGES",
                             "--trace LEVEL",
                             "--ring FILE",
                             "--progress",
                             "--no-progress",
                             "--answer WHEN",
                             "--refuse-row ROW",
                             "--rows N",
                             "--ecmp-rows N",
                             "--first-row N",
                             "--member-rows N",
                             "--group-rows N",
                             "--max-width N",
                             "--interface-delay TURNS",
                             "--mtu-delay TURNS",
                             "--mtu INTERFACE=BYTES",
                             "--slice N",
                             "--lookup ADDRESS",
                             "--verify",
                             "--check-forwarding",
                             "--event EVENT",
                             "--journal FILE",
                             "--plot FILE",
                             "--faults FILE",
                             "--fault FAULT"}) {
    EXPECT_NE(help.find(std::string("\n  ") + option), std::string::npos) << option << "\n" << help;
  }
}

TEST(CommandLine, ShowsWhatStandsBeforeACommandInTheHelp) {
  std::string const help = std::get<Leave>(parsed({"--help"})).output;
  for (char const* option : {"--library FILE", "--plugin-root DIR"}) {
    EXPECT_NE(help.find(std::string("\n  ") + option), std::string::npos) << option << "\n" << help;
  }
}

TEST(CommandLine, ShowsItsVersion) {
  Leave const leave = std::get<Leave>(parsed({"--version"}));
  EXPECT_EQ(leave.exitCode, kExitOk);
  EXPECT_EQ(leave.output, "orvia-l3-agent 0.1.0\n");
}

TEST(CommandLine, ComplainsAboutWhatIsMissing) {
  EXPECT_EQ(complaint({}), "A subcommand is required");
  EXPECT_EQ(complaint({"replay"}), "FILE is required");
  EXPECT_EQ(complaint({"ring"}), "FILE is required");
  EXPECT_EQ(complaint({"compare"}), "FIRST is required");
  EXPECT_EQ(complaint({"compare", kStream}), "SECOND is required");
  EXPECT_EQ(replayComplaint({"--lookup"}), "--lookup: 1 required ADDRESS missing");
  EXPECT_EQ(replayComplaint({"--fault"}), "--fault: 1 required FAULT missing");
  EXPECT_EQ(replayComplaint({"--journal"}), "--journal: 1 required FILE missing");
}

TEST(CommandLine, ComplainsAboutWhatIsTooMuch) {
  EXPECT_EQ(replayComplaint({kStream}), "The following argument was not expected: " + kStream);
  EXPECT_EQ(complaint({"compare", kStream, kStream, kStream}),
            "The following argument was not expected: " + kStream);
  EXPECT_EQ(replayComplaint({"--lookup", "10.0.0.1", "10.0.0.2"}),
            "The following argument was not expected: 10.0.0.2");
}

TEST(CommandLine, ComplainsAboutFilesThatAreNotThere) {
  EXPECT_EQ(complaint({"replay", "no-such-file"}), "FILE: File does not exist: no-such-file");
  EXPECT_EQ(complaint({"ring", "no-such-file"}), "FILE: File does not exist: no-such-file");
  EXPECT_EQ(complaint({"compare", kStream, "no-such-file"}),
            "SECOND: File does not exist: no-such-file");
  EXPECT_EQ(replayComplaint({"--faults", "no-such-file"}),
            "--faults: File does not exist: no-such-file");
  EXPECT_EQ(complaint({"replay", "."}), "FILE: File is actually a directory: .");
}

TEST(CommandLine, ComplainsAboutValuesThatCannotBe) {
  EXPECT_EQ(replayComplaint({"--frob"}), "The following argument was not expected: --frob");
  EXPECT_EQ(replayComplaint({"--answer", "maybe"}), "--answer: maybe is neither now nor loop");
  EXPECT_EQ(replayComplaint({"--trace", "10"}), "--trace: Value 10 not in range 0 to 9");
  EXPECT_EQ(replayComplaint({"--slice", "0"}), "--slice: Value 0 not in range 1 to 1048576");
  EXPECT_EQ(replayComplaint({"--until", "-3"}), "--until: -3 is negative");
  EXPECT_EQ(replayComplaint({"--refuse-row", "-1"}), "--refuse-row: -1 is negative");
  EXPECT_EQ(replayComplaint({"--first-row", "-1"}), "--first-row: -1 is negative");
  EXPECT_EQ(replayComplaint({"--rows", "10", "--first-row", "10"}),
            "--first-row: 10 is not a row of a table of 10 rows");
  EXPECT_EQ(replayComplaint({"--rows", "10", "--first-row", "4"}),
            "--first-row: 4 is among the 5 rows for next hops of groups");
  EXPECT_EQ(replayComplaint({"--rows", "10", "--ecmp-rows", "10"}),
            "--ecmp-rows: 10 leaves no row for next hops of routes in a table of 10 rows");
  EXPECT_EQ(replayComplaint({"--rows", "10", "--refuse-row", "10"}),
            "--refuse-row: 10 is not a row of a table of 10 rows");
  EXPECT_EQ(replayComplaint({"--interface-delay", "-1"}),
            "--interface-delay: -1 is neither a number of turns nor \"never\"");
  EXPECT_EQ(replayComplaint({"--mtu-delay", "soon"}),
            "--mtu-delay: soon is neither a number of turns nor \"never\"");
}

TEST(CommandLine, RefusesTablesOfWhichNotEveryRowCouldBeNamed) {
  std::string const why = "other tables' rows name one of these in 16 bits, which is ";
  EXPECT_EQ(replayComplaint({"--rows", "65537"}), "--rows: 65537 rows: " + why + "2 to 65536 rows");
  EXPECT_EQ(replayComplaint({"--member-rows", "65537"}),
            "--member-rows: 65537 rows: " + why + "1 to 65536 rows");
  EXPECT_EQ(replayComplaint({"--group-rows", "4294967295"}),
            "--group-rows: 4294967295 rows: " + why + "1 to 65536 rows");
  // Each view needs one.
  EXPECT_EQ(replayComplaint({"--rows", "1"}), "--rows: 1 rows: " + why + "2 to 65536 rows");
  EXPECT_EQ(replayComplaint({"--member-rows", "0"}),
            "--member-rows: 0 rows: " + why + "1 to 65536 rows");
  EXPECT_EQ(replayComplaint({"--rows", "-1"}), "--rows: -1 is not a number of rows");
  EXPECT_EQ(replayComplaint({"--group-rows", "many"}),
            "--group-rows: many is not a number of rows");
  EXPECT_EQ(replayComplaint({"--member-rows", "99999999999"}),
            "--member-rows: 99999999999 is not a number of rows");
  EXPECT_EQ(replayComplaint({"--max-width", "65536"}),
            "--max-width: Value 65536 not in range 1 to 65535");
  EXPECT_EQ(replayComplaint({"--max-width", "0"}), "--max-width: Value 0 not in range 1 to 65535");
}

TEST(CommandLine, ComplainsAboutAddressesThatAreNone) {
  for (char const* text : {"", "10.1", "10.1.2.3.4", "10.1.2.256", "10.1.2.0/24", "fe80::1%eth0",
                           "somewhere", " 10.1.2.3"}) {
    EXPECT_EQ(replayComplaint({"--lookup", text}),
              std::string("--lookup: ") + text + " is not an IPv4 or IPv6 address");
  }
}

TEST(CommandLine, ComplainsAboutEventsThatAreNone) {
  EXPECT_EQ(replayComplaint({"--event", "interface 3 down"}),
            "--event: \"interface 3 down\": expected \"at\" at character 1, found \"interface\"");
  EXPECT_EQ(replayComplaint({"--event", "at 5"}),
            "--event: \"at 5\": expected \"interface\", \"retry\" or \"faults\" at character 5, "
            "found the end");
  EXPECT_EQ(replayComplaint({"--event", "at -5 retry"}),
            "--event: \"at -5 retry\": expected a number of messages or \"end\" at character 4, "
            "found \"-5\"");
}

TEST(CommandLine, ComplainsAboutMtusThatAreNone) {
  for (char const* text :
       {"", "3", "3=", "=9000", "0=9000", "3=0", "3=65536", "3=-1", "-3=9000", "3=9000=1", "a=b"}) {
    EXPECT_EQ(replayComplaint({"--mtu", text}), std::string("--mtu: ") + text +
                                                    " is not INTERFACE=BYTES, both from 1 up, at "
                                                    "most 65535 bytes");
  }
}

TEST(CommandLine, ComplainsAboutFaultsThatAreNone) {
  EXPECT_EQ(replayComplaint({"--fault", "refuse-every=3"}),
            "--fault: \"refuse-every=3\": expected TABLE:KEY=VALUE[,KEY=VALUE...], found no ':'");
  EXPECT_EQ(replayComplaint({"--fault", "groups:refuse-every=3"}),
            "--fault: \"groups:refuse-every=3\": expected one of the tables all, ingress, ecmp, "
            "member, group, found \"groups\"");
  EXPECT_EQ(replayComplaint({"--fault", "group:refuse-every=0"}),
            "--fault: \"group:refuse-every=0\": refuse-every: expected a whole number from 1 to "
            "4294967295, found \"0\"");
  TemporaryFile const file(R"({"tables": {"group": {"refuse-evry": 5}}})");
  std::string const complaintOfFile = replayComplaint({"--faults", file.path()});
  EXPECT_EQ(complaintOfFile.substr(0, complaintOfFile.find("one of")),
            "--faults: " + file.path() + ": tables.group.refuse-evry: expected ");
  TemporaryFile const noJson("refuse everything");
  EXPECT_EQ(replayComplaint({"--faults", noJson.path()}),
            "--faults: " + noJson.path() + ":1:1: expected JSON, found something else");
}

TEST(CommandLine, ComplainsAboutFilesWithoutANameRatherThanWritingNone) {
  for (char const* option : {"--ring", "--journal", "--plot"}) {
    EXPECT_EQ(replayComplaint({option, ""}),
              std::string(option) + ": the name of the file is empty");
  }
}

}  // namespace
}  // namespace OrviaL3Agent
