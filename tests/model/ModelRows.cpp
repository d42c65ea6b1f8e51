#include "ModelRows.h"

#include <algorithm>
#include <stdexcept>

namespace Model {
namespace {

std::uint32_t rowOfKey(std::map<std::uint32_t, Key> const& keys, Key const& key) {
  for (auto const& [row, owner] : keys) {
    if (owner == key) return row;
  }
  return noRow;
}

void releaseKey(std::map<std::uint32_t, Key>& keys, Key const& key) {
  // The copy of the key goes last, when the row is already free.
  auto const released = keys.extract(rowOfKey(keys, key));
}

[[noreturn]] void throwNoRow(std::uint32_t size, std::uint32_t free, std::uint32_t largest,
                             std::uint32_t width) {
  throw std::runtime_error("no free run of width " + std::to_string(width) + ": table size " +
                           std::to_string(size) + ", free rows " + std::to_string(free) +
                           ", largest free run " + std::to_string(largest));
}

}  // namespace

std::uint32_t SingleRows::newRow(Key const& key) {
  std::uint32_t row = rowOf(key);
  if (row != noRow) return row;
  for (row = row0Reserved_ ? 1 : 0; row < size_; ++row) {
    if (keys_.count(row) == 0) {
      keys_.emplace(row, key);
      return row;
    }
  }
  throwNoRow(size_, 0, 0, 1);
}

void SingleRows::requestRow0(Key const& key) {
  std::uint32_t const row = rowOf(key);
  if (row == 0) return;
  if (Key const* owner = keyOf(0)) {
    journal_.abort("!keyOfIndex( index )", "row 0, asked for by key " + key.abortText() +
                                               ", belongs to key " + owner->abortText());
  }
  if (row != noRow) {
    journal_.abort(
        "indexForKey( type, key ) == Asic::Index::invalidIndex()",
        "row 0 was asked for by key " + key.abortText() + ", which has row " + std::to_string(row));
  }
  keys_.emplace(0, key);
}

std::uint32_t SingleRows::rowOf(Key const& key) const { return rowOfKey(keys_, key); }

Key const* SingleRows::keyOf(std::uint32_t row) const {
  auto const found = keys_.find(row);
  return found == keys_.end() ? nullptr : &found->second;
}

void SingleRows::release(Key const& key) { releaseKey(keys_, key); }

Runs::~Runs() {
  while (!blocks_.empty()) auto const released = blocks_.extract(blocks_.begin());
}

std::map<std::uint32_t, std::uint32_t> Runs::free() const {
  std::map<std::uint32_t, std::uint32_t> stretches;
  std::uint32_t first = 0;
  auto const upTo = [&](std::uint32_t end) {
    if (end > first) stretches[first] = end - first;
  };
  for (auto const& [base, block] : blocks_) {
    upTo(base);
    first = base + block.width();
  }
  upTo(size_);
  return stretches;
}

std::uint32_t Runs::newRun(Key const& block) {
  std::uint32_t const had = baseOf(block);
  if (had != noRow) return had;
  std::uint32_t const width = block.width();
  if (width == 0) throw std::runtime_error("a block of size 0 has no rows");
  std::uint32_t base = noRow;
  std::uint32_t best = noRow;
  std::uint32_t total = 0;
  std::uint32_t largest = 0;
  for (auto const& [first, length] : free()) {
    total += length;
    largest = std::max(largest, length);
    if (length >= width && length < best) {
      base = first;
      best = length;
    }
  }
  if (base == noRow) throwNoRow(size_, total, largest, width);
  blocks_.emplace(base, block);
  return base;
}

std::uint32_t Runs::baseOf(Key const& block) const { return rowOfKey(blocks_, block); }

void Runs::release(Key const& block) { releaseKey(blocks_, block); }

}  // namespace Model
