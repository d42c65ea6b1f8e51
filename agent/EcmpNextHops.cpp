#include "agent/EcmpNextHops.h"

#include <algorithm>
#include <array>
#include <utility>

#include "agent/NextHopRecord.h"

namespace OrviaL3Agent {
namespace {

// Everything of a stream is in the one routing instance that there is.
constexpr std::uint32_t kVrf = 0;

Asic::AddressFamily familyOf(std::uint8_t family) {
  if (family == AF_INET) return Asic::AddressFamily::ipv4;
  return family == AF_INET6 ? Asic::AddressFamily::ipv6 : Asic::AddressFamily::none;
}

Asic::GatewayAddress gatewayOf(Fpm::NextHop const& nextHop) {
  if (!nextHop.gateway) return {};
  std::array<std::uint8_t, 16> const& bytes = nextHop.gateway->bytes;
  if (nextHop.gateway->family == AF_INET6) return Asic::GatewayAddress::ipv6(bytes);
  return Asic::GatewayAddress::ipv4({bytes[0], bytes[1], bytes[2], bytes[3]});
}

}  // namespace

EcmpNextHops::EcmpNextHops(Vek::Ptr<Table> table, StandInTable& interfaces,
                           StandInTable& mtuProfiles, Adjacencies& adjacencies)
    : table_(std::move(table)),
      interfaces_(interfaces),
      mtuProfiles_(mtuProfiles),
      adjacencies_(adjacencies),
      live_(std::make_shared<Live>()) {}

EcmpNextHops::Identity EcmpNextHops::identityOf(Fpm::NextHop const& nextHop) {
  return {kVrf, familyOf(nextHop.family), nextHop.interface, gatewayOf(nextHop), nextHop.onlink};
}

EcmpNextHops::Result EcmpNextHops::use(Fpm::NextHop const& nextHop) {
  using Obstacle = NextHops::Obstacle;
  Identity const identity = identityOf(nextHop);
  if (auto const found = live_->find(identity); found != live_->end()) {
    return {found->second.lock()};
  }
  StandInTable::Handle const interface = interfaces_.entry(nextHop.interface);
  if (!interface) return {nullptr, Obstacle::interfaceSlot};
  StandInTable::Handle const mtuProfile = mtuProfiles_.entry(NextHops::kDefaultMtu);
  if (!mtuProfile) return {nullptr, Obstacle::mtuSlot};
  Adjacencies::Use const adjacency = adjacencies_.use(nextHop);
  if (!adjacency) return {nullptr, Obstacle::adjacency};

  auto hop = std::make_unique<Hop>(Hop{identity, nextHop, adjacency, {}});
  hop->handle = table_->entryWrite(
      identity, nextHopRecord<Table::Entry>(nextHop, *adjacency, interface, mtuProfile),
      Asic::needsAutoRemove());
  auto const end = [live = live_](Hop const* ended) {
    live->erase(ended->identity);
    delete ended;
  };
  Use const use(hop.release(), end);
  live_->emplace(identity, use);
  return {use};
}

bool EcmpNextHops::withoutRow(Hop const& hop) const {
  return table_->entryExists(hop.identity) &&
         table_->firstFreeIndexAllocator()->indexForKey(
             OrviaL3Unicast::EcmpIngL3NextHop1Traits::keyType(), &hop.identity) ==
             Asic::Index::invalidIndex();
}

}  // namespace OrviaL3Agent
