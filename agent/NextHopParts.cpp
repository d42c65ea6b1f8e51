#include "agent/NextHopParts.h"

#include <utility>

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

NextHopParts::NextHopParts(StandInTable& interfaces, StandInTable& mtuProfiles, Mtus mtus)
    : interfaces_(interfaces), mtuProfiles_(mtuProfiles), mtus_(std::move(mtus)) {}

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
