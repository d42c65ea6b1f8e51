#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"

#include "OrviaL3Unicast/engine/Instantiate.h"
#include "OrviaL3Unicast/engine/ModuleTypes.h"
#include "OrviaL3Unicast/engine/ReflectNextHop.h"

template <>
struct Vek::VekTypeOf<OrviaL3Unicast::engine::Mode<OrviaL3Unicast::EcmpIngL3NextHop1Traits>>
    : OrviaL3Unicast::engine::ModeType<OrviaL3Unicast::EcmpIngL3NextHop1Traits> {};

namespace OrviaL3Unicast {
namespace {

using Traits = EcmpIngL3NextHop1Traits;

constexpr auto attributes = engine::entryTableAttributes<Traits>();
constexpr auto operations = engine::entryTableOperations<Traits>();
constexpr Vek::VekReflection tableRows{attributes, operations};

constexpr auto types = engine::entryTableTypes<Traits>(
    tableRows, engine::NextHopRows<Traits::Entry>::rows, engine::indexType<Traits>());

}  // namespace

constinit Vek::VekModule const _L3EcmpIngL3NextHop1Table_ea4a8036_vekModule{
    "L3EcmpIngL3NextHop1Table", types};

template class engine::TableLink<Traits>;
template class engine::TableBase<Traits>;
template class engine::RawHandleRegistry<Traits>;
template class engine::EntryHandle<Traits>;
template class engine::PendingEntrySm<Traits>;
template class engine::NeededEntryHandleSm<Traits>;
template class engine::NeededHandleTally<Traits>;
template class engine::UnresolvedEntry<Traits>;
template class engine::EntryTable<Traits>;
template class engine::AllocatedRowTable<Traits>;
template class plumbing::UtilLoader<Traits>;

Vek::Ptr<EcmpIngL3NextHop1Table> EcmpIngL3NextHop1Table::EcmpIngL3NextHop1TableIs() {
  Vek::Ptr<EcmpIngL3NextHop1Table> table = new EcmpIngL3NextHop1Table;
  table->hasNotificationActiveIs(true);
  return table;
}

EcmpIngL3NextHop1Table::EcmpIngL3NextHop1Table() = default;

EcmpIngL3NextHop1Table::~EcmpIngL3NextHop1Table() { takeApart(); }

EcmpIngL3NextHop1TableUtil::EcmpIngL3NextHop1TableUtil(Vek::String const& name) : TableUtil(name) {}
EcmpIngL3NextHop1TableUtil::~EcmpIngL3NextHop1TableUtil() = default;
Vek::VekType EcmpIngL3NextHop1TableUtil::fwkType() const { return classType(); }
Vek::VekType EcmpIngL3NextHop1TableUtil::classType() {
  return {Traits::module(), Traits::numbers.util};
}

EcmpIngL3NextHop1TableUtilLoader::EcmpIngL3NextHop1TableUtilLoader(Vek::String const& name)
    : UtilLoader(name) {}
EcmpIngL3NextHop1TableUtilLoader::~EcmpIngL3NextHop1TableUtilLoader() = default;

Vek::Ptr<EcmpIngL3NextHop1Table> ecmpIngL3NextHop1TableFactory() {
  return EcmpIngL3NextHop1Table::EcmpIngL3NextHop1TableIs();
}

}  // namespace OrviaL3Unicast

template Vek::Ptr<OrviaL3Unicast::EcmpIngL3NextHop1TableUtilLoader const>
Loader::Singleton::inst<OrviaL3Unicast::EcmpIngL3NextHop1TableUtilLoader>();

void orviaEcmpIngL3NextHop1TableFactory(Vek::Ptr<OrviaAsicUtils::SwTable>& table) {
  table = OrviaL3Unicast::ecmpIngL3NextHop1TableFactory();
}

namespace OrviaL3Unicast {
namespace {

// The handles' mode is found in the enum registry without a look at a handle.
[[maybe_unused]] Vek::EnumType const& mode = engine::EntryHandle<Traits>::modeType();

// Last, so that everything above is there when the plug-ins come.
plumbing::Registration<Traits> const registration;

}  // namespace
}  // namespace OrviaL3Unicast
