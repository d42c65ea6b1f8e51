// The free extents of a table's rows, for runs of any length.
//
// take() uses the smallest extent that is long enough and the lowest of equally long ones; give()
// joins what it is given with the free rows on both sides. Extents are found by their rows through
// one number per row, set at an extent's first and last row, and by their length through search
// trees: one for each length up to 255, with a bitmap of those that are not empty, and one for all
// longer extents, of which there cannot be many. So the cost of an operation grows with the
// logarithm of the number of extents of one length.
//
// A plain value, for one thread. Its user keeps track of the runs that are out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Asic {

class FreeExtents {
 public:
  static constexpr std::uint32_t noRow = 0xFFFFFFFFU;

  // Without rows.
  FreeExtents() { roots_.fill(none); }
  // Starts over with one free extent of all rows.
  void reset(std::uint32_t rows);

  [[nodiscard]] std::uint32_t rowsFree() const { return rowsFree_; }
  [[nodiscard]] std::uint32_t largest() const;
  // The number of free extents.
  [[nodiscard]] std::uint32_t size() const { return extentsInUse_; }

  // Makes room for the extents that there may be once one more run was taken: neither take() nor
  // give() then allocates. Throws std::bad_alloc.
  void reserveForTake();
  // The first row of a run of `width` > 0 rows that are free no longer, or noRow when no extent
  // holds it.
  std::uint32_t take(std::uint32_t width);
  // Gives a run back: it was taken and is not free.
  void give(std::uint32_t first, std::uint32_t width);

 private:
  using Id = std::uint32_t;  // of an extent
  static constexpr Id none = 0xFFFFFFFFU;
  struct Extent {
    std::uint32_t first = 0;
    std::uint32_t length = 0;
    Id less = none;
    Id greater = none;
  };
  // Tree 0 holds the long extents, tree n those of length n.
  static constexpr std::uint32_t trees = 256;

  static std::uint32_t treeOf(std::uint32_t length) { return length < trees ? length : 0; }
  static std::uint32_t priorityOf(Extent const& extent);
  [[nodiscard]] static bool before(Extent const& a, Extent const& b);

  [[nodiscard]] Id find(std::uint32_t width) const;
  void insert(std::uint32_t first, std::uint32_t length);
  void erase(Id extent);
  void link(Id extent);
  void unlink(Id extent);

  std::uint32_t rows_ = 0;
  std::uint32_t rowsFree_ = 0;
  std::uint32_t extentsInUse_ = 0;
  std::uint32_t runsTaken_ = 0;
  std::vector<Id> extentAt_;     // by row: the extent that starts or ends there
  std::vector<Extent> extents_;  // those that are not in use are chained through `less`
  Id unused_ = none;
  std::array<Id, trees> roots_;
  std::array<std::uint64_t, trees / 64> notEmpty_{};
};

}  // namespace Asic
