// What the record of a next hop is made of, whichever of the two next-hop tables it is for: the
// handles of its outgoing interface and MTU profile, and the number of its neighbour.
//
//   NextHopParts parts(interfaces, mtuProfiles, mtus);
//   NextHopParts::Result result = parts.use(identity);
//   if (result.obstacle == Obstacle::none) record = result.parts.record<Table::Entry>(identity);
//
// Parts are shared: equal identities have equal parts, and each goes with its last user.
//
// Threading: the loop's thread. Ownership: parts are counted; this object refers to the stand-in
// tables, which must outlive it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "agent/Adjacencies.h"
#include "agent/Identity.h"
#include "agent/NumbersInHardware.h"
#include "agent/StandInTable.h"
#include "plugins/soft-asic/Contents.h"

namespace OrviaL3Agent {

// Why something has no row of its contents.
enum class Obstacle { none, row, interfaceSlot, mtuSlot, adjacency };
// For people: "no free row", ...
[[nodiscard]] std::string text(Obstacle obstacle);

class NextHopParts {
 public:
  static constexpr std::uint32_t kDefaultMtu = 1500;
  // Bytes by interface; others have the default.
  using Mtus = std::map<std::uint32_t, std::uint32_t>;

  struct Parts {
    StandInTable::Handle interface;
    StandInTable::Handle mtuProfile;
    Adjacencies::Use adjacency;

    template <class Record>
    [[nodiscard]] Record record(Identity const& identity) const {
      Record record;
      record.destinationIs(*adjacency);
      record.forwardingTypeIs(forwardingType(identity));
      record.l2McL3McL2OifSysDstValidIs(kDestinationValid);
      record.l3Oif1HandleIs(interface);
      record.mtuProfilePtrHandleIs(mtuProfile);
      return record;
    }
  };

  struct Result {
    Parts parts;
    Obstacle obstacle = Obstacle::none;
  };

  // `neighbours`: where their numbers are kept over a restart. `numbers`: of all three, those that
  // the hardware names; none: nobody knows.
  NextHopParts(StandInTable& interfaces, StandInTable& mtuProfiles, Mtus mtus = {},
               OwnerPage neighbours = {}, NumbersInHardware* numbers = nullptr);
  ~NextHopParts();
  NextHopParts(NextHopParts const&) = delete;
  NextHopParts& operator=(NextHopParts const&) = delete;

  // One entry for each interface of each routing instance.
  [[nodiscard]] static StandInTable::Key interfaceKey(Identity const& identity) {
    return std::uint64_t{identity.vrf()} << 32U | identity.interfaceIndex();
  }

  // Makes what is not there yet. With an obstacle the parts are empty.
  [[nodiscard]] Result use(Identity const& identity);
  // The same for a row that the hardware has from before: nothing of it waits for its turn.
  [[nodiscard]] Result useNow(Identity const& identity);
  // The parts that a row from before a restart names, as they were then, whatever MTU the interface
  // has now. Nothing when the row is not one of this identity, as far as is known.
  [[nodiscard]] std::optional<Parts> restored(Identity const& identity,
                                              SoftAsic::NextHopContents const& contents);
  // Numbers of before that nobody uses and no row of the hardware names are free now.
  void forget();

  // The identity that a hardware row stands for; nothing when no identity in use would be written
  // like that.
  [[nodiscard]] std::optional<Identity> identityOf(SoftAsic::NextHopContents const& contents) const;

  // Whose number that is, if anybody's.
  [[nodiscard]] std::optional<Identity> neighbour(std::uint16_t number) const {
    return adjacencies_.neighbour(number);
  }

  [[nodiscard]] std::uint32_t mtuOf(std::uint32_t interface) const;

 private:
  // Of the four valid bits, the one for the destination.
  static constexpr std::uint8_t kDestinationValid = 1;

  // What a row of the identity says.
  [[nodiscard]] static SoftAsic::NextHopContents contentsOf(Identity const& identity,
                                                            std::uint16_t neighbour,
                                                            std::uint32_t interfaceSlot,
                                                            std::uint32_t mtuProfileSlot);
  // How the neighbour is reached, as rows say it: 0 directly, 1 over IPv4, 2 over IPv6.
  [[nodiscard]] static std::uint8_t forwardingType(Identity const& identity);

  StandInTable& interfaces_;
  StandInTable& mtuProfiles_;
  Mtus mtus_;
  Adjacencies adjacencies_;
  NumbersInHardware* numbers_;
};

}  // namespace OrviaL3Agent
