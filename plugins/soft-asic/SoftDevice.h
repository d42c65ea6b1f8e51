// One simulated device: the hardware tables of all four software tables, and what attaches them.
//
//   SoftAsic::SoftDevice device({}, SoftAsic::AnswerQueue::Delivery::whenDrained);
//   auto groups = OrviaL3Unicast::L3EcmpGroupTable::L3EcmpGroupTableIs();
//   device.attach(*groups); groups->doInitComplete();
//   ... device.answers()->drain();
//   device.groups().row(1).contents->ecmpBlockPtr ...
//
// Ordinary next hops and those of ECMP groups live in one device table: the lower rows, row 0
// included, are the ECMP view's window, the rows above are for the keys of the ingress table.
//
// One thread. Attached tables and waiting answers keep what they need of the device alive.
#pragma once

#include <cstdint>

#include "plugins/soft-asic/EcmpSoftUtils.h"
#include "plugins/soft-asic/IngL3NextHop1SoftUtil.h"

namespace SoftAsic {

// How many rows each table has.
struct DeviceSizes {
  std::uint32_t nextHops = 32768;      // of both views
  std::uint32_t ecmpNextHops = 16384;  // of these, the ECMP view's
  std::uint32_t members = 65536;
  std::uint32_t groups = 16384;
};

class SoftDevice {
 public:
  // Throws std::out_of_range when the ECMP view is to have more next-hop rows than there are.
  SoftDevice(DeviceSizes const& sizes, AnswerQueue::Delivery delivery);

  [[nodiscard]] Vek::Ptr<AnswerQueue> const& answers() const { return answers_; }
  [[nodiscard]] NextHopDeviceTable& nextHops() const { return *ecmpNextHops_->device(); }
  [[nodiscard]] NextHopHwTable& ecmpNextHops() const { return *ecmpNextHops_; }
  [[nodiscard]] NextHopHwTable& ingressNextHops() const { return *ingressNextHops_; }
  [[nodiscard]] MemberHwTable& members() const { return *members_; }
  [[nodiscard]] GroupHwTable& groups() const { return *groups_; }

  // Gives the table its utility, its hardware table and the number of its rows, and says ready.
  void attach(OrviaL3Unicast::IngL3NextHop1Table& table) const;
  void attach(OrviaL3Unicast::EcmpIngL3NextHop1Table& table) const;
  void attach(OrviaL3Unicast::L3EcmpMemberTable& table) const;
  void attach(OrviaL3Unicast::L3EcmpGroupTable& table) const;

 private:
  Vek::Ptr<AnswerQueue> answers_;
  Vek::Ptr<NextHopHwTable> ecmpNextHops_;
  Vek::Ptr<NextHopHwTable> ingressNextHops_;
  Vek::Ptr<MemberHwTable> members_;
  Vek::Ptr<GroupHwTable> groups_;
};

}  // namespace SoftAsic
