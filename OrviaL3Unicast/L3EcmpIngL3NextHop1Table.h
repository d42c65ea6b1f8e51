// The ingress L3 next-hop table, as seen for the next hops of ECMP groups.
//
// Programs the same hardware table as IngL3NextHop1Table, but is keyed by a value that names the
// next hop, chooses the row itself and publishes it through the entry's handle, so that member
// blocks can refer to the next hop by handle. Rows are taken lowest first from 1 up; row 0 is
// reserved. See engine/EntryTable.h and engine/AllocatedRowTable.h for every operation.
//
// One thread; callers hold counted references to the table and to the handles.
#pragma once

#include "Asic/L3EcmpNextHopKey.h"
#include "OrviaL3Unicast/NextHopEntry.h"
#include "OrviaL3Unicast/engine/AllocatedRowTable.h"
#include "OrviaL3Unicast/engine/TableUtil.h"
#include "OrviaL3Unicast/plumbing/Export.h"
#include "OrviaL3Unicast/plumbing/IndexValue.h"
#include "OrviaL3Unicast/plumbing/UtilLoader.h"
#include "Vek/PlatformModules.h"

namespace OrviaL3Unicast {

using Asic::L3EcmpNextHopKey;

class EcmpIngL3NextHop1Table;
class EcmpIngL3NextHop1TableUtil;
class EcmpIngL3NextHop1TableUtilLoader;

// The framework module of this unit's types.
ORVIA_L3_EXPORT extern Vek::VekModule const _L3EcmpIngL3NextHop1Table_ea4a8036_vekModule;

struct EcmpIngL3NextHop1Traits {
  using Table = EcmpIngL3NextHop1Table;
  using Key = L3EcmpNextHopKey;
  using Entry = NextHopEntry<EcmpIngL3NextHop1Traits>;
  using Util = EcmpIngL3NextHop1TableUtil;
  using UtilLoader = EcmpIngL3NextHop1TableUtilLoader;
  using HwKey = Asic::Index;
  using KeyHash = plumbing::ValueHash;

  static constexpr bool ownsRows = true;
  static constexpr bool holdsBlocks = false;
  static constexpr plumbing::FixedString qualifiedName = "OrviaL3Unicast::EcmpIngL3NextHop1Table";
  static constexpr plumbing::FixedString keyText = "Asic::L3EcmpNextHopKey";
  static constexpr char const* sourceUnit() { return "L3EcmpIngL3NextHop1Table"; }
  static constexpr char const* traceHandleName() { return "OrviaL3UnicastEcmpIngL3NextHop1Table"; }
  static constexpr Vek::VekModule const* module() {
    return &_L3EcmpIngL3NextHop1Table_ea4a8036_vekModule;
  }
  static constexpr engine::TypeNumbers numbers{.table = 0,
                                               .entryHandle = 5,
                                               .pendingEntrySm = 7,
                                               .unresolvedEntry = 3,
                                               .neededEntryHandleSm = 4,
                                               .util = 8,
                                               .utilLoader = 9};
  // How the row allocator reads a key: the platform describes this type.
  static constexpr Vek::VekType keyType() {
    return {&Asic::asicModule, Asic::AsicNumbers::l3EcmpNextHopKey};
  }
};
static_assert(engine::TableTraits<EcmpIngL3NextHop1Traits>);

extern template class ORVIA_L3_EXPORT engine::TableLink<EcmpIngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::TableBase<EcmpIngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::RawHandleRegistry<EcmpIngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::EntryHandle<EcmpIngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::PendingEntrySm<EcmpIngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::NeededEntryHandleSm<EcmpIngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::NeededHandleTally<EcmpIngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::UnresolvedEntry<EcmpIngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::EntryTable<EcmpIngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT engine::AllocatedRowTable<EcmpIngL3NextHop1Traits>;
extern template class ORVIA_L3_EXPORT plumbing::UtilLoader<EcmpIngL3NextHop1Traits>;

class ORVIA_L3_EXPORT EcmpIngL3NextHop1Table final
    : public Vek::Tracked<EcmpIngL3NextHop1Table,
                          engine::AllocatedRowTable<EcmpIngL3NextHop1Traits>> {
 public:
  // A hardware row of this table.
  using Index = plumbing::IndexValue<EcmpIngL3NextHop1Traits>;

  // A table ready to be attached to its platform.
  static Vek::Ptr<EcmpIngL3NextHop1Table> EcmpIngL3NextHop1TableIs();

  // A table lives on the heap and is held by counted references only.
  EcmpIngL3NextHop1Table();
  // Lets go of everything without a hardware call; what the hardware holds stays in it. No response
  // handler is called. A handle that outlives the table is cut off from it.
  ~EcmpIngL3NextHop1Table() override;

  static constexpr char const* typeName() { return EcmpIngL3NextHop1Traits::qualifiedName.c_str(); }
};

// What a hardware plug-in implements for this table: it writes at the given row and reports the
// answer with the hardware table's writeResponseIs.
class ORVIA_L3_EXPORT EcmpIngL3NextHop1TableUtil
    : public engine::TableUtil<EcmpIngL3NextHop1Traits> {
 public:
  explicit EcmpIngL3NextHop1TableUtil(Vek::String const& name);
  [[nodiscard]] Vek::VekType fwkType() const override;
  ~EcmpIngL3NextHop1TableUtil() override;

  static Vek::VekType classType();
};

// Brings the plug-ins of this table's directory; the process has one, made when the library is
// loaded.
class ORVIA_L3_EXPORT EcmpIngL3NextHop1TableUtilLoader final
    : public plumbing::UtilLoader<EcmpIngL3NextHop1Traits> {
 public:
  explicit EcmpIngL3NextHop1TableUtilLoader(Vek::String const& name);
  ~EcmpIngL3NextHop1TableUtilLoader() override;
};

// A table ready to be attached to its platform: what
// EcmpIngL3NextHop1Table::EcmpIngL3NextHop1TableIs() gives.
ORVIA_L3_EXPORT Vek::Ptr<EcmpIngL3NextHop1Table> ecmpIngL3NextHop1TableFactory();

}  // namespace OrviaL3Unicast

namespace Loader {
extern template ORVIA_L3_EXPORT Vek::Ptr<OrviaL3Unicast::EcmpIngL3NextHop1TableUtilLoader const>
Singleton::inst<OrviaL3Unicast::EcmpIngL3NextHop1TableUtilLoader>();
}

// The same factory under a name without C++ in it, for whoever loads the library with dlopen and
// looks it up with dlsym. Puts the new table into `table`, which holds the count; a C function
// cannot return a counted reference.
extern "C" ORVIA_L3_EXPORT void orviaEcmpIngL3NextHop1TableFactory(
    Vek::Ptr<OrviaAsicUtils::SwTable>& table);
