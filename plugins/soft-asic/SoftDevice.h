// One simulated device: the hardware tables of all four software tables, and what attaches them.
//
//   SoftAsic::SoftDevice device({}, SoftAsic::AnswerQueue::Delivery::whenDrained);
//   auto groups = OrviaL3Unicast::L3EcmpGroupTable::L3EcmpGroupTableIs();
//   device.attach(*groups); groups->syncEntries();
//   groups->doInitComplete(); groups->hwTableReadyIs(true);
//   ... device.answers()->drain();                   // or turn by turn: see AnswerQueue.h
//   device.groups().row(1).contents->ecmpBlockPtr ...
//
// Ordinary next hops and those of ECMP groups live in one device table: the lower rows, row 0
// included, are the ECMP view's window, the rows above are for the keys of the ingress table.
//
// A device whose hardware misbehaves is made from profiles, or is given them at run time; whoever
// wants to see every call is an observer:
//
//   SoftAsic::SoftDevice device({}, SoftAsic::faultProfilesOfFile("faults.json"));
//   SoftAsic::Journal journal; device.observerIs(&journal);
//   ... device.faultsDel();
//
// With a file, what the rows hold outlives the process (DeviceFile.h). The next device on the same
// file has it from the start, and the ingress table is refilled from it while it is not ready yet:
//
//   SoftAsic::SoftDevice device({}, {}, "asic"); device.attach(*ingress);
//   device.rowOwnerIs(...);                          // see RowOwner.h
//   device.tellRows(journal);                        // for observers: nobody calls these rows
//   ingress->syncEntries(); ingress->doInitComplete(); ingress->hwTableReadyIs(true);
//
// One thread. Attached tables and waiting answers keep what they need of the device alive.
#pragma once

#include <string>
#include <utility>

#include "OrviaAsicUtils/UtilFactory.h"
#include "plugins/soft-asic/CallWatch.h"
#include "plugins/soft-asic/DeviceFile.h"
#include "plugins/soft-asic/DeviceSizes.h"
#include "plugins/soft-asic/EcmpSoftUtils.h"
#include "plugins/soft-asic/Export.h"
#include "plugins/soft-asic/FaultProfile.h"
#include "plugins/soft-asic/IngL3NextHop1SoftUtil.h"
#include "plugins/soft-asic/RowOwner.h"

namespace SoftAsic {

class SOFT_ASIC_EXPORT SoftDevice {
 public:
  // Throws std::out_of_range when the ECMP view is to have more next-hop rows than there are.
  SoftDevice(DeviceSizes const& sizes, AnswerQueue::Delivery delivery);
  SoftDevice(DeviceSizes const& sizes, FaultProfiles const& faults);
  // With the rows in that file, or in memory when the name is empty. Throws what DeviceFile throws,
  // too.
  SoftDevice(DeviceSizes const& sizes, FaultProfiles const& faults,
             std::string const& hardwareFile);

  // What goes wrong with the table from its next write on. What waits is not affected.
  void faultIs(TableId table, FaultProfile const& profile);
  // From now on nothing is refused (rows that were told to included), lost, doubled or late.
  // Answers come in order in the next turn, but tables that answer at once go on doing so. What
  // waits is still delivered, each answer in its turn.
  void faultsDel();

  // Tells it of every call of every attached table, after those that joined earlier. Not owned: it
  // must leave before its end, unless all tables are gone. It should not throw and must not write:
  // it runs within a write.
  void observerIs(CallObserver* observer) { watch_->observerIs(observer); }
  void observerDel(CallObserver* observer) { watch_->observerDel(observer); }
  // Tells this one of what every row holds now, as writes that were taken and of number 0: for one
  // that joins a device which is not empty. Next hops first, then members, then groups, so that
  // what points comes after what it points at. A group's next-hop rows are those of the member rows
  // that it covers.
  void tellRows(CallObserver& observer) const;

  // Who owns what rows of the ingress table hold, for its syncEntries. None: nothing is refilled.
  // It stays in force until the next one, for attached tables also after the device's end.
  void rowOwnerIs(RowOwnerOf rowOwner) { owners_->rowOwnerIs(std::move(rowOwner)); }

  [[nodiscard]] Vek::Ptr<AnswerQueue> const& answers() const { return answers_; }
  [[nodiscard]] NextHopDeviceTable& nextHops() const { return *ecmpNextHops_->device(); }
  [[nodiscard]] NextHopHwTable& ecmpNextHops() const { return *ecmpNextHops_; }
  [[nodiscard]] NextHopHwTable& ingressNextHops() const { return *ingressNextHops_; }
  [[nodiscard]] MemberHwTable& members() const { return *members_; }
  [[nodiscard]] GroupHwTable& groups() const { return *groups_; }
  [[nodiscard]] Counts const& counts(TableId table) const;

  // Gives the table its utility, its hardware table and the number of its rows. Whoever brings it
  // up goes on with syncEntries, and says ready only then: the table meets what the hardware holds
  // without writing to it. The utility is what `create` makes, such as a plug-in's factory; without
  // it, the device's own. What `create` throws passes out, and nothing has happened then; so does
  // std::runtime_error when it makes none.
  void attach(OrviaL3Unicast::IngL3NextHop1Table& table,
              OrviaAsicUtils::UtilCreate create = nullptr) const;
  void attach(OrviaL3Unicast::EcmpIngL3NextHop1Table& table,
              OrviaAsicUtils::UtilCreate create = nullptr) const;
  void attach(OrviaL3Unicast::L3EcmpMemberTable& table,
              OrviaAsicUtils::UtilCreate create = nullptr) const;
  void attach(OrviaL3Unicast::L3EcmpGroupTable& table,
              OrviaAsicUtils::UtilCreate create = nullptr) const;

 private:
  SoftDevice(DeviceSizes const& sizes, AnswerQueue::Delivery delivery,
             Vek::Ptr<DeviceFile> const& file);
  // Calls function(window) with the table's window, whatever its type.
  template <class Function>
  decltype(auto) withWindow(TableId table, Function&& function) const;

  Vek::Ptr<AnswerQueue> answers_;
  Vek::Ptr<RowOwners> owners_;
  Vek::Ptr<CallWatch> watch_;
  Vek::Ptr<NextHopHwTable> ecmpNextHops_;
  Vek::Ptr<NextHopHwTable> ingressNextHops_;
  Vek::Ptr<MemberHwTable> members_;
  Vek::Ptr<GroupHwTable> groups_;
};

}  // namespace SoftAsic
