#include "agent/Agent.h"

#include <fmt/format.h>

#include <chrono>
#include <system_error>

#include "agent/kernel/Kernel.h"

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

ForwardingCheck::Sizes sizesOf(AgentOptions const& options) {
  return {.ecmpNextHops = options.firstIngressRow(),
          .nextHops = options.rows,
          .members = options.memberRows,
          .groups = options.groupRows};
}

std::unique_ptr<Kernel> kernelOf(AgentOptions const& options) {
  if (!options.kernel.isOn) return nullptr;
  return std::make_unique<Kernel>(
      options.kernel, KernelNextHop::KernelSizes{.nextHops = options.rows,
                                                 .ecmpNextHops = options.firstIngressRow(),
                                                 .members = options.memberRows,
                                                 .groups = options.groupRows});
}

std::shared_ptr<OwnerBook> bookOf(AgentOptions const& options) {
  if (options.hardwareFile.empty()) return nullptr;
  return std::make_shared<OwnerBook>(options.ownersFile());
}

// A file of owners that is none is found out before the hardware's file is made.
AgentOptions const& checked(AgentOptions const& options) {
  if (!options.hardwareFile.empty()) OwnerBook::check(options.ownersFile());
  return options;
}

}  // namespace

Agent::Agent(AgentOptions const& options, TableSource const& source)
    : options_(checked(options)),
      kernel_(kernelOf(options)),
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
      leaving_(mapping_, book_.get()) {
  observe();
  if (options.verify) model_.emplace();
  bringUp(source);
  loop_.sourceIs(&hardware_);
  if (kernel_) loop_.sourceIs(kernel_.get());
}

void Agent::observe() {
  SoftAsic::SoftDevice& device = hardware_.device();
  if (options_.checkForwarding) {
    device.tellRows(check_.emplace(sizesOf(options_)));
    device.observerIs(&*check_);
  }
  if (!options_.journalFile.empty()) device.observerIs(&journal_.emplace());
  if (options_.countRows) {
    device.tellRows(rowsInForce_.emplace());
    device.observerIs(&*rowsInForce_);
  }
}

void Agent::inputIs(EventLoop::Source* input) {
  loop_.sourceDel(&hardware_);
  loop_.sourceIs(input);
  loop_.sourceIs(&hardware_);
  if (!kernel_) return;
  loop_.sourceDel(kernel_.get());
  loop_.sourceIs(kernel_.get());
}

void Agent::bringUp(TableSource const& source) {
  Mapping::Tables const& tables = mapping_.tables();
  auto const attach = [&](auto const& table) {
    hardware_.attach(*table, source.utilOf != nullptr ? source.utilOf(*table) : nullptr);
  };
  // All of them, before any of them touches a row.
  attach(tables.ingress);
  attach(tables.ecmp);
  attach(tables.members);
  attach(tables.groups);
  if (kernel_) kernel_->mappingIs(parts_, mapping_, hardware_, interfaces_);
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

Agent::Leaving::~Leaving() {
  if (book_ != nullptr) book_->close();
  Mapping::Tables const& tables = mapping_.tables();
  tables.ingress->hwTableReadyIs(false);
  tables.ecmp->hwTableReadyIs(false);
  tables.members->hwTableReadyIs(false);
  tables.groups->hwTableReadyIs(false);
}

Agent::~Agent() = default;

void Agent::messageIs(Fpm::Message const& message) {
  if (model_) model_->messageIs(message);
  mapping_.messageIs(message);
}

void Agent::frameEnds() {
  if (model_) model_->frameEnds();
  mapping_.frameEnds();
}

bool Agent::markSlice(Deadline const& deadline) {
  if (!mapping_.markSlice(deadline)) return false;
  // What the daemon asks for is told anew; what is kept of before, the mapping knows.
  if (model_) model_.emplace();
  return true;
}

bool Agent::sweepSlice(Deadline const& deadline) {
  if (!mapping_.sweepSlice(deadline)) return false;
  if (!isRestartable() || isReleased_) return true;
  if (!mapping_.releaseSlice(deadline)) return false;
  parts_.forget();
  if (kernel_) kernel_->release();
  isReleased_ = true;
  return true;
}

void Agent::release() {
  mapping_.release();
  parts_.forget();
  if (kernel_) kernel_->release();
}

bool Agent::turn() {
  auto const begin = std::chrono::steady_clock::now();
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
  if (book_ && book_->error()) throw std::system_error(*book_->error());
  loopTimes_.turnIs(std::chrono::steady_clock::now() - begin);
  return loop_.busy() || mapping_.busy();
}

bool Agent::isBehind() const { return mapping_.isBehind() || (kernel_ && kernel_->isBehind()); }

std::string Agent::refusal(SoftAsic::TableId table, std::uint32_t row) const {
  using Target = KernelNextHop::Target;
  if (!kernel_ || table == SoftAsic::TableId::members) return {};
  bool const isGroup = table == SoftAsic::TableId::groups;
  return kernel_->refusal({isGroup ? Target::Kind::group : Target::Kind::nextHop, row});
}

std::string Agent::interfaceTrouble(std::uint32_t interface) const {
  return kernel_ ? kernel_->trouble(interface) : std::string();
}

std::size_t Agent::parked() const {
  Mapping::Tables const& tables = mapping_.tables();
  return tables.ingress->unresolvedEntrys() + tables.ecmp->unresolvedEntrys() +
         tables.members->unresolvedEntryBlocks() + tables.groups->unresolvedEntrys();
}

Differences Agent::differences() const {
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

std::vector<std::string> Agent::otherUtilities() const {
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

Report Agent::report() const {
  Report report = reportOf(mapping_, hardware_);
  report.turns = loop_.now();
  report.stream = counts_;
  report.otherUtilities = otherUtilities();
  report.interfaces = interfaces_.size();
  report.interfacesPeak = interfaces_.peak();
  if (kernel_) report.kernel = kernel_->report();
  if (isRestartable()) {
    SoftAsic::SoftDevice const& device = hardware_.device();
    report.restart = RestartReport{.nextHops = mapping_.ingress().heldCounts(),
                                   .waiting = mapping_.ingress().held(),
                                   .ecmpNextHops = device.ecmpNextHops().rowsFromBefore(),
                                   .members = device.members().rowsFromBefore(),
                                   .groups = device.groups().rowsFromBefore()};
  }
  return report;
}

}  // namespace OrviaL3Agent
