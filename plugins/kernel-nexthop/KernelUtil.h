// What the utilities of all four tables do alike over the kernel device: they hand on what the
// table asks for, and carry the answer of each write back to the table.
//
// A utility keeps the device alive, an answer on its way the hardware table, and the key where the
// key says the row. Neither keeps the table alive; answers that come after the table's end change
// nothing. A write outside of the device's rows is refused, a delete there does nothing.
//
// `Wiring` says how the table is wired to the device:
// - Traits: the table's;
// - row(where): the row that a write names, where being the traits' HwKey by value;
// - boundTo(table, key): what the key has now; a row that there is not for none;
// - write(device, row, entry, tell), remove(device, row), removeAll(device): asks for it;
// - deliver(table, hwTable, where, row, state): hands an answer on; there is no table once it is
// gone;
// - refill(device, table): puts back what the kernel holds.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "OrviaL3Unicast/engine/TableUtil.h"
#include "plugins/kernel-nexthop/KernelDevice.h"

namespace KernelNextHop {

template <class Wiring>
class KernelUtil final : public Wiring::Traits::Util {
 public:
  using Traits = typename Wiring::Traits;
  using Table = typename Traits::Table;
  using Key = typename Traits::Key;
  using Entry = typename Traits::Entry;
  using HwKey = typename Traits::HwKey;
  using Where = std::remove_cvref_t<HwKey>;
  using HwTable = Vek::Ptr<Asic::HwTable>;

  KernelUtil(Table& table, Vek::Ptr<KernelDevice> const& device)
      : Traits::Util("kernel-nexthop"), table_(table.link()), device_(device) {}

  [[nodiscard]] std::uint32_t minIndex() const override {
    return Wiring::rows(device_->options().sizes).first;
  }
  [[nodiscard]] std::uint32_t maxIndex() const override {
    auto const [first, last] = Wiring::rows(device_->options().sizes);
    return std::max(last, first + 1) - 1;
  }
  // Of a block: its first row. Member rows are no objects; the table's word is all there is.
  [[nodiscard]] Asic::Index hwTableEntryIndex(HwTable const&, Key const& key) const override {
    Vek::Ptr<Table> const table = table_->table();
    if (!table) return Asic::Index::invalidIndex();
    Asic::Index const row = Wiring::boundRow(*table, key);
    return Wiring::isInForce(*device_, row) ? row : Asic::Index::invalidIndex();
  }
  void hwTableEntryIs(HwTable const& hwTable, HwKey where, Entry const& entry) override {
    Asic::Index const row = Wiring::row(where);
    // The row is the one of the write: a key may have another by the time of the answer.
    Wiring::write(
        *device_, row.value(), entry,
        [link = table_, hwTable, key = Where(where), row](Asic::HwTable::EntryState state) {
          Vek::Ptr<Table> const table = link->table();
          Wiring::deliver(table.get(), *hwTable, key, row, state);
        });
  }
  void hwTableEntryDel(HwTable const&, HwKey where) override {
    Wiring::remove(*device_, Wiring::row(where).value());
  }
  void hwTableEntryDelAll(HwTable const&) override { Wiring::removeAll(*device_); }
  void syncEntries(HwTable const&, Vek::Ptr<OrviaAsicUtils::SwTable> const& swTable) override {
    Wiring::refill(*device_, swTable);
  }

 private:
  using Link = OrviaL3Unicast::engine::TableLink<Traits>;

  Vek::Ptr<Link> table_;
  Vek::Ptr<KernelDevice> device_;
};

}  // namespace KernelNextHop
