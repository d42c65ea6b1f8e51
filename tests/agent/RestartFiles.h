// What a restart of the program needs: a hardware file in a directory of its own, and toggles.
//
//   RestartFiles files;
//   files.clearOnRestartIs(false);
//   Ended const ended = agent("replay " + stream("forms.0.fpm") + files.options());
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <string>

#include "tests/agent/AgentProcess.h"

namespace OrviaL3Agent::Testing {

class RestartFiles {
 public:
  RestartFiles() {
    std::string name = ::testing::TempDir() + "orvia-restart-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
    directory_ = name;
  }
  ~RestartFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  RestartFiles(RestartFiles const&) = delete;
  RestartFiles& operator=(RestartFiles const&) = delete;

  [[nodiscard]] std::string hardware() const { return directory_ + "/hardware"; }
  [[nodiscard]] std::string owners() const { return hardware() + ".owners"; }
  [[nodiscard]] std::string toggles() const { return directory_ + "/OrviaAsicUtils.json"; }
  void togglesAre(std::string const& text) const { std::ofstream(toggles()) << text; }
  void clearOnRestartIs(bool clear) const {
    togglesAre(std::string(R"({"ClearHwTableOnRestart": )") + (clear ? "true" : "false") + "}\n");
  }
  // With a blank in front.
  [[nodiscard]] std::string options() const {
    return " --hardware-file '" + hardware() + "' --toggles '" + directory_ + "'";
  }
  // Hardware as it comes from the factory.
  void hardwareDel() const {
    std::filesystem::remove(hardware());
    std::filesystem::remove(owners());
  }

 private:
  std::string directory_;
};

// The routes that `replay --routes` prints, and where their packets go, whatever rows and whatever
// number of the agent's own a group has for that.
inline std::string routesOf(std::string const& output) {
  std::size_t const start = output.find("Routes\n");
  std::size_t const end = output.find("\n\n", start);
  if (start == std::string::npos || end == std::string::npos) return "no routes in: " + output;
  static std::regex const number("(row|, group) [0-9]+");
  return std::regex_replace(output.substr(start, end - start), number, "$1");
}

}  // namespace OrviaL3Agent::Testing
