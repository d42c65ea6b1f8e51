// The program as its user meets it: arguments in, text and exit code out.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

std::string agentBinary() {
#ifdef ORVIA_AGENT_BINARY
  return ORVIA_AGENT_BINARY;
#else
  // The build puts programs and tests into one folder.
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "orvia-l3-agent";
#endif
}

struct Ended {
  int exitCode = -1;
  std::string output;
  std::string error;
};

// Runs the program through the shell; standard error is no terminal.
Ended agent(std::string const& arguments) {
  TemporaryFile const error;
  std::string const command =
      "'" + agentBinary() + "' " + arguments + " 2>'" + error.path() + "' </dev/null";
  Ended ended;
  std::FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot start " + command);
  std::array<char, 4096> buffer;
  while (std::size_t const count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
    ended.output.append(buffer.data(), count);
  }
  int const status = ::pclose(pipe);
  ended.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  ended.error = contentOf(error.path());
  return ended;
}

std::string stream(std::string const& name) { return "'" + streamPath(name) + "'"; }

::testing::AssertionResult contains(std::string const& text, std::string const& part) {
  if (text.find(part) != std::string::npos) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "\"" << part << "\" is not in:\n" << text;
}

std::size_t lines(std::string const& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(AgentBinary, ReplaysEveryRecordedStream) {
  int streams = 0;
  for (auto const& entry : std::filesystem::directory_iterator(streamPath(""))) {
    if (entry.path().extension() != ".fpm") continue;
    ++streams;
    Ended const ended = agent("replay '" + entry.path().string() + "'");
    EXPECT_EQ(ended.exitCode, 0) << entry.path();
    EXPECT_EQ(ended.error, "") << entry.path();
    EXPECT_TRUE(contains(ended.output, "Replayed " + entry.path().string() + ": "));
    EXPECT_TRUE(contains(ended.output, " 0 parked, 0 refused, 0 unanswered, 0 not placed\n"));
  }
  EXPECT_EQ(streams, 12);
}

TEST(AgentBinary, PrintsTheTableBeforeTheSummary) {
  Ended const ended = agent("replay " + stream("forms.0.fpm") + " --show --ecmp-rows 1");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(ended.output.starts_with("id  row  family  gateway "));
  EXPECT_TRUE(contains(ended.output, "\n21  9    IPv4    10.0.2.2   3          programmed  "));
  EXPECT_TRUE(contains(ended.output, "\n\nReplayed "));
}

TEST(AgentBinary, ShowsAParkedTable) {
  Ended const ended = agent("replay " + stream("forms.0.fpm") + " --show --interface-delay never");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(contains(ended.output, " 8 live: 0 programmed, 8 parked, "));
  EXPECT_TRUE(contains(ended.output, "Hardware      0 writes, 0 deletes, 0 rows in force\n"));
}

TEST(AgentBinary, ShowsGroupsBehindTheTable) {
  Ended const ended = agent("replay " + stream("flap-static-reconn.0.fpm") + " --show");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(contains(ended.output,
                       "\n\ngroup 146, row 3: programmed; 2 paths from member row 2\n"
                       "  member row 2 -> next-hop row 2 (10.0.1.2) -> interface 2, l3Oif1 1\n"));
}

TEST(AgentBinary, ListsRefusedRows) {
  Ended const ended =
      agent("replay " + stream("forms.0.fpm") + " --ecmp-rows 1 --refuse-row 2 9 --answer now");
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_TRUE(contains(ended.output,
                       "Refused by the hardware\n"
                       "  id 4, row 2, connected on interface 2: refused\n"
                       "  id 21, row 9, 10.0.2.2 on interface 3: refused\n"));
}

TEST(AgentBinary, NamesTheOffsetOfACutOffStreamAndStillPrintsTheSummary) {
  TemporaryFile const cut(contentOf(streamPath("forms.0.fpm")).substr(0, 200));
  Ended const ended = agent("replay '" + cut.path() + "'");
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(ended.error,
            "orvia-l3-agent: " + cut.path() +
                ": offset 184: truncated frame: 16 of 44 bytes before the stream ends\n");
  EXPECT_TRUE(
      contains(ended.output, "Stopped at a fault of the stream: offset 184: truncated frame: "));
  EXPECT_TRUE(contains(ended.output, " 4 live: 4 programmed, 0 parked, "));
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
       {"", "replay", "replay no-such-file", "frobnicate", "ring", "replay --answer never x"}) {
    Ended const ended = agent(arguments);
    EXPECT_EQ(ended.exitCode, 2) << arguments;
    EXPECT_EQ(ended.output, "") << arguments;
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
  EXPECT_TRUE(ended.error.ends_with(
      "100 % of 196580 bytes, 3708 messages; next hops: 459 live, 0 parked\n"))
      << ended.error;
  EXPECT_EQ(agent("replay " + stream("wide-static.0.fpm") + " --no-progress").error, "");
}

TEST(AgentBinary, TracesWhatTheTableDoes) {
  TemporaryFile const one(announce(1, 2));
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
  TemporaryFile const one(announce(1, 2));
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
