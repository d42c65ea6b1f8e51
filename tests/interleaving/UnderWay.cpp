#include "UnderWay.h"

#include <csignal>
#include <cstdio>

#include "Course.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/asan_interface.h>
#endif

namespace Interleaving {
namespace {

std::string const* currentScenario = nullptr;
std::vector<Event> const* currentPath = nullptr;

void print() {
  if (currentScenario == nullptr) return;
  std::fprintf(stderr, "under way: %s\n", currentScenario->c_str());
  for (Event const& event : *currentPath) std::fprintf(stderr, "    %s\n", event.name.c_str());
  currentScenario = nullptr;
}

// Not what a handler should do, and the process is at its end.
void onAbort(int /*signal*/) { print(); }

}  // namespace

UnderWay::UnderWay(std::string const& scenario, std::vector<Event> const& path) {
  currentScenario = &scenario;
  currentPath = &path;
  std::signal(SIGABRT, onAbort);
#ifdef __SANITIZE_ADDRESS__
  __asan_set_death_callback(print);
#endif
}

UnderWay::~UnderWay() {
  std::signal(SIGABRT, SIG_DFL);
  currentScenario = nullptr;
  currentPath = nullptr;
}

}  // namespace Interleaving
