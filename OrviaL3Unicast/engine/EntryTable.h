// A table of single entries: every operation that the three entry tables share.
//
// Callers write a record under a key and get the key's handle; they remove the key when they are
// done. A record waits, parked, until the entries it points at are programmed; then it enters the
// entry collection and the table's utility is asked to write its row. The hardware's answer arrives
// on the handle and reaches the caller's handler from there.
// A record that points at nothing is parked for ever: nothing would tell the table that it is
// ready.
//
// One thread. Anything may run inside an operation that announces: observers, response handlers,
// and through them other operations of this table. Every operation tolerates that its key lives
// inside a member that it removes, and holds a count on what it goes on using.
//
// Two kinds of entry tables complete this class: KeyRowTable, whose keys bring their hardware rows,
// and AllocatedRowTable, which chooses rows itself.
#pragma once

#include <cstddef>
#include <type_traits>

#include "OrviaL3Unicast/engine/EntryHandle.h"
#include "OrviaL3Unicast/engine/PendingEntry.h"
#include "OrviaL3Unicast/engine/RawHandleRegistry.h"
#include "OrviaL3Unicast/engine/UnresolvedEntry.h"

namespace OrviaL3Unicast::engine {

// Tables that choose rows also take entries that live while callers hold their handle, and so keep
// a registry of handles that they do not own.
template <class T>
using HandleRegistry = std::conditional_t<T::ownsRows, RawHandleRegistry<T>, TableBase<T>>;

template <class T>
class EntryTable : public HandleRegistry<T> {
 public:
  using Table = typename T::Table;
  using Key = typename T::Key;
  using Entry = typename T::Entry;
  using EntryHandle = engine::EntryHandle<T>;
  using PendingEntrySm = engine::PendingEntrySm<T>;
  using UnresolvedEntry = engine::UnresolvedEntry<T>;

  // The table wants the hardware's answers for its entries.
  [[nodiscard]] bool responseNeeded() const override { return true; }

  // --- Writing. Each returns the key's handle.

  // Writes a record that lives until entryRemove, with an empty handler.
  Vek::Ptr<EntryHandle const> entryCommit(Key const& key, Entry const& entry);
  // Writes in the way that `autoRemove` asks for. A way that the table does not offer aborts with
  // "unsupported autoRemoveType".
  Vek::Ptr<EntryHandle const> entryWrite(Key const& key, Entry const& entry,
                                         Asic::AutoRemoveType autoRemove);

  // --- Reading.

  // The handle of an identical record that is parked or programmed under the key, or empty. Drops a
  // parked record that differs. Aborts when there is such a record but no registered handle.
  Vek::Ptr<EntryHandle> lookupExistingEntry(Key const& key, Entry const& entry);
  // A copy of the record that the table holds for the key: the parked one before the programmed
  // one, a default one when there is none.
  [[nodiscard]] Entry getEntry(Key const& key) const;
  // A copy of the record in the entry collection, or a default one.
  [[nodiscard]] Entry entry(Key const& key) const;
  [[nodiscard]] bool entryExists(Key const& key) const;
  // Records in the entry collection.
  [[nodiscard]] std::size_t entrys() const { return counts_.entrys; }

  // --- Removing.

  // Takes the parked record, the pending reactor and the table's reference to the handle. The
  // programmed record and its row go when the handle does: at once, unless callers still hold it.
  // An unknown key is traced and otherwise ignored.
  void entryRemove(Key const& key);

  // --- The entry collection: what is ready for the hardware. Not for callers.

  // Stores the record; a changed one is programmed (handleEntry), then announced. The overwritten
  // record is released last: what only it kept alive leaves the hardware after the new row is
  // written.
  void entryIs(Key const& key, Entry const& entry);
  // Takes the record out, programs the deletion, announces and returns it; a default one and
  // nothing else when there was none.
  Entry entryDel(Key const& key);
  // Takes every record out as entryDel does, in the order in which their keys came. Handles and
  // parked records stay. A key that comes meanwhile keeps its record, and so does one that is
  // written again after its turn.
  void entryDelAll();

  // --- Handles.

  // The handle that the table owns for the key, or empty.
  [[nodiscard]] Vek::Ptr<EntryHandle> entryHandle(Key const& key) const;
  [[nodiscard]] std::size_t entryHandles() const { return counts_.entryHandles; }
  // Whether a handle is registered for the key: among the registered handles where the table keeps
  // such a registry, else among the owned ones.
  [[nodiscard]] bool entryHandleExists(Key const& key) const;
  // The registered handle, or empty.
  [[nodiscard]] Vek::Ptr<EntryHandle> entryHandleAccess(Key const& key) const;
  // Drops the table's reference: removes, announces (also when there was none), then releases.
  void entryHandleDel(Key const& key);
  void entryHandleDelAll();

  // --- Pending reactors. Creation and removal announce; finding does not.

  // The key's reactor, re-targeted to the handle, or a new one.
  typename PendingEntrySm::Ptr pendingEntrySmIs(Vek::Ptr<EntryHandle> const& entryHandle,
                                                Key const& key);
  typename PendingEntrySm::Ptr pendingEntrySmDel(Key const& key);
  void pendingEntrySmDelAll();
  [[nodiscard]] typename PendingEntrySm::Ptr pendingEntrySm(Key const& key) const;
  [[nodiscard]] std::size_t pendingEntrySms() const { return counts_.pendingEntrySms; }

  // --- Parked records. Creation and removal announce; finding does not.

  typename UnresolvedEntry::Ptr unresolvedEntryIs(Key const& key);
  typename UnresolvedEntry::Ptr unresolvedEntryDel(Key const& key);
  void unresolvedEntryDelAll();
  [[nodiscard]] typename UnresolvedEntry::Ptr unresolvedEntry(Key const& key) const;
  [[nodiscard]] std::size_t unresolvedEntrys() const { return counts_.unresolvedEntrys; }

 protected:
  using Node = typename TableBase<T>::Node;

  EntryTable();
  ~EntryTable() override;

  // Parks the record and, if nothing is missing, writes it before it returns.
  void park(Key const& key, Entry const& entry);
  // Drops what is left, handles that outlive the table included, without hardware calls.
  void dropEverything();

  struct Counts {
    std::size_t entrys = 0;
    std::size_t entryHandles = 0;
    std::size_t pendingEntrySms = 0;
    std::size_t unresolvedEntrys = 0;
  } counts_;

 private:
  typename UnresolvedEntry::Ptr takeUnresolvedEntry(Node& node);

  // The parked records once more, since walking three of a million should cost three.
  Vek::Chain<UnresolvedEntry, typename UnresolvedEntry::Hook> unresolvedEntries_;
};

}  // namespace OrviaL3Unicast::engine
