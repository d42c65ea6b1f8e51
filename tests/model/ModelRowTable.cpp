#include "ModelEntryTable.h"

namespace Model {

HandlePtr RowTable::commit(Key const& key, Record const& record, std::uint32_t handler) {
  std::shared_ptr<Table> const self = hold();
  if (HandlePtr const existing = lookupExisting(key, record)) {
    ownedIs(key, existing);
    return existing;
  }
  trace("entryCommitWithResponseHandler : Creating a new pending entry: ");
  HandlePtr handle = handleAccess(key);
  if (!handle) handle = handleMutate(key);
  handle->handlerIs(handler);
  park(key, record);
  return handle;
}

HandlePtr RowTable::ref(Key const& key, Record const& record, std::uint32_t handler) {
  std::shared_ptr<Table> const self = hold();
  if (HandlePtr const existing = lookupExisting(key, record)) {
    existing->handlerIs(handler);
    return existing;
  }
  trace("entryRefWithResponseHandler : Returning a new pending entry: ");
  HandlePtr handle = handleAccess(key);
  if (!handle) handle = Handle::ofTable(journal_, *this, key);
  registeredIs(key, handle.get());
  handle->handlerIs(handler);
  park(key, record);
  return handle;
}

HandlePtr RowTable::write(Key const& key, Record const& record, std::uint32_t handler,
                          std::uint32_t autoRemove) {
  if (autoRemove > 1) journal_.abort("0", "unsupported autoRemoveType");
  return autoRemove == 0 ? ref(key, record, handler) : commit(key, record, handler);
}

HandlePtr RowTable::writeAtIndex(std::uint32_t index, Key const& key, Record const& record,
                                 std::uint32_t autoRemove) {
  if (index != 0) {
    journal_.abort("0", "index is not within reserved range:         ( 0, 0 )");
  }
  neededRows()->requestRow0(key);
  return write(key, record, 0, autoRemove);
}

HandlePtr RowTable::entryLookup(Key const& key) {
  HandlePtr const registered = handleAccess(key);
  return registered ? registered : owned(key);
}

std::shared_ptr<SingleRows> RowTable::neededRows() {
  if (!rows_ && !ending()) {
    journal_.abort("firstFreeIndexAllocator()",
                   "expected doInitComplete before an entry is programmed");
  }
  return rows_;
}

void RowTable::handleEntry(Key const& key) {
  std::shared_ptr<Table> const self = hold();
  if (hasRecord(key)) {
    if (HandlePtr const handle = handleAccess(key)) handle->stateIs(0);
    if (!hasRecord(key)) return;
    std::shared_ptr<SingleRows> const rows = neededRows();
    if (!rows) return;
    std::uint32_t const row = rows->newRow(key);
    if (mayCallHardware()) {
      Record const record = *find(key)->record;
      hardware_.write(row, record.hardwareText());
    }
    // An answer from within the write may have ended the key, or given it another row.
    if (!publishes() || rows->rowOf(key) != row) return;
    if (HandlePtr const handle = handleAccess(key)) {
      handle->rowIs(row);
      handle->stateIs(1);
    }
    return;
  }
  std::shared_ptr<SingleRows> const rows = neededRows();
  if (!rows) return;
  std::uint32_t const row = rows->rowOf(key);
  if (mayCallHardware()) hardware_.remove(row);
  if (!hasRecord(key)) rows->release(key);
}

HandlePtr RowTable::handleMutate(Key const& key) {
  HandlePtr const made = Handle::ofTable(journal_, *this, key);
  ownedIs(key, made);
  registeredIs(key, made.get());
  return made;
}

HandlePtr RowTable::answeredHandle(std::uint32_t row, HandlePtr const&) {
  if (!answers_ || !rows_) return nullptr;
  Key const* const key = rows_->keyOf(row);
  return key == nullptr ? nullptr : handleAccess(*key);
}

void RowTable::cleanup(Handle& handle) {
  Key const& key = handle.key();
  auto const registered = [&] {
    Member const* const found = find(key);
    return found == nullptr ? nullptr : found->registered;
  };
  // Once another handle came for the key, what the table has is that one's.
  Handle* const before = registered();
  auto const replaced = [&] { return registered() != nullptr && registered() != before; };
  if (before == nullptr) {
    journal_.abort("swTable()->rawEntryHandleHas( key() )", "expected to see rawEntryHandle");
  }
  parkedDel(key);
  if (replaced()) return;
  entryDel(key);
  if (replaced()) return;
  registeredDel(key);
}

void RowTable::doInitComplete() {
  if (!rows_) {
    rows_ = std::make_shared<SingleRows>(journal_, numEntries);
    announce("firstFreeIndexAllocator");
  }
  if (!attached() || answers_) return;
  answers_ = true;
  announce("writeResponseSm");
}

void RowTable::answersDel() {
  if (!std::exchange(answers_, false)) return;
  announce("writeResponseSm");
}

void RowTable::allocatorDel() {
  std::shared_ptr<SingleRows> const removed = std::exchange(rows_, nullptr);
  if (removed) announce("firstFreeIndexAllocator");
}

void RowTable::end() {
  allocatorDel();
  answersDel();
  parkedDelAll();
  pendingDelAll();
  // The records go silently, then the handles: their clean-up finds the table.
  for (Key const& key : keysWith([](Member const& member) { return member.record.has_value(); })) {
    if (!hasRecord(key)) continue;
    std::optional<Record> const dropped = std::exchange(find(key)->record, std::nullopt);
    tidy(key);
  }
  for (Key const& key : keysWith([](Member const& member) { return member.owned != nullptr; })) {
    if (!owned(key)) continue;
    HandlePtr const dropped = std::exchange(find(key)->owned, nullptr);
    tidy(key);
  }
  handlesLoseTable();
}

}  // namespace Model
