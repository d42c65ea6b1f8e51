// Part of the library in a coverage build: writes the library's counters also when the process
// aborts, or leaves without the functions of std::atexit, as the children of death tests do.
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

// Of the compiler's coverage library. Its header <gcov.h> declares it for C only.
extern "C" void __gcov_dump();

// In place of the C library's. Weak, as it is nothing that the library offers.
extern "C" [[gnu::weak, gnu::visibility("default")]] void _exit(int status) {
  __gcov_dump();
  for (;;) syscall(SYS_exit_group, status);
}
extern "C" [[gnu::weak, gnu::visibility("default")]] void _Exit(int status) noexcept {
  _exit(status);
}

namespace {

struct sigaction former {};

// The counters are written by ordinary functions of the C library. In a process that aborts itself
// that is no worse than what it does anyway.
void writeCounters(int signal) {
  __gcov_dump();
  sigaction(signal, &former, nullptr);
  raise(signal);
}

// No static object: a test knows those of the library, and expects no other.
[[gnu::constructor]] void install() {
  struct sigaction action {};
  action.sa_handler = writeCounters;
  action.sa_flags = SA_NODEFER;
  sigaction(SIGABRT, &action, &former);
  std::at_quick_exit([] { __gcov_dump(); });
}

}  // namespace
