// What the utilities of all four tables do alike over the simulated hardware.
//
// A write takes effect in its row at once, is told to whoever watches, and is answered through the
// queue: once, or as often and as late as the hardware's faults have it. An answer to a write that
// was overwritten or deleted meanwhile is counted and dropped. A waiting answer keeps the
// hardware table alive, and the key where the key says the row. The utility does not keep its table
// alive; answers that come after the table's end change nothing. A delete outside the window, the
// invalid index included, is ignored and counted; a write outside is refused.
//
// `Wiring` says how the table is wired to its hardware:
// - Traits and Window: the table's traits, and the hardware table that is attached beside this;
// - name(): the utility's name;
// - row(where): the row that a write names, where being the traits' HwKey by value;
// - boundRow(table, key): the row that the key has now, or the invalid index;
// - deliver(table, window, where, row, state): hands an answer on; there is no table once it is
// gone;
// - refill(table, window, ownerOf): puts back what the window holds from before.
#pragma once

#include <cstdint>
#include <optional>
#include <type_traits>
#include <utility>

#include "OrviaL3Unicast/engine/TableUtil.h"
#include "plugins/soft-asic/AnswerQueue.h"
#include "plugins/soft-asic/RecordHandles.h"
#include "plugins/soft-asic/RowOwner.h"

namespace SoftAsic {

template <class Wiring>
class SoftUtil final : public Wiring::Traits::Util {
 public:
  using Traits = typename Wiring::Traits;
  using Table = typename Traits::Table;
  using Key = typename Traits::Key;
  using Entry = typename Traits::Entry;
  using HwKey = typename Traits::HwKey;
  using Where = std::remove_cvref_t<HwKey>;
  using Window = typename Wiring::Window;

  // Without `owners`, nobody owns what the hardware holds from before.
  SoftUtil(Table& table, Vek::Ptr<AnswerQueue> const& answers,
           Vek::Ptr<RowOwners> const& owners = nullptr)
      : Traits::Util(Wiring::name()), table_(table.link()), answers_(answers), owners_(owners) {}

  // The first row of the attached window; 0 before one is attached.
  [[nodiscard]] std::uint32_t minIndex() const override {
    Window const* const hardware = attached();
    return hardware == nullptr ? 0 : hardware->firstRow();
  }
  // The last row of the attached window; 0 before one is attached.
  [[nodiscard]] std::uint32_t maxIndex() const override {
    Window const* const hardware = attached();
    if (hardware == nullptr || hardware->rows() == 0) return 0;
    return hardware->firstRow() + (hardware->rows() - 1);
  }
  // The row that the key has (of a block: the first), when the hardware holds something there.
  [[nodiscard]] Asic::Index hwTableEntryIndex(Vek::Ptr<Asic::HwTable> const& hwTable,
                                              Key const& key) const override {
    Table const* const table = table_->table();
    if (table == nullptr) return Asic::Index::invalidIndex();
    Asic::Index const row = Wiring::boundRow(*table, key);
    Window const& hardware = window(hwTable);
    bool const held = hardware.hasRow(row) && hardware.row(row).contents;
    return held ? row : Asic::Index::invalidIndex();
  }
  void hwTableEntryIs(Vek::Ptr<Asic::HwTable> const& hwTable, HwKey where,
                      Entry const& entry) override {
    // The row, too, is the one of the write: a key may have another by the time of the answer.
    Asic::Index const row = Wiring::row(where);
    Window& hardware = window(hwTable);
    Contents const contents = contentsOf(entry);
    auto const receipt = hardware.write(row, contents);
    hardware.tell(Call::Kind::write, row, receipt.fate, [&](Call& call) {
      call.contents = contents;
      handlesOf(entry, call);
    });
    if (receipt.answers == 0) return;
    Completion completion{table_, hwTable, where, row, receipt.stamp};
    if (receipt.answers == 1) {
      answers_->answer(receipt.timing, std::move(completion));
      return;
    }
    // The first answer, at once, may be the end of this utility and of all that it was called with.
    Vek::Ptr<AnswerQueue> const answers = answers_;
    for (unsigned i = 0; i < receipt.answers; ++i) answers->answer(receipt.timing, completion);
  }
  void hwTableEntryDel(Vek::Ptr<Asic::HwTable> const& hwTable, HwKey where) override {
    Asic::Index const row = Wiring::row(where);
    Window& hardware = window(hwTable);
    Fate const fate = hardware.erase(row);
    hardware.tell(Call::Kind::remove, row, fate, [](Call&) {});
  }
  // Empties the window; a table that is not attached to one has nothing to empty.
  void hwTableEntryDelAll(Vek::Ptr<Asic::HwTable> const& hwTable) override {
    if (!hwTable) return;
    Window& hardware = window(hwTable);
    hardware.eraseAll();
    hardware.tell(Call::Kind::removeAll, hardware.firstRow(), Fate::taken, [](Call&) {});
  }
  // Refills nothing while nobody says who owns rows.
  void syncEntries(Vek::Ptr<Asic::HwTable> const& hwTable,
                   Vek::Ptr<OrviaAsicUtils::SwTable> const& swTable) override {
    if (!hwTable || !owners_ || !owners_->rowOwner()) return;
    // A copy: whoever is asked may name another.
    RowOwnerOf const ownerOf = owners_->rowOwner();
    // The table may be taken from its hardware meanwhile, and that from whoever else keeps it.
    Vek::Ptr<Asic::HwTable> const alive = hwTable;
    Wiring::refill(static_cast<Table&>(*swTable), window(alive), ownerOf);
  }

 private:
  using Link = OrviaL3Unicast::engine::TableLink<Traits>;
  using Contents = typename Window::Contents;

  // One answer on its way.
  struct Completion {
    Vek::Ptr<Link> link;
    Vek::Ptr<Asic::HwTable> hwTable;
    Where where;
    Asic::Index row;
    std::optional<typename Window::Stamp> stamp;

    void operator()() const {
      Window& hardware = window(hwTable);
      auto const state = hardware.answer(row, stamp);
      if (!state) return;
      Vek::Ptr<Table> const table = link->table();
      Wiring::deliver(table.get(), hardware, where, row, *state);
    }
  };

  // The hardware tables that reach this utility are the ones attached beside it.
  static Window& window(Vek::Ptr<Asic::HwTable> const& hwTable) {
    return static_cast<Window&>(*hwTable);
  }
  [[nodiscard]] Window const* attached() const {
    auto const* const table = table_->table();
    return table == nullptr || !table->hwTable() ? nullptr : &window(table->hwTable());
  }

  Vek::Ptr<Link> table_;
  Vek::Ptr<AnswerQueue> answers_;
  Vek::Ptr<RowOwners> owners_;
};

}  // namespace SoftAsic
