// Runs of consecutive rows for blocks: a block gets as many rows as its size says and keeps them
// until it gives them back.
//
//   auto runs = Asic::AnySizedBlockAllocator::AnySizedBlockAllocatorIs("", blockType, 65536);
//   runs->handleInitialized();
//   Asic::Index base = runs->newIndexForBlock(&block);
//
// Blocks are values of one type, given as untyped pointers; each starts with its EntryBlockBase,
// from which the allocator reads the size. Equal blocks are one block and have one run.
//
// Placement: the smallest free extent that holds the run, the lowest among equally small ones, the
// run at its low end. That keeps long extents whole and low rows in use. See FreeExtents.h.
//
// See GenericIndexAllocator.h for threading.
#pragma once

#include "Asic/FreeExtents.h"
#include "Asic/GenericIndexAllocator.h"
#include "Asic/Index.h"
#include "Asic/RowKeys.h"
#include "Vek/Memory.h"

namespace Asic {

class VEK_EXPORT AnySizedBlockAllocator final
    : public Vek::Tracked<AnySizedBlockAllocator, GenericIndexAllocator> {
 public:
  using Ptr = Vek::Ptr<AnySizedBlockAllocator>;
  using PtrConst = Vek::Ptr<AnySizedBlockAllocator const>;

  // A new allocator for `size` rows and blocks of the given type, which has value operations. Has
  // no rows to give before handleInitialized().
  static Ptr AnySizedBlockAllocatorIs(Vek::String const& name, Vek::VekType blockType,
                                      std::uint32_t size);

  [[nodiscard]] Vek::VekType fwkType() const override;
  [[nodiscard]] std::uint32_t rowsFree() const override;
  [[nodiscard]] std::uint32_t largestFreeRun() const override;
  [[nodiscard]] std::uint32_t rowsInUse() const override;
  ~AnySizedBlockAllocator() override;

  static Vek::VekType classType();
  static constexpr char const* typeName() { return "Asic::AnySizedBlockAllocator"; }

  [[nodiscard]] Vek::VekType const& blockType() const { return blockType_; }
  // Makes all rows free. To be called once, before the first block; later calls have no effect.
  void handleInitialized();

  // The first row of the block's run; a new run when it had none. Raises NoRowException when no
  // free extent is long enough, and Vek::RangeException for a block of size 0.
  Index newIndexForBlock(void const* block);
  // The first row of the block's run, or the invalid index.
  [[nodiscard]] Index indexForBlock(void const* block) const;
  // Gives the block's run back. No effect when it has none.
  void releaseIndexForBlock(void const* block);

 private:
  AnySizedBlockAllocator(Vek::String const& name, Vek::VekType blockType, std::uint32_t size);

  Vek::VekType blockType_;
  bool initialized_ = false;
  FreeExtents extents_;
  RowKeys blocks_;  // by first row
};

}  // namespace Asic
