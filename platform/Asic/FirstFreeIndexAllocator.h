// Single rows for keys: a key gets the lowest free row and keeps it until it gives it back.
//
//   auto rows = Asic::FirstFreeIndexAllocator::FirstFreeIndexAllocatorIs("");
//   rows->sizeIs(1024);
//   rows->freeIndexIs(0, 1024, 1);      // rows start as not free
//   rows->reserveIndices(0, 0);         // row 0 only by requestIndexForKey
//   Asic::Index row = rows->newIndexForKey(type, &key);
//
// Every operation costs the same whatever the size of the table, but for the ranges of freeIndexIs
// and reserveIndices and for largestFreeRun, which reads one bit per row.
//
// See GenericIndexAllocator.h for how keys are given and for threading. A row outside the table
// raises Vek::RangeException.
#pragma once

#include <vector>

#include "Asic/GenericIndexAllocator.h"
#include "Asic/Index.h"
#include "Asic/RowKeys.h"
#include "Mosk/HBitmap.h"
#include "Vek/Memory.h"

namespace Asic {

class VEK_EXPORT FirstFreeIndexAllocator final
    : public Vek::Tracked<FirstFreeIndexAllocator, GenericIndexAllocator> {
 public:
  using Ptr = Vek::Ptr<FirstFreeIndexAllocator>;
  using PtrConst = Vek::Ptr<FirstFreeIndexAllocator const>;

  // A new allocator, without rows.
  static Ptr FirstFreeIndexAllocatorIs(Vek::String const& name);

  [[nodiscard]] Vek::VekType fwkType() const override;
  [[nodiscard]] std::uint32_t rowsFree() const override;
  [[nodiscard]] std::uint32_t largestFreeRun() const override;
  [[nodiscard]] std::uint32_t rowsInUse() const override;
  ~FirstFreeIndexAllocator() override;

  static Vek::VekType classType();
  static constexpr char const* typeName() { return "Asic::FirstFreeIndexAllocator"; }

  // The number of rows; new ones are not free yet. Announced when it changes. Cutting off a row
  // that has an owner is a programming error and aborts.
  void sizeIs(std::uint32_t rows);
  // State 1 makes `count` rows from `first` available, state 0 takes them away. A row that has an
  // owner keeps it and is free, or not, once it is given back.
  void freeIndexIs(std::uint64_t first, std::uint32_t count, Mosk::HBitmap::BitState state);
  // Takes the rows first to last, both included, out of first-free allocation for ever: neither
  // their release nor freeIndexIs brings them back.
  void reserveIndices(Index first, Index last);

  // The key's row; the lowest free one, from now on the key's, when it had none. Raises
  // NoRowException when no row is free.
  Index newIndexForKey(Vek::VekType const& type, void const* key);
  // Makes a chosen row, free or not, the key's. No effect when it is already. A row of another key,
  // or a key of another row, is a programming error: the abort names keys and rows.
  void requestIndexForKey(Index row, Vek::VekType const& type, void const* key);
  // The key's row, or the invalid index.
  [[nodiscard]] Index indexForKey(Vek::VekType const& type, void const* key) const;
  // Gives the key's row back. No effect when it has none.
  void releaseIndexForKey(Vek::VekType const& type, void const* key);
  // The allocator's copy of the key that owns the row, or none. Valid until the row is given back.
  [[nodiscard]] void const* keyOfIndex(Index row) const { return keys_.keyOf(row); }

 private:
  explicit FirstFreeIndexAllocator(Vek::String const& name) : Tracked(name) {}

  void checkRange(std::uint64_t first, std::uint32_t count) const;

  Mosk::HBitmap free_;           // available, not reserved and without an owner
  std::vector<bool> available_;  // what freeIndexIs made of the row
  std::vector<bool> reserved_;
  RowKeys keys_;
};

}  // namespace Asic
