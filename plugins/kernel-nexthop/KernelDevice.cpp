#include "plugins/kernel-nexthop/KernelDevice.h"

#include <limits>
#include <stdexcept>
#include <utility>

#include "plugins/kernel-nexthop/Core.h"

namespace KernelNextHop {
namespace {

// Constant-initialised: modules are opened while other shared objects are being initialised.
constinit KernelDevice* latest = nullptr;

KernelOptions const& checked(KernelOptions const& options) {
  KernelSizes const& sizes = options.sizes;
  if (sizes.ecmpNextHops > sizes.nextHops)
    throw std::invalid_argument("more next-hop rows for ECMP than there are");
  std::uint64_t const ids = 2 * (std::uint64_t{sizes.nextHops} + sizes.groups);
  if (options.firstId == 0 ||
      options.firstId + ids > std::uint64_t{std::numeric_limits<std::uint32_t>::max()})
    throw std::invalid_argument("ids of next-hop objects are from 1 to 4294967294");
  if (options.protocol == 0) throw std::invalid_argument("a protocol has a number");
  if (options.batch == 0 || options.window == 0)
    throw std::invalid_argument("a batch and a window have room for a request");
  if (options.maxWeight == 0 || options.maxWeight > Batch::kMaxWeight)
    throw std::invalid_argument("weights are from 1 to 65535");
  return options;
}

}  // namespace

KernelDevice::KernelDevice(KernelOptions const& options)
    : core_(std::make_unique<Core>(checked(options))) {
  latest = this;
}

KernelDevice::~KernelDevice() {
  if (latest == this) latest = nullptr;
}

Vek::Ptr<KernelDevice> KernelDevice::current() {
  if (latest == nullptr) {
    throw std::logic_error(
        "the utilities of the kernel's next-hop objects need a device, and the agent has made "
        "none");
  }
  return latest;
}

void KernelDevice::identitiesIs(IdentityOf identityOf) {
  core_->identityOf = std::move(identityOf);
}
void KernelDevice::rowOwnersIs(RowOwnerOf ownerOf) { core_->ownerOf = std::move(ownerOf); }
void KernelDevice::routeAnswersIs(RouteAnswers answers) {
  core_->routeAnswers = std::move(answers);
}

int KernelDevice::fileDescriptor() const { return core_->fileDescriptor(); }

void KernelDevice::runSlice(Clock::time_point until) {
  // What an answer does may end the last other reference.
  Vek::Ptr<KernelDevice> const alive = this;
  core_->runSlice(until);
}

bool KernelDevice::busy() const { return core_->busy(); }

void KernelDevice::routeIs(Route const& route, Target const& target) {
  core_->routeIs(route, target);
}
void KernelDevice::routeDel(Route const& route) { core_->routeDel(route); }
void KernelDevice::routeRetry(Route const& route) { core_->routeRetry(route); }

std::optional<Target> KernelDevice::routeInForce(Route const& route) const {
  RouteEntry const* const entry = core_->find(route);
  if (entry == nullptr || entry->presence != Presence::present) return std::nullopt;
  if (entry->inKernel == kBlackhole) return Target{};
  auto const place = core_->ids.placeOf(entry->inKernel);
  // One of before, whose object is not the device's, or of the other bank: no row of this process.
  if (!place || !core_->ids.isOfThisProcess(entry->inKernel)) return std::nullopt;
  return place->target;
}

std::size_t KernelDevice::routesInForce() const { return core_->routesInForce; }

void KernelDevice::release() { core_->release(); }
bool KernelDevice::isReleased() const { return core_->isReleased; }
void KernelDevice::recheck() { core_->recheck(); }

KernelOptions const& KernelDevice::options() const { return core_->options; }
Ids const& KernelDevice::ids() const { return core_->ids; }
Counts const& KernelDevice::counts() const { return core_->counts; }

bool KernelDevice::isInForce(Target const& target) const {
  Object const* const object = core_->find(target);
  return object != nullptr && object->presence == Presence::present;
}

std::string KernelDevice::refusal(Target const& target) const {
  Object const* const object = core_->find(target);
  return object == nullptr ? std::string() : object->refusal;
}

std::size_t KernelDevice::nextHopsInForce() const { return core_->nextHopsInForce; }
std::size_t KernelDevice::groupsInForce() const { return core_->groupsInForce; }

void KernelDevice::nextHopIs(std::uint32_t row, Record const& record, Tell tell) {
  core_->nextHopIs(row, record, std::move(tell));
}
void KernelDevice::nextHopDel(std::uint32_t row) { core_->nextHopDel(row); }
void KernelDevice::nextHopsDel(std::uint32_t first, std::uint32_t last) {
  core_->nextHopsDel(first, last);
}
void KernelDevice::memberIs(std::uint32_t row, std::uint32_t nextHopRow) {
  core_->memberIs(row, nextHopRow);
}
void KernelDevice::memberDel(std::uint32_t row) { core_->memberDel(row); }
void KernelDevice::membersDel() { core_->membersDel(); }
void KernelDevice::groupIs(std::uint32_t row, std::uint32_t firstMember, std::uint32_t members,
                           Tell tell) {
  core_->groupIs(row, firstMember, members, std::move(tell));
}
void KernelDevice::groupDel(std::uint32_t row) { core_->groupDel(row); }
void KernelDevice::groupsDel() { core_->groupsDel(); }
KernelDevice::RowOwnerOf const& KernelDevice::rowOwners() const { return core_->ownerOf; }
void KernelDevice::ingressFromBefore(
    std::function<void(std::uint32_t row, NextHop const& nextHop)> const& function) {
  core_->ingressFromBefore(function);
}
void KernelDevice::nextHopRestored(std::uint32_t row, Record const& record, Tell tell) {
  core_->nextHopRestored(row, record, std::move(tell));
}

}  // namespace KernelNextHop
