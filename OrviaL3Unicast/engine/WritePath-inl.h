#pragma once

#include "OrviaL3Unicast/engine/EntryTable.h"
#include "OrviaL3Unicast/plumbing/Assert.h"
#include "OrviaL3Unicast/plumbing/Trace.h"

namespace OrviaL3Unicast::engine {

template <class T>
Vek::Ptr<EntryHandle<T> const> EntryTable<T>::entryCommit(Key const& key, Entry const& entry) {
  return this->table().entryCommitWithResponseHandler(key, entry, {});
}

template <class T>
Vek::Ptr<EntryHandle<T> const> EntryTable<T>::entryWrite(Key const& key, Entry const& entry,
                                                         Asic::AutoRemoveType autoRemove) {
  return this->table().entryWriteWithResponseHandler(key, entry, {}, autoRemove);
}

template <class T>
inline constexpr auto lookupExistingEntrySignature =
    plumbing::signature<T>(plumbing::handleText<T>, plumbing::FixedString("lookupExistingEntry"),
                           plumbing::keyAndEntryText<T>);

template <class T>
Vek::Ptr<EntryHandle<T>> EntryTable<T>::lookupExistingEntry(Key const& keyOfCaller,
                                                            Entry const& entry) {
  Vek::Ptr<Table> const alive(&this->table());
  Key const key = keyOfCaller;
  auto const existingHandle = [&] {
    Vek::Ptr<EntryHandle> handle = entryHandleAccess(key);
    if (!handle) [[unlikely]] {
      Vek::SassertHelper("entryHandleExists( key )",
                         plumbing::assertWhere<T>(lookupExistingEntrySignature<T>))
          << "expect a valid entryHandle, key: " << key;
    }
    return handle;
  };
  Node const* node = this->store_.find(key);
  if (node == nullptr) return {};
  if (typename UnresolvedEntry::Ptr parked = node->value.unresolvedEntry) {
    if (parked->entry() == entry) {
      plumbing::trace<T, "lookupExistingEntry", " : Found pending entry: ">();
      return existingHandle();
    }
    // It goes here, with all that only it kept alive, the key's own handle perhaps: what the table
    // has for the key is looked up again behind that.
    parked = nullptr;
    unresolvedEntryDel(key);
    // Traced when it has happened.
    plumbing::trace<T, "lookupExistingEntry", " : Deleting pending entry: ">();
    node = this->store_.find(key);
  }
  // A different programmed record stays as it is: it leaves the hardware when it is overwritten.
  if (node == nullptr || !node->value.entry || !(*node->value.entry == entry)) return {};
  plumbing::trace<T, "lookupExistingEntry", " : Found an existing entry: ">();
  return existingHandle();
}

template <class T>
typename T::Entry EntryTable<T>::getEntry(Key const& key) const {
  if (typename UnresolvedEntry::Ptr const parked = unresolvedEntry(key)) {
    plumbing::trace<T, "getEntry", " : Found unresolved entry: ">();
    return parked->entry();
  }
  // Says so before it looks, whether or not there is a record: readers of traces know it that way.
  plumbing::trace<T, "getEntry", " : Found an existing entry: ">();
  return entry(key);
}

template <class T>
inline constexpr auto entryRemoveSignature =
    plumbing::signature<T>(plumbing::FixedString("void"), plumbing::FixedString("entryRemove"),
                           "const " + T::keyText + "&");

template <class T>
void EntryTable<T>::entryRemove(Key const& keyOfCaller) {
  Vek::Ptr<Table> const alive(&this->table());
  Key const key = keyOfCaller;
  Vek::Ptr<EntryHandle> const handle = entryHandleAccess(key);
  if (!handle) {
    plumbing::trace<T, "entryRemove", ": No entry found: ">();
    return;
  }
  unresolvedEntryDel(key);
  pendingEntrySmDel(key);
  if (!entryHandleExists(key)) [[unlikely]] {
    // The same words in every table, whichever registry it keeps.
    Vek::SassertHelper("entryHandleExists( key )",
                       plumbing::assertWhere<T>(entryRemoveSignature<T>))
        << "expected to see rawEntryHandle";
  }
  entryHandleDel(key);
}

template <class T>
void EntryTable<T>::park(Key const& key, Entry const& entry) {
  unresolvedEntryIs(key)->initializeUnresolvedEntry(entry);
}

}  // namespace OrviaL3Unicast::engine
