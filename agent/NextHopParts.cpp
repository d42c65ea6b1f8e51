#include "agent/NextHopParts.h"

#include <set>
#include <utility>

#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"

namespace OrviaL3Agent {

std::string text(Obstacle obstacle) {
  switch (obstacle) {
    case Obstacle::none:
      return "none";
    case Obstacle::row:
      return "no free row";
    case Obstacle::interfaceSlot:
      return "no free interface slot";
    case Obstacle::mtuSlot:
      return "no free MTU-profile slot";
    case Obstacle::adjacency:
      return "no free neighbour number";
  }
  return "unknown";
}

NextHopParts::NextHopParts(StandInTable& interfaces, StandInTable& mtuProfiles, Mtus mtus,
                           OwnerPage neighbours)
    : interfaces_(interfaces),
      mtuProfiles_(mtuProfiles),
      mtus_(std::move(mtus)),
      adjacencies_(Adjacencies::kLastNumber, std::move(neighbours)) {}

NextHopParts::Result NextHopParts::use(Identity const& identity) {
  Parts parts;
  parts.interface = interfaces_.entry(interfaceKey(identity));
  if (!parts.interface) return {{}, Obstacle::interfaceSlot};
  parts.mtuProfile = mtuProfiles_.entry(mtuOf(identity.interfaceIndex()));
  if (!parts.mtuProfile) return {{}, Obstacle::mtuSlot};
  parts.adjacency = adjacencies_.use(identity);
  if (!parts.adjacency) return {{}, Obstacle::adjacency};
  return {parts};
}

std::optional<NextHopParts::Parts> NextHopParts::restored(
    Identity const& identity, SoftAsic::NextHopContents const& contents) {
  std::uint16_t const number = contents.fields.destination;
  if (adjacencies_.remembered(number) != identity && adjacencies_.neighbour(number) != identity) {
    return std::nullopt;
  }
  Parts parts;
  parts.interface = interfaces_.restored(contents.l3Oif1);
  parts.mtuProfile = mtuProfiles_.restored(contents.mtuProfilePtr);
  if (!parts.interface || !parts.mtuProfile) return std::nullopt;
  if (interfaces_.slot(interfaceKey(identity)) != contents.l3Oif1) return std::nullopt;
  parts.adjacency = adjacencies_.use(identity);
  auto const record = parts.record<OrviaL3Unicast::IngL3NextHop1Table::Entry>(identity);
  return SoftAsic::contentsOf(record) == contents ? std::optional(parts) : std::nullopt;
}

void NextHopParts::forget(std::vector<SoftAsic::NextHopContents> const& inHardware) {
  std::set<std::uint32_t> interfaces;
  std::set<std::uint32_t> mtuProfiles;
  std::set<std::uint32_t> neighbours;
  for (SoftAsic::NextHopContents const& contents : inHardware) {
    interfaces.insert(contents.l3Oif1);
    mtuProfiles.insert(contents.mtuProfilePtr);
    neighbours.insert(contents.fields.destination);
  }
  interfaces_.forget([&](std::uint32_t slot) { return interfaces.contains(slot); });
  mtuProfiles_.forget([&](std::uint32_t slot) { return mtuProfiles.contains(slot); });
  adjacencies_.forget([&](std::uint32_t number) { return neighbours.contains(number); });
}

std::optional<Identity> NextHopParts::identityOf(SoftAsic::NextHopContents const& contents) const {
  std::optional<Identity> const identity = adjacencies_.neighbour(contents.fields.destination);
  if (!identity) return std::nullopt;
  SoftAsic::NextHopContents expected;
  expected.fields.destination = contents.fields.destination;
  expected.fields.forwardingType = forwardingType(*identity);
  expected.fields.l2McL3McL2OifSysDstValid = kDestinationValid;
  auto const pointer = [](std::optional<std::uint32_t> slot) {
    return static_cast<std::uint16_t>(slot.value_or(0));
  };
  expected.l3Oif1 = pointer(interfaces_.slot(interfaceKey(*identity)));
  expected.mtuProfilePtr = pointer(mtuProfiles_.slot(mtuOf(identity->interfaceIndex())));
  return contents == expected ? identity : std::nullopt;
}

std::uint32_t NextHopParts::mtuOf(std::uint32_t interface) const {
  auto const found = mtus_.find(interface);
  return found == mtus_.end() ? kDefaultMtu : found->second;
}

std::uint8_t NextHopParts::forwardingType(Identity const& identity) {
  return static_cast<std::uint8_t>(identity.gateway().family());
}

}  // namespace OrviaL3Agent
