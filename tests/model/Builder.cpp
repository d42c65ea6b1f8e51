// The numbers of each kind of step.

#include "Builder.h"

#include <algorithm>

namespace Model {

Step Builder::onParked(Kind kind, std::uint32_t c) {
  std::uint32_t any = below(4);
  std::uint32_t key = any == 2 ? slotWith(Holds::member) : any == 0 ? keyOf(0) : below(3);
  if (!writes_.empty() && chance(75)) {
    std::size_t const back =
        below(std::min<std::uint32_t>(3, static_cast<std::uint32_t>(writes_.size())));
    Step const& write = writes_[writes_.size() - 1 - back];
    any = write.kind <= Kind::ingressWrite        ? 0
          : write.kind <= Kind::hopWriteAtIndex   ? 1
          : write.kind <= Kind::groupWriteAtIndex ? 3
                                                  : 2;
    key = any == 2 ? write.n[4] : write.n[0];
  }
  std::uint32_t const attribute = chance(70) ? 0 : below(3);
  return {kind, {any, key, c, attribute}};
}

Step Builder::step(Kind kind) {
  switch (kind) {
    case Kind::externRow: {
      std::uint32_t const which = below(6);
      std::uint32_t const row = chance(85) ? 1 + below(3) : 0;
      row_[which] = row != 0;
      return {kind, {which, row}};
    }
    case Kind::externState: {
      std::uint32_t const which = below(6);
      std::uint32_t const state = chance(75) ? 1 : below(2) * 2;
      accepted_[which] = state == 1;
      return {kind, {which, state}};
    }
    case Kind::drop: {
      std::uint32_t const which = below(6);
      slots_[which] = Holds::nothing;
      return {kind, {which}};
    }
    case Kind::copySlot: {
      std::uint32_t const from = below(6);
      std::uint32_t const to = below(6);
      slots_[to] = slots_[from];
      return {kind, {from, to}};
    }
    case Kind::answer:
      return {kind, {chance(60) ? 0 : below(4), chance(80) ? 0U : 1U, chance(88) ? 0U : 1U}};
    case Kind::answerMode: {
      std::uint32_t const draw = below(100);
      return {kind, {below(4), draw < 40 ? 0U : draw < 78 ? 1U : draw < 92 ? 2U : 3U}};
    }
    case Kind::hwReady:
    case Kind::hwTable: {
      auto& off = kind == Kind::hwReady ? notReady_ : detached_;
      // Back on soon.
      std::uint32_t which = below(4);
      for (std::uint32_t table = 0; table < 4; ++table) {
        if (off[table] && chance(70)) which = table;
      }
      off[which] = !off[which];
      return {kind, {which, off[which] ? 0U : 1U}};
    }
    default:
      return callersStep(kind);
  }
}

Step Builder::callersStep(Kind kind) {
  switch (kind) {
    case Kind::ingressCommit:
    case Kind::ingressWrite: {
      std::uint32_t const key = chance(99) ? programmed() : below(6);
      if (!(row_[key] && accepted_[key]) && chance(95)) {
        // It would end the process: the key is programmed instead.
        (row_[key] ? accepted_ : row_)[key] = true;
        return {accepted_[key] && row_[key] ? Kind::externState : Kind::externRow, {key, 1}};
      }
      return stored({kind, {key, hopRecord(), handler(), chance(99) ? 1U : below(3)}},
                    Holds::ingress);
    }
    case Kind::hopCommit:
    case Kind::hopRef:
    case Kind::hopWrite:
      return stored({kind, {anyKey(), hopRecord(), handler(), autoRemove()}}, Holds::hop);
    case Kind::hopWriteAtIndex:
      return stored({kind, {atIndexKey(), hopRecord(), chance(98) ? 0U : 1U, autoRemove()}},
                    Holds::hop);
    case Kind::groupCommit:
    case Kind::groupRef:
    case Kind::groupWrite:
      return stored({kind, {anyKey(), groupRecord(), handler(), autoRemove()}}, Holds::group);
    case Kind::groupWriteAtIndex:
      return stored({kind, {atIndexKey(), groupRecord(), chance(98) ? 0U : 1U, autoRemove()}},
                    Holds::group);
    case Kind::memberRef:
    case Kind::memberWrite:
      return stored({kind, {0, blockNumber(), 0, chance(98) ? 0 : below(3)}}, Holds::member);
    case Kind::destroy:
      return {kind, {below(4)}};
    case Kind::entryLookup:
      return {kind, {below(2), below(3)}};
    case Kind::remove:
    case Kind::getEntry: {
      std::uint32_t const table = below(3);
      return {kind, {table, keyOf(table)}};
    }
    case Kind::lookupExisting: {
      std::uint32_t const table = below(3);
      return {kind, {table, keyOf(table), recordOf(table)}};
    }
    default:
      return innerStep(kind);
  }
}

Step Builder::innerStep(Kind kind) {
  std::uint32_t const table = below(3);
  switch (kind) {
    case Kind::entryIs:
      return {kind, {table, keyOf(table), recordOf(table)}};
    case Kind::entryHandleMutate: {
      Step const made{kind, {table, keyOf(table), 0, 0, below(6)}};
      slots_[made.n[4]] = table == 0 ? Holds::ingress : table == 1 ? Holds::hop : Holds::group;
      return made;
    }
    case Kind::entryHandleOwn: {
      std::uint32_t const which = below(2);
      return {kind, {which, below(3), slotWith(which == 0 ? Holds::hop : Holds::group)}};
    }
    case Kind::pendingEntrySmIs: {
      Holds const wanted = table == 0 ? Holds::ingress : table == 1 ? Holds::hop : Holds::group;
      return {kind, {table, keyOf(table), slotWith(wanted)}};
    }
    case Kind::pendingZombie:
      return {kind, {table, keyOf(table), below(2)}};
    case Kind::successCountIs:
    case Kind::successCountInc:
      return onParked(kind, chance(60) ? 1 : below(4));
    case Kind::initializeUnresolvedEntry: {
      Step made = onParked(kind, 0);
      made.n[2] = made.n[0] == 3 ? groupRecord() : hopRecord();
      return made;
    }
    case Kind::neededEntryHandleSmIs:
    case Kind::neededEntryHandleSmDel:
    case Kind::neededEntryHandleSmDelAll:
    case Kind::neededNotifier:
      return onParked(kind, anyRef());
    case Kind::neededZombie:
      return onParked(kind, below(2));
    case Kind::pendingNotifier: {
      Holds const wanted = table == 0 ? Holds::ingress : table == 1 ? Holds::hop : Holds::group;
      return {kind, {table, keyOf(table), ref(8, 8, wanted)}};
    }
    case Kind::allocatorIs:
      return {kind, {below(3), below(4)}};
    case Kind::handleMake: {
      std::uint32_t const any = below(4);
      std::uint32_t const key = any == 2 ? blockNumber() : any == 0 ? keyOf(0) : below(3);
      Step const made{kind, {any, key, 0, 0, below(6)}};
      slots_[made.n[4]] = static_cast<Holds>(1 + any);
      return made;
    }
    case Kind::handleCleanup:
      return {kind, {slotWith(static_cast<Holds>(1 + below(4)))}};
    case Kind::rawEntryHandleIs: {
      std::uint32_t const which = below(3);
      return {kind, {which, slotWith(static_cast<Holds>(2 + which))}};
    }
    case Kind::entryBlockIs:
    case Kind::handleEntryBlock:
    case Kind::unresolvedBlockIs: {
      bool const ofSlot = chance(60);
      return {kind, {ofSlot ? 1U : 0U, ofSlot ? slotWith(Holds::member) : blockNumber()}};
    }
    case Kind::entryBlockDel:
    case Kind::unresolvedBlockDel:
    case Kind::rawBlockHandleDel:
      return {kind, {0, slotWith(Holds::member)}};
    case Kind::tableReacts:
      return {kind, {below(4), chance(15) ? 0 : 1 + below(4)}};
    case Kind::handleRow:
      return {kind, {below(6), below(4)}};
    case Kind::handleState:
      return {kind, {below(6), below(3)}};
    case Kind::handleMode:
      return {kind, {below(6), below(2)}};
    case Kind::unresolvedEntryDelAll:
    case Kind::syncEntries:
    case Kind::doInitComplete:
      return {kind, {below(4)}};
    case Kind::rawEntryHandleDel:
      return {kind, {below(2), below(3)}};
    case Kind::writeResponseSmIs:
    case Kind::writeResponseSmDel:
      return {kind, {below(2)}};
    default:
      return {kind, {table, keyOf(table)}};
  }
}

}  // namespace Model
