// The hardware rows that the agent hands out as keys: a range, lowest free row first.
//
//   RowPool rows(1, 32767);
//   auto row = rows.take();      // empty when all are taken
//   rows.giveBack(*row);
//
// Threading: one thread. Ownership: rows are numbers; who takes one gives it back once.
#pragma once

#include <cstdint>
#include <optional>
#include <set>

namespace OrviaL3Agent {

class RowPool {
 public:
  // Rows `first` to `last`, both included; no row at all when `last` is smaller.
  RowPool(std::uint32_t first, std::uint32_t last);

  [[nodiscard]] std::optional<std::uint32_t> take();
  // Takes this row; false when it is taken or outside the range.
  [[nodiscard]] bool reserve(std::uint32_t row);
  // Throws std::invalid_argument for a row that is not taken.
  void giveBack(std::uint32_t row);

  [[nodiscard]] std::uint32_t first() const { return first_; }
  [[nodiscard]] std::uint64_t size() const { return end_ - first_; }
  [[nodiscard]] std::uint64_t taken() const { return next_ - first_ - returned_.size(); }

 private:
  std::uint32_t first_;
  std::uint64_t end_;
  std::uint64_t next_;                // every row from here on was never taken
  std::set<std::uint32_t> returned_;  // below next_, free again
};

}  // namespace OrviaL3Agent
