// One table of EngineWorld: the table with its hardware, its utility and its observer, all of which
// write into the world's log.
//
//   EngineTable<HopPart> hop(state);
//   hop.table->...; hop.answer(row, state);
//
// One thread; the table refers to the world's state, which outlives it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>

#include "EngineNames.h"

namespace Model::Engine {

// What is said of each table here.
struct IngressPart {
  using Traits = OrviaL3Unicast::IngL3NextHop1Traits;
  static constexpr char const* name = "ingress";
  static constexpr unsigned number = 0;
  static constexpr std::uint32_t rows = 6;
  static Vek::Ptr<Traits::Table> make() { return Traits::Table::IngL3NextHop1TableIs(); }
  static Traits::Key key(EngineState const& state, std::uint32_t n) {
    return state.externs[n % externCount];
  }
};
struct HopPart {
  using Traits = OrviaL3Unicast::EcmpIngL3NextHop1Traits;
  static constexpr char const* name = "hop";
  static constexpr unsigned number = 1;
  static constexpr std::uint32_t rows = 6;
  static Vek::Ptr<Traits::Table> make() { return Traits::Table::EcmpIngL3NextHop1TableIs(); }
  static Traits::Key key(EngineState const&, std::uint32_t n) {
    return {0, Asic::AddressFamily::ipv4, n % 3};
  }
};
struct MemberPart {
  using Traits = OrviaL3Unicast::L3EcmpMemberTraits;
  static constexpr char const* name = "member";
  static constexpr unsigned number = 2;
  static constexpr std::uint32_t rows = 8;
  static Vek::Ptr<Traits::Table> make() { return Traits::Table::L3EcmpMemberTableIs(); }
};
struct GroupPart {
  using Traits = OrviaL3Unicast::L3EcmpGroupTraits;
  static constexpr char const* name = "group";
  static constexpr unsigned number = 3;
  static constexpr std::uint32_t rows = 6;
  static Vek::Ptr<Traits::Table> make() { return Traits::Table::L3EcmpGroupTableIs(); }
  static Traits::Key key(EngineState const&, std::uint32_t n) { return {n % 3}; }
};

// "entry", "hwTable" and so on.
std::string attributeName(Vek::AttributeId attribute);

template <class P>
class EngineTable {
 public:
  using Part = P;
  using Traits = typename P::Traits;
  using Table = typename Traits::Table;
  using Key = typename Traits::Key;

  // Attached, after doInitComplete() and ready; what happens from then on is logged.
  explicit EngineTable(EngineState& world) : state(world), table(P::make()) {
    table->hwTableIs(hwTable);
    table->utilIs(new Util(*this));
    table->numEntriesIs(P::rows);
    table->doInitComplete();
    table->hwTableReadyIs(true);
    watch_ = new Watch(*this, *table);
  }

  // The table goes when no operation is under way in it; its answers never come.
  void tableDel() {
    table = nullptr;
    std::erase_if(state.waiting,
                  [](WaitingAnswer const& answer) { return answer.table == P::number; });
  }

  // The hardware answers a write.
  void answer(WaitingAnswer const& to, Asic::HwTable::EntryState outcome) {
    if constexpr (Traits::ownsRows) {
      hwTable->writeResponseIs(to.row, outcome);
    } else {
      Vek::Ptr<typename Table::EntryHandle> const handle = table->entryHandle(to.key);
      if (!handle) return;
      handle->hwEntryIndexIs(to.key->hwEntryIndex());
      handle->entryStateIs(outcome);
    }
  }

  EngineState& state;
  Vek::Ptr<Table> table;  // none when it is gone
  Vek::Ptr<Asic::HwTable> const hwTable = new Asic::HwTable;
  std::map<std::uint32_t, std::string> hardware;  // the last write of each row
  unsigned reaction = 0;                          // to what the table announces
  enum class AnswerMode : std::uint8_t { wait, accept, refuse, never } answerMode{};

 private:
  static std::string named(std::string const& rest) { return std::string(P::name) + " " + rest; }

