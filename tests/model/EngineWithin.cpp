// The steps of EngineWorld that reach the machinery of the tables, as reflection and the platform
// can.

#include "EngineSteps.h"

namespace Model::Engine {

void EngineWorld::performWithin(Step const& step) {
  std::uint32_t const a = step.n[0];
  std::uint32_t const b = step.n[1];
  std::uint32_t const c = step.n[2];
  auto& state = parts_->state;
  auto const ofKey = [&](auto const& perform) {
    return [&, perform]<class Side>(Side& side) { perform(side, Side::Part::key(state, b)); };
  };
  // The parked record that the numbers name, held while something is done with it.
  auto const withParked = [&](auto const& perform) {
    visitAny(a, [&]<class Side>(Side& side) {
      if constexpr (Side::Traits::holdsBlocks) {
        auto const handle = slotHandle<Side>(b);
        if (!handle) return;
        if (auto const parked = side.table->unresolvedEntryBlock(handle->key())) perform(*parked);
      } else {
        auto const parked = side.table->unresolvedEntry(Side::Part::key(state, b));
        if (parked) perform(*parked);
      }
    });
  };
  switch (step.kind) {
    case Kind::entryIs:
      visitEntryTable(a, [&]<class Side>(Side& side) {
        side.table->entryIs(Side::Part::key(state, b), record<Side>(c));
      });
      break;
    case Kind::entryDel:
      visitEntryTable(a, ofKey([&](auto& side, auto const& key) {
                        auto const taken = side.table->entryDel(key);
                        state.add("returns " + recordText(state.names, taken, Rows::hidden));
                      }));
      break;
    case Kind::entryDelAll:
      visitEntryTable(a, [](auto& side) { side.table->entryDelAll(); });
      break;
    case Kind::handleEntry:
      visitEntryTable(a, ofKey([](auto& side, auto const& key) { side.table->handleEntry(key); }));
      break;
    case Kind::entryHandleMutate:
      visitEntryTable(a, ofKey([&](auto& side, auto const& key) {
                        HandlePtr const made = side.table->entryHandleMutate(key);
                        returned(step, made);
                      }));
      break;
    case Kind::entryHandleDel:
      visitEntryTable(a,
                      ofKey([](auto& side, auto const& key) { side.table->entryHandleDel(key); }));
      break;
    case Kind::entryHandleDelAll:
      visitEntryTable(a, [](auto& side) { side.table->entryHandleDelAll(); });
      break;
    case Kind::entryHandleOwn:
      visitHopOrGroup(a, [&]<class Side>(Side& side) {
        side.table->entryHandleIs(Side::Part::key(state, b), slotHandle<Side>(c));
      });
      break;
    case Kind::rawEntryHandleDel:
      visitHopOrGroup(
          a, ofKey([](auto& side, auto const& key) { side.table->rawEntryHandleDel(key); }));
      break;
    case Kind::pendingEntrySmIs:
      visitEntryTable(a, [&]<class Side>(Side& side) {
        side.table->pendingEntrySmIs(slotHandle<Side>(c), Side::Part::key(state, b));
      });
      break;
    case Kind::pendingEntrySmDel:
      visitEntryTable(
          a, ofKey([](auto& side, auto const& key) { side.table->pendingEntrySmDel(key); }));
      break;
    case Kind::pendingEntrySmDelAll:
      visitEntryTable(a, [](auto& side) { side.table->pendingEntrySmDelAll(); });
      break;
    case Kind::pendingZombie:
      visitEntryTable(a, ofKey([&](auto& side, auto const& key) {
                        auto const reactor = side.table->pendingEntrySm(key);
                        if (reactor) reactor->vekDoZombieReactors(c % 2 == 1);
                      }));
      break;
    case Kind::unresolvedEntryDel:
      visitEntryTable(
          a, ofKey([](auto& side, auto const& key) { side.table->unresolvedEntryDel(key); }));
      break;
    case Kind::unresolvedEntryDelAll:
      visitAny(a, []<class Side>(Side& side) {
        if constexpr (Side::Traits::holdsBlocks) {
          side.table->unresolvedEntryBlockDelAll();
        } else {
          side.table->unresolvedEntryDelAll();
        }
      });
      break;
    case Kind::successCountIs:
      withParked([&](auto& parked) {
        parked.entryHandleProgramSuccessCountIs(static_cast<Vek::U16>(c % 4));
      });
      break;
    case Kind::successCountInc:
      withParked([&](auto& parked) {
        parked.entryHandleProgramSuccessCountInc(static_cast<Vek::U16>(c % 4));
      });
      break;
    case Kind::entryBlockDel:
    case Kind::unresolvedBlockDel: {
      using Side = EngineTable<MemberPart>;
      auto const handle = slotHandle<Side>(b);
      auto const& table = parts_->member.table;
      if (!table || !handle) break;
      if (step.kind == Kind::unresolvedBlockDel) {
        table->unresolvedEntryBlockDel(handle->key());
      } else {
        bool const was = table->entryBlockDel(handle->key());
        state.add(was ? "returns true" : "returns false");
      }
      break;
    }
    case Kind::entryBlockDelAll:
      if (parts_->member.table) parts_->member.table->entryBlockDelAll();
      break;
    case Kind::syncEntries:
      visitAny(a, [](auto& side) { side.table->syncEntries(); });
      break;
    case Kind::doInitComplete:
      visitAny(a, [](auto& side) { side.table->doInitComplete(); });
      break;
    case Kind::writeResponseSmDel:
      visitHopOrGroup(a, [](auto& side) { side.table->writeResponseSmDel(); });
      break;
    case Kind::allocatorDel:
      switch (a % 3) {
        case 0:
          if (parts_->hop.table) parts_->hop.table->firstFreeIndexAllocatorDel();
          break;
        case 1:
          if (parts_->member.table) parts_->member.table->indexAllocatorDel();
          break;
        default:
          if (parts_->group.table) parts_->group.table->firstFreeIndexAllocatorDel();
      }
      break;
    default:
      break;  // raise, which only a reaction does
  }
}

}  // namespace Model::Engine
