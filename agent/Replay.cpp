#include "agent/Replay.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "agent/Plot.h"
#include "agent/RouteText.h"
#include "agent/Tracing.h"

namespace OrviaL3Agent {
namespace {

template <class Table>
Vek::Ptr<Table> made(TableSource::Make make) {
  Vek::Ptr<OrviaAsicUtils::SwTable> table;
  make(table);
  return static_cast<Table*>(table.get());
}

Mapping::Tables makeTables(TableSource const& source) {
  return {made<IngressNextHops::Table>(source.ingress), made<EcmpNextHops::Table>(source.ecmp),
          made<Groups::MemberTable>(source.members), made<Groups::Table>(source.groups)};
}

ForwardingCheck::Sizes sizesOf(ReplayOptions const& options) {
  return {.ecmpNextHops = options.firstIngressRow(),
          .nextHops = options.rows,
          .members = options.memberRows,
          .groups = options.groupRows};
}

// Found out before the work is done. Leaves the file as it is.
void requireWritable(char const* option, std::string const& path) {
  if (path.empty()) return;
  bool const isThere = std::filesystem::exists(path);
  if (!std::ofstream(path, std::ios::app)) {
    throw std::system_error(errno, std::generic_category(), fmt::format("{} {}", option, path));
  }
  if (!isThere) std::filesystem::remove(path);
}

}  // namespace

Replay::Replay(ReplayOptions const& options, TableSource const& source)
    : options_(options),
      interfaces_(loop_, options.interfaceDelay),
      mtuProfiles_(loop_, options.mtuDelay),
      parts_(interfaces_, mtuProfiles_, options.mtus),
      hardware_(options),
      mapping_(makeTables(source), parts_, hardware_,
               std::make_shared<RowPool>(options.firstRow.value_or(options.firstIngressRow()),
                                         options.rows - 1),
               options.maxWidth, counts_),
      events_(options.events),
      input_(options.file, options.slice, options.until, counts_, *this) {
  if (options.checkForwarding) hardware_.device().observerIs(&check_.emplace(sizesOf(options)));
  if (!options.journalFile.empty()) hardware_.device().observerIs(&journal_.emplace());
  if (options.verify) model_.emplace();
  if (!options.plotFile.empty()) {
    timeline_.emplace();
    hardware_.device().observerIs(&rowsInForce_);
  }
  auto const attach = [&](auto const& table) {
    hardware_.attach(*table, source.utilOf != nullptr ? source.utilOf(*table) : nullptr);
  };
  attach(mapping_.tables().ingress);
  attach(mapping_.tables().ecmp);
  attach(mapping_.tables().members);
  attach(mapping_.tables().groups);
  // Input before hardware: what a turn's messages write is answered in the same turn.
  loop_.sourceIs(&input_);
  loop_.sourceIs(&hardware_);
}

Replay::~Replay() = default;

void Replay::messagesHandled(std::uint64_t messages) {
  for (Event const& event : events_.due(messages)) happen(event);
}

void Replay::messageIs(Fpm::Message const& message) {
  if (model_) model_->messageIs(message);
  mapping_.messageIs(message);
}

void Replay::frameEnds() {
  if (model_) model_->frameEnds();
  mapping_.frameEnds();
}

void Replay::happen(Event const& event) {
  if (auto const* const interface = std::get_if<InterfaceEvent>(&event.what)) {
    mapping_.interfaceIs(interface->interface, interface->up);
  } else if (std::holds_alternative<FaultsOff>(event.what)) {
    hardware_.device().faultsDel();
  } else {
    mapping_.retry(true);
  }
}

bool Replay::turn() {
  bool noRoom = false;
  try {
    loop_.turn();
  } catch (Asic::NoRowException const&) {
    // An interface was programmed, and what had waited for it found no row. What the turn had not
    // come to is done in the next one.
    noRoom = true;
  }
  noRoom |= hardware_.takeNoRoom();
  if (noRoom) mapping_.noRoom();
  mapping_.settle();
  if (timeline_) sample();
  return loop_.busy();
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
  Mapping::Tables const& tables = mapping_.tables();
  std::uint64_t const parked =
      tables.ingress->unresolvedEntrys() + tables.ecmp->unresolvedEntrys() +
      tables.members->unresolvedEntryBlocks() + tables.groups->unresolvedEntrys();
  timeline_->add({counts_.messages, rowsInForce_.count(), parked, hardware_.calls()});
}

std::string Replay::progressText() const {
  std::uint64_t const size = input_.size();
  return fmt::format("{} % of {} bytes, {} messages; {} ids, {} routes, {} groups",
                     size == 0 ? 100 : 100 * input_.offset() / size, size, counts_.messages,
                     mapping_.ids().ids().size(), mapping_.routes().routes().size(),
                     mapping_.groups().groups().size());
}

Differences Replay::differences() const {
  Wanted wanted = model_.value().wanted(mapping_.groups().downInterfaces(), options_.maxWidth);
  // Right as well: what holders keep because its successor is not in force.
  for (Mapping::Kept const& kept : mapping_.kept()) {
    if (kept.hop) wanted.keep(*kept.hop);
    if (kept.group) wanted.keep(*kept.group, mapping_.groups().downInterfaces());
  }
  return verify(wanted, hardware_.device(), [this](SoftAsic::NextHopContents const& contents) {
    return parts_.identityOf(contents);
  });
}

Report Replay::report() const {
  Report report = reportOf(mapping_, hardware_);
  report.file = options_.file;
  report.fileSize = input_.size();
  report.turns = loop_.now();
  report.stream = counts_;
  report.interfaces = interfaces_.size();
  report.interfacesPeak = interfaces_.peak();
  if (input_.error()) report.error = input_.error()->what();
  return report;
}

int replayCommand(ReplayOptions const& options, TableSource const& source) {
  requireWritable("--journal", options.journalFile);
  requireWritable("--plot", options.plotFile);
  Tracing const tracing(options);
  Replay replay(options, source);
  {
    Progress progress(progressStyle(options.progress));
    replay.run(progress);
  }
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
