#include "plugins/soft-asic/SoftDevice.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "plugins/soft-asic/Attaching.h"

namespace SoftAsic {
namespace {

template <class Util, class Window>
void attachTo(Vek::Ptr<AnswerQueue> const& answers, Vek::Ptr<RowOwners> const& owners,
              typename Util::Table& table, Vek::Ptr<Window> const& window,
              OrviaAsicUtils::UtilCreate create) {
  {
    Attaching const attaching(answers, owners);
    auto const util = create != nullptr ? create(table) : makeUtil<Util>(table);
    if (!util)
      throw std::runtime_error(table.fwkType().name() + std::string(": no utility was made"));
    table.utilIs(util);
  }
  table.hwTableIs(window);
  table.numEntriesIs(window->rows());
}

// Before a file is made for them.
DeviceSizes const& checked(DeviceSizes const& sizes) {
  if (sizes.ecmpNextHops > sizes.nextHops) {
    throw std::out_of_range("more next-hop rows for ECMP than there are");
  }
  return sizes;
}

Vek::Ptr<DeviceFile> fileOf(std::string const& path, DeviceSizes const& sizes) {
  if (path.empty()) return nullptr;
  return new DeviceFile(path, checked(sizes));
}

// A table whose rows are in the file, or without one in memory.
template <class Contents>
Vek::Ptr<DeviceTable<Contents>> tableOf(std::uint32_t rows, Vek::Ptr<DeviceFile> const& file,
                                        StoredRow<Contents>* (DeviceFile::*stored)() const) {
  if (!file) return new DeviceTable<Contents>(rows);
  return new DeviceTable<Contents>(rows, file, ((*file).*stored)());
}

// What a row would have been asked for.
Call writeOf(TableId table, std::uint32_t row) {
  Call call;
  call.table = table;
  call.kind = Call::Kind::write;
  call.row = row;
  return call;
}

template <class Window, class Complete>
void tellRowsOf(Window const& window, TableId table, CallObserver& observer,
                Complete const& complete) {
  for (std::uint32_t i = 0; i < window.rows(); ++i) {
    std::uint32_t const row = window.firstRow() + i;
    auto const& contents = window.row(row).contents;
    if (!contents) continue;
    Call call = writeOf(table, row);
    call.contents = *contents;
    complete(*contents, call);
    observer.callIs(call);
  }
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

SoftDevice::SoftDevice(DeviceSizes const& sizes, AnswerQueue::Delivery delivery,
                       Vek::Ptr<DeviceFile> const& file)
    : answers_(new AnswerQueue(delivery)),
      owners_(new RowOwners),
      watch_(new CallWatch),
      ecmpNextHops_(new NextHopHwTable(
          tableOf(checked(sizes).nextHops, file, &DeviceFile::nextHops), 0, sizes.ecmpNextHops)),
      ingressNextHops_(new NextHopHwTable(ecmpNextHops_->device(), sizes.ecmpNextHops,
                                          sizes.nextHops - sizes.ecmpNextHops)),
      members_(
          new MemberHwTable(tableOf(sizes.members, file, &DeviceFile::members), 0, sizes.members)),
      groups_(new GroupHwTable(tableOf(sizes.groups, file, &DeviceFile::groups), 0, sizes.groups)) {
  for (TableId const table : allTables) {
    withWindow(table, [&](auto& window) { window.watchIs(table, watch_); });
  }
}

SoftDevice::SoftDevice(DeviceSizes const& sizes, AnswerQueue::Delivery delivery)
    : SoftDevice(sizes, delivery, nullptr) {}

SoftDevice::SoftDevice(DeviceSizes const& sizes, FaultProfiles const& faults)
    : SoftDevice(sizes, faults, std::string()) {}

SoftDevice::SoftDevice(DeviceSizes const& sizes, FaultProfiles const& faults,
                       std::string const& hardwareFile)
    : SoftDevice(sizes, AnswerQueue::Delivery::whenDrained, fileOf(hardwareFile, sizes)) {
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

void SoftDevice::tellRows(CallObserver& observer) const {
  auto const complete = [](auto const&, Call&) {};
  tellRowsOf(*ecmpNextHops_, TableId::ecmpNextHops, observer, complete);
  tellRowsOf(*ingressNextHops_, TableId::ingressNextHops, observer, complete);
  tellRowsOf(*members_, TableId::members, observer, complete);
  tellRowsOf(*groups_, TableId::groups, observer, [this](GroupContents const& group, Call& call) {
    for (std::uint32_t i = 0; i < group.numPaths; ++i) {
      std::uint32_t const row = group.ecmpBlockPtr + i;
      // A member row that is not there, or holds nothing, leads nowhere.
      auto const member = members_->hasRow(row) ? members_->row(row).contents : std::nullopt;
      call.nextHopRows.push_back(member.value_or(MemberContents{}).nextHopEntry.value());
    }
  });
}

Counts const& SoftDevice::counts(TableId table) const {
  return withWindow(table, [](auto& window) -> Counts const& { return window.counts(); });
}

void SoftDevice::attach(OrviaL3Unicast::IngL3NextHop1Table& table,
                        OrviaAsicUtils::UtilCreate create) const {
  attachTo<IngL3NextHop1SoftUtil>(answers_, owners_, table, ingressNextHops_, create);
}

void SoftDevice::attach(OrviaL3Unicast::EcmpIngL3NextHop1Table& table,
                        OrviaAsicUtils::UtilCreate create) const {
  attachTo<EcmpIngL3NextHop1SoftUtil>(answers_, owners_, table, ecmpNextHops_, create);
}

void SoftDevice::attach(OrviaL3Unicast::L3EcmpMemberTable& table,
                        OrviaAsicUtils::UtilCreate create) const {
  attachTo<L3EcmpMemberSoftUtil>(answers_, owners_, table, members_, create);
}

void SoftDevice::attach(OrviaL3Unicast::L3EcmpGroupTable& table,
                        OrviaAsicUtils::UtilCreate create) const {
  attachTo<L3EcmpGroupSoftUtil>(answers_, owners_, table, groups_, create);
}

}  // namespace SoftAsic
