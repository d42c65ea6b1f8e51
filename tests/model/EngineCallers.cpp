// The steps of EngineWorld that callers and the outside take.

#include "EngineSteps.h"

namespace Model::Engine {
namespace {

enum Form { commit, reference, writeWithHandler, writeAtIndex };

Asic::Index rowOf(std::uint32_t n) {
  return n % 4 == 0 ? Asic::Index::invalidIndex() : Asic::Index(100 + n % 4);
}
Asic::HwTable::EntryState stateOf(std::uint32_t n) {
  return static_cast<Asic::HwTable::EntryState>(n % 3);
}
Asic::AutoRemoveType autoRemoveOf(std::uint32_t n) {
  return static_cast<Asic::AutoRemoveType>(n % 3);
}

}  // namespace

bool EngineWorld::performOutside(Step const& step) {
  std::uint32_t const a = step.n[0];
  std::uint32_t const b = step.n[1];
  switch (step.kind) {
    case Kind::externRow:
      parts_->state.externs[a % externCount]->hwEntryIndexIs(rowOf(b));
      break;
    case Kind::externState:
      parts_->state.externs[a % externCount]->entryStateIs(stateOf(b));
      break;
    case Kind::drop:
      slot(a) = nullptr;
      break;
    case Kind::copySlot:
      slot(b) = HandlePtr(slot(a));
      break;
    case Kind::handleRow:
      if (HandlePtr const handle = slot(a)) {
        const_cast<Handle&>(*handle).hwEntryIndexIs(rowOf(b));
      }
      break;
    case Kind::handleState:
      if (HandlePtr const handle = slot(a)) {
        const_cast<Handle&>(*handle).entryStateIs(stateOf(b));
      }
      break;
    case Kind::handleMode: {
      auto const set = [&]<class Side>(Side const&) {
        using TableHandle = typename Side::Table::EntryHandle;
        auto const handle = slotHandle<Side>(a);
        if (handle) handle->modeIs(static_cast<typename TableHandle::Mode>(b % 2));
      };
      set(parts_->ingress);
      set(parts_->hop);
      set(parts_->member);
      set(parts_->group);
      break;
    }
    case Kind::answer:
      answerNext(step);
      break;
    case Kind::answerMode:
      visitAny(a, [&]<class Side>(Side& side) {
        side.answerMode = static_cast<typename Side::AnswerMode>(b % 4);
      });
      break;
    case Kind::tableReacts:
      visitAny(a, [&](auto& side) { side.reaction = b % 5; });
      break;
    case Kind::hwReady:
      visitAny(a, [&](auto& side) { side.table->hwTableReadyIs(b % 2 == 1); });
      break;
    case Kind::hwTable:
      visitAny(a, [&](auto& side) {
        side.table->hwTableIs(b % 2 == 1 ? side.hwTable : Vek::Ptr<Asic::HwTable>());
      });
      break;
    default:
      return false;
  }
  return true;
}

void EngineWorld::answerNext(Step const& step) {
  auto& waiting = parts_->state.waiting;
  if (waiting.empty()) return;
  auto const next = waiting.begin() + static_cast<std::ptrdiff_t>(step.n[0] % waiting.size());
  WaitingAnswer const answer = *next;
  if (step.n[2] % 2 == 0) waiting.erase(next);
  auto const outcome = static_cast<Asic::HwTable::EntryState>(1 + step.n[1] % 2);
  visitAny(answer.table, [&](auto& side) { side.answer(answer, outcome); });
}

template <class Side>
void EngineWorld::write(Side& side, Step const& step, int form) {
  std::uint32_t const a = step.n[0];
  std::uint32_t const b = step.n[1];
  std::uint32_t const c = step.n[2];
  std::uint32_t const d = step.n[3];
  auto const key = Side::Part::key(parts_->state, a);
  auto& table = *side.table;
  // The record and the handler are let go before the outcome is told.
  auto const written = [&]() -> HandlePtr {
    if constexpr (Side::Traits::ownsRows) {
      if (form == reference) {
        return table.entryRefWithResponseHandler(key, record<Side>(b), handler(c));
      }
      if (form == writeAtIndex) {
        return table.entryWriteAtIndex(c % 2, key, record<Side>(b), autoRemoveOf(d));
      }
    }
    if (form == commit) {
      return table.entryCommitWithResponseHandler(key, record<Side>(b), handler(c));
    }
    return table.entryWriteWithResponseHandler(key, record<Side>(b), handler(c), autoRemoveOf(d));
  };
  returned(step, written());
}

bool EngineWorld::performForCallers(Step const& step) {
  std::uint32_t const a = step.n[0];
  std::uint32_t const b = step.n[1];
  std::uint32_t const c = step.n[2];
  std::uint32_t const d = step.n[3];
  auto& state = parts_->state;
  auto const writeTo = [&](auto& side, Form form) {
    if (side.table) write(side, step, form);
  };
  switch (step.kind) {
    case Kind::ingressCommit:
      writeTo(parts_->ingress, commit);
      break;
    case Kind::ingressWrite:
      writeTo(parts_->ingress, writeWithHandler);
      break;
    case Kind::hopCommit:
      writeTo(parts_->hop, commit);
      break;
    case Kind::hopRef:
      writeTo(parts_->hop, reference);
      break;
    case Kind::hopWrite:
      writeTo(parts_->hop, writeWithHandler);
      break;
    case Kind::hopWriteAtIndex:
      writeTo(parts_->hop, writeAtIndex);
      break;
    case Kind::groupCommit:
      writeTo(parts_->group, commit);
      break;
    case Kind::groupRef:
      writeTo(parts_->group, reference);
      break;
    case Kind::groupWrite:
      writeTo(parts_->group, writeWithHandler);
      break;
    case Kind::groupWriteAtIndex:
      writeTo(parts_->group, writeAtIndex);
      break;
    case Kind::memberRef:
      if (parts_->member.table) {
        HandlePtr made = parts_->member.table->entryBlockRef(block(b));
        returned(step, std::move(made));
      }
      break;
    case Kind::memberWrite:
      if (parts_->member.table) {
        HandlePtr made = parts_->member.table->entryBlockWrite(block(b), autoRemoveOf(d));
        returned(step, std::move(made));
      }
      break;
    case Kind::remove:
      visitEntryTable(
          a, [&]<class Side>(Side& side) { side.table->entryRemove(Side::Part::key(state, b)); });
      break;
    case Kind::getEntry:
      visitEntryTable(a, [&]<class Side>(Side& side) {
        auto const held = side.table->getEntry(Side::Part::key(state, b));
        state.add("returns " + recordText(state.names, held, Rows::hidden));
      });
      break;
    case Kind::lookupExisting:
      visitEntryTable(a, [&]<class Side>(Side& side) {
        HandlePtr const found =
            side.table->lookupExistingEntry(Side::Part::key(state, b), record<Side>(c));
        state.add("returns " + state.names.of(found.get()));
      });
      break;
    case Kind::entryLookup:
      visitHopOrGroup(a, [&]<class Side>(Side& side) {
        HandlePtr const found = side.table->entryLookup(Side::Part::key(state, b));
        state.add("returns " + state.names.of(found.get()));
      });
      break;
    case Kind::destroy:
      visitAny(a, [](auto& side) { side.tableDel(); });
      break;
    default:
      return false;
  }
  return true;
}

}  // namespace Model::Engine
