// An agent that is killed at any moment, and the next one on the same hardware.
//
// Whatever the moment, the next agent has to end where an undisturbed one ends: packets to the same
// places, and with the clearing toggle no other row in the hardware.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/agent/RestartFiles.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using Clock = std::chrono::steady_clock;

// A stream, and how many hardware calls its undisturbed replay makes, about.
struct Killed {
  char const* stream;
  std::uint64_t calls;
  unsigned seed;
};

void PrintTo(Killed const& killed, std::ostream* out) { *out << killed.stream; }

std::vector<std::string> argumentsOf(RestartFiles const& files, std::string const& name) {
  return {streamPath(name), "--hardware-file", files.hardware(), "--toggles",
          std::filesystem::path(files.toggles()).parent_path().string()};
}

class Process {
 public:
  Process(std::string const& program, std::vector<std::string> const& arguments) {
    std::vector<char*> pointers{const_cast<char*>(program.c_str())};
    for (std::string const& argument : arguments) {
      pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    if (posix_spawn(&process_, program.c_str(), &actions, nullptr, pointers.data(), environ) != 0) {
      throw std::runtime_error("cannot start " + program);
    }
    posix_spawn_file_actions_destroy(&actions);
  }
  void kill() const { ::kill(process_, SIGKILL); }
  // What waitpid says of its end.
  [[nodiscard]] int wait() const {
    int status = 0;
    ::waitpid(process_, &status, 0);
    return status;
  }

 private:
  pid_t process_ = 0;
};

bool wasKilled(int status) { return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL; }

class Kill : public ::testing::TestWithParam<Killed> {
 protected:
  static constexpr int kPoints = kIsSlow ? 6 : 25;

  Kill() : undisturbed_(agent("replay " + streamArgument() + " --routes")) {
    EXPECT_EQ(undisturbed_.exitCode, 0) << undisturbed_.error;
  }

  [[nodiscard]] std::string streamArgument() const { return stream(GetParam().stream); }
  // Starts on what the killed one left, with all checks that can be right.
  void startAgain(bool clears) {
    Ended const ended = agent("replay " + streamArgument() + files_.options() +
                              " --routes --verify" + (clears ? " --check-forwarding" : ""));
    EXPECT_EQ(ended.exitCode, 0) << ended.output << ended.error;
    EXPECT_TRUE(contains(ended.output, "verified: no difference"));
    // An owner is noted before his row is written, and struck after it is gone.
    EXPECT_TRUE(contains(ended.output, "held; 0 without an owner"));
    EXPECT_EQ(routesOf(ended.output), routesOf(undisturbed_.output));
    EXPECT_TRUE(contains(ended.output, "\n  left        "));
    if (clears) {
      EXPECT_TRUE(
          contains(ended.output, "left        0 next-hop rows, 0 member rows, 0 group rows"));
    }
  }
  void killAtCalls(bool clears) {
    files_.clearOnRestartIs(clears);
    std::mt19937_64 random(GetParam().seed);
    for (int point = 0; point < kPoints; ++point) {
      SCOPED_TRACE(point);
      files_.hardwareDel();
      // Every third one is killed twice: the second agent, too, while it starts over.
      for (int kills = point % 3 == 2 ? 2 : 1; kills > 0; --kills) {
        std::uint64_t const call = 1 + random() % GetParam().calls;
        std::vector<std::string> arguments = argumentsOf(files_, GetParam().stream);
        arguments.insert(arguments.begin(), std::to_string(call));
        int const status = Process(ORVIA_KILLED_REPLAY, arguments).wait();
        // One that starts over finds next hops in place and makes fewer calls.
        bool const isDone = kills == 1 && point % 3 == 2 && WIFEXITED(status);
        ASSERT_TRUE(wasKilled(status) || (isDone && WEXITSTATUS(status) == 0)) << status;
      }
      startAgain(clears);
      if (HasFailure()) return;
    }
  }
  void killAtTimes(bool clears) {
    files_.clearOnRestartIs(clears);
    std::vector<std::string> arguments = argumentsOf(files_, GetParam().stream);
    arguments.insert(arguments.begin(), "replay");
    Clock::time_point const start = Clock::now();
    ASSERT_EQ(Process(agentBinary(), arguments).wait(), 0);
    auto whole = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
    std::mt19937_64 random(GetParam().seed + 1000);
    for (int point = 0; point < kPoints; ++point) {
      SCOPED_TRACE(point);
      files_.hardwareDel();
      for (int kills = point % 3 == 2 ? 2 : 1; kills > 0;) {
        Process const process(agentBinary(), arguments);
        std::this_thread::sleep_for(
            std::chrono::microseconds(random() % static_cast<std::uint64_t>(whole.count())));
        process.kill();
        if (wasKilled(process.wait())) {
          --kills;
        } else {
          // Too late: it is faster than it was. Its hardware is as good as any to start over on.
          whole = whole * 19 / 20 + std::chrono::microseconds(1);
        }
      }
      startAgain(clears);
      if (HasFailure()) return;
    }
  }

  RestartFiles files_;
  Ended undisturbed_;
};

TEST_P(Kill, AtHardwareCallsWithClearing) { killAtCalls(true); }
TEST_P(Kill, AtHardwareCallsWithRowsLeftInPlace) { killAtCalls(false); }
TEST_P(Kill, AtRandomMomentsWithClearing) { killAtTimes(true); }
TEST_P(Kill, AtRandomMomentsWithRowsLeftInPlace) { killAtTimes(false); }

INSTANTIATE_TEST_SUITE_P(Streams, Kill,
                         ::testing::Values(Killed{"wide-static.0.fpm", 9000, 1},
                                           Killed{"flap-static.0.fpm", 45, 2}),
                         [](auto const& killed) {
                           std::string name(killed.param.stream);
                           std::erase_if(name, [](char c) { return std::isalnum(c) == 0; });
                           return name;
                         });

}  // namespace
}  // namespace OrviaL3Agent
