// Part of every shared object of a coverage build: writes the object's counters also when the
// process aborts, as the children of death tests do, or leaves by std::quick_exit.
#include <csignal>
#include <cstdlib>

// Of the compiler's coverage library. Its header <gcov.h> declares it for C only.
extern "C" void __gcov_dump();

namespace {

struct sigaction former {};

// The counters are written by ordinary functions of the C library. In a process that aborts itself
// that is no worse than what it does anyway.
void writeCounters(int signal) {
  __gcov_dump();
  sigaction(signal, &former, nullptr);
  raise(signal);
}

[[maybe_unused]] bool const installed = [] {
  struct sigaction action {};
  action.sa_handler = writeCounters;
  action.sa_flags = SA_NODEFER;
  sigaction(SIGABRT, &action, &former);
  std::at_quick_exit([] { __gcov_dump(); });
  return true;
}();

}  // namespace
