// An entry table whose key is an entry handle of another table and brings the hardware row: the row
// written is always the key's own.
//
// Every handle is owned by the table: entries live until entryRemove. The key must have a row and
// be programmed when a record is committed under it.
//
// Oddities that callers should know, all intended:
// - A handle shows its key's row and state from the commit on, even while its record is parked, so
//   its handler can be called with success before the hardware answered. A refusal that comes
//   within the write is covered by that: the handler hears 2, then 1, and the handle stays at 1.
// - After entryRemove a caller that still holds the handle keeps the programmed record in place.
//   Committing the identical record then aborts ("expect a valid entryHandle, key: "), and the end
//   of the old handle removes whatever the key has by then. Let go of the handle when you remove a
//   key.
// - A handle's end leaves the key's pending reactor in the table; entryRemove takes it.
#pragma once

#include "OrviaL3Unicast/engine/EntryTable.h"

namespace OrviaL3Unicast::engine {

template <class T>
class KeyRowTable : public EntryTable<T> {
 public:
  using Table = typename T::Table;
  using Key = typename T::Key;
  using Entry = typename T::Entry;
  using EntryHandle = engine::EntryHandle<T>;

  // The agent (re)started: has the utility put back the records that hardware holds, whether or not
  // hardware is ready (see TableUtil.h). Aborts with " non-empty swTable before syncing from
  // hwTable" when the table holds a record; parked ones do not count.
  void syncEntries() override;

  // Parks the record, and programs it before the call returns if all of its needed handles are
  // programmed. The key's present handler is replaced, also when the identical record is already
  // there. Aborts with "expected a valid hwEntryIndex " when the key is empty or has no row, and
  // with "expected entry state to be success" when it is not programmed.
  Vek::Ptr<EntryHandle const> entryCommitWithResponseHandler(Key const& key, Entry const& entry,
                                                             WriteResponseHandler const& handler);
  // Offers noAutoRemove only.
  Vek::Ptr<EntryHandle const> entryWriteWithResponseHandler(Key const& key, Entry const& entry,
                                                            WriteResponseHandler const& handler,
                                                            Asic::AutoRemoveType autoRemove);

  // Finds the table's handle for the key or makes one; only making it is announced. Raises
  // Vek::ReinstantiationException when there is one that belongs to another table.
  Vek::Ptr<EntryHandle> entryHandleIs(Key const& key, Table* table);
  // The same for this table.
  Vek::Ptr<EntryHandle> entryHandleMutate(Key const& key);

  // Brings the hardware in line with the entry collection for one key. The table calls it; a caller
  // may, to have a record written once more that the hardware refused or never answered.
  void handleEntry(Key const& key);
  // A handle is at its end: removes the key's parked and programmed records. Not for callers.
  void cleanupEntry(Key const& key);

 protected:
  KeyRowTable() = default;
  ~KeyRowTable() override = default;

  // The destructor's work, done while the concrete table is still whole: handles, then pending
  // reactors, then parked records. Handles that nobody else holds take their rows with them.
  void takeApart();
};

}  // namespace OrviaL3Unicast::engine
