// What EngineWorld shows between two steps.

#include <algorithm>
#include <string>

#include "EngineSteps.h"
#include "OrviaL3Unicast/engine/ReflectStore.h"

namespace Model::Engine {
namespace {

using OrviaL3Unicast::engine::StoreView;

// " needed <n> seen <n> watching <slots>"
template <class Parked>
std::string tallyText(Parked const& parked) {
  std::string watching;
  for (auto const& [slot, watcher] : parked.neededEntryHandleSm()) {
    if (!watcher) continue;
    watching += (watching.empty() ? "" : ",") + std::to_string(slot.value());
  }
  return " needed " + std::to_string(parked.neededEntryHandleCount()) + " seen " +
         std::to_string(parked.entryHandleProgramSuccessCount()) + " watching " +
         (watching.empty() ? "-" : watching);
}

template <class Side>
class TableSnapshot {
 public:
  using Traits = typename Side::Traits;

  TableSnapshot(Side& side, Lines& lines) : side_(side), lines_(lines) {}

  void append() {
    for (auto const& [row, text] : side_.hardware) add("hardware", rowText(row), text);
    if (!side_.table) return;
    StoreView<Traits>::keys(
        *side_.table, [](auto const&) { return true; },
        [this](typename Traits::Key const& key) {
          appendKey(key);
          return true;
        });
    appendRows();
  }

 private:
  template <class... Words>
  void add(Words const&... words) {
    std::string line = Side::Part::name;
    ((line += " ", line += words), ...);
    lines_.push_back(std::move(line));
  }
  [[nodiscard]] std::string nameOf(Handle const* handle) const {
    return side_.state.names.of(handle);
  }

  void appendKey(typename Traits::Key const& key) {
    auto const& table = *side_.table;
    std::string const name = textOf(side_.state.names, key);
    if constexpr (Traits::ownsRows) {
      auto const registered = table.rawEntryHandle(key);
      if (registered) add("registered", name, nameOf(registered.get()));
    }
    if constexpr (Traits::holdsBlocks) {
      if (table.entryBlockExists(key)) add("committed", name);
      if (auto const parked = table.unresolvedEntryBlock(key)) {
        add("parked", name + tallyText(*parked));
      }
    } else {
      if (table.entryExists(key)) add("record", name, text(table.entry(key)));
      if (auto const owned = table.entryHandle(key)) add("owns", name, nameOf(owned.get()));
      if (auto const parked = table.unresolvedEntry(key)) {
        add("parked", name, text(parked->entry()) + tallyText(*parked));
      }
      if (auto const pending = table.pendingEntrySm(key)) {
        add("pending", name, nameOf(pending->notifier().get()),
            pending->hasNotificationActive() ? "on" : "off");
      }
    }
  }
  [[nodiscard]] std::string text(typename Traits::Entry const& record) const {
    return recordText(side_.state.names, record, Rows::hidden);
  }

  void appendRows() {
    if constexpr (Traits::holdsBlocks) {
      auto const& runs = side_.table->indexAllocator();
      if (!runs) return;
      std::uint32_t found = 0;
      StoreView<Traits>::keys(
          *side_.table, [](auto const&) { return true; },
          [&](typename Traits::Key const& block) {
            Asic::Index const base =
                runs->indexForBlock(static_cast<Asic::EntryBlockBase const*>(&block));
            if (base == Asic::Index::invalidIndex()) return true;
            add("run", textOf(side_.state.names, block), rowText(base));
            found += block.blockSize().value();
            return true;
          });
      // Rows of blocks that the table does not know any more.
      if (runs->rowsInUse() != found) add("lost", std::to_string(runs->rowsInUse() - found));
    } else if constexpr (Traits::ownsRows) {
      auto const& rows = side_.table->firstFreeIndexAllocator();
      if (!rows) return;
      for (std::uint32_t row = 0; row < rows->size(); ++row) {
        void const* const key = rows->keyOfIndex(row);
        if (key == nullptr) continue;
        add("row", textOf(side_.state.names, *static_cast<typename Traits::Key const*>(key)),
            rowText(row));
      }
    }
  }

  Side& side_;
  Lines& lines_;
};

}  // namespace

Lines EngineWorld::snapshot() {
  Lines lines;
  auto const append = [&](auto& side) { TableSnapshot(side, lines).append(); };
  append(parts_->ingress);
  append(parts_->hop);
  append(parts_->member);
  append(parts_->group);

  EngineState const& state = parts_->state;
  for (std::size_t n = 0; n < state.waiting.size(); ++n) {
    WaitingAnswer const& answer = state.waiting[n];
    constexpr char const* tables[] = {IngressPart::name, HopPart::name, MemberPart::name,
                                      GroupPart::name};
    std::string line = "waits " + std::to_string(n) + " " + tables[answer.table] + " ";
    line += answer.key ? state.names.of(answer.key.get()) : rowText(answer.row);
    lines.push_back(std::move(line));
  }
  state.names.appendTo(lines);
  for (std::size_t n = 0; n < slotCount; ++n) {
    lines.push_back("slot " + std::to_string(n) + " " + state.names.of(parts_->slots[n].get()));
  }
  live_.appendTo(lines);
  std::sort(lines.begin(), lines.end());
  return lines;
}

}  // namespace Model::Engine
