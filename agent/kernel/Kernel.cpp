#include "agent/kernel/Kernel.h"

#include <fmt/format.h>
#include <sys/socket.h>

#include <algorithm>
#include <bit>
#include <utility>

#include "agent/TextHelpers.h"

namespace OrviaL3Agent {
namespace {

// A turn of the loop gives each of the two this long.
constexpr std::chrono::microseconds kRoutesTime{500};
constexpr std::chrono::microseconds kDeviceTime{1000};

KernelNextHop::KernelOptions optionsOf(KernelSetup const& setup,
                                       KernelNextHop::KernelSizes const& sizes) {
  KernelNextHop::KernelOptions options;
  options.netns = setup.netns;
  options.sizes = sizes;
  options.firstId = setup.firstId;
  return options;
}

KernelNextHop::Family familyOf(Asic::AddressFamily family) {
  return family == Asic::AddressFamily::ipv6 ? AF_INET6 : AF_INET;
}

StandInTable::Key keyOf(std::uint32_t interface) {
  return NextHopParts::interfaceKey(Identity(kVrf, Asic::AddressFamily::none, interface));
}

}  // namespace

Kernel::Kernel(KernelSetup const& setup, KernelNextHop::KernelSizes const& sizes)
    : interfaces_(setup.daemonNetns, setup.netns),
      device_(new KernelNextHop::KernelDevice(optionsOf(setup, sizes))) {}

Kernel::~Kernel() {
  // The tables may keep the device for longer.
  device_->identitiesIs({});
  device_->rowOwnersIs({});
}

void Kernel::mappingIs(NextHopParts const& parts, Mapping& mapping, Hardware& hardware,
                       StandInTable& interfaces) {
  parts_ = &parts;
  mapping_ = &mapping;
  hardware_ = &hardware;
  standIns_ = &interfaces;
  interfaces.isReadyIs([this](StandInTable::Key key) {
    auto const interface = static_cast<std::uint32_t>(key);
    used_.insert(interface);
    return interfaces_.isReady(interface);
  });
  device_->identitiesIs([this](auto const& record) { return nextHopOf(record); });
  device_->rowOwnersIs([this](Asic::Index row, auto const& hop) { return ownerOf(row, hop); });
  routes_.emplace(device_, mapping);
  routes_->refusedIs([this](auto const& key, auto const& why) { refused(key, why); });
  mapping.routeSinkIs(&*routes_);
}

std::optional<KernelNextHop::NextHop> Kernel::nextHopOf(KernelNextHop::Record const& record) const {
  auto const identity = parts_->neighbour(record.fields.destination);
  if (!identity) return std::nullopt;
  auto const interface = interfaces_.forwarding(identity->interfaceIndex());
  if (!interface) return std::nullopt;
  Asic::GatewayAddress const& gateway = identity->gateway();
  KernelNextHop::NextHop nextHop;
  nextHop.family = familyOf(gateway ? gateway.family() : identity->family());
  nextHop.interface = *interface;
  nextHop.hasGateway = static_cast<bool>(gateway);
  if (gateway) nextHop.gateway = gateway.bytes();
  nextHop.onlink = identity->onlink();
  return nextHop;
}

std::optional<Identity> Kernel::identityOf(KernelNextHop::NextHop const& nextHop) const {
  auto const interface = interfaces_.daemon(nextHop.interface);
  if (!interface) return std::nullopt;
  std::optional<Fpm::Address> gateway;
  if (nextHop.hasGateway) gateway = Fpm::Address{nextHop.family, nextHop.gateway};
  auto const family =
      nextHop.family == AF_INET6 ? Asic::AddressFamily::ipv6 : Asic::AddressFamily::ipv4;
  return Identity(kVrf, family, *interface, gatewayOf(gateway), nextHop.onlink);
}

std::optional<KernelNextHop::RowOwner> Kernel::ownerOf(
    Asic::Index row, KernelNextHop::NextHop const& nextHop) const {
  SoftAsic::RowOwner owner = mapping_->refill().restored(row, identityOf(nextHop));
  hardware_->rowFromBefore(row, SoftAsic::contentsOf(owner.record));
  return KernelNextHop::RowOwner{std::move(owner.key), std::move(owner.record)};
}

void Kernel::runSlice() {
  interfaces_.read([this](std::uint32_t interface) { interfaceChanged(interface); });
  if (std::exchange(isRecheck_, false)) device_->recheck();
  hardware_->recording().await();
  routes_->runSlice(Deadline(kRoutesTime), hardware_->recording().answers());
  auto const until = KernelNextHop::KernelDevice::Clock::now() + kDeviceTime;
  for (;;) {
    try {
      device_->runSlice(until);
      break;
    } catch (Asic::NoRowException const&) {
      // An answer completed something for which there is no room; the others go on.
      hardware_->noRoomIs();
      if (KernelNextHop::KernelDevice::Clock::now() >= until) break;
    }
  }
  if (isReleasing_ && !routes_->busy(hardware_->recording().answers()) && !device_->busy()) {
    isReleasing_ = false;
    device_->release();
  }
}

bool Kernel::busy() const {
  return isReleasing_ || device_->busy() || routes_->busy(hardware_->recording().answers());
}

void Kernel::interfaceChanged(std::uint32_t interface) {
  if (!used_.contains(interface)) return;
  // What went over it is gone. Where it is back, perhaps under another number, it is written anew.
  isRecheck_ = true;
  if (!interfaces_.isReady(interface)) return;
  standIns_->readyIs(keyOf(interface));
  mapping_->rewrite(interface);
}

void Kernel::refused(RouteKey const& key, std::string const& why) {
  if (!warning_ || !std::has_single_bit(routes_->counts().refused)) return;
  warning_(fmt::format("the kernel refused the route {}/{} metric {}: {} ({} refused so far)",
                       text(key.address), key.length, key.priority, why,
                       routes_->counts().refused));
}

KernelReport Kernel::report() const {
  KernelNextHop::Counts const& counts = device_->counts();
  KernelReport report{.nextHops = device_->nextHopsInForce(),
                      .groups = device_->groupsInForce(),
                      .routes = device_->routesInForce(),
                      .routesWaiting = routes_->waiting(),
                      .routesRefused = routes_->refused().size(),
                      .requests = counts.requests,
                      .sends = counts.sends,
                      .repeated = counts.repeated,
                      .fromBefore = counts.fromBefore,
                      .refusals = {}};
  for (RouteKey const& key : routes_->refused()) {
    if (report.refusals.size() == kMostListed) break;
    report.refusals.push_back(fmt::format("{}/{} metric {}: {}", text(key.address), key.length,
                                          key.priority, routes_->refusal(key)));
  }
  return report;
}

}  // namespace OrviaL3Agent
