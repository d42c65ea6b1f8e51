#include "agent/Replay.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "OrviaAsicUtils/Toggles.h"
#include "Vek/Exception.h"
#include "agent/ByName.h"
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

std::shared_ptr<OwnerBook> bookOf(ReplayOptions const& options) {
  if (options.hardwareFile.empty()) return nullptr;
  return std::make_shared<OwnerBook>(options.ownersFile());
}

// A file of owners that is none is found out before the hardware's file is made.
ReplayOptions const& checked(ReplayOptions const& options) {
  if (!options.hardwareFile.empty()) OwnerBook::check(options.ownersFile());
  return options;
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
    : options_(checked(options)),
      hardware_(options),
      numbers_(hardware_.device()),
      book_(bookOf(options)),
      interfaces_(loop_, options.interfaceDelay, StandInTable::kLastSlot,
                  OwnerPage(book_, OwnerBook::Kind::interface),
                  [this](std::uint32_t slot) {
                    return numbers_.isNamed(NumbersInHardware::Kind::interface, slot);
                  }),
      mtuProfiles_(loop_, options.mtuDelay, StandInTable::kLastSlot,
                   OwnerPage(book_, OwnerBook::Kind::mtuProfile),
                   [this](std::uint32_t slot) {
                     return numbers_.isNamed(NumbersInHardware::Kind::mtuProfile, slot);
                   }),
      parts_(interfaces_, mtuProfiles_, options.mtus, OwnerPage(book_, OwnerBook::Kind::neighbour),
             &numbers_),
      mapping_(
          makeTables(source), parts_, hardware_,
          std::make_shared<RowKey::Rows>(options.firstRow.value_or(options.firstIngressRow()),
                                         options.rows - 1, OwnerPage(book_, OwnerBook::Kind::row)),
          options.maxWidth, counts_),
      leaving_(mapping_, book_.get()),
      events_(options.events),
      input_(options.file, options.slice, options.until, counts_, *this) {
  SoftAsic::SoftDevice& device = hardware_.device();
  if (options.checkForwarding) {
    device.tellRows(check_.emplace(sizesOf(options)));
    device.observerIs(&*check_);
  }
  if (!options.journalFile.empty()) device.observerIs(&journal_.emplace());
  if (options.verify) model_.emplace();
  if (!options.plotFile.empty()) {
    timeline_.emplace();
    device.tellRows(rowsInForce_);
    device.observerIs(&rowsInForce_);
  }
  bringUp(source);
  // Input before hardware: what a turn's messages write is answered in the same turn.
  loop_.sourceIs(&input_);
  loop_.sourceIs(&hardware_);
}

void Replay::bringUp(TableSource const& source) {
  Mapping::Tables const& tables = mapping_.tables();
  auto const attach = [&](auto const& table) {
    hardware_.attach(*table, source.utilOf != nullptr ? source.utilOf(*table) : nullptr);
  };
  // All of them, before any of them touches a row.
  attach(tables.ingress);
  attach(tables.ecmp);
  attach(tables.members);
  attach(tables.groups);
  hardware_.device().rowOwnerIs([this](Asic::Index row, SoftAsic::NextHopContents const& contents) {
    return mapping_.refill().restored(row, contents);
  });
  hardware_.sync(*tables.groups);
  hardware_.sync(*tables.members);
  hardware_.sync(*tables.ecmp);
  hardware_.sync(*tables.ingress);
  hardware_.device().rowOwnerIs(nullptr);
  hardware_.start(*tables.ingress);
  hardware_.start(*tables.ecmp);
  hardware_.start(*tables.members);
  hardware_.start(*tables.groups);
}

Replay::Leaving::~Leaving() {
  if (book_ != nullptr) book_->close();
  Mapping::Tables const& tables = mapping_.tables();
  tables.ingress->hwTableReadyIs(false);
  tables.ecmp->hwTableReadyIs(false);
  tables.members->hwTableReadyIs(false);
  tables.groups->hwTableReadyIs(false);
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

// The stream is back and has said all; what is not asked for by now has a little longer.
void Replay::release() {
  mapping_.release();
  parts_.forget();
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
  if (book_ && book_->error()) throw std::system_error(*book_->error());
  if (book_ && input_.complete() && !holding_) {
    holding_ = true;
    loop_.timerIs(options_.hold, [this] { release(); });
  }
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
  wanted.heldRows = mapping_.ingress().heldRows();
  // Right as well: what holders keep because its successor is not in force.
  for (Mapping::Kept const& kept : mapping_.kept()) {
    if (kept.hop) wanted.keep(*kept.hop);
    if (kept.group) wanted.keep(*kept.group, mapping_.groups().downInterfaces());
  }
  return verify(wanted, hardware_.device(), [this](SoftAsic::NextHopContents const& contents) {
    return parts_.identityOf(contents);
  });
}

std::vector<std::string> Replay::otherUtilities() const {
  std::vector<std::string> others;
  auto const add = [&others](auto const& table) {
    std::string const name = table->util()->name();
    if (name == SoftAsic::IngL3NextHop1Wiring::name()) return;
    others.push_back(fmt::format("{} by {}", table->fwkType().name(), name));
  };
  add(mapping_.tables().ingress);
  add(mapping_.tables().ecmp);
  add(mapping_.tables().members);
  add(mapping_.tables().groups);
  return others;
}

Report Replay::report() const {
  Report report = reportOf(mapping_, hardware_);
  report.file = options_.file;
  report.fileSize = input_.size();
  report.turns = loop_.now();
  report.stream = counts_;
  report.otherUtilities = otherUtilities();
  report.interfaces = interfaces_.size();
  report.interfacesPeak = interfaces_.peak();
  if (book_) {
    SoftAsic::SoftDevice const& device = hardware_.device();
    report.restart = RestartReport{.nextHops = mapping_.ingress().heldCounts(),
                                   .waiting = mapping_.ingress().held(),
                                   .ecmpNextHops = device.ecmpNextHops().rowsFromBefore(),
                                   .members = device.members().rowsFromBefore(),
                                   .groups = device.groups().rowsFromBefore()};
  }
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
