// The program itself, serving: a process with a free port and a directory of its own.
//
//   ServedAgent served("--verify");
//   Daemon daemon(served.port());
//   sendAll(daemon, bytes);
//   served.waitForLog("connection from");
//   EXPECT_EQ(served.end(SIGTERM), 0) << served.log();
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/agent/AgentProcess.h"
#include "tests/serve/Daemon.h"

namespace OrviaL3Agent::Testing {

class TemporaryDirectory {
 public:
  TemporaryDirectory() : path_(::testing::TempDir() + "orvia-serve-XXXXXX") {
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary directory");
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDirectory(TemporaryDirectory const&) = delete;
  TemporaryDirectory& operator=(TemporaryDirectory const&) = delete;

  [[nodiscard]] std::string operator/(char const* name) const { return path_ + "/" + name; }
  [[nodiscard]] std::string const& path() const { return path_; }

 private:
  std::string path_;
};

class ServedAgent {
 public:
  struct Circumstances {
    std::uint16_t port = 0;  // 0: a free one
    bool asJournal = false;  // standard error is what $JOURNAL_STREAM says
  };

  // `arguments`: behind those for the sockets, separated by blanks.
  explicit ServedAgent(std::string const& arguments = "") : ServedAgent(arguments, {}) {}
  ServedAgent(std::string const& arguments, Circumstances const& circumstances) {
    std::vector<std::string> all{agentBinary(), "serve",
                                 "--listen",    std::to_string(circumstances.port),
                                 "--control",   control()};
    std::istringstream words(arguments);
    for (std::string word; words >> word;) all.push_back(word);
    std::vector<char*> pointers;
    for (std::string& argument : all) pointers.push_back(argument.data());
    pointers.push_back(nullptr);

    int const error = ::open(errorFile().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int const output = ::open(outputFile().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    struct stat status {};
    ::fstat(error, &status);
    std::string stream =
        "JOURNAL_STREAM=" + std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    std::vector<char*> environment;
    for (char** at = environ; *at != nullptr; ++at) {
      if (std::string_view(*at).substr(0, 15) != "JOURNAL_STREAM=") environment.push_back(*at);
    }
    if (circumstances.asJournal) environment.push_back(stream.data());
    environment.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error, STDERR_FILENO);
    int const started = ::posix_spawn(&process_, pointers[0], &actions, nullptr, pointers.data(),
                                      environment.data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(error);
    ::close(output);
    if (started != 0) throw std::runtime_error("cannot start " + all[0]);
  }
  ~ServedAgent() {
    if (process_ > 0) end(SIGKILL);
  }
  ServedAgent(ServedAgent const&) = delete;
  ServedAgent& operator=(ServedAgent const&) = delete;

  // What it listens at, once it does.
  [[nodiscard]] std::uint16_t port() {
    std::string const before = "listening for a routing daemon at 127.0.0.1:";
    waitForLog(before);
    std::string const text = log();
    return static_cast<std::uint16_t>(std::stoul(text.substr(text.find(before) + before.size())));
  }
  [[nodiscard]] std::string control() const { return directory_ / "control"; }
  [[nodiscard]] std::string log() const { return contentOf(errorFile()); }
  [[nodiscard]] std::string output() const { return contentOf(outputFile()); }

  // Throws when it never comes, or the process ends before.
  void waitForLog(std::string const& part) {
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (log().find(part) == std::string::npos) {
      bool const isOver = std::chrono::steady_clock::now() > end;
      if (isOver || hasEnded()) throw std::runtime_error("no \"" + part + "\" in:\n" + log());
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  void signalIs(int signal) const { ::kill(process_, signal); }
  // Signals the process and waits for its end. Returns its exit code, -1 when a signal ended it.
  int end(int signal) {
    ::kill(process_, signal);
    return wait();
  }
  int wait() {
    if (process_ > 0) ::waitpid(process_, &status_, 0);
    process_ = 0;
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
  }

 private:
  [[nodiscard]] std::string errorFile() const { return directory_ / "error"; }
  [[nodiscard]] std::string outputFile() const { return directory_ / "output"; }
  bool hasEnded() {
    if (process_ > 0 && ::waitpid(process_, &status_, WNOHANG) == process_) process_ = 0;
    return process_ == 0;
  }

  TemporaryDirectory directory_;
  pid_t process_ = 0;
  int status_ = 0;
};

// All of it, however long that takes.
inline void sendAll(Daemon& daemon, std::string_view bytes) {
  while (!bytes.empty()) {
    std::size_t const sent = daemon.sendSome(bytes);
    bytes.remove_prefix(sent);
    if (sent == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

}  // namespace OrviaL3Agent::Testing
