// What the program makes of the arguments of serve and ctl.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <variant>
#include <vector>

#include "agent/CommandLine.h"
#include "agent/serve/ServeCommandLine.h"

namespace OrviaL3Agent {
namespace {

Command parsed(std::vector<std::string> const& arguments) {
  std::vector<char const*> argv{"orvia-l3-agent"};
  for (std::string const& argument : arguments) argv.push_back(argument.c_str());
  return parseCommandLine(static_cast<int>(argv.size()), argv.data());
}
ServeOptions serve(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "serve");
  return std::get<ServeOptions>(parsed(arguments));
}
CtlOptions ctl(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "ctl");
  return std::get<CtlOptions>(parsed(arguments));
}
// The first line of the complaint, behind the program's name.
std::string complaint(std::vector<std::string> const& arguments) {
  Command const command = parsed(arguments);
  auto const* const leave = std::get_if<Leave>(&command);
  if (leave == nullptr) return "(none)";
  EXPECT_EQ(leave->exitCode, kExitUsage);
  std::string const line = leave->error.substr(0, leave->error.find('\n'));
  std::string const name = "orvia-l3-agent: ";
  return line.starts_with(name) ? line.substr(name.size()) : line;
}
using Words = std::vector<std::string>;

TEST(ServeCommandLine, ListensWhereARoutingDaemonLooksForIt) {
  ServeOptions const options = serve({});
  EXPECT_EQ(options.listen.address, "127.0.0.1");
  EXPECT_EQ(options.listen.port, 2620);
  EXPECT_FALSE(options.hasMetrics);
  EXPECT_EQ(options.hold, std::chrono::seconds(5));
  EXPECT_EQ(options.controlPath, defaultControlPath());
  EXPECT_EQ(options.slice, ServeOptions::kSlice);
  EXPECT_TRUE(options.hardwareFile.empty());
}

TEST(ServeCommandLine, TakesAddressesOfLoopback) {
  EXPECT_EQ(serve({"--listen", "2621"}).listen.port, 2621);
  EXPECT_EQ(serve({"--listen", "127.0.0.2:0"}).listen.address, "127.0.0.2");
  ServeOptions const options = serve({"--listen", "[::1]:65535", "--metrics", "127.0.0.1:9100"});
  EXPECT_EQ(options.listen.address, "::1");
  EXPECT_EQ(options.listen.port, 65535);
  EXPECT_TRUE(options.hasMetrics);
  EXPECT_EQ(options.metrics.port, 9100);
}

TEST(ServeCommandLine, RefusesAddressesThatOthersReach) {
  for (char const* address : {"0.0.0.0", "10.0.0.1", "128.0.0.1", "[::]", "[fe80::1]"}) {
    std::string const bare = address[0] == '['
                                 ? std::string(address + 1, std::string(address).size() - 2)
                                 : std::string(address);
    std::string const why =
        bare + " is no loopback address: nobody who connects is asked who he is";
    EXPECT_EQ(complaint({"serve", "--listen", std::string(address) + ":2620"}), "--listen: " + why);
    EXPECT_EQ(complaint({"serve", "--metrics", std::string(address) + ":2620"}),
              "--metrics: " + why);
  }
}

TEST(ServeCommandLine, ServesFiguresAtIpv4AddressesOnly) {
  EXPECT_EQ(complaint({"serve", "--metrics", "[::1]:9632"}),
            "--metrics: [::1]:9632 is an IPv6 address: IPv4 only, for instance 127.0.0.1:9632");
  EXPECT_EQ(serve({"--metrics", "9632"}).metrics.address, "127.0.0.1");
}

TEST(ServeCommandLine, RefusesWhatIsNoAddressAndPort) {
  for (char const* text : {"", "port", "65536", "-1", "127.0.0.1", "127.0.0.1:", "localhost:2620",
                           "::1:2620", "[127.0.0.1]:2620", ":2620", "127.0.0.1:2620 "}) {
    EXPECT_EQ(
        complaint({"serve", "--listen", text}),
        std::string("--listen: ") + text + " is not [ADDRESS:]PORT, for instance 127.0.0.1:2620");
  }
}

TEST(ServeCommandLine, TakesFractionsOfASecond) {
  EXPECT_EQ(serve({"--hold", "0.25"}).hold, std::chrono::milliseconds(250));
  EXPECT_EQ(serve({"--hold", "0.1"}).hold, ServeOptions::kLeastHold);
  for (char const* text : {"-1", "0", "0.099", "86401", "nan"}) {
    EXPECT_EQ(complaint({"serve", "--hold", text}),
              std::string("--hold: ") + text + " is not a number of seconds from 0.1 to 86400");
  }
}

