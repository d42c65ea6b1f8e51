// The base of the row allocators: how many rows there are, how they are used, and what is raised
// when none is left.
//
// Allocators know the owners of rows by value: a key is an untyped pointer and the VekType that
// says how to copy, compare, hash and show it. They keep copies; the caller's key may go.
//
// One thread, as everything that runs in the agent's reactor.
#pragma once

#include <cstdint>

#include "Vek/Entity.h"
#include "Vek/Exception.h"

namespace Asic {

// No row, or no run of rows, for what was asked. what() tells the same numbers as the accessors.
// The allocator is as it was before the call.
class VEK_EXPORT NoRowException : public Vek::Exception {
 public:
  NoRowException(std::uint32_t tableSize, std::uint32_t rowsFree, std::uint32_t largestFreeRun,
                 std::uint32_t width);
  ~NoRowException() override;

  [[nodiscard]] std::uint32_t tableSize() const { return tableSize_; }
  [[nodiscard]] std::uint32_t rowsFree() const { return rowsFree_; }
  [[nodiscard]] std::uint32_t largestFreeRun() const { return largestFreeRun_; }
  // How many consecutive rows were asked for.
  [[nodiscard]] std::uint32_t width() const { return width_; }

 private:
  std::uint32_t tableSize_;
  std::uint32_t rowsFree_;
  std::uint32_t largestFreeRun_;
  std::uint32_t width_;
};

class VEK_EXPORT GenericIndexAllocator : public Vek::Entity {
 public:
  static constexpr Vek::AttributeId sizeAttribute{1};
  static constexpr Vek::AttributeId parentAttribute{2};

  [[nodiscard]] Vek::VekType fwkType() const override;
  ~GenericIndexAllocator() override;

  // Rows that an allocation may take, the longest run of them, and rows that have an owner. Rows
  // may be neither free nor in use (reserved ones), so the sum need not be size().
  [[nodiscard]] virtual std::uint32_t rowsFree() const = 0;
  [[nodiscard]] virtual std::uint32_t largestFreeRun() const = 0;
  [[nodiscard]] virtual std::uint32_t rowsInUse() const = 0;

  static Vek::VekType classType();

  // Rows of the hardware table.
  [[nodiscard]] std::uint32_t size() const { return size_; }

  // Whose rows they are. Not counted: the parent owns the allocator, and takes itself off before it
  // goes. Announced when it changes.
  [[nodiscard]] Vek::PtrInterface const* parent() const { return parent_; }
  void parentIs(Vek::PtrInterface const* parent);
  void parentDel() { parentIs(nullptr); }

 protected:
  explicit GenericIndexAllocator(Vek::String const& name, std::uint32_t size = 0)
      : Vek::Entity(name), size_(size) {}

  void setSize(std::uint32_t rows) { size_ = rows; }
  // Raises NoRowException with the numbers of the moment.
  [[noreturn]] void throwNoRow(std::uint32_t width) const;

 private:
  std::uint32_t size_;
  Vek::PtrInterface const* parent_ = nullptr;
};

}  // namespace Asic
