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
                        HandlePtr made = side.table->entryHandleMutate(key);
                        returned(step, std::move(made));
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
    case Kind::syncEntries:
      visitAny(a, [](auto& side) { side.table->syncEntries(); });
      break;
    case Kind::doInitComplete:
      visitAny(a, [](auto& side) { side.table->doInitComplete(); });
      break;
    case Kind::unresolvedEntryIs:
      visitEntryTable(
          a, ofKey([](auto& side, auto const& key) { side.table->unresolvedEntryIs(key); }));
      break;
    case Kind::writeResponseSmIs:
      visitHopOrGroup(a, [](auto& side) { side.table->writeResponseSmIs(side.table); });
      break;
    case Kind::writeResponseSmDel:
      visitHopOrGroup(a, [](auto& side) { side.table->writeResponseSmDel(); });
      break;
    case Kind::handleMake:
      visitAny(a, [&]<class Side>(Side& side) {
        auto const key = [&] {
          if constexpr (Side::Traits::holdsBlocks) {
            return block(b);
          } else {
            return Side::Part::key(state, b);
          }
        };
        HandlePtr made = side.table->entryHandleFactory(key(), side.table.get());
        using TableHandle = typename Side::Table::EntryHandle;
        state.names.tableHandleIs(Side::Part::name, static_cast<TableHandle const&>(*made));
        returned(step, std::move(made));
      });
      break;
    case Kind::handleCleanup: {
      HandlePtr const held = slot(a);
      auto const clean = [&]<class Side>(Side const&) {
        using TableHandle = typename Side::Table::EntryHandle;
        auto* const handle = const_cast<TableHandle*>(Vek::vekCast<TableHandle>(held.get()));
        if (handle != nullptr) handle->cleanup();
      };
      clean(parts_->ingress);
      clean(parts_->hop);
      clean(parts_->member);
      clean(parts_->group);
      break;
    }
    case Kind::pendingNotifier:
      visitEntryTable(a, ofKey([&](auto& side, auto const& key) {
                        auto const reactor = side.table->pendingEntrySm(key);
                        if (reactor) reactor->notifierIs(ref(c));
                      }));
      break;
    default:
      if (!performOnParked(step)) performOnRows(step);
  }
}

}  // namespace Model::Engine
