// The hardware of any one of the four tables as a test sees it: numbers in rows.
//
// Writes go through the table's utility, past the table itself, so that a test alone decides what
// is written where. One thread; the tables must outlive it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "SoftTables.h"

namespace SoftAsicTests {

using SoftAsic::Fate;
using SoftAsic::FaultProfile;
using SoftAsic::FaultProfiles;
using SoftAsic::TableId;

// An entry of some other table that has no row yet.
inline Handle unprogrammed() {
  Handle handle = new Asic::SwTable::EntryHandle;
  handle->hasNotificationActiveIs(true);
  return handle;
}

class HardwarePort {
 private:
  template <class Function>
  decltype(auto) with(Function const& function) const {
    switch (table_) {
      case TableId::ingressNextHops:
        return function(*tables_.ingress, tables_.device.ingressNextHops());
      case TableId::ecmpNextHops:
        return function(*tables_.nextHops, tables_.device.ecmpNextHops());
      case TableId::members:
        return function(*tables_.members, tables_.device.members());
      case TableId::groups:
        break;
    }
    return function(*tables_.groups, tables_.device.groups());
  }

 public:
  HardwarePort(Tables& tables, TableId table) : tables_(tables), table_(table) {}

  // The first row of the table's window.
  [[nodiscard]] std::uint32_t first() const {
    return with([](auto&, auto& window) { return window.firstRow(); });
  }
  void write(std::uint32_t row, std::uint16_t value) const {
    with([&](auto& table, auto& window) {
      table.util()->hwTableEntryIs(&window, key(table, row), record(table, value));
    });
  }
  void erase(std::uint32_t row) const {
    with([&](auto& table, auto& window) {
      table.util()->hwTableEntryDel(&window, key(table, row));
    });
  }
  void eraseAll() const {
    with([](auto& table, auto& window) { table.util()->hwTableEntryDelAll(&window); });
  }
  // What is in force.
  [[nodiscard]] std::optional<std::uint32_t> value(std::uint32_t row) const {
    return with([row](auto&, auto& window) {
      auto const& contents = window.row(row).contents;
      return contents ? std::optional(number(*contents)) : std::nullopt;
    });
  }
  [[nodiscard]] Answer answer(std::uint32_t row) const {
    return with([row](auto&, auto& window) { return window.row(row).answer; });
  }
  [[nodiscard]] Fate fate(std::uint32_t row) const {
    return with([row](auto&, auto& window) { return window.row(row).fate; });
  }
  void rowRefusesIs(std::uint32_t row) const {
    with([row](auto&, auto& window) { window.rowRefusesIs(row, true); });
  }
  [[nodiscard]] SoftAsic::Counts const& counts() const { return tables_.device.counts(table_); }
  // Answers that reached a row whose write they answer.
  [[nodiscard]] std::uint64_t heard() const {
    return counts().accepted + counts().refused + counts().repeated;
  }

 private:
  static Handle key(IngL3NextHop1Table&, std::uint32_t row) { return programmed(row); }
  static std::uint32_t key(auto&, std::uint32_t row) { return row; }
  static L3EcmpMember record(L3EcmpMemberTable&, std::uint16_t value) {
    return L3EcmpMember(programmed(value));
  }
  static L3EcmpGroupTable::Entry record(L3EcmpGroupTable&, std::uint16_t value) {
    return L3EcmpGroupTable::Entry(0, {}, 0, value);
  }
  template <class Table>
  static typename Table::Entry record(Table&, std::uint16_t value) {
    return nextHop<typename Table::Entry>(value);
  }
  static std::uint32_t number(SoftAsic::NextHopContents const& contents) {
    return contents.fields.destination;
  }
  static std::uint32_t number(SoftAsic::MemberContents const& contents) {
    return contents.nextHopEntry.value();
  }
  static std::uint32_t number(SoftAsic::GroupContents const& contents) { return contents.numPaths; }

  Tables& tables_;
  TableId table_;
};

// Profiles in which one table is as given, and the others are without fault.
inline FaultProfiles onlyOf(TableId table, FaultProfile const& profile, std::uint64_t seed = 1) {
  FaultProfiles profiles;
  profiles.seed = seed;
  profiles.of(table) = profile;
  return profiles;
}

// One turn of an agent's loop. Returns how many answers it delivered.
inline std::size_t runTurn(Tables& tables) {
  std::size_t const due = tables.device.answers()->turn();
  for (std::size_t i = 0; i < due; ++i) tables.device.answers()->deliverOne();
  return due;
}

// What the hardware answers, in order, as a table attached to it hears it.
class Responses final : public Vek::NotifieeConst {
 public:
  static Vek::Ptr<Responses> of(Vek::Ptr<Asic::HwTable> const& hwTable) {
    Vek::Ptr<Responses> responses = new Responses;
    responses->notifierIs(hwTable.get());
    responses->isRegisteredNotifieeIs(true);
    responses->hasNotificationActiveIs(true);
    return responses;
  }
  void onAttribute(Vek::AttributeId, void const* key) override {
    seen.push_back(*static_cast<Asic::HwTable::WriteResponse const*>(key));
  }
  std::vector<Asic::HwTable::WriteResponse> seen;
};

}  // namespace SoftAsicTests
