#include "ModelWorld.h"

#include <algorithm>
#include <stdexcept>

namespace Model {
namespace {

std::vector<std::string> const tableNames = {"ingress", "hop", "member", "group"};

std::string joined(std::map<int, std::shared_ptr<Watcher>> const& watchers) {
  std::string text;
  for (auto const& [slot, watcher] : watchers) {
    text += (text.empty() ? "" : ",") + std::to_string(slot);
  }
  return text.empty() ? "-" : text;
}

}  // namespace

ModelWorld::ModelWorld(Reactions const& reactions) : reactions_(reactions) {
  journal_.frozenIs(true);
  journal_.handlerCalled = [this](std::uint32_t handler, std::uint32_t state) {
    handlerCalled(handler, state);
  };
  journal_.tableReacts = [this](std::uint32_t reaction) { react(reaction, Raises::no); };
  for (std::uint32_t i = 0; i < tableNames.size(); ++i) {
    hardware_.push_back(std::make_unique<Hardware>(journal_, waiting_, i, tableNames[i]));
  }
  for (std::uint32_t i = 0; i < externs_.size(); ++i) {
    externs_[i] = Handle::ofExtern(journal_, "e" + std::to_string(i));
  }
  ingress_ = IngressTable::make(journal_, *hardware_[0]);
  hop_ = RowTable::make(journal_, *hardware_[1], "hop");
  member_ = MemberTable::make(journal_, *hardware_[2]);
  group_ = RowTable::make(journal_, *hardware_[3], "group");
  for (std::uint32_t i = 0; i < tableNames.size(); ++i) {
    tableOf(i)->hwTableIs(true);
    tableOf(i)->doInitComplete();
    tableOf(i)->hwTableReadyIs(true);
  }
  // Every type is told in a snapshot, also when nothing of it lives.
  for (std::string const& name : tableNames) {
    bool const blocks = name == "member";
    journal_.live[name + " EntryHandle"];
    journal_.live[name + (blocks ? " UnresolvedEntryBlock" : " UnresolvedEntry")];
    journal_.live[name + " NeededEntryHandleSm"];
    if (!blocks) journal_.live[name + " PendingEntrySm"];
  }
  journal_.frozenIs(false);
}

ModelWorld::~ModelWorld() {
  journal_.frozenIs(true);
  for (HandlePtr& slot : slots_) HandlePtr const released = std::exchange(slot, nullptr);
  ingress_ = nullptr;
  hop_ = nullptr;
  group_ = nullptr;
  member_ = nullptr;
}

void ModelWorld::stepIs(Step const& step) {
  // Only handlers raise.
  if (step.kind != Kind::raise) perform(step);
}

void ModelWorld::perform(Step const& step) {
  try {
    if (step.kind == Kind::raise) throw std::runtime_error("handler raises");
    // One group after the other is asked.
    static_cast<void>(performOutside(step) || performCall(step) || performOnAny(step) ||
                      performOnParked(step) || performOnEntries(step) || performOnRows(step) ||
                      performOnBlocks(step));
  } catch (Abort const&) {
    throw;
  } catch (std::exception const& exception) {
    journal_.line(std::string("raises ") + exception.what());
    // The handler ends here, and what called it.
    if (step.kind == Kind::raise) throw;
  }
  journal_.check();
}

void ModelWorld::handlerCalled(std::uint32_t handler, std::uint32_t state) {
  journal_.check();
  if (journal_.frozen()) return;
  journal_.line("handler " + std::to_string(handler) + " hears " + std::to_string(state));
  react(handler, Raises::yes);
}

void ModelWorld::react(std::uint32_t reaction, Raises raises) {
  journal_.check();
  if (journal_.frozen()) return;
  if (reactionDepth_ == maximumReactionDepth || reacted_ == maximumReactions) return;
  ++reacted_;
  ++reactionDepth_;
  struct Leave {
    std::uint32_t& depth;
    ~Leave() { --depth; }
  } const leave{reactionDepth_};
  for (Step const& step : reactions_[reaction - 1]) {
    if (step.kind != Kind::raise || raises == Raises::yes) perform(step);
  }
}

HandlePtr ModelWorld::refOf(std::uint32_t number) const {
  number %= 13;
  if (number == 0) return nullptr;
  return number <= 6 ? externs_[number - 1] : slots_[number - 7];
}

Record ModelWorld::recordOf(std::uint32_t table, std::uint32_t number) const {
  Record record(table == 3 ? Record::Type::group : Record::Type::hop);
  if (table == 3) {
    record.neededIs(3, refOf(number));
    record.numberIs(number / 13 % 3);
  } else {
    record.neededIs(9, refOf(number));
    record.neededIs(12, refOf(number / 13));
    record.numberIs(number / 169 % 3);
  }
  return record;
}

Key ModelWorld::blockOf(std::uint32_t number) const {
  std::uint32_t const width = number % 4;
  number /= 4;
  std::vector<HandlePtr> members;
  for (std::uint32_t i = 0; i < width; ++i, number /= 13) members.push_back(refOf(number));
  return Key::ofBlock(std::move(members));
}

Key ModelWorld::keyOf(std::uint32_t table, std::uint32_t number) const {
  if (table == 0) return Key::ofExtern(externs_[number % externs_.size()]);
  return table == 1 ? Key::ofHop(number % 3) : Key::ofGroup(number % 3);
}

HandlePtr ModelWorld::slotOfTable(std::uint32_t slot, std::string const& table) const {
  HandlePtr const& handle = slots_[slot % slots_.size()];
  return handle && handle->tableName() == table ? handle : nullptr;
}

Table* ModelWorld::tableOf(std::uint32_t table) const {
  if (table == 2) return member_.get();
  return entryTableOf(table);
}

EntryTable* ModelWorld::entryTableOf(std::uint32_t table) const {
  if (table == 0) return ingress_.get();
  return rowTableOf(table);
}

RowTable* ModelWorld::rowTableOf(std::uint32_t table) const {
  return table == 1 ? hop_.get() : group_.get();
}

void ModelWorld::returns(HandlePtr handle, std::uint32_t slot) {
  returns(Handle::nameOf(handle));
  // What was in the slot is released when the slot already shows the new one.
  if (handle) handle.swap(slots_[slot % slots_.size()]);
}

Lines ModelWorld::snapshot() {
  Lines lines;
  for (std::uint32_t i = 0; i < hardware_.size(); ++i) {
    if (Table const* table = tableOf(i)) snapshotTable(*table, lines);
    for (auto const& [row, text] : hardware_[i]->rows()) {
      lines.push_back(tableNames[i] + " hardware " + rowText(row) + " " + text);
    }
  }
  snapshotRows(lines);
  snapshotHandles(lines);
  for (std::size_t i = 0; i < waiting_.size(); ++i) {
    Waiting const& waiting = waiting_[i];
    lines.push_back("waits " + std::to_string(i) + " " + tableNames[waiting.table] + " " +
                    (waiting.key ? waiting.key->name() : rowText(waiting.row)));
  }
  for (auto const& [type, count] : journal_.live) {
    lines.push_back("live " + type + " " + std::to_string(count));
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

void ModelWorld::snapshotTable(Table const& table, Lines& lines) const {
  auto const add = [&](std::string const& text) { lines.push_back(table.name() + " " + text); };
  for (Member const& member : table.members()) {
    std::string const key = member.key.text();
    if (member.record) add("record " + key + " " + member.record->text());
    if (member.committed) add("committed " + key);
    if (Parked const* parked = member.parked.get()) {
      add("parked " + key + (parked->ofBlock() ? "" : " " + parked->record().text()) + " needed " +
          std::to_string(parked->needed()) + " seen " + std::to_string(parked->seen()) +
          " watching " + joined(parked->watchers()));
    }
    if (Pending const* pending = member.pending.get()) {
      Handle const* const notifier = pending->notifier();
      add("pending " + key + " " + (notifier == nullptr ? "none" : notifier->name()) + " " +
          (pending->active() ? "on" : "off"));
    }
    if (member.owned) add("owns " + key + " " + member.owned->name());
    if (member.registered != nullptr) add("registered " + key + " " + member.registered->name());
  }
}

void ModelWorld::snapshotRows(Lines& lines) const {
  for (std::uint32_t const i : {1U, 3U}) {
    RowTable const* const table = rowTableOf(i);
    if (table == nullptr || table->rows() == nullptr) continue;
    for (auto const& [row, key] : table->rows()->keys()) {
      lines.push_back(table->name() + " row " + key.text() + " " + std::to_string(row));
    }
  }
  if (!member_ || member_->runs() == nullptr) return;
  for (auto const& [base, block] : member_->runs()->blocks()) {
    lines.push_back("member run " + block.text() + " " + std::to_string(base));
  }
}

void ModelWorld::snapshotHandles(Lines& lines) const {
  for (Handle const* handle : journal_.handles) {
    if (handle->name().empty()) continue;
    std::string text = handle->name() + " row " + rowText(handle->row()) + " state " +
                       std::to_string(handle->state());
    if (!handle->tableName().empty()) {
      text += " mode " + std::to_string(handle->mode()) + " handler " +
              std::to_string(handle->handler());
    }
    lines.push_back(text);
  }
  for (std::size_t i = 0; i < slots_.size(); ++i) {
    lines.push_back("slot " + std::to_string(i) + " " + Handle::nameOf(slots_[i]));
  }
}

}  // namespace Model
