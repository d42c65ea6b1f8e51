// Who owns which row: the two-way relation between rows and keys inside an allocator.
//
// A row leads to the allocator's copy of its key; a key leads to its row through a table of digests
// {hash, row} that compares with that one copy. So a key is kept once, and finding it costs one
// probe. Keys of different types never are equal.
//
// A type without value operations is a programming error: the abort names the type.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Asic/Index.h"
#include "Vek/String.h"
#include "Vek/VekType.h"

namespace Asic {

class RowKeys {
 public:
  RowKeys() = default;
  RowKeys(RowKeys const&) = delete;
  RowKeys& operator=(RowKeys const&) = delete;
  ~RowKeys();

  // How many rows have a key.
  [[nodiscard]] std::uint32_t size() const { return size_; }
  struct Found {
    Index row;           // the key's row, or the invalid index
    std::uint32_t hash;  // of the key, for bind() and unbind()
  };
  [[nodiscard]] Found find(Vek::VekType const& type, void const* key) const;
  // The row's key, or none.
  [[nodiscard]] void const* keyOf(Index row) const {
    return row.value() < keys_.size() ? keys_[row.value()] : nullptr;
  }
  [[nodiscard]] Vek::String keyText(Index row) const;
  // No row from this one on has a key.
  [[nodiscard]] bool nothingFrom(std::uint32_t row) const;

  // Gives the row a copy of the key; `hash` as find() told it. Neither may be in the relation.
  // Nothing has changed when the copy throws.
  void bind(Index row, Vek::VekType const& type, void const* key, std::uint32_t hash);
  // Ends the relation that find() told. The copy is destroyed last, when the relation is whole
  // again: what its end sets off may come back here, so a caller does this last, too.
  void unbind(Found const& found);

  [[nodiscard]] static Vek::String keyText(Vek::VekType const& type, void const* key);

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t row = noRow;
  };
  struct KeyType {
    Vek::VekType type;
    Vek::VekValueOps const* ops;
  };
  static constexpr std::uint32_t noRow = 0xFFFFFFFFU;

  [[nodiscard]] KeyType const* knownType(Vek::VekType const& type) const;
  std::uint16_t positionOf(Vek::VekType const& type);
  [[nodiscard]] std::size_t home(std::uint32_t hash) const { return hash & mask_; }
  void place(Slot slot);
  void grow();

  // By row, up to the highest row that ever had a key.
  std::vector<void*> keys_;
  std::vector<std::uint16_t> keyTypes_;  // positions in types_
  std::vector<KeyType> types_;           // few: as a rule one
  std::vector<Slot> slots_;              // open addressing, a power of two
  std::size_t mask_ = 0;
  std::uint32_t size_ = 0;
};

}  // namespace Asic
