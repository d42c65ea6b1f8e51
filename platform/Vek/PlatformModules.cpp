#include "Vek/PlatformModules.h"

#include "Asic/L3EcmpNextHopKey.h"
#include "Vek/VekValueOps.h"

namespace Vek {
namespace {

constexpr VekType ptrInterface{&vekModule, VekNumbers::ptrInterface};
constexpr VekTypeInfo vekTypes[] = {
    {VekNumbers::ptrInterface, "Vek::PtrInterface", {}},
    {VekNumbers::notifieeConst, "Vek::PtrInterface::NotifieeConst", ptrInterface},
    {VekNumbers::entity, "Vek::Entity", ptrInterface},
    {VekNumbers::genericIf, "Vek::GenericIf", ptrInterface},
};

}  // namespace

constinit VekModule const vekModule{"Vek", vekTypes};

}  // namespace Vek

namespace Asic {
namespace {

constexpr Vek::VekType ptrInterface{&Vek::vekModule, Vek::VekNumbers::ptrInterface};
constexpr Vek::VekType entity{&Vek::vekModule, Vek::VekNumbers::entity};
constexpr Vek::VekType indexAllocator{&asicModule, AsicNumbers::genericIndexAllocator};
constexpr Vek::VekTypeInfo asicTypes[] = {
    {AsicNumbers::swTable, "Asic::SwTable", entity},
    {AsicNumbers::entryHandle, "Asic::SwTable::EntryHandle", ptrInterface},
    {AsicNumbers::hwTable, "Asic::HwTable", ptrInterface},
    {AsicNumbers::feature, "Asic::Feature", entity},
    {AsicNumbers::genericIndexAllocator, "Asic::GenericIndexAllocator", entity},
    {AsicNumbers::firstFreeIndexAllocator, "Asic::FirstFreeIndexAllocator", indexAllocator},
    {AsicNumbers::anySizedBlockAllocator, "Asic::AnySizedBlockAllocator", indexAllocator},
    {AsicNumbers::l3EcmpNextHopKey,
     "Asic::L3EcmpNextHopKey",
     {},
     &Vek::vekValueOps<L3EcmpNextHopKey>},
};

}  // namespace

constinit Vek::VekModule const asicModule{"Asic", asicTypes};

}  // namespace Asic

namespace OrviaAsicUtils {
namespace {

constexpr Vek::VekTypeInfo asicUtilsTypes[] = {
    {AsicUtilsNumbers::swTable,
     "OrviaAsicUtils::SwTable",
     {&Asic::asicModule, Asic::AsicNumbers::swTable}},
    {AsicUtilsNumbers::swTableUtil,
     "OrviaAsicUtils::SwTableUtil",
     {&Asic::asicModule, Asic::AsicNumbers::feature}},
    {AsicUtilsNumbers::writeResponseSm,
     "OrviaAsicUtils::WriteResponseSm",
     {&Vek::vekModule, Vek::VekNumbers::notifieeConst}},
};

}  // namespace

constinit Vek::VekModule const asicUtilsModule{"OrviaAsicUtils", asicUtilsTypes};

}  // namespace OrviaAsicUtils

namespace Loader {
namespace {

constexpr Vek::VekTypeInfo loaderTypes[] = {
    {LoaderNumbers::singleton, "Loader::Singleton", {&Vek::vekModule, Vek::VekNumbers::entity}},
};

}  // namespace

constinit Vek::VekModule const loaderModule{"Loader", loaderTypes};

}  // namespace Loader
