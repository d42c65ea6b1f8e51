// What the kinds of step do that reach parked records, their watchers, and blocks.
#include "ModelWorld.h"

namespace Model {

bool ModelWorld::performOnParked(Step const& step) {
  switch (step.kind) {
    case Kind::successCountIs:
    case Kind::successCountInc:
    case Kind::initializeUnresolvedEntry:
    case Kind::neededEntryHandleSmIs:
    case Kind::neededEntryHandleSmDel:
    case Kind::neededEntryHandleSmDelAll:
    case Kind::neededNotifier:
    case Kind::neededZombie:
      break;
    default:
      return false;
  }
  auto const [a, b, c, d, e] = step.n;
  std::uint32_t const any = a % 4;
  Table* const table = tableOf(any);
  if (table == nullptr) return true;
  HandlePtr const ofBlock = any == 2 ? slotOfTable(b, "member") : nullptr;
  if (any == 2 && !ofBlock) return true;
  std::shared_ptr<Parked> const parked = table->parked(ofBlock ? ofBlock->key() : keyOf(any, b));
  if (!parked) return true;
  bool const turns = step.kind == Kind::neededEntryHandleSmIs || step.kind == Kind::neededNotifier;
  int slot = d % 2 == 0 ? 9 : 12;
  if (any == 2) slot = turns ? 0 : static_cast<int>(d % 3);
  if (any == 3) slot = d % 2 == 0 ? 3 : 4;
  switch (step.kind) {
    case Kind::successCountIs:
      parked->seenIs(c % 4);
      break;
    case Kind::successCountInc:
      parked->seenInc(c % 4);
      break;
    case Kind::initializeUnresolvedEntry:
      any == 2 ? parked->initializeBlock() : parked->initialize(recordOf(any, c));
      break;
    case Kind::neededEntryHandleSmIs:
      parked->watcherIs(slot, refOf(c));
      break;
    case Kind::neededEntryHandleSmDel:
      parked->watcherDel(slot);
      break;
    case Kind::neededEntryHandleSmDelAll:
      parked->watcherDelAll();
      break;
    case Kind::neededNotifier:
      if (std::shared_ptr<Watcher> const watcher = parked->watcher(slot)) {
        watcher->handleIs(refOf(c));
      }
      break;
    default:
      if (std::shared_ptr<Watcher> const watcher = parked->watcher(slot)) {
        watcher->zombieIs(c % 2 != 0);
      }
  }
  return true;
}

bool ModelWorld::performOnBlocks(Step const& step) {
  HandlePtr const handle = slotOfTable(step.n[1], "member");
  switch (step.kind) {
    case Kind::entryBlockIs:
    case Kind::handleEntryBlock:
    case Kind::unresolvedBlockIs: {
      bool const ofSlot = step.n[0] % 2 != 0;
      if (!member_ || (ofSlot && !handle)) return true;
      Key const block = ofSlot ? handle->key() : blockOf(step.n[1]);
      if (step.kind == Kind::entryBlockIs) member_->blockIs(block);
      if (step.kind == Kind::handleEntryBlock) member_->handleBlock(block);
      if (step.kind == Kind::unresolvedBlockIs) member_->parkedIs(block);
      return true;
    }
    case Kind::rawBlockHandleDel:
      if (member_ && handle) member_->registeredDel(handle->key());
      return true;
    case Kind::entryBlockDel:
      if (member_ && handle) returns(member_->blockDel(handle->key()) ? "true" : "false");
      return true;
    case Kind::entryBlockDelAll:
      if (member_) member_->blockDelAll();
      return true;
    case Kind::unresolvedBlockDel:
      if (member_ && handle) member_->parkedDel(handle->key());
      return true;
    default:
      return false;
  }
}

}  // namespace Model
