#include "agent/control/Svg.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace OrviaL3Agent::Control {
namespace {

constexpr int kFailed = 1;

int failed(std::string const& what) {
  fmt::print(stderr, "orvia-l3-agent: {}\n", what);
  return kFailed;
}

// The graph in a file of its own without a name: whoever reads it may stop at any point, and
// nobody is left waiting for him as at a pipe.
int fileOf(std::string const& text) {
  int const file = ::memfd_create("graph", MFD_CLOEXEC);
  if (file < 0) return -1;
  for (std::size_t written = 0; written < text.size();) {
    ssize_t const count = ::write(file, text.data() + written, text.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      int const error = errno;
      ::close(file);
      errno = error;
      return -1;
    }
    written += static_cast<std::size_t>(count);
  }
  ::lseek(file, 0, SEEK_SET);
  return file;
}

}  // namespace

int printSvg(std::string const& dot) {
  int const graph = fileOf(dot);
  if (graph < 0) return failed(fmt::format("the graph: {}", std::strerror(errno)));
  std::fflush(stdout);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, graph, STDIN_FILENO);
  std::string program = "dot";
  std::string format = "-Tsvg";
  std::array<char*, 3> arguments{program.data(), format.data(), nullptr};
  pid_t child = 0;
  int const error =
      ::posix_spawnp(&child, program.c_str(), &actions, nullptr, arguments.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(graph);
  if (error == ENOENT) {
    return failed(
        "a picture is drawn by the program dot, which is not here: install the package graphviz, "
        "or leave out --svg");
  }
  if (error != 0) return failed(fmt::format("dot: {}", std::strerror(error)));
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return failed(fmt::format("dot: {}", std::strerror(errno)));
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return 0;
  return failed(WIFEXITED(status) ? fmt::format("dot ended with exit code {}", WEXITSTATUS(status))
                                  : fmt::format("dot was ended by signal {}", WTERMSIG(status)));
}

}  // namespace OrviaL3Agent::Control
