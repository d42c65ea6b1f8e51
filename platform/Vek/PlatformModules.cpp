#include "Vek/PlatformModules.h"

#include "Asic/AnySizedBlockAllocator.h"
#include "Asic/Feature.h"
#include "Asic/FirstFreeIndexAllocator.h"
#include "Asic/L3EcmpNextHopKey.h"
#include "Asic/SwTable.h"
#include "Loader/Singleton.h"
#include "OrviaAsicUtils/SwTable.h"
#include "OrviaAsicUtils/SwTableUtil.h"
#include "OrviaAsicUtils/WriteResponseSm.h"
#include "Vek/Format.h"
#include "Vek/ReflectBuild.h"
#include "Vek/ReflectScalars.h"
#include "Vek/VekValueOps.h"

namespace Vek {
namespace {

constexpr VekAttribute entityAttributes[] = {
    // 0, since the classes that derive number their own attributes from 1.
    attribute<Entity, &Entity::name>(0, "name"),
};
constexpr VekReflection entityRows{entityAttributes, {}};

constexpr VekAttribute genericIfAttributes[] = {
    attribute<GenericIf, &GenericIf::valueType>(1, "valueType"),
    attribute<GenericIf, &GenericIf::value>(2, "value"),
};
constexpr VekReflection genericIfRows{genericIfAttributes, {}};

template <class T>
constexpr VekTypeInfo valueRow(char const* name) {
  return {VekTypeOf<T>::type.number, name, {}, &vekValueOps<T>};
}

constexpr VekType ptrInterface = VekTypeOf<PtrInterface>::type;
constexpr VekTypeInfo vekTypeRows[] = {
    {VekNumbers::ptrInterface, "Vek::PtrInterface", {}},
    {VekNumbers::notifieeConst, "Vek::PtrInterface::NotifieeConst", ptrInterface},
    {VekNumbers::entity, "Vek::Entity", ptrInterface, nullptr, nullptr, &entityRows},
    {VekNumbers::genericIf, "Vek::GenericIf", ptrInterface, nullptr, nullptr, &genericIfRows},
    valueRow<bool>("bool"),
    valueRow<std::uint8_t>("Vek::U8"),
    valueRow<U16>("Vek::U16"),
    valueRow<std::uint32_t>("Vek::U32"),
    valueRow<U1>("Vek::U1"),
    valueRow<U2>("Vek::U2"),
    valueRow<U4>("Vek::U4"),
    valueRow<U5>("Vek::U5"),
    valueRow<U10>("Vek::U10"),
    valueRow<U14>("Vek::U14"),
    valueRow<String>("Vek::String"),
    valueRow<AttributeId>("Vek::AttributeId"),
    valueRow<VoidPtrConst>("Vek::VoidPtrConst"),
    valueRow<VekType>("Vek::VekType"),
};

}  // namespace

constinit VekModule const vekModule{"Vek", vekTypeRows};

}  // namespace Vek

