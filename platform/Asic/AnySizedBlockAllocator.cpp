#include "Asic/AnySizedBlockAllocator.h"

#include "Asic/EntryBlockBase.h"
#include "Vek/Format.h"
#include "Vek/PlatformModules.h"
#include "Vek/SassertHelper.h"

namespace Asic {
namespace {

constexpr Vek::SassertWhere where(unsigned line, char const* signature) {
  return {"AnySizedBlockAllocator", line, signature};
}

std::uint32_t widthOf(void const* block) {
  return static_cast<EntryBlockBase const*>(block)->blockSize().value();
}

}  // namespace

AnySizedBlockAllocator::Ptr AnySizedBlockAllocator::AnySizedBlockAllocatorIs(
    Vek::String const& name, Vek::VekType blockType, std::uint32_t size) {
  if (blockType.valueOps() == nullptr) [[unlikely]] {
    Vek::SassertHelper(
        "blockType.valueOps()",
        where(__LINE__,
              "static Vek::Ptr<Asic::AnySizedBlockAllocator> "
              "Asic::AnySizedBlockAllocator::AnySizedBlockAllocatorIs(const Vek::String&, "
              "Vek::VekType, uint32_t)"))
        << "blocks are values, their type has no value operations: '" << blockType.name() << "'";
  }
  return new AnySizedBlockAllocator(name, blockType, size);
}

AnySizedBlockAllocator::AnySizedBlockAllocator(Vek::String const& name, Vek::VekType blockType,
                                               std::uint32_t size)
    : Tracked(name, size), blockType_(blockType) {}

Vek::VekType AnySizedBlockAllocator::fwkType() const { return classType(); }
Vek::VekType AnySizedBlockAllocator::classType() {
  return {&asicModule, AsicNumbers::anySizedBlockAllocator};
}
AnySizedBlockAllocator::~AnySizedBlockAllocator() = default;

std::uint32_t AnySizedBlockAllocator::rowsFree() const { return extents_.rowsFree(); }
std::uint32_t AnySizedBlockAllocator::largestFreeRun() const { return extents_.largest(); }
std::uint32_t AnySizedBlockAllocator::rowsInUse() const {
  return initialized_ ? size() - extents_.rowsFree() : 0;
}

void AnySizedBlockAllocator::handleInitialized() {
  if (initialized_) return;
  extents_.reset(size());
  initialized_ = true;
}

Index AnySizedBlockAllocator::newIndexForBlock(void const* block) {
  if (!initialized_) [[unlikely]] {
    Vek::SassertHelper("initialized_",
                       where(__LINE__,
                             "Asic::Index Asic::AnySizedBlockAllocator::newIndexForBlock(const "
                             "void*)"))
        << "a run was asked for before handleInitialized(), block: "
        << RowKeys::keyText(blockType_, block);
  }
  RowKeys::Found const found = blocks_.find(blockType_, block);
  if (found.row != Index::invalidIndex()) return found.row;
  std::uint32_t const width = widthOf(block);
  if (width == 0) [[unlikely]] {
    throw Vek::RangeException("a block of size 0 has no rows");
  }
  extents_.reserveForTake();
  std::uint32_t const first = extents_.take(width);
  if (first == FreeExtents::noRow) [[unlikely]]
    throwNoRow(width);
  try {
    blocks_.bind(first, blockType_, block, found.hash);
  } catch (...) {
    extents_.give(first, width);
    throw;
  }
  return first;
}

Index AnySizedBlockAllocator::indexForBlock(void const* block) const {
  return blocks_.find(blockType_, block).row;
}

void AnySizedBlockAllocator::releaseIndexForBlock(void const* block) {
  RowKeys::Found const found = blocks_.find(blockType_, block);
  if (found.row == Index::invalidIndex()) return;
  extents_.give(found.row.value(), widthOf(block));
  blocks_.unbind(found);
}

}  // namespace Asic
