#include "ModelEntryTable.h"

namespace Model {

HandlePtr IngressTable::commit(Key const& key, Record const& record, std::uint32_t handler) {
  std::shared_ptr<Table> const self = hold();
  HandlePtr const extern_ = key.handle();
  if (extern_->row() == noRow) {
    journal_.abort("key->hwEntryIndex() != Asic::Index::invalidIndex()",
                   "expected a valid hwEntryIndex ");
  }
  if (extern_->state() != 1) {
    journal_.abort("key->entryState() == Asic::HwTable::success()",
                   "expected entry state to be success");
  }
  // For what it does to an older record only: an identical one is parked again.
  lookupExisting(key, record);
  trace("entryCommitWithResponseHandler : Creating a new pending entry: ");
  HandlePtr const handle = handleMutate(key);
  handle->handlerIs(handler);
  park(key, record);
  handle->rowIs(extern_->row());
  handle->stateIs(extern_->state());
  return handle;
}

HandlePtr IngressTable::write(Key const& key, Record const& record, std::uint32_t handler,
                              std::uint32_t autoRemove) {
  if (autoRemove != 1) journal_.abort("0", "unsupported autoRemoveType");
  return commit(key, record, handler);
}

HandlePtr IngressTable::handleMutate(Key const& key) {
  std::shared_ptr<Table> const self = hold();
  if (HandlePtr found = owned(key)) return found;
  HandlePtr const made = Handle::ofTable(journal_, *this, key);
  ownedIs(key, made);
  return made;
}

void IngressTable::handleEntry(Key const& key) {
  std::shared_ptr<Table> const self = hold();
  if (!hasRecord(key)) {
    if (mayCallHardware()) hardware_.remove(key.handle()->row());
    return;
  }
  if (HandlePtr const handle = owned(key)) handle->stateIs(0);
  if (!hasRecord(key) || !mayCallHardware()) return;
  Record const record = *find(key)->record;
  hardware_.write(key.handle(), record.hardwareText());
}

HandlePtr IngressTable::answeredHandle(std::uint32_t, HandlePtr const& key) {
  return owned(Key::ofExtern(key));
}

void IngressTable::cleanup(Handle& handle) {
  std::shared_ptr<Table> const self = hold();
  parkedDel(handle.key());
  entryDel(handle.key());
}

void IngressTable::end() {
  ownedDelAll();
  pendingDelAll();
  parkedDelAll();
  handlesLoseTable();
  recordsDrop();
}

}  // namespace Model