namespace Asic {
namespace {

using Vek::attribute;
using Vek::operation;
using Vek::reflectedType;
using Vek::valueRow;
using Vek::VekTypeOf;

using Handle = SwTable::EntryHandle;
constexpr Vek::VekAttribute entryHandleAttributes[] = {
    attribute<Handle, &Handle::hwEntryIndex, &Handle::hwEntryIndexIs>(Handle::hwEntryIndexAttribute,
                                                                      "hwEntryIndex"),
    attribute<Handle, &Handle::entryState, &Handle::entryStateIs>(Handle::entryStateAttribute,
                                                                  "entryState"),
};
constexpr Vek::VekReflection entryHandleRows{entryHandleAttributes, {}};

constexpr Vek::VekOperation hwTableOperations[] = {
    operation("writeResponseIs", {},
              {{"row", reflectedType<Index>}, {"state", reflectedType<HwTable::EntryState>}}),
};
constexpr Vek::VekReflection hwTableRows{{}, hwTableOperations};

constexpr Vek::VekAttribute featureAttributes[] = {
    // Behind those of the utilities, which have 1 and 2.
    attribute<Feature, &Feature::featureName>(3, "featureName"),
};
constexpr Vek::VekReflection featureRows{featureAttributes, {}};

using Allocator = GenericIndexAllocator;
// The parent is not counted, so it can be read only while it is there, and never set from outside.
constexpr Vek::VekAttribute indexAllocatorAttributes[] = {
    attribute<Allocator, &Allocator::size>(Allocator::sizeAttribute, "size"),
    attribute<Allocator, &Allocator::parent>(Allocator::parentAttribute, "parent"),
    attribute<Allocator, &Allocator::rowsFree>(3, "rowsFree"),
    attribute<Allocator, &Allocator::largestFreeRun>(4, "largestFreeRun"),
    attribute<Allocator, &Allocator::rowsInUse>(5, "rowsInUse"),
};
constexpr Vek::VekReflection indexAllocatorRows{indexAllocatorAttributes, {}};

constexpr Vek::VekAttribute blockAllocatorAttributes[] = {
    attribute<AnySizedBlockAllocator, &AnySizedBlockAllocator::blockType>(6, "blockType"),
};
constexpr Vek::VekReflection blockAllocatorRows{blockAllocatorAttributes, {}};

Vek::String gatewayText(L3EcmpNextHopKey const& key) { return Vek::format("%s", key.gateway()); }
constexpr Vek::VekAttribute nextHopKeyAttributes[] = {
    attribute<L3EcmpNextHopKey, &L3EcmpNextHopKey::vrf>(1, "vrf"),
    attribute<L3EcmpNextHopKey, &L3EcmpNextHopKey::interfaceIndex>(2, "interfaceIndex"),
    attribute<L3EcmpNextHopKey, &gatewayText>(3, "gateway"),
    attribute<L3EcmpNextHopKey, &L3EcmpNextHopKey::onlink>(4, "onlink"),
};
constexpr Vek::VekReflection nextHopKeyRows{nextHopKeyAttributes, {}};

constexpr Vek::VekType ptrInterface = VekTypeOf<Vek::PtrInterface>::type;
constexpr Vek::VekType entity = VekTypeOf<Vek::Entity>::type;
constexpr Vek::VekType indexAllocator = VekTypeOf<GenericIndexAllocator>::type;
constexpr Vek::VekTypeInfo asicTypes[] = {
    {AsicNumbers::swTable, "Asic::SwTable", entity},
    {AsicNumbers::entryHandle, "Asic::SwTable::EntryHandle", ptrInterface, nullptr, nullptr,
     &entryHandleRows},
    {AsicNumbers::hwTable, "Asic::HwTable", ptrInterface, nullptr, nullptr, &hwTableRows},
    {AsicNumbers::feature, "Asic::Feature", entity, nullptr, nullptr, &featureRows},
    {AsicNumbers::genericIndexAllocator, "Asic::GenericIndexAllocator", entity, nullptr, nullptr,
     &indexAllocatorRows},
    {AsicNumbers::firstFreeIndexAllocator, "Asic::FirstFreeIndexAllocator", indexAllocator},
    {AsicNumbers::anySizedBlockAllocator, "Asic::AnySizedBlockAllocator", indexAllocator, nullptr,
     nullptr, &blockAllocatorRows},
    {AsicNumbers::l3EcmpNextHopKey,
     "Asic::L3EcmpNextHopKey",
     {},
     &Vek::vekValueOps<L3EcmpNextHopKey>,
     nullptr,
     &nextHopKeyRows},
    valueRow<Index>("Asic::Index"),
    valueRow<BlockSize>("Asic::BlockSize"),
    valueRow<AutoRemoveType>("Asic::AutoRemoveType"),
    valueRow<HwTable::EntryState>("Asic::HwTable::EntryState"),
};

}  // namespace

constinit Vek::VekModule const asicModule{"Asic", asicTypes};

}  // namespace Asic

