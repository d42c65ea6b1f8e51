// How EngineWorld finds what a step's numbers name. For the files that perform steps.
#pragma once

#include "EngineWorld.h"
#include "Vek/VekType.h"

namespace Model::Engine {

template <class Side>
typename Side::Traits::Entry EngineWorld::record(std::uint32_t n) {
  typename Side::Traits::Entry record;
  if constexpr (std::is_same_v<typename Side::Part, GroupPart>) {
    record.ecmpBlockPtrHandleIs(ref(n));
    record.numPathsIs(static_cast<std::uint16_t>(n / 13 % 3));
  } else {
    record.l3Oif1HandleIs(ref(n));
    record.mtuProfilePtrHandleIs(ref(n / 13));
    record.destinationIs(static_cast<std::uint16_t>(n / 169 % 3));
  }
  return record;
}

template <class Side>
Vek::Ptr<typename Side::Table::EntryHandle> EngineWorld::slotHandle(std::uint32_t n) {
  using TableHandle = typename Side::Table::EntryHandle;
  return const_cast<TableHandle*>(Vek::vekCast<TableHandle>(slot(n).get()));
}

template <class Visit>
void EngineWorld::visitAny(std::uint32_t n, Visit const& visit) {
  auto const visitThere = [&](auto& side) {
    if (side.table) visit(side);
  };
  switch (n % 4) {
    case 0:
      return visitThere(parts_->ingress);
    case 1:
      return visitThere(parts_->hop);
    case 2:
      return visitThere(parts_->member);
    default:
      return visitThere(parts_->group);
  }
}

template <class Visit>
void EngineWorld::visitEntryTable(std::uint32_t n, Visit const& visit) {
  auto const visitThere = [&](auto& side) {
    if (side.table) visit(side);
  };
  switch (n % 3) {
    case 0:
      return visitThere(parts_->ingress);
    case 1:
      return visitThere(parts_->hop);
    default:
      return visitThere(parts_->group);
  }
}

template <class Visit>
void EngineWorld::visitHopOrGroup(std::uint32_t n, Visit const& visit) {
  auto const visitThere = [&](auto& side) {
    if (side.table) visit(side);
  };
  return n % 2 == 0 ? visitThere(parts_->hop) : visitThere(parts_->group);
}

}  // namespace Model::Engine
