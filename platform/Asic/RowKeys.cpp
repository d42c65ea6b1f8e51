#include "Asic/RowKeys.h"

#include <algorithm>
#include <limits>

#include "Vek/Hash.h"
#include "Vek/Memory.h"
#include "Vek/SassertHelper.h"

namespace Asic {
namespace {

constexpr unsigned rowKeysSeed = Vek::collectionHashSeed(0x40);

Vek::VekValueOps const& opsOf(Vek::VekType const& type) {
  Vek::VekValueOps const* ops = type.valueOps();
  if (ops == nullptr) [[unlikely]] {
    Vek::SassertHelper("type.valueOps()", {"RowKeys", __LINE__, "Asic::RowKeys"})
        << "keys of rows are values, their type has no value operations: '" << type.name() << "'";
  }
  return *ops;
}

}  // namespace

RowKeys::~RowKeys() {
  size_ = 0;  // what the end of a key sets off may still look here: it finds nothing
  for (std::size_t row = 0; row < keys_.size(); ++row) {
    if (keys_[row] == nullptr) continue;
    Vek::VekValueOps const& ops = *types_[keyTypes_[row]].ops;
    void* const key = keys_[row];
    keys_[row] = nullptr;
    ops.destroy(key);
    Vek::vekMemFree(key, ops.size);
  }
}

RowKeys::Found RowKeys::find(Vek::VekType const& type, void const* key) const {
  KeyType const* const known = knownType(type);
  Vek::VekValueOps const& ops = known != nullptr ? *known->ops : opsOf(type);
  // Mixed once more, because a type's own hash may leave the low bits alike, and because equal
  // contents of two types are two keys.
  std::uint32_t const hash =
      Vek::hashFold(Vek::hashMix(ops.hash(key, rowKeysSeed), std::uint64_t{type.number} << 32));
  if (known != nullptr && size_ != 0) {
    for (std::size_t i = home(hash); slots_[i].row != noRow; i = (i + 1) & mask_) {
      if (slots_[i].hash != hash) continue;
      std::uint32_t const row = slots_[i].row;
      if (&types_[keyTypes_[row]] == known && ops.equal(keys_[row], key)) return {row, hash};
    }
  }
  return {Index::invalidIndex(), hash};
}

Vek::String RowKeys::keyText(Index row) const {
  return types_[keyTypes_[row.value()]].ops->text(keys_[row.value()]);
}

Vek::String RowKeys::keyText(Vek::VekType const& type, void const* key) {
  return opsOf(type).text(key);
}

bool RowKeys::nothingFrom(std::uint32_t row) const {
  if (row >= keys_.size()) return true;
  return std::all_of(keys_.begin() + row, keys_.end(),
                     [](void const* key) { return key == nullptr; });
}

void RowKeys::bind(Index row, Vek::VekType const& type, void const* key, std::uint32_t hash) {
  std::uint16_t const position = positionOf(type);
  if ((std::size_t{size_} + 1) * 4 > slots_.size() * 3) grow();
  if (row.value() >= keys_.size()) {
    // The types first: there may be more of them than keys, never fewer.
    keyTypes_.resize(std::size_t{row.value()} + 1);
    keys_.resize(std::size_t{row.value()} + 1);
  }
  Vek::VekValueOps const& ops = *types_[position].ops;
  void* const memory = Vek::vekMemAlloc(ops.size);
  try {
    ops.copy(memory, key);
  } catch (...) {
    Vek::vekMemFree(memory, ops.size);
    throw;
  }
  keys_[row.value()] = memory;
  keyTypes_[row.value()] = position;
  place({hash, row.value()});
  ++size_;
}

void RowKeys::unbind(Found const& found) {
  std::uint32_t const row = found.row.value();
  std::size_t gap = home(found.hash);
  while (slots_[gap].row != row) gap = (gap + 1) & mask_;
  // Linear probing without tombstones: later slots of the run move up into the gap.
  for (std::size_t i = (gap + 1) & mask_; slots_[i].row != noRow; i = (i + 1) & mask_) {
    // The slot may fill the gap when its home is not between the gap and itself.
    if (((i - home(slots_[i].hash)) & mask_) >= ((i - gap) & mask_)) {
      slots_[gap] = slots_[i];
      gap = i;
    }
  }
  slots_[gap] = {};
  --size_;

  Vek::VekValueOps const& ops = *types_[keyTypes_[row]].ops;
  void* const key = keys_[row];
  keys_[row] = nullptr;
  ops.destroy(key);
  Vek::vekMemFree(key, ops.size);
}

RowKeys::KeyType const* RowKeys::knownType(Vek::VekType const& type) const {
  for (KeyType const& known : types_) {
    if (known.type == type) return &known;
  }
  return nullptr;
}

std::uint16_t RowKeys::positionOf(Vek::VekType const& type) {
  if (KeyType const* known = knownType(type)) {
    return static_cast<std::uint16_t>(known - types_.data());
  }
  Vek::VekValueOps const& ops = opsOf(type);
  if (ops.alignment > alignof(std::max_align_t) ||
      types_.size() == std::numeric_limits<std::uint16_t>::max()) [[unlikely]] {
    Vek::SassertHelper("ops.alignment <= alignof( std::max_align_t )",
                       {"RowKeys", __LINE__, "Asic::RowKeys"})
        << "not a type for keys of rows: '" << type.name() << "'";
  }
  types_.push_back({type, &ops});
  return static_cast<std::uint16_t>(types_.size() - 1);
}

void RowKeys::place(Slot slot) {
  std::size_t i = home(slot.hash);
  while (slots_[i].row != noRow) i = (i + 1) & mask_;
  slots_[i] = slot;
}

void RowKeys::grow() {
  std::vector<Slot> old(slots_.empty() ? 16 : 2 * slots_.size());
  old.swap(slots_);
  mask_ = slots_.size() - 1;
  for (Slot const& slot : old) {
    if (slot.row != noRow) place(slot);
  }
}

}  // namespace Asic
