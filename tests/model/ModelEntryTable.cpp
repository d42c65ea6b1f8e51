#include "ModelEntryTable.h"

namespace Model {

void EntryTable::remove(Key const& key) {
  std::shared_ptr<Table> const self = hold();
  HandlePtr const handle = handleAccess(key);
  if (!handle) return trace("entryRemove: No entry found: ");
  parkedDel(key);
  pendingDel(key);
  if (!handleAccess(key)) {
    journal_.abort("entryHandleExists( key )", "expected to see rawEntryHandle");
  }
  ownedDel(key);
}

Record EntryTable::getEntry(Key const& key) {
  if (std::shared_ptr<Parked> const parked = this->parked(key)) {
    trace("getEntry : Found unresolved entry: ");
    return parked->record();
  }
  trace("getEntry : Found an existing entry: ");
  return hasRecord(key) ? *find(key)->record : emptyRecord();
}

Record EntryTable::emptyRecord() const {
  return Record(name() == "group" ? Record::Type::group : Record::Type::hop);
}

HandlePtr EntryTable::lookupExisting(Key const& key, Record const& record) {
  std::shared_ptr<Table> const self = hold();
  auto const keysHandle = [&] {
    HandlePtr handle = handleAccess(key);
    if (!handle) {
      journal_.abort("entryHandleExists( key )",
                     "expect a valid entryHandle, key: " + key.abortText());
    }
    return handle;
  };
  Member const* const found = find(key);
  if (found != nullptr && found->parked && found->parked->record() == record) {
    trace("lookupExistingEntry : Found pending entry: ");
    return keysHandle();
  }
  if (found != nullptr && found->parked) {
    parkedDel(key);
    trace("lookupExistingEntry : Deleting pending entry: ");
  }
  if (!hasRecord(key) || !(*find(key)->record == record)) return nullptr;
  trace("lookupExistingEntry : Found an existing entry: ");
  return keysHandle();
}

bool EntryTable::hasRecord(Key const& key) {
  Member const* const found = find(key);
  return found != nullptr && found->record;
}

void EntryTable::park(Key const& key, Record const& record) {
  std::shared_ptr<Parked> const parked = parkedIs(key);
  parked->initialize(record);
}

void EntryTable::entryIs(Key const& key, Record const& record) {
  std::shared_ptr<Table> const self = hold();
  // Released last, when the new one is in hardware and announced.
  std::optional<Record> overwritten;
  if (hasRecord(key)) {
    if (*find(key)->record == record) return;
    overwritten = std::exchange(find(key)->record, record);
  } else {
    member(key).record = record;
  }
  handleEntry(key);
  announce("entry", key);
}

Record EntryTable::entryDel(Key const& key) {
  std::shared_ptr<Table> const self = hold();
  if (!hasRecord(key)) return emptyRecord();
  Record removed = *std::exchange(find(key)->record, std::nullopt);
  tidy(key);
  handleEntry(key);
  announce("entry", key);
  return removed;
}

void EntryTable::entryDelAll() {
  std::shared_ptr<Table> const self = hold();
  walk([this](Member& member) {
    if (member.record) entryDel(Key(member.key));
  });
}

HandlePtr EntryTable::owned(Key const& key) {
  Member const* const found = find(key);
  return found == nullptr ? nullptr : found->owned;
}

void EntryTable::ownedIs(Key const& key, HandlePtr const& handle) {
  std::shared_ptr<Table> const self = hold();
  HandlePtr replaced;  // released after the announcement
  if (handle) {
    replaced = std::exchange(member(key).owned, handle);
  } else if (Member* found = find(key)) {
    replaced = std::exchange(found->owned, nullptr);
    tidy(key);
  }
  announceHandle("entryHandle", key, handle);
}

void EntryTable::ownedDelAll() {
  std::shared_ptr<Table> const self = hold();
  walk([this](Member& member) {
    if (member.owned) ownedDel(Key(member.key));
  });
  ownedDrop();
}

void EntryTable::recordsDrop() {
  walk([this](Member& member) {
    std::optional<Record> const dropped = std::exchange(member.record, std::nullopt);
    if (dropped) tidy(Key(member.key));
  });
}

void EntryTable::ownedDrop() {
  walk([this](Member& member) {
    HandlePtr const dropped = std::exchange(member.owned, nullptr);
    if (dropped) tidy(Key(member.key));
  });
}

std::shared_ptr<Pending> EntryTable::pendingIs(HandlePtr const& handle, Key const& key) {
  std::shared_ptr<Table> const self = hold();
  if (Member const* found = find(key); found != nullptr && found->pending) {
    std::shared_ptr<Pending> const pending = found->pending;
    pending->handleIs(handle);
    return pending;
  }
  auto const made = std::make_shared<Pending>(journal_, name(), handle);
  member(key).pending = made;
  announce("pendingEntrySm", key);
  made->activeIs(true);
  return made;
}

std::shared_ptr<Pending> EntryTable::pendingDel(Key const& key) {
  std::shared_ptr<Table> const self = hold();
  Member* const found = find(key);
  if (found == nullptr || !found->pending) return nullptr;
  std::shared_ptr<Pending> const removed = std::exchange(found->pending, nullptr);
  tidy(key);
  announce("pendingEntrySm", key);
  removed->activeIs(false);
  return removed;
}

void EntryTable::pendingDelAll() {
  std::shared_ptr<Table> const self = hold();
  walk([this](Member& member) {
    if (member.pending) pendingDel(Key(member.key));
  });
  walk([this](Member& member) {
    std::shared_ptr<Pending> const left = std::exchange(member.pending, nullptr);
    if (!left) return;
    left->activeIs(false);
    tidy(Key(member.key));
  });
}

std::shared_ptr<Pending> EntryTable::pending(Key const& key) {
  Member const* const found = find(key);
  return found == nullptr ? nullptr : found->pending;
}

void EntryTable::resolve(Parked const& parked) {
  std::shared_ptr<Table> const self = hold();
  Key const key = parked.key();
  trace("handleEntryHandleProgramSuccessCount: Unresolved entry processing completed: ", 8);
  pendingIs(handleAccess(key), key);
  if (!isParked(parked)) return;
  entryIs(key, parked.record());
  // A handler that ran meanwhile may have parked another record: that one stays.
  if (isParked(parked)) parkedDel(key);
}

}  // namespace Model
