// What callers are told: a key holds what was written last, the parked record ahead of the
// programmed one, and an answer reaches the key's handler.

#include <algorithm>
#include <set>

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
  bool commits;
};
std::optional<Write> writeOf(View const& before, Step const& step) {
  std::uint32_t const n = step.n[1];
  std::string const key = std::to_string(step.n[0]);
  std::string const hopRecord = refText(before, n % 13) + "/" + refText(before, n / 13 % 13) + "/" +
                                std::to_string(n / 169 % 3);
  switch (step.kind) {
    case Kind::ingressCommit:
      return Write{ingress, "e" + key, hopRecord, true};
    case Kind::hopCommit:
    case Kind::hopRef:
      return Write{hop, "k" + key, hopRecord, step.kind == Kind::hopCommit};
    case Kind::groupCommit:
    case Kind::groupRef:
      return Write{group, "g" + key, refText(before, n % 13) + "/" + std::to_string(n / 13 % 3),
                   step.kind == Kind::groupCommit};
    default:
      return {};
  }
}

bool isRaise(std::string const& line) { return line.starts_with("raises "); }

// Whether the key has a handle. Its end takes with it what the key holds.
bool hasHandle(View const& view, Table table, std::string const& key) {
  auto const& handles = table == ingress ? view.table(table).owned : view.table(table).registered;
  return handles.contains(key);
}

bool isOutside(Step const& step) {
  return step.kind == Kind::externRow || step.kind == Kind::externState ||
         step.kind == Kind::answer || step.kind == Kind::answerMode;
}

}  // namespace

void Course::checkHeld(Event const& event, View const& before, Model::Lines const& log) {
  // A handler may have written anything.
  if (reacted_) return;
  bool const raised = std::any_of(log.begin(), log.end(), isRaise);
  for (Step const& step : event.steps) {
    auto const write = writeOf(before, step);
    if (!write || gone_[write->table]) continue;
    // What an exception ends before a handle was returned is held by nobody, unless it was
    // committed.
    if (raised && !write->commits && !hasHandle(*view_, write->table, write->key)) continue;
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

// What a handler commits is held behind the operation that called it, whatever that had under way.
void Course::checkReactions(Event const& event, View const& before, Model::Lines const& log) {
  // A third one may have been too deep to run.
  if (reactions_ > 2) return;
  // The end of an ingress handle takes with it what its key holds, also under another handle.
  bool const ingressEnds = std::any_of(log.begin(), log.end(), [](std::string const& line) {
    return line.starts_with("ingress#") && line.ends_with(" gone");
  });
  std::map<std::pair<Table, std::string>, std::optional<std::string>> committed;
  for (Step const& step : reactionSteps_) {
    if (step.kind == Kind::remove) {
      for (auto& [key, record] : committed) record.reset();
    }
    auto const write = writeOf(before, step);
    // What is in a slot may have changed on the way.
    auto const slots = slotsRead(step);
    bool const slotsStay = std::all_of(slots.begin(), slots.end(), [&](std::uint32_t slot) {
      auto const was = before.slots().find(slot);
      auto const is = view_->slots().find(slot);
      return was != before.slots().end() && is != view_->slots().end() && was->second == is->second;
    });
    if (!write) continue;
    std::optional<std::string> record;
    if (write->commits && slotsStay) record = write->record;
    auto const [at, isNew] = committed.try_emplace({write->table, write->key}, record);
    // Which one was the last is not told.
    if (!isNew && at->second != record) at->second.reset();
  }
  for (std::size_t n = 0; n < event.steps.size(); ++n) {
    auto const write = writeOf(before, event.steps[n]);
    bool const isFirst =
        std::none_of(event.steps.begin(), event.steps.begin() + static_cast<std::ptrdiff_t>(n),
                     [](Step const& step) { return !isOutside(step); });
    // The first operation of an event has begun before its handlers run.
    if (write && !isFirst) committed[{write->table, write->key}].reset();
  }
  for (auto const& [key, record] : committed) {
    auto const& [table, name] = key;
    if (table == ingress && ingressEnds) continue;
    if (!record || gone_[table] || !hasHandle(*view_, table, name)) continue;
    auto const held = heldBy(view_->table(table));
    auto const found = held.find(name);
    if (found != held.end() && found->second == *record) continue;
    tell(rule::held, name + " holds " +
                         (found != held.end() ? std::string(found->second) : "nothing") +
                         " after a handler's " + *record);
  }
}

void Course::checkHeard(View const& before, Model::Lines const& log) {
  if (reacted_) return;
  // An ingress handle says success from the commit on; what its handler hears, and when, follows
  // its key. So its handlers are left out.
  auto const isIngress = [&](unsigned handler) { return ingressHandlers_.contains(handler); };
  bool raised = false;
  std::multiset<std::string> expected;
  std::multiset<std::string> told;
  for (std::string const& line : log) {
    std::vector<Text> const words = split(line, ' ');
    raised = raised || isRaise(line);
    // A handle that is made and ends in one operation is not seen.
    if (raised && words.size() == 2 && words[1] == "gone") return;
    if (words[0] == "handler" && !isIngress(numberOf(words[1]))) told.insert(line);
    if (words.size() != 3 || words[1] != "state" || words[2] == "0") continue;
    unsigned const handler = handlerOf(before, words[0]);
    if (handler == 0 || isIngress(handler)) continue;
    expected.insert("handler " + std::to_string(handler) + " hears " + std::string(words[2]));
  }
  if (told == expected) return;
  auto const text = [](std::multiset<std::string> const& lines) {
    std::string all;
    for (std::string const& line : lines) all += (all.empty() ? "" : ", ") + line;
    return "\"" + all + "\"";
  };
  tell(rule::heard, text(told) + " and not " + text(expected));
}

unsigned Course::handlerOf(View const& before, Text handle) const {
  // A commit puts the handler on the handle before anything can happen.
  View const& view = view_->handles().contains(handle) ? *view_ : before;
  auto const found = view.handles().find(handle);
  if (found == view.handles().end()) return 0;
  auto const isHeard = [&](View const& when) {
    for (Table const table : {hop, group}) {
      for (auto const& [key, pending] : when.table(table).pending) {
        if (pending.handle == handle && pending.active) return true;
      }
    }
    return false;
  };
  return isHeard(before) || isHeard(*view_) ? found->second.handler : 0;
}

}  // namespace Interleaving
