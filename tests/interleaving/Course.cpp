#include "Course.h"

#include <algorithm>
#include <utility>

namespace Interleaving {

std::string reactorName(Text table, Text kind, Text key) {
  return std::string(table) + " " + std::string(kind) + " " + std::string(key);
}

Course::Course(Scenario const& scenario, Model::Lines snapshot)
    : scenario_(&scenario), view_(std::make_shared<View>(std::move(snapshot))) {
  auto const learn = [&](std::vector<Model::Step> const& steps) {
    for (Model::Step const& step : steps) {
      if (step.kind == Model::Kind::ingressCommit) ingressHandlers_.insert(step.n[2]);
    }
  };
  for (Move const& move : scenario.before) {
    learn(move.steps);
    for (Model::Step const& step : move.steps) {
      if (step.kind != Model::Kind::allocatorIs) continue;
      constexpr std::array<unsigned, 4> sizes{0, 1, 3, 10};  // 0 is the table's own
      rowCounts_.at(step.n[0] % 3 + 1) = sizes.at(step.n[1] % 4);
    }
  }
  for (Actor const& actor : scenario.actors) {
    for (Move const& move : actor.moves) learn(move.steps);
  }
  for (auto const& reaction : scenario.reactions) learn(reaction);
}

void Course::tell(char const* rule, std::string what) { found_.push_back({rule, std::move(what)}); }

Violations Course::follow(Event const& event, Model::Lines const& log, Model::Lines snapshot) {
  found_.clear();
  reacted_ = false;
  reactions_ = 0;
  reactionSteps_.clear();
  answersAtOnce_.clear();
  wrote_ = {};
  for (Model::Step const& step : event.steps) {
    if (step.kind == Model::Kind::destroy) gone_[step.n[0] % 4] = true;
  }
  std::shared_ptr<View const> const before =
      std::exchange(view_, std::make_shared<View>(std::move(snapshot)));
  learnBlocks();
  for (std::string const& line : log) read(event, line);
  learnReactors(*before);
  learnRows();
  learnExceptions(*before, log);
  checkHeld(event, *before, log);
  checkReactions(event, *before, log);
  checkRestart(event, log);
  checkHeard(*before, log);
  for (unsigned table = 0; table < tableNames.size(); ++table) {
    auto const same = [](auto const& call, auto const& held) {
      return call.first == held.first && call.second == held.second;
    };
    auto const& held = view_->table(table).hardware;
    if (!std::equal(image_[table].begin(), image_[table].end(), held.begin(), held.end(), same)) {
      tell(rule::journal, std::string(tableNames[table]));
    }
  }
  Violations result = std::exchange(found_, {});
  for (Violation& violation : atRest(*this)) result.push_back(std::move(violation));
  return result;
}

void Course::read(Event const& event, Text line) {
  std::vector<Text> const words = split(line, ' ');
  if (words[0] == "handler") {
    unsigned const heard = numberOf(words[3]);
    if (heard != 1 && heard != 2) tell(rule::handlers, std::string(line));
    ++handlerCalls_;
    return startReaction(numberOf(words[1]));
  }
  if (auto const table = tableOf(words[0])) {
    if (words[1] == "write") {
      Row const row = rowOf(words[2]);
      if (!row) return tell(rule::hardware, std::string(line));
      if (!rows_[*table].callable()) tell(rule::ready, std::string(line));
      wrote_[*table] = true;
      written(*table, *row, words[3]);
      if (event.atOnce && event.atOnce->tables[*table] != AtOnce::later) {
        answersAtOnce_[{*table, std::string(words[2])}] = event.atOnce->tables[*table];
      }
      checkPointers(line);
    } else if (words[1] == "delete") {
      Row const row = words[2] == "all" ? Row() : rowOf(words[2]);
      if (words[2] == "all") {
        image_[*table].clear();
        rows_[*table].written.clear();
        rows_[*table].orphans.clear();
      } else if (!rows_[*table].callable()) {
        tell(rule::ready, std::string(line));
      }
      if (row) {
        unsigned const at = row.value();
        image_[*table].erase(at);
        if (*table == hop) {
          std::erase_if(accepted_, [end = "@" + std::to_string(at)](std::string const& accepted) {
            return accepted.ends_with(end);
          });
        }
      }
      checkPointers(line);
    } else if (words[1] == "announces" && words.size() == 3) {
      if (words[2] == "hwTableReady") rows_[*table].ready = !rows_[*table].ready;
      if (words[2] == "hwTable") rows_[*table].attached = !rows_[*table].attached;
    } else if (words[1] == "announces" && words.size() > 3) {
      if (*table == member && words[2] == "rawEntryHandle") {
        // Blocks are registered once, under a handle that is named then, and taken out once.
        std::string const block(words[3]);
        if (runs_.erase(block) == 0) {
          runs_.insert(block);
          blocks_.emplace("member#" + std::to_string(++blockHandles_), block);
        }
      }
      bool const pending = words[2] == "pendingEntrySm";
      if (pending || words[2].starts_with("unresolvedEntry")) {
        births_[reactorName(words[0], pending ? "pending" : "parked", words[3])] = ++clock_;
      }
    }
    return;
  }
  if (words[0].find('#') == Text::npos) return;
  if (words[1] == "gone") {
    rowsTold_.erase(std::string(words[0]));
    statesTold_.erase(std::string(words[0]));
  }
  if (words.size() != 3) return;
  if (words[1] == "row") rowsTold_[std::string(words[0])] = rowOf(words[2]);
  if (words[1] == "state") stateOf(event, words[0], numberOf(words[2]));
}

void Course::written(Table table, unsigned row, Text record) {
  image_[table][row] = record;
  for (auto const& [handle, told] : rowsTold_) {
    bool const its = handle.starts_with(std::string(tableNames[table]) + "#") && told == Row(row);
    // An ingress handle goes to 0 before the write as well, and a member handle is told afterwards.
    // One that a caller has kept beyond the removal of its key is not the key's any more.
    if (its && table != member && statesTold_[handle] != 0 && isKeys(table, handle)) {
      tell(rule::reset, handle + " in row " + std::to_string(row));
    }
  }
  if (table == member && record.starts_with("hop#") && !accepted_.contains(std::string(record))) {
    tell(rule::hopFirst, std::string(record) + " in member row " + std::to_string(row));
  }
  if (table == group && record.starts_with("member#")) {
    Text const where = record.substr(0, record.find('/'));
    std::vector<Text> const block = split(where, '@');
    Row const base = rowOf(block[1]);
    if (!base || !runIsWhole(std::string(block[0]), *base)) {
      tell(rule::blockFirst, std::string(record) + " in group row " + std::to_string(row));
    }
  }
}

bool Course::isKeys(Table table, Text handle) const {
  if (table != ingress) return true;
  auto const& owned = view_->table(ingress).owned;
  return std::any_of(owned.begin(), owned.end(),
                     [&](auto const& key) { return key.second == handle; });
}

void Course::stateOf(Event const& event, Text handle, unsigned state) {
  statesTold_[std::string(handle)] = state;
  if (state == 0) return;
  Row const row = rowsTold_[std::string(handle)];
  if (handle.starts_with("member#")) {
    // The member table says success by itself, once all rows are written.
    if (state != 1 || !row || !runIsWhole(std::string(handle), *row)) {
      tell(rule::blockFirst, std::string(handle) + " shows state " + std::to_string(state));
    }
    return;
  }
  auto const table = tableOf(handle.substr(0, handle.find('#')));
  if (!table || *table == ingress) return;  // an ingress handle mirrors its key
  std::string const where = row ? std::to_string(*row) : "none";
  auto const atOnce = answersAtOnce_.find({*table, where});
  if (row && atOnce != answersAtOnce_.end() && atOnce->second == state) {
    answersAtOnce_.erase(atOnce);
  } else if (!row || !event.answer || event.answer->table != *table ||
             event.answer->state != state || where != event.answer->what) {
    return tell(rule::answered, std::string(handle) + " shows state " + std::to_string(state));
  }
  if (state == 1) accepted_.insert(std::string(handle) + "@" + where);
}

bool Course::runIsWhole(std::string const& blockHandle, unsigned base) const {
  auto const block = blocks_.find(blockHandle);
  if (block == blocks_.end()) return false;
  for (auto const& [position, handle] : needs(member, block->second)) {
    auto const row = image_[member].find(base + position);
    if (row == image_[member].end() || !row->second.starts_with(std::string(handle) + "@")) {
      return false;
    }
  }
  return true;
}

void Course::checkPointers(Text after) {
  // The rows of a table that is gone, or whose hardware cannot be called, stay, whatever happens to
  // what they point at.
  auto const stays = [&](Table table, unsigned row) {
    return gone_[table] || !rows_[table].callable() || rows_[table].orphans.contains(row);
  };
  for (auto const& [row, record] : image_[member]) {
    if (stays(member, row) || !record.starts_with("hop#")) continue;
    Row const target = rowOf(split(record, '@')[1]);
    if (target && image_[hop].contains(*target)) continue;
    tell(rule::pointers, "member row " + std::to_string(row) + " after: " + std::string(after));
  }
  for (auto const& [row, record] : image_[group]) {
    if (stays(group, row) || !record.starts_with("member#")) continue;
    std::vector<Text> const block = split(Text(record).substr(0, record.find('/')), '@');
    Row const base = rowOf(block[1]);
    if (base && runIsWhole(std::string(block[0]), *base)) continue;
    tell(rule::pointers, "group row " + std::to_string(row) + " after: " + std::string(after));
  }
}

void Course::learnBlocks() {
  for (auto const& [block, handle] : view_->table(member).registered) {
    blocks_.emplace(handle, block);
  }
}

void Course::learnReactors(View const& before) {
  for (unsigned table = 0; table < tableNames.size(); ++table) {
    TableView const& now = view_->table(table);
    for (auto const& [key, pending] : now.pending) {
      auto const old = before.table(table).pending.find(key);
      std::string const name = reactorName(tableNames[table], "pending", key);
      if (old == before.table(table).pending.end()) {
        births_.emplace(name, ++clock_);
      } else if (old->second.handle != pending.handle) {
        births_[name] = ++clock_;
      }
    }
    for (Parked const& parked : now.parked) {
      std::string const name = reactorName(tableNames[table], "parked", parked.key);
      auto const& parkedBefore = before.table(table).parked;
      auto const old = std::find_if(parkedBefore.begin(), parkedBefore.end(),
                                    [&](Parked const& other) { return other.key == parked.key; });
      bool const same =
          old != parkedBefore.end() && old->seen == parked.seen && old->watching == parked.watching;
      if (!same) births_[name] = ++clock_;
      if (table != member || same) continue;
      // A watcher that counted while it was made stays, and is not told from one that waits.
      std::set<unsigned>& counted = counted_[std::string(parked.key)];
      if (old == parkedBefore.end()) counted.clear();
      for (auto const& [position, handle] : needs(member, parked.record)) {
        bool const waits = std::find(parked.watching.begin(), parked.watching.end(), position) !=
                           parked.watching.end();
        if (!waits || view_->programmed(handle)) counted.insert(position);
      }
      if (counted.size() != parked.seen) {
        tell(rule::counted, std::string(parked.key) + " has seen " + std::to_string(parked.seen) +
                                " of " + std::to_string(counted.size()));
      }
    }
  }
}

void Course::startReaction(unsigned handler) {
  auto const& reaction = scenario_->reactions.at(handler - 1);
  if (!reaction.empty()) ++reactions_;
  for (Model::Step const& step : reaction) {
    // What a handler raises is no change of the tables.
    if (step.kind == Model::Kind::raise) return;
    reacted_ = true;
    reactionSteps_.push_back(step);
    if (step.kind == Model::Kind::destroy) gone_[step.n[0] % 4] = true;
  }
}

unsigned Course::born(std::string const& reactor) const {
  auto const found = births_.find(reactor);
  return found != births_.end() ? found->second : 0;
}

std::set<unsigned> const& Course::positionsCounted(std::string const& block) const {
  static std::set<unsigned> const none;
  auto const found = counted_.find(block);
  return found != counted_.end() ? found->second : none;
}

}  // namespace Interleaving
