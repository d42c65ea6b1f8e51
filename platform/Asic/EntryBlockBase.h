// What every block key has: how many consecutive rows the block takes. A key type derives from this
// as its first base, so that a block allocator that knows a key only as an untyped pointer can read
// the size from it.
#pragma once

#include "Asic/BlockSize.h"

namespace Asic {

class EntryBlockBase {
 public:
  constexpr EntryBlockBase() = default;
  constexpr explicit EntryBlockBase(BlockSize blockSize) : blockSize_(blockSize) {}

  [[nodiscard]] constexpr BlockSize blockSize() const { return blockSize_; }

  // Members rather than friends: a derived key compares its base part by naming them.
  constexpr bool operator==(EntryBlockBase const& other) const {
    return blockSize_ == other.blockSize_;
  }
  constexpr bool operator<(EntryBlockBase const& other) const {
    return blockSize_ < other.blockSize_;
  }
  // Whether it differs from the default, which has no rows.
  constexpr explicit operator bool() const { return blockSize_ != BlockSize(); }

 private:
  BlockSize blockSize_;
};

}  // namespace Asic
