#include "OrviaL3Unicast/L3EcmpGroupTable.h"

#include "OrviaL3Unicast/engine/Instantiate.h"
#include "OrviaL3Unicast/engine/ModuleTypes.h"

template <>
struct Vek::VekTypeOf<OrviaL3Unicast::engine::Mode<OrviaL3Unicast::L3EcmpGroupTraits>>
    : OrviaL3Unicast::engine::ModeType<OrviaL3Unicast::L3EcmpGroupTraits> {};

namespace OrviaL3Unicast {
namespace {

using Traits = L3EcmpGroupTraits;

using Entry = Traits::Entry;
constexpr auto recordAttributes = engine::recordAttributes<Entry>(
    engine::derived<Entry, &Entry::ecmpBlockPtr>("ecmpBlockPtr"),
    engine::handle<Entry, &Entry::ecmpBlockPtrHandle, &Entry::ecmpBlockPtrHandleIs>(
        "ecmpBlockPtrHandle"));
constexpr Vek::VekReflection recordRows{recordAttributes, {}};

// The table asks its utility, which it must have as soon as it has a hardware table: whoever looks
// from outside is told instead of ending the process.
template <auto Row, plumbing::FixedString Name>
std::uint32_t rowAskedOfUtil(L3EcmpGroupTable const& table) {
  OrviaAsicUtils::SwTable const& platform = table;
  if (table.hwTable() && !Vek::vekCast<L3EcmpGroupTableUtil>(platform.util().get())) {
    static constexpr auto text =
        Traits::qualifiedName + "." + Name + ": the table has no utility to ask";
    throw Vek::ReflectionException(text.c_str());
  }
  return (table.*Row)();
}

constexpr auto attributes = engine::joined(
    engine::entryTableAttributes<Traits>(),
    std::array{
        Vek::attribute<L3EcmpGroupTable, &rowAskedOfUtil<&L3EcmpGroupTable::minIndex, "minIndex">>(
            engine::TableAttribute::minIndex, "minIndex"),
        Vek::attribute<L3EcmpGroupTable, &rowAskedOfUtil<&L3EcmpGroupTable::maxIndex, "maxIndex">>(
            engine::TableAttribute::maxIndex, "maxIndex"),
    });
constexpr auto operations = engine::entryTableOperations<Traits>();
constexpr Vek::VekReflection tableRows{attributes, operations};

constexpr auto types =
    engine::entryTableTypes<Traits>(tableRows, recordRows, engine::indexType<Traits>());

}  // namespace

constinit Vek::VekModule const _L3EcmpGroupTable_b1191073_vekModule{"L3EcmpGroupTable", types};

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

Vek::Ptr<L3EcmpGroupTable> L3EcmpGroupTable::L3EcmpGroupTableIs() {
  Vek::Ptr<L3EcmpGroupTable> table = new L3EcmpGroupTable;
  table->hasNotificationActiveIs(true);
  return table;
}

L3EcmpGroupTable::L3EcmpGroupTable() = default;

L3EcmpGroupTable::~L3EcmpGroupTable() { takeApart(); }

std::uint32_t L3EcmpGroupTable::minIndex() const { return hwTable() ? util()->minIndex() : 0; }

std::uint32_t L3EcmpGroupTable::maxIndex() const {
  return hwTable() ? util()->maxIndex() : Asic::Index::invalidIndex().value();
}

L3EcmpGroupTableUtil::L3EcmpGroupTableUtil(Vek::String const& name) : TableUtil(name) {}
L3EcmpGroupTableUtil::~L3EcmpGroupTableUtil() = default;
Vek::VekType L3EcmpGroupTableUtil::fwkType() const { return classType(); }
Vek::VekType L3EcmpGroupTableUtil::classType() { return {Traits::module(), Traits::numbers.util}; }

L3EcmpGroupTableUtilLoader::L3EcmpGroupTableUtilLoader(Vek::String const& name)
    : UtilLoader(name) {}
L3EcmpGroupTableUtilLoader::~L3EcmpGroupTableUtilLoader() = default;

Vek::Ptr<L3EcmpGroupTable> l3EcmpGroupTableFactory() {
  return L3EcmpGroupTable::L3EcmpGroupTableIs();
}

}  // namespace OrviaL3Unicast

template Vek::Ptr<OrviaL3Unicast::L3EcmpGroupTableUtilLoader const>
Loader::Singleton::inst<OrviaL3Unicast::L3EcmpGroupTableUtilLoader>();

void orviaL3EcmpGroupTableFactory(Vek::Ptr<OrviaAsicUtils::SwTable>& table) {
  table = OrviaL3Unicast::l3EcmpGroupTableFactory();
}

namespace OrviaL3Unicast {
namespace {

// The handles' mode is found in the enum registry without a look at a handle.
[[maybe_unused]] Vek::EnumType const& mode = engine::EntryHandle<Traits>::modeType();

// Last, so that everything above is there when the plug-ins come.
plumbing::Registration<Traits> const registration;

}  // namespace
}  // namespace OrviaL3Unicast
