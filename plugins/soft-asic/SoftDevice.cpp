#include "plugins/soft-asic/SoftDevice.h"

namespace SoftAsic {
namespace {

template <class Util, class Table, class Window>
void attachTo(Vek::Ptr<AnswerQueue> const& answers, Table& table, Vek::Ptr<Window> const& window) {
  table.utilIs(new Util(table, answers));
  table.hwTableIs(window);
  table.numEntriesIs(window->rows());
  table.hwTableReadyIs(true);
}

Vek::Ptr<NextHopHwTable> lowerWindow(DeviceSizes const& sizes) {
  return new NextHopHwTable(new NextHopDeviceTable(sizes.nextHops), 0, sizes.ecmpNextHops);
}

}  // namespace

SoftDevice::SoftDevice(DeviceSizes const& sizes, AnswerQueue::Delivery delivery)
    : answers_(new AnswerQueue(delivery)),
      ecmpNextHops_(lowerWindow(sizes)),
      ingressNextHops_(new NextHopHwTable(ecmpNextHops_->device(), sizes.ecmpNextHops,
                                          sizes.nextHops - sizes.ecmpNextHops)),
      members_(new MemberHwTable(sizes.members)),
      groups_(new GroupHwTable(sizes.groups)) {}

void SoftDevice::attach(OrviaL3Unicast::IngL3NextHop1Table& table) const {
  attachTo<IngL3NextHop1SoftUtil>(answers_, table, ingressNextHops_);
}

void SoftDevice::attach(OrviaL3Unicast::EcmpIngL3NextHop1Table& table) const {
  attachTo<EcmpIngL3NextHop1SoftUtil>(answers_, table, ecmpNextHops_);
}

void SoftDevice::attach(OrviaL3Unicast::L3EcmpMemberTable& table) const {
  attachTo<L3EcmpMemberSoftUtil>(answers_, table, members_);
}

void SoftDevice::attach(OrviaL3Unicast::L3EcmpGroupTable& table) const {
  attachTo<L3EcmpGroupSoftUtil>(answers_, table, groups_);
}

}  // namespace SoftAsic
