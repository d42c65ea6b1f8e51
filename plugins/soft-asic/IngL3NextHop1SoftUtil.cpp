#include "IngL3NextHop1SoftUtil.h"

namespace SoftAsic {
namespace {

// The hardware tables that reach this utility are the ones attached beside it.
NextHopHwTable& softTable(Vek::Ptr<Asic::HwTable> const& hwTable) {
  return static_cast<NextHopHwTable&>(*hwTable);
}

}  // namespace

IngL3NextHop1SoftUtil::IngL3NextHop1SoftUtil(OrviaL3Unicast::IngL3NextHop1Table& table,
                                             Vek::Ptr<AnswerQueue> const& answers)
    : IngL3NextHop1TableUtil("soft-asic"), table_(table.link()), answers_(answers) {}

IngL3NextHop1SoftUtil::~IngL3NextHop1SoftUtil() = default;

std::uint32_t IngL3NextHop1SoftUtil::minIndex() const { return 0; }

std::uint32_t IngL3NextHop1SoftUtil::maxIndex() const {
  auto const* const table = table_->table();
  if (table == nullptr || !table->hwTable()) return 0;
  return softTable(table->hwTable()).rows() - 1;
}

Asic::Index IngL3NextHop1SoftUtil::hwTableEntryIndex(Vek::Ptr<Asic::HwTable> const& hwTable,
                                                     Key const& key) const {
  NextHopHwTable const& hardware = softTable(hwTable);
  Asic::Index const row = key->hwEntryIndex();
  if (row.value() >= hardware.rows() || !hardware.row(row).contents) {
    return Asic::Index::invalidIndex();
  }
  return row;
}

void IngL3NextHop1SoftUtil::hwTableEntryIs(Vek::Ptr<Asic::HwTable> const& hwTable, Key const& key,
                                           Entry const& entry) {
  Asic::Index const row = key->hwEntryIndex();
  auto const stamp = softTable(hwTable).write(
      row, {entry.fields(), entry.l3Oif1(), entry.mtuProfilePtr()});
  answers_->answer([link = table_, hwTable, key, row, stamp] {
    NextHopHwTable& hardware = softTable(hwTable);
    // There is no row to keep the answer's order by: a row outside the table always refuses.
    auto const state = stamp ? hardware.answer(row, *stamp) : Asic::HwTable::refused;
    if (!state) return;
    Vek::Ptr<OrviaL3Unicast::IngL3NextHop1Table> const table = link->table();
    auto const handle = table ? table->entryHandleAccess(key) : nullptr;
    if (!handle) {
      hardware.countUnclaimed();
      return;
    }
    handle->hwEntryIndexIs(row);
    handle->entryStateIs(*state);
  });
}

void IngL3NextHop1SoftUtil::hwTableEntryDel(Vek::Ptr<Asic::HwTable> const& hwTable,
                                            Key const& key) {
  softTable(hwTable).erase(key->hwEntryIndex());
}

void IngL3NextHop1SoftUtil::hwTableEntryDelAll(Vek::Ptr<Asic::HwTable> const& hwTable) {
  softTable(hwTable).eraseAll();
}

void IngL3NextHop1SoftUtil::syncEntries(Vek::Ptr<Asic::HwTable> const&,
                                        Vek::Ptr<OrviaAsicUtils::SwTable> const&) {}

}  // namespace SoftAsic
