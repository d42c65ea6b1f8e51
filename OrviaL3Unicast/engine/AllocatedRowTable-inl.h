#pragma once

#include "OrviaL3Unicast/engine/AllocatedRowTable.h"
#include "OrviaL3Unicast/engine/PublishSwitch.h"
#include "OrviaL3Unicast/engine/WriteSignatures.h"
#include "OrviaL3Unicast/plumbing/Trace.h"

namespace OrviaL3Unicast::engine {

template <class T>
Vek::Ptr<Asic::SwTable::EntryHandle> AllocatedRowTable<T>::entryHandleOfRow(Asic::Index row) const {
  if (!firstFreeIndexAllocator_) return {};
  void const* const key = firstFreeIndexAllocator_->keyOfIndex(row);
  if (key == nullptr) return {};
  return this->entryHandleAccess(*static_cast<Key const*>(key));
}

template <class T>
Vek::Ptr<EntryHandle<T> const> AllocatedRowTable<T>::entryCommitWithResponseHandler(
    Key const& keyOfCaller, Entry const& entry, WriteResponseHandler const& handler) {
  Vek::Ptr<Table> const alive(&this->table());
  Key const key = keyOfCaller;
  if (Vek::Ptr<EntryHandle> const existing = this->lookupExistingEntry(key, entry)) {
    entryHandleIs(key, existing);
    return existing;
  }
  plumbing::trace<T, "entryCommitWithResponseHandler", " : Creating a new pending entry: ">();
  Vek::Ptr<EntryHandle> handle = this->entryHandleAccess(key);
  if (!handle) handle = entryHandleMutate(key);
  return parkUnder(handle, key, entry, handler);
}

template <class T>
Vek::Ptr<EntryHandle<T> const> AllocatedRowTable<T>::entryRefWithResponseHandler(
    Key const& keyOfCaller, Entry const& entry, WriteResponseHandler const& handler) {
  Vek::Ptr<Table> const alive(&this->table());
  Key const key = keyOfCaller;
  if (Vek::Ptr<EntryHandle> const existing = this->lookupExistingEntry(key, entry)) {
    existing->writeResponseHandlerIs(handler);
    return existing;
  }
  plumbing::trace<T, "entryRefWithResponseHandler", " : Returning a new pending entry: ">();
  Vek::Ptr<EntryHandle> handle = this->entryHandleAccess(key);
  if (!handle) handle = EntryHandle::EntryHandleIs(key, &this->table());
  this->rawEntryHandleIs(key, handle.get());
  return parkUnder(handle, key, entry, handler);
}

template <class T>
Vek::Ptr<EntryHandle<T> const> AllocatedRowTable<T>::parkUnder(
    Vek::Ptr<EntryHandle> const& handle, Key const& key, Entry const& entry,
    WriteResponseHandler const& handler) {
  handle->writeResponseHandlerIs(handler);
  this->park(key, entry);
  return handle;
}

template <class T>
Vek::Ptr<EntryHandle<T> const> AllocatedRowTable<T>::entryRef(Key const& key, Entry const& entry) {
  return entryRefWithResponseHandler(key, entry, {});
}

template <class T>
Vek::Ptr<EntryHandle<T> const> AllocatedRowTable<T>::entryWriteWithResponseHandler(
    Key const& key, Entry const& entry, WriteResponseHandler const& handler,
    Asic::AutoRemoveType autoRemove) {
  if (autoRemove == Asic::needsAutoRemove())
    return entryRefWithResponseHandler(key, entry, handler);
  if (autoRemove != Asic::noAutoRemove) [[unlikely]] {
    Vek::SassertHelper("0", plumbing::assertWhere<T>(entryWriteSignature<T>))
        << "unsupported autoRemoveType";
  }
  return entryCommitWithResponseHandler(key, entry, handler);
}

template <class T>
inline constexpr auto entryWriteAtIndexSignature = plumbing::signature<T>(
    plumbing::constHandleText<T>, plumbing::FixedString("entryWriteAtIndex"),
    "Asic::Index, " + plumbing::keyAndEntryText<T> + ", Asic::AutoRemoveType");

template <class T>
inline constexpr auto handleEntrySignature =
    plumbing::signature<T>(plumbing::FixedString("void"), plumbing::FixedString("handleEntry"),
                           "const " + T::keyText + "&");

template <class T>
Vek::Ptr<EntryHandle<T> const> AllocatedRowTable<T>::entryWriteAtIndex(
    Asic::Index index, Key const& key, Entry const& entry, Asic::AutoRemoveType autoRemove) {
  if (index != 0) [[unlikely]] {
    Vek::SassertHelper("0", plumbing::assertWhere<T>(entryWriteAtIndexSignature<T>))
        << "index is not within reserved range:         ( 0, 0 )";
  }
  if (!firstFreeIndexAllocator_) [[unlikely]] {
    Vek::SassertHelper("firstFreeIndexAllocator()",
                       plumbing::assertWhere<T>(entryWriteAtIndexSignature<T>))
        << "expected doInitComplete before an entry is programmed";
  }
  firstFreeIndexAllocator_->requestIndexForKey(0, T::keyType(), &key);
  return this->entryWrite(key, entry, autoRemove);
}

template <class T>
Vek::Ptr<EntryHandle<T>> AllocatedRowTable<T>::entryLookup(Key const& key) const {
  if (Vek::Ptr<EntryHandle> const registered = this->rawEntryHandle(key)) return registered;
  return this->entryHandle(key);
}

template <class T>
void AllocatedRowTable<T>::entryHandleIs(Key const& key, Vek::Ptr<EntryHandle> const& handle) {
  if (!handle) {
    this->entryHandleDel(key);
    return;
  }
  Vek::Ptr<Table> const alive(&this->table());
  Vek::Ptr<EntryHandle> old = handle;
  Vek::Ptr<EntryHandle>& column = this->store_.findOrInsert(key).value.entryHandle;
  if (!column) ++this->counts_.entryHandles;
  old.swap(column);
  this->announceKey(TableBase<T>::Attribute::entryHandle, key);
}

template <class T>
Vek::Ptr<EntryHandle<T>> AllocatedRowTable<T>::entryHandleMutate(Key const& keyOfCaller) {
  Vek::Ptr<Table> const alive(&this->table());
  Key const key = keyOfCaller;
  Vek::Ptr<EntryHandle> const made = this->entryHandleFactory(key, &this->table());
  entryHandleIs(key, made);
  this->rawEntryHandleIs(key, made.get());
  return made;
}

template <class T>
Vek::Ptr<Asic::FirstFreeIndexAllocator> AllocatedRowTable<T>::firstFreeIndexAllocatorIs(
    unsigned size) {
  if (firstFreeIndexAllocator_ && firstFreeIndexAllocator_->size() == size) {
    return firstFreeIndexAllocator_;
  }
  if (firstFreeIndexAllocator_) firstFreeIndexAllocator_->parentDel();
  Vek::Ptr<Asic::FirstFreeIndexAllocator> const made =
      Asic::FirstFreeIndexAllocator::FirstFreeIndexAllocatorIs("");
  made->sizeIs(size);
  made->freeIndexIs(0, size, Mosk::HBitmap::BitState(1));
  made->parentIs(this);
  Vek::Ptr<Asic::FirstFreeIndexAllocator> old = made;
  old.swap(firstFreeIndexAllocator_);
  this->announce(TableBase<T>::Attribute::firstFreeIndexAllocator);
  return made;
}

template <class T>
Vek::Ptr<Asic::FirstFreeIndexAllocator> AllocatedRowTable<T>::firstFreeIndexAllocatorDel() {
  Vek::Ptr<Asic::FirstFreeIndexAllocator> taken;
  taken.swap(firstFreeIndexAllocator_);
  if (!taken) return {};
  taken->parentDel();
  this->announce(TableBase<T>::Attribute::firstFreeIndexAllocator);
  return taken;
}

template <class T>
Vek::Ptr<OrviaAsicUtils::WriteResponseSm> AllocatedRowTable<T>::writeResponseSmIs(
    Vek::Ptr<OrviaAsicUtils::SwTable> const& table) {
  Vek::Ptr<Table> const alive(&this->table());
  if (writeResponseSm_ && writeResponseSm_->table() == table.get()) return writeResponseSm_;
  Vek::Ptr<OrviaAsicUtils::WriteResponseSm> const made =
      OrviaAsicUtils::WriteResponseSm::WriteResponseSmIs(table);
  Vek::Ptr<OrviaAsicUtils::WriteResponseSm> old = made;
  old.swap(writeResponseSm_);
  this->announce(TableBase<T>::Attribute::writeResponseSm);
  // Taken out again by an observer: stays off.
  if (writeResponseSm_ == made) made->hasNotificationActiveIs(true);
  return made;
}

template <class T>
Vek::Ptr<OrviaAsicUtils::WriteResponseSm> AllocatedRowTable<T>::writeResponseSmDel() {
  Vek::Ptr<Table> const alive(&this->table());
  Vek::Ptr<OrviaAsicUtils::WriteResponseSm> taken;
  taken.swap(writeResponseSm_);
  if (!taken) return {};
  this->announce(TableBase<T>::Attribute::writeResponseSm);
  taken->hasNotificationActiveIs(false);
  return taken;
}

template <class T>
void AllocatedRowTable<T>::handleEntry(Key const& keyOfCaller) {
  Vek::Ptr<Table> const alive(&this->table());
  Key const key = keyOfCaller;
  bool const isWrite = this->entryExists(key);
  if (isWrite) {
    // First of all, also where there is no allocator any more.
    if (Vek::Ptr<EntryHandle> const handle = this->rawEntryHandle(key)) {
      handle->entryStateIs(Asic::HwTable::notAnswered);
    }
    // Whoever watched that change may have removed the record, and its row with it; the handle's
    // own end too may have come just now.
    if (!this->entryExists(key)) return;
  }
  Vek::Ptr<Asic::FirstFreeIndexAllocator> const allocator = firstFreeIndexAllocator_;
  if (!allocator) [[unlikely]] {
    if (takingApart_) return;  // an observer let a handle go: what it had goes without hardware
    Vek::SassertHelper("firstFreeIndexAllocator()",
                       plumbing::assertWhere<T>(handleEntrySignature<T>))
        << "expected doInitComplete before an entry is programmed";
  }
  if (!isWrite) {
    // Without a row (the table was full) this is the invalid index, which a utility ignores.
    Asic::Index const row = allocator->indexForKey(T::keyType(), &key);
    if (this->mayCallHardware()) {
      Vek::Ptr<Asic::HwTable> const hwTable = this->hwTable();
      this->util()->hwTableEntryDel(hwTable, row);
    }
    // Written again from within the deletion: the key has the row again.
    if (this->entryExists(key)) return;
    // Only now may another key get the row.
    allocator->releaseIndexForKey(T::keyType(), &key);
    return;
  }
  Asic::Index const row = allocator->newIndexForKey(T::keyType(), &key);
  if (this->mayCallHardware()) {
    Vek::Ptr<Asic::HwTable> const hwTable = this->hwTable();
    Entry const entry = this->entry(key);  // a copy: an answer at once may change the collection
    this->util()->hwTableEntryIs(hwTable, row, entry);
  }
  if (!publishEntryHandleProgrammedState<T>()) return;
  // An answer from within the write may have ended the key, and begun it anew in another row.
  if (allocator->indexForKey(T::keyType(), &key) != row) return;
  if (Vek::Ptr<EntryHandle> const handle = this->rawEntryHandle(key)) {
    handle->hwEntryIndexIs(row);
    handle->entryStateIs(Asic::HwTable::success());
  }
}

template <class T>
void AllocatedRowTable<T>::cleanupEntry(Key const& key) {
  Vek::Ptr<Table> const alive(&this->table());
  EntryHandle const* const registered = this->expectRawEntryHandle(key);
  this->unresolvedEntryDel(key);
  if (this->anotherRegistered(key, registered)) return;
  this->entryDel(key);
  if (this->anotherRegistered(key, registered)) return;
  this->rawEntryHandleDel(key);
}

template <class T>
void AllocatedRowTable<T>::takeApart() {
  takingApart_ = true;
  firstFreeIndexAllocatorDel();
  writeResponseSmDel();
  this->unresolvedEntryDelAll();
  this->pendingEntrySmDelAll();
  // Records first, silently: a handle that ends below finds none, so it calls neither hardware nor
  // the allocator, which is gone.
  this->store_.walk([this](Node& node) {
    if (!node.value.entry) return;
    Entry const taken = *std::move(node.value.entry);
    node.value.entry.reset();
    --this->counts_.entrys;
    this->releaseIfEmpty(node);
  });
  this->store_.walk([this](Node& node) {
    Vek::Ptr<EntryHandle> const taken = std::move(node.value.entryHandle);
    if (!taken) return;
    --this->counts_.entryHandles;
    this->releaseIfEmpty(node);
  });
  this->dropEverything();
}

}  // namespace OrviaL3Unicast::engine
