#include "agent/Replay.h"

#include <fmt/format.h>

#include <cstdio>

#include "OrviaAsicUtils/Toggles.h"
#include "Vek/Exception.h"
#include "agent/AgentCommandLine.h"
#include "agent/ByName.h"
#include "agent/Plot.h"
#include "agent/RouteText.h"
#include "agent/Tracing.h"

namespace OrviaL3Agent {
namespace {

AgentOptions agentOptionsOf(ReplayOptions const& options) {
  AgentOptions agent = static_cast<AgentOptions const&>(options);
  agent.countRows = !options.plotFile.empty();
  return agent;
}

}  // namespace

Replay::Replay(ReplayOptions const& options, TableSource const& source)
    : options_(options),
      agent_(agentOptionsOf(options), source),
      events_(options.events),
      input_(options.file, options.slice, options.until, agent_.streamCounts(), *this) {
  if (!options.plotFile.empty()) timeline_.emplace();
  agent_.inputIs(&input_);
}

Replay::~Replay() = default;

void Replay::messagesHandled(std::uint64_t messages) {
  for (Event const& event : events_.due(messages)) happen(event);
}

void Replay::happen(Event const& event) {
  if (auto const* const interface = std::get_if<InterfaceEvent>(&event.what)) {
    agent_.mapping().interfaceIs(interface->interface, interface->up);
  } else if (std::holds_alternative<FaultsOff>(event.what)) {
    agent_.hardware().device().faultsDel();
  } else {
    agent_.mapping().retry(true);
  }
}

bool Replay::turn() {
  agent_.turn();
  if (timeline_) sample();
  if (agent_.isRestartable() && input_.complete() && !holding_) {
    holding_ = true;
    agent_.loop().timerIs(options_.hold, [this] { agent_.release(); });
  }
  return agent_.loop().busy();
}

void Replay::run(Progress& progress) {
  for (;;) {
    while (turn()) {
      progress.show([this] { return progressText(); });
    }
    std::optional<Event> const event = events_.atEnd();
    if (!event) break;
    happen(*event);
  }
  progress.showLast([this] { return progressText(); });
}

void Replay::sample() {
  timeline_->add({agent_.streamCounts().messages, agent_.rowsInForce(), agent_.parked(),
                  agent_.hardware().calls()});
}

std::string Replay::progressText() const {
  std::uint64_t const size = input_.size();
  Mapping const& mapping = agent_.mapping();
  return fmt::format("{} % of {} bytes, {} messages; {} ids, {} routes, {} groups",
                     size == 0 ? 100 : 100 * input_.offset() / size, size,
                     agent_.streamCounts().messages, mapping.ids().ids().size(),
                     mapping.routes().routes().size(), mapping.groups().groups().size());
}

Report Replay::report() const {
  Report report = agent_.report();
  report.file = options_.file;
  report.fileSize = input_.size();
  if (input_.error()) report.error = input_.error()->what();
  return report;
}

namespace {

// Sets, then lists and prints. What a change writes is answered before anything is printed. Returns
// whether all names and values are right; what is wrong is told, and the rest is done.
bool namedCommands(ReplayOptions const& options, Replay& replay) {
  Mapping::Tables const& tables = replay.mapping().tables();
  bool areRight = true;
  auto const attempt = [&areRight](auto const& command) {
    try {
      command();
    } catch (Vek::Exception const& error) {
      std::fflush(stdout);
      fmt::print(stderr, "orvia-l3-agent: {}\n", error.what());
      areRight = false;
    }
  };
  for (auto const& change : options.sets) attempt([&] { setByName(tables, change); });
  if (!options.sets.empty()) {
    while (replay.turn()) {
    }
  }
  // Several lists need headings; values stay bare, a line each, for scripts.
  bool const haveHeadings = options.lists.size() > 1;
  for (std::string const& path : options.lists) {
    attempt([&] {
      std::string const listed = listedByName(tables, path);
      if (haveHeadings) fmt::print("{}:\n", path.empty() ? "tables" : path);
      fmt::print("{}", listed);
    });
  }
  for (std::string const& path : options.gets) {
    attempt([&] { fmt::print("{}", gotByName(tables, path)); });
  }
  if (!options.lists.empty() || !options.gets.empty()) fmt::print("\n");
  return areRight;
}

}  // namespace

int replayCommand(ReplayOptions const& options, TableSource const& source) {
  requireWritable("--journal", options.journalFile);
  requireWritable("--plot", options.plotFile);
  OrviaAsicUtils::toggleDirectoryIs(options.toggleDirectory);
  Tracing const tracing(options);
  Replay replay(options, source);
  {
    Progress progress(progressStyle(options.progress));
    replay.run(progress);
  }
  bool const namesAreRight = namedCommands(options, replay);
  Report const report = replay.report();
  if (options.show) fmt::print("{}\n", showText(report));
  if (options.routes) fmt::print("Routes\n{}\n", routesText(replay.mapping()));
  for (Fpm::Address const& address : options.lookups) {
    fmt::print("{}", lookupText(replay.mapping(), address));
  }
  if (!options.lookups.empty()) fmt::print("\n");
  fmt::print("{}", text(report));
  int result = kExitOk;
  if (replay.forwardingCheck()) {
    fmt::print("\n{}", text(*replay.forwardingCheck()));
    if (replay.forwardingCheck()->total() > 0) result = kExitDifference;
  }
  if (options.verify) {
    Differences const differences = replay.differences();
    fmt::print("\n{}", text(differences));
    if (!differences.empty()) result = kExitDifference;
  }
  if (replay.journal()) replay.journal()->save(options.journalFile);
  if (replay.timeline()) plot(*replay.timeline(), options.file, options.plotFile);
  for (Event const& event : replay.events().unreached()) {
    std::fflush(stdout);
    fmt::print(stderr, "orvia-l3-agent: {}: only {} messages were read\n", text(event),
               report.stream.messages);
    if (result == kExitOk) result = kExitUsage;
  }
  if (!namesAreRight && result == kExitOk) result = kExitUsage;
  if (!replay.error()) return result;
  std::fflush(stdout);
  fmt::print(stderr, "orvia-l3-agent: {}: {}\n", options.file, replay.error()->what());
  return kExitStreamError;
}

int compareCommand(CompareOptions const& options) {
  SoftAsic::Comparison const comparison =
      SoftAsic::compare(SoftAsic::Journal::load(options.first),
                        SoftAsic::Journal::load(options.second), options.first, options.second);
  fmt::print("{}", comparison.text);
  return comparison.sameCalls && comparison.sameRows ? kExitOk : kExitDifference;
}

}  // namespace OrviaL3Agent