TEST(ServeCommandLine, SharesTheOptionsOfReplay) {
  ServeOptions const options = serve({"--rows",
                                      "64",
                                      "--ecmp-rows",
                                      "8",
                                      "--first-row",
                                      "9",
                                      "--member-rows",
                                      "128",
                                      "--group-rows",
                                      "32",
                                      "--max-width",
                                      "16",
                                      "--interface-delay",
                                      "never",
                                      "--mtu-delay",
                                      "7",
                                      "--mtu",
                                      "3=9000",
                                      "--fault",
                                      "group:refuse-every=3",
                                      "--seed",
                                      "4",
                                      "--answer",
                                      "now",
                                      "--refuse-row",
                                      "5",
                                      "--verify",
                                      "--check-forwarding",
                                      "--journal",
                                      "calls.txt",
                                      "--hardware-file",
                                      "asic",
                                      "--ring",
                                      "trace.ring",
                                      "--trace",
                                      "3",
                                      "--slice",
                                      "2"});
  EXPECT_EQ(options.rows, 64U);
  EXPECT_EQ(options.firstIngressRow(), 8U);
  EXPECT_FALSE(options.interfaceDelay);
  EXPECT_EQ(options.mtus.at(3), 9000U);
  EXPECT_EQ(options.faults.of(SoftAsic::TableId::groups).refuseEvery, 3U);
  EXPECT_EQ(options.answer, AgentOptions::Answer::now);
  EXPECT_TRUE(options.verify);
  EXPECT_EQ(options.hardwareFile, "asic");
  EXPECT_EQ(options.slice, 2U);
  EXPECT_EQ(complaint({"serve", "--rows", "10", "--ecmp-rows", "10"}),
            "--ecmp-rows: 10 leaves no row for next hops of routes in a table of 10 rows");
  EXPECT_EQ(complaint({"serve", "--journal", "same", "--ring", "same"}),
            "--journal: same is the file of --ring");
  EXPECT_EQ(complaint({"serve", "--journal", "same", "--control", "same"}),
            "--control: same is the file of --journal");
}

TEST(ServeCommandLine, SaysInTheHelpWhatTheStreamIsTrustedWith) {
  std::string const help = std::get<Leave>(parsed({"serve", "--help"})).output;
  for (char const* part :
       {"--listen [ADDRESS:]PORT", "--control PATH", "--metrics [ADDRESS:]PORT", "--hold SECONDS",
        "--hardware-file FILE", "FPM knows no authentication"}) {
    EXPECT_NE(help.find(part), std::string::npos) << part << "\n" << help;
  }
}

TEST(CtlCommandLine, TakesWordsAsTheyAre) {
  EXPECT_EQ(ctl({"show", "groups"}).words, (Words{"show", "groups"}));
  EXPECT_FALSE(ctl({"show", "groups"}).json);
  CtlOptions const options = ctl({"show", "groups", "--json", "--socket", "a.sock"});
  EXPECT_TRUE(options.json);
  EXPECT_EQ(options.socket, "a.sock");
  EXPECT_EQ(options.words, (Words{"show", "groups"}));
  EXPECT_EQ(ctl({"set", "group.entry[#1].x", "-5"}).words,
            (Words{"set", "group.entry[#1].x", "-5"}));
  EXPECT_TRUE(ctl({"dot", "--svg"}).svg);
  // Words that are commands of the program elsewhere.
  EXPECT_EQ(ctl({"ring", "dump"}).words, (Words{"ring", "dump"}));
  EXPECT_EQ(ctl({"show", "catalogue", "replay"}).words, (Words{"show", "catalogue", "replay"}));
  EXPECT_EQ(ctl({"verbs"}).timeout, std::chrono::seconds(10));
  EXPECT_EQ(ctl({"--timeout", "0.5", "verbs"}).timeout, std::chrono::milliseconds(500));
  EXPECT_EQ(ctl({"--timeout", "0", "verbs"}).timeout, std::chrono::milliseconds(0));
  EXPECT_EQ(complaint({"ctl", "--timeout", "-1", "verbs"}),
            "--timeout: -1 is not a number of seconds from 0 to 86400");
  EXPECT_EQ(complaint({"ctl"}), "WORD is required");
}

TEST(CtlCommandLine, LooksForTheSocketWhereTheAgentMakesIt) {
  EXPECT_EQ(ctl({"verbs"}).socket, serve({}).controlPath);
}

}  // namespace
}  // namespace OrviaL3Agent
