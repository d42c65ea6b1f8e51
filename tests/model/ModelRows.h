// Who has which rows of a hardware table: single rows for keys, and runs of rows for blocks.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "ModelJournal.h"
#include "ModelKey.h"

namespace Model {

// Of rows 0 to size - 1. Row 0, once it is reserved, is given only to who asks for it.
class SingleRows {
 public:
  SingleRows(Journal& journal, std::uint32_t size) : journal_(journal), size_(size) {}

  [[nodiscard]] std::uint32_t size() const { return size_; }
  void reserveRow0() { row0Reserved_ = true; }

  // The key's row; the lowest free one when it had none. Throws when there is none.
  std::uint32_t newRow(Key const& key);
  // Row 0 becomes the key's.
  void requestRow0(Key const& key);
  [[nodiscard]] std::uint32_t rowOf(Key const& key) const;
  [[nodiscard]] Key const* keyOf(std::uint32_t row) const;
  void release(Key const& key);
  [[nodiscard]] std::map<std::uint32_t, Key> const& keys() const { return keys_; }

 private:
  Journal& journal_;
  std::uint32_t size_;
  bool row0Reserved_ = false;
  std::map<std::uint32_t, Key> keys_;
};

class Runs {
 public:
  explicit Runs(std::uint32_t size) : size_(size) {}
  Runs(Runs const&) = delete;
  Runs& operator=(Runs const&) = delete;
  // Blocks are released by ascending base.
  ~Runs();

  [[nodiscard]] std::uint32_t size() const { return size_; }

  // The base of the block's run; a new run, at the low end of the smallest free stretch that holds
  // it, when it had none. Throws when there is none.
  std::uint32_t newRun(Key const& block);
  [[nodiscard]] std::uint32_t baseOf(Key const& block) const;
  void release(Key const& block);
  [[nodiscard]] std::map<std::uint32_t, Key> const& blocks() const { return blocks_; }

 private:
  // Free stretches: first row to length.
  [[nodiscard]] std::map<std::uint32_t, std::uint32_t> free() const;

  std::uint32_t size_;
  std::map<std::uint32_t, Key> blocks_;  // by base
};

}  // namespace Model
