#include "Asic/FirstFreeIndexAllocator.h"

#include "Vek/Format.h"
#include "Vek/PlatformModules.h"
#include "Vek/SassertHelper.h"

namespace Asic {
namespace {

constexpr Vek::SassertWhere where(unsigned line, char const* signature) {
  return {"FirstFreeIndexAllocator", line, signature};
}
constexpr char const* sizeIsSignature = "void Asic::FirstFreeIndexAllocator::sizeIs(uint32_t)";
constexpr char const* requestIndexForKeySignature =
    "void Asic::FirstFreeIndexAllocator::requestIndexForKey(Asic::Index, const Vek::VekType&, "
    "const void*)";

}  // namespace

FirstFreeIndexAllocator::Ptr FirstFreeIndexAllocator::FirstFreeIndexAllocatorIs(
    Vek::String const& name) {
  Ptr allocator = new FirstFreeIndexAllocator(name);
  allocator->hasNotificationActiveIs(true);
  return allocator;
}

Vek::VekType FirstFreeIndexAllocator::fwkType() const { return classType(); }
Vek::VekType FirstFreeIndexAllocator::classType() {
  return {&asicModule, AsicNumbers::firstFreeIndexAllocator};
}
FirstFreeIndexAllocator::~FirstFreeIndexAllocator() = default;

std::uint32_t FirstFreeIndexAllocator::rowsFree() const { return free_.bitsSet(); }
std::uint32_t FirstFreeIndexAllocator::largestFreeRun() const { return free_.longestRun(); }
std::uint32_t FirstFreeIndexAllocator::rowsInUse() const { return keys_.size(); }

void FirstFreeIndexAllocator::sizeIs(std::uint32_t rows) {
  if (rows == size()) return;
  if (!keys_.nothingFrom(rows)) [[unlikely]] {
    Vek::SassertHelper("keys_.nothingFrom( rows )", where(__LINE__, sizeIsSignature))
        << "rows of keys would be cut off, from " << size() << " to " << rows << " rows";
  }
  free_.sizeIs(rows);
  available_.resize(rows);
  reserved_.resize(rows);
  setSize(rows);
  announce(sizeAttribute);
}

void FirstFreeIndexAllocator::freeIndexIs(std::uint64_t first, std::uint32_t count,
                                          Mosk::HBitmap::BitState state) {
  checkRange(first, count);
  for (auto row = static_cast<std::uint32_t>(first); count-- > 0; ++row) {
    available_[row] = state.isSet();
    free_.bitIs(row, state.isSet() && !reserved_[row] && keys_.keyOf(row) == nullptr);
  }
}

void FirstFreeIndexAllocator::reserveIndices(Index first, Index last) {
  if (first > last || last.value() >= size()) [[unlikely]] {
    throw Vek::RangeException(
        Vek::format("rows %u to %u are no rows of a table of %u rows", first, last, size()));
  }
  for (std::uint32_t row = first.value(); row <= last.value(); ++row) {
    reserved_[row] = true;
    free_.bitIs(row, 0);
  }
}

Index FirstFreeIndexAllocator::newIndexForKey(Vek::VekType const& type, void const* key) {
  RowKeys::Found const found = keys_.find(type, key);
  if (found.row != Index::invalidIndex()) return found.row;
  std::uint32_t const row = free_.lowestSet();
  if (row == Mosk::HBitmap::noBit) [[unlikely]]
    throwNoRow(1);
  keys_.bind(row, type, key, found.hash);  // may throw: then the row was not taken
  free_.bitIs(row, 0);
  return row;
}

void FirstFreeIndexAllocator::requestIndexForKey(Index row, Vek::VekType const& type,
                                                 void const* key) {
  checkRange(row.value(), 1);
  RowKeys::Found const found = keys_.find(type, key);
  if (found.row == row) return;
  if (keys_.keyOf(row) != nullptr) [[unlikely]] {
    Vek::SassertHelper("!keyOfIndex( index )", where(__LINE__, requestIndexForKeySignature))
        << "row " << row << ", asked for by key " << RowKeys::keyText(type, key)
        << ", belongs to key " << keys_.keyText(row);
  }
  if (found.row != Index::invalidIndex()) [[unlikely]] {
    Vek::SassertHelper("indexForKey( type, key ) == Asic::Index::invalidIndex()",
                       where(__LINE__, requestIndexForKeySignature))
        << "row " << row << " was asked for by key " << RowKeys::keyText(type, key)
        << ", which has row " << found.row;
  }
  keys_.bind(row, type, key, found.hash);
  free_.bitIs(row.value(), 0);
}

Index FirstFreeIndexAllocator::indexForKey(Vek::VekType const& type, void const* key) const {
  return keys_.find(type, key).row;
}

void FirstFreeIndexAllocator::releaseIndexForKey(Vek::VekType const& type, void const* key) {
  RowKeys::Found const found = keys_.find(type, key);
  if (found.row == Index::invalidIndex()) return;
  std::uint32_t const row = found.row.value();
  free_.bitIs(row, available_[row] && !reserved_[row]);
  keys_.unbind(found);
}

void FirstFreeIndexAllocator::checkRange(std::uint64_t first, std::uint32_t count) const {
  // Not first + count: that may wrap around.
  if (first > size() || count > size() - first) [[unlikely]] {
    throw Vek::RangeException(
        Vek::format("%u rows from %u on are not within a table of %u rows", count, first, size()));
  }
}

}  // namespace Asic
