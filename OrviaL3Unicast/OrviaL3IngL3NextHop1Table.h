// The ingress L3 next-hop table, as seen for ordinary next hops.
//
// Keyed by an entry handle of another table: its owner chose the hardware row, the key's
// hwEntryIndex(). The record points at an outgoing interface and an MTU profile through the entry
// handles of their tables, and is held back until both are programmed. See
// engine/EntryTable.h and engine/KeyRowTable.h for every operation.
//
//   auto table = IngL3NextHop1Table::IngL3NextHop1TableIs();
//   table->utilIs(utility); table->hwTableIs(hwTable); table->hwTableReadyIs(true);
//   auto handle = table->entryCommitWithResponseHandler(key, entry, [](auto state) { ... });
//   ...
//   table->entryRemove(key); handle = nullptr;  // both: see KeyRowTable
//
// One thread; callers hold counted references to the table and to the handles.
#pragma once

#include <cstdint>

#include "OrviaL3Unicast/NextHopEntry.h"
#include "OrviaL3Unicast/engine/KeyRowTable.h"
#include "OrviaL3Unicast/engine/TableUtil.h"
#include "OrviaL3Unicast/plumbing/Export.h"
#include "OrviaL3Unicast/plumbing/FixedString.h"
#include "OrviaL3Unicast/plumbing/UtilLoader.h"
#include "Vek/Hash.h"

namespace OrviaL3Unicast {

class IngL3NextHop1Table;
class IngL3NextHop1TableUtil;
class IngL3NextHop1TableUtilLoader;

// The framework module of this unit's types.
ORVIA_L3_EXPORT extern Vek::VekModule const _OrviaL3IngL3NextHop1Table_b978fb95_vekModule;

struct IngL3NextHop1Traits {
  using Table = IngL3NextHop1Table;
  using Key = Vek::Ptr<Asic::SwTable::EntryHandle const>;
  using Entry = NextHopEntry<IngL3NextHop1Traits>;
  using Util = IngL3NextHop1TableUtil;
  using UtilLoader = IngL3NextHop1TableUtilLoader;
  using HwKey = Key const&;
  // Keys are handle objects, told apart by identity.
  struct KeyHash {
    std::uint32_t operator()(Key const& key, unsigned seed) const {
      return Vek::hashFold(Vek::hashMix(reinterpret_cast<std::uintptr_t>(key.get()), seed));
    }
  };

  static constexpr bool ownsRows = false;  // the key brings its row
  static constexpr bool holdsBlocks = false;
  static constexpr plumbing::FixedString qualifiedName = "OrviaL3Unicast::IngL3NextHop1Table";
  static constexpr plumbing::FixedString keyText = "Vek::Ptr<const Asic::SwTable::EntryHandle>";
  static constexpr char const* sourceUnit() { return "OrviaL3IngL3NextHop1Table"; }
  static constexpr char const* traceHandleName() { return "OrviaL3UnicastIngL3NextHop1Table"; }
  static constexpr Vek::VekModule const* module() {
    return &_OrviaL3IngL3NextHop1Table_b978fb95_vekModule;
  }
  static constexpr engine::TypeNumbers numbers{.table = 0,
                                               .entryHandle = 2,
                                               .pendingEntrySm = 4,
                                               .unresolvedEntry = 5,
                                               .neededEntryHandleSm = 6,
                                               .util = 7,
                                               .utilLoader = 8};
};
static_assert(engine::TableTraits<IngL3NextHop1Traits>);

extern template class ORVIA_L3_EXPORT engine::TableLink<IngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::TableBase<IngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::EntryHandle<IngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::PendingEntrySm<IngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::NeededEntryHandleSm<IngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::NeededHandleTally<IngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::UnresolvedEntry<IngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::EntryTable<IngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::KeyRowTable<IngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT plumbing::UtilLoader<IngL3NextHop1Traits>;

class ORVIA_L3_EXPORT IngL3NextHop1Table final
    : public Vek::Tracked<IngL3NextHop1Table, engine::KeyRowTable<IngL3NextHop1Traits>> {
 public:
  // A table ready to be attached to its platform.
  static Vek::Ptr<IngL3NextHop1Table> IngL3NextHop1TableIs();

  // A table lives on the heap and is held by counted references only.
  IngL3NextHop1Table();
  // Ends the handles that nobody else holds (their rows are deleted while hardware is ready), then
  // the pending reactors, then the parked records. No response handler is called. A handle that
  // outlives the table is cut off from it.
  ~IngL3NextHop1Table() override;

  static constexpr char const* typeName() { return IngL3NextHop1Traits::qualifiedName.c_str(); }
};

// What a hardware plug-in implements for this table. It writes at the key's own row, and answers on
// the handle that the table's entryHandleAccess(key) gives: hwEntryIndexIs, then entryStateIs.
class ORVIA_L3_EXPORT IngL3NextHop1TableUtil : public engine::TableUtil<IngL3NextHop1Traits> {
 public:
  explicit IngL3NextHop1TableUtil(Vek::String const& name);
  [[nodiscard]] Vek::VekType fwkType() const override;
  ~IngL3NextHop1TableUtil() override;

  static Vek::VekType classType();
};

// Brings the plug-ins of this table's directory; the process has one, made when the library is
// loaded.
class ORVIA_L3_EXPORT IngL3NextHop1TableUtilLoader final
    : public plumbing::UtilLoader<IngL3NextHop1Traits> {
 public:
  explicit IngL3NextHop1TableUtilLoader(Vek::String const& name);
  ~IngL3NextHop1TableUtilLoader() override;
};

// A table ready to be attached to its platform: what IngL3NextHop1Table::IngL3NextHop1TableIs()
// gives.
ORVIA_L3_EXPORT Vek::Ptr<IngL3NextHop1Table> ingL3NextHop1TableFactory();

}  // namespace OrviaL3Unicast

namespace Loader {
extern template ORVIA_L3_EXPORT Vek::Ptr<OrviaL3Unicast::IngL3NextHop1TableUtilLoader const>
Singleton::inst<OrviaL3Unicast::IngL3NextHop1TableUtilLoader>();
}

// The same factory under a name without C++ in it, for whoever loads the library with dlopen and
// looks it up with dlsym. Puts the new table into `table`, which holds the count; a C function
// cannot return a counted reference.
extern "C" ORVIA_L3_EXPORT void orviaIngL3NextHop1TableFactory(
    Vek::Ptr<OrviaAsicUtils::SwTable>& table);
