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
  std::shared_ptr<Table> const self = hold();
  HandlePtr const made = Handle::ofTable(journal_, *this, key);
  ownedIs(key, made);
  registeredIs(key, made.get());
  return made;
}

HandlePtr RowTable::answeredHandle(std::uint32_t row, HandlePtr const&) {
  if (hearing_ == 0 || !rows_) return nullptr;
  Key const* const key = rows_->keyOf(row);
  return key == nullptr ? nullptr : handleAccess(*key);
}

void RowTable::cleanup(Handle& handle) {
  std::shared_ptr<Table> const self = hold();
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

std::shared_ptr<SingleRows> RowTable::allocatorIs(std::uint32_t size) {
  if (rows_ && rows_->size() == size) return rows_;
  auto const made = std::make_shared<SingleRows>(journal_, size);
  std::shared_ptr<SingleRows> const former = std::exchange(rows_, made);
  announce("firstFreeIndexAllocator");
  return made;
}

void RowTable::doInitComplete() {
  std::shared_ptr<Table> const self = hold();
  allocatorIs(numEntries)->reserveRow0();
  if (attached()) answersIs();
}

void RowTable::answersIs() {
  if (answers_) return;
  std::shared_ptr<Table> const self = hold();
  auto const made = std::make_shared<Answers>(Answers{attached()});
  answers_ = made;
  announce("writeResponseSm");
  // Taken out again meanwhile: stays off.
  if (answers_ != made) return;
  made->on = true;
  if (made->attached) ++hearing_;
}

void RowTable::answersDel() {
  std::shared_ptr<Table> const self = hold();
  std::shared_ptr<Answers> const removed = std::exchange(answers_, nullptr);
  if (!removed) return;
  announce("writeResponseSm");
  if (removed->on && removed->attached) --hearing_;
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
  recordsDrop();
  ownedDrop();
  handlesLoseTable();
}

}  // namespace Model
