#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"

#include "OrviaL3Unicast/engine/Instantiate.h"
#include "OrviaL3Unicast/engine/ModuleTypes.h"
#include "OrviaL3Unicast/engine/ReflectNextHop.h"

template <>
struct Vek::VekTypeOf<OrviaL3Unicast::engine::Mode<OrviaL3Unicast::IngL3NextHop1Traits>>
    : OrviaL3Unicast::engine::ModeType<OrviaL3Unicast::IngL3NextHop1Traits> {};

namespace OrviaL3Unicast {
namespace {

using Traits = IngL3NextHop1Traits;

constexpr auto attributes = engine::entryTableAttributes<Traits>();
constexpr auto operations = engine::entryTableOperations<Traits>();
constexpr Vek::VekReflection tableRows{attributes, operations};

constexpr auto types =
    engine::entryTableTypes<Traits>(tableRows, engine::NextHopRows<Traits::Entry>::rows);

}  // namespace

constinit Vek::VekModule const _OrviaL3IngL3NextHop1Table_b978fb95_vekModule{
    "OrviaL3IngL3NextHop1Table", types};

template class engine::TableLink<Traits>;
template class engine::TableBase<Traits>;
template class engine::EntryHandle<Traits>;
template class engine::PendingEntrySm<Traits>;
template class engine::NeededEntryHandleSm<Traits>;
template class engine::NeededHandleTally<Traits>;
template class engine::UnresolvedEntry<Traits>;
template class engine::EntryTable<Traits>;
template class engine::KeyRowTable<Traits>;
template class plumbing::UtilLoader<Traits>;

Vek::Ptr<IngL3NextHop1Table> IngL3NextHop1Table::IngL3NextHop1TableIs() {
  Vek::Ptr<IngL3NextHop1Table> table = new IngL3NextHop1Table;
  table->hasNotificationActiveIs(true);
  return table;
}

IngL3NextHop1Table::IngL3NextHop1Table() = default;

IngL3NextHop1Table::~IngL3NextHop1Table() { takeApart(); }

IngL3NextHop1TableUtil::IngL3NextHop1TableUtil(Vek::String const& name) : TableUtil(name) {}
IngL3NextHop1TableUtil::~IngL3NextHop1TableUtil() = default;
Vek::VekType IngL3NextHop1TableUtil::fwkType() const { return classType(); }
Vek::VekType IngL3NextHop1TableUtil::classType() {
  return {Traits::module(), Traits::numbers.util};
}

IngL3NextHop1TableUtilLoader::IngL3NextHop1TableUtilLoader(Vek::String const& name)
    : UtilLoader(name) {}
IngL3NextHop1TableUtilLoader::~IngL3NextHop1TableUtilLoader() = default;

Vek::Ptr<IngL3NextHop1Table> ingL3NextHop1TableFactory() {
  return IngL3NextHop1Table::IngL3NextHop1TableIs();
}

}  // namespace OrviaL3Unicast

template Vek::Ptr<OrviaL3Unicast::IngL3NextHop1TableUtilLoader const>
Loader::Singleton::inst<OrviaL3Unicast::IngL3NextHop1TableUtilLoader>();

void orviaIngL3NextHop1TableFactory(Vek::Ptr<OrviaAsicUtils::SwTable>& table) {
  table = OrviaL3Unicast::ingL3NextHop1TableFactory();
}

namespace OrviaL3Unicast {
namespace {

// The handles' mode is found in the enum registry without a look at a handle.
[[maybe_unused]] Vek::EnumType const& mode = engine::EntryHandle<Traits>::modeType();

// Last, so that everything above is there when the plug-ins come.
plumbing::Registration<Traits> const registration;

}  // namespace
}  // namespace OrviaL3Unicast
