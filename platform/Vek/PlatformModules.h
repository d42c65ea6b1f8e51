// The framework modules of the platform's own classes and of the value types that attributes are
// made of: their type numbers and names.
#pragma once

#include "Vek/VekType.h"

namespace Vek {

VEK_EXPORT extern VekModule const vekModule;
struct VekNumbers {
  static constexpr std::uint16_t ptrInterface = 0;
  static constexpr std::uint16_t notifieeConst = 1;
  static constexpr std::uint16_t entity = 2;
  static constexpr std::uint16_t genericIf = 3;
  static constexpr std::uint16_t boolean = 4;
  static constexpr std::uint16_t u8 = 5;
  static constexpr std::uint16_t u16 = 6;
  static constexpr std::uint16_t u32 = 7;
  static constexpr std::uint16_t u1 = 8;
  static constexpr std::uint16_t u2 = 9;
  static constexpr std::uint16_t u4 = 10;
  static constexpr std::uint16_t u5 = 11;
  static constexpr std::uint16_t u10 = 12;
  static constexpr std::uint16_t u14 = 13;
  static constexpr std::uint16_t string = 14;
  static constexpr std::uint16_t attributeId = 15;
  static constexpr std::uint16_t voidPtrConst = 16;
  static constexpr std::uint16_t type = 17;
};

}  // namespace Vek

namespace Asic {

VEK_EXPORT extern Vek::VekModule const asicModule;
struct AsicNumbers {
  static constexpr std::uint16_t swTable = 0;
  static constexpr std::uint16_t entryHandle = 1;
  static constexpr std::uint16_t hwTable = 2;
  static constexpr std::uint16_t feature = 3;
  static constexpr std::uint16_t genericIndexAllocator = 4;
  static constexpr std::uint16_t firstFreeIndexAllocator = 5;
  static constexpr std::uint16_t anySizedBlockAllocator = 6;
  static constexpr std::uint16_t l3EcmpNextHopKey = 7;
  static constexpr std::uint16_t index = 8;
  static constexpr std::uint16_t blockSize = 9;
  static constexpr std::uint16_t autoRemoveType = 10;
  static constexpr std::uint16_t entryState = 11;
};

}  // namespace Asic

namespace OrviaAsicUtils {

VEK_EXPORT extern Vek::VekModule const asicUtilsModule;
struct AsicUtilsNumbers {
  static constexpr std::uint16_t swTable = 0;
  static constexpr std::uint16_t swTableUtil = 1;
  static constexpr std::uint16_t writeResponseSm = 2;
};

}  // namespace OrviaAsicUtils

namespace Loader {

VEK_EXPORT extern Vek::VekModule const loaderModule;
struct LoaderNumbers {
  static constexpr std::uint16_t singleton = 0;
};

}  // namespace Loader
