// Which framework type a language type has, known at compile time: VekTypeOf<T>::type.
//
// Whoever describes a class or a value type in a module specialises it beside the class:
//
//   template <>
//   struct Vek::VekTypeOf<My::Key> {
//     static constexpr VekType type{&My::module, My::Numbers::key};
//   };
//
// Those of the platform are here. There is nothing to own and nothing to synchronise.
#pragma once

#include "Asic/AutoRemoveType.h"
#include "Asic/BlockSize.h"
#include "Asic/HwTable.h"
#include "Asic/Index.h"
#include "Asic/SwTable.h"
#include "Vek/FixedWidth.h"
#include "Vek/PlatformModules.h"

namespace Asic {
class L3EcmpNextHopKey;
class GenericIndexAllocator;
class FirstFreeIndexAllocator;
class AnySizedBlockAllocator;
}  // namespace Asic

namespace OrviaAsicUtils {
class SwTable;
class SwTableUtil;
class WriteResponseSm;
}  // namespace OrviaAsicUtils

namespace Vek {

class GenericIf;

// A pointer to something that only its maker and its reader know.
using VoidPtrConst = void const*;

template <class T>
struct VekTypeOf;

namespace detail {
template <VekModule const& Module, std::uint16_t Number>
struct PlatformType {
  static constexpr VekType type{&Module, Number};
};
template <std::uint16_t Number>
using VekNumbered = PlatformType<vekModule, Number>;
template <std::uint16_t Number>
using AsicNumbered = PlatformType<Asic::asicModule, Number>;
template <std::uint16_t Number>
using UtilsNumbered = PlatformType<OrviaAsicUtils::asicUtilsModule, Number>;
}  // namespace detail

// clang-format off
template <> struct VekTypeOf<PtrInterface> : detail::VekNumbered<VekNumbers::ptrInterface> {};
template <> struct VekTypeOf<NotifieeConst> : detail::VekNumbered<VekNumbers::notifieeConst> {};
template <> struct VekTypeOf<Entity> : detail::VekNumbered<VekNumbers::entity> {};
template <> struct VekTypeOf<GenericIf> : detail::VekNumbered<VekNumbers::genericIf> {};
template <> struct VekTypeOf<bool> : detail::VekNumbered<VekNumbers::boolean> {};
template <> struct VekTypeOf<std::uint8_t> : detail::VekNumbered<VekNumbers::u8> {};
template <> struct VekTypeOf<std::uint16_t> : detail::VekNumbered<VekNumbers::u16> {};
template <> struct VekTypeOf<std::uint32_t> : detail::VekNumbered<VekNumbers::u32> {};
template <> struct VekTypeOf<U1> : detail::VekNumbered<VekNumbers::u1> {};
template <> struct VekTypeOf<U2> : detail::VekNumbered<VekNumbers::u2> {};
template <> struct VekTypeOf<U4> : detail::VekNumbered<VekNumbers::u4> {};
template <> struct VekTypeOf<U5> : detail::VekNumbered<VekNumbers::u5> {};
template <> struct VekTypeOf<U10> : detail::VekNumbered<VekNumbers::u10> {};
template <> struct VekTypeOf<U14> : detail::VekNumbered<VekNumbers::u14> {};
template <> struct VekTypeOf<String> : detail::VekNumbered<VekNumbers::string> {};
template <> struct VekTypeOf<AttributeId> : detail::VekNumbered<VekNumbers::attributeId> {};
template <> struct VekTypeOf<VoidPtrConst> : detail::VekNumbered<VekNumbers::voidPtrConst> {};
template <> struct VekTypeOf<VekType> : detail::VekNumbered<VekNumbers::type> {};

template <> struct VekTypeOf<Asic::SwTable> : detail::AsicNumbered<Asic::AsicNumbers::swTable> {};
template <> struct VekTypeOf<Asic::SwTable::EntryHandle>
    : detail::AsicNumbered<Asic::AsicNumbers::entryHandle> {};
template <> struct VekTypeOf<Asic::HwTable> : detail::AsicNumbered<Asic::AsicNumbers::hwTable> {};
template <> struct VekTypeOf<Asic::Index> : detail::AsicNumbered<Asic::AsicNumbers::index> {};
template <> struct VekTypeOf<Asic::BlockSize> : detail::AsicNumbered<Asic::AsicNumbers::blockSize> {};
template <> struct VekTypeOf<Asic::AutoRemoveType>
    : detail::AsicNumbered<Asic::AsicNumbers::autoRemoveType> {};
template <> struct VekTypeOf<Asic::HwTable::EntryState>
    : detail::AsicNumbered<Asic::AsicNumbers::entryState> {};
template <> struct VekTypeOf<Asic::L3EcmpNextHopKey>
    : detail::AsicNumbered<Asic::AsicNumbers::l3EcmpNextHopKey> {};
template <> struct VekTypeOf<Asic::GenericIndexAllocator>
    : detail::AsicNumbered<Asic::AsicNumbers::genericIndexAllocator> {};
template <> struct VekTypeOf<Asic::FirstFreeIndexAllocator>
    : detail::AsicNumbered<Asic::AsicNumbers::firstFreeIndexAllocator> {};
template <> struct VekTypeOf<Asic::AnySizedBlockAllocator>
    : detail::AsicNumbered<Asic::AsicNumbers::anySizedBlockAllocator> {};

template <> struct VekTypeOf<OrviaAsicUtils::SwTable>
    : detail::UtilsNumbered<OrviaAsicUtils::AsicUtilsNumbers::swTable> {};
template <> struct VekTypeOf<OrviaAsicUtils::SwTableUtil>
    : detail::UtilsNumbered<OrviaAsicUtils::AsicUtilsNumbers::swTableUtil> {};
template <> struct VekTypeOf<OrviaAsicUtils::WriteResponseSm>
    : detail::UtilsNumbered<OrviaAsicUtils::AsicUtilsNumbers::writeResponseSm> {};
// clang-format on

}  // namespace Vek
