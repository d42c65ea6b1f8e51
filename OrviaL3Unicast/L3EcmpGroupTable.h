// The L3 ECMP group table: how many paths a group has, how traffic is spread over them, and where
// its block of member rows starts.
//
// Keyed by a logical group number; the table chooses the hardware row, which is another number and
// is found through the entry's handle. A group waits until its member block is programmed. See
// engine/EntryTable.h and engine/AllocatedRowTable.h for every operation.
//
// One thread; callers hold counted references to the table and to the handles.
#pragma once

#include "OrviaL3Unicast/L3EcmpGroupEntry.h"
#include "OrviaL3Unicast/engine/AllocatedRowTable.h"
#include "OrviaL3Unicast/engine/TableUtil.h"
#include "OrviaL3Unicast/plumbing/Export.h"
#include "OrviaL3Unicast/plumbing/IndexValue.h"
#include "OrviaL3Unicast/plumbing/UtilLoader.h"

namespace OrviaL3Unicast {

class L3EcmpGroupTable;
class L3EcmpGroupTableUtil;
class L3EcmpGroupTableUtilLoader;

// The framework module of this unit's types.
ORVIA_L3_EXPORT extern Vek::VekModule const _L3EcmpGroupTable_b1191073_vekModule;

struct L3EcmpGroupTraits {
  using Table = L3EcmpGroupTable;
  using Key = plumbing::IndexValue<L3EcmpGroupTraits>;
  using Entry = L3EcmpGroupEntry<L3EcmpGroupTraits>;
  using Util = L3EcmpGroupTableUtil;
  using UtilLoader = L3EcmpGroupTableUtilLoader;
  using HwKey = Asic::Index;
  using KeyHash = plumbing::ValueHash;

  static constexpr bool ownsRows = true;
  static constexpr bool holdsBlocks = false;
  static constexpr plumbing::FixedString qualifiedName = "OrviaL3Unicast::L3EcmpGroupTable";
  static constexpr plumbing::FixedString keyText = "OrviaL3Unicast::L3EcmpGroupTable::Index";
  static constexpr char const* sourceUnit() { return "L3EcmpGroupTable"; }
  static constexpr char const* traceHandleName() { return "OrviaL3UnicastL3EcmpGroupTable"; }
  static constexpr Vek::VekModule const* module() { return &_L3EcmpGroupTable_b1191073_vekModule; }
  static constexpr engine::TypeNumbers numbers{.table = 0,
                                               .entryHandle = 5,
                                               .pendingEntrySm = 7,
                                               .unresolvedEntry = 3,
                                               .neededEntryHandleSm = 4,
                                               .util = 8,
                                               .utilLoader = 9};
  static constexpr std::uint16_t keyNumber = 1;
  // How the row allocator reads a key.
  static constexpr Vek::VekType keyType() { return {module(), keyNumber}; }
};
static_assert(engine::TableTraits<L3EcmpGroupTraits>);

extern template class ORVIA_L3_EXPORT engine::TableLink<L3EcmpGroupTraits>;
extern template class ORVIA_L3_EXPORT engine::TableBase<L3EcmpGroupTraits>;
extern template class ORVIA_L3_EXPORT engine::RawHandleRegistry<L3EcmpGroupTraits>;
extern template class ORVIA_L3_EXPORT engine::EntryHandle<L3EcmpGroupTraits>;
extern template class ORVIA_L3_EXPORT engine::PendingEntrySm<L3EcmpGroupTraits>;
extern template class ORVIA_L3_EXPORT engine::NeededEntryHandleSm<L3EcmpGroupTraits>;
extern template class ORVIA_L3_EXPORT engine::NeededHandleTally<L3EcmpGroupTraits>;
extern template class ORVIA_L3_EXPORT engine::UnresolvedEntry<L3EcmpGroupTraits>;
extern template class ORVIA_L3_EXPORT engine::EntryTable<L3EcmpGroupTraits>;
extern template class ORVIA_L3_EXPORT engine::AllocatedRowTable<L3EcmpGroupTraits>;
extern template class ORVIA_L3_EXPORT plumbing::UtilLoader<L3EcmpGroupTraits>;

class ORVIA_L3_EXPORT L3EcmpGroupTable final
    : public Vek::Tracked<L3EcmpGroupTable, engine::AllocatedRowTable<L3EcmpGroupTraits>> {
 public:
  // A logical group number.
  using Index = L3EcmpGroupTraits::Key;

  // A table ready to be attached to its platform.
  static Vek::Ptr<L3EcmpGroupTable> L3EcmpGroupTableIs();

  // A table lives on the heap and is held by counted references only.
  L3EcmpGroupTable();
  // Lets go of everything without a hardware call; what the hardware holds stays in it. No response
  // handler is called. A handle that outlives the table is cut off from it.
  ~L3EcmpGroupTable() override;

  // The lowest and the highest usable row as the utility says; 0 and 0xFFFFFFFF before a hardware
  // table is attached.
  [[nodiscard]] std::uint32_t minIndex() const;
  [[nodiscard]] std::uint32_t maxIndex() const;

  static constexpr char const* typeName() { return L3EcmpGroupTraits::qualifiedName.c_str(); }
};

// What a hardware plug-in implements for this table: it writes at the given row and reports the
// answer with the hardware table's writeResponseIs.
class ORVIA_L3_EXPORT L3EcmpGroupTableUtil : public engine::TableUtil<L3EcmpGroupTraits> {
 public:
  explicit L3EcmpGroupTableUtil(Vek::String const& name);
  [[nodiscard]] Vek::VekType fwkType() const override;
  ~L3EcmpGroupTableUtil() override;

  static Vek::VekType classType();
};

// Brings the plug-ins of this table's directory; the process has one, made when the library is
// loaded.
class ORVIA_L3_EXPORT L3EcmpGroupTableUtilLoader final
    : public plumbing::UtilLoader<L3EcmpGroupTraits> {
 public:
  explicit L3EcmpGroupTableUtilLoader(Vek::String const& name);
  ~L3EcmpGroupTableUtilLoader() override;
};

// A table ready to be attached to its platform: what L3EcmpGroupTable::L3EcmpGroupTableIs() gives.
ORVIA_L3_EXPORT Vek::Ptr<L3EcmpGroupTable> l3EcmpGroupTableFactory();

}  // namespace OrviaL3Unicast

namespace Loader {
extern template ORVIA_L3_EXPORT Vek::Ptr<OrviaL3Unicast::L3EcmpGroupTableUtilLoader const>
Singleton::inst<OrviaL3Unicast::L3EcmpGroupTableUtilLoader>();
}

// The same factory under a name without C++ in it, for whoever loads the library with dlopen and
// looks it up with dlsym. Puts the new table into `table`, which holds the count; a C function
// cannot return a counted reference.
extern "C" ORVIA_L3_EXPORT void orviaL3EcmpGroupTableFactory(
    Vek::Ptr<OrviaAsicUtils::SwTable>& table);
