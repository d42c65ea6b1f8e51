// Where a table keeps everything it has for a key: one node per key, found with one probe.
//
// A table's collections (records, handles owned and registered, parked records, pending reactors)
// are columns of one store instead of a hash table each. Each collection has a seed constant of its
// own; the store probes with that of the handles. A node goes with its last column. Nodes never
// move, and a walk of any collection follows the order in which the keys came.
#pragma once

#include <optional>
#include <type_traits>

#include "OrviaL3Unicast/engine/TableTraits.h"
#include "Vek/HashMap.h"
#include "Vek/Ptr.h"

namespace OrviaL3Unicast::engine {

template <class T>
class EntryHandle;
template <class T>
class PendingEntrySm;
template <class T>
class UnresolvedEntry;

// The seed constants of the collections.
struct CollectionSeed {
  static constexpr unsigned entryHandle = 1;
  static constexpr unsigned rawEntryHandle = 2;
  static constexpr unsigned entry = 3;
  static constexpr unsigned unresolvedEntry = 4;
  static constexpr unsigned pendingEntrySm = 5;
  static constexpr unsigned entryBlock = 6;
  static constexpr unsigned unresolvedEntryBlock = 7;
};

// The uncounted handle that the tables with auto-removed entries register for each key.
template <class T>
struct RawHandleColumn {
  EntryHandle<T>* rawEntryHandle = nullptr;
  [[nodiscard]] bool empty() const { return rawEntryHandle == nullptr; }
};
struct NoRawHandleColumn {
  [[nodiscard]] static constexpr bool empty() { return true; }
};

// What an entry table keeps for a key.
template <class T>
struct EntryColumns : std::conditional_t<T::ownsRows, RawHandleColumn<T>, NoRawHandleColumn> {
  using Raw = std::conditional_t<T::ownsRows, RawHandleColumn<T>, NoRawHandleColumn>;
  Vek::Ptr<EntryHandle<T>> entryHandle;
  Vek::Ptr<UnresolvedEntry<T>> unresolvedEntry;
  Vek::Ptr<PendingEntrySm<T>> pendingEntrySm;
  std::optional<typename T::Entry> entry;

  [[nodiscard]] bool empty() const {
    return Raw::empty() && !entryHandle && !unresolvedEntry && !pendingEntrySm && !entry;
  }
};

// What a table of blocks keeps for a block.
template <class T>
struct BlockColumns : RawHandleColumn<T> {
  Vek::Ptr<typename T::UnresolvedEntryBlock> unresolvedEntryBlock;
  bool entryBlock = false;  // whether the block is committed

  [[nodiscard]] bool empty() const {
    return RawHandleColumn<T>::empty() && !unresolvedEntryBlock && !entryBlock;
  }
};

template <class T>
using KeyStore =
    Vek::HashMap<typename T::Key,
                 std::conditional_t<T::holdsBlocks, BlockColumns<T>, EntryColumns<T>>,
                 typename T::KeyHash,
                 T::ownsRows ? CollectionSeed::rawEntryHandle : CollectionSeed::entryHandle>;

}  // namespace OrviaL3Unicast::engine
