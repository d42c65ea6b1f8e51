// What the program makes of its arguments.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "agent/CommandLine.h"

namespace OrviaL3Agent {
namespace {

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

// The complaint about wrong usage.
std::string complaint(std::vector<std::string> const& arguments) {
  Command const command = parsed(arguments);
  auto const* leave = std::get_if<Leave>(&command);
  if (leave == nullptr) return "(none)";
  EXPECT_EQ(leave->exitCode, kExitUsage);
  EXPECT_EQ(leave->output, "");
  return leave->error.substr(0, leave->error.find('\n'));
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

TEST(CommandLine, TakesNeverForADelay) {
  EXPECT_FALSE(replay({"--interface-delay", "never"}).interfaceDelay);
  EXPECT_FALSE(replay({"--mtu-delay", "never"}).mtuDelay);
}

TEST(CommandLine, TakesTheFileBehindAListOfRows) {
  Command const command = parsed({"replay", "--refuse-row", "1", "2", kStream});
  ASSERT_TRUE(std::holds_alternative<ReplayOptions>(command)) << std::get<Leave>(command).error;
  EXPECT_EQ(std::get<ReplayOptions>(command).refusedRows.size(), 2U);
}

TEST(CommandLine, TakesARingFile) {
  EXPECT_EQ(std::get<RingOptions>(parsed({"ring", kStream})).file, kStream);
}

TEST(CommandLine, ShowsHelpWithExamples) {
  for (std::vector<std::string> const& arguments :
       {std::vector<std::string>{"--help"}, {"replay", "--help"}, {"ring", "--help"}}) {
    Leave const leave = std::get<Leave>(parsed(arguments));
    EXPECT_EQ(leave.exitCode, kExitOk);
    EXPECT_EQ(leave.error, "");
    EXPECT_NE(leave.output.find("Examples:\n"), std::string::npos) << leave.output;
    EXPECT_NE(leave.output.find("orvia-l3-agent replay examples/streams/forms.0.fpm"),
              std::string::npos);
    EXPECT_NE(leave.output.find("Exit codes: 0"), std::string::npos);
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
}

TEST(CommandLine, ComplainsAboutFilesThatAreNotThere) {
  EXPECT_EQ(complaint({"replay", "no-such-file"}), "FILE: File does not exist: no-such-file");
  EXPECT_EQ(complaint({"ring", "no-such-file"}), "FILE: File does not exist: no-such-file");
  EXPECT_EQ(complaint({"replay", "."}), "FILE: File is actually a directory: .");
}

TEST(CommandLine, ComplainsAboutValuesThatCannotBe) {
  EXPECT_EQ(replayComplaint({"--frob"}), "The following argument was not expected: --frob");
  EXPECT_EQ(replayComplaint({"--answer", "maybe"}), "--answer: maybe is neither now nor loop");
  EXPECT_EQ(replayComplaint({"--trace", "10"}), "--trace: Value 10 not in range 0 to 9");
  EXPECT_EQ(replayComplaint({"--rows", "1"}), "--rows: Value 1 not in range 2 to 1048576");
  EXPECT_EQ(replayComplaint({"--rows", "1048577"}),
            "--rows: Value 1048577 not in range 2 to 1048576");
  EXPECT_EQ(replayComplaint({"--slice", "0"}), "--slice: Value 0 not in range 1 to 1048576");
  EXPECT_EQ(replayComplaint({"--until", "-3"}), "--until: -3 is negative");
  EXPECT_EQ(replayComplaint({"--refuse-row", "-1"}), "--refuse-row: -1 is negative");
  EXPECT_EQ(replayComplaint({"--first-row", "-1"}), "--first-row: -1 is negative");
  EXPECT_EQ(replayComplaint({"--rows", "10", "--first-row", "10"}),
            "--first-row: 10 is not a row of a table of 10 rows");
  EXPECT_EQ(replayComplaint({"--rows", "10", "--first-row", "4"}),
            "--first-row: 4 is among the 5 rows for next hops of groups");
  EXPECT_EQ(replayComplaint({"--rows", "10", "--ecmp-rows", "10"}),
            "--ecmp-rows: 10 leaves no row for other next hops in a table of 10 rows");
  EXPECT_EQ(replayComplaint({"--member-rows", "65537"}),
            "--member-rows: Value 65537 not in range 1 to 65536");
  EXPECT_EQ(replayComplaint({"--rows", "10", "--refuse-row", "10"}),
            "--refuse-row: 10 is not a row of a table of 10 rows");
  EXPECT_EQ(replayComplaint({"--interface-delay", "-1"}),
            "--interface-delay: -1 is neither a number of turns nor \"never\"");
  EXPECT_EQ(replayComplaint({"--mtu-delay", "soon"}),
            "--mtu-delay: soon is neither a number of turns nor \"never\"");
}

}  // namespace
}  // namespace OrviaL3Agent
