#include "plugins/soft-asic/SoftDevice.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "plugins/soft-asic/Attaching.h"

namespace SoftAsic {
namespace {

template <class Util, class Window>
void attachTo(Vek::Ptr<AnswerQueue> const& answers, typename Util::Table& table,
              Vek::Ptr<Window> const& window, OrviaAsicUtils::UtilCreate create) {
  {
    Attaching const attaching(answers);
    auto const util = create != nullptr ? create(table) : makeUtil<Util>(table);
    if (!util)
      throw std::runtime_error(table.fwkType().name() + std::string(": no utility was made"));
    table.utilIs(util);
  }
  table.hwTableIs(window);
  table.numEntriesIs(window->rows());
  table.hwTableReadyIs(true);
}

Vek::Ptr<NextHopHwTable> lowerWindow(DeviceSizes const& sizes) {
  return new NextHopHwTable(new NextHopDeviceTable(sizes.nextHops), 0, sizes.ecmpNextHops);
}

}  // namespace

template <class Function>
decltype(auto) SoftDevice::withWindow(TableId table, Function&& function) const {
  switch (table) {
    case TableId::ingressNextHops:
      return std::forward<Function>(function)(*ingressNextHops_);
    case TableId::ecmpNextHops:
      return std::forward<Function>(function)(*ecmpNextHops_);
    case TableId::members:
      return std::forward<Function>(function)(*members_);
    case TableId::groups:
      break;
  }
  return std::forward<Function>(function)(*groups_);
}

SoftDevice::SoftDevice(DeviceSizes const& sizes, AnswerQueue::Delivery delivery)
    : answers_(new AnswerQueue(delivery)),
      watch_(new CallWatch),
      ecmpNextHops_(lowerWindow(sizes)),
      ingressNextHops_(new NextHopHwTable(ecmpNextHops_->device(), sizes.ecmpNextHops,
                                          sizes.nextHops - sizes.ecmpNextHops)),
      members_(new MemberHwTable(sizes.members)),
      groups_(new GroupHwTable(sizes.groups)) {
  for (TableId const table : allTables) {
    withWindow(table, [&](auto& window) { window.watchIs(table, watch_); });
  }
}

SoftDevice::SoftDevice(DeviceSizes const& sizes, FaultProfiles const& faults)
    : SoftDevice(sizes, AnswerQueue::Delivery::whenDrained) {
  answers_->seedIs(faults.seed);
  for (TableId const table : allTables) faultIs(table, faults.of(table));
}

void SoftDevice::faultIs(TableId table, FaultProfile const& profile) {
  withWindow(table, [&](auto& window) { window.faultIs(profile); });
}

void SoftDevice::faultsDel() {
  for (TableId const table : allTables) {
    withWindow(table, [](auto& window) { window.faultsDel(); });
  }
  answers_->inOrderIs();
}

Counts const& SoftDevice::counts(TableId table) const {
  return withWindow(table, [](auto& window) -> Counts const& { return window.counts(); });
}

void SoftDevice::attach(OrviaL3Unicast::IngL3NextHop1Table& table,
                        OrviaAsicUtils::UtilCreate create) const {
  attachTo<IngL3NextHop1SoftUtil>(answers_, table, ingressNextHops_, create);
}

void SoftDevice::attach(OrviaL3Unicast::EcmpIngL3NextHop1Table& table,
                        OrviaAsicUtils::UtilCreate create) const {
  attachTo<EcmpIngL3NextHop1SoftUtil>(answers_, table, ecmpNextHops_, create);
}

void SoftDevice::attach(OrviaL3Unicast::L3EcmpMemberTable& table,
                        OrviaAsicUtils::UtilCreate create) const {
  attachTo<L3EcmpMemberSoftUtil>(answers_, table, members_, create);
}

void SoftDevice::attach(OrviaL3Unicast::L3EcmpGroupTable& table,
                        OrviaAsicUtils::UtilCreate create) const {
  attachTo<L3EcmpGroupSoftUtil>(answers_, table, groups_, create);
}

}  // namespace SoftAsic
