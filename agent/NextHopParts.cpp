#include "agent/NextHopParts.h"

#include <utility>

namespace OrviaL3Agent {
namespace {

std::function<bool(std::uint32_t)> namedOf(NumbersInHardware const* numbers,
                                           NumbersInHardware::Kind kind) {
  if (numbers == nullptr) return {};
  return [numbers, kind](std::uint32_t number) { return numbers->isNamed(kind, number); };
}

}  // namespace

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
                           OwnerPage neighbours, NumbersInHardware* numbers)
    : interfaces_(interfaces),
      mtuProfiles_(mtuProfiles),
      mtus_(std::move(mtus)),
      adjacencies_(Adjacencies::kLastNumber, std::move(neighbours),
                   namedOf(numbers, NumbersInHardware::Kind::neighbour)),
      numbers_(numbers) {
  if (numbers_ == nullptr) return;
  using Kind = NumbersInHardware::Kind;
  numbers_->listenerIs(Kind::interface, [this](auto slot) { interfaces_.unnamed(slot); });
  numbers_->listenerIs(Kind::mtuProfile, [this](auto slot) { mtuProfiles_.unnamed(slot); });
  numbers_->listenerIs(Kind::neighbour, [this](auto number) { adjacencies_.unnamed(number); });
}

NextHopParts::~NextHopParts() {
  if (numbers_ == nullptr) return;
  using Kind = NumbersInHardware::Kind;
  for (Kind const kind : {Kind::interface, Kind::mtuProfile, Kind::neighbour}) {
    numbers_->listenerIs(kind, {});
  }
}

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

NextHopParts::Result NextHopParts::useNow(Identity const& identity) {
  // Held until the others have found them programmed.
  auto const interface = interfaces_.entryNow(interfaceKey(identity));
  auto const mtuProfile = mtuProfiles_.entryNow(mtuOf(identity.interfaceIndex()));
  return use(identity);
}

SoftAsic::NextHopContents NextHopParts::contentsOf(Identity const& identity,
                                                   std::uint16_t neighbour,
                                                   std::uint32_t interfaceSlot,
                                                   std::uint32_t mtuProfileSlot) {
  SoftAsic::NextHopContents contents;
  contents.fields.destination = neighbour;
  contents.fields.forwardingType = forwardingType(identity);
  contents.fields.l2McL3McL2OifSysDstValid = kDestinationValid;
  contents.l3Oif1 = static_cast<std::uint16_t>(interfaceSlot);
  contents.mtuProfilePtr = static_cast<std::uint16_t>(mtuProfileSlot);
  return contents;
}

std::optional<NextHopParts::Parts> NextHopParts::restored(
    Identity const& identity, SoftAsic::NextHopContents const& contents) {
  // All of it before anything is taken: what is taken and given back would be free.
  std::uint16_t const number = contents.fields.destination;
  bool const isTheirs = adjacencies_.ownerOf(number) == identity &&
                        interfaces_.ownerOf(contents.l3Oif1) == interfaceKey(identity) &&
                        mtuProfiles_.ownerOf(contents.mtuProfilePtr).has_value();
  bool const isComplete =
      contents == contentsOf(identity, number, contents.l3Oif1, contents.mtuProfilePtr);
  if (!isTheirs || !isComplete) return std::nullopt;
  return Parts{.interface = interfaces_.restored(contents.l3Oif1),
               .mtuProfile = mtuProfiles_.restored(contents.mtuProfilePtr),
               .adjacency = adjacencies_.use(identity)};
}

void NextHopParts::forget() {
  interfaces_.forget();
  mtuProfiles_.forget();
  adjacencies_.forget();
}

std::optional<Identity> NextHopParts::identityOf(SoftAsic::NextHopContents const& contents) const {
  std::optional<Identity> const identity = adjacencies_.neighbour(contents.fields.destination);
  if (!identity) return std::nullopt;
  auto const expected = contentsOf(
      *identity, contents.fields.destination, interfaces_.slot(interfaceKey(*identity)).value_or(0),
      mtuProfiles_.slot(mtuOf(identity->interfaceIndex())).value_or(0));
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
