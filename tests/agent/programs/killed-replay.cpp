// killed-replay CALL ARGUMENTS...: the agent's `replay ARGUMENTS...`, over the linked library,
// which kills itself, as nothing can be caught, within that hardware call of its serving; calls
// count from
// 1. Exits with 0 when the replay comes to its end before.
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <variant>
#include <vector>

#include "OrviaAsicUtils/Toggles.h"
#include "agent/Replay.h"

namespace {

class Killer final : public SoftAsic::CallObserver {
 public:
  explicit Killer(std::uint64_t call) : left_(call) {}
  void callIs(SoftAsic::Call const&) override {
    if (--left_ == 0) std::raise(SIGKILL);
  }

 private:
  std::uint64_t left_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  std::vector<char const*> arguments{argv[0], "replay"};
  arguments.insert(arguments.end(), argv + 2, argv + argc);
  OrviaL3Agent::Command const command =
      OrviaL3Agent::parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
  auto const* const options = std::get_if<OrviaL3Agent::ReplayOptions>(&command);
  if (options == nullptr) return 2;
  try {
    OrviaAsicUtils::toggleDirectoryIs(options->toggleDirectory);
    Killer killer(std::strtoull(argv[1], nullptr, 10));
    OrviaL3Agent::Replay replay(*options);
    replay.hardware().device().observerIs(&killer);
    while (replay.turn()) {
    }
    replay.hardware().device().observerDel(&killer);
  } catch (std::exception const& error) {
    std::fprintf(stderr, "killed-replay: %s\n", error.what());
    return 1;
  }
}
