// A record that waits until every entry it points at is programmed.
//
// One per key at most. Holds a copy of what the caller wrote and one watcher per needed handle;
// when the tally is complete it starts the key's pending reactor, puts the record into the table's
// entry collection and leaves the table. Nothing times out: a needed handle that is refused or
// never programmed leaves the record waiting.
//
// In the write path's traces a parked record is called a "pending entry".
#pragma once

#include "OrviaL3Unicast/engine/NeededHandles.h"
#include "Vek/Chain.h"

namespace OrviaL3Unicast::engine {

template <class T>
class EntryTable;

template <class T>
class UnresolvedEntry final : public Vek::Tracked<UnresolvedEntry<T>, NeededHandleTally<T>> {
 public:
  using Table = typename T::Table;
  using Key = typename T::Key;
  using Entry = typename T::Entry;
  using NeededEntryHandleSm = engine::NeededEntryHandleSm<T>;
  using Ptr = Vek::Ptr<UnresolvedEntry>;

  explicit UnresolvedEntry(Key const& key) : key_(key) {}
  [[nodiscard]] Vek::VekType fwkType() const override;
  ~UnresolvedEntry() override;

  static Vek::VekType classType();
  static constexpr char const* typeName() { return nestedName<T, "UnresolvedEntry">.c_str(); }

  [[nodiscard]] Key const& key() const { return key_; }
  // The parked record.
  [[nodiscard]] Entry const& entry() const { return entry_; }
  // The table in whose collection this is, or none. A record that was taken out of its table
  // (because another was written, or the key removed) is never written any more, even if its holder
  // lives on.
  [[nodiscard]] Table* table() const { return table_; }

  // Takes the record and starts a watcher for each needed handle. When all are programmed already,
  // the record is written and this leaves the table before the call returns; handlers may run
  // inside. Called again (the same record written twice) it leaves the count as it is and makes new
  // watchers for the handles whose watchers have counted and so left: those count again. So a
  // second write can complete the tally before every handle is programmed; intended.
  void initializeUnresolvedEntry(Entry const& entry);
  void handleEntryHandleProgramSuccessCount() override;

 private:
  friend class EntryTable<T>;
  struct Hook {
    static Vek::ChainHook<UnresolvedEntry>& of(UnresolvedEntry& entry) { return entry.hook_; }
  };

  Key const key_;
  Entry entry_;
  Table* table_ = nullptr;
  Vek::ChainHook<UnresolvedEntry> hook_;  // of the table's collection
};

}  // namespace OrviaL3Unicast::engine
