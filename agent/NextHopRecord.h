// The record of a next hop, whichever of the two next-hop tables it is for.
//
//   auto record = nextHopRecord<Table::Entry>(nextHop, *adjacency, interface, mtuProfile);
//
// Threading: any. Ownership: the record counts the handles it refers to.
#pragma once

#include <sys/socket.h>

#include <cstdint>

#include "agent/StandInTable.h"
#include "agent/fpm/Messages.h"

namespace OrviaL3Agent {

// What a row says about how its neighbour is reached.
inline std::uint8_t forwardingType(Fpm::NextHop const& nextHop) {
  constexpr std::uint8_t connected = 0;
  constexpr std::uint8_t ipv4 = 1;
  constexpr std::uint8_t ipv6 = 2;
  if (!nextHop.gateway) return connected;
  return nextHop.gateway->family == AF_INET6 ? ipv6 : ipv4;
}

template <class Record>
[[nodiscard]] Record nextHopRecord(Fpm::NextHop const& nextHop, std::uint16_t destination,
                                   StandInTable::Handle const& interface,
                                   StandInTable::Handle const& mtuProfile) {
  // Of the four valid bits, the one for the destination.
  constexpr std::uint8_t destinationValid = 1;
  Record record;
  record.destinationIs(destination);
  record.forwardingTypeIs(forwardingType(nextHop));
  record.l2McL3McL2OifSysDstValidIs(destinationValid);
  record.l3Oif1HandleIs(interface);
  record.mtuProfilePtrHandleIs(mtuProfile);
  return record;
}

}  // namespace OrviaL3Agent
