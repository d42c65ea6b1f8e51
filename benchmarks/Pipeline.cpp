#include "benchmarks/Pipeline.h"

namespace OrviaBenchmarks {
namespace {

using Delivery = SoftAsic::AnswerQueue::Delivery;

constexpr std::uint64_t spread = 0x9E3779B97F4A7C15U;  // scatters consecutive numbers

Handle programmedEntry(std::uint32_t row) {
  Vek::Ptr<Asic::SwTable::EntryHandle> handle = new Asic::SwTable::EntryHandle;
  handle->hasNotificationActiveIs(true);
  handle->hwEntryIndexIs(row);
  handle->entryStateIs(Asic::HwTable::success());
  return handle;
}

// Without hardware behind it the device only lends its hardware tables: it needs no rows.
SoftAsic::DeviceSizes deviceSizes(Hardware hardware, Sizes const& sizes) {
  if (hardware == Hardware::nothing) return {0, 0, 0, 0};
  return {sizes.nextHops + sizes.ingress, sizes.nextHops, sizes.members, sizes.groups};
}

template <class Traits>
Vek::Ptr<DoNothingUtil<Traits>> detach(typename Traits::Table& table, std::uint32_t rows) {
  Vek::Ptr<DoNothingUtil<Traits>> const util = new DoNothingUtil<Traits>;
  table.utilIs(util);
  table.numEntriesIs(rows);
  return util;
}

// The device starts empty: there is nothing to sync.
void serve(OrviaAsicUtils::SwTable& table) {
  table.hwTableReadyIs(true);
  table.doInitComplete();
}

}  // namespace

Pipeline::Pipeline(Hardware hardware, Sizes const& sizes)
    : hardware_(hardware), device_(deviceSizes(hardware, sizes), Delivery::atOnce) {
  device_.attach(*ingress_);
  device_.attach(*nextHops_);
  device_.attach(*members_);
  device_.attach(*groups_);
  if (!onSoftAsic()) {
    noIngress_ = detach<IngL3NextHop1Traits>(*ingress_, sizes.ingress);
    noNextHops_ = detach<EcmpIngL3NextHop1Traits>(*nextHops_, sizes.nextHops);
    noMembers_ = detach<L3EcmpMemberTraits>(*members_, sizes.members);
    noGroups_ = detach<L3EcmpGroupTraits>(*groups_, sizes.groups);
  }
  serve(*ingress_);
  serve(*nextHops_);
  serve(*members_);
  serve(*groups_);
  for (std::uint32_t i = 0; i < 64; ++i) {
    interfaces_.push_back(programmedEntry(i));
    mtuProfiles_.push_back(programmedEntry(i));
  }
}

L3EcmpNextHopKey Pipeline::key(std::uint64_t i) {
  std::array<std::uint8_t, 16> bytes{0x20, 0x01, 0x0d, 0xb8};
  std::uint64_t const host = (i + 1) * spread;
  for (std::size_t at = 0; at < 8; ++at) {
    bytes[8 + at] = static_cast<std::uint8_t>(host >> (8 * at));
  }
  return L3EcmpNextHopKey::viaGateway(0, Asic::GatewayAddress::ipv6(bytes),
                                      static_cast<std::uint32_t>(i & 1023));
}

template <class Entry>
Entry Pipeline::record(std::uint64_t i, std::uint64_t version) const {
  Entry entry;
  entry.destinationIs(static_cast<std::uint16_t>(i));
  entry.dvpIs(static_cast<std::uint16_t>((i >> 16) + version));
  entry.l3Oif1HandleIs(interfaces_[i & 63]);
  entry.mtuProfilePtrHandleIs(mtuProfiles_[(i >> 6) & 63]);
  return entry;
}

void Pipeline::writeNextHop(std::uint64_t i, std::uint64_t version) {
  Vek::Ptr<EcmpIngL3NextHop1Table::EntryHandle const> const handle =
      nextHops_->entryCommitWithResponseHandler(
          key(i), record<EcmpIngL3NextHop1Table::Entry>(i, version), handler());
  if (onSoftAsic()) return;
  // What has no row yet gets the next one; an identical write finds its answer given already.
  if (handle->hwEntryIndex() == Asic::Index::invalidIndex()) {
    nextHops_->hwTable()->writeResponseIs(nextRow_++, Asic::HwTable::success());
  } else {
    nextHops_->hwTable()->writeResponseIs(handle->hwEntryIndex(), Asic::HwTable::success());
  }
}

void Pipeline::writeNextHopHeld(std::uint64_t i) {
  device_.answers()->deliveryIs(Delivery::whenDrained);
  nextHops_->entryCommitWithResponseHandler(key(i), record<EcmpIngL3NextHop1Table::Entry>(i, 0),
                                            handler());
  device_.answers()->deliveryIs(Delivery::atOnce);
  if (!onSoftAsic()) held_.push_back(nextRow_++);
}

void Pipeline::nextHeldAnswer() {
  if (onSoftAsic()) {
    device_.answers()->drain(1);
    return;
  }
  std::uint32_t const row = held_.front();
  held_.pop_front();
  nextHops_->hwTable()->writeResponseIs(row, Asic::HwTable::success());
}

Handle Pipeline::block(std::vector<Handle> const& members) {
  L3EcmpEntryBlock block(Asic::BlockSize(static_cast<std::uint16_t>(members.size())));
  std::uint32_t position = 0;
  for (Handle const& member : members) block.entryIs(position++, L3EcmpMember(member));
  return members_->entryBlockRef(block);
}

void Pipeline::writeGroup(std::uint32_t i, Handle const& block, std::uint16_t paths) {
  groups_->entryCommitWithResponseHandler({i}, {0, block, 1, paths}, handler());
}

void Pipeline::answerGroup(std::uint32_t row) {
  if (!onSoftAsic()) groups_->hwTable()->writeResponseIs(row, Asic::HwTable::success());
}

void Pipeline::writeIngress(Handle const& key, std::uint64_t i) {
  ingress_->entryCommitWithResponseHandler(key, record<IngL3NextHop1Table::Entry>(i, 0), handler());
  if (onSoftAsic()) return;
  Vek::Ptr<IngL3NextHop1Table::EntryHandle> const handle = ingress_->entryHandleAccess(key);
  handle->hwEntryIndexIs(key->hwEntryIndex());
  handle->entryStateIs(Asic::HwTable::success());
}

std::uint64_t Pipeline::nextHopWrites() const {
  return onSoftAsic() ? device_.ecmpNextHops().counts().writes : noNextHops_->writes;
}

std::uint64_t Pipeline::nextHopDeletes() const {
  return onSoftAsic() ? device_.ecmpNextHops().counts().deletes : noNextHops_->deletes;
}

std::uint64_t Pipeline::memberWrites() const {
  return onSoftAsic() ? device_.members().counts().writes : noMembers_->writes;
}

std::uint64_t Pipeline::memberDeletes() const {
  return onSoftAsic() ? device_.members().counts().deletes : noMembers_->deletes;
}

std::uint64_t Pipeline::ingressDeletes() const {
  return onSoftAsic() ? device_.ingressNextHops().counts().deletes : noIngress_->deletes;
}

}  // namespace OrviaBenchmarks
