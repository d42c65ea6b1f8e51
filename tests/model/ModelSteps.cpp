// What each kind of step does.
#include "ModelWorld.h"

namespace Model {
namespace {

// Which tables a kind is for, where it is not for all.
std::uint32_t ofEntries(std::uint32_t number) {
  constexpr std::array<std::uint32_t, 3> tables{0, 1, 3};
  return tables[number % tables.size()];
}
std::uint32_t ofRows(std::uint32_t number) { return number % 2 == 0 ? 1 : 3; }
std::uint32_t notIngress(std::uint32_t number) { return 1 + number % 3; }

std::uint32_t rowOf(std::uint32_t number) { return number % 4 == 0 ? noRow : 100 + number % 4; }

}  // namespace

bool ModelWorld::performOutside(Step const& step) {
  auto const [a, b, c, d, e] = step.n;
  // Not a reference of its own: the slot alone keeps the handle.
  HandlePtr& slot = slots_[a % slots_.size()];
  switch (step.kind) {
    case Kind::externRow:
      externs_[a % externs_.size()]->rowIs(rowOf(b));
      return true;
    case Kind::externState:
      externs_[a % externs_.size()]->stateIs(b % 3);
      return true;
    case Kind::drop: {
      HandlePtr const former = std::exchange(slot, nullptr);
      return true;
    }
    case Kind::copySlot: {
      HandlePtr const former = std::exchange(slots_[b % slots_.size()], HandlePtr(slot));
      return true;
    }
    case Kind::handleRow:
      if (slot) slot->rowIs(rowOf(b));
      return true;
    case Kind::handleState:
      if (slot) slot->stateIs(b % 3);
      return true;
    case Kind::handleMode:
      if (slot) slot->modeIs(b % 2);
      return true;
    case Kind::answer:
      performAnswer(step);
      return true;
    case Kind::answerMode:
      hardware_[a % 4]->modeIs(static_cast<Hardware::Mode>(b % 4));
      return true;
    case Kind::tableReacts:
      if (Table* table = tableOf(a % 4)) table->reactionIs(b % 5);
      return true;
    case Kind::hwReady:
      if (Table* table = tableOf(a % 4)) table->hwTableReadyIs(b % 2 != 0);
      return true;
    case Kind::hwTable:
      if (Table* table = tableOf(a % 4)) table->hwTableIs(b % 2 != 0);
      return true;
    default:
      return false;
  }
}

void ModelWorld::performAnswer(Step const& step) {
  if (waiting_.empty()) return;
  auto const at = static_cast<std::ptrdiff_t>(step.n[0] % waiting_.size());
  Waiting const answered = waiting_[static_cast<std::size_t>(at)];
  if (step.n[2] % 2 == 0) waiting_.erase(waiting_.begin() + at);
  hardware_[answered.table]->answer(answered.row, answered.key, 1 + step.n[1] % 2);
}

bool ModelWorld::performCall(Step const& step) {
  auto const [a, b, c, d, e] = step.n;
  // A record is made for the call and let go with it.
  auto const record = [&, number = b](std::uint32_t table) { return recordOf(table, number); };
  bool const ofGroup = step.kind >= Kind::groupCommit && step.kind <= Kind::groupWriteAtIndex;
  std::uint32_t const table = ofGroup ? 3 : 1;
  RowTable* const rows = rowTableOf(table);
  std::uint32_t const handler = c % 5;
  std::uint32_t const autoRemove = d % 3;
  HandlePtr result;
  switch (step.kind) {
    case Kind::ingressCommit:
      if (!ingress_) return true;
      result = ingress_->commit(keyOf(0, a), record(0), handler);
      break;
    case Kind::ingressWrite:
      if (!ingress_) return true;
      result = ingress_->write(keyOf(0, a), record(0), handler, autoRemove);
      break;
    case Kind::hopCommit:
    case Kind::groupCommit:
      if (rows == nullptr) return true;
      result = rows->commit(keyOf(table, a), record(table), handler);
      break;
    case Kind::hopRef:
    case Kind::groupRef:
      if (rows == nullptr) return true;
      result = rows->ref(keyOf(table, a), record(table), handler);
      break;
    case Kind::hopWrite:
    case Kind::groupWrite:
      if (rows == nullptr) return true;
      result = rows->write(keyOf(table, a), record(table), handler, autoRemove);
      break;
    case Kind::hopWriteAtIndex:
    case Kind::groupWriteAtIndex:
      if (rows == nullptr) return true;
      result = rows->writeAtIndex(c % 2, keyOf(table, a), record(table), autoRemove);
      break;
    case Kind::memberRef:
      if (!member_) return true;
      result = member_->ref(blockOf(b));
      break;
    case Kind::memberWrite:
      if (!member_) return true;
      result = member_->write(blockOf(b), autoRemove);
      break;
    default:
      return false;
  }
  returns(std::move(result), e);
  return true;
}

bool ModelWorld::performOnAny(Step const& step) {
  auto const [a, b, c, d, e] = step.n;
  std::uint32_t const any = a % 4;
  Table* const table = tableOf(any);
  switch (step.kind) {
    case Kind::destroy:
      if (any == 0) ingress_ = nullptr;
      if (any == 1) hop_ = nullptr;
      if (any == 2) member_ = nullptr;
      if (any == 3) group_ = nullptr;
      hardware_[any]->tableDel();
      return true;
    case Kind::unresolvedEntryDelAll:
      if (table != nullptr) table->parkedDelAll();
      return true;
    case Kind::handleMake:
      if (table != nullptr) returns(table->handleMake(any == 2 ? blockOf(b) : keyOf(any, b)), e);
      return true;
    case Kind::handleCleanup: {
      HandlePtr const handle = slots_[a % slots_.size()];
      if (handle) handle->cleanup();
      return true;
    }
    case Kind::syncEntries:
      if (table != nullptr) table->syncEntries();
      return true;
    case Kind::doInitComplete:
      if (table != nullptr) table->doInitComplete();
      return true;
    case Kind::allocatorDel:
      if (notIngress(a) == 2) {
        if (member_) member_->allocatorDel();
      } else if (RowTable* rows = rowTableOf(notIngress(a))) {
        rows->allocatorDel();
      }
      return true;
    case Kind::allocatorIs: {
      constexpr std::array<std::uint32_t, 4> others{0, 1, 3, 10};
      std::uint32_t const size = others[b % 4];
      if (notIngress(a) == 2) {
        if (member_) member_->allocatorIs(size != 0 ? size : MemberTable::numEntries);
      } else if (RowTable* rows = rowTableOf(notIngress(a))) {
        rows->allocatorIs(size != 0 ? size : RowTable::numEntries);
      }
      return true;
    }
    default:
      return false;
  }
}

bool ModelWorld::performOnEntries(Step const& step) {
  auto const [a, b, c, d, e] = step.n;
  EntryTable* const table = entryTableOf(ofEntries(a));
  Key const key = keyOf(ofEntries(a), b);
  auto const record = [&, number = c] { return recordOf(ofEntries(step.n[0]), number); };
  switch (step.kind) {
    case Kind::remove:
      if (table != nullptr) table->remove(key);
      return true;
    case Kind::getEntry:
      if (table != nullptr) returns(table->getEntry(key).text());
      return true;
    case Kind::lookupExisting: {
      if (table == nullptr) return true;
      HandlePtr const found = table->lookupExisting(key, record());
      returns(Handle::nameOf(found));
      return true;
    }
    case Kind::entryIs:
      if (table != nullptr) table->entryIs(key, record());
      return true;
    case Kind::entryDel:
      if (table != nullptr) returns(table->entryDel(key).text());
      return true;
    case Kind::entryDelAll:
      if (table != nullptr) table->entryDelAll();
      return true;
    case Kind::handleEntry:
      if (table != nullptr) table->handleEntry(key);
      return true;
    case Kind::entryHandleMutate:
      if (table != nullptr) returns(table->handleMutate(key), e);
      return true;
    case Kind::entryHandleDel:
      if (table != nullptr) table->ownedDel(key);
      return true;
    case Kind::entryHandleDelAll:
      if (table != nullptr) table->ownedDelAll();
      return true;
    case Kind::pendingEntrySmIs:
      if (table != nullptr) table->pendingIs(slotOfTable(c, table->name()), key);
      return true;
    case Kind::pendingEntrySmDel:
      if (table != nullptr) table->pendingDel(key);
      return true;
    case Kind::pendingEntrySmDelAll:
      if (table != nullptr) table->pendingDelAll();
      return true;
    case Kind::pendingZombie:
    case Kind::pendingNotifier: {
      std::shared_ptr<Pending> const pending = table != nullptr ? table->pending(key) : nullptr;
      if (!pending) return true;
      if (step.kind == Kind::pendingZombie) {
        pending->zombieIs(c % 2 != 0);
      } else {
        // What is no handle of the table counts as none.
        HandlePtr const handle = refOf(c);
        pending->handleIs(handle && handle->tableName() == table->name() ? handle : nullptr);
      }
      return true;
    }
    case Kind::unresolvedEntryIs:
      if (table != nullptr) table->parkedIs(key);
      return true;
    case Kind::unresolvedEntryDel:
      if (table != nullptr) table->parkedDel(key);
      return true;
    default:
      return false;
  }
}

bool ModelWorld::performOnRows(Step const& step) {
  auto const [a, b, c, d, e] = step.n;
  if (step.kind == Kind::rawEntryHandleIs) {
    Table* const table = tableOf(notIngress(a));
    HandlePtr const handle = table != nullptr ? slotOfTable(b, table->name()) : nullptr;
    if (handle) table->registeredIs(handle->key(), handle.get());
    return true;
  }
  if (step.kind == Kind::rawEntryHandleDelAll) {
    if (Table* const table = tableOf(notIngress(a))) table->registeredDelAll();
    return true;
  }
  RowTable* const table = rowTableOf(ofRows(a));
  Key const key = keyOf(ofRows(a), b);
  switch (step.kind) {
    case Kind::entryLookup: {
      if (table == nullptr) return true;
      HandlePtr const found = table->entryLookup(key);
      returns(Handle::nameOf(found));
      return true;
    }
    case Kind::entryHandleOwn:
      if (table != nullptr) table->ownedIs(key, slotOfTable(c, table->name()));
      return true;
    case Kind::rawEntryHandleDel:
      if (table != nullptr) table->registeredDel(key);
      return true;
    case Kind::writeResponseSmIs:
      if (table != nullptr) table->answersIs();
      return true;
    case Kind::writeResponseSmDel:
      if (table != nullptr) table->answersDel();
      return true;
    default:
      return false;
  }
}

}  // namespace Model
