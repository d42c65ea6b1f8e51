// The steps of EngineWorld that reach single parts of the tables' machinery: parked records and
// their watchers, blocks, registrations and allocators.

#include "EngineSteps.h"

namespace Model::Engine {

template <class Perform>
void EngineWorld::withParked(Step const& step, Perform const& perform) {
  std::uint32_t const b = step.n[1];
  visitAny(step.n[0], [&]<class Side>(Side& side) {
    if constexpr (Side::Traits::holdsBlocks) {
      auto const handle = slotHandle<Side>(b);
      if (!handle) return;
      if (auto const parked = side.table->unresolvedEntryBlock(handle->key())) {
        bool const turns =
            step.kind == Kind::neededEntryHandleSmIs || step.kind == Kind::neededNotifier;
        perform(side, *parked, Vek::AttributeId(turns ? 0 : step.n[3] % 3));
      }
    } else {
      auto const parked = side.table->unresolvedEntry(Side::Part::key(parts_->state, b));
      constexpr bool ofGroup = std::is_same_v<typename Side::Part, GroupPart>;
      constexpr std::uint32_t attributes[] = {ofGroup ? 3 : 9, ofGroup ? 4 : 12};
      if (parked) perform(side, *parked, Vek::AttributeId(attributes[step.n[3] % 2]));
    }
  });
}

bool EngineWorld::performOnParked(Step const& step) {
  std::uint32_t const c = step.n[2];
  switch (step.kind) {
    case Kind::successCountIs:
      withParked(step, [&](auto const&, auto& parked, Vek::AttributeId) {
        parked.entryHandleProgramSuccessCountIs(static_cast<Vek::U16>(c % 4));
      });
      return true;
    case Kind::successCountInc:
      withParked(step, [&](auto const&, auto& parked, Vek::AttributeId) {
        parked.entryHandleProgramSuccessCountInc(static_cast<Vek::U16>(c % 4));
      });
      return true;
    case Kind::initializeUnresolvedEntry:
      withParked(step, [&]<class Side>(Side const&, auto& parked, Vek::AttributeId) {
        if constexpr (Side::Traits::holdsBlocks) {
          parked.initializeUnresolvedEntryBlock(parked.key());
        } else {
          parked.initializeUnresolvedEntry(record<Side>(c));
        }
      });
      return true;
    case Kind::neededEntryHandleSmIs:
      withParked(step, [&](auto const&, auto& parked, Vek::AttributeId attribute) {
        parked.neededEntryHandleSmIs(ref(c), attribute);
      });
      return true;
    case Kind::neededEntryHandleSmDel:
      withParked(step, [&](auto const&, auto& parked, Vek::AttributeId attribute) {
        parked.neededEntryHandleSmDel(attribute);
      });
      return true;
    case Kind::neededEntryHandleSmDelAll:
      withParked(step, [&](auto const&, auto& parked, Vek::AttributeId) {
        parked.neededEntryHandleSmDelAll();
      });
      return true;
    case Kind::neededNotifier:
      withParked(step, [&](auto const&, auto& parked, Vek::AttributeId attribute) {
        if (auto const watcher = parked.neededEntryHandleSm(attribute)) watcher->notifierIs(ref(c));
      });
      return true;
    case Kind::neededZombie:
      withParked(step, [&](auto const&, auto& parked, Vek::AttributeId attribute) {
        auto const watcher = parked.neededEntryHandleSm(attribute);
        if (watcher) watcher->vekDoZombieReactors(c % 2 == 1);
      });
      return true;
    default:
      return false;
  }
}

void EngineWorld::allocatorIs(Step const& step) {
  constexpr std::uint32_t others[] = {0, 1, 3, 10};
  std::uint32_t const other = others[step.n[1] % 4];
  auto const sizeFor = [&](std::uint32_t rows) { return other != 0 ? other : rows; };
  switch (step.n[0] % 3) {
    case 0:
      if (parts_->hop.table) parts_->hop.table->firstFreeIndexAllocatorIs(sizeFor(HopPart::rows));
      break;
    case 1:
      if (parts_->member.table) {
        parts_->member.table->indexAllocatorIs(MemberPart::Traits::keyType(),
                                               sizeFor(MemberPart::rows));
      }
      break;
    default:
      if (parts_->group.table) {
        parts_->group.table->firstFreeIndexAllocatorIs(sizeFor(GroupPart::rows));
      }
  }
}

std::optional<OrviaL3Unicast::L3EcmpEntryBlock> EngineWorld::blockOf(Step const& step) {
  if (step.n[0] % 2 == 0) return block(step.n[1]);
  auto const handle = slotHandle<EngineTable<MemberPart>>(step.n[1]);
  if (!handle) return std::nullopt;
  return handle->key();
}

void EngineWorld::performOnRows(Step const& step) {
  std::uint32_t const a = step.n[0];
  std::uint32_t const b = step.n[1];
  auto& state = parts_->state;
  auto const& member = parts_->member.table;
  auto const registered = [&]<class Side>(Side& side) {
    auto const handle = slotHandle<Side>(b);
    if (side.table && handle) side.table->rawEntryHandleIs(handle->key(), handle.get());
  };
  switch (step.kind) {
    case Kind::rawEntryHandleIs:
      if (a % 3 == 0) registered(parts_->hop);
      if (a % 3 == 1) registered(parts_->member);
      if (a % 3 == 2) registered(parts_->group);
      break;
    case Kind::entryBlockIs:
    case Kind::handleEntryBlock:
    case Kind::unresolvedBlockIs: {
      auto const named = blockOf(step);
      if (!member || !named) break;
      if (step.kind == Kind::entryBlockIs) member->entryBlockIs(*named);
      if (step.kind == Kind::handleEntryBlock) member->handleEntryBlock(*named);
      if (step.kind == Kind::unresolvedBlockIs) member->unresolvedEntryBlockIs(*named);
      break;
    }
    case Kind::rawBlockHandleDel: {
      auto const handle = slotHandle<EngineTable<MemberPart>>(b);
      if (member && handle) member->rawEntryHandleDel(handle->key());
      break;
    }
    case Kind::rawEntryHandleDelAll:
      if (a % 3 == 0 && parts_->hop.table) parts_->hop.table->rawEntryHandleDelAll();
      if (a % 3 == 1 && member) member->rawEntryHandleDelAll();
      if (a % 3 == 2 && parts_->group.table) parts_->group.table->rawEntryHandleDelAll();
      break;
    case Kind::entryBlockDel:
    case Kind::unresolvedBlockDel: {
      auto const handle = slotHandle<EngineTable<MemberPart>>(b);
      if (!member || !handle) break;
      if (step.kind == Kind::unresolvedBlockDel) {
        member->unresolvedEntryBlockDel(handle->key());
      } else {
        bool const was = member->entryBlockDel(handle->key());
        state.add(was ? "returns true" : "returns false");
      }
      break;
    }
    case Kind::entryBlockDelAll:
      if (member) member->entryBlockDelAll();
      break;
    case Kind::allocatorIs:
      allocatorIs(step);
      break;
    case Kind::allocatorDel:
      if (a % 3 == 0 && parts_->hop.table) parts_->hop.table->firstFreeIndexAllocatorDel();
      if (a % 3 == 1 && member) member->indexAllocatorDel();
      if (a % 3 == 2 && parts_->group.table) parts_->group.table->firstFreeIndexAllocatorDel();
      break;
    default:
      break;  // raise, which only a reaction does
  }
}

}  // namespace Model::Engine
