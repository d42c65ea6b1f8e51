#pragma once

#include "OrviaL3Unicast/engine/KeyRowTable.h"
#include "OrviaL3Unicast/engine/WriteSignatures.h"
#include "OrviaL3Unicast/plumbing/Trace.h"
#include "Vek/Exception.h"

namespace OrviaL3Unicast::engine {

template <class T>
inline constexpr auto entryCommitSignature = plumbing::signature<T>(
    plumbing::constHandleText<T>, plumbing::FixedString("entryCommitWithResponseHandler"),
    plumbing::keyAndEntryText<T> + ", const OrviaL3Unicast::WriteResponseHandler&");

template <class T>
Vek::Ptr<EntryHandle<T> const> KeyRowTable<T>::entryCommitWithResponseHandler(
    Key const& keyOfCaller, Entry const& entry, WriteResponseHandler const& handler) {
  Vek::Ptr<Table> const alive(&this->table());
  Key const key = keyOfCaller;
  if (!key || key->hwEntryIndex() == Asic::Index::invalidIndex()) [[unlikely]] {
    Vek::SassertHelper("key->hwEntryIndex() != Asic::Index::invalidIndex()",
                       plumbing::assertWhere<T>(entryCommitSignature<T>))
        << "expected a valid hwEntryIndex ";
  }
  if (key->entryState() != Asic::HwTable::success()) [[unlikely]] {
    Vek::SassertHelper("key->entryState() == Asic::HwTable::success()",
                       plumbing::assertWhere<T>(entryCommitSignature<T>))
        << "expected entry state to be success";
  }
  // For what it does to a parked record that differs; an identical record is written again all the
  // same.
  this->lookupExistingEntry(key, entry);
  plumbing::trace<T, "entryCommitWithResponseHandler", " : Creating a new pending entry: ">();
  Vek::Ptr<EntryHandle> handle = this->entryHandle(key);
  if (!handle) handle = entryHandleIs(key, &this->table());
  handle->writeResponseHandlerIs(handler);
  this->park(key, entry);
  // The table owns no rows: its handle mirrors the key, also while the record is still parked. That
  // can show success, and so call the handler, before the hardware answered.
  handle->hwEntryIndexIs(key->hwEntryIndex());
  handle->entryStateIs(key->entryState());
  return handle;
}

template <class T>
Vek::Ptr<EntryHandle<T> const> KeyRowTable<T>::entryWriteWithResponseHandler(
    Key const& key, Entry const& entry, WriteResponseHandler const& handler,
    Asic::AutoRemoveType autoRemove) {
  if (autoRemove != Asic::noAutoRemove) [[unlikely]] {
    Vek::SassertHelper("0", plumbing::assertWhere<T>(entryWriteSignature<T>))
        << "unsupported autoRemoveType";
  }
  return entryCommitWithResponseHandler(key, entry, handler);
}

template <class T>
Vek::Ptr<EntryHandle<T>> KeyRowTable<T>::entryHandleIs(Key const& key, Table* table) {
  Vek::Ptr<EntryHandle>& column = this->store_.findOrInsert(key).value.entryHandle;
  if (column) {
    if (column->swTable() != table) {
      throw Vek::ReinstantiationException(
          "entryHandle: re-instantiation under an existing key with a different table");
    }
    return column;
  }
  Vek::Ptr<EntryHandle> const made = this->entryHandleFactory(key, table);
  column = made;
  ++this->counts_.entryHandles;
  this->announceKey(TableBase<T>::Attribute::entryHandle, key);
  return made;
}

template <class T>
Vek::Ptr<EntryHandle<T>> KeyRowTable<T>::entryHandleMutate(Key const& key) {
  return entryHandleIs(key, &this->table());
}

template <class T>
void KeyRowTable<T>::handleEntry(Key const& keyOfCaller) {
  Vek::Ptr<Table> const alive(&this->table());
  Key const key = keyOfCaller;
  if (!this->entryExists(key)) {
    if (!this->mayCallHardware()) return;
    Vek::Ptr<Asic::HwTable> const hwTable = this->hwTable();
    this->util()->hwTableEntryDel(hwTable, key);
    return;
  }
  if (Vek::Ptr<EntryHandle> const handle = this->entryHandle(key)) {
    handle->entryStateIs(Asic::HwTable::notAnswered);
  }
  // Whoever watched that change may have removed the record, and the row with it: nothing to write.
  if (!this->mayCallHardware() || !this->entryExists(key)) return;
  Vek::Ptr<Asic::HwTable> const hwTable = this->hwTable();
  Entry const entry = this->entry(key);  // a copy: an answer at once may change the collection
  this->util()->hwTableEntryIs(hwTable, key, entry);
}

template <class T>
void KeyRowTable<T>::cleanupEntry(Key const& key) {
  Vek::Ptr<Table> const alive(&this->table());
  this->unresolvedEntryDel(key);
  this->entryDel(key);
}

template <class T>
void KeyRowTable<T>::takeApart() {
  this->entryHandleDelAll();
  this->pendingEntrySmDelAll();
  this->unresolvedEntryDelAll();
  this->dropEverything();
}

}  // namespace OrviaL3Unicast::engine
