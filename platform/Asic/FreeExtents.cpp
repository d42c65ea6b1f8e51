#include "Asic/FreeExtents.h"

#include <algorithm>
#include <bit>

namespace Asic {

// The trees are treaps: search trees by (length, first row), heaps by a hash of the first row,
// which keeps them as flat as if the extents had come in random order.

void FreeExtents::reset(std::uint32_t rows) {
  rows_ = rows;
  rowsFree_ = rows;
  extentsInUse_ = 0;
  runsTaken_ = 0;
  extentAt_.assign(rows, none);
  extents_.clear();
  unused_ = none;
  roots_.fill(none);
  notEmpty_.fill(0);
  if (rows == 0) return;
  reserveForTake();
  insert(0, rows);
}

std::uint32_t FreeExtents::largest() const {
  if (Id extent = roots_[0]; extent != none) {
    while (extents_[extent].greater != none) extent = extents_[extent].greater;
    return extents_[extent].length;
  }
  for (std::size_t word = notEmpty_.size(); word-- > 0;) {
    if (notEmpty_[word] != 0) {
      return static_cast<std::uint32_t>(word * 64 + 63) -
             static_cast<std::uint32_t>(std::countl_zero(notEmpty_[word]));
    }
  }
  return 0;
}

void FreeExtents::reserveForTake() {
  // Between two free extents lies a run, so there are at most one more of them than runs; and they
  // have a row each and one between them.
  std::size_t const most = std::size_t{rows_} / 2 + 1;
  std::size_t const needed = std::min(std::size_t{runsTaken_} + 2, most);
  std::size_t const had = extents_.size();
  if (had >= needed) return;
  extents_.resize(std::min(std::max(needed, 2 * had), most));
  for (std::size_t i = extents_.size(); i-- > had;) {
    extents_[i].less = unused_;
    unused_ = static_cast<Id>(i);
  }
}

std::uint32_t FreeExtents::take(std::uint32_t width) {
  Id const found = find(width);
  if (found == none) return noRow;
  auto const [first, length, less, greater] = extents_[found];
  erase(found);
  if (length > width) insert(first + width, length - width);
  rowsFree_ -= width;
  ++runsTaken_;
  return first;
}

void FreeExtents::give(std::uint32_t first, std::uint32_t width) {
  rowsFree_ += width;
  --runsTaken_;
  if (first > 0 && extentAt_[first - 1] != none) {
    Id const below = extentAt_[first - 1];
    first = extents_[below].first;
    width += extents_[below].length;
    erase(below);
  }
  if (first + width < rows_ && extentAt_[first + width] != none) {
    Id const above = extentAt_[first + width];
    width += extents_[above].length;
    erase(above);
  }
  insert(first, width);
}

std::uint32_t FreeExtents::priorityOf(Extent const& extent) {
  // All of the row's bits have to reach all of the result's: regular patterns of rows are common.
  std::uint32_t x = extent.first;
  x = (x ^ (x >> 16)) * 0x85ebca6bU;
  x = (x ^ (x >> 13)) * 0xc2b2ae35U;
  return x ^ (x >> 16);
}

bool FreeExtents::before(Extent const& a, Extent const& b) {
  return a.length != b.length ? a.length < b.length : a.first < b.first;
}

FreeExtents::Id FreeExtents::find(std::uint32_t width) const {
  std::uint32_t tree = 0;
  if (width < trees) {
    std::size_t word = width / 64;
    std::uint64_t candidates = notEmpty_[word] & (~std::uint64_t{0} << (width % 64));
    while (candidates == 0 && ++word < notEmpty_.size()) candidates = notEmpty_[word];
    if (candidates != 0) {
      tree = static_cast<std::uint32_t>(word * 64) +
             static_cast<std::uint32_t>(std::countr_zero(candidates));
    }
  }
  Id best = none;
  for (Id extent = roots_[tree]; extent != none;) {
    bool const fits = extents_[extent].length >= width;
    if (fits) best = extent;
    extent = fits ? extents_[extent].less : extents_[extent].greater;
  }
  return best;
}

void FreeExtents::insert(std::uint32_t first, std::uint32_t length) {
  Id const extent = unused_;
  unused_ = extents_[extent].less;
  extents_[extent].first = first;
  extents_[extent].length = length;
  extentAt_[first] = extent;
  extentAt_[first + length - 1] = extent;
  ++extentsInUse_;
  link(extent);
}

void FreeExtents::erase(Id extent) {
  unlink(extent);
  Extent& erased = extents_[extent];
  extentAt_[erased.first] = none;
  extentAt_[erased.first + erased.length - 1] = none;
  erased.less = unused_;
  unused_ = extent;
  --extentsInUse_;
}

void FreeExtents::link(Id extent) {
  Extent& added = extents_[extent];
  std::uint32_t const tree = treeOf(added.length);
  std::uint32_t const priority = priorityOf(added);
  Id* at = &roots_[tree];
  while (*at != none && priorityOf(extents_[*at]) >= priority) {
    at = before(added, extents_[*at]) ? &extents_[*at].less : &extents_[*at].greater;
  }
  // What is below here is split between the two sides of the new extent.
  Id rest = *at;
  *at = extent;
  Id* less = &added.less;
  Id* greater = &added.greater;
  while (rest != none) {
    if (before(extents_[rest], added)) {
      *less = rest;
      less = &extents_[rest].greater;
      rest = *less;
    } else {
      *greater = rest;
      greater = &extents_[rest].less;
      rest = *greater;
    }
  }
  *less = none;
  *greater = none;
  if (tree != 0) notEmpty_[tree / 64] |= std::uint64_t{1} << (tree % 64);
}

void FreeExtents::unlink(Id extent) {
  Extent const& removed = extents_[extent];
  std::uint32_t const tree = treeOf(removed.length);
  Id* at = &roots_[tree];
  while (*at != extent) {
    at = before(removed, extents_[*at]) ? &extents_[*at].less : &extents_[*at].greater;
  }
  // Its two sides are joined in its place.
  Id less = removed.less;
  Id greater = removed.greater;
  while (less != none && greater != none) {
    if (priorityOf(extents_[less]) >= priorityOf(extents_[greater])) {
      *at = less;
      at = &extents_[less].greater;
      less = *at;
    } else {
      *at = greater;
      at = &extents_[greater].less;
      greater = *at;
    }
  }
  *at = less != none ? less : greater;
  if (roots_[tree] == none) notEmpty_[tree / 64] &= ~(std::uint64_t{1} << (tree % 64));
}

}  // namespace Asic
