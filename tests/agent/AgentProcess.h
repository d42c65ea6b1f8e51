// The program as its user meets it: arguments in, text and exit code out.
//
//   Ended const ended = agent("replay " + stream("forms.0.fpm"));
//   EXPECT_EQ(ended.exitCode, 0) << ended.error;
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent::Testing {

inline std::string agentBinary() {
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

// Runs a command line through the shell; standard error is no terminal.
inline Ended shell(std::string const& line) {
  TemporaryFile const error;
  std::string const command = line + " 2>'" + error.path() + "' </dev/null";
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

// Runs the program; the environment is what a shell takes before a command: "NAME=value".
inline Ended agent(std::string const& arguments, std::string const& environment = "") {
  return shell(environment + " '" + agentBinary() + "' " + arguments);
}

inline std::string stream(std::string const& name) { return "'" + streamPath(name) + "'"; }

inline ::testing::AssertionResult contains(std::string const& text, std::string const& part) {
  if (text.find(part) != std::string::npos) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "\"" << part << "\" is not in:\n" << text;
}

inline std::size_t lines(std::string const& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

}  // namespace OrviaL3Agent::Testing
