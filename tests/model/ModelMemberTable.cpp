#include "ModelMemberTable.h"

#include <algorithm>
#include <stdexcept>

namespace Model {

HandlePtr MemberTable::ref(Key const& block) {
  std::shared_ptr<Table> const self = hold();
  for (HandlePtr const& member : block.members()) {
    if (!member) throw std::runtime_error("Unsupported behavior");
  }
  trace("entryBlockRef");
  if (parked(block)) {
    HandlePtr const handle = handleAccess(block);
    if (!handle) {
      journal_.abort("rawEntryHandleHas( tableentryBlock )",
                     "expect a valid neededTable, tableentryBlock: " + block.abortText());
    }
    trace("entryBlockRef : Found unresolved entry: ");
    return handle;
  }
  if (isCommitted(block)) {
    trace("entryBlockRef : Found an existing entry: ");
    return handleAccess(block);
  }
  HandlePtr const handle = Handle::ofTable(journal_, *this, block);
  registeredIs(block, handle.get());
  {
    std::shared_ptr<Parked> const parked = parkedIs(block);
    parked->initializeBlock();
  }
  trace("entryBlockRef : Returning a new unresolved entryBlock: ");
  return handle;
}

HandlePtr MemberTable::write(Key const& block, std::uint32_t autoRemove) {
  if (autoRemove != 0) {
    journal_.abort("autoRemoveType == Asic::needsAutoRemove()", "only autoRemove is supported");
  }
  return ref(block);
}

bool MemberTable::isCommitted(Key const& block) {
  Member const* const found = find(block);
  return found != nullptr && found->committed;
}

void MemberTable::blockIs(Key const& block) {
  std::shared_ptr<Table> const self = hold();
  if (isCommitted(block)) return;
  member(block).committed = true;
  handleBlock(block);
  announce("entryBlock", block);
}

bool MemberTable::blockDel(Key const& block) {
  std::shared_ptr<Table> const self = hold();
  if (!isCommitted(block)) return false;
  Key const removed = block;
  find(removed)->committed = false;
  tidy(removed);
  handleBlock(removed);
  announce("entryBlock", removed);
  return true;
}

void MemberTable::blockDelAll() {
  std::shared_ptr<Table> const self = hold();
  walk([this](Member& member) { blockDel(Key(member.key)); });
}

void MemberTable::handleBlock(Key const& block) {
  std::shared_ptr<Table> const self = hold();
  trace("handleEntryBlock");
  if (!runs_ && ending()) return;
  if (!runs_) {
    journal_.abort("indexAllocator()", "expected doInitComplete before a block is programmed");
  }
  std::shared_ptr<Runs> const runs = runs_;
  if (!isCommitted(block)) {
    std::uint32_t const base = runs->baseOf(block);
    for (std::uint32_t i = 0; mayCallHardware() && i < block.width(); ++i) {
      hardware_.remove(base == noRow ? noRow : base + i);
    }
    runs->release(block);
    return;
  }
  std::uint32_t const base = runs->newRun(block);
  bool const called = mayCallHardware();
  for (std::uint32_t i = 0; called && i < block.width(); ++i) {
    HandlePtr const& member = block.members()[i];
    hardware_.write(base + i, member ? member->hardwareText() : "none");
  }
  if (!called && !publishes()) return;
  if (HandlePtr const handle = handleAccess(block)) {
    handle->rowIs(base);
    handle->stateIs(1);
  }
}

void MemberTable::resolve(Parked const& parked) {
  std::shared_ptr<Table> const self = hold();
  Key const block = parked.key();
  trace("handleEntryHandleProgramSuccessCount: Unresolved entry processing completed: ", 8);
  blockIs(block);
  if (isParked(parked)) parkedDel(block);
}

void MemberTable::cleanup(Handle& handle) {
  std::shared_ptr<Table> const self = hold();
  Key const& block = handle.key();
  auto const registered = [&] {
    Member const* const found = find(block);
    return found == nullptr ? nullptr : found->registered;
  };
  // Once another handle came for the key, what the table has is that one's.
  Handle* const before = registered();
  auto const replaced = [&] { return registered() != nullptr && registered() != before; };
  if (before == nullptr) {
    journal_.abort("swTable()->rawEntryHandleHas( key() )", "expected to see rawEntryHandle");
  }
  parkedDel(block);
  if (replaced()) return;
  blockDel(block);
  if (replaced()) return;
  registeredDel(block);
}

void MemberTable::allocatorIs(std::uint32_t size) {
  if (runs_ && runs_->size() == size) return;
  // The blocks that the former one placed are not moved.
  std::shared_ptr<Runs> const former = std::exchange(runs_, std::make_shared<Runs>(size));
  announce("indexAllocator");
}

void MemberTable::doInitComplete() { allocatorIs(numEntries); }

void MemberTable::allocatorDel() {
  std::shared_ptr<Runs> const removed = std::exchange(runs_, nullptr);
  if (removed) announce("indexAllocator");
}

void MemberTable::end() {
  allocatorDel();
  parkedDelAll();
  handlesLoseTable();
}

}  // namespace Model
