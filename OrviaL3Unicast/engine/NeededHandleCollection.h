// The needed entry handles of a record: slot number -> counted reference to another table's handle.
//
// A slot is the attribute id of the derived field that its handle feeds. A slot never holds an
// empty reference: setting one removes the slot. Iterates by ascending slot, so comparison depends
// on the content alone. Holding a reference keeps the handle object alive, and nothing more.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>

#include "Asic/SwTable.h"
#include "Vek/SmallMap.h"

namespace OrviaL3Unicast::engine {

using NeededHandle = Vek::Ptr<Asic::SwTable::EntryHandle const>;

// The part of a record that refers to other tables; base of the records.
class NeededHandleCollection {
 public:
  // No record of this system refers to more than two handles.
  using Slots = Vek::SmallMap<int, NeededHandle, 2>;

  // All slots, by ascending number.
  [[nodiscard]] Slots const& neededEntryHandle() const { return slots_; }
  // The handle in the slot, or empty.
  [[nodiscard]] NeededHandle neededEntryHandle(int slot) const {
    NeededHandle const* handle = slots_.find(slot);
    return handle != nullptr ? *handle : NeededHandle();
  }
  [[nodiscard]] std::size_t neededEntryHandleCount() const { return slots_.size(); }

  // Adds or replaces the handle of the slot; an empty one removes the slot.
  void neededEntryHandleIs(int slot, NeededHandle const& handle) {
    if (handle) {
      slots_.set(slot, handle);
    } else {
      slots_.take(slot);
    }
  }
  // Removes the slot and returns the handle that was there, or empty.
  NeededHandle neededEntryHandleDel(int slot) { return slots_.take(slot); }
  void neededEntryHandleDelAll() { slots_.clear(); }

 protected:
  NeededHandleCollection() = default;

  // The low 16 bits of the row of the handle in the slot; 0 without one. Deliberately unchecked: a
  // handle without a row yields 0xFFFF. Records are held back from the hardware until every needed
  // handle has its row, so such a value is never written.
  [[nodiscard]] std::uint16_t rowOfSlot(int slot) const {
    NeededHandle const* handle = slots_.find(slot);
    return handle != nullptr ? static_cast<std::uint16_t>((*handle)->hwEntryIndex().value()) : 0;
  }

  // Fewer slots come first; then the first pair that differs decides, by slot number and then by
  // the address of the handle object.
  [[nodiscard]] std::strong_ordering compareNeededHandles(
      NeededHandleCollection const& other) const {
    if (this == &other) return std::strong_ordering::equal;
    if (auto const bySize = slots_.size() <=> other.slots_.size(); bySize != 0) return bySize;
    auto mine = slots_.begin();
    auto theirs = other.slots_.begin();
    for (; !(mine == slots_.end()); ++mine, ++theirs) {
      if (auto const bySlot = mine->key <=> theirs->key; bySlot != 0) return bySlot;
      if (auto const byHandle = mine->value <=> theirs->value; byHandle != 0) return byHandle;
    }
    return std::strong_ordering::equal;
  }

 private:
  Slots slots_;
};

}  // namespace OrviaL3Unicast::engine
