// An entry table that chooses the hardware row of each key itself.
//
// Rows come from a first-free allocator over the whole hardware table; row 0 is reserved for
// entryWriteAtIndex. A key has its row from the first time its record is programmed until its
// deletion has been; rewriting a key keeps its row. The handle learns the row with the hardware's
// answer (or at once, see PublishSwitch.h).
//
// An entry is committed (the table owns its handle; it lives until entryRemove) or referenced (it
// lives while callers hold the handle).
//
// A table without a free row lets the allocator's exception pass: it leaves the caller's write, or
// the setter in whose notification the record resolved. The record stays where it had been put;
// remove the key and write again, an identical write does not retry.
//
// The end of a handle leaves its key's pending reactor in the table; only entryRemove takes it. So
// a caller that references ever new keys calls entryRemove(key) before it drops a handle.
//
// Programming a record before doInitComplete() aborts. A hardware table without rows cannot be
// initialised: reserving row 0 raises Vek::RangeException.
#pragma once

#include "Asic/FirstFreeIndexAllocator.h"
#include "OrviaAsicUtils/WriteResponseSm.h"
#include "OrviaL3Unicast/engine/EntryTable.h"

namespace OrviaL3Unicast::engine {

template <class T>
class AllocatedRowTable : public EntryTable<T> {
 public:
  using Table = typename T::Table;
  using Key = typename T::Key;
  using Entry = typename T::Entry;
  using EntryHandle = engine::EntryHandle<T>;

  // The agent (re)started: empties the hardware table when RestartToggle.h says so, whether or not
  // hardware is ready; otherwise does not touch it, and rows from before stay until new records
  // come to them. Aborts with " non-empty swTable before syncing from hwTable" when the table holds
  // a record; parked ones do not count.
  void syncEntries() override;
  // Creates the allocator over numEntries() rows, reserves row 0, and creates the write-response
  // reactor when a hardware table is attached (whether or not it is ready). The reactor goes on
  // watching that hardware table when another is attached later.
  void doInitComplete() override;
  // The registered handle of the key that the row is bound to, or empty.
  [[nodiscard]] Vek::Ptr<Asic::SwTable::EntryHandle> entryHandleOfRow(
      Asic::Index row) const override;

  // --- Writing. Each returns the key's handle.

  // Writes a record that lives until entryRemove. When the identical record is already there, the
  // table takes the key's handle into its ownership and leaves its handler as it is: the given one
  // is not stored. A changed record keeps the key's handle and does not take it: an auto-removed
  // entry stays one. Both intended.
  Vek::Ptr<EntryHandle const> entryCommitWithResponseHandler(Key const& key, Entry const& entry,
                                                             WriteResponseHandler const& handler);
  // Writes a record that lives while callers hold the handle. When the identical record is already
  // there, only the handler is replaced.
  Vek::Ptr<EntryHandle const> entryRefWithResponseHandler(Key const& key, Entry const& entry,
                                                          WriteResponseHandler const& handler);
  // The same with an empty handler.
  Vek::Ptr<EntryHandle const> entryRef(Key const& key, Entry const& entry);
  // Asic::needsAutoRemove() references, Asic::noAutoRemove commits; anything else aborts with
  // "unsupported autoRemoveType".
  Vek::Ptr<EntryHandle const> entryWriteWithResponseHandler(Key const& key, Entry const& entry,
                                                            WriteResponseHandler const& handler,
                                                            Asic::AutoRemoveType autoRemove);
  // Binds the key to a row of the reserved range, which is row 0 alone, and writes. Any other row
  // aborts. The binding stays when the record never comes to be programmed; the key may ask again.
  Vek::Ptr<EntryHandle const> entryWriteAtIndex(Asic::Index index, Key const& key,
                                                Entry const& entry,
                                                Asic::AutoRemoveType autoRemove);

  // --- Handles.

  // The registered handle, else the owned one, else empty.
  [[nodiscard]] Vek::Ptr<EntryHandle> entryLookup(Key const& key) const;
  // Makes the table own the handle for the key, in place of any other; an empty one removes.
  // Announces always.
  void entryHandleIs(Key const& key, Vek::Ptr<EntryHandle> const& handle);
  // Creates a new handle, always, and enters it in both registries.
  Vek::Ptr<EntryHandle> entryHandleMutate(Key const& key);

  // --- What the platform supplies.

  [[nodiscard]] Vek::Ptr<Asic::FirstFreeIndexAllocator> const& firstFreeIndexAllocator() const {
    return firstFreeIndexAllocator_;
  }
  // The table's allocator of that size: the present one, or a new one in its place with every row
  // free. A new one is announced.
  Vek::Ptr<Asic::FirstFreeIndexAllocator> firstFreeIndexAllocatorIs(unsigned size);
  // Takes the allocator out, announces and returns it; empty and nothing else when there was none.
  Vek::Ptr<Asic::FirstFreeIndexAllocator> firstFreeIndexAllocatorDel();
  [[nodiscard]] Vek::Ptr<OrviaAsicUtils::WriteResponseSm> const& writeResponseSm() const {
    return writeResponseSm_;
  }
  Vek::Ptr<OrviaAsicUtils::WriteResponseSm> writeResponseSmIs(
      Vek::Ptr<OrviaAsicUtils::SwTable> const& table);
  Vek::Ptr<OrviaAsicUtils::WriteResponseSm> writeResponseSmDel();

  // Brings the hardware in line with the entry collection for one key. The table calls it; a caller
  // may, to have a record written once more that the hardware refused or never answered.
  void handleEntry(Key const& key);
  // A handle is at its end: removes the parked and the programmed record and the registration.
  // Aborts when the key is not registered. Not for callers.
  void cleanupEntry(Key const& key);

 protected:
  using Node = typename TableBase<T>::Node;

  AllocatedRowTable() = default;
  ~AllocatedRowTable() override = default;

  // The destructor's work, done while the concrete table is still whole. Allocator and
  // write-response reactor go before any per-key object, so that no answer meets a half-destroyed
  // table; what the hardware holds stays in it.
  void takeApart();

 private:
  Vek::Ptr<EntryHandle const> parkUnder(Vek::Ptr<EntryHandle> const& handle, Key const& key,
                                        Entry const& entry, WriteResponseHandler const& handler);

  Vek::Ptr<Asic::FirstFreeIndexAllocator> firstFreeIndexAllocator_;
  Vek::Ptr<OrviaAsicUtils::WriteResponseSm> writeResponseSm_;
  bool takingApart_ = false;
};

}  // namespace OrviaL3Unicast::engine
