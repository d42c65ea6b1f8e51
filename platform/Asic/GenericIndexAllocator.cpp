#include "Asic/GenericIndexAllocator.h"

#include "Vek/Format.h"
#include "Vek/PlatformModules.h"

namespace Asic {

NoRowException::NoRowException(std::uint32_t tableSize, std::uint32_t rowsFree,
                               std::uint32_t largestFreeRun, std::uint32_t width)
    : Vek::Exception(Vek::format("no free run of width %u: table size %u, free rows %u, "
                                 "largest free run %u",
                                 width, tableSize, rowsFree, largestFreeRun)),
      tableSize_(tableSize),
      rowsFree_(rowsFree),
      largestFreeRun_(largestFreeRun),
      width_(width) {}
NoRowException::~NoRowException() = default;

Vek::VekType GenericIndexAllocator::fwkType() const { return classType(); }
Vek::VekType GenericIndexAllocator::classType() {
  return {&asicModule, AsicNumbers::genericIndexAllocator};
}
GenericIndexAllocator::~GenericIndexAllocator() = default;

void GenericIndexAllocator::parentIs(Vek::PtrInterface const* parent) {
  if (parent_ == parent) return;
  parent_ = parent;
  announce(parentAttribute);
}

void GenericIndexAllocator::throwNoRow(std::uint32_t width) const {
  throw NoRowException(size(), rowsFree(), largestFreeRun(), width);
}

}  // namespace Asic