  // The row that the table says, and what an answer to a write of it is for.
  static WaitingAnswer answerFor(typename Traits::HwKey where) {
    if constexpr (Traits::ownsRows) {
      return {P::number, where.value(), nullptr};
    } else {
      return {P::number, where->hwEntryIndex().value(), where};
    }
  }

  void written(typename Traits::HwKey where, typename Traits::Entry const& record) {
    WaitingAnswer const write = answerFor(where);
    std::string const text = recordText(state.names, record, Rows::shown);
    state.add(named("write " + rowText(write.row) + " " + text));
    hardware[write.row] = text;
    // Nobody answers a table that is gone.
    if (!table) return;
    switch (answerMode) {
      case AnswerMode::wait:
        state.waiting.push_back(write);
        return;
      case AnswerMode::accept:
        answer(write, Asic::HwTable::accepted);
        return;
      case AnswerMode::refuse:
        answer(write, Asic::HwTable::refused);
        return;
      case AnswerMode::never:
        return;
    }
  }
  void deleted(typename Traits::HwKey where) {
    WaitingAnswer const row = answerFor(where);
    state.add(named("delete " + rowText(row.row)));
    if (row.row != Asic::Index::invalidIndex().value()) hardware.erase(row.row);
  }
  void checkHwTable(Vek::Ptr<Asic::HwTable> const& given, bool mayBeNone = false) {
    if (given == hwTable || (mayBeNone && !given)) return;
    state.add(named("calls its utility with another hardware table"));
  }

  class Util final : public Traits::Util {
   public:
    using HwTable = Vek::Ptr<Asic::HwTable>;
    using HwKey = typename Traits::HwKey;

    explicit Util(EngineTable& side) : Traits::Util("model"), side_(side) {}
    [[nodiscard]] std::uint32_t minIndex() const override { return 0; }
    [[nodiscard]] std::uint32_t maxIndex() const override { return P::rows - 1; }
    [[nodiscard]] Asic::Index hwTableEntryIndex(HwTable const&, Key const&) const override {
      return Asic::Index::invalidIndex();
    }
    void hwTableEntryIs(HwTable const& given, HwKey where,
                        typename Traits::Entry const& record) override {
      side_.checkHwTable(given);
      side_.written(where, record);
    }
    void hwTableEntryDel(HwTable const& given, HwKey where) override {
      side_.checkHwTable(given);
      side_.deleted(where);
    }
    void hwTableEntryDelAll(HwTable const& given) override {
      side_.checkHwTable(given, true);
      side_.state.add(named("delete all"));
      side_.hardware.clear();
    }
    void syncEntries(HwTable const& given, Vek::Ptr<OrviaAsicUtils::SwTable> const&) override {
      side_.checkHwTable(given, true);
      side_.state.add(named("sync"));
    }

   private:
    EngineTable& side_;
  };

  class Watch final : public Vek::NotifieeConst {
   public:
    Watch(EngineTable& side, Table const& table) : side_(side), table_(table) {
      notifierIs(&table);
      isRegisteredNotifieeIs(true);
      hasNotificationActiveIs(true);
    }
    void onAttribute(Vek::AttributeId attribute, void const* key) override {
      std::string line = named("announces " + attributeName(attribute));
      if (key != nullptr) {
        Key const& changed = *static_cast<Key const*>(key);
        line += " " + textOf(side_.state.names, changed);
        if (auto const handle = announced(attribute, changed)) {
          side_.state.names.tableHandleIs(P::name, *handle);
        }
      }
      side_.state.add(std::move(line));
      if (side_.reaction != 0) side_.state.tableReacts(side_.reaction);
    }

   private:
    Vek::Ptr<typename Table::EntryHandle> announced(Vek::AttributeId attribute, Key const& key) {
      using Attribute = typename Table::Attribute;
      if constexpr (Traits::ownsRows) {
        if (attribute == Attribute::rawEntryHandle) return table_.rawEntryHandle(key);
      }
      if constexpr (!Traits::holdsBlocks) {
        if (attribute == Attribute::entryHandle) return table_.entryHandle(key);
      }
      return {};
    }

    EngineTable& side_;
    Table const& table_;
  };

  Vek::Ptr<Watch> watch_;
};

}  // namespace Model::Engine
