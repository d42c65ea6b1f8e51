#include "agent/AgentModule.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>
#include <variant>

#include "agent/Catalogue.h"
#include "agent/CommandLine.h"
#include "agent/Replay.h"
#include "agent/TableSource.h"
#include "agent/Tracing.h"
#include "agent/control/Ctl.h"
#include "agent/serve/Serve.h"

namespace {

using OrviaL3Agent::CatalogueOptions;
using OrviaL3Agent::CompareOptions;
using OrviaL3Agent::CtlOptions;
using OrviaL3Agent::Leave;
using OrviaL3Agent::ReplayOptions;
using OrviaL3Agent::RingOptions;
using OrviaL3Agent::ServeOptions;

struct Run {
  void* library;

  int operator()(ReplayOptions const& options) const {
    return OrviaL3Agent::replayCommand(options, OrviaL3Agent::loadedTables(library));
  }
  int operator()(ServeOptions const& options) const {
    return OrviaL3Agent::serveCommand(options, OrviaL3Agent::loadedTables(library));
  }
  int operator()(CtlOptions const& options) const {
    return OrviaL3Agent::Control::ctlCommand(options);
  }
  int operator()(RingOptions const& options) const { return OrviaL3Agent::printRing(options); }
  int operator()(CompareOptions const& options) const {
    return OrviaL3Agent::compareCommand(options);
  }
  int operator()(CatalogueOptions const& options) const {
    return OrviaL3Agent::catalogueCommand(options);
  }
  int operator()(Leave const& leave) const {
    fmt::print("{}", leave.output);
    fmt::print(stderr, "{}", leave.error);
    return leave.exitCode;
  }
};

}  // namespace

int orviaAgentMain(int argc, char const* const* argv, void* library) {
  try {
    int const result = std::visit(Run{library}, OrviaL3Agent::parseCommandLine(argc, argv));
    // What did not fit, or had nowhere to go, is lost: that is no success.
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return result;
    throw std::system_error(errno, std::generic_category(), "standard output");
  } catch (std::exception const& error) {
    // A file that cannot be opened, read or made, or a table that is not to be had: the message
    // names it.
    std::fflush(stdout);
    fmt::print(stderr, "orvia-l3-agent: {}\n", error.what());
    return OrviaL3Agent::kExitStreamError;
  }
}
