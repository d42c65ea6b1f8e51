// Tables on one simulated device, with records and keys short enough for a test to name.
//
// One thread.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "plugins/soft-asic/SoftDevice.h"

namespace SoftAsicTests {

using namespace OrviaL3Unicast;
using SoftAsic::Answer;
using SoftAsic::SoftDevice;
using Delivery = SoftAsic::AnswerQueue::Delivery;
using EntryState = Asic::HwTable::EntryState;
using Handle = Vek::Ptr<Asic::SwTable::EntryHandle>;
using ConstHandle = Vek::Ptr<Asic::SwTable::EntryHandle const>;

// What a response handler was called with, in order.
using States = std::vector<int>;
inline WriteResponseHandler into(States& states) {
  return [&states](EntryState state) { states.push_back(state); };
}

// An entry of some other table, programmed in that row.
inline Handle programmed(std::uint32_t row) {
  Handle handle = new Asic::SwTable::EntryHandle;
  handle->hasNotificationActiveIs(true);
  handle->hwEntryIndexIs(row);
  handle->entryStateIs(Asic::HwTable::success());
  return handle;
}

// A record that points at nothing would wait for ever, so there is always an interface.
template <class Entry>
Entry nextHop(std::uint16_t destination, ConstHandle const& interface = programmed(1),
              ConstHandle const& mtu = {}) {
  Entry entry;
  entry.destinationIs(destination);
  entry.l3Oif1HandleIs(interface);
  entry.mtuProfilePtrHandleIs(mtu);
  return entry;
}

inline L3EcmpNextHopKey via(std::uint8_t last) {
  return L3EcmpNextHopKey::viaGateway(0, Asic::GatewayAddress::ipv4({10, 0, 0, last}), 3);
}

inline L3EcmpEntryBlock blockOf(std::initializer_list<ConstHandle> nextHops) {
  L3EcmpEntryBlock block(Asic::BlockSize(static_cast<std::uint16_t>(nextHops.size())));
  std::uint32_t position = 0;
  for (ConstHandle const& handle : nextHops) block.entryIs(position++, L3EcmpMember(handle));
  return block;
}

// All four tables, attached and serving. Device: 16 next-hop rows, the lower 6 for ECMP.
struct Tables {
  static constexpr SoftAsic::DeviceSizes sizes{
      .nextHops = 16, .ecmpNextHops = 6, .members = 12, .groups = 8};

  explicit Tables(Delivery delivery) : device(sizes, delivery) { start(); }
  explicit Tables(SoftAsic::FaultProfiles const& faults) : device(sizes, faults) { start(); }
  // On a device whose rows are in that file. What it holds stays, and is unknown to the tables.
  Tables(SoftAsic::FaultProfiles const& faults, std::string const& hardwareFile)
      : device(sizes, faults, hardwareFile) {
    start();
  }

  SoftDevice device;
  Vek::Ptr<IngL3NextHop1Table> ingress = IngL3NextHop1Table::IngL3NextHop1TableIs();
  Vek::Ptr<EcmpIngL3NextHop1Table> nextHops = EcmpIngL3NextHop1Table::EcmpIngL3NextHop1TableIs();
  Vek::Ptr<L3EcmpMemberTable> members = L3EcmpMemberTable::L3EcmpMemberTableIs();
  Vek::Ptr<L3EcmpGroupTable> groups = L3EcmpGroupTable::L3EcmpGroupTableIs();

 private:
  // Nothing is synced: what a device from before holds is for each test to decide on.
  static void serve(OrviaAsicUtils::SwTable& table) {
    table.hwTableReadyIs(true);
    table.doInitComplete();
  }
  void start() {
    device.attach(*ingress);
    device.attach(*nextHops);
    device.attach(*members);
    device.attach(*groups);
    serve(*ingress);
    serve(*nextHops);
    serve(*members);
    serve(*groups);
  }
};

}  // namespace SoftAsicTests