namespace OrviaAsicUtils {
namespace {

using Vek::attribute;
using Vek::operation;
using Vek::reflectedType;
using Vek::VekTypeOf;

constexpr Vek::VekAttribute swTableAttributes[] = {
    attribute<SwTable, &SwTable::hwTable, &SwTable::hwTableIs>(SwTable::hwTableAttribute,
                                                               "hwTable"),
    attribute<SwTable, &SwTable::hwTableReady, &SwTable::hwTableReadyIs>(
        SwTable::hwTableReadyAttribute, "hwTableReady"),
    attribute<SwTable, &SwTable::util, &SwTable::utilIs>(SwTable::utilAttribute, "util"),
    attribute<SwTable, &SwTable::numEntries, &SwTable::numEntriesIs>(SwTable::numEntriesAttribute,
                                                                     "numEntries"),
};
constexpr Vek::VekOperation swTableOperations[] = {
    operation<SwTable, &SwTable::doCreateHwTable>("doCreateHwTable"),
    operation<SwTable, &SwTable::doCreateHwTableResponse>("doCreateHwTableResponse"),
    operation<SwTable, &SwTable::responseNeeded>("responseNeeded"),
    operation<SwTable, &SwTable::doInitComplete>("doInitComplete"),
    operation<SwTable, &SwTable::syncEntries>("syncEntries"),
    operation("getEntryHandle", VekTypeOf<Asic::SwTable::EntryHandle>::type,
              {{"key", VekTypeOf<Vek::GenericIf>::type}}),
};
constexpr Vek::VekReflection swTableRows{swTableAttributes, swTableOperations};

constexpr Vek::VekArgument hwTable{"hwTable", VekTypeOf<Asic::HwTable>::type};
constexpr Vek::VekArgument swTable{"swTable", VekTypeOf<SwTable>::type};
constexpr Vek::VekArgument keyPointer{"keyPointer", reflectedType<Vek::VoidPtrConst>};
constexpr Vek::VekOperation utilOperations[] = {
    operation("doCreateHwTable", {}, {swTable}),
    operation("doCreateHwTableResponse", {}, {swTable}),
    operation("doDeleteHwTable", {}, {swTable}),
    operation("doInitComplete", {}, {swTable}),
    operation("doReadEntry", {}, {keyPointer, hwTable}),
    operation("doResync", {}, {hwTable, swTable}),
    operation("swTableKeyPtr", reflectedType<Vek::VoidPtrConst>,
              {{"hwTableKey", reflectedType<Vek::VoidPtrConst>}}),
    operation("doNotifyReadResponse", {}, {keyPointer, hwTable, swTable}),
};
constexpr Vek::VekReflection utilRows{{}, utilOperations};

constexpr Vek::VekAttribute writeResponseSmAttributes[] = {
    attribute<WriteResponseSm, &WriteResponseSm::notifier>(1, "notifier"),
    attribute<WriteResponseSm, &WriteResponseSm::table>(2, "table"),
};
constexpr Vek::VekReflection writeResponseSmRows{writeResponseSmAttributes, {}};

constexpr Vek::VekTypeInfo asicUtilsTypes[] = {
    {AsicUtilsNumbers::swTable, "OrviaAsicUtils::SwTable", VekTypeOf<Asic::SwTable>::type, nullptr,
     nullptr, &swTableRows},
    {AsicUtilsNumbers::swTableUtil,
     "OrviaAsicUtils::SwTableUtil",
     {&Asic::asicModule, Asic::AsicNumbers::feature},
     nullptr,
     nullptr,
     &utilRows},
    {AsicUtilsNumbers::writeResponseSm, "OrviaAsicUtils::WriteResponseSm",
     VekTypeOf<Vek::NotifieeConst>::type, nullptr, nullptr, &writeResponseSmRows},
};

}  // namespace

constinit Vek::VekModule const asicUtilsModule{"OrviaAsicUtils", asicUtilsTypes};

}  // namespace OrviaAsicUtils

namespace Loader {
namespace {

constexpr Vek::VekAttribute singletonAttributes[] = {
    Vek::attribute<Singleton, &Singleton::pathPref>(1, "pathPref"),
    Vek::attribute<Singleton, &Singleton::subdir>(2, "subdir"),
};
constexpr Vek::VekReflection singletonRows{singletonAttributes, {}};

constexpr Vek::VekTypeInfo loaderTypes[] = {
    {LoaderNumbers::singleton, "Loader::Singleton", Vek::VekTypeOf<Vek::Entity>::type, nullptr,
     nullptr, &singletonRows},
};

}  // namespace

constinit Vek::VekModule const loaderModule{"Loader", loaderTypes};

}  // namespace Loader
