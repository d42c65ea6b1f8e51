// What callers are told: a key holds what was written last, the parked record ahead of the
// programmed one, and an answer reaches the key's handler.

#include <algorithm>

#include "Course.h"

namespace Interleaving {
namespace {

using Model::Kind;
using Model::Step;

std::map<Text, Text> heldBy(TableView const& table) {
  std::map<Text, Text> held = table.records;
  for (Parked const& parked : table.parked) held[parked.key] = parked.record;
  return held;
}

std::string refText(View const& before, std::uint32_t ref) {
  if (ref == 0) return "none";
  if (ref <= 6) return "e" + std::to_string(ref - 1);
  auto const slot = before.slots().find(ref - 7);
  return slot != before.slots().end() ? std::string(slot->second) : "none";
}

struct Write {
  Table table;
  std::string key;
  std::string record;
};
std::optional<Write> writeOf(View const& before, Step const& step) {
  std::uint32_t const n = step.n[1];
  std::string const key = std::to_string(step.n[0]);
  std::string const hopRecord = refText(before, n % 13) + "/" + refText(before, n / 13 % 13) + "/" +
                                std::to_string(n / 169 % 3);
  switch (step.kind) {
    case Kind::ingressCommit:
      return Write{ingress, "e" + key, hopRecord};
    case Kind::hopCommit:
    case Kind::hopRef:
      return Write{hop, "k" + key, hopRecord};
    case Kind::groupCommit:
    case Kind::groupRef:
      return Write{group, "g" + key, refText(before, n % 13) + "/" + std::to_string(n / 13 % 3)};
    default:
      return {};
  }
}

bool isOutside(Step const& step) {
  return step.kind == Kind::externRow || step.kind == Kind::externState ||
         step.kind == Kind::answer || step.kind == Kind::answerMode;
}

}  // namespace

void Course::checkHeld(Event const& event, View const& before) {
  // A handler may have written anything.
  if (reacted_) return;
  for (Step const& step : event.steps) {
    auto const write = writeOf(before, step);
    if (!write || gone_[write->table]) continue;
    auto const held = heldBy(view_->table(write->table));
    auto const found = held.find(write->key);
    if (found != held.end() && found->second == write->record) continue;
    tell(rule::held, write->key + " holds " +
                         (found != held.end() ? std::string(found->second) : "nothing") +
                         " after " + write->record);
  }
  // Nothing but callers changes what a key holds, until its handle ends: with the last record that
  // pointed at it, which may be when another one takes that record's place.
  if (!std::all_of(event.steps.begin(), event.steps.end(), isOutside)) return;
  for (unsigned table = 0; table < tableNames.size(); ++table) {
    auto const held = heldBy(view_->table(table));
    auto const heldBefore = heldBy(before.table(table));
    for (auto const& [key, record] : held) {
      auto const found = heldBefore.find(key);
      if (found != heldBefore.end() && found->second == record) continue;
      tell(rule::held, std::string(key) + " holds " + std::string(record));
    }
    auto const& handles =
        table == ingress ? before.table(table).owned : before.table(table).registered;
    for (auto const& [key, record] : heldBefore) {
      if (held.contains(key)) continue;
      auto const handle = handles.find(key);
      if (handle != handles.end() && !view_->handles().contains(handle->second)) continue;
      tell(rule::held, std::string(key) + " holds nothing");
    }
  }
}

void Course::checkHeard(Event const& event, View const& before, Model::Lines const& log) {
  // An ingress handle says success from the commit on; what its handler hears, and when, follows
  // its key.
  if (reacted_ || !event.answer || event.answer->table == ingress) return;
  std::string expected;
  TableView const& table = before.table(event.answer->table);
  for (auto const& [key, row] : table.rows) {
    auto const handle = table.registered.find(key);
    auto const pending = table.pending.find(key);
    if (std::to_string(row) != event.answer->what || handle == table.registered.end() ||
        pending == table.pending.end() || pending->second.handle != handle->second ||
        !pending->second.active) {
      continue;
    }
    HandleView const& view = before.handles().at(handle->second);
    if (view.handler == 0 || view.state == event.answer->state) continue;
    expected =
        "handler " + std::to_string(view.handler) + " hears " + std::to_string(event.answer->state);
  }
  std::string told;
  for (std::string const& line : log) {
    if (line.starts_with("handler ")) told += (told.empty() ? "" : ", ") + line;
  }
  if (told != expected) tell(rule::heard, "\"" + told + "\" and not \"" + expected + "\"");
}

}  // namespace Interleaving
