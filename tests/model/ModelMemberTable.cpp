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
  if (!isCommitted(block)) return false;
  Key const removed = block;
  find(removed)->committed = false;
  tidy(removed);
  handleBlock(removed);
  announce("entryBlock", removed);
  return true;
}

void MemberTable::blockDelAll() {
  // By age: copies of the blocks would keep their members alive.
  std::vector<std::uint64_t> ages;
  for (Member const& member : members()) {
    if (member.committed) ages.push_back(member.age);
  }
  for (std::uint64_t const age : ages) {
    auto const found = std::find_if(members().begin(), members().end(),
                                    [&](Member const& member) { return member.age == age; });
    if (found != members().end()) blockDel(found->key);
  }
}

void MemberTable::handleBlock(Key const& block) {
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
    hardware_.write(base + i, block.members()[i]->hardwareText());
  }
  if (!called && !publishes()) return;
  if (HandlePtr const handle = handleAccess(block)) {
    handle->rowIs(base);
    handle->stateIs(1);
  }
}

void MemberTable::resolve(Parked const& parked) {
  Key const block = parked.key();
  trace("handleEntryHandleProgramSuccessCount: Unresolved entry processing completed: ", 8);
  blockIs(block);
  if (isParked(parked)) parkedDel(block);
}

void MemberTable::cleanup(Handle& handle) {
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

void MemberTable::doInitComplete() {
  if (runs_) return;
  runs_ = std::make_shared<Runs>(numEntries);
  announce("indexAllocator");
}

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
