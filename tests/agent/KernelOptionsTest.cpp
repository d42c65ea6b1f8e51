// The options that put a kernel behind the tables.
#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "agent/CommandLine.h"

namespace OrviaL3Agent {
namespace {

std::string const kStream = std::string(ORVIA_SOURCE_DIR) + "/examples/streams/w1-static.0.fpm";

Command parsed(std::vector<std::string> const& words) {
  std::vector<char const*> arguments{"orvia-l3-agent"};
  for (std::string const& word : words) arguments.push_back(word.c_str());
  return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

KernelSetup setupOf(std::vector<std::string> const& words) {
  Command const command = parsed(words);
  if (auto const* const serve = std::get_if<ServeOptions>(&command)) return serve->kernel;
  return std::get<ReplayOptions>(command).kernel;
}

std::string complaintAbout(std::vector<std::string> const& words) {
  Leave const leave = std::get<Leave>(parsed(words));
  EXPECT_EQ(leave.exitCode, kExitUsage);
  return leave.error.substr(0, leave.error.find('\n'));
}

TEST(KernelOptions, AreOffUnlessAskedFor) {
  EXPECT_FALSE(setupOf({"serve"}).isOn);
  EXPECT_FALSE(setupOf({"replay", kStream}).isOn);
}

TEST(KernelOptions, NameTheNamespaceBehindAnEqualsSignOnly) {
  KernelSetup const own = setupOf({"replay", "--kernel", kStream});
  EXPECT_TRUE(own.isOn);
  EXPECT_EQ(own.netns, "");
  EXPECT_EQ(own.daemonNetns, "");
  EXPECT_EQ(own.firstId, 1000000U);
  KernelSetup const other =
      setupOf({"serve", "--kernel=plane", "--daemon-netns", "router", "--kernel-ids", "77"});
  EXPECT_TRUE(other.isOn);
  EXPECT_EQ(other.netns, "plane");
  EXPECT_EQ(other.daemonNetns, "router");
  EXPECT_EQ(other.firstId, 77U);
}

TEST(KernelOptions, AreRefusedWithoutANameBehindTheEqualsSign) {
  for (std::vector<std::string> const& words :
       {std::vector<std::string>{"serve", "--kernel="}, {"replay", kStream, "--kernel="}}) {
    EXPECT_EQ(complaintAbout(words),
              "orvia-l3-agent: --kernel: the name of the network namespace is empty");
  }
}

TEST(KernelOptions, MeanNothingWithoutTheKernel) {
  EXPECT_EQ(complaintAbout({"serve", "--daemon-netns", "router"}),
            "orvia-l3-agent: --daemon-netns requires --kernel");
  EXPECT_EQ(complaintAbout({"replay", kStream, "--kernel-ids", "5"}),
            "orvia-l3-agent: --kernel-ids requires --kernel");
  EXPECT_NE(complaintAbout({"serve", "--kernel", "--kernel-ids", "0"}).find("--kernel-ids"),
            std::string::npos);
}

TEST(KernelOptions, ExcludeThoseOfTheSimulatedHardware) {
  std::vector<std::vector<std::string>> const others{{"--hardware-file", "asic"},
                                                     {"--answer", "now"},
                                                     {"--refuse-row", "5"},
                                                     {"--fault", "group:refuse-every=3"}};
  for (auto const& other : others) {
    std::vector<std::string> words{"serve", "--kernel"};
    words.insert(words.end(), other.begin(), other.end());
    EXPECT_EQ(complaintAbout(words),
              "orvia-l3-agent: " + other.front() +
                  ": is of the simulated hardware, and --kernel of another one");
  }
}

TEST(KernelOptions, HoldNextHopsOfBeforeWithoutAFile) {
  EXPECT_EQ(std::get<ReplayOptions>(parsed({"replay", "--kernel", kStream, "--hold", "5"})).hold,
            5U);
}

}  // namespace
}  // namespace OrviaL3Agent
